#include "PrivacySearchData.h"

#include "PrivacyDatabase.h"
#include "Rijndael.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/charsets.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace wdlt {
namespace {

constexpr DWORD kConverted = 128; // bytes of a converter's input and output
constexpr int kCharSetBits = 32;

// A text before and after its conversion; the output always ends in a zero, whatever the converter leaves.
struct Conversion {
    std::array<char, kConverted> input;
    std::array<char, kConverted + 1> output;
};

// Logs that an operation ignores a failed conversion to us-ascii.
using IgnoredLine = void (*)();

// Converts the item to each charset of the mask, in ascending order. `use` gets the charset and the converted text, and
// returns a status; the first failure of either ends the walk.
template <class Use>
std::int32_t walkCharSets(const CCharSetConverter& converter, DWORD defaultCharSet, DWORD charSetEntry,
                          const PrivacyViewItem& viewItem, const char* operation, IgnoredLine ignored, Use&& use) {
    const DWORD fromCharSet = PrivacyDatabase::GetEnumCharSetType(defaultCharSet);
    DWORD dwCurrentBit = 1;
    for (int dwCount = 0; dwCount < kCharSetBits; ++dwCount, dwCurrentBit <<= 1) {
        if ((charSetEntry & dwCurrentBit) == 0)
            continue;
        Wiped<Conversion> text;
        std::copy_n(viewItem.szPrivacyData, sizeof viewItem.szPrivacyData, text->input.begin());
        const std::int32_t status =
            converter.ConvertResource(text->output.data(), text->input.data(), fromCharSet,
                                      PrivacyDatabase::GetEnumCharSetType(dwCurrentBit), kConverted);
        if (status != WDLT_OK) {
            WDLOG_ERROR("*** CEnginePDPCommon::%s() - Failed to _refCharSetConv.ConvertResource(). lRtnSts=%ld",
                        operation, static_cast<long>(status));
            WDLOG_ERROR("*** CEnginePDPCommon::%s() - dwCurrentBit[0x%08x], dwCount[%ld]", operation, dwCurrentBit,
                        static_cast<long>(dwCount));
            if (dwCurrentBit != WDLT_CHARSET_US_ASCII || dwCurrentBit == defaultCharSet)
                return status;
            ignored();
        }
        if (const std::int32_t used = use(dwCurrentBit, text->output); used != WDLT_OK)
            return used;
    }
    return WDLT_OK;
}

// The bytes to search for, without the sequences at either end that switch between charsets.
std::string patternOf(DWORD charSet, const std::array<char, kConverted + 1>& converted) {
    constexpr DWORD kIso2022 =
        WDLT_CHARSET_ISO_2022_JP | WDLT_CHARSET_ISO_2022_KR | WDLT_CHARSET_ISO_2022_CN | WDLT_CHARSET_ISO_2022_CN_EXT;
    if ((charSet & kIso2022) != 0)
        return CCharSetConverter::Trim_ISO_2022(converted.data());
    if (charSet == WDLT_CHARSET_HZ_GB_2312)
        return CCharSetConverter::Trim_HZ_GB(converted.data());
    std::size_t length = 0;
    if (charSet == WDLT_CHARSET_UCS_2)
        while (length < kConverted && (converted[length] != '\0' || converted[length + 1] != '\0'))
            length += sizeof(WCHAR);
    else
        length = strnlen(converted.data(), kConverted);
    return {converted.data(), length};
}

// Enciphers the pattern, cut or zero-padded to the size that a record has.
std::int32_t encipherPattern(const std::string& pattern, PrivacySearchRecord& record) {
    Wiped<std::array<std::uint8_t, PrivacyDatabase::kPatternBytes>> plain;
    std::copy_n(pattern.begin(), std::min(pattern.size(), plain->size()), plain->begin());
    Rijndael cipher;
    cipher.Init(Rijndael::kCbc, Rijndael::kEncrypt, kPrivacyKey.data(), Rijndael::kKey16Bytes);
    const std::int32_t cipherBytes =
        cipher.PadEncrypt(plain->data(), static_cast<std::int32_t>(plain->size()), record.byPattern);
    if (cipherBytes >= 0)
        return WDLT_OK;
    WDLOG_ERROR("*** CEnginePDPCommon::CreatePrivacySearchData() - Failed to encrypt data. err=%d", cipherBytes);
    return WDLT_E_GENERAL;
}
static_assert(Rijndael::cipherBytes(PrivacyDatabase::kPatternBytes) == sizeof PrivacySearchRecord::byPattern);

std::int32_t createAll(DWORD defaultCharSet, DWORD charSetEntry, std::span<const PrivacyViewItem> viewItems,
                       std::vector<PrivacySearchRecord>& records) {
    StartedConverter converter;
    if (const std::int32_t status = converter.start("WritePrivacySearchData"); status != WDLT_OK)
        return status;
    DWORD searchIndex = 0;
    std::int32_t status = WDLT_OK;
    for (const PrivacyViewItem& viewItem : viewItems) {
        status = PrivacySearchData::CreatePrivacySearchData(converter, defaultCharSet, charSetEntry, viewItem, records,
                                                            searchIndex);
        if (status != WDLT_OK) {
            WDLOG_ERROR("*** CEnginePDPCommon::WritePrivacySearchData() - Failed to CreatePrivacySearchData(). "
                        "lRtnSts=%ld",
                        static_cast<long>(status));
            break;
        }
    }
    return status;
}

std::int32_t checkWritten(const BufferedFile::Moved& moved, DWORD bytes) {
    if (!moved.done) {
        WDLOG_ERROR("*** CEnginePDPCommon::WritePrivacySearchData() - Failed to WriteFile(). LastError[0x%08x]",
                    GetLastError());
        return WDLT_E_FILE;
    }
    if (moved.bytes != bytes) {
        WDLOG_ERROR("*** CEnginePDPCommon::WritePrivacySearchData() - write size was invalid. dwWriteSize=%ld",
                    static_cast<long>(moved.bytes));
        return WDLT_E_FILE;
    }
    return WDLT_OK;
}

} // namespace

