#include "UrlListDB.h"

#include "StoreKeys.h"
#include "UrlMatching.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/status.h>

#include <array>
#include <cstring>
#include <new>
#include <string>
#include <vector>

namespace {

using wdlt::LengthListDB;

constexpr LengthListDB::Kind kUrlListKind{
    .store = {"CUrlListDB", WDLT_MAX_URL_RECORDS, true},
    .mutexName = "WDPE_UrlList_Access_Mutex",
    .guid = "Halvermoor:Wardlet:URLFilter:01",
    .slotBytes = sizeof(WdpeUrlfUrlRecord),
    .mostPlainBytes = sizeof(WdpeUrlfUrlRecord) - 1,
    .mostCipherBytes = 2099,
    .holdsTexts = true,
    .readLines =
        {
            .lengthUnread = "CUrlListDB: Failed to read a size of URL record",
            .lengthTooLarge = "CUrlListDB: A record size is too large (size=%lu, file=%s)",
            .recordUnread = "CUrlListDB: Failed to read a URL record",
            .recordUndeciphered = "CUrlListDB::Read(): Failed to decrypt a record (err=%d, file=%s)",
            .recordTooLarge = "CUrlListDB::Read(): A decrypted record is too large (size=%d, file=%s)",
        },
    .recordEmpty = "CUrlListDB: URL record size is zero",
    .recordUnterminated = "CUrlListDB: URL record has no terminator",
    .recordUnenciphered = "CUrlListDB: Failed to encrypt a record (err=%d)",
    .lengthUnwritten = "CUrlListDB: Failed to write a size of URL record",
    .recordUnwritten = "CUrlListDB: Failed to write a URL record",
};

constexpr LengthListDB::Store kSearch{"CUrlListDB::CheckIfUrlRecordExists", WDLT_MAX_URL_RECORDS, true};
constexpr LengthListDB::ReadLines kSearchLines{
    .lengthUnread = "CUrlListDB::CheckIfUrlRecordExists: Failed to read a size of URL record",
    .lengthTooLarge = "CUrlListDB::CheckIfUrlRecordExists: A record size is too large (size=%lu, file=%s)",
    .recordUnread = "CUrlListDB::CheckIfUrlRecordExists: Failed to read a URL record",
    .recordUndeciphered = "CUrlListDB::CheckIfUrlRecordExists(): Failed to decrypt a record (err=%d, file=%s)",
    .recordTooLarge = "CUrlListDB::CheckIfUrlRecordExists(): A decrypted record is too large (size=%d, file=%s)",
};

// The entries of a query that no record has matched yet, each URL converted once to the form that is compared.
class Unmatched {
  public:
    // False when memory runs out.
    bool take(std::span<WdpeUrlfQueryEntry> entries) {
        try {
            m_open.reserve(entries.size());
            for (WdpeUrlfQueryEntry& entry : entries) {
                entry.dwExists = 0;
                const std::string url(entry.szUrl, strnlen(entry.szUrl, sizeof entry.szUrl));
                if (!m_open.emplace_back(Open{&entry, {}}).url.Init(url.c_str()))
                    return false;
            }
            return true;
        } catch (const std::bad_alloc&) {
            return false;
        }
    }
    bool isEmpty() const { return m_open.empty(); }
    void match(const CMatchingUrlRecord& record) {
        std::erase_if(m_open, [&](const Open& open) {
            if (!record.Match(open.url))
                return false;
            open.entry->dwExists = 1;
            WDLOG_TRACE("CUrlListDB::CheckIfUrlRecordExists: URL was matched in DB, set URL existing (url = %s).",
                        std::string(open.entry->szUrl, strnlen(open.entry->szUrl, sizeof open.entry->szUrl)));
            return true;
        });
    }

  private:
    struct Open {
        WdpeUrlfQueryEntry* entry; // the caller's
        CMatchingUrl url;
    };
    std::vector<Open> m_open;
};

} // namespace

CUrlListDB::CUrlListDB() : LengthListDB(kUrlListKind) {}

std::int32_t CUrlListDB::CheckIfUrlRecordExists(const char* file, WdpeUrlfQuery* query) {
    if (query == nullptr || query->dwCount < 0 || (query->pUrls == nullptr && query->dwCount > 0))
        return WDLT_E_GENERAL;
    const Reading reading(*this, kSearch, file);
    if (reading.status() != WDLT_OK)
        return reading.status();
    Unmatched unmatched;
    if (!unmatched.take({query->pUrls, static_cast<std::size_t>(query->dwCount)})) {
        WDLOG_ERROR("CUrlListDB::CheckIfUrlRecordExists: Memory allocation error");
        return WDLT_E_NO_MEMORY;
    }
    Rijndael cipher;
    cipher.Init(Rijndael::kCbc, Rijndael::kDecrypt, wdlt::kListKey.data(), Rijndael::kKey16Bytes);
    std::array<std::uint8_t, kMostCipherBytes + 1> text;
    CMatchingUrlRecord record;
    for (DWORD i = 0; i < reading.count(); ++i) {
        const std::int32_t length = readRecord(cipher, kSearchLines, text);
        if (length < 0)
            return length;
        text[static_cast<std::size_t>(length)] = '\0';
        if (!record.Init(reinterpret_cast<const char*>(text.data()))) {
            WDLOG_ERROR("CUrlListDB: Unable to initialize URL read from DB.");
            return WDLT_E_GENERAL;
        }
        unmatched.match(record);
        if (unmatched.isEmpty())
            break; // the records after it aren't read, damaged or not
    }
    return WDLT_OK;
}
