#include "EngineUrlFCommon.h"

#include "ConfigTypes.h"
#include "EngineFrame.h"
#include "ListFile.h"
#include "SettingsCipher.h"
#include "UrlCategoryDB.h"
#include "UrlCategoryGroupDB.h"
#include "UrlFilterRecords.h"
#include "UrlListDB.h"
#include "UrlLogDB.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <platform/registry_batch.h>
#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <cstddef>
#include <cstring>
#include <string>

namespace {

using namespace wdlt;

constexpr ValueReport kUrlFilterReport{
    .readFailed = "CEngineUrlFCommon: Failed to read registry (item=%s, ret=%ld)",
    .writeFailed = "CEngineUrlFCommon: Failed to write registry (item=%s, ret=%ld)",
};
constexpr ListFileReport kUrlFilterFileReport{
    .valueUnread = kUrlFilterReport.readFailed,
    .noInstallPath = "CEngineUrlFCommon: Cannot get the install path",
};

// WDLT_E_BUFFER_SIZE with the size needed, for a smaller one.
std::int32_t checkReadSize(std::uint64_t needed, std::uint64_t* size) {
    if (*size >= needed)
        return WDLT_OK;
    *size = needed;
    return WDLT_E_BUFFER_SIZE;
}

// Clears the caller's whole buffer and lets `readAll` read into the record.
template <class Record, class ReadValues>
std::int32_t readInto(WdchHelper& helper, void* data, std::uint64_t* size, ReadValues&& readAll) {
    if (const std::int32_t status = checkRead(kEngineFrame, sizeof(Record), data, size); status != WDLT_OK)
        return status;
    SettingsCipher cipher(helper);
    CallersRecord<Record> record(data);
    return readAll(ValueAccess{helper, kUrlFilterReport, &cipher}, *record);
}

template <auto& Rows>
std::int32_t readTable(WdchHelper& helper, void* data, std::uint64_t* size) {
    SettingsCipher cipher(helper);
    return readRecord(kEngineFrame, {helper, kUrlFilterReport, &cipher}, Rows, data, size);
}

template <auto& Rows>
std::int32_t writeTable(WdchHelper& helper, void* data, std::uint64_t size) {
    SettingsCipher cipher(helper);
    return writeRecord(kEngineFrame, {helper, kUrlFilterReport, &cipher}, Rows, data, size);
}

std::int32_t readAllSettings(const ValueAccess& access, WdpeUrlfFullData& record) {
    const std::int32_t status = readValues(access, kUrlFilterFields, record.settings);
    return status != WDLT_OK ? status : readValues(access, kUrlFilterMoreFields, record);
}

std::int32_t readFull(WdchHelper& helper, void* data, std::uint64_t* size) {
    return readInto<WdpeUrlfFullData>(helper, data, size, readAllSettings);
}

std::int32_t readDrs(WdchHelper& helper, void* data, std::uint64_t* size) {
    return readInto<WdpeUrlfDrsData>(helper, data, size, [](const ValueAccess& access, WdpeUrlfDrsData& record) {
        record.dwSize = sizeof record;
        if (const std::int32_t status = readAllSettings(access, record.full); status != WDLT_OK) {
            WDLOG_ERROR("Read All Registry failed.(%d)", status);
            return status;
        }
        return readValues(access, kUrlFilterDrsFields, record);
    });
}

// Also the writer of the config types whose own record is read only: they take a WdpeUrlfRSInfo.
std::int32_t writeRatingServer(WdchHelper& helper, void* data, std::uint64_t size) {
    if (size != sizeof(WdpeUrlfRSInfo))
        return WDLT_E_INVALID_ARGUMENT;
    SettingsCipher cipher(helper);
    const ValueAccess access{helper, kUrlFilterReport, &cipher};
    WdpeUrlfRSInfo stored{};
    if (const std::int32_t status = readValues(access, kRatingServerFields, stored); status != WDLT_OK) {
        WDLOG_ERROR("CEngineUrlFCommon: Failed to ReadRSInfo in WriteRSInfo (ret=%ld)", static_cast<long>(status));
        return status;
    }
    CallersRecord<WdpeUrlfRSInfo> record(data);
    RegistryBatch batch;
    std::size_t last = 0;
    std::int32_t status = writeValue(access, kRatingServerFields[last], &*record);
    if (status == WDLT_OK && record->dwRatingPort != stored.dwRatingPort)
        status = writeValue(access, kRatingServerFields[++last], &*record);
    if (batch.end() != 0 && status == WDLT_OK)
        status = WDLT_E_REGISTRY;
    return status == WDLT_OK ? status : writeFailed(access, kRatingServerFields[last], status);
}

// The size counts four bytes more than the version, the length and the data.
constexpr std::uint64_t kExtraHeaderHead = sizeof(WdpeUrlfExtraHeader);
constexpr std::size_t kExtraHeaderData = offsetof(WdpeUrlfExtraHeader, byData);

// WDLT_OK when the data is to be used; WDLT_EXTRA_HEADER_VERSION answers a caller that asks for the supported version.
std::int32_t checkExtraHeader(const void* data, DWORD& dataBytes) {
    DWORD version = 0;
    std::memcpy(&version, data, sizeof version);
    std::memcpy(&dataBytes, static_cast<const char*>(data) + offsetof(WdpeUrlfExtraHeader, dwSize), sizeof dataBytes);
    if (version == 0)
        return WDLT_EXTRA_HEADER_VERSION;
    return version == WDLT_EXTRA_HEADER_VERSION ? WDLT_OK : WDLT_E_VERSION;
}

std::int32_t readExtraHeader(WdchHelper& helper, void* data, std::uint64_t* size) {
    if (const std::int32_t status = checkReadSize(kExtraHeaderHead, size); status != WDLT_OK)
        return status;
    DWORD room = 0;
    if (const std::int32_t status = checkExtraHeader(data, room); status != WDLT_OK)
        return status;
    DWORD version = 0;
    DWORD versionBytes = sizeof version;
    if (const std::int32_t status = helper.ReadItem("", "ExtraHeaderVersion", &version, &versionBytes, false);
        status != WDLT_OK) {
        kUrlFilterReport.readFailed.tell(kLogError, {"ExtraHeaderVersion"}, {status});
        return WDLT_E_NOT_FOUND;
    }
    if (version != WDLT_EXTRA_HEADER_VERSION)
        return WDLT_E_INVALID_ARGUMENT;
    if (room > *size - kExtraHeaderHead) {
        *size = kExtraHeaderHead + room;
        return WDLT_E_BUFFER_SIZE; // dwSize exceeds the buffer
    }
    std::uint64_t dataBytes = 0;
    SettingsCipher cipher(helper);
    const std::int32_t status =
        cipher.read("ExtraHeaderData", {static_cast<char*>(data) + kExtraHeaderData, room}, dataBytes);
    if (status != WDLT_OK && status != WDLT_E_BUFFER_SIZE) {
        kUrlFilterReport.readFailed.tell(kLogError, {"ExtraHeaderData"}, {status});
        return status;
    }
    *size = dataBytes + kExtraHeaderHead;
    return status;
}

std::int32_t writeExtraHeader(WdchHelper& helper, void* data, std::uint64_t size) {
    if (size < kExtraHeaderHead)
        return WDLT_E_INVALID_ARGUMENT;
    DWORD dataBytes = 0;
    if (const std::int32_t status = checkExtraHeader(data, dataBytes); status != WDLT_OK)
        return status;
    if (dataBytes > size - kExtraHeaderHead)
        return WDLT_E_INVALID_ARGUMENT;
    const DWORD version = WDLT_EXTRA_HEADER_VERSION;
    const char* last = "ExtraHeaderVersion";
    RegistryBatch batch;
    std::int32_t status = helper.WriteItem("", last, REG_DWORD, &version, sizeof version, false);
    if (status == WDLT_OK) {
        last = "ExtraHeaderData";
        SettingsCipher cipher(helper);
        status = cipher.write(last, {static_cast<const char*>(data) + kExtraHeaderData, dataBytes});
    }
    if (batch.end() != 0 && status == WDLT_OK)
        status = WDLT_E_REGISTRY;
    if (status != WDLT_OK)
        kUrlFilterReport.writeFailed.tell(kLogError, {last}, {status});
    return status;
}

constexpr const char* kGuid = "QXNGuid";

std::int32_t readGuid(WdchHelper& helper, void* data, std::uint64_t* size) {
    SettingsCipher cipher(helper);
    const std::int32_t status = cipher.read(kGuid, {static_cast<char*>(data), *size}, *size);
    if (status != WDLT_OK && status != WDLT_E_BUFFER_SIZE)
        kUrlFilterReport.readFailed.tell(kLogError, {kGuid}, {status});
    return status;
}

std::int32_t writeGuid(WdchHelper& helper, void* data, std::uint64_t size) {
    SettingsCipher cipher(helper);
    const std::int32_t status = cipher.write(kGuid, {static_cast<const char*>(data), size});
    if (status != WDLT_OK)
        kUrlFilterReport.writeFailed.tell(kLogError, {kGuid}, {status});
    return status;
}

// The file of the white list or the black one.
std::int32_t findUrlList(WdchHelper& helper, std::uint32_t listType, std::string& path) {
    if (listType != WDLT_LIST_WHITE && listType != WDLT_LIST_BLACK) {
        WDLOG_ERROR("CEngineUrlFCommon: Invalid value (dwListType=%lu)", static_cast<unsigned long>(listType));
        return WDLT_E_INVALID_ARGUMENT;
    }
    const char* const item = listType == WDLT_LIST_WHITE ? "Whitelist" : "Blacklist";
    return findListFile(helper, kUrlFilterFileReport, {.item = item}, path);
}

std::int32_t readUrlList(WdchHelper& helper, void* data, std::uint64_t* size) {
    if (const std::int32_t status = checkReadSize(sizeof(WdpeUrlfUrlList), size); status != WDLT_OK)
        return status;
    std::string path;
    if (const std::int32_t status = findUrlList(helper, listTypeOf(data), path); status != WDLT_OK)
        return status;
    const std::int32_t status = CUrlListDB().Read(path.c_str(), data, size);
    if (status != WDLT_OK)
        WDLOG_ERROR("CEngineUrlFCommon: Failed to read the URL List database (file=%s)", path);
    return status;
}

std::int32_t writeUrlList(WdchHelper& helper, void* data, std::uint64_t size) {
    if (size != sizeof(WdpeUrlfUrlList))
        return WDLT_E_INVALID_ARGUMENT;
    std::string path;
    if (const std::int32_t status = findUrlList(helper, listTypeOf(data), path); status != WDLT_OK)
        return status;
    CUrlListDB list;
    list.setTempFolder(helper.GetTempPath());
    const std::int32_t status = list.Write(path.c_str(), data, &size);
    if (status != WDLT_OK)
        WDLOG_ERROR("CEngineUrlFCommon: Failed to write the URL List database (file=%s)", path);
    return status;
}

std::int32_t readQuery(WdchHelper& helper, void* data, std::uint64_t* size) {
    if (*size != sizeof(WdpeUrlfQuery))
        return WDLT_E_INVALID_ARGUMENT;
    CallersRecord<WdpeUrlfQuery> query(data);
    std::string path;
    if (const std::int32_t status = findUrlList(helper, query->dwListType, path); status != WDLT_OK)
        return status;
    CUrlListDB list;
    list.setTempFolder(helper.GetTempPath());
    const std::int32_t status = list.CheckIfUrlRecordExists(path.c_str(), &*query);
    if (status != WDLT_OK)
        WDLOG_ERROR("CEngineUrlFCommon: Failed to check the URL List database (file=%s)", path);
    return status;
}

// Reads a list from the file that a registry value names; `unread` is the log line when that fails.
template <class Store, class List>
std::int32_t readList(WdchHelper& helper, void* data, std::uint64_t* size, const ListFileName& name,
                      const EventLine& unread) {
    if (const std::int32_t status = checkReadSize(sizeof(List), size); status != WDLT_OK)
        return status;
    std::string path;
    if (const std::int32_t status = findListFile(helper, kUrlFilterFileReport, name, path); status != WDLT_OK)
        return status;
    const std::int32_t status = Store().Read(path.c_str(), data, size);
    // A missing file is an empty list: nothing may have been logged yet.
    if (status == WDLT_E_FILE_NOT_FOUND && name.defaultName != nullptr) {
        std::memset(data, 0, sizeof(List::dwNumOfRecords));
        return WDLT_OK;
    }
    if (status != WDLT_OK)
        unread.tell(kLogError, {path.c_str()}, {});
    return status;
}

std::int32_t readCategories(WdchHelper& helper, void* data, std::uint64_t* size) {
    return readList<CUrlCategoryDB, WdpeUrlfCategoryList>(
        helper, data, size, {.item = "CategoryFile"},
        "CEngineUrlFCommon: Failed to read the Category database (file=%s)");
}

std::int32_t readCategoryGroups(WdchHelper& helper, void* data, std::uint64_t* size) {
    return readList<CUrlCategoryGroupDB, WdpeUrlfCategoryGroupList>(
        helper, data, size, {.item = "CategoryGroupFile"},
        "CEngineUrlFCommon: Failed to read the Category Group database (file=%s)");
}

std::int32_t readLogIndex(WdchHelper& helper, void* data, std::uint64_t* size) {
    return readList<CUrlLogDB, WdpeUrlfLogIndexList>(
        helper, data, size, {.item = "LogIndexFile", .defaultName = "URLLog.dat"},
        "CEngineUrlFCommon: Failed to read the log index database (file=%s)");
}

constexpr ConfigType kTypes[] = {
    {WDLT_CONFIG_URLF_SETTINGS, readTable<kUrlFilterFields>, writeTable<kUrlFilterFields>},
    {WDLT_CONFIG_URLF_LIST, readUrlList, writeUrlList},
    {WDLT_CONFIG_URLF_CATEGORIES, readCategories, writeRatingServer},
    {WDLT_CONFIG_URLF_CATEGORY_GROUPS, readCategoryGroups, writeRatingServer},
    {WDLT_CONFIG_URLF_FULL, readFull, writeRatingServer},
    {WDLT_CONFIG_URLF_LOG_INDEX, readLogIndex, writeRatingServer},
    {WDLT_CONFIG_URLF_QUERY, readQuery, nullptr},
    {WDLT_CONFIG_URLF_DRS, readDrs, writeRatingServer},
    {WDLT_CONFIG_URLF_EXTRA_HEADER, readExtraHeader, writeExtraHeader},
    {WDLT_CONFIG_URLF_RS_INFO, readTable<kRatingServerFields>, writeRatingServer},
    {WDLT_CONFIG_URLF_UUC, readTable<kUntestedUrlFields>, writeTable<kUntestedUrlFields>},
    {WDLT_CONFIG_URLF_BACKUP_RETRY, readTable<kBackupRetryFields>, writeTable<kBackupRetryFields>},
    {WDLT_CONFIG_URLF_SOCKET_FAMILY, readTable<kSocketFamilyFields>, writeTable<kSocketFamilyFields>},
    {WDLT_CONFIG_URLF_QXN_GUID, readGuid, writeGuid},
    {WDLT_CONFIG_URLF_CACHE_FILE, readTable<kCacheFileFields>, nullptr},
};

} // namespace

std::int32_t CEngineUrlFCommon::ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) {
    if (data == nullptr)
        return WDLT_E_INVALID_ARGUMENT;
    const ConfigType* const found = findConfigType(kTypes, configType);
    if (found == nullptr) {
        WDLOG_ERROR("CEngineUrlFCommon::ReadConfig(): invalid value (dwInput=%ld)", static_cast<long>(configType));
        return WDLT_E_INVALID_ARGUMENT;
    }
    return found->read(*this, data, size);
}

std::int32_t CEngineUrlFCommon::WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) {
    if (data == nullptr)
        return WDLT_E_INVALID_ARGUMENT;
    const ConfigType* const found = findConfigType(kTypes, configType);
    if (found == nullptr || found->write == nullptr) {
        WDLOG_ERROR("CEngineUrlFCommon::WriteConfig(): invalid value (dwInput=%ld)", static_cast<long>(configType));
        return WDLT_E_INVALID_ARGUMENT;
    }
    return found->write(*this, data, size);
}
