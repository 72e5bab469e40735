#include "FuncSal.h"

#include "ExportedRecords.h"
#include "FamilyRecords.h"
#include "FeatureSwitch.h"
#include "InnerConfigTypes.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

namespace {

using namespace wdlt;

constexpr FeatureSwitch kSwitch{
    .protocol = WDLT_PROTOCOL_HTTP,
    .scan = WDLT_SCAN_SAL,
    .input = WDLT_INPUT_NONE,
    .itemFailed = [](const char* verb, std::uint32_t,
                     std::int32_t status) { WDLOG_ERROR("Failed to %s SAL PE: %d", verb, status); },
    .handlerFailed = [](const char* verb, std::uint32_t,
                        std::int32_t status) { WDLOG_ERROR("Failed to %s HTTP PH: %d", verb, status); },
};

constexpr Address kSettings{0, WDLT_SCAN_SAL, WDLT_CONFIG_DEFAULT};

CallLines linesOf(const char* member) {
    return {"CFuncSal", member};
}

} // namespace

std::int32_t CFuncSal::Enable(std::int32_t enable) {
    const CallLines lines = linesOf("Enable");
    return kSwitch.enable(*this, enable);
}

std::int32_t CFuncSal::IsEnabled() {
    const CallLines lines = linesOf("IsEnabled");
    return kSwitch.isEnabled(*this);
}

std::int32_t CFuncSal::ConfigRead(WdltSalConfig* pConfig) {
    const CallLines lines = linesOf("ConfigRead");
    if (pConfig == nullptr) {
        WDLOG_ERROR("CFuncSal::ConfigRead: pConfig is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    WdltSalConfig config{};
    config.dwEnable = static_cast<std::uint32_t>(IsEnabled());
    WdpeSalData stored;
    if (const std::int32_t status = readWhole(
            *this, kSettings, stored,
            [](std::int32_t failure) { WDLOG_ERROR("CFuncSal::ConfigRead(): Failed to read config: %d", failure); });
        status != WDLT_OK)
        return status;
    toCaller(kSalPairs, config, stored);
    handOver(pConfig, config);
    return WDLT_OK;
}

std::int32_t CFuncSal::ConfigWrite(const WdltSalConfig* pConfig) {
    const CallLines lines = linesOf("ConfigWrite");
    if (pConfig == nullptr) {
        WDLOG_ERROR("CFuncSal::ConfigWrite: pConfig is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    const WdltSalConfig config = copyOf(pConfig);
    WdpeSalData settings{};
    toStore(kSalPairs, config, settings);
    // Callers that know only the flags leave the text empty: what is stored stays, also when nobody can read it.
    Address address = kSettings;
    if (settings.szBlockImages[0] == '\0')
        address.configType = kSalFlagsAlone;
    if (const std::int32_t status = writeBytes(
            *this, address, &settings, sizeof settings,
            [](std::int32_t failure) { WDLOG_ERROR("CFuncSal::ConfigWrite(): Failed to SetData: %d", failure); },
            [](std::int32_t failure) { WDLOG_ERROR("CFuncSal::ConfigWrite(): Failed to write data: %d", failure); });
        status != WDLT_OK)
        return status;
    const std::int32_t status = Enable(config.dwEnable != 0 ? 1 : 0);
    if (status != WDLT_OK)
        WDLOG_ERROR("CFuncSal::ConfigWrite(): Failed to enable: %d", status);
    return status;
}
