#include "FuncGenericVs.h"

#include "ExportedRecords.h"
#include "FamilyRecords.h"
#include "FeatureSwitch.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <cstring>

namespace {

using namespace wdlt;

constexpr FeatureSwitch switchOf(std::uint32_t protocol, std::uint32_t input) {
    return {
        .protocol = protocol,
        .scan = WDLT_SCAN_VIRUS,
        .input = input,
        .itemFailed = "Failed to %s VS PE: %d",
        .handlerFailed = "Failed to %s PH %d: %d",
    };
}

constexpr Address addressOf(std::uint32_t protocol, std::uint32_t input) {
    return {protocol, WDLT_SCAN_VIRUS, WDLT_CONFIG_DEFAULT, input};
}

CCfgData limitRecordOf(const VsPlace& place) {
    return {place.limitProtocol, place.limitScan, place.limitInput, WDLT_CONFIG_DEFAULT};
}

} // namespace

std::int32_t CFuncGenericVs::Enable(std::int32_t enable) {
    const FamilyCall call("CFuncGenericVs", "Enable");
    return switchOf(m_dwProtocol, m_dwInput).enable(*this, enable);
}

std::int32_t CFuncGenericVs::IsEnabled() {
    const FamilyCall call("CFuncGenericVs", "IsEnabled");
    return switchOf(m_dwProtocol, m_dwInput).isEnabled(*this);
}

std::int32_t CFuncGenericVs::readPlace(const VsPlace& place, WdltVsConfig* pConfig) {
    const FamilyCall call(place.family, place.reading.member);
    if (pConfig == nullptr) {
        WDLOG_ERROR("%s", place.reading.withoutConfig);
        return WDLT_E_INVALID_ARGUMENT;
    }
    CCfgData limit = limitRecordOf(place);
    if (const std::int32_t status = Read(limit, place.limitRecordSize, nullptr); status != WDLT_OK) {
        WDLOG_ERROR("%s: %d", place.reading.limitUnread, status);
        return status;
    }
    WdltVsConfig config{};
    if (const std::int32_t status = ConfigReadVs(config); status != WDLT_OK) {
        WDLOG_ERROR("%s: %d", place.reading.scanUnread, status);
        return status;
    }
    std::memcpy(&config.dwLimitSize, limit.GetData() + place.limitOffset, sizeof config.dwLimitSize);
    handOver(pConfig, config);
    return WDLT_OK;
}

std::int32_t CFuncGenericVs::writePlace(const VsPlace& place, const WdltVsConfig* pConfig) {
    const FamilyCall call(place.family, place.writing.member);
    if (pConfig == nullptr) {
        WDLOG_ERROR("%s", place.writing.withoutConfig);
        return WDLT_E_INVALID_ARGUMENT;
    }
    CCfgData limit = limitRecordOf(place);
    if (const std::int32_t status = Read(limit, place.limitRecordSize, nullptr); status != WDLT_OK) {
        WDLOG_ERROR("%s: %d", place.writing.limitUnread, status);
        return status;
    }
    const WdltVsConfig config = copyOf(pConfig);
    std::memcpy(limit.GetData() + place.limitOffset, &config.dwLimitSize, sizeof config.dwLimitSize);
    if (const std::int32_t status = ConfigWriteVs(config); status != WDLT_OK) {
        WDLOG_ERROR("%s: %d", place.writing.scanUnwritten, status);
        return status;
    }
    const std::int32_t status = Write(limit);
    if (status != WDLT_OK)
        WDLOG_ERROR("%s: %d", place.writing.limitUnwritten, status);
    return status;
}

std::int32_t CFuncGenericVs::ConfigReadVs(WdltVsConfig& record) {
    WdpeVsData stored;
    const std::int32_t status = readWhole(*this, addressOf(m_dwProtocol, m_dwInput), stored,
                                          EventLine("CFuncGenericVs::ConfigReadVs(): Failed to read config: %d"));
    if (status == WDLT_OK)
        toCaller(kVirusScanPairs, record, stored);
    return status;
}

std::int32_t CFuncGenericVs::ConfigWriteVs(const WdltVsConfig& record) {
    return writeOver<WdpeVsData>(
        *this, addressOf(m_dwProtocol, m_dwInput),
        [&](WdpeVsData& stored) { toStore(kVirusScanPairs, record, stored); },
        EventLine("CFuncGenericVs::ConfigWriteVs(): Failed to read config: %d"),
        EventLine("CFuncGenericVs::ConfigWriteVs(): Failed to write config: %d"));
}
