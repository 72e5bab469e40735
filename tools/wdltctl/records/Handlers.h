/* The protocol handlers and their scan items, as the verbs see them: read through the exports at each call. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>
#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>

namespace wdlt {

struct Handler {
    WdchSystemProtocolHandler head{}; /* its pointer to the redirects is null */
    std::vector<WdchSystemRedirect> redirects;

    std::string name() const;
    bool isOn() const { return head.enable != 0; }
};

/* Ordered by type. */
std::vector<Handler> allHandlers();
/* nullopt when no handler serves the protocol. A failure of the library is a ToolError. */
std::optional<Handler> handlerOf(std::uint32_t protocol);
/* By name, in any case, or by type. An unknown one is a usage error that suggests another. */
Handler findHandler(std::string_view nameOrType);

/* A scan item's switch; nullopt when it can't be read. */
std::optional<bool> itemIsOn(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input);
/* As in the registry; a number for a scan without a name. */
std::string itemName(std::uint32_t scan, std::uint32_t input);
/* Only these items decide whether a handler is on. */
inline constexpr std::uint32_t kDecidingItems = 0xFFFF;
/* Names of the items that are on, of those in `mask`. */
std::vector<std::string> itemsThatAreOn(const Handler& handler, std::uint32_t mask = UINT32_MAX);

} // namespace wdlt
