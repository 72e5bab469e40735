/* The protocol handlers and their scan items, as the verbs see them: read anew at each call, through the exports. */
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
    WdchSystemProtocolHandler head{}; /* its pointer to the redirects leads nowhere */
    std::vector<WdchSystemRedirect> redirects;

    std::string name() const;
    bool isOn() const { return head.enable != 0; }
};

/* In the order of their types; those that nothing serves are left out. */
std::vector<Handler> allHandlers();
/* Nothing when no handler serves the protocol. A failure of the library is a ToolError. */
std::optional<Handler> handlerOf(std::uint32_t protocol);
/* By name, without regard to case, or by type. A ToolError that lists those there are when it isn't one. */
Handler findHandler(std::string_view nameOrType);

/* A scan item's switch; nothing when it can't be read. */
std::optional<bool> itemIsOn(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input);
/* As the registry has it; a number for a scan without a name. */
std::string itemName(std::uint32_t scan, std::uint32_t input);
/* Of the items that are on; `mask` holds back others than these. */
std::vector<std::string> itemsThatAreOn(const Handler& handler, std::uint32_t mask = UINT32_MAX);

} // namespace wdlt
