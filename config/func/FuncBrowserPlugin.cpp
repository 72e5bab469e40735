#include "FuncBrowserPlugin.h"

#include "FamilyRecords.h"
#include "FeatureSwitch.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <cstring>

namespace {

using namespace wdlt;

constexpr FeatureSwitch kSwitch{
    .protocol = WDLT_PROTOCOL_HTTP,
    .scan = WDLT_SCAN_HTTP_MANAGER,
    .input = WDLT_INPUT_HTTPS_FILTER,
    .itemFailed =
        [](const char* verb, std::uint32_t, std::int32_t status) {
            WDLOG_ERROR("CFuncBrowserPlugin::ScanEnable(): Failed to %s HttpS Filter PE: %d", verb, status);
        },
    .handlerFailed =
        [](const char* verb, std::uint32_t, std::int32_t status) {
            WDLOG_ERROR("CFuncBrowserPlugin::ScanEnable(): Failed to %s HTTP PH: %d", verb, status);
        },
};

constexpr Address addressOf(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input) {
    return {WDLT_PROTOCOL_SYSTEM + protocol, scan, WDLT_CONFIG_DEFAULT, input};
}
constexpr Address kHttpsFilter = addressOf(WDLT_PROTOCOL_HTTP, WDLT_SCAN_HTTP_MANAGER, WDLT_INPUT_HTTPS_FILTER);

CallLines linesOf(const char* member) {
    return {"CFuncBrowserPlugin", member};
}

// Nothing is written, and so nobody notified, when the flags stay as they are.
template <class Change>
std::int32_t changeFlags(CCfgHelper& family, const Address& address, Change&& change) {
    WdltHttpsConfig record;
    if (const std::int32_t status =
            readWhole(family, address, record,
                      [](std::int32_t failure) { WDLOG_ERROR("Failed to read on CConfigReader: %d", failure); });
        status != WDLT_OK)
        return status;
    const std::uint32_t flags = change(record.enable);
    if (flags == record.enable)
        return WDLT_OK;
    record.enable = flags;
    WDLOG_TRACE("Trying to set httpsfilter to 0x%08x", flags);
    constexpr auto unwritten = [](std::int32_t failure) { WDLOG_ERROR("Failed to write config: %d", failure); };
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
    const std::int32_t status = readWhole(*this, addressOf(protocol, scan, input), record, [](std::int32_t failure) {
        WDLOG_ERROR("Failed to read on ConfigReader: %d", failure);
    });
    return status == WDLT_OK && (record.enable & WDLT_HTTPS_SCAN) != 0 ? 1 : 0;
}

std::int32_t CFuncBrowserPlugin::EnableSE(std::uint32_t flags) {
    return changeFlags(*this, kHttpsFilter, [flags](std::uint32_t) { return flags; });
}

std::int32_t CFuncBrowserPlugin::ConfigRead(WdltHttpsConfig* pConfig) {
    const CallLines lines = linesOf("ConfigRead");
    if (pConfig == nullptr) {
        WDLOG_ERROR("CFuncBrowserPlugin::ConfigRead: pConfig is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    WdltHttpsConfig stored;
    const std::int32_t status = readWhole(*this, kHttpsFilter, stored, [](std::int32_t failure) {
        WDLOG_ERROR("CFuncBrowserPlugin::ConfigRead(): Failed to read config: %d", failure);
    });
    if (status == WDLT_OK)
        handOver(pConfig, stored);
    return status;
}

std::int32_t CFuncBrowserPlugin::ConfigWrite(const WdltHttpsConfig* pConfig) {
    const CallLines lines = linesOf("ConfigWrite");
    if (pConfig == nullptr) {
        WDLOG_ERROR("CFuncBrowserPlugin::ConfigWrite: pConfig is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    return writeBytes(
        *this, kHttpsFilter, pConfig, sizeof *pConfig,
        [](std::int32_t failure) { WDLOG_ERROR("CFuncBrowserPlugin::ConfigWrite(): Failed to SetData: %d", failure); },
        [](std::int32_t failure) {
            WDLOG_ERROR("CFuncBrowserPlugin::ConfigWrite(): Failed to write config: %d", failure);
        });
}

std::int32_t CFuncBrowserPlugin::ScanEnable(std::uint32_t enable) {
    const CallLines lines = linesOf("ScanEnable");
    return kSwitch.enable(*this, enable != 0 ? 1 : 0);
}

std::int32_t CFuncBrowserPlugin::IsEnabled() {
    const CallLines lines = linesOf("IsEnabled");
    return kSwitch.isEnabled(*this);
}

std::int32_t CFuncBrowserPlugin::SetEnableFlag(std::uint32_t flags) {
    const CallLines lines = linesOf("SetEnableFlag");
    if (const std::int32_t status = EnableSE(flags); status != WDLT_OK) {
        WDLOG_ERROR("CFuncBrowserPlugin::SetEnableFlag(): Failed to set HttpS Filter: %d", status);
        return status;
    }
    const std::int32_t status = EnableItem(1, WDLT_PROTOCOL_HTTP, WDLT_SCAN_NONE, WDLT_INPUT_NONE);
    if (status != WDLT_OK)
        WDLOG_ERROR("CFuncBrowserPlugin::SetEnableFlag(): Failed to %s HTTP PH: %d", switchVerb(1), status);
    return status;
}

std::int32_t CFuncBrowserPlugin::GetEnableFlag(std::uint32_t* pdwEnableFlag) {
    const CallLines lines = linesOf("GetEnableFlag");
    if (pdwEnableFlag == nullptr) {
        WDLOG_ERROR("CFuncBrowserPlugin::GetEnableFlag: pdwEnableFlag is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    WdltHttpsConfig stored;
    const std::int32_t status = readWhole(*this, kHttpsFilter, stored, [](std::int32_t failure) {
        WDLOG_ERROR("CFuncBrowserPlugin::GetEnableFlag(): Failed to read config: %d", failure);
    });
    if (status == WDLT_OK)
        std::memcpy(pdwEnableFlag, &stored.enable, sizeof stored.enable);
    return status;
}

bool CFuncBrowserPlugin::isOnIn(const WdltHttpsConfig* config) {
    return config != nullptr && copyOf(config).enable != 0;
}
