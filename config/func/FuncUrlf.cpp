#include "FuncUrlf.h"

#include "ExportedRecords.h"
#include "FamilyRecords.h"
#include "FeatureSwitch.h"
#include "UrlQuestion.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <cstring>

namespace {

using namespace wdlt;

constexpr FeatureSwitch kUrlfSwitch{
    .protocol = WDLT_PROTOCOL_HTTP,
    .scan = WDLT_SCAN_URL_FILTER,
    .input = WDLT_INPUT_NONE,
    .itemFailed = "Failed to %s URL Filter PE: %d",
    .handlerFailed = "Failed to %s HTTP PH: %d",
};

constexpr Address urlFilterAddress(std::uint64_t configType) {
    return {0, WDLT_SCAN_URL_FILTER, configType};
}

} // namespace

std::int32_t CFuncUrlf::Enable(std::int32_t enable) {
    const FamilyCall call("CFuncUrlf", "Enable");
    return kUrlfSwitch.enable(*this, enable);
}

std::int32_t CFuncUrlf::IsEnabled() {
    const FamilyCall call("CFuncUrlf", "IsEnabled");
    return kUrlfSwitch.isEnabled(*this);
}

std::int32_t CFuncUrlf::ConfigRead(WdltUrlfConfig* pConfig) {
    const FamilyCall call("CFuncUrlf", "ConfigRead");
    if (pConfig == nullptr)
        return call.isNull("pConfig");
    Wiped<WdpeUrlfData> settings; // contains the proxy's password
    const std::int32_t status =
        readWhole(*this, urlFilterAddress(WDLT_CONFIG_URLF_SETTINGS), *settings, call.failing("read config"));
    if (status != WDLT_OK)
        return status;
    WdltUrlfConfig config{};
    toCaller(kUrlFilterPairs, config, *settings);
    handOver(pConfig, config);
    return WDLT_OK;
}

std::int32_t CFuncUrlf::ConfigWrite(const WdltUrlfConfig* pConfig) {
    const FamilyCall call("CFuncUrlf", "ConfigWrite");
    if (pConfig == nullptr)
        return call.isNull("pConfig");
    const WdltUrlfConfig config = copyOf(pConfig);
    return writeOver<WdpeUrlfData>(
        *this, urlFilterAddress(WDLT_CONFIG_URLF_SETTINGS),
        [&](WdpeUrlfData& stored) { toStore(kUrlFilterPairs, config, stored); }, call.failing("read config"),
        call.failing("write data"));
}

std::int32_t CFuncUrlf::ProxyRead(WdltUrlfProxy* pProxy) {
    const FamilyCall call("CFuncUrlf", "ProxyRead");
    if (pProxy == nullptr)
        return call.isNull("pProxy");
    Wiped<WdpeUrlfData> settings;
    const std::int32_t status =
        readWhole(*this, urlFilterAddress(WDLT_CONFIG_URLF_SETTINGS), *settings, call.failing("read config"));
    if (status != WDLT_OK)
        return status;
    Wiped<WdltUrlfProxy> proxy;
    toCaller(kUrlFilterProxyPairs, *proxy, *settings);
    handOver(pProxy, *proxy);
    return WDLT_OK;
}

// Writes all settings, not only the proxy's.
std::int32_t CFuncUrlf::ProxyWrite(const WdltUrlfProxy* pProxy) {
    const FamilyCall call("CFuncUrlf", "ProxyWrite");
    if (pProxy == nullptr)
        return call.isNull("pProxy");
    Wiped<WdltUrlfProxy> proxy;
    std::memcpy(&*proxy, pProxy, sizeof *proxy);
    return writeOver<WdpeUrlfData>(
        *this, urlFilterAddress(WDLT_CONFIG_URLF_SETTINGS),
        [&](WdpeUrlfData& stored) { toStore(kUrlFilterProxyPairs, *proxy, stored); }, call.failing("read config"),
        call.failing("write data"));
}

std::int32_t CFuncUrlf::RecordListRead(std::uint32_t listType, WdpeUrlfUrlRecord* records, std::int32_t* count) {
    FamilyCall call("CFuncUrlf", "RecordListRead");
    if (count == nullptr)
        return call.withoutRecords();
    if (listType != WDLT_LIST_WHITE && listType != WDLT_LIST_BLACK)
        return call.ofUnknownList(listType);
    CCfgData cfgData(0, WDLT_SCAN_URL_FILTER, WDLT_CONFIG_URLF_LIST);
    if (const std::int32_t status = Read(cfgData, sizeof(WdpeUrlfUrlList), &listType, sizeof listType);
        status != WDLT_OK) {
        if (status == WDLT_E_NO_MEMORY)
            WDLOG_ERROR("CFuncUrlf::RecordListRead(): Out of memory");
        WDLOG_ERROR("CFuncUrlf::RecordListRead(): Failed to read config: %d", status);
        return status;
    }
    std::int32_t stored = 0;
    std::memcpy(&stored, cfgData.GetData() + offsetof(WdpeUrlfUrlList, dwNumOfRecords), sizeof stored);
    const bool fits = records != nullptr && *count >= stored;
    *count = stored;
    if (!fits) {
        call.endWithCount(stored);
        return WDLT_E_BUFFER_SIZE;
    }
    std::memcpy(records, cfgData.GetData() + offsetof(WdpeUrlfUrlList, records),
                static_cast<std::size_t>(stored) * sizeof *records);
    return WDLT_OK;
}

