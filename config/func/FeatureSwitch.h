// The two-step switch of every feature: first its scan item, then the handler that it needs, in both directions, so
// that the second step sees the item's new state. A feature is on only when both are.
#pragma once

#include "CfgHelper.h"
#include "WdCommon/EventLine.h"

#include <wdltcfg/addresses.h>

#include <cstdint>

namespace wdlt {

// Which item and handler a feature switches, and its log lines for a step that fails.
struct FeatureSwitch {
    std::uint32_t protocol;
    std::uint32_t scan;
    std::uint32_t input;
    EventLine itemFailed;    // the verb; the protocol, the status
    EventLine handlerFailed; // likewise

    // The first step that fails ends it with its status; an item that was already switched stays switched.
    [[nodiscard]] std::int32_t enable(CCfgHelper& helper, std::int32_t enable) const;
    // 1 or 0; the handler is checked only when the item is on.
    [[nodiscard]] std::int32_t isEnabled(CCfgHelper& helper) const;
};

// "enable" or "disable", as log lines call it.
const char* switchVerb(std::int32_t enable);

} // namespace wdlt
