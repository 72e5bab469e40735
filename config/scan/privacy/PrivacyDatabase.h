// The privacy database, section by section. Every integer has 32 bits, the low byte first; nothing is aligned:
//
//     PrivacyDBHeader      64 bytes
//     search records       PrivacySearchRecord, 140 bytes each, as many as the header says; the pattern enciphered
//     exclusion header     count of the exclusion records, and all their bytes
//     exclusion records    id, target, bytes of the text's message; the message
//
// An operation works where the open file stands, and leaves it behind what it read or wrote; what is written is in the
// file when it returns. It gives a status, WDLT_E_GENERAL where nothing else is said, and doesn't close the file. A
// reader that stops early leaves what it has in the list.
#pragma once

#include "BufferedFile.h"
#include "StoreKeys.h"
#include "Wiped.h"

#include <wdltcfg/records.h>

#include <cstdint>
#include <span>
#include <string>

namespace wdlt {

struct PrivacyDBExclusionHeader {
    DWORD dwExclusionCount;
    DWORD dwSize; // of all records. Readers go from record to record; only who copies them unread needs it
};
static_assert(sizeof(PrivacyDBExclusionHeader) == 8);

struct PrivacyDatabase {
    static constexpr std::size_t kPatternBytes = 112; // of a search record, plain

    // Fails for any other magic or version.
    [[nodiscard]] static std::int32_t GetPrivacyDBHeader(BufferedFile& file, PrivacyDBHeader& header);
    // Doesn't look at the records: a file that ends among them fails at what comes next.
    [[nodiscard]] static std::int32_t SkipPrivacySearchData(BufferedFile& file, const PrivacyDBHeader& header);
    [[nodiscard]] static std::int32_t GetPrivacyDBExclusionHeader(BufferedFile& file,
                                                                  PrivacyDBExclusionHeader& exclusionHeader);
    // Appends; nothing of a file that has less.
    [[nodiscard]] static std::int32_t GetBinaryData(BufferedFile& file, std::uint64_t size, std::string& bytes);
    // Deciphered: the pattern's first 113 bytes are its plain ones and a zero.
    [[nodiscard]] static std::int32_t GetPrivacySearchData(BufferedFile& file, DWORD dwDataCount,
                                                           WipedVector<PrivacySearchRecord>& records);
    // Of any target. A text is always terminated.
    [[nodiscard]] static std::int32_t GetPrivacyExclusionItem(BufferedFile& file, DWORD count,
                                                              WipedVector<PrivacyExclusionItem>& items);

    // WDLT_E_INVALID_ARGUMENT for a mask without a charset.
    [[nodiscard]] static std::int32_t WritePrivacyDBHeader(BufferedFile& file, DWORD charSetEntry, DWORD itemCount);
    [[nodiscard]] static std::int32_t WritePrivacyExclusionHeader(BufferedFile& file,
                                                                  const PrivacyDBExclusionHeader& header);
    // Takes what it writes from the front.
    [[nodiscard]] static std::int32_t WriteBinaryData(BufferedFile& file, std::string& bytes);
    // The exclusion header and all records, from `count` items at any alignment. WDLT_E_INVALID_ARGUMENT, before
    // anything is written, for an item without a text, without its terminator, or of another target than
    // WDLT_PRIVACY_EXCLUSION_TARGET.
    [[nodiscard]] static std::int32_t WritePrivacyExclusionPart(BufferedFile& file, const void* items, DWORD count);

    // Of a mask; its highest bit doesn't count.
    static DWORD GetCharSetCount(DWORD mask);
    // n + 1 for the bit 1 << n, n up to 30; else 0.
    static DWORD GetEnumCharSetType(DWORD bit);
};

} // namespace wdlt
