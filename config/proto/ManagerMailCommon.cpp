#include "ManagerMailCommon.h"

#include "FixedRecord.h"
#include "ListBuffer.h"
#include "MailRecords.h"
#include "Rijndael.h"
#include "SealedField.h"
#include "StoreFile.h"
#include "StoreKeys.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <array>
#include <cstddef>
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

// The log's lines have room for 32 bits of a config type.
std::uint32_t low32(std::uint64_t number) {
    return static_cast<std::uint32_t>(number);
}

// The address cache's file.

constexpr StoreHeader kHeader{"Wardlet:MailManager:AddressCache", 1};
constexpr std::size_t kMostNameBytes = 17;
constexpr DWORD kRecordBytes = sizeof(MailAddressRecord);
constexpr std::size_t kCountBytes = sizeof(MailAddressListHead);

constexpr SealedField kAddress{
    .offset = offsetof(MailAddressRecord, szAddress),
    .bytes = sizeof(MailAddressRecord::szAddress),
    .undeciphered =
        [](std::int32_t status, const std::string&) {
            WDLOG_ERROR("ReadConfigAddressCache: failed to decrypt data (err=%d)", status);
        },
    .plainSizeInvalid =
        [](std::int32_t size, const std::string&) {
            WDLOG_ERROR("ReadConfigAddressCache : decrypted data size is invalid (size=%d)", size);
        },
    .unenciphered =
        [](std::int32_t status) { WDLOG_ERROR("WriteConfigAddressCache : failed to encrypt data (err=%d)", status); },
    .cipherSizeInvalid =
        [](std::int32_t size) {
            WDLOG_ERROR("WriteConfigAddressCache : encrypted data size is invalid (size=%d)", size);
        },
};

using Record = std::array<std::uint8_t, kRecordBytes>;

unsigned long lastError() {
    return GetLastError();
}

constexpr std::uint64_t bytesOf(DWORD count) {
    return listBytes(kCountBytes, count, kRecordBytes);
}

Rijndael cipherFor(int direction) {
    Rijndael cipher;
    cipher.Init(Rijndael::kCbc, direction, kAddressCacheKey.data(), Rijndael::kKey16Bytes);
    return cipher;
}

// A file that is shorter than its count says ends the read: what it lacks is no record.
std::int32_t readRecords(BufferedFile& file, const std::string& path, std::uint8_t* records, DWORD count) {
    Rijndael cipher = cipherFor(Rijndael::kDecrypt);
    for (DWORD i = 0; i < count; ++i, records += kRecordBytes) {
        Record record;
        const BufferedFile::Moved moved = file.read(record.data(), kRecordBytes);
        if (!moved.done || moved.bytes != kRecordBytes) {
            WDLOG_ERROR("ReadConfigAddressCache: failed to read a record (err=%lu, file=%s)", lastError(), path);
            return WDLT_E_FILE;
        }
        if (const std::int32_t status = kAddress.open(cipher, record.data(), path); status != WDLT_OK)
            return status;
        std::ranges::copy(record, records);
    }
    return WDLT_OK;
}

std::int32_t writeRecords(BufferedFile& file, const std::string& path, const std::uint8_t* records, DWORD count) {
    const auto wrote = [&](const BufferedFile::Moved& moved, DWORD bytes) {
        if (moved.done && moved.bytes == bytes)
            return WDLT_OK;
        WDLOG_ERROR("WriteConfigAddressCache: failed to write a record (err=%lu, file=%s)", lastError(), path);
        return WDLT_E_FILE;
    };
    Rijndael cipher = cipherFor(Rijndael::kEncrypt);
    for (DWORD i = 0; i < count; ++i, records += kRecordBytes) {
        Record record;
        std::copy_n(records, kRecordBytes, record.begin());
        if (const std::int32_t status = kAddress.seal(cipher, record.data()); status != WDLT_OK)
            return status;
        if (const std::int32_t status = wrote(file.write(record.data(), kRecordBytes), kRecordBytes); status != WDLT_OK)
            return status;
    }
    const DWORD waiting = file.waiting();
    return wrote(file.flush(), waiting);
}

// Held as far as it is to be had.
class CacheLock {
  public:
    explicit CacheLock(CManagerMailCommon& manager) : m_manager(manager) { m_manager.Lock(); }
    ~CacheLock() { m_manager.Unlock(); }
    CacheLock(const CacheLock&) = delete;
    CacheLock& operator=(const CacheLock&) = delete;