std::int32_t CFuncUrlf::RecordListWrite(std::uint32_t listType, const WdpeUrlfUrlRecord* records, std::int32_t count) {
    const FamilyCall call("CFuncUrlf", "RecordListWrite");
    if (records == nullptr && count != 0)
        return call.withoutRecords();
    if (listType != WDLT_LIST_WHITE && listType != WDLT_LIST_BLACK)
        return call.ofUnknownList(listType);
    if (count < 0 || count > GetMaxCount(listType))
        return call.withTooMany(count);
    return writeList<WdpeUrlfUrlList>(*this, urlFilterAddress(WDLT_CONFIG_URLF_LIST), listType, records, count,
                                      call.failing("set data to config"), call.failing("write config"),
                                      "CFuncUrlf::RecordListWrite(): Out of memory");
}

std::int32_t CFuncUrlf::CategoryRead(WdpeUrlfCategory* categories, std::int32_t* count) {
    FamilyCall call("CFuncUrlf", "CategoryRead");
    return readSome<WdpeUrlfCategoryList>(*this, urlFilterAddress(WDLT_CONFIG_URLF_CATEGORIES), categories, count, call,
                                          call.failing("read config"));
}

std::int32_t CFuncUrlf::CategoryGroupRead(WdpeUrlfCategoryGroup* groups, std::int32_t* count) {
    FamilyCall call("CFuncUrlf", "CategoryGroupRead");
    return readSome<WdpeUrlfCategoryGroupList>(*this, urlFilterAddress(WDLT_CONFIG_URLF_CATEGORY_GROUPS), groups, count,
                                               call, call.failing("read config"));
}

std::int32_t CFuncUrlf::IsUrlRecordExists(std::uint32_t listType, const WdpeUrlfUrlRecord* url) {
    const FamilyCall call("CFuncUrlf", "IsUrlRecordExists");
    if (url == nullptr)
        return 0;
    const std::uint32_t asked = listType != WDLT_LIST_WHITE ? WDLT_LIST_BLACK : WDLT_LIST_WHITE;
    const auto answer = askService(*this, asked, *url);
    return answer ? (*answer ? 1 : 0) : IsUrlRecordExistsInDB(asked, *url);
}

std::int32_t CFuncUrlf::IsUrlRecordExistsInDB(std::uint32_t listType, const WdpeUrlfUrlRecord& url) {
    WDLOG_TRACE("CFuncUrlf::IsUrlRecordExistsInDB - Checking URL directly from DB if failed to get from Wardlet "
                "service.");
    WdpeUrlfQueryEntry entry{};
    std::memcpy(entry.szUrl, url.szUrl, sizeof entry.szUrl);
    const WdpeUrlfQuery query{listType, 1, &entry};
    CCfgData cfgData(0, WDLT_SCAN_URL_FILTER, WDLT_CONFIG_URLF_QUERY);
    if (const std::int32_t status = Read(cfgData, sizeof query, &query); status != WDLT_OK) {
        WDLOG_ERROR("CFuncUrlf::IsUrlRecordExistsInDB: Failed to query DB: %d", status);
        return 0;
    }
    return entry.dwExists == 1 ? 1 : 0;
}

std::int32_t CFuncUrlf::SetExtraHeader(const WdpeUrlfExtraHeader* header) {
    FamilyCall call("CFuncUrlf", "SetExtraHeader");
    if (header == nullptr)
        return call.withoutRecords();
    const WdpeUrlfExtraHeader head = copyOf(header);
    if (head.dwVersion == 0) {
        call.endToldElsewhere();
        WDLOG_ENTRY("CFuncUrlf::SetExtraHeader(): OUT return Supported version(%d)", WDLT_EXTRA_HEADER_VERSION);
        return WDLT_EXTRA_HEADER_VERSION;
    }
    if (head.dwVersion != WDLT_EXTRA_HEADER_VERSION) {
        WDLOG_ERROR("CFuncUrlf::SetExtraHeader(): Failed no supported version(%d)", head.dwVersion);
        return WDLT_E_VERSION;
    }
    return writeBytes(*this, urlFilterAddress(WDLT_CONFIG_URLF_EXTRA_HEADER), header,
                      std::uint64_t{head.dwSize} + sizeof head, call.failing("set data to config"),
                      call.failing("write config"));
}

