/* One redirect of a handler, from what a user says of it. */
#pragma once

#include <cstdint>
#include <string>
#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>

namespace wdlt {

struct RedirectArguments {
    std::string handler;
    std::string session;
    std::string process;
    std::string image;
    std::uint16_t port = 0;
    std::uint32_t direction = 0;
    std::uint32_t flag = 0;
    std::int32_t level = -1;
    std::uint32_t cancelMask = 0;
};

/* Values that can't be stored, or not together, are usage errors. */
WdchSystemRedirect redirectFrom(const RedirectArguments& arguments);
/* One that applies to nothing isn't stored. */
bool appliesToSomething(const WdchSystemRedirect& redirect);
/* Adds or deletes it, as the config type says. Returns the library's status. */
std::int32_t storeRedirect(std::uint32_t handlerType, WdchSystemRedirect redirect, std::uint64_t configType);

} // namespace wdlt
