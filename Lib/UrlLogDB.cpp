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
        .undeciphered =
            [](std::int32_t status, const std::string& file) {
                WDLOG_ERROR("CUrlLogDB:: Failed to decrypt a category list (err=%d, file=%s)", status, file);
            },
        .plainSizeInvalid =
            [](std::int32_t size, const std::string& file) {
                WDLOG_ERROR("CUrlLogDB:: A decrypted category list size is invalid (size=%d, file=%s)", size, file);
            },
        .unenciphered =
            [](std::int32_t status) { WDLOG_ERROR("CUrlLogDB: Failed to encrypt a category name (err=%d)", status); },
        .cipherSizeInvalid =
            [](std::int32_t size) {
                WDLOG_ERROR("CUrlLogDB::Read(): A encrypted category size is invalid (size=%d)", size);
            },
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
