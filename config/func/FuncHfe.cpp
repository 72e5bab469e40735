#include "FuncHfe.h"

#include "FamilyRecords.h"
#include "FeatureSwitch.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

namespace {

using namespace wdlt;

constexpr FeatureSwitch kHfeSwitch{
    .protocol = WDLT_PROTOCOL_HTTP,
    .scan = WDLT_SCAN_NETWORK_EVENTS,
    .input = WDLT_INPUT_NONE,
    .itemFailed = "Failed to %s Network Events PE: %d",
    .handlerFailed = "Failed to %s HTTP PH: %d",
};

constexpr Address kFileEvents{WDLT_PROTOCOL_COMMON, WDLT_SCAN_HTTP_MANAGER, WDLT_CONFIG_HTTP_FILE_EVENTS};
constexpr Address kPluginEvent{WDLT_PROTOCOL_COMMON, WDLT_SCAN_HTTP_MANAGER, WDLT_CONFIG_HTTP_PLUGIN_EVENT};

} // namespace

std::int32_t CFuncHfe::Enable(std::int32_t enable) {
    const FamilyCall call("CFuncHfe", "Enable");
    return kHfeSwitch.enable(*this, enable);
}

std::int32_t CFuncHfe::IsEnabled() {
    const FamilyCall call("CFuncHfe", "IsEnabled");
    return kHfeSwitch.isEnabled(*this);
}

std::int32_t CFuncHfe::ConfigRead(WdpeHfeData* pConfig) {
    const FamilyCall call("CFuncHfe", "ConfigRead");
    if (pConfig == nullptr) {
        WDLOG_ERROR("CFuncHfe::ConfigRead(): pConfig is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    WdpeHfeData stored;
    const std::int32_t status = readWhole(*this, kFileEvents, stored, call.failing("read config"));
    if (status == WDLT_OK)
        handOver(pConfig, stored);
    return status;
}

// Both values have a default, so nothing has to be stored for a first write.
std::int32_t CFuncHfe::ConfigWrite(const WdpeHfeData* pConfig) {
    const FamilyCall call("CFuncHfe", "ConfigWrite");
    if (pConfig == nullptr) {
        WDLOG_ERROR("CFuncHfe::ConfigWrite() pConfig is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    return writeBytes(*this, kFileEvents, pConfig, sizeof *pConfig,
                      EventLine("CFuncHfe::ConfigWrite() Failed to SetData: %d"),
                      EventLine("CFuncHfe::ConfigWrite() Failed to write config: %d"));
}

std::int32_t CFuncHfe::IsEnabledPluginEvent() {
    const FamilyCall call("CFuncHfe", "IsEnabledPluginEvent");
    std::uint8_t isEnabled = 0;
    const std::int32_t status = readWhole(*this, kPluginEvent, isEnabled, call.failing("read config"));
    return status == WDLT_OK && isEnabled != 0 ? 1 : 0;
}

std::int32_t CFuncHfe::EnablePluginEvent(std::int32_t enable) {
    const FamilyCall call("CFuncHfe", "EnablePluginEvent");
    const std::uint8_t isEnabled = enable != 0 ? 1 : 0;
    return writeBytes(*this, kPluginEvent, &isEnabled, sizeof isEnabled,
                      EventLine("CFuncHfe::EnablePluginEvent() Failed to SetData: %d"),
                      EventLine("CFuncHfe::EnablePluginEvent() Failed to write config: %d"));
}
