#include "FuncHfe.h"

#include "FamilyRecords.h"
#include "FeatureSwitch.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

namespace {

using namespace wdlt;

constexpr FeatureSwitch kSwitch{
    .protocol = WDLT_PROTOCOL_HTTP,
    .scan = WDLT_SCAN_NETWORK_EVENTS,
    .input = WDLT_INPUT_NONE,
    .itemFailed = [](const char* verb, std::uint32_t,
                     std::int32_t status) { WDLOG_ERROR("Failed to %s Network Events PE: %d", verb, status); },
    .handlerFailed = [](const char* verb, std::uint32_t,
                        std::int32_t status) { WDLOG_ERROR("Failed to %s HTTP PH: %d", verb, status); },
};

constexpr Address kSettings{WDLT_PROTOCOL_COMMON, WDLT_SCAN_HTTP_MANAGER, WDLT_CONFIG_HTTP_FILE_EVENTS};
constexpr Address kPluginEvent{WDLT_PROTOCOL_COMMON, WDLT_SCAN_HTTP_MANAGER, WDLT_CONFIG_HTTP_PLUGIN_EVENT};

CallLines linesOf(const char* member) {
    return {"CFuncHfe", member};
}

} // namespace

std::int32_t CFuncHfe::Enable(std::int32_t enable) {
    const CallLines lines = linesOf("Enable");
    return kSwitch.enable(*this, enable);
}

std::int32_t CFuncHfe::IsEnabled() {
    const CallLines lines = linesOf("IsEnabled");
    return kSwitch.isEnabled(*this);
}

std::int32_t CFuncHfe::ConfigRead(WdpeHfeData* pConfig) {
    const CallLines lines = linesOf("ConfigRead");
    if (pConfig == nullptr) {
        WDLOG_ERROR("CFuncHfe::ConfigRead(): pConfig is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    WdpeHfeData stored;
    const std::int32_t status = readWhole(*this, kSettings, stored, [](std::int32_t failure) {
        WDLOG_ERROR("CFuncHfe::ConfigRead(): Failed to read config: %d", failure);
    });
    if (status == WDLT_OK)
        handOver(pConfig, stored);
    return status;
}

// Both values have a default, so nothing has to be stored for a first write.
std::int32_t CFuncHfe::ConfigWrite(const WdpeHfeData* pConfig) {
    const CallLines lines = linesOf("ConfigWrite");
    if (pConfig == nullptr) {
        WDLOG_ERROR("CFuncHfe::ConfigWrite() pConfig is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    return writeBytes(
        *this, kSettings, pConfig, sizeof *pConfig,
        [](std::int32_t failure) { WDLOG_ERROR("CFuncHfe::ConfigWrite() Failed to SetData: %d", failure); },
        [](std::int32_t failure) { WDLOG_ERROR("CFuncHfe::ConfigWrite() Failed to write config: %d", failure); });
}

std::int32_t CFuncHfe::IsEnabledPluginEvent() {
    const CallLines lines = linesOf("IsEnabledPluginEvent");
    std::uint8_t isEnabled = 0;
    const std::int32_t status = readWhole(*this, kPluginEvent, isEnabled, [](std::int32_t failure) {
        WDLOG_ERROR("CFuncHfe::IsEnabledPluginEvent(): Failed to read config: %d", failure);
    });
    return status == WDLT_OK && isEnabled != 0 ? 1 : 0;
}

std::int32_t CFuncHfe::EnablePluginEvent(std::int32_t enable) {
    const CallLines lines = linesOf("EnablePluginEvent");
    const std::uint8_t isEnabled = enable != 0 ? 1 : 0;
    return writeBytes(
        *this, kPluginEvent, &isEnabled, sizeof isEnabled,
        [](std::int32_t failure) { WDLOG_ERROR("CFuncHfe::EnablePluginEvent() Failed to SetData: %d", failure); },
        [](std::int32_t failure) { WDLOG_ERROR("CFuncHfe::EnablePluginEvent() Failed to write config: %d", failure); });
}
