#include "UrlCategoryDB.h"

#include "WdCommon/DebugLog.h"

#include <wdltcfg/records.h>

#include <cstddef>

namespace {

using wdlt::FixedRecordDB;

constexpr FixedRecordDB::Field kUrlCategoryFields[] = {
    {
        .offset = offsetof(WdpeUrlfCategory, szName),
        .bytes = sizeof(WdpeUrlfCategory::szName),
        .undeciphered = "CUrlCategoryDB::Read(): Failed to decrypt a category (err=%d, file=%s)",
        .plainSizeInvalid = "CUrlCategoryDB::Read(): A decrypted category size is invalid (size=%d, file=%s)",
        .unenciphered = "CUrlCategoryDB: Failed to encrypt a category name (err=%d)",
        .cipherSizeInvalid = "CUrlCategoryDB::Read(): A encrypted category size is invalid (size=%d)",
    },
};

constexpr FixedRecordDB::Kind kUrlCategoryKind{
    .store = {"CUrlCategoryDB", WDLT_MAX_CATEGORIES, false},
    .mutexName = "WDPE_Category_Access_Mutex",
    .guid = "Halvermoor:Wardlet:URLFilter:02",
    .key = wdlt::kCategoryKey,
    .recordBytes = sizeof(WdpeUrlfCategory),
    .fields = kUrlCategoryFields,
    .recordUnread = "CUrlCategoryDB: Failed to read a category",
    .recordUnwritten = "CUrlCategoryDB: Failed to write a category",
};

} // namespace

CUrlCategoryDB::CUrlCategoryDB() : FixedRecordDB(kUrlCategoryKind) {}
