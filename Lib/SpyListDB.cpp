#include "SpyListDB.h"

#include "ListBuffer.h"
#include "StoreKeys.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <cstring>

namespace {

constexpr wdlt::RecordFile::Store kStore{"CSpyListDB", WDLT_MAX_SPYWARE_RECORDS, true};
constexpr DWORD kSlotBytes = sizeof(WdpeSpyRecord);
constexpr DWORD kMostTextBytes = kSlotBytes - 1;
constexpr std::size_t kSlotsBytes = std::size_t{WDLT_MAX_SPYWARE_RECORDS} * kSlotBytes;
constexpr std::uint64_t kListBytes = sizeof(WdpeSpyList);

} // namespace

CSpyListDB::CSpyListDB() {
    m_pszMutexName = "WDPE_SpyList_Access_Mutex";
    m_pszDBGuid = "Halvermoor:Wardlet:SpywareDB:01";
    m_dwDBVersion = 1;
}

std::int32_t CSpyListDB::InitEncryptionMethod(int forWriting) {
    const int direction = forWriting == 0 ? Rijndael::kDecrypt : Rijndael::kEncrypt;
    const std::int32_t status =
        m_rijndael.Init(Rijndael::kCbc, direction, wdlt::kSpywareKey.data(), Rijndael::kKey16Bytes);
    if (status == 0)
        return WDLT_OK;
    WDLOGW(wdlt::kLogError, WTEXT("Failed to init Rijndael: %d"), status);
    return WDLT_E_GENERAL;
}

std::int32_t CSpyListDB::Read(const char* file, void* buffer, std::uint64_t* size) {
    if (const std::int32_t status = wdlt::checkListToRead(buffer, size, kListBytes); status != WDLT_OK)
        return status;
    auto* slot = static_cast<char*>(buffer) + wdlt::kTypedHeadBytes;
    const Reading reading(*this, kStore, file);
    if (reading.isUnopened()) {
        wdlt::storeCount(buffer, wdlt::kTypedHeadBytes, 0);
        std::memset(slot, 0, kSlotsBytes);
        return WDLT_OK;
    }
    if (reading.status() != WDLT_OK)
        return reading.status();
    wdlt::storeCount(buffer, wdlt::kTypedHeadBytes, reading.count());
    std::int32_t status = WDLT_OK;
    for (DWORD i = 0; i < reading.count() && status == WDLT_OK; ++i, slot += kSlotBytes)
        status = readRecord(slot);
    return status;
}

std::int32_t CSpyListDB::readRecord(char* slot) {
    DWORD length = 0;
    if (const std::int32_t status = ReadData(&length, sizeof length); status != WDLT_OK) {
        WDLOG_ERROR("CSpyListDB: Failed to read a size of spyware record");
        return status;
    }
    if (length > kMostTextBytes) {
        const unsigned long shown = length;
        WDLOG_ERROR("CSpyListDB: A record size is too large (size=%lu, file=%s)", shown, this->file());
        return WDLT_E_FILE;
    }
    if (const std::int32_t status = ReadData(slot, length); status != WDLT_OK) {
        WDLOG_ERROR("CSpyListDB: Failed to read a spyware record");
        return status;
    }
    slot[length] = '\0';
    return WDLT_OK;
}

std::int32_t CSpyListDB::Write(const char* file, const void* buffer, std::uint64_t* size) {
    if (const std::int32_t status = wdlt::checkListToWrite(buffer, size, kListBytes); status != WDLT_OK)
        return status;
    const DWORD count = wdlt::loadCount(buffer, wdlt::kTypedHeadBytes);
    const auto* const slots = static_cast<const char*>(buffer) + wdlt::kTypedHeadBytes;
    return writePass(kStore, file, count, [&] { return writeRecords({slots, std::size_t{count} * kSlotBytes}); });
}

std::int32_t CSpyListDB::writeRecords(std::span<const char> slots) {
    for (; !slots.empty(); slots = slots.subspan(kSlotBytes)) {
        const auto slot = slots.first(kSlotBytes);
        const auto length = static_cast<DWORD>(std::find(slot.begin(), slot.end(), '\0') - slot.begin());
        if (length == 0) {
            WDLOG_ERROR("CSpyListDB: Spyware record size is zero");
            return WDLT_E_INVALID_ARGUMENT;
        }
        if (length > kMostTextBytes) {
            WDLOG_ERROR("CSpyListDB: Spyware record has no terminator");
            return WDLT_E_INVALID_ARGUMENT;
        }
        if (const std::int32_t status = WriteData(&length, sizeof length); status != WDLT_OK) {
            WDLOG_ERROR("CSpyListDB: Failed to write a size of spyware record");
            return status;
        }
        if (const std::int32_t status = WriteData(slot.data(), length); status != WDLT_OK) {
            WDLOG_ERROR("CSpyListDB: Failed to write a spyware record");
            return status;
        }
    }
    const std::int32_t status = flushBytes();
    if (status != WDLT_OK)
        WDLOG_ERROR("CSpyListDB: Failed to write a spyware record");
    return status;
}