std::int32_t CFuncUrlf::RSInfoRead(WdpeUrlfRSInfo* pRSInfo) {
    const FamilyCall call("CFuncUrlf", "RSInfoRead");
    if (pRSInfo == nullptr)
        return call.isNull("pRSInfo");
    WdpeUrlfRSInfo stored;
    const std::int32_t status =
        readWhole(*this, urlFilterAddress(WDLT_CONFIG_URLF_RS_INFO), stored, call.failing("read config"));
    if (status != WDLT_OK)
        return status;
    handOver(pRSInfo, stored);
    return WDLT_OK;
}

std::int32_t CFuncUrlf::RSInfoWrite(const WdpeUrlfRSInfo* pRSInfo) {
    const FamilyCall call("CFuncUrlf", "RSInfoWrite");
    if (pRSInfo == nullptr)
        return call.isNull("pRSInfo");
    if (pRSInfo->szRatingServer[0] == '\0') {
        WDLOG_ERROR("CFuncUrlf::RSInfoWrite: pRSInfo->szRatingServer is empty");
        return WDLT_E_INVALID_ARGUMENT;
    }
    return writeOver<WdpeUrlfRSInfo>(
        *this, urlFilterAddress(WDLT_CONFIG_URLF_RS_INFO), [&](WdpeUrlfRSInfo& stored) { stored = copyOf(pRSInfo); },
        call.failing("read config"), call.failing("write data"));
}

std::int32_t CFuncUrlf::UUCRead(WdpeUrlfUUC* pUUCConfig) {
    const FamilyCall call("CFuncUrlf", "UUCRead");
    if (pUUCConfig == nullptr)
        return call.isNull("pUUCConfig");
    WdpeUrlfUUC stored;
    const std::int32_t status =
        readWhole(*this, urlFilterAddress(WDLT_CONFIG_URLF_UUC), stored, call.failing("read config"));
    if (status == WDLT_OK)
        handOver(pUUCConfig, stored);
    return status;
}

// Unchanged settings aren't written, and nobody is notified.
std::int32_t CFuncUrlf::UUCWrite(const WdpeUrlfUUC* pUUCConfig) {
    const FamilyCall call("CFuncUrlf", "UUCWrite");
    if (pUUCConfig == nullptr)
        return call.isNull("pUUCConfig");
    WdpeUrlfUUC stored;
    if (const std::int32_t status =
            readWhole(*this, urlFilterAddress(WDLT_CONFIG_URLF_UUC), stored, call.failing("read config"));
        status != WDLT_OK)
        return status;
    if (std::memcmp(&stored, pUUCConfig, sizeof stored) == 0)
        return WDLT_OK;
    const CallFailure unwritten = call.failing("write data");
    return writeBytes(*this, urlFilterAddress(WDLT_CONFIG_URLF_UUC), pUUCConfig, sizeof *pUUCConfig, unwritten,
                      unwritten);
}

std::int32_t CFuncUrlf::EnableBackupLKQRetry(std::uint32_t enable) {
    const FamilyCall call("CFuncUrlf", "EnableBackupLKQRetry");
    return writeBytes(*this, urlFilterAddress(WDLT_CONFIG_URLF_BACKUP_RETRY), &enable, sizeof enable,
                      call.failing("set data to config"), call.failing("write config"));
}

// On unless it is known to be off.
std::int32_t CFuncUrlf::IsBackupLKQRetryEnabled() {
    const FamilyCall call("CFuncUrlf", "IsBackupLKQRetryEnabled");
    std::uint32_t enabled = 1;
    static_cast<void>(
        readWhole(*this, urlFilterAddress(WDLT_CONFIG_URLF_BACKUP_RETRY), enabled, call.failing("read config")));
    return enabled != 0 ? 1 : 0;
}

std::int32_t CFuncUrlf::SetSocketFamily(std::uint32_t family) {
    const FamilyCall call("CFuncUrlf", "SetSocketFamily");
    static_cast<void>(writeBytes(*this, urlFilterAddress(WDLT_CONFIG_URLF_SOCKET_FAMILY), &family, sizeof family,
                                 call.failing("set data to config"), call.failing("write config")));
    return WDLT_OK;
}

std::int32_t CFuncUrlf::GetSocketFamily(std::uint32_t* family) {
    const FamilyCall call("CFuncUrlf", "GetSocketFamily");
    if (family != nullptr)
        static_cast<void>(
            readWhole(*this, urlFilterAddress(WDLT_CONFIG_URLF_SOCKET_FAMILY), *family, call.failing("read config")));
    return WDLT_OK;
}

std::int32_t CFuncUrlf::SetQXNGuid(const char* text) {
    const FamilyCall call("CFuncUrlf", "SetQXNGuid");
    if (text == nullptr)
        return WDLT_OK;
    static_cast<void>(writeBytes(*this, urlFilterAddress(WDLT_CONFIG_URLF_QXN_GUID), text, std::strlen(text),
                                 call.failing("set data to config"), call.failing("write config")));
    return WDLT_OK;
}
