#include "LengthListDB.h"

#include "ListBuffer.h"
#include "StoreKeys.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/status.h>

#include <algorithm>
#include <array>

namespace wdlt {

LengthListDB::LengthListDB(const Kind& kind) : m_kind(kind) {
    m_pszMutexName = kind.mutexName;
    m_pszDBGuid = kind.guid;
    m_dwDBVersion = 1;
}

std::int32_t LengthListDB::Read(const char* file, void* buffer, std::uint64_t* size) {
    const std::uint64_t whole = listBytes(kTypedHeadBytes, m_kind.store.maximum, m_kind.slotBytes);
    if (const std::int32_t status = checkListToRead(buffer, size, whole); status != WDLT_OK)
        return status;
    const Reading reading(*this, m_kind.store, file);
    if (reading.status() != WDLT_OK)
        return reading.status();
    storeCount(buffer, kTypedHeadBytes, reading.count());
    Rijndael cipher;
    cipher.Init(Rijndael::kCbc, Rijndael::kDecrypt, kListKey.data(), Rijndael::kKey16Bytes);
    auto* slot = static_cast<std::uint8_t*>(buffer) + kTypedHeadBytes;
    std::array<std::uint8_t, kMostCipherBytes> plain;
    for (DWORD i = 0; i < reading.count(); ++i, slot += m_kind.slotBytes) {
        const std::int32_t length = readRecord(cipher, m_kind.readLines, plain);
        if (length < 0)
            return length;
        std::copy_n(plain.begin(), length, slot);
        if (m_kind.holdsTexts)
            slot[length] = '\0';
    }
    return WDLT_OK;
}

std::int32_t LengthListDB::readRecord(Rijndael& cipher, const ReadLines& lines, std::span<std::uint8_t> plain) {
    DWORD length = 0;
    if (const std::int32_t status = ReadData(&length, sizeof length); status != WDLT_OK) {
        WDLOG_ERROR(lines.lengthUnread);
        return status;
    }
    if (length > m_kind.mostCipherBytes) {
        const unsigned long shown = length;
        WDLOG_ERROR(lines.lengthTooLarge, shown, file());
        return WDLT_E_FILE;
    }
    std::array<std::uint8_t, kMostCipherBytes> ciphered;
    if (const std::int32_t status = ReadData(ciphered.data(), length); status != WDLT_OK) {
        WDLOG_ERROR(lines.recordUnread);
        return status;
    }
    const std::int32_t plainBytes = cipher.PadDecrypt(ciphered.data(), static_cast<std::int32_t>(length), plain.data());
    if (plainBytes < 0) {
        WDLOG_ERROR(lines.recordUndeciphered, plainBytes, file());
        return WDLT_E_GENERAL;
    }
    if (static_cast<DWORD>(plainBytes) > m_kind.mostPlainBytes) {
        WDLOG_ERROR(lines.recordTooLarge, plainBytes, file());
        return WDLT_E_GENERAL;
    }
    return plainBytes;
}

std::int32_t LengthListDB::Write(const char* file, const void* buffer, std::uint64_t* size) {
    const std::uint64_t whole = listBytes(kTypedHeadBytes, m_kind.store.maximum, m_kind.slotBytes);
    if (const std::int32_t status = checkListToWrite(buffer, size, whole); status != WDLT_OK)
        return status;
    const DWORD count = loadCount(buffer, kTypedHeadBytes);
    const auto* const slots = static_cast<const std::uint8_t*>(buffer) + kTypedHeadBytes;
    return writePass(m_kind.store, file, count, [&] {
        return writeRecords({slots, std::size_t{count} * m_kind.slotBytes});
    });
}

std::int32_t LengthListDB::writeRecords(std::span<const std::uint8_t> records) {
    Rijndael cipher;
    cipher.Init(Rijndael::kCbc, Rijndael::kEncrypt, kListKey.data(), Rijndael::kKey16Bytes);
    std::array<std::uint8_t, kMostCipherBytes> ciphered;
    for (; !records.empty(); records = records.subspan(m_kind.slotBytes)) {
        const auto slot = records.first(m_kind.slotBytes);
        const auto end = m_kind.holdsTexts ? std::find(slot.begin(), slot.end(), std::uint8_t{0}) : slot.end();
        const auto plainBytes = static_cast<std::int32_t>(end - slot.begin());
        if (plainBytes == 0) {
            WDLOG_ERROR(m_kind.recordEmpty);
            return WDLT_E_INVALID_ARGUMENT;
        }
        if (m_kind.holdsTexts && end == slot.end()) {
            WDLOG_ERROR(m_kind.recordUnterminated);
            return WDLT_E_INVALID_ARGUMENT;
        }
        const std::int32_t cipherBytes = cipher.PadEncrypt(slot.data(), plainBytes, ciphered.data());
        if (cipherBytes < 0) {
            WDLOG_ERROR(m_kind.recordUnenciphered, cipherBytes);
            return WDLT_E_GENERAL;
        }
        if (const std::int32_t status = WriteData(&cipherBytes, sizeof cipherBytes); status != WDLT_OK) {
            WDLOG_ERROR(m_kind.lengthUnwritten);
            return status;
        }
        if (const std::int32_t status = WriteData(ciphered.data(), static_cast<DWORD>(cipherBytes));
            status != WDLT_OK) {
            WDLOG_ERROR(m_kind.recordUnwritten);
            return status;
        }
    }
    const std::int32_t status = flushBytes();
    if (status != WDLT_OK)
        WDLOG_ERROR(m_kind.recordUnwritten);
    return status;
}

} // namespace wdlt
