#include "OneState.h"

#include "ToolError.h"

#include <fmt/format.h>

namespace wdlt {
namespace {

std::size_t g_writes = 0; // a tool writes from one thread

} // namespace

/* By the time of its last change: two within a tick of that clock are one. */
std::uint64_t stateOf(HKEY key) {
    FILETIME changed{};
    RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                     &changed);
    return (std::uint64_t{changed.dwHighDateTime} << 32) | changed.dwLowDateTime;
}

void asOneChange(const std::function<void()>& body) {
    const std::size_t before = g_writes;
    try {
        body();
    } catch (const ToolError& error) {
        if (g_writes == before)
            throw;
        throw ToolError(ExitStatus::Partial, fmt::format("{}; what came before it is written", error.what()),
                        error.place());
    }
}

void countWrite() {
    ++g_writes;
}

} // namespace wdlt
