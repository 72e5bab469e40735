// The privacy database byte by byte: how a write stores items and exclusions, and what is read from a file that was
// made by hand or damaged.
#include "PrivacyLists.h"

#include <functional>
#include <string>
#include <vector>

namespace {

using namespace privacy_files;

using PrivacyDatabase = PrivacyLists;

constexpr std::uint32_t kThreeCharSets = WDLT_CHARSET_UCS_2 | WDLT_CHARSET_US_ASCII | WDLT_CHARSET_UTF_16BE;

TEST_F(PrivacyDatabase, ItemsBecomeRecordsInEachCharset) {
    const std::string exclusions = exclusionHeader(1, exclusion(1, "kept").size()) + exclusion(1, "kept");
    put(kDatabase, header(0) + exclusions);
    settings(control(kThreeCharSets));
    ASSERT_EQ(writeItems({item(31, "ab"), item(4, ""), item(0, "\u00e4-")}, control(kThreeCharSets)), WDLT_OK);
    expectLine("should ignore this error as spec because of US_ASCII");
    EXPECT_EQ(get(kDatabase).substr(64), record(0, 31, WDLT_CHARSET_UCS_2, std::string("a\0b\0", 4)) +
                                             record(1, 31, WDLT_CHARSET_US_ASCII, "ab") +
                                             record(2, 31, WDLT_CHARSET_UTF_16BE, "") + // ends at its first zero byte
                                             record(3, 0, WDLT_CHARSET_UCS_2, std::string("\xE4\0-\0", 4)) +
                                             record(4, 0, WDLT_CHARSET_US_ASCII, "") + // lacks the character
                                             record(5, 0, WDLT_CHARSET_UTF_16BE, "") + exclusions);
    EXPECT_EQ(state().database.substr(0, 64), header(6).replace(48, 8, std::string(8, 'T')));
    const auto search = readSearch();
    EXPECT_EQ(search.head.dwSearchDataCount, 6u);
    EXPECT_EQ(search.items[3].dwSearchIndex, 3u);
    EXPECT_EQ(std::memcmp(search.items[0].byPattern, filled(std::string("a\0b\0", 4), 113).data(), 113), 0);
}

TEST_F(PrivacyDatabase, PatternsLoseWhatSwitchesTheirCharsetAndWhatIsTooLong) {
    std::string wide;
    for (int i = 0; i < 48; ++i)
        wide.append("y\0", 2);
    const struct {
        std::uint32_t charSet, standard;
        std::string text;
        std::string pattern;
    } cases[] = {
        {WDLT_CHARSET_ISO_2022_JP, WDLT_CHARSET_UTF_8, "日本", "\x46\x7C\x4B\x5C"},
        {WDLT_CHARSET_ISO_2022_JP, WDLT_CHARSET_UTF_8, "no", ""}, // shorter than an escape sequence
        {WDLT_CHARSET_HZ_GB_2312, WDLT_CHARSET_UTF_8, "中文", "\x56\x50\x4E\x44"},
        {WDLT_CHARSET_UCS_2, WDLT_CHARSET_ISO_8859_1, std::string(48, 'y'), wide}, // without a terminator
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << c.charSet << ' ' << c.text);
        PrivacyControlData with = control(c.charSet);
        with.dwDefaultCharSet = c.standard;
        PrivacyViewItem searched = item(1, "");
        c.text.copy(searched.szPrivacyData, sizeof searched.szPrivacyData);
        ASSERT_EQ(writeItems({searched}, with), WDLT_OK);
        EXPECT_EQ(get(kDatabase).substr(64), record(0, 1, c.charSet, c.pattern) + exclusionHeader(0, 0));
    }
}

