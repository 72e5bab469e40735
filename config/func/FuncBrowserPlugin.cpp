#include "FuncBrowserPlugin.h"

#include "FamilyRecords.h"
#include "FeatureSwitch.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <cstring>

namespace {

using namespace wdlt;

constexpr FeatureSwitch kBrowserPluginSwitch{
    .protocol = WDLT_PROTOCOL_HTTP,
    .scan = WDLT_SCAN_HTTP_MANAGER,
    .input = WDLT_INPUT_HTTPS_FILTER,
    .itemFailed = "CFuncBrowserPlugin::ScanEnable(): Failed to %s HttpS Filter PE: %d",
    .handlerFailed = "CFuncBrowserPlugin::ScanEnable(): Failed to %s HTTP PH: %d",
};

constexpr Address addressOf(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input) {
    return {WDLT_PROTOCOL_SYSTEM + protocol, scan, WDLT_CONFIG_DEFAULT, input};
}
constexpr Address kHttpsFilter = addressOf(WDLT_PROTOCOL_HTTP, WDLT_SCAN_HTTP_MANAGER, WDLT_INPUT_HTTPS_FILTER);

// If the flags stay as they are, nothing is written, and nobody is notified.
template <class Change>
std::int32_t changeFlags(CCfgHelper& family, const Address& address, Change&& change) {
    WdltHttpsConfig record;
    if (const std::int32_t status =
            readWhole(family, address, record, EventLine("Failed to read on CConfigReader: %d"));
        status != WDLT_OK)
        return status;
    const std::uint32_t flags = change(record.enable);
    if (flags == record.enable)
        return WDLT_OK;
    record.enable = flags;
    WDLOG_TRACE("Trying to set httpsfilter to 0x%08x", flags);
    constexpr auto unwritten = EventLine("Failed to write config: %d");
    const std::int32_t status = writeBytes(family, address, &record, sizeof record, unwritten, unwritten);
    if (status == WDLT_OK)
        WDLOG_TRACE("Succee httpsfilter 0x%08x", flags);
    return status;
}

} // namespace

std::int32_t CFuncBrowserPlugin::EnableScanEngine(std::int32_t enable, std::uint32_t protocol, std::uint32_t scan,
                                                  std::uint32_t input) {
    return changeFlags(*this, addressOf(protocol, scan, input), [enable](std::uint32_t flags) {
        return enable != 0 ? flags | WDLT_HTTPS_SCAN : flags & ~WDLT_HTTPS_SCAN;
    });
}

std::int32_t CFuncBrowserPlugin::IsScanEngineEnabled(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input) {
    WdltHttpsConfig record{};
    const std::int32_t status =
        readWhole(*this, addressOf(protocol, scan, input), record, EventLine("Failed to read on ConfigReader: %d"));
    return status == WDLT_OK && (record.enable & WDLT_HTTPS_SCAN) != 0 ? 1 : 0;
}

std::int32_t CFuncBrowserPlugin::EnableSE(std::uint32_t flags) {
    return changeFlags(*this, kHttpsFilter, [flags](std::uint32_t) { return flags; });
}

std::int32_t CFuncBrowserPlugin::ConfigRead(WdltHttpsConfig* pConfig) {
    const FamilyCall call("CFuncBrowserPlugin", "ConfigRead");
    if (pConfig == nullptr)
        return call.isNull("pConfig");
    WdltHttpsConfig stored;
    const std::int32_t status = readWhole(*this, kHttpsFilter, stored, call.failing("read config"));
    if (status == WDLT_OK)
        handOver(pConfig, stored);
    return status;
}

std::int32_t CFuncBrowserPlugin::ConfigWrite(const WdltHttpsConfig* pConfig) {
    const FamilyCall call("CFuncBrowserPlugin", "ConfigWrite");
    if (pConfig == nullptr)
        return call.isNull("pConfig");
    return writeBytes(*this, kHttpsFilter, pConfig, sizeof *pConfig, call.failing("SetData"),
                      call.failing("write config"));
}

std::int32_t CFuncBrowserPlugin::ScanEnable(std::uint32_t enable) {
    const FamilyCall call("CFuncBrowserPlugin", "ScanEnable");
    return kBrowserPluginSwitch.enable(*this, enable != 0 ? 1 : 0);
}

std::int32_t CFuncBrowserPlugin::IsEnabled() {
    const FamilyCall call("CFuncBrowserPlugin", "IsEnabled");
    return kBrowserPluginSwitch.isEnabled(*this);
}

std::int32_t CFuncBrowserPlugin::SetEnableFlag(std::uint32_t flags) {
    const FamilyCall call("CFuncBrowserPlugin", "SetEnableFlag");
    if (const std::int32_t status = EnableSE(flags); status != WDLT_OK)
        return call.failed("set HttpS Filter", status);
    const std::int32_t status = EnableItem(1, WDLT_PROTOCOL_HTTP, WDLT_SCAN_NONE, WDLT_INPUT_NONE);
    if (status != WDLT_OK)
        WDLOG_ERROR("CFuncBrowserPlugin::SetEnableFlag(): Failed to %s HTTP PH: %d", switchVerb(1), status);
    return status;
}

std::int32_t CFuncBrowserPlugin::GetEnableFlag(std::uint32_t* pdwEnableFlag) {
    const FamilyCall call("CFuncBrowserPlugin", "GetEnableFlag");
    if (pdwEnableFlag == nullptr)
        return call.isNull("pdwEnableFlag");
    WdltHttpsConfig stored;
    const std::int32_t status = readWhole(*this, kHttpsFilter, stored, call.failing("read config"));
    if (status == WDLT_OK)
        std::memcpy(pdwEnableFlag, &stored.enable, sizeof stored.enable);
    return status;
}

bool CFuncBrowserPlugin::isOnIn(const WdltHttpsConfig* config) {
    return config != nullptr && copyOf(config).enable != 0;
}
