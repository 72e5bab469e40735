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
        .undeciphered =
            [](std::int32_t status, [[maybe_unused]] const std::string& file) {
                WDLOG_ERROR("CUrlCategoryGroupDB: Failed to decrypt a category name (err=%d)", status);
                WDLOG_ERROR("CUrlCategoryGroupDB: Failed to decrypt a category group");
            },
        .plainSizeInvalid =
            [](std::int32_t size, [[maybe_unused]] const std::string& file) {
                WDLOG_ERROR("CUrlCategoryGroupDB: A decrypted category name size is invalid (size=%d)", size);
                WDLOG_ERROR("CUrlCategoryGroupDB: Failed to decrypt a category group");
            },
        .unenciphered =
            [](std::int32_t status) {
                WDLOG_ERROR("CUrlCategoryGroupDB: Failed to encrypt a category group name (err=%d)", status);
                WDLOG_ERROR("CUrlCategoryGroupDB: Failed to encrypt a category group");
            },
        .cipherSizeInvalid =
            [](std::int32_t size) {
                WDLOG_ERROR("CUrlCategoryGroupDB: A encrypted category name size is invalid (size=%d)", size);
                WDLOG_ERROR("CUrlCategoryGroupDB: Failed to encrypt a category group");
            },
    },
    {
        .offset = offsetof(WdpeUrlfCategoryGroup, szCategories),
        .bytes = sizeof(WdpeUrlfCategoryGroup::szCategories),
        .undeciphered =
            [](std::int32_t status, [[maybe_unused]] const std::string& file) {
                WDLOG_ERROR("CUrlCategoryGroupDB:: Failed to decrypt a category list (err=%d, file=%s)", status, file);
            },
        .plainSizeInvalid =
            [](std::int32_t size, [[maybe_unused]] const std::string& file) {
                WDLOG_ERROR("CUrlCategoryGroupDB:: A decrypted category list size is invalid (size=%d, file=%s)", size,
                            file);
            },
        .unenciphered =
            [](std::int32_t status) {
                WDLOG_ERROR("CUrlCategoryGroupDB: Failed to encrypt a category list (err=%d)", status);
            },
        .cipherSizeInvalid =
            [](std::int32_t size) {
                WDLOG_ERROR("CUrlCategoryGroupDB::Read(): A encrypted category list size is invalid (size=%d)", size);
            },
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