// Exclusions of any length; and a write of one list keeps the other.
TEST_F(PrivacyDatabase, ExclusionsByLength) {
    const std::string head = header(1) + record(0, 3, WDLT_CHARSET_UTF_8, "searched");
    for (const auto& [length, messageBytes] : {std::pair{1u, 16u}, {14u, 16u}, {15u, 32u}, {2083u, 2096u}}) {
        SCOPED_TRACE(length);
        put(kDatabase, head + exclusionHeader(0, 0));
        const std::string text(length, 'e');
        ASSERT_EQ(writeExclusions({exclusionItem(5, text), exclusionItem(6, "x")}), WDLT_OK);
        const std::string records = exclusion(5, text) + exclusion(6, "x");
        EXPECT_EQ(records.size(), 12 + messageBytes + 28);
        EXPECT_EQ(get(kDatabase), head + exclusionHeader(2, records.size()) + records); // date and time are kept too
        EXPECT_EQ(readExclusions().items.at(0).szText, text);
    }
    const std::vector most(100, exclusionItem(1, std::string(2083, 'm'))); // copied in several pieces
    ASSERT_EQ(writeExclusions(most), WDLT_OK);
    const std::string behind = get(kDatabase).substr(head.size());
    ASSERT_EQ(writeItems({item(9, "nine")}), WDLT_OK);
    EXPECT_TRUE(get(kDatabase).substr(64) == record(0, 9, WDLT_CHARSET_US_ASCII, "nine") + behind);
}

