#include "UrlListDB.h"

#include "StoreKeys.h"
#include "UrlMatching.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/status.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <string>
#include <utility>
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

// The bytes of the record that `ahead` begins with; none when it isn't whole there.
std::span<const std::uint8_t> firstRecord(std::span<const std::uint8_t> ahead) {
    DWORD length = 0;
    if (ahead.size() < sizeof length)
        return {};
    std::memcpy(&length, ahead.data(), sizeof length);
    return length <= ahead.size() - sizeof length ? ahead.first(sizeof length + length)
                                                  : std::span<const std::uint8_t>();
}

} // namespace

// The entries of a query that no record has matched yet, each URL converted once to the form that is compared.
class CUrlListDB::Unmatched {
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
    wdlt::CompiledUrls compiled(m_hFile.ahead());
    const std::size_t known = std::min<std::size_t>(reading.count(), compiled.count());
    for (std::size_t i = 0; i < known; ++i)
        if (unmatched.match(compiled[i]); unmatched.isEmpty())
            return WDLT_OK;
    m_hFile.skip(compiled.bytes());
    return known == reading.count() ? WDLT_OK : searchOn(unmatched, compiled, reading.count());
}

std::int32_t CUrlListDB::searchOn(Unmatched& unmatched, wdlt::CompiledUrls& compiled, DWORD count) {
    Rijndael cipher;
    cipher.Init(Rijndael::kCbc, Rijndael::kDecrypt, wdlt::kListKey.data(), Rijndael::kKey16Bytes);
    std::array<std::uint8_t, kMostCipherBytes + 1> text;
    for (std::size_t i = compiled.count(); i < count; ++i) {
        const auto bytes = firstRecord(m_hFile.ahead());
        const std::int32_t length = readRecord(cipher, kSearchLines, text);
        if (length < 0)
            return length;
        text[static_cast<std::size_t>(length)] = '\0';
        CMatchingUrlRecord record;
        if (!record.Init(reinterpret_cast<const char*>(text.data()))) {
            WDLOG_ERROR("CUrlListDB: Unable to initialize URL read from DB.");
            return WDLT_E_GENERAL;
        }
        unmatched.match(record);
        compiled.keep(record.isSelfContained() ? bytes : std::span<const std::uint8_t>(), std::move(record));
        if (unmatched.isEmpty())
            break; // the records after it aren't read, damaged or not
    }
    return WDLT_OK;
}
