#include "ManagerMailCommon.h"

#include "AddressCache.h"
#include "FixedRecord.h"
#include "ListBuffer.h"
#include "MailRecords.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <array>
#include <cstring>

namespace {

using namespace wdlt;

constexpr auto kMaxCount = rowOf(kMailManagerFields, WDLT_IN(WdsmMailConfig, dwMaxAddressCacheCount));

constexpr ValueReport kMailManagerReport{
    .readFailed = "[WdltCfg.dll] ReadConfig fails (%d) : WdsmMailConfig::%s",
    .writeFailed = "[WdltCfg.dll] WriteConfig fails (%d) : WdsmMailConfig::%s",
};

constexpr RecordFrame kMailManagerFrame{
    .noDataReadLine = "ReadConfig: pData is NULL",
    .wrongSizeReadLine = "ReadConfig: size error.",
    .noDataWrittenLine = "WriteConfig: pData is NULL",
    .wrongSizeWrittenLine = "WriteConfig: size error.",
};

// The log lines print only the low 32 bits of a config type.
std::uint32_t low32(std::uint64_t number) {
    return static_cast<std::uint32_t>(number);
}

constexpr std::size_t kMostNameBytes = 17;

} // namespace

std::int32_t CManagerMailCommon::ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) {
    switch (configType) {
    case WDLT_CONFIG_DEFAULT:
        return readSettings(data, size);
    case WDLT_CONFIG_MAIL_ADDRESS_CACHE:
        return ReadConfigAddressCache(data, size);
    default:
        WDLOG_ERROR("[WdltCfg.dll] ReadConfig invalid input : pInput=0x%x", low32(configType));
        return WDLT_E_INVALID_ARGUMENT;
    }
}

std::int32_t CManagerMailCommon::WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) {
    switch (configType) {
    case WDLT_CONFIG_DEFAULT:
        return writeSettings(data, size);
    case WDLT_CONFIG_MAIL_ADDRESS_CACHE:
        return WriteConfigAddressCache(data, size);
    default:
        WDLOG_ERROR("[WdltCfg.dll] WriteConfig invalid input : pInput=0x%x", low32(configType));
        return WDLT_E_INVALID_ARGUMENT;
    }
}

std::int32_t CManagerMailCommon::readSettings(void* data, std::uint64_t* size) {
    return readRecord(kMailManagerFrame, {*this, kMailManagerReport}, kMailManagerFields, data, size);
}

std::int32_t CManagerMailCommon::writeSettings(void* data, std::uint64_t size) {
    return writeRecord(kMailManagerFrame, {*this, kMailManagerReport}, kMailManagerFields, data, size);
}

// Strips the directory from the name, so that the path doesn't leave the install directory.
std::int32_t CManagerMailCommon::GetAddressCacheFilePath(std::string& path) {
    std::array<char, kMostNameBytes> name{};
    DWORD nameBytes = kMostNameBytes;
    if (const std::int32_t status = ReadItem("", "AddressCacheFile", name.data(), &nameBytes, false);
        status != WDLT_OK) {
        WDLOG_ERROR("GetAddressCacheFilePath: failed to read registry item \"AddressCacheFile\" (lRet=%ld)",
                    static_cast<long>(status));
        return status;
    }
    StripPath(name.data(), name.size());
    path = GetInstallPath();
    if (path.empty()) {
        WDLOG_ERROR("GetAddressCacheFilePath: failed to get install path");
        return WDLT_E_GENERAL;
    }
    path.append(name.data(), strnlen(name.data(), name.size()));
    return WDLT_OK;
}

std::int32_t CManagerMailCommon::readMaxCount(DWORD& count) {
    DWORD size = sizeof count;
    const std::int32_t status = ReadItem("", kMaxCount.value, &count, &size, false);
    if (status != WDLT_E_NOT_FOUND)
        return status;
    count = kMaxCount.number;
    return WDLT_OK;
}

std::int32_t CManagerMailCommon::ReadConfigAddressCache(void* data, std::uint64_t* size) {
    std::string path;
    if (const std::int32_t status = GetAddressCacheFilePath(path); status != WDLT_OK) {
        WDLOG_ERROR("ReadConfigAddressCache: failed (lRet=%ld)", static_cast<long>(status));
        return status;
    }
    DWORD maxCount = 0;
    if (const std::int32_t status = readMaxCount(maxCount); status != WDLT_OK) {
        WDLOG_ERROR("ReadConfigAddressCache: Failed to read registry item \"MaxAddressCacheCount\" (lRet=%ld)",
                    static_cast<long>(status));
        return status;
    }
    return AddressCache().Read(path, maxCount, data, size);
}

std::int32_t CManagerMailCommon::WriteConfigAddressCache(const void* data, std::uint64_t size) {
    if (data == nullptr || size < AddressCache::kHeadBytes)
        return WDLT_E_INVALID_ARGUMENT;
    const DWORD count = loadCount(data, AddressCache::kHeadBytes);
    if (size < AddressCache::bytesOf(count))
        return WDLT_E_INVALID_ARGUMENT;
    DWORD maxCount = 0;
    if (const std::int32_t status = readMaxCount(maxCount); status != WDLT_OK) {
        WDLOG_ERROR("WriteConfigAddressCache: Failed to read registry item \"MaxAddressCacheCount\" (lRet=%ld)",
                    static_cast<long>(status));
        return status;
    }
    if (count > maxCount) {
        WDLOG_ERROR("WriteConfigAddressCache: trying to write more records than max count (count=%lu, max=%lu)",
                    static_cast<unsigned long>(count), static_cast<unsigned long>(maxCount));
        return WDLT_E_INVALID_ARGUMENT;
    }
    std::string path;
    if (const std::int32_t status = GetAddressCacheFilePath(path); status != WDLT_OK) {
        WDLOG_ERROR("WriteConfigAddressCache: failed (lRet=%ld)", static_cast<long>(status));
        return status;
    }
    return AddressCache().Write(path, GetTempPath(), data, count);
}