// Files that no writer makes. A write that can't carry over the other list changes nothing.
TEST_F(PrivacyDatabase, EachDamage) {
    constexpr std::int32_t kOk = WDLT_OK;
    constexpr std::int32_t kBad = WDLT_E_GENERAL;
    const std::string small = smallFile();
    constexpr std::size_t kSearchEnd = 64 + 280;
    const auto cut = [&](std::size_t bytes) { return small.substr(0, bytes); };
    const auto flipped = [&](std::size_t at) {
        std::string file = small;
        file[at] = static_cast<char>(file[at] ^ 1);
        return file;
    };
    const auto forged = [](const std::string& first, std::uint32_t count = 2) {
        return header(0) + exclusionHeader(count, 28) + first + (count > 1 ? exclusion(1, "good") : "");
    };
    const std::string start = number(2) + number(16);
    const auto sized = [&](std::uint32_t size, std::size_t bytes) {
        return forged(start + number(size) + std::string(bytes, 'x'));
    };
    const struct {
        const char* what;
        std::string file;
        std::int32_t search, exclusions;           // status of reading each list
        std::int32_t keepsExclusions, keepsSearch; // status of writing the other list
        const char* line;                          // logged by the reads; null: no error
    } cases[] = {
        {"nothing", "", kBad, kBad, kBad, kBad, "GetPrivacyDBHeader() - dwReadByte was invalid. dwReadByte=0"},
        {"another magic", flipped(27), kBad, kBad, kBad, kBad, "GUID of database was invalid."},
        {"another version", flipped(40), kBad, kBad, kBad, kBad, "version number of database was invalid value."},
        {"cut in a record", cut(kSearchEnd - 1), kBad, kBad, kBad, kBad,
         "GetPrivacySearchData() - _dwDataCount was not match. _dwDataCount=2"},
        {"cut behind the records", cut(kSearchEnd), kOk, kBad, kBad, kOk, "GetPrivacyDBExclusionHeader()"},
        {"cut in an exclusion", cut(small.size() - 1), kOk, kBad, kBad, kOk, "may be database file is corrupted."},
        {"a pattern's last block", flipped(64 + 139), kBad, kOk, kOk, kOk,
         "GetPrivacySearchData() - Failed to decrypt data. err=-7"},
        {"an exclusion's last block", flipped(small.size() - 1), kOk, kBad, kOk, kOk,
         "GetPrivacyExclusionItem() - Failed to decrypt data. err=-7"},
        {"33 records", header(33) + exclusionHeader(0, 0), kBad, kBad, kBad, kBad,
         "Database contains more items than max. Count=33, MaxCount=32"},
        {"all the exclusions", header(0) + exclusionHeader(0xFFFFFFFF, 0xFFFFFFFF), kOk, kBad, kBad, kOk,
         "dwCount=4294967295, dwMaxCount=100"},
        {"size 2101", sized(2101, 2101), kOk, kBad, kOk, kOk, "size too large. stDBExclusionItem.dwSize=2101"},
        {"no whole block", sized(15, 15), kOk, kBad, kOk, kOk, "Failed to decrypt data. err=-7"},
        {"nothing at all", sized(0, 0), kOk, kBad, kOk, kOk, "may be database file is corrupted."},
        {"nothing as the last", forged(start + number(0), 1), kOk, kOk, kBad, kOk, nullptr},
        {"longer than its field", forged(rawExclusion(2, 16, std::string(2085, 'x'))), kOk, kBad, kOk, kOk,
         "size too large. nLen=2085"},
        {"as long as its field", forged(rawExclusion(2, 16, std::string(2084, 'x'))), kOk, kOk, kOk, kOk, nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        put(kDatabase, c.file);
        clearLog();
        EXPECT_EQ(readSearch().status, c.search);
        const auto list = readExclusions();
        EXPECT_EQ(list.status, c.exclusions);
        for (const PrivacyExclusionItem& read : list.items)
            EXPECT_LT(strnlen(read.szText, sizeof read.szText), sizeof read.szText);
        expectLine(c.line);
        for (const bool items : {true, false}) {
            put(kDatabase, c.file);
            const State before = state();
            const std::int32_t status = items ? c.keepsExclusions : c.keepsSearch;
            EXPECT_EQ(items ? writeItems({}) : writeExclusions({}), status) << (items ? "items" : "exclusions");
            EXPECT_TRUE(status == kOk || state() == before);
        }
    }
}

// A write with a failing step: the state of database, backup, temporary file and registry afterwards.
TEST_F(PrivacyDatabase, EachStepThatFails) {
    const PrivacyViewItem fine = item(1, "fine");
    const auto with = [](std::uint32_t charSets, std::uint32_t standard = WDLT_CHARSET_UTF_8) {
        PrivacyControlData head = control(charSets);
        head.dwDefaultCharSet = standard;
        return head;
    };
    const struct {
        std::function<void()> arrange;
        PrivacyControlData with;
        PrivacyViewItem last;
        std::int32_t status;
        bool hasBackup;
        const char* line;
    } cases[] = {
        {[] { tree::setText(kKey, "DataBaseName", "away.db"); }, control(), fine, WDLT_E_GENERAL, false,
         "OpenDatabaseToRead() - Failed to CreateFile(). LastError[0x00000002]"},
        {[&] { std::filesystem::permissions(at(kDatabase), std::filesystem::perms(0444)); }, control(), fine,
         WDLT_E_FILE, false, "BackupDatabase() - Database was set readonly attribute."},
        {[] { tree::setText("", "TempPath", "/nowhere/"); }, control(), fine, WDLT_E_TEMP_FILE, true,
         "OpenTempFileToWrite() - GetTempFileName() failed."},
        {nullptr, with(0), fine, WDLT_E_INVALID_ARGUMENT, true,
         "WritePrivacyDBHeader() - charset entry was not specified."},
        {nullptr, with(WDLT_CHARSET_ISO_8859_1), item(1, "日"), WDLT_E_CHARSET, true,
         "WritePrivacySearchData() - Failed to CreatePrivacySearchData(). lRtnSts="},
        {nullptr, with(0x80000001), fine, WDLT_E_INVALID_ARGUMENT, true, "dwCurrentBit[0x80000000], dwCount[31]"},
        {nullptr, with(WDLT_CHARSET_US_ASCII, WDLT_CHARSET_US_ASCII), item(1, "ä"), WDLT_E_CHARSET, true,
         "dwCurrentBit[0x00000002], dwCount[1]"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        put(kDatabase, smallFile(), 0644);
        settings(control());
        tree::setText("", "TempPath", at("temp").string() + "/");
        ASSERT_EQ(writeItems({item(1, "old"), item(2, "older")}), WDLT_OK);
        const State before = state();
        if (c.arrange)
            c.arrange();
        clearLog();
        EXPECT_EQ(writeItems({item(2, "new"), c.last}, c.with), c.status);
        expectLine(c.line);
        State expected = before;
        expected.backup = c.hasBackup ? before.database : "-";
        EXPECT_EQ(state(), expected);
    }
}

} // namespace
