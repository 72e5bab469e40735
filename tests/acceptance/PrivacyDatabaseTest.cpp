// The privacy database to the byte: what a write makes of items and exclusions, and what is read of a file that was
// laid out by hand.
#include "PrivacyDatabase.h"

#include "LogFile.h"
#include "PrivacyHelper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using namespace privacy_files;
using wdlt::PrivacyDatabase;

class PrivacyDatabaseFile : public PrivacyHelperTest {
  protected:
    LogFile log;
};

std::string withoutTime(std::string file) {
    return file.replace(48, 8, std::string(8, 'T'));
}

constexpr std::uint32_t kThreeCharSets = WDLT_CHARSET_UCS_2 | WDLT_CHARSET_US_ASCII | WDLT_CHARSET_UTF_16BE;

TEST_F(PrivacyDatabaseFile, ItemsBecomeRecordsInEachCharset) {
    const std::string exclusions = exclusion(1, "kept");
    put(kDatabase, header(0) + exclusionHeader(1, exclusions.size()) + exclusions);
    ASSERT_EQ(writeItems({item(31, "ab"), item(4, ""),
                          item(0, "\xC3\xA4"
                                  "c")},
                         control(kThreeCharSets)),
              WDLT_OK);

    const std::string expected = header(6) + record(0, 31, WDLT_CHARSET_UCS_2, std::string("a\0b\0", 4)) +
                                 record(1, 31, WDLT_CHARSET_US_ASCII, "ab") +
                                 record(2, 31, WDLT_CHARSET_UTF_16BE, "") + // ends at its first zero byte
                                 record(3, 0, WDLT_CHARSET_UCS_2, std::string("\xE4\0c\0", 4)) +
                                 record(4, 0, WDLT_CHARSET_US_ASCII, "") + // lacks the character
                                 record(5, 0, WDLT_CHARSET_UTF_16BE, "") + exclusionHeader(1, exclusions.size()) +
                                 exclusions;
    EXPECT_EQ(state().database, withoutTime(expected));
    EXPECT_EQ(expected.find(exclusionHeader(1, exclusions.size())), 904u);
    EXPECT_TRUE(log.contains("*** CEnginePDPCommon::CreatePrivacySearchData() - dwCurrentBit[0x00000002], dwCount[1]"));
    EXPECT_TRUE(log.contains("should ignore this error as spec because of US_ASCII"));

    settings(control(kThreeCharSets));
    const auto search = readSearch();
    ASSERT_EQ(search.status, WDLT_OK);
    EXPECT_EQ(search.head.dwSearchDataCount, 6u);
    EXPECT_GT(search.head.dwDate, 20200000u);
    EXPECT_LT(search.head.dwTime, 240000u);
    ASSERT_EQ(search.items.size(), 6u);
    EXPECT_EQ(search.items[3].dwItemIndex, 0u);
    EXPECT_EQ(search.items[3].dwSearchIndex, 3u);
    EXPECT_EQ(std::memcmp(search.items[0].byPattern, filled(std::string("a\0b\0", 4), 113).data(), 113), 0);
    EXPECT_EQ(patternOf(search.items[1]), "ab");
}