  private:
    CManagerMailCommon& m_manager;
};

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

bool CManagerMailCommon::Lock() {
    const StoreMutex::Taking taking = m_mutex.take("WardletMailManagerConfigMutex");
    switch (taking.outcome) {
    case StoreMutex::Outcome::Taken:
        return true;
    case StoreMutex::Outcome::HeldAlready:
        break;
    case StoreMutex::Outcome::NotCreated:
        WDLOG_ERROR("CManagerMailCommon::Lock : CreateMutex() fails (err=%lu)", taking.error);
        break;
    case StoreMutex::Outcome::Abandoned:
        WDLOG_ERROR("CManagerMailCommon::Lock : WaitForSingleObject() fails (WAIT_ABANDONED)");
        break;
    case StoreMutex::Outcome::TimedOut:
        WDLOG_ERROR("CManagerMailCommon::Lock : WaitForSingleObject() fails (WAIT_TIMEOUT)");
        break;
    case StoreMutex::Outcome::Failed:
        WDLOG_ERROR("CManagerMailCommon::Lock : WaitForSingleObject() fails (ret=%d, err=%lu)", taking.waited,
                    taking.error);
        break;
    }
    return false;
}

// A name that holds a folder must not lead out of the install directory.
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

// A field that the file's end cuts off isn't the store's, whatever its first bytes are; a cut count could be 0.
std::int32_t CManagerMailCommon::ReadAddressCacheDBHeader(BufferedFile& file, DWORD& count) {
    const auto readField = [&](void* field, DWORD bytes) {
        const BufferedFile::Moved moved = file.read(field, bytes);
        return moved.done && (field != &count || moved.bytes == bytes) ? WDLT_OK : WDLT_E_FILE;
    };
    const HeaderFault fault = readStoreHeader(kHeader, count, readField);
    switch (fault.kind) {
    case HeaderFault::Kind::None:
        return WDLT_OK;
    case HeaderFault::Kind::Guid:
        WDLOG_ERROR("ReadAddressCacheDBHeader: failed to read guid (err=%lu)", lastError());
        break;
    case HeaderFault::Kind::ForeignGuid:
        WDLOG_ERROR("ReadAddressCacheDBHeader: invalid guid");
        break;
    case HeaderFault::Kind::Version:
        WDLOG_ERROR("ReadAddressCacheDBHeader: failed to read version (err=%lu)", lastError());
        break;
    case HeaderFault::Kind::ForeignVersion:
        WDLOG_ERROR("ReadAddressCacheDBHeader: invalid version (0x%08x)", fault.version);
        break;
    case HeaderFault::Kind::Count:
        WDLOG_ERROR("ReadAddressCacheDBHeader: failed to read count (err=%lu)", lastError());
        break;
    }
    return WDLT_E_FILE;
}

