// The privacy database, section by section. Integers are 32-bit little-endian; nothing is aligned:
//
//     PrivacyDBHeader      64 bytes
//     search records       PrivacySearchRecord, 140 bytes each, as many as the header says; the pattern enciphered
//     exclusion header     count of the exclusion records, and their total size in bytes
//     exclusion records    id, target, size of the enciphered text, which is called the message; the message
//
// An operation starts at the file's position and leaves it after what it has read or written; a write is flushed when
// it returns. It returns a status, WDLT_E_GENERAL for a failure unless stated otherwise, and doesn't close the file. A
// reader that fails leaves what it has read so far in the list.
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
    DWORD dwSize; // bytes of all records, to copy them unread; other readers go from record to record
};
static_assert(sizeof(PrivacyDBExclusionHeader) == 8);

struct PrivacyDatabase {
    static constexpr std::size_t kPatternBytes = 112; // of a search record, plain

    // Fails for an unknown magic or version.
    [[nodiscard]] static std::int32_t GetPrivacyDBHeader(BufferedFile& file, PrivacyDBHeader& header);
    // Doesn't read the records: if the file ends among them, the next operation fails.
    [[nodiscard]] static std::int32_t SkipPrivacySearchData(BufferedFile& file, const PrivacyDBHeader& header);
    [[nodiscard]] static std::int32_t GetPrivacyDBExclusionHeader(BufferedFile& file,
                                                                  PrivacyDBExclusionHeader& exclusionHeader);
    // Appends `size` bytes to `bytes`. Fails, and appends nothing, if the file has fewer left.
    [[nodiscard]] static std::int32_t GetBinaryData(BufferedFile& file, std::uint64_t size, std::string& bytes);
    // Deciphers the records: a pattern's first 113 bytes become its plain bytes and a zero.
    [[nodiscard]] static std::int32_t GetPrivacySearchData(BufferedFile& file, DWORD dwDataCount,
                                                           WipedVector<PrivacySearchRecord>& records);
    // Items of any target. A text is always terminated.
    [[nodiscard]] static std::int32_t GetPrivacyExclusionItem(BufferedFile& file, DWORD count,
                                                              WipedVector<PrivacyExclusionItem>& items);

    // WDLT_E_INVALID_ARGUMENT for a mask without a charset.
    [[nodiscard]] static std::int32_t WritePrivacyDBHeader(BufferedFile& file, DWORD charSetEntry, DWORD itemCount);
    [[nodiscard]] static std::int32_t WritePrivacyExclusionHeader(BufferedFile& file,
                                                                  const PrivacyDBExclusionHeader& header);
    // Removes what it has written from the front of `bytes`.
    [[nodiscard]] static std::int32_t WriteBinaryData(BufferedFile& file, std::string& bytes);
    // Writes the exclusion header and all records, from `count` items, which may be unaligned. WDLT_E_INVALID_ARGUMENT,
    // before anything is written, for an item without a text, without its terminator, or of another target than
    // WDLT_PRIVACY_EXCLUSION_TARGET.
    [[nodiscard]] static std::int32_t WritePrivacyExclusionPart(BufferedFile& file, const void* items, DWORD count);

    // The number of charsets in a mask; the highest bit doesn't count.
    static DWORD GetCharSetCount(DWORD mask);
    // n + 1 for the bit 1 << n, n up to 30; else 0.
    static DWORD GetEnumCharSetType(DWORD bit);
};

} // namespace wdlt