TEST_F(PrivacyDatabaseFile, PatternsLoseWhatSwitchesTheirCharsetAndWhatIsTooLong) {
    struct Case {
        std::uint32_t charSet;
        std::string text; // UTF-8
        std::string pattern;
    };
    const std::string nihon = "\xE6\x97\xA5\xE6\x9C\xAC"; // 日本
    const std::string zhong = "\xE4\xB8\xAD\xE6\x96\x87"; // 中文
    const Case cases[] = {
        {WDLT_CHARSET_ISO_2022_JP, nihon, "\x46\x7C\x4B\x5C"},
        {WDLT_CHARSET_ISO_2022_JP, "plain", "plain"},
        {WDLT_CHARSET_ISO_2022_JP, "no", ""}, // too short for an escape sequence
        {WDLT_CHARSET_HZ_GB_2312, zhong, "\x56\x50\x4E\x44"},
        {WDLT_CHARSET_SHIFT_JIS, nihon, "\x93\xFA\x96\x7B"},
        {WDLT_CHARSET_UTF_8, std::string(47, 'x'), std::string(47, 'x')},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << c.charSet << ' ' << c.text);
        ASSERT_EQ(writeItems({item(1, c.text)}, control(c.charSet)), WDLT_OK);
        EXPECT_EQ(get(kDatabase).substr(64), record(0, 1, c.charSet, c.pattern) + exclusionHeader(0, 0));
    }
    // 47 characters make 94 bytes of 16-bit text; the longest that 48 bytes of another charset become is cut.
    PrivacyControlData latin = control(WDLT_CHARSET_UCS_2);
    latin.dwDefaultCharSet = WDLT_CHARSET_ISO_8859_1;
    PrivacyViewItem full = item(1, "");
    std::memset(full.szPrivacyData, 'y', sizeof full.szPrivacyData); // no terminator of its own
    ASSERT_EQ(writeItems({full}, latin), WDLT_OK);
    std::string wide;
    for (int i = 0; i < 48; ++i)
        wide.append("y\0", 2);
    EXPECT_EQ(get(kDatabase).substr(64, 140), record(0, 1, WDLT_CHARSET_UCS_2, wide));
}

TEST_F(PrivacyDatabaseFile, ExclusionsByLength) {
    const std::pair<std::size_t, std::uint32_t> lengths[] = {{1, 16},  {14, 16}, {15, 32},    {20, 32},
                                                             {30, 32}, {31, 48}, {2083, 2096}};
    const std::string head = header(1) + record(0, 3, WDLT_CHARSET_UTF_8, "searched");
    for (const auto& [length, messageBytes] : lengths) {
        SCOPED_TRACE(length);
        put(kDatabase, head + exclusionHeader(0, 0));
        const std::string text(length, 'e');
        ASSERT_EQ(writeExclusions({exclusionItem(5, text), exclusionItem(6, "x")}), WDLT_OK);
        const std::string records = exclusion(5, text) + exclusion(6, "x");
        EXPECT_EQ(records.size(), 12 + messageBytes + 28);
        EXPECT_EQ(get(kDatabase), head + exclusionHeader(2, records.size()) + records); // date and time too
        const auto list = readExclusions();
        ASSERT_EQ(list.status, WDLT_OK);
        ASSERT_EQ(list.items.size(), 2u);
        EXPECT_EQ(list.items[0].szText, text);
        EXPECT_EQ(list.items[1].dwExclusionId, 6u);
    }
}

TEST_F(PrivacyDatabaseFile, OnlyMagicAndVersionOfTheHeaderCount) {
    for (std::size_t at = 0; at < 64; ++at) {
        SCOPED_TRACE(at);
        std::string file = emptyFile();
        file[at] = static_cast<char>(file[at] ^ 1);
        put(kDatabase, file);
        const bool isMagic = at < 28;
        const bool isVersion = at >= 32 && at < 41;
        const bool isCount = at >= 56 && at < 60;
        EXPECT_EQ(readExclusions().status, isMagic || isVersion || isCount ? WDLT_E_GENERAL : WDLT_OK);
        const State before = state();
        EXPECT_EQ(writeExclusions({}), isMagic || isVersion || isCount ? WDLT_E_GENERAL : WDLT_OK);
        EXPECT_EQ(state(), before);
    }
    EXPECT_TRUE(log.contains("*** CEnginePDPCommon::GetPrivacyDBHeader() - GUID of database was invalid."));
    EXPECT_TRUE(log.contains("*** CEnginePDPCommon::GetPrivacyDBHeader() - version number of database was invalid "
                             "value."));
    put(kDatabase, emptyFile().substr(0, 63));
    EXPECT_EQ(readSearch().status, WDLT_E_GENERAL);
    EXPECT_TRUE(log.contains("*** CEnginePDPCommon::GetPrivacyDBHeader() - dwReadByte was invalid. dwReadByte=63"));
}