StartedConverter::~StartedConverter() {
    if (m_isStarted)
        UnInitialize();
}

std::int32_t StartedConverter::start(const char* operation) {
    const std::int32_t status = Initialize();
    m_isStarted = status == WDLT_OK;
    if (m_isStarted)
        return WDLT_OK;
    if (status == WDLT_E_CHARSET_START) {
        WDLOG_ERROR("*** CEnginePDPCommon::%s() - Failed to initialize WDMSG DLL. lRtnSts=%ld", operation,
                    static_cast<long>(status));
        return WDLT_E_CHARSET_START;
    }
    WDLOG_ERROR("*** CEnginePDPCommon::%s() - Failed to cChaeSetConv.Initialize(). lRtnSts=%ld", operation,
                static_cast<long>(status));
    return WDLT_E_CHARSET;
}

std::int32_t PrivacySearchData::CreatePrivacySearchData(const CCharSetConverter& converter, DWORD defaultCharSet,
                                                        DWORD charSetEntry, const PrivacyViewItem& viewItem,
                                                        std::vector<PrivacySearchRecord>& records, DWORD& searchIndex) {
    return walkCharSets(
        converter, defaultCharSet, charSetEntry, viewItem, "CreatePrivacySearchData",
        [] {
            WDLOG_TRACE("*** CEnginePDPCommon::CreatePrivacySearchData() - should ignore this error as spec because of "
                        "US_ASCII");
        },
        [&](DWORD charSet, const std::array<char, kConverted + 1>& converted) {
            PrivacySearchRecord record{searchIndex, viewItem.dwItemIndex, charSet, {}};
            std::string pattern = patternOf(charSet, converted);
            const std::int32_t status = encipherPattern(pattern, record);
            SecureZeroMemory(pattern.data(), pattern.size());
            if (status != WDLT_OK)
                return status;
            records.push_back(record);
            ++searchIndex;
            return status;
        });
}

std::int32_t PrivacySearchData::VerifyItem(const CCharSetConverter& converter, DWORD defaultCharSet, DWORD charSetEntry,
                                           const PrivacyViewItem& viewItem) {
    return walkCharSets(
        converter, defaultCharSet, charSetEntry, viewItem, "VerifyItems",
        [] {
            WDLOG_TRACE("*** CEnginePDPCommon::VerifyItems() - should ignore this error as spec because of US_ASCII.");
        },
        [](DWORD, const std::array<char, kConverted + 1>&) { return std::int32_t{WDLT_OK}; });
}

std::int32_t PrivacySearchData::WritePrivacySearchData(BufferedFile& file, DWORD defaultCharSet, DWORD charSetEntry,
                                                       std::span<const PrivacyViewItem> viewItems) {
    std::vector<PrivacySearchRecord> records;
    const std::int32_t created = createAll(defaultCharSet, charSetEntry, viewItems, records);
    if (created != WDLT_OK)
        return created;
    for (const PrivacySearchRecord& record : records)
        if (const std::int32_t status = checkWritten(file.write(&record, sizeof record), sizeof record);
            status != WDLT_OK)
            return status;
    const DWORD waiting = file.waiting();
    return checkWritten(file.flush(), waiting);
}

} // namespace wdlt
