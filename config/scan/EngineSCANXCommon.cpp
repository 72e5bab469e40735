#include "EngineSCANXCommon.h"

#include "FixedRecord.h"
#include "ListFile.h"
#include "SpyListDB.h"
#include "Utility.h"
#include "ValueMap.h"
#include "VirusRecords.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <span>

namespace {

using namespace wdlt;

// Between the two, an empty folder is replaced by the install directory; if there is none, the read ends there with
// WDLT_OK.
constexpr std::size_t kBehindFolder = indexOf(kEngineCommonFields, WDLT_IN(WdpeVsCommon, szPatternPath)) + 1;
constexpr auto kReadToFolder = std::span(kEngineCommonFields).first<kBehindFolder>();
constexpr auto kReadBehindFolder = std::span(kEngineCommonFields).subspan<kBehindFolder>();

constexpr ValueReport kScanCommonReport{
    .readFailed = "ReadConfig fails (%d) : WdpeVsCommon::%s",
    .writeFailed = "WriteConfig fails (%d) : WdpeVsCommon::%s",
};

constexpr RecordFrame kScanCommonFrame{.wrongSizeWrittenLine = "WriteConfig size is invalid (%d / %d)"};

constexpr ListFileReport kSpyFileReport{
    .defaultUsed = "CEngineSCANXCommon: Failed to get file name in registry. Use %s",
    .noInstallPath = "CEngineSCANXCommon: Cannot get the install path",
};

constexpr std::uint32_t kOnlySpyList = 0;

} // namespace

std::int32_t CEngineSCANXCommon::ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) {
    if (data == nullptr)
        return WDLT_E_INVALID_ARGUMENT;
    switch (configType) {
    case WDLT_CONFIG_DEFAULT:
        return readSettings(data, size);
    case WDLT_CONFIG_SPYWARE_LIST:
        return readSpyList(data, size);
    default:
        WDLOG_ERROR("CEngineSCANXCommon::ReadConfig(): invalid value (dwInput=%ld)", static_cast<long>(configType));
        return WDLT_E_INVALID_ARGUMENT;
    }
}

std::int32_t CEngineSCANXCommon::WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) {
    if (data == nullptr)
        return WDLT_E_INVALID_ARGUMENT;
    switch (configType) {
    case WDLT_CONFIG_DEFAULT:
        return writeSettings(data, size);
    case WDLT_CONFIG_SPYWARE_LIST:
        return writeSpyList(data, size);
    default:
        WDLOG_ERROR("CEngineSCANXCommon::WriteConfig(): invalid value (dwInput=%ld)", static_cast<long>(configType));
        return WDLT_E_INVALID_ARGUMENT;
    }
}

std::int32_t CEngineSCANXCommon::readSettings(void* data, std::uint64_t* size) {
    if (const std::int32_t status = checkRead(kScanCommonFrame, sizeof(WdpeVsCommon), data, size); status != WDLT_OK)
        return status;
    CallersRecord<WdpeVsCommon> record(data);
    record.clear();
    const ValueAccess access{*this, kScanCommonReport};
    if (const std::int32_t status = readValues(access, kReadToFolder, *record); status != WDLT_OK)
        return status;
    if (record->szPatternPath[0] == '\0') {
        const std::string installPath = GetInstallPath();
        if (installPath.empty()) {
            WDLOG_ERROR("ReadConfig fails (%d) : InstallPath", 0);
            return WDLT_OK;
        }
        installPath.copy(record->szPatternPath, sizeof record->szPatternPath - 2);
    }
    EndInBackslash(record->szPatternPath, sizeof record->szPatternPath);
    return readValues(access, kReadBehindFolder, *record);
}

std::int32_t CEngineSCANXCommon::writeSettings(void* data, std::uint64_t size) {
    return writeRecord(kScanCommonFrame, {*this, kScanCommonReport}, kEngineCommonFields, data, size);
}

std::int32_t CEngineSCANXCommon::BuildSpyFilePath(const void* list, std::string& path) {
    const std::uint32_t listType = listTypeOf(list);
    if (listType != kOnlySpyList) {
        WDLOG_ERROR("CEngineSCANXCommon: Invalid value (dwListType=%lu)", static_cast<unsigned long>(listType));
        return WDLT_E_INVALID_ARGUMENT;
    }
    return findListFile(*this, kSpyFileReport, {.item = "WhiteList", .defaultName = "SpyAList.dat", .isPath = true},
                        path);
}

std::int32_t CEngineSCANXCommon::readSpyList(void* data, std::uint64_t* size) {
    if (*size < sizeof(WdpeSpyList)) {
        *size = sizeof(WdpeSpyList);
        return WDLT_E_BUFFER_SIZE;
    }
    std::string path;
    if (const std::int32_t status = BuildSpyFilePath(data, path); status != WDLT_OK)
        return status;
    const std::int32_t status = CSpyListDB().Read(path.c_str(), data, size);
    if (status != WDLT_OK)
        WDLOG_ERROR("CEngineSCANXCommon: Failed to read the spyware List database (file=%s)", path);
    return status;
}

std::int32_t CEngineSCANXCommon::writeSpyList(void* data, std::uint64_t size) {
    if (size != sizeof(WdpeSpyList))
        return WDLT_E_INVALID_ARGUMENT;
    std::string path;
    if (const std::int32_t status = BuildSpyFilePath(data, path); status != WDLT_OK)
        return status;
    CSpyListDB list;
    list.setTempFolder(GetTempPath());
    const std::int32_t status = list.Write(path.c_str(), data, &size);
    if (status != WDLT_OK)
        WDLOG_ERROR("CEngineSCANXCommon: Failed to write the spyware List database (file=%s)", path);
    return status;
}
