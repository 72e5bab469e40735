#include "EngineHosFCommon.h"

#include "EngineFrame.h"
#include "HostListDB.h"
#include "ListFile.h"
#include "UrlFilterRecords.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <cstring>

namespace {

using namespace wdlt;

constexpr ValueReport kHostFilterReport{
    .readFailed = "CEngineHosFCommon: Failed to read registry (item=%s, ret=%ld)",
    .writeFailed = "CEngineHosFCommon: Failed to write registry (item=%s, ret=%ld)",
};
constexpr ListFileReport kHostFilterFileReport{
    .valueUnread = kHostFilterReport.readFailed,
    .noInstallPath = "CEngineHosFCommon: Cannot get the install path",
};

constexpr std::uint32_t kOnlyHostList = 0;

} // namespace

std::int32_t CEngineHosFCommon::ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) {
    if (data == nullptr)
        return WDLT_E_INVALID_ARGUMENT;
    switch (configType) {
    case WDLT_CONFIG_DEFAULT:
        return readSettings(data, size);
    case WDLT_CONFIG_HOSF_LIST:
        return readList(data, size);
    default:
        WDLOG_ERROR("CEngineHosFCommon::ReadConfig(): invalid value (dwInput=%ld)", static_cast<long>(configType));
        return WDLT_E_INVALID_ARGUMENT;
    }
}

std::int32_t CEngineHosFCommon::WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) {
    if (data == nullptr)
        return WDLT_E_INVALID_ARGUMENT;
    switch (configType) {
    case WDLT_CONFIG_DEFAULT:
        return writeSettings(data, size);
    case WDLT_CONFIG_HOSF_LIST:
        return writeList(data, size);
    default:
        WDLOG_ERROR("CEngineHosFCommon::WriteConfig(): invalid value (dwInput=%ld)", static_cast<long>(configType));
        return WDLT_E_INVALID_ARGUMENT;
    }
}

std::int32_t CEngineHosFCommon::readSettings(void* data, std::uint64_t* size) {
    return readRecord(kEngineFrame, {*this, kHostFilterReport}, kHostFilterFields, data, size);
}

std::int32_t CEngineHosFCommon::writeSettings(void* data, std::uint64_t size) {
    return writeRecord(kEngineFrame, {*this, kHostFilterReport}, kHostFilterFields, data, size);
}

std::int32_t CEngineHosFCommon::findList(const void* data, std::string& path) {
    const std::uint32_t listType = listTypeOf(data);
    if (listType != kOnlyHostList) {
        WDLOG_ERROR("CEngineHosFCommon: Invalid value (dwListType=%lu)", static_cast<unsigned long>(listType));
        return WDLT_E_INVALID_ARGUMENT;
    }
    return findListFile(*this, kHostFilterFileReport, {.item = "Whitelist"}, path);
}

std::int32_t CEngineHosFCommon::readList(void* data, std::uint64_t* size) {
    if (*size < sizeof(WdpeHosfHostList)) {
        *size = sizeof(WdpeHosfHostList);
        return WDLT_E_BUFFER_SIZE;
    }
    std::string path;
    if (const std::int32_t status = findList(data, path); status != WDLT_OK)
        return status;
    const std::int32_t status = CHostListDB().Read(path.c_str(), data, size);
    if (status != WDLT_OK)
        WDLOG_ERROR("CEngineHosFCommon: Failed to read the Host List database (file=%s)", path);
    return status;
}

std::int32_t CEngineHosFCommon::writeList(void* data, std::uint64_t size) {
    if (size != sizeof(WdpeHosfHostList))
        return WDLT_E_INVALID_ARGUMENT;
    std::string path;
    if (const std::int32_t status = findList(data, path); status != WDLT_OK)
        return status;
    CHostListDB list;
    list.setTempFolder(GetTempPath());
    const std::int32_t status = list.Write(path.c_str(), data, &size);
    if (status != WDLT_OK)
        WDLOG_ERROR("CEngineHosFCommon: Failed to write the Host List database (file=%s)", path);
    return status;
}
