#include "FuncSal.h"

#include "ExportedRecords.h"
#include "FamilyRecords.h"
#include "FeatureSwitch.h"
#include "InnerConfigTypes.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

namespace {

using namespace wdlt;

constexpr FeatureSwitch kSalSwitch{
    .protocol = WDLT_PROTOCOL_HTTP,
    .scan = WDLT_SCAN_SAL,
    .input = WDLT_INPUT_NONE,
    .itemFailed = "Failed to %s SAL PE: %d",
    .handlerFailed = "Failed to %s HTTP PH: %d",
};

constexpr Address kSalSettings{0, WDLT_SCAN_SAL, WDLT_CONFIG_DEFAULT};

} // namespace

std::int32_t CFuncSal::Enable(std::int32_t enable) {
    const FamilyCall call("CFuncSal", "Enable");
    return kSalSwitch.enable(*this, enable);
}

std::int32_t CFuncSal::IsEnabled() {
    const FamilyCall call("CFuncSal", "IsEnabled");
    return kSalSwitch.isEnabled(*this);
}

std::int32_t CFuncSal::ConfigRead(WdltSalConfig* pConfig) {
    const FamilyCall call("CFuncSal", "ConfigRead");
    if (pConfig == nullptr)
        return call.isNull("pConfig");
    WdltSalConfig config{};
    config.dwEnable = static_cast<std::uint32_t>(IsEnabled());
    WdpeSalData stored;
    if (const std::int32_t status = readWhole(*this, kSalSettings, stored, call.failing("read config"));
        status != WDLT_OK)
        return status;
    toCaller(kSalPairs, config, stored);
    handOver(pConfig, config);
    return WDLT_OK;
}

std::int32_t CFuncSal::ConfigWrite(const WdltSalConfig* pConfig) {
    const FamilyCall call("CFuncSal", "ConfigWrite");
    if (pConfig == nullptr)
        return call.isNull("pConfig");
    const WdltSalConfig config = copyOf(pConfig);
    WdpeSalData settings{};
    toStore(kSalPairs, config, settings);
    // Callers that know only the flags leave the text empty: the stored text stays, even one that can't be read.
    Address address = kSalSettings;
    if (settings.szBlockImages[0] == '\0')
        address.configType = kSalFlagsAlone;
    if (const std::int32_t status =
            writeBytes(*this, address, &settings, sizeof settings, call.failing("SetData"), call.failing("write data"));
        status != WDLT_OK)
        return status;
    const std::int32_t status = Enable(config.dwEnable != 0 ? 1 : 0);
    return status == WDLT_OK ? status : call.failed("enable", status);
}
