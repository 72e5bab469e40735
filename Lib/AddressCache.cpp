#include "AddressCache.h"

#include "Rijndael.h"
#include "SealedField.h"
#include "StoreFile.h"
#include "StoreKeys.h"
#include "WdCommon/DebugLog.h"

#include <platform/win32.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace wdlt {
namespace {

constexpr StoreHeader kAddressCacheHeader{"Wardlet:MailManager:AddressCache", 1};
constexpr DWORD kRecordBytes = AddressCache::kRecordBytes;

constexpr SealedField kAddress{
    .offset = offsetof(MailAddressRecord, szAddress),
    .bytes = sizeof(MailAddressRecord::szAddress),
    .undeciphered = "ReadConfigAddressCache: failed to decrypt data (err=%d)",
    .plainSizeInvalid = "ReadConfigAddressCache : decrypted data size is invalid (size=%d)",
    .unenciphered = "WriteConfigAddressCache : failed to encrypt data (err=%d)",
    .cipherSizeInvalid = "WriteConfigAddressCache : encrypted data size is invalid (size=%d)",
};

using AddressRecord = std::array<std::uint8_t, kRecordBytes>;

Rijndael cipherFor(int direction) {
    Rijndael cipher;
    cipher.Init(Rijndael::kCbc, direction, kAddressCacheKey.data(), Rijndael::kKey16Bytes);
    return cipher;
}

// WDLT_E_FILE for a file with fewer records than its count says.
std::int32_t readRecords(BufferedFile& file, const std::string& path, std::uint8_t* records, DWORD count) {
    Rijndael cipher = cipherFor(Rijndael::kDecrypt);
    for (DWORD i = 0; i < count; ++i, records += kRecordBytes) {
        AddressRecord record;
        const BufferedFile::Moved moved = file.read(record.data(), kRecordBytes);
        if (!moved.done || moved.bytes != kRecordBytes) {
            WDLOG_ERROR("ReadConfigAddressCache: failed to read a record (err=%lu, file=%s)",
                        static_cast<unsigned long>(GetLastError()), path);
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
        WDLOG_ERROR("WriteConfigAddressCache: failed to write a record (err=%lu, file=%s)",
                    static_cast<unsigned long>(GetLastError()), path);
        return WDLT_E_FILE;
    };
    Rijndael cipher = cipherFor(Rijndael::kEncrypt);
    for (DWORD i = 0; i < count; ++i, records += kRecordBytes) {
        AddressRecord record;
        std::copy_n(records, kRecordBytes, record.begin());
        if (const std::int32_t status = kAddress.seal(cipher, record.data()); status != WDLT_OK)
            return status;
        if (const std::int32_t status = wrote(file.write(record.data(), kRecordBytes), kRecordBytes); status != WDLT_OK)
            return status;
    }
    const DWORD waiting = file.waiting();
    return wrote(file.flush(), waiting);
}

} // namespace

// Best effort: goes on without the mutex.
class AddressCache::Locked {
  public:
    explicit Locked(AddressCache& cache) : m_cache(cache) { m_cache.Lock(); }
    ~Locked() { m_cache.Unlock(); }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

