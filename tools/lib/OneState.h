/* What makes several calls of the registry one: whether it has changed between them, and a change of all or nothing. The
   systems' registries differ here, so each has a source of its own. */
#pragma once

#include <cstdint>
#include <functional>
#include <platform/win32.h>

namespace wdlt {

/* Changes with each change of any value. */
std::uint64_t registryGeneration();
/* Changes when the key's values or the names of its subkeys do. */
std::uint64_t stateOf(HKEY key);

/* Keeps all that `body` writes to the registry, or with an exception nothing of it. Where the registry can't take back
   what is written, the exception is a ToolError that says so, with ExitStatus::Partial. */
void asOneChange(const std::function<void()>& body);
/* Each write that has succeeded, so that the exception is told only where there is something to take back. */
void countWrite();

} // namespace wdlt
