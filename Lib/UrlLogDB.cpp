#include "UrlLogDB.h"

#include "WdCommon/DebugLog.h"

#include <wdltcfg/records.h>

#include <cstddef>

namespace {

using wdlt::FixedRecordDB;

constexpr FixedRecordDB::Field kUrlLogFields[] = {
    {
        .offset = offsetof(WdpeUrlfLogIndex, szCategories),
        .bytes = sizeof(WdpeUrlfLogIndex::szCategories),
        .undeciphered = "CUrlLogDB:: Failed to decrypt a category list (err=%d, file=%s)",
        .plainSizeInvalid = "CUrlLogDB:: A decrypted category list size is invalid (size=%d, file=%s)",
        .unenciphered = "CUrlLogDB: Failed to encrypt a category name (err=%d)",
        .cipherSizeInvalid = "CUrlLogDB::Read(): A encrypted category size is invalid (size=%d)",
    },
};

constexpr FixedRecordDB::Kind kUrlLogKind{
    .store = {"CUrlLogDB", WDLT_MAX_LOG_INDEXES, false},
    .mutexName = "WDPE_LogIndex_Access_Mutex",
    .guid = "Halvermoor:Wardlet:URLFilter:04",
    .key = wdlt::kLogIndexKey,
    .recordBytes = sizeof(WdpeUrlfLogIndex),
    .fields = kUrlLogFields,
    .recordUnread = "CUrlLogDB: Failed to read log index",
    .recordUnwritten = "CUrlLogDB: Failed to write log index",
};

} // namespace

CUrlLogDB::CUrlLogDB() : FixedRecordDB(kUrlLogKind) {}
