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

constexpr FeatureSwitch kSwitch{
    .protocol = WDLT_PROTOCOL_HTTP,
    .scan = WDLT_SCAN_URL_FILTER,
    .input = WDLT_INPUT_NONE,
    .itemFailed = [](const char* verb, std::uint32_t,
                     std::int32_t status) { WDLOG_ERROR("Failed to %s URL Filter PE: %d", verb, status); },
    .handlerFailed = [](const char* verb, std::uint32_t,
                        std::int32_t status) { WDLOG_ERROR("Failed to %s HTTP PH: %d", verb, status); },
};

constexpr Address addressOf(std::uint64_t configType) {
    return {0, WDLT_SCAN_URL_FILTER, configType};
}

CallLines linesOf(const char* member) {
    return {"CFuncUrlf", member};
}

} // namespace

std::int32_t CFuncUrlf::Enable(std::int32_t enable) {
    const CallLines lines = linesOf("Enable");
    return kSwitch.enable(*this, enable);
}

std::int32_t CFuncUrlf::IsEnabled() {
    const CallLines lines = linesOf("IsEnabled");
    return kSwitch.isEnabled(*this);
}

std::int32_t CFuncUrlf::ConfigRead(WdltUrlfConfig* pConfig) {
    const CallLines lines = linesOf("ConfigRead");
    if (pConfig == nullptr) {
        WDLOG_ERROR("CFuncUrlf::ConfigRead: pConfig is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    Wiped<WdpeUrlfData> settings; // the proxy's password is in it
    const std::int32_t status =
        readWhole(*this, addressOf(WDLT_CONFIG_URLF_SETTINGS), *settings, [](std::int32_t failure) {
            WDLOG_ERROR("CFuncUrlf::ConfigRead(): Failed to read config: %d", failure);
        });
    if (status != WDLT_OK)
        return status;
    WdltUrlfConfig config{};
    toCaller(kUrlFilterPairs, config, *settings);
    handOver(pConfig, config);
    return WDLT_OK;
}

std::int32_t CFuncUrlf::ConfigWrite(const WdltUrlfConfig* pConfig) {
    const CallLines lines = linesOf("ConfigWrite");
    if (pConfig == nullptr) {
        WDLOG_ERROR("CFuncUrlf::ConfigWrite: pConfig is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    const WdltUrlfConfig config = copyOf(pConfig);
    return writeOver<WdpeUrlfData>(
        *this, addressOf(WDLT_CONFIG_URLF_SETTINGS),
        [&](WdpeUrlfData& stored) { toStore(kUrlFilterPairs, config, stored); },
        [](std::int32_t failure) { WDLOG_ERROR("CFuncUrlf::ConfigWrite(): Failed to read config: %d", failure); },
        [](std::int32_t failure) { WDLOG_ERROR("CFuncUrlf::ConfigWrite(): Failed to write data: %d", failure); });
}

std::int32_t CFuncUrlf::ProxyRead(WdltUrlfProxy* pProxy) {
    const CallLines lines = linesOf("ProxyRead");
    if (pProxy == nullptr) {
        WDLOG_ERROR("CFuncUrlf::ProxyRead: pProxy is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    Wiped<WdpeUrlfData> settings;
    const std::int32_t status =
        readWhole(*this, addressOf(WDLT_CONFIG_URLF_SETTINGS), *settings, [](std::int32_t failure) {
            WDLOG_ERROR("CFuncUrlf::ProxyRead(): Failed to read config: %d", failure);
        });
    if (status != WDLT_OK)
        return status;
    Wiped<WdltUrlfProxy> proxy;
    toCaller(kUrlFilterProxyPairs, *proxy, *settings);
    handOver(pProxy, *proxy);
    return WDLT_OK;
}

// All the settings are written again, not only the proxy's.
std::int32_t CFuncUrlf::ProxyWrite(const WdltUrlfProxy* pProxy) {
    const CallLines lines = linesOf("ProxyWrite");
    if (pProxy == nullptr) {
        WDLOG_ERROR("CFuncUrlf::ProxyWrite: pProxy is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    Wiped<WdltUrlfProxy> proxy;
    std::memcpy(&*proxy, pProxy, sizeof *proxy);
    return writeOver<WdpeUrlfData>(
        *this, addressOf(WDLT_CONFIG_URLF_SETTINGS),
        [&](WdpeUrlfData& stored) { toStore(kUrlFilterProxyPairs, *proxy, stored); },
        [](std::int32_t failure) { WDLOG_ERROR("CFuncUrlf::ProxyWrite(): Failed to read config: %d", failure); },
        [](std::int32_t failure) { WDLOG_ERROR("CFuncUrlf::ProxyWrite(): Failed to write data: %d", failure); });
}

std::int32_t CFuncUrlf::RecordListRead(std::uint32_t listType, WdpeUrlfUrlRecord* records, std::int32_t* count) {
    CallLines lines = linesOf("RecordListRead");
    if (count == nullptr) {
        WDLOG_ERROR("CFuncUrlf::RecordListRead(): Invalid parameter NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (listType != WDLT_LIST_WHITE && listType != WDLT_LIST_BLACK) {
        WDLOG_ERROR("CFuncUrlf::RecordListRead(): Unknown list type: %d", listType);
        return WDLT_E_INVALID_ARGUMENT;
    }
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
        lines.endWithCount(stored);
        return WDLT_E_BUFFER_SIZE;
    }
    std::memcpy(records, cfgData.GetData() + offsetof(WdpeUrlfUrlList, records),
                static_cast<std::size_t>(stored) * sizeof *records);
    return WDLT_OK;
}

std::int32_t CFuncUrlf::RecordListWrite(std::uint32_t listType, const WdpeUrlfUrlRecord* records, std::int32_t count) {
    const CallLines lines = linesOf("RecordListWrite");
    if (records == nullptr && count != 0) {
        WDLOG_ERROR("CFuncUrlf::RecordListWrite(): Invalid parameter NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (listType != WDLT_LIST_WHITE && listType != WDLT_LIST_BLACK) {
        WDLOG_ERROR("CFuncUrlf::RecordListWrite(): Unknown list type: %d", listType);
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (count < 0 || count > GetMaxCount(listType)) {
        WDLOG_ERROR("CFuncUrlf::RecordListWrite(): count %d exceeds the maximum", count);
        return WDLT_E_INVALID_ARGUMENT;
    }
    return writeList<WdpeUrlfUrlList>(
        *this, addressOf(WDLT_CONFIG_URLF_LIST), listType, records, count,
        [](std::int32_t failure) {
            WDLOG_ERROR("CFuncUrlf::RecordListWrite(): Out of memory");
            WDLOG_ERROR("CFuncUrlf::RecordListWrite(): Failed to set data to config: %d", failure);
        },
        [](std::int32_t failure) { WDLOG_ERROR("CFuncUrlf::RecordListWrite(): Failed to write config: %d", failure); });
}

std::int32_t CFuncUrlf::CategoryRead(WdpeUrlfCategory* categories, std::int32_t* count) {
    CallLines lines = linesOf("CategoryRead");
    return readSome<WdpeUrlfCategoryList>(
        *this, addressOf(WDLT_CONFIG_URLF_CATEGORIES), categories, count, lines,
        [](std::int32_t failure) { WDLOG_ERROR("CFuncUrlf::CategoryRead(): Failed to read config: %d", failure); });
}

std::int32_t CFuncUrlf::CategoryGroupRead(WdpeUrlfCategoryGroup* groups, std::int32_t* count) {
    CallLines lines = linesOf("CategoryGroupRead");
    return readSome<WdpeUrlfCategoryGroupList>(
        *this, addressOf(WDLT_CONFIG_URLF_CATEGORY_GROUPS), groups, count, lines, [](std::int32_t failure) {
            WDLOG_ERROR("CFuncUrlf::CategoryGroupRead(): Failed to read config: %d", failure);
        });
}

std::int32_t CFuncUrlf::IsUrlRecordExists(std::uint32_t listType, const WdpeUrlfUrlRecord* url) {
    const CallLines lines = linesOf("IsUrlRecordExists");
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
    CallLines lines = linesOf("SetExtraHeader");
    if (header == nullptr) {
        WDLOG_ERROR("CFuncUrlf::SetExtraHeader(): Invalid parameter NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    const WdpeUrlfExtraHeader head = copyOf(header);
    if (head.dwVersion == 0) {
        lines.endToldElsewhere();
        WDLOG_ENTRY("CFuncUrlf::SetExtraHeader(): OUT return Supported version(%d)", WDLT_EXTRA_HEADER_VERSION);
        return WDLT_EXTRA_HEADER_VERSION;
    }
    if (head.dwVersion != WDLT_EXTRA_HEADER_VERSION) {
        WDLOG_ERROR("CFuncUrlf::SetExtraHeader(): Failed no supported version(%d)", head.dwVersion);
        return WDLT_E_VERSION;
    }
    return writeBytes(
        *this, addressOf(WDLT_CONFIG_URLF_EXTRA_HEADER), header, std::uint64_t{head.dwSize} + sizeof head,
        [](std::int32_t failure) {
            WDLOG_ERROR("CFuncUrlf::SetExtraHeader(): Failed to set data to config: %d", failure);
        },
        [](std::int32_t failure) { WDLOG_ERROR("CFuncUrlf::SetExtraHeader(): Failed to write config: %d", failure); });
}

std::int32_t CFuncUrlf::RSInfoRead(WdpeUrlfRSInfo* pRSInfo) {
    const CallLines lines = linesOf("RSInfoRead");
    if (pRSInfo == nullptr) {
        WDLOG_ERROR("CFuncUrlf::RSInfoRead: pRSInfo is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    WdpeUrlfRSInfo stored;
    const std::int32_t status = readWhole(*this, addressOf(WDLT_CONFIG_URLF_RS_INFO), stored, [](std::int32_t failure) {
        WDLOG_ERROR("CFuncUrlf::RSInfoRead(): Failed to read config: %d", failure);
    });
    if (status != WDLT_OK)
        return status;
    handOver(pRSInfo, stored);
    return WDLT_OK;
}

std::int32_t CFuncUrlf::RSInfoWrite(const WdpeUrlfRSInfo* pRSInfo) {
    const CallLines lines = linesOf("RSInfoWrite");
    if (pRSInfo == nullptr) {
        WDLOG_ERROR("CFuncUrlf::RSInfoWrite: pRSInfo is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (pRSInfo->szRatingServer[0] == '\0') {
        WDLOG_ERROR("CFuncUrlf::RSInfoWrite: pRSInfo->szRatingServer is empty");
        return WDLT_E_INVALID_ARGUMENT;
    }
    return writeOver<WdpeUrlfRSInfo>(
        *this, addressOf(WDLT_CONFIG_URLF_RS_INFO), [&](WdpeUrlfRSInfo& stored) { stored = copyOf(pRSInfo); },
        [](std::int32_t failure) { WDLOG_ERROR("CFuncUrlf::RSInfoWrite(): Failed to read config: %d", failure); },
        [](std::int32_t failure) { WDLOG_ERROR("CFuncUrlf::RSInfoWrite(): Failed to write data: %d", failure); });
}

std::int32_t CFuncUrlf::UUCRead(WdpeUrlfUUC* pUUCConfig) {
    const CallLines lines = linesOf("UUCRead");
    if (pUUCConfig == nullptr) {
        WDLOG_ERROR("CFuncUrlf::UUCRead: pUUCConfig is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    WdpeUrlfUUC stored;
    const std::int32_t status = readWhole(*this, addressOf(WDLT_CONFIG_URLF_UUC), stored, [](std::int32_t failure) {
        WDLOG_ERROR("CFuncUrlf::UUCRead(): Failed to read config: %d", failure);
    });
    if (status == WDLT_OK)
        handOver(pUUCConfig, stored);
    return status;
}

// What is stored already isn't written, and so nobody told of it.
std::int32_t CFuncUrlf::UUCWrite(const WdpeUrlfUUC* pUUCConfig) {
    const CallLines lines = linesOf("UUCWrite");
    if (pUUCConfig == nullptr) {
        WDLOG_ERROR("CFuncUrlf::UUCWrite: pUUCConfig is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    WdpeUrlfUUC stored;
    if (const std::int32_t status = readWhole(
            *this, addressOf(WDLT_CONFIG_URLF_UUC), stored,
            [](std::int32_t failure) { WDLOG_ERROR("CFuncUrlf::UUCWrite(): Failed to read config: %d", failure); });
        status != WDLT_OK)
        return status;
    if (std::memcmp(&stored, pUUCConfig, sizeof stored) == 0)
        return WDLT_OK;
    constexpr auto kFailed = [](std::int32_t failure) {
        WDLOG_ERROR("CFuncUrlf::UUCWrite(): Failed to write data: %d", failure);
    };
    return writeBytes(*this, addressOf(WDLT_CONFIG_URLF_UUC), pUUCConfig, sizeof *pUUCConfig, kFailed, kFailed);
}

std::int32_t CFuncUrlf::EnableBackupLKQRetry(std::uint32_t enable) {
    const CallLines lines = linesOf("EnableBackupLKQRetry");
    return writeBytes(
        *this, addressOf(WDLT_CONFIG_URLF_BACKUP_RETRY), &enable, sizeof enable,
        [](std::int32_t failure) {
            WDLOG_ERROR("CFuncUrlf::EnableBackupLKQRetry(): Failed to set data to config: %d", failure);
        },
        [](std::int32_t failure) {
            WDLOG_ERROR("CFuncUrlf::EnableBackupLKQRetry(): Failed to write config: %d", failure);
        });
}

// On unless it is known to be off.
std::int32_t CFuncUrlf::IsBackupLKQRetryEnabled() {
    const CallLines lines = linesOf("IsBackupLKQRetryEnabled");
    std::uint32_t enabled = 1;
    readWhole(*this, addressOf(WDLT_CONFIG_URLF_BACKUP_RETRY), enabled, [](std::int32_t failure) {
        WDLOG_ERROR("CFuncUrlf::IsBackupLKQRetryEnabled(): Failed to read config: %d", failure);
    });
    return enabled != 0 ? 1 : 0;
}

std::int32_t CFuncUrlf::SetSocketFamily(std::uint32_t family) {
    const CallLines lines = linesOf("SetSocketFamily");
    writeBytes(
        *this, addressOf(WDLT_CONFIG_URLF_SOCKET_FAMILY), &family, sizeof family,
        [](std::int32_t failure) {
            WDLOG_ERROR("CFuncUrlf::SetSocketFamily(): Failed to set data to config: %d", failure);
        },
        [](std::int32_t failure) { WDLOG_ERROR("CFuncUrlf::SetSocketFamily(): Failed to write config: %d", failure); });
    return WDLT_OK;
}

std::int32_t CFuncUrlf::GetSocketFamily(std::uint32_t* family) {
    const CallLines lines = linesOf("GetSocketFamily");
    if (family != nullptr)
        readWhole(*this, addressOf(WDLT_CONFIG_URLF_SOCKET_FAMILY), *family, [](std::int32_t failure) {
            WDLOG_ERROR("CFuncUrlf::GetSocketFamily(): Failed to read config: %d", failure);
        });
    return WDLT_OK;
}

std::int32_t CFuncUrlf::SetQXNGuid(const char* text) {
    const CallLines lines = linesOf("SetQXNGuid");
    if (text == nullptr)
        return WDLT_OK;
    writeBytes(
        *this, addressOf(WDLT_CONFIG_URLF_QXN_GUID), text, std::strlen(text),
        [](std::int32_t failure) { WDLOG_ERROR("CFuncUrlf::SetQXNGuid(): Failed to set data to config: %d", failure); },
        [](std::int32_t failure) { WDLOG_ERROR("CFuncUrlf::SetQXNGuid(): Failed to write config: %d", failure); });
    return WDLT_OK;
}
