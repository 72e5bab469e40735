#include "FixedRecordDB.h"

#include "ListBuffer.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <array>

namespace wdlt {
namespace {

// The largest record of any kind.
static_assert(sizeof(WdpeUrlfCategoryGroup::szCategories) <= SealedField::kMostBytes);
constexpr std::size_t kMostRecordBytes = sizeof(WdpeUrlfCategoryGroup);

} // namespace

FixedRecordDB::FixedRecordDB(const Kind& kind) : m_kind(kind) {
    m_pszMutexName = kind.mutexName;
    m_pszDBGuid = kind.guid;
    m_dwDBVersion = 1;
}

std::int32_t FixedRecordDB::Read(const char* file, void* buffer, std::uint64_t* size) {
    const std::uint64_t whole = listBytes(kPlainHeadBytes, m_kind.store.maximum, m_kind.recordBytes);
    if (const std::int32_t status = checkListToRead(buffer, size, whole); status != WDLT_OK)
        return status;
    const Reading reading(*this, m_kind.store, file);
    if (reading.status() != WDLT_OK)
        return reading.status();
    storeCount(buffer, kPlainHeadBytes, reading.count());
    Rijndael cipher;
    cipher.Init(Rijndael::kCbc, Rijndael::kDecrypt, m_kind.key.data(), Rijndael::kKey16Bytes);
    auto* record = static_cast<std::uint8_t*>(buffer) + kPlainHeadBytes;
    std::int32_t status = WDLT_OK;
    for (DWORD i = 0; i < reading.count() && status == WDLT_OK; ++i, record += m_kind.recordBytes)
        status = readRecord(cipher, record);
    return status;
}

std::int32_t FixedRecordDB::readRecord(Rijndael& cipher, std::uint8_t* record) {
    if (const std::int32_t status = ReadData(record, m_kind.recordBytes); status != WDLT_OK) {
        WDLOG_ERROR(m_kind.recordUnread);
        return status;
    }
    for (const Field& field : m_kind.fields)
        if (const std::int32_t status = field.open(cipher, record, file()); status != WDLT_OK)
            return status;
    return WDLT_OK;
}

std::int32_t FixedRecordDB::Write(const char* file, const void* buffer, std::uint64_t* size) {
    const std::uint64_t whole = listBytes(kPlainHeadBytes, m_kind.store.maximum, m_kind.recordBytes);
    if (const std::int32_t status = checkListToWrite(buffer, size, whole); status != WDLT_OK)
        return status;
    const DWORD count = loadCount(buffer, kPlainHeadBytes);
    const auto* const records = static_cast<const std::uint8_t*>(buffer) + kPlainHeadBytes;
    return writePass(m_kind.store, file, count, [&] {
        return writeRecords({records, std::size_t{count} * m_kind.recordBytes});
    });
}

std::int32_t FixedRecordDB::writeRecords(std::span<const std::uint8_t> records) {
    Rijndael cipher;
    cipher.Init(Rijndael::kCbc, Rijndael::kEncrypt, m_kind.key.data(), Rijndael::kKey16Bytes);
    for (; !records.empty(); records = records.subspan(m_kind.recordBytes)) {
        std::array<std::uint8_t, kMostRecordBytes> copy;
        std::copy_n(records.begin(), m_kind.recordBytes, copy.begin());
        if (const std::int32_t status = writeRecord(cipher, copy.data()); status != WDLT_OK)
            return status;
    }
    const std::int32_t status = flushBytes();
    if (status != WDLT_OK)
        WDLOG_ERROR(m_kind.recordUnwritten);
    return status;
}

std::int32_t FixedRecordDB::writeRecord(Rijndael& cipher, std::uint8_t* record) {
    for (const Field& field : m_kind.fields)
        if (const std::int32_t status = field.seal(cipher, record); status != WDLT_OK)
            return status;
    const std::int32_t status = WriteData(record, m_kind.recordBytes);
    if (status != WDLT_OK)
        WDLOG_ERROR(m_kind.recordUnwritten);
    return status;
}

} // namespace wdlt
