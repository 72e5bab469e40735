#include "FeatureSwitch.h"

#include <wdltcfg/status.h>

namespace wdlt {

const char* switchVerb(std::int32_t enable) {
    return enable != 0 ? "enable" : "disable";
}

std::int32_t FeatureSwitch::enable(CCfgHelper& helper, std::int32_t enable) const {
    if (const std::int32_t status = helper.EnableItem(enable, protocol, scan, input); status != WDLT_OK) {
        itemFailed.tell(kLogError, {switchVerb(enable)}, {protocol, status});
        return status;
    }
    if (const std::int32_t status = helper.EnableItem(enable, protocol, WDLT_SCAN_NONE, WDLT_INPUT_NONE);
        status != WDLT_OK) {
        handlerFailed.tell(kLogError, {switchVerb(enable)}, {protocol, status});
        return status;
    }
    return WDLT_OK;
}

std::int32_t FeatureSwitch::isEnabled(CCfgHelper& helper) const {
    return helper.IsItemEnabled(protocol, scan, input) != 0 &&
                   helper.IsItemEnabled(protocol, WDLT_SCAN_NONE, WDLT_INPUT_NONE) != 0
               ? 1
               : 0;
}

} // namespace wdlt
