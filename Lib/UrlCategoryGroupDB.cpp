#include "UrlCategoryGroupDB.h"

#include "WdCommon/DebugLog.h"

#include <wdltcfg/records.h>

#include <cstddef>

namespace {

using wdlt::FixedRecordDB;

constexpr FixedRecordDB::Field kUrlCategoryGroupFields[] = {
    {
        .offset = offsetof(WdpeUrlfCategoryGroup, szName),
        .bytes = sizeof(WdpeUrlfCategoryGroup::szName),
        .undeciphered = "CUrlCategoryGroupDB: Failed to decrypt a category name (err=%d)",
        .plainSizeInvalid = "CUrlCategoryGroupDB: A decrypted category name size is invalid (size=%d)",
        .notOpened = "CUrlCategoryGroupDB: Failed to decrypt a category group",
        .unenciphered = "CUrlCategoryGroupDB: Failed to encrypt a category group name (err=%d)",
        .cipherSizeInvalid = "CUrlCategoryGroupDB: A encrypted category name size is invalid (size=%d)",
        .notSealed = "CUrlCategoryGroupDB: Failed to encrypt a category group",
    },
    {
        .offset = offsetof(WdpeUrlfCategoryGroup, szCategories),
        .bytes = sizeof(WdpeUrlfCategoryGroup::szCategories),
        .undeciphered = "CUrlCategoryGroupDB:: Failed to decrypt a category list (err=%d, file=%s)",
        .plainSizeInvalid = "CUrlCategoryGroupDB:: A decrypted category list size is invalid (size=%d, file=%s)",
        .unenciphered = "CUrlCategoryGroupDB: Failed to encrypt a category list (err=%d)",
        .cipherSizeInvalid = "CUrlCategoryGroupDB::Read(): A encrypted category list size is invalid (size=%d)",
    },
};

constexpr FixedRecordDB::Kind kUrlCategoryGroupKind{
    .store = {"CUrlCategoryGroupDB", WDLT_MAX_CATEGORY_GROUPS, false},
    .mutexName = "WDPE_CategoryGroup_Access_Mutex",
    .guid = "Halvermoor:Wardlet:URLFilter:03",
    .key = wdlt::kCategoryKey,
    .recordBytes = sizeof(WdpeUrlfCategoryGroup),
    .fields = kUrlCategoryGroupFields,
    .recordUnread = "CUrlCategoryGroupDB: Failed to read a category group",
    .recordUnwritten = "CUrlCategoryGroupDB: Failed to write a category group",
};

} // namespace

CUrlCategoryGroupDB::CUrlCategoryGroupDB() : FixedRecordDB(kUrlCategoryGroupKind) {}