  private:
    AddressCache& m_cache;
};

void AddressCache::Lock() {
    const StoreMutex::Taking taking = m_mutex.take("WardletMailManagerConfigMutex");
    switch (taking.outcome) {
    case StoreMutex::Outcome::Taken:
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
}

// Only a count cut short by the end of the file could pass for a whole one: a cut GUID doesn't match, and after a cut
// version there is no count.
std::int32_t AddressCache::ReadAddressCacheDBHeader(BufferedFile& file, DWORD& count) {
    const auto readField = [&](void* field, DWORD bytes) {
        const BufferedFile::Moved moved = file.read(field, bytes);
        return moved.done && (field != &count || moved.bytes == bytes) ? WDLT_OK : WDLT_E_FILE;
    };
    const HeaderFault fault = readStoreHeader(kAddressCacheHeader, count, readField);
    switch (fault.kind) {
    case HeaderFault::Kind::None:
        return WDLT_OK;
    case HeaderFault::Kind::Guid:
        WDLOG_ERROR("ReadAddressCacheDBHeader: failed to read guid (err=%lu)",
                    static_cast<unsigned long>(GetLastError()));
        break;
    case HeaderFault::Kind::ForeignGuid:
        WDLOG_ERROR("ReadAddressCacheDBHeader: invalid guid");
        break;
    case HeaderFault::Kind::Version:
        WDLOG_ERROR("ReadAddressCacheDBHeader: failed to read version (err=%lu)",
                    static_cast<unsigned long>(GetLastError()));
        break;
    case HeaderFault::Kind::ForeignVersion:
        WDLOG_ERROR("ReadAddressCacheDBHeader: invalid version (0x%08x)", fault.version);
        break;
    case HeaderFault::Kind::Count:
        WDLOG_ERROR("ReadAddressCacheDBHeader: failed to read count (err=%lu)",
                    static_cast<unsigned long>(GetLastError()));
        break;
    }
    return WDLT_E_FILE;
}

std::int32_t AddressCache::WriteAddressCacheDBHeader(BufferedFile& file, DWORD count) {
    const auto writeField = [&](const void* field, DWORD bytes) {
        const bool written = file.write(field, bytes).done;
        const BufferedFile::Moved flushed = file.flush();
        return written && flushed.done && flushed.bytes == bytes ? WDLT_OK : WDLT_E_FILE;
    };
    switch (writeStoreHeader(kAddressCacheHeader, count, writeField).kind) {
    case HeaderFault::Kind::Guid:
        WDLOG_ERROR("WriteAddressCacheDBHeader: failed to write guid (err=%lu)",
                    static_cast<unsigned long>(GetLastError()));
        return WDLT_E_FILE;
    case HeaderFault::Kind::Version:
        WDLOG_ERROR("WriteAddressCacheDBHeader: failed to write version guid (err=%lu)",
                    static_cast<unsigned long>(GetLastError()));
        return WDLT_E_FILE;
    case HeaderFault::Kind::Count:
        WDLOG_ERROR("WriteAddressCacheDBHeader: failed to write count (err=%lu)",
                    static_cast<unsigned long>(GetLastError()));
        return WDLT_E_FILE;
    default:
        return WDLT_OK;
    }
}

std::int32_t AddressCache::Read(const std::string& path, DWORD maxCount, void* data, std::uint64_t* size) {
    const Locked lock(*this);
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
    // Before the size check, so that no caller makes room for records that the file doesn't have.
    if (!file.hasAhead(std::uint64_t{count} * kRecordBytes)) {
        WDLOG_ERROR("ReadConfigAddressCache: failed to read a record (err=%lu, file=%s)",
                    static_cast<unsigned long>(GetLastError()), path);
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
    storeCount(data, kHeadBytes, count);
    return readRecords(file, path, static_cast<std::uint8_t*>(data) + kHeadBytes, count);
}

std::int32_t AddressCache::Write(const std::string& path, const std::string& tempPath, const void* data, DWORD count) {
    const OpenedFile made = makeTempFile(tempPath, "adr");
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
    // Destroyed after the file is closed, on an exception too.
    const struct Removal {
        const std::string& name;
        ~Removal() { DeleteFileA(name.c_str()); }
    } removal{made.name};
    BufferedFile file;
    file.open(made.handle);
    std::int32_t status = WriteAddressCacheDBHeader(file, count);
    if (status == WDLT_OK)
        status = writeRecords(file, made.name, static_cast<const std::uint8_t*>(data) + kHeadBytes, count);
    file.close();
    if (status == WDLT_OK) {
        const Locked lock(*this);
        if (CopyFileA(made.name.c_str(), path.c_str(), FALSE) == FALSE) {
            WDLOG_ERROR("WriteConfigAddressCache: ::CopyFile() failed (err=%lu, from=%s, to=%s)",
                        static_cast<unsigned long>(GetLastError()), made.name, path);
            status = WDLT_E_TEMP_FILE;
        }
    }
    return status;
}

} // namespace wdlt
