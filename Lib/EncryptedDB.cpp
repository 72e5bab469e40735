#include "EncryptedDB.h"

#include "WdCommon/DebugLog.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <wdltcfg/status.h>

namespace {

constexpr wdlt::RecordFile::Family kFamily{"enc", true, false};

// The longest item whose padded length still fits 32 bits.
constexpr DWORD kMostPlainBytes = std::numeric_limits<std::int32_t>::max() - Rijndael::kBlockBytes;

std::unique_ptr<std::uint8_t[]> allocate(DWORD bytes) {
    return std::unique_ptr<std::uint8_t[]>(new (std::nothrow) std::uint8_t[bytes]);
}

} // namespace

CEncryptedDB::CEncryptedDB() : RecordFile(kFamily) {}

std::int32_t CEncryptedDB::ReadData(void* buffer, DWORD size) {
    if (!isReading()) {
        WDLOGW(wdlt::kLogError, WTEXT("CEncryptedDB::ReadData(): Invalid mode (m_AccessMode=%d)"), accessMode());
        return WDLT_E_GENERAL;
    }
    const bool fits = size <= kMostPlainBytes;
    const std::int32_t blockBytes = fits ? Rijndael::cipherBytes(static_cast<std::int32_t>(size)) : 0;
    const auto cipher = fits ? allocate(static_cast<DWORD>(blockBytes)) : nullptr;
    const auto plain = fits ? allocate(static_cast<DWORD>(blockBytes)) : nullptr;
    if (cipher == nullptr || plain == nullptr) {
        WDLOGW(wdlt::kLogError, WTEXT("CEncryptedDB::ReadData(): Memory allocation error"));
        return WDLT_E_NO_MEMORY;
    }
    if (const std::int32_t status = readBytes(cipher.get(), static_cast<DWORD>(blockBytes)); status != 0)
        return status;
    const std::int32_t plainBytes = m_rijndael.PadDecryptChained(cipher.get(), blockBytes, plain.get());
    if (plainBytes < 0) {
        WDLOG_ERROR("CEncryptedDB: Failed to decrypt a record (err=%d, file=%s)", plainBytes, file());
        return WDLT_E_GENERAL;
    }
    if (static_cast<DWORD>(plainBytes) > size) {
        WDLOG_ERROR("CEncryptedDB::ReadData(): A decrypted record is too large (size=%d, file=%s)", plainBytes, file());
        return WDLT_E_GENERAL;
    }
    std::copy_n(plain.get(), plainBytes, static_cast<std::uint8_t*>(buffer));
    return 0;
}

std::int32_t CEncryptedDB::WriteData(const void* buffer, DWORD size) {
    if (!isWriting()) {
        WDLOGW(wdlt::kLogError, WTEXT("CEncryptedDB::WriteData(): Invalid mode (m_AccessMode=%d)"), accessMode());
        return WDLT_E_GENERAL;
    }
    if (size == 0) {
        WDLOGW(wdlt::kLogTrace, WTEXT("CEncryptedDB::WriteData(): dwSizeToWrite is 0"));
        return 0;
    }
    const auto cipher = size <= kMostPlainBytes ? allocate(size + Rijndael::kBlockBytes) : nullptr;
    if (cipher == nullptr) {
        WDLOGW(wdlt::kLogError, WTEXT("CEncryptedDB::WriteData(): Memory allocation error"));
        return WDLT_E_NO_MEMORY;
    }
    const std::int32_t cipherBytes = m_rijndael.PadEncryptChained(static_cast<const std::uint8_t*>(buffer),
                                                                  static_cast<std::int32_t>(size), cipher.get());
    if (cipherBytes < 0) {
        WDLOGW(wdlt::kLogError, WTEXT("CEncryptedDB: Failed to encrypt a record (err=%d)"), cipherBytes);
        return WDLT_E_GENERAL;
    }
    return writeBytes(cipher.get(), static_cast<DWORD>(cipherBytes));
}
