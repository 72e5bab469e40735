#include "PrivacyDatabase.h"

#include "Rijndael.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/status.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>
#include <vector>

namespace wdlt {
namespace {

constexpr std::string_view kMagic{"__PRIVACY_DATA_PROTECTION__", sizeof PrivacyDBHeader::szMagic};
constexpr std::string_view kVersion{"01.01.00", sizeof PrivacyDBHeader::szVersion};

constexpr DWORD kChunkBytes = 8192;
constexpr DWORD kMostMessageBytes = 2100; // read limit of an exclusion; no writer makes more than 2096

struct ExclusionHead {
    DWORD dwExclusionId;
    DWORD dwScanTarget;
    DWORD dwSize;
};
static_assert(sizeof(ExclusionHead) == 12 && sizeof(ExclusionHead) == offsetof(PrivacyExclusionItem, szText) + 4);

std::int32_t readExactly(BufferedFile& file, const char* operation, void* buffer, DWORD bytes) {
    const BufferedFile::Moved moved = file.read(buffer, bytes);
    if (!moved.done) {
        WDLOG_ERROR("*** CEnginePDPCommon::%s() - Failed to ReadFile(). LastError[0x%08x]", operation, GetLastError());
        return WDLT_E_GENERAL;
    }
    if (moved.bytes != bytes) {
        WDLOG_ERROR("*** CEnginePDPCommon::%s() - dwReadByte was invalid. dwReadByte=%ld", operation,
                    static_cast<long>(moved.bytes));
        return WDLT_E_GENERAL;
    }
    return WDLT_OK;
}

std::int32_t checkWritten(const char* operation, const BufferedFile::Moved& moved, DWORD bytes) {
    if (!moved.done) {
        WDLOG_ERROR("*** CEnginePDPCommon::%s() - Failed to WriteFile(). LastError[0x%08x]", operation, GetLastError());
        return WDLT_E_GENERAL;
    }
    if (moved.bytes != bytes) {
        WDLOG_ERROR("*** CEnginePDPCommon::%s() - write size was invalid. dwWriteSize=%ld", operation,
                    static_cast<long>(moved.bytes));
        return WDLT_E_GENERAL;
    }
    return WDLT_OK;
}

std::int32_t write(BufferedFile& file, const char* operation, const void* buffer, DWORD bytes) {
    return checkWritten(operation, file.write(buffer, bytes), bytes);
}

std::int32_t flush(BufferedFile& file, const char* operation) {
    const DWORD waiting = file.waiting();
    return checkWritten(operation, file.flush(), waiting);
}

Rijndael privacyCipher(int direction) {
    Rijndael cipher;
    cipher.Init(Rijndael::kCbc, direction, kPrivacyKey.data(), Rijndael::kKey16Bytes);
    return cipher;
}

// Replaces the pattern with its plain bytes and a zero; false if it can't be deciphered.
bool decipherPattern(Rijndael& cipher, PrivacySearchRecord& record) {
    Wiped<std::array<std::uint8_t, sizeof record.byPattern>> plain;
    const std::int32_t plainBytes =
        cipher.PadDecrypt(record.byPattern, static_cast<std::int32_t>(sizeof record.byPattern), plain->data());
    if (plainBytes < 0) {
        WDLOG_ERROR("*** CEnginePDPCommon::GetPrivacySearchData() - Failed to decrypt data. err=%d", plainBytes);
        return false;
    }
    const std::size_t kept =
        std::min(static_cast<std::size_t>(plainBytes), std::size_t{PrivacyDatabase::kPatternBytes});
    std::fill(plain->begin() + static_cast<std::ptrdiff_t>(kept), plain->end(), std::uint8_t{0});
    std::copy_n(plain->begin(), PrivacyDatabase::kPatternBytes + 1, record.byPattern);
    return true;
}

// Reads the next item. Returns the size of its message; none when it can't be read.
std::optional<DWORD> readExclusion(BufferedFile& file, Rijndael& cipher, PrivacyExclusionItem& item) {
    ExclusionHead head{};
    if (const auto moved = file.read(&head, sizeof head); !moved.done || moved.bytes != sizeof head)
        return std::nullopt;
    if (head.dwSize > kMostMessageBytes) {
        WDLOG_ERROR("*** CEnginePDPCommon::GetPrivacyExclusionItem() - size too large. stDBExclusionItem.dwSize=%lu",
                    static_cast<unsigned long>(head.dwSize));
        return std::nullopt;
    }
    std::array<std::uint8_t, kMostMessageBytes> message;
    if (const auto moved = file.read(message.data(), head.dwSize); !moved.done || moved.bytes != head.dwSize)
        return std::nullopt;
    Wiped<std::array<std::uint8_t, kMostMessageBytes>> plain;
    const std::int32_t plainBytes =
        cipher.PadDecrypt(message.data(), static_cast<std::int32_t>(head.dwSize), plain->data());
    if (plainBytes < 0) {
        WDLOG_ERROR("*** CEnginePDPCommon::GetPrivacyExclusionItem() - Failed to decrypt data. err=%d", plainBytes);
        return std::nullopt;
    }
    if (static_cast<std::size_t>(plainBytes) > sizeof item.szText) {
        WDLOG_ERROR("*** CEnginePDPCommon::GetPrivacyExclusionItem() - size too large. nLen=%d", plainBytes);
        return std::nullopt;
    }
    item.dwExclusionId = head.dwExclusionId;
    item.dwScanTarget = head.dwScanTarget;
    std::memcpy(item.szText, plain->data(), static_cast<std::size_t>(plainBytes));
    item.szText[sizeof item.szText - 1] = '\0';
    return head.dwSize;
}

// Makes the item's record: the head, then the text's message.
std::int32_t encipherExclusion(Rijndael& cipher, const PrivacyExclusionItem& item, std::vector<std::uint8_t>& record) {
    const std::size_t length = strnlen(item.szText, sizeof item.szText);
    if (length == 0) {
        WDLOG_ERROR("*** CEnginePDPCommon::WritePrivacyExclusionPart() - Exclusion item size is zero.");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (length == sizeof item.szText) {
        WDLOG_ERROR("*** CEnginePDPCommon::WritePrivacyExclusionPart() - Exclusion item has no terminator.");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (item.dwScanTarget != WDLT_PRIVACY_EXCLUSION_TARGET) {
        WDLOG_ERROR("*** CEnginePDPCommon::WritePrivacyExclusionPart() - Scan Target not supported. "
                    "dwScanTarget=0x%08x",
                    item.dwScanTarget);
        return WDLT_E_INVALID_ARGUMENT;
    }
    const auto plainBytes = static_cast<std::int32_t>(length + 1);
    record.resize(sizeof(ExclusionHead) + static_cast<std::size_t>(Rijndael::cipherBytes(plainBytes)));
    const std::int32_t messageBytes = cipher.PadEncrypt(reinterpret_cast<const std::uint8_t*>(item.szText), plainBytes,
                                                        record.data() + sizeof(ExclusionHead));
    if (messageBytes < 0) {
        WDLOG_ERROR("*** CEnginePDPCommon::WritePrivacyExclusionPart() - Failed to encrypt data. err=%d", messageBytes);
        return WDLT_E_GENERAL;
    }
    const ExclusionHead head{item.dwExclusionId, item.dwScanTarget, static_cast<DWORD>(messageBytes)};
    std::memcpy(record.data(), &head, sizeof head);
    return WDLT_OK;
}

} // namespace

std::int32_t PrivacyDatabase::GetPrivacyDBHeader(BufferedFile& file, PrivacyDBHeader& header) {
    header = {};
    if (const std::int32_t status = readExactly(file, "GetPrivacyDBHeader", &header, sizeof header); status != WDLT_OK)
        return status;
    if (std::memcmp(header.szMagic, kMagic.data(), kMagic.size()) != 0) {
        WDLOG_ERROR("*** CEnginePDPCommon::GetPrivacyDBHeader() - GUID of database was invalid.");
        return WDLT_E_GENERAL;
    }
    if (std::memcmp(header.szVersion, kVersion.data(), kVersion.size()) != 0) {
        WDLOG_ERROR("*** CEnginePDPCommon::GetPrivacyDBHeader() - version number of database was invalid value.");
        return WDLT_E_GENERAL;
    }
    return WDLT_OK;
}

std::int32_t PrivacyDatabase::SkipPrivacySearchData(BufferedFile& file, const PrivacyDBHeader& header) {
    if (file.skip(std::uint64_t{header.dwSearchDataCount} * sizeof(PrivacySearchRecord)))
        return WDLT_OK;
    WDLOG_ERROR("*** CEnginePDPCommon::SkipPrivacySearchData() - Failed to SetFilePointer(). LastError[0x%08x]",
                GetLastError());
    return WDLT_E_GENERAL;
}

std::int32_t PrivacyDatabase::GetPrivacyDBExclusionHeader(BufferedFile& file,
                                                          PrivacyDBExclusionHeader& exclusionHeader) {
    return readExactly(file, "GetPrivacyDBExclusionHeader", &exclusionHeader, sizeof exclusionHeader);
}

std::int32_t PrivacyDatabase::GetBinaryData(BufferedFile& file, std::uint64_t size, std::string& bytes) {
    if (!file.hasAhead(size)) {
        WDLOG_ERROR("*** CEnginePDPCommon::GetBinaryData() - dwReadByte was invalid. dwReadByte=%ld", 0L);
        return WDLT_E_GENERAL;
    }
    std::array<char, kChunkBytes> chunk;
    for (std::uint64_t left = size; left != 0;) {
        const auto part = static_cast<DWORD>(std::min<std::uint64_t>(left, kChunkBytes));
        if (const std::int32_t status = readExactly(file, "GetBinaryData", chunk.data(), part); status != WDLT_OK)
            return status;
        bytes.append(chunk.data(), part);
        left -= part;
    }
    return WDLT_OK;
}

// A record that is cut off by the end of the file doesn't count.
std::int32_t PrivacyDatabase::GetPrivacySearchData(BufferedFile& file, DWORD dwDataCount,
                                                   WipedVector<PrivacySearchRecord>& records) {
    constexpr DWORD kReserved = 1024; // a damaged count reserves no more
    records.reserve(std::min(dwDataCount, kReserved));
    Rijndael cipher = privacyCipher(Rijndael::kDecrypt);
    while (records.size() < dwDataCount) {
        Wiped<PrivacySearchRecord> record;
        const BufferedFile::Moved moved = file.read(&*record, sizeof *record);
        if (!moved.done || moved.bytes != sizeof *record || !decipherPattern(cipher, *record))
            break;
        records.push_back(*record);
    }
    if (records.size() == dwDataCount)
        return WDLT_OK;
    WDLOG_ERROR("*** CEnginePDPCommon::GetPrivacySearchData() - _dwDataCount was not match. _dwDataCount=%ld",
                static_cast<long>(dwDataCount));
    return WDLT_E_GENERAL;
}

// An empty message, which no writer makes, counts as the last item.
std::int32_t PrivacyDatabase::GetPrivacyExclusionItem(BufferedFile& file, DWORD count,
                                                      WipedVector<PrivacyExclusionItem>& items) {
    Rijndael cipher = privacyCipher(Rijndael::kDecrypt);
    while (items.size() < count) {
        Wiped<PrivacyExclusionItem> item;
        const std::optional<DWORD> messageBytes = readExclusion(file, cipher, *item);
        if (!messageBytes)
            break;
        items.push_back(*item);
        if (*messageBytes == 0)
            break;
    }
    if (items.size() == count)
        return WDLT_OK;
    WDLOG_ERROR("*** CEnginePDPCommon::GetPrivacyExclusionItem() - may be database file is corrupted.");
    return WDLT_E_GENERAL;
}

std::int32_t PrivacyDatabase::WritePrivacyDBHeader(BufferedFile& file, DWORD charSetEntry, DWORD itemCount) {
    const DWORD charSets = GetCharSetCount(charSetEntry);
    if (charSets == 0) {
        WDLOG_ERROR("*** CEnginePDPCommon::WritePrivacyDBHeader() - charset entry was not specified.");
        return WDLT_E_INVALID_ARGUMENT;
    }
    SYSTEMTIME now{};
    GetLocalTime(&now);
    PrivacyDBHeader header{};
    kMagic.copy(header.szMagic, sizeof header.szMagic);
    kVersion.copy(header.szVersion, sizeof header.szVersion);
    header.dwDate = (now.wYear * 100U + now.wMonth) * 100U + now.wDay;
    header.dwTime = (now.wHour * 100U + now.wMinute) * 100U + now.wSecond;
    header.dwSearchDataCount = itemCount * charSets;
    const std::int32_t status = write(file, "WritePrivacyDBHeader", &header, sizeof header);
    return status != WDLT_OK ? status : flush(file, "WritePrivacyDBHeader");
}

std::int32_t PrivacyDatabase::WritePrivacyExclusionHeader(BufferedFile& file, const PrivacyDBExclusionHeader& header) {
    const std::int32_t status = write(file, "WritePrivacyExclusionHeader", &header, sizeof header);
    return status != WDLT_OK ? status : flush(file, "WritePrivacyExclusionHeader");
}

std::int32_t PrivacyDatabase::WriteBinaryData(BufferedFile& file, std::string& bytes) {
    std::int32_t status = WDLT_OK;
    std::size_t written = 0;
    while (written < bytes.size() && status == WDLT_OK) {
        const auto part = static_cast<DWORD>(std::min<std::size_t>(bytes.size() - written, kChunkBytes));
        status = write(file, "WriteBinaryData", bytes.data() + written, part);
        if (status == WDLT_OK)
            written += part;
    }
    if (status == WDLT_OK)
        status = flush(file, "WriteBinaryData");
    bytes.erase(0, written);
    return status;
}

std::int32_t PrivacyDatabase::WritePrivacyExclusionPart(BufferedFile& file, const void* items, DWORD count) {
    Rijndael cipher = privacyCipher(Rijndael::kEncrypt);
    std::vector<std::vector<std::uint8_t>> records(count);
    std::uint64_t size = 0;
    for (DWORD i = 0; i < count; ++i) {
        Wiped<PrivacyExclusionItem> item;
        std::memcpy(&*item, static_cast<const char*>(items) + i * sizeof *item, sizeof *item);
        if (const std::int32_t status = encipherExclusion(cipher, *item, records[i]); status != WDLT_OK)
            return status;
        size += records[i].size();
    }
    if (size > std::numeric_limits<DWORD>::max()) {
        WDLOG_ERROR("*** CEnginePDPCommon::WritePrivacyExclusionPart() - Exclusion items are too large.");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (const std::int32_t status = WritePrivacyExclusionHeader(file, {count, static_cast<DWORD>(size)});
        status != WDLT_OK) {
        WDLOG_ERROR("*** CEnginePDPCommon::WritePrivacyExclusionPart() - Failed to WritePrivacyExclusionHeader(). "
                    "lRtnSts=%ld",
                    static_cast<long>(status));
        return status;
    }
    for (const auto& record : records)
        if (const std::int32_t status =
                write(file, "WritePrivacyExclusionPart", record.data(), static_cast<DWORD>(record.size()));
            status != WDLT_OK)
            return status;
    return flush(file, "WritePrivacyExclusionPart");
}

DWORD PrivacyDatabase::GetCharSetCount(DWORD mask) {
    constexpr DWORD kCounted = 0x7FFFFFFF;
    return static_cast<DWORD>(std::popcount(mask & kCounted));
}

DWORD PrivacyDatabase::GetEnumCharSetType(DWORD bit) {
    constexpr DWORD kHighest = 0x80000000;
    return std::has_single_bit(bit) && bit != kHighest ? static_cast<DWORD>(std::countr_zero(bit)) + 1 : 0;
}

} // namespace wdlt