// Exclusion records that no writer makes.
TEST_F(PrivacyDatabaseFile, ForgedExclusions) {
    const std::string good = exclusion(1, "good");
    const std::string head = number(2) + number(16);
    struct Case {
        const char* what;
        std::string first;
        std::int32_t status;
        const char* line;
    };
    const Case cases[] = {
        {"other target", rawExclusion(2, 8, std::string("t\0", 2)), WDLT_OK, ""},
        {"size 2101", head + number(2101) + std::string(2101, 'x'), WDLT_E_GENERAL,
         "size too large. stDBExclusionItem.dwSize=2101"},
        {"negative size", head + number(0x80000010), WDLT_E_GENERAL, "stDBExclusionItem.dwSize=2147483664"},
        {"no whole block", head + number(15) + std::string(15, 'x'), WDLT_E_GENERAL, "Failed to decrypt data. err=-7"},
        {"noise", head + number(32) + std::string(32, 'x'), WDLT_E_GENERAL, "Failed to decrypt data. err=-7"},
        {"nothing at all", head + number(0), WDLT_E_GENERAL, "may be database file is corrupted."},
        {"longer than its field", rawExclusion(2, 16, std::string(2085, 'x')), WDLT_E_GENERAL,
         "size too large. nLen=2085"},
        {"as long as its field", rawExclusion(2, 16, std::string(2084, 'x')), WDLT_OK, ""},
        {"no terminator", rawExclusion(2, 16, "text"), WDLT_OK, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        put(kDatabase, header(0) + exclusionHeader(2, 1) + c.first + good);
        const auto list = readExclusions();
        EXPECT_EQ(list.status, c.status);
        for (const PrivacyExclusionItem& read : list.items)
            EXPECT_LT(strnlen(read.szText, sizeof read.szText), sizeof read.szText);
        EXPECT_TRUE(log.contains(c.line));
    }
    put(kDatabase, header(0) + exclusionHeader(1, 12) + head + number(0));
    EXPECT_EQ(readExclusions().items.size(), 1u); // an empty message may be the last one
}

TEST_F(PrivacyDatabaseFile, ForgedRecordsGiveTheirBytesButNoMore) {
    std::string plain(127, 'p'); // of one that fills its message
    put(kDatabase, header(1) + number(9) + number(99) + number(0) + message(plain) + exclusionHeader(0, 0));
    const auto search = readSearch();
    ASSERT_EQ(search.status, WDLT_OK);
    EXPECT_EQ(search.items[0].dwItemIndex, 99u);
    EXPECT_EQ(patternOf(search.items[0]), std::string(112, 'p'));
    put(kDatabase, header(33) + exclusionHeader(0, 0));
    EXPECT_EQ(readSearch().status, WDLT_E_GENERAL);
    EXPECT_TRUE(log.contains("Database contains more items than max. Count=33, MaxCount=32"));
    put(kDatabase, header(32) + exclusionHeader(0, 0));
    EXPECT_EQ(readSearch().status, WDLT_E_GENERAL);
    EXPECT_TRUE(log.contains("GetPrivacySearchData() - _dwDataCount was not match. _dwDataCount=32"));
    for (const std::uint32_t count : {33U, 0x7FFFFFFFU, 0xFFFFFFFFU}) { // no bound, but the file's end
        put(kDatabase, header(count) + exclusionHeader(0, 0));
        EXPECT_EQ(readExclusions().status, WDLT_E_GENERAL);
        EXPECT_EQ(writeItems({}), WDLT_E_GENERAL);
        EXPECT_EQ(writeExclusions({}), WDLT_E_GENERAL);
    }
    put(kDatabase, header(0) + exclusionHeader(0xFFFFFFFF, 0xFFFFFFFF));
    EXPECT_EQ(readExclusions().status, WDLT_E_GENERAL);
    EXPECT_EQ(writeItems({}), WDLT_E_GENERAL);
}

TEST_F(PrivacyDatabaseFile, RawBytesOfAnySize) {
    for (const std::size_t size :
         {std::size_t{0}, std::size_t{1}, std::size_t{8192}, std::size_t{20000}, std::size_t{200000}}) {
        SCOPED_TRACE(size);
        std::string content;
        for (std::size_t i = 0; i < size; ++i)
            content += static_cast<char>(i * 7 % 251);
        std::string left = content;
        wdlt::BufferedFile file;
        file.open(open(at("raw"), GENERIC_WRITE, CREATE_ALWAYS).release());
        EXPECT_EQ(PrivacyDatabase::WriteBinaryData(file, left), WDLT_OK);
        EXPECT_TRUE(left.empty());
        file.close();
        EXPECT_TRUE(get("raw") == content);
        std::string again = "+";
        file.open(open(at("raw"), GENERIC_READ).release());
        EXPECT_EQ(PrivacyDatabase::GetBinaryData(file, size, again), WDLT_OK);
        EXPECT_TRUE(again == "+" + content);
        EXPECT_EQ(PrivacyDatabase::GetBinaryData(file, 1, again), WDLT_E_GENERAL);
        file.open(open(at("raw"), GENERIC_READ).release());
        EXPECT_EQ(PrivacyDatabase::GetBinaryData(file, size + 1, again), WDLT_E_GENERAL);
        EXPECT_EQ(again.size(), size + 1); // nothing was kept
        file.close();
    }
}

TEST(PrivacyCharSets, BitsAndNumbers) {
    EXPECT_EQ(PrivacyDatabase::GetCharSetCount(0), 0u);
    EXPECT_EQ(PrivacyDatabase::GetCharSetCount(0x80000000), 0u);
    EXPECT_EQ(PrivacyDatabase::GetCharSetCount(0xFFFFFFFF), 31u);
    for (std::uint32_t n = 0; n < 31; ++n)
        EXPECT_EQ(PrivacyDatabase::GetEnumCharSetType(1U << n), n + 1);
    for (const std::uint32_t none : {0U, 3U, 0x80000000U, 0xFFFFFFFFU})
        EXPECT_EQ(PrivacyDatabase::GetEnumCharSetType(none), 0u);
}

// A file that the library once made: three items in four charsets, two exclusions.
TEST_F(PrivacyDatabaseFile, AnOlderBuildsFileIsReadAndCarriedOver) {
    std::ifstream file(WDLT_GOLDEN "/privacy.db", std::ios::binary);
    const std::string golden{std::istreambuf_iterator<char>(file), {}};
    ASSERT_FALSE(golden.empty());
    put(kDatabase, golden);
    settings(control(WDLT_CHARSET_UTF_8 | WDLT_CHARSET_ISO_2022_JP | WDLT_CHARSET_SHIFT_JIS | WDLT_CHARSET_UTF_16LE));
    const auto search = readSearch();
    ASSERT_EQ(search.status, WDLT_OK);
    ASSERT_EQ(search.items.size(), 12u);
    EXPECT_EQ(patternOf(search.items[0]), "4711-0815");
    EXPECT_EQ(patternOf(search.items[5]), "\x46\x7C\x4B\x5C");
    EXPECT_EQ(search.items[11].dwItemIndex, 31u);
    auto exclusions = readExclusions();
    ASSERT_EQ(exclusions.status, WDLT_OK);
    ASSERT_EQ(exclusions.items.size(), 2u);
    EXPECT_STREQ(exclusions.items[1].szText, "*.intranet.example/*");
    ASSERT_EQ(writeExclusions(exclusions.items), WDLT_OK);
    EXPECT_TRUE(get(kDatabase) == golden);
}

} // namespace