std::int32_t CManagerMailCommon::WriteAddressCacheDBHeader(BufferedFile& file, DWORD count) {
    const auto writeField = [&](const void* field, DWORD bytes) {
        const bool written = file.write(field, bytes).done;
        const BufferedFile::Moved flushed = file.flush();
        return written && flushed.done && flushed.bytes == bytes ? WDLT_OK : WDLT_E_FILE;
    };
    switch (writeStoreHeader(kHeader, count, writeField).kind) {
    case HeaderFault::Kind::Guid:
        WDLOG_ERROR("WriteAddressCacheDBHeader: failed to write guid (err=%lu)", lastError());
        return WDLT_E_FILE;
    case HeaderFault::Kind::Version:
        WDLOG_ERROR("WriteAddressCacheDBHeader: failed to write version guid (err=%lu)", lastError());
        return WDLT_E_FILE;
    case HeaderFault::Kind::Count:
        WDLOG_ERROR("WriteAddressCacheDBHeader: failed to write count (err=%lu)", lastError());
        return WDLT_E_FILE;
    default:
        return WDLT_OK;
    }
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

    const CacheLock lock(*this);
    const OpenedFile opened = openStoreFile(path.c_str(), 0);
    if (opened.outcome == OpenedFile::Outcome::NotOpened && opened.error == ERROR_FILE_NOT_FOUND) {
        WDLOG_TRACE("ReadConfigAddressCache: File not found (file=%s)", path);
        return WDLT_E_FILE_NOT_FOUND;
    }
    if (opened.outcome == OpenedFile::Outcome::NotOpened) {
        WDLOG_ERROR("ReadConfigAddressCache: ::CreateFile() failed (err=%lu, file=%s)", opened.error, path);
        return WDLT_E_FILE;
    }
    if (opened.outcome == OpenedFile::Outcome::NotSought) {
        WDLOG_ERROR("ReadConfigAddressCache: ::SetFilePointer() failed (err=%lu, file=%s)", opened.error, path);
        return WDLT_E_FILE;
    }
    BufferedFile file;
    file.open(opened.handle);

    DWORD count = 0;
    if (const std::int32_t status = ReadAddressCacheDBHeader(file, count); status != WDLT_OK) {
        WDLOG_ERROR("ReadConfigAddressCache: failed to read DB header (lRet=%ld, file=%s)", static_cast<long>(status),
                    path);
        return status;
    }
    if (count > maxCount) {
        WDLOG_ERROR(
            "ReadConfigAddressCache: cache file contains more records than max count (file=%s, count=%lu, max=%lu)",
            path, static_cast<unsigned long>(count), static_cast<unsigned long>(maxCount));
        count = maxCount;
    }
    // Nobody makes room for records that the file doesn't have.
    if (!file.hasAhead(std::uint64_t{count} * kRecordBytes)) {
        WDLOG_ERROR("ReadConfigAddressCache: failed to read a record (err=%lu, file=%s)", lastError(), path);
        return WDLT_E_FILE;
    }
    if (*size < bytesOf(count)) {
        WDLOG_TRACE("ReadConfigAddressCache: insufficient buffer (size=%lu, required=%lu)",
                    static_cast<unsigned long>(*size), static_cast<unsigned long>(bytesOf(count)));
        *size = bytesOf(count);
        return WDLT_E_BUFFER_SIZE;
    }
    if (data == nullptr)
        return WDLT_E_INVALID_ARGUMENT;
    storeCount(data, kCountBytes, count);
    return readRecords(file, path, static_cast<std::uint8_t*>(data) + kCountBytes, count);
}

std::int32_t CManagerMailCommon::WriteConfigAddressCache(const void* data, std::uint64_t size) {
    if (data == nullptr || size < kCountBytes)
        return WDLT_E_INVALID_ARGUMENT;
    const DWORD count = loadCount(data, kCountBytes);
    if (size < bytesOf(count))
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

    const OpenedFile made = makeTempFile(GetTempPath(), "adr");
    switch (made.outcome) {
    case OpenedFile::Outcome::Opened:
        break;
    case OpenedFile::Outcome::NoName:
        WDLOG_ERROR("WriteConfigAddressCache: ::GetTempFileName() failed (err=%lu)", made.error);
        return WDLT_E_TEMP_FILE;
    case OpenedFile::Outcome::NotOpened:
        WDLOG_ERROR("WriteConfigAddressCache: ::CreateFile() failed (err=%lu, file=%s)", made.error, made.name);
        return WDLT_E_FILE;
    case OpenedFile::Outcome::NotSought:
        WDLOG_ERROR("WriteConfigAddressCache: ::SetFilePointer() failed (err=%lu, file=%s)", made.error, made.name);
        return WDLT_E_FILE;
    }
    // Behind the file's closing, without memory too.
    const struct Removal {
        const std::string& name;
        ~Removal() { DeleteFileA(name.c_str()); }
    } removal{made.name};
    BufferedFile file;
    file.open(made.handle);
    std::int32_t status = WriteAddressCacheDBHeader(file, count);
    if (status == WDLT_OK)
        status = writeRecords(file, made.name, static_cast<const std::uint8_t*>(data) + kCountBytes, count);
    file.close();
    if (status == WDLT_OK) {
        const CacheLock lock(*this);
        if (CopyFileA(made.name.c_str(), path.c_str(), FALSE) == FALSE) {
            WDLOG_ERROR("WriteConfigAddressCache: ::CopyFile() failed (err=%lu, from=%s, to=%s)", lastError(),
                        made.name, path);
            status = WDLT_E_TEMP_FILE;
        }
    }
    return status;
}
