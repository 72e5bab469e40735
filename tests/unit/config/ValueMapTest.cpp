// The row engine: each thing that a row can say, tried on a small record over the real store.
#include "ValueMap.h"

#include "LogFile.h"
#include "RegistryIO.h"
#include "Tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>

namespace {

using namespace wdlt;
using testing::ElementsAre;
using testing::IsEmpty;

struct Sample {
    std::uint16_t small;
    DWORD first;
    DWORD second;
    char name[8];
    char folder[8];
};

class SampleHelper final : public WdchHelper {
  public:
    SampleHelper() {
        store = std::make_unique<CRegistryIO>();
        protocol = 10000;
    }
    std::int32_t ReadConfig(std::uint64_t, void*, std::uint64_t*) override { return WDLT_E_GENERAL; }
    std::int32_t WriteConfig(std::uint64_t, void*, std::uint64_t) override { return WDLT_E_GENERAL; }
};

std::vector<std::string> g_told;

constexpr ValueReport kReport{
    .readFailed =
        [](DWORD level, const char* field, std::int32_t status) {
            g_told.push_back(std::to_string(level) + " read " + field + " " + std::to_string(status));
        },
    .writeFailed =
        [](const char* field, std::int32_t status) {
            g_told.push_back(std::string("write ") + field + " " + std::to_string(status));
        },
    .defaultUsed =
        [](DWORD level, const char* field, std::int32_t status) {
            g_told.push_back(std::to_string(level) + " default " + field + " " + std::to_string(status));
        },
};

class ValueMap : public testing::Test {
  protected:
    void SetUp() override {
        tree::clear();
        g_told.clear();
        tree::setNumber("", "Present", 7); // the key is there
    }

    template <std::size_t Count>
    std::int32_t read(const ValueRow<Sample> (&rows)[Count], const Sample* defaults = nullptr) {
        record = {};
        return readValues(access, rows, record, defaults);
    }

    SampleHelper helper;
    ValueAccess access{helper, kReport};
    Sample record{};
};

TEST_F(ValueMap, AFailureEndsTheRecordUnlessItsRowCoversIt) {
    constexpr ValueRow<Sample> kRows[] = {
        number<&Sample::first>("Present"),
        number<&Sample::second>("Missing").whenAbsent(80),
        text<&Sample::name>("MissingText").whenUnreadable("dflt"),
        number<&Sample::small>("Required").named("small"),
        text<&Sample::folder>("NeverReached").whenAbsent("no"),
    };
    EXPECT_EQ(read(kRows), WDLT_E_NOT_FOUND);
    EXPECT_EQ(record.first, 7u);
    EXPECT_EQ(record.second, 80u);
    EXPECT_STREQ(record.name, "dflt");
    EXPECT_STREQ(record.folder, "");
    EXPECT_THAT(g_told, ElementsAre("256 read MissingText -16", "256 read small -16"));
}

TEST_F(ValueMap, AnAbsentValueAndAnotherFailureAreDifferentThings) {
    tree::setText("", "Long", "longer than four bytes");
    constexpr ValueRow<Sample> kOnlyAbsent[] = {number<&Sample::first>("Long").whenAbsent(80)};
    constexpr ValueRow<Sample> kAny[] = {number<&Sample::first>("Long").whenUnreadable(81, kAsTrace)};
    constexpr ValueRow<Sample> kStops[] = {number<&Sample::first>("Long").failsAtLevel(kAsTrace)};
    EXPECT_EQ(read(kOnlyAbsent), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(read(kAny), WDLT_OK);
    EXPECT_EQ(record.first, 81u);
    EXPECT_EQ(read(kStops), WDLT_E_BUFFER_SIZE);
    EXPECT_THAT(g_told, ElementsAre("256 read Long -2", "16 read Long -2", "16 read Long -2"));

    // No key at all: not the same as no value in it.
    helper.scan = 1;
    EXPECT_EQ(read(kOnlyAbsent), WDLT_E_REGISTRY);
}

TEST_F(ValueMap, ARecordOfDefaultsComesBeforeARowsOwn) {
    constexpr ValueRow<Sample> kRows[] = {
        number<&Sample::first>("Missing").orDefaults(kAsTrace).onRead(clampedTo<1, 6>),
        number<&Sample::second>("Missing2").orDefaults(kQuietly).whenUnreadable(30, kQuietly).onRead(atLeast<1>),
    };
    const Sample defaults{.small = 0, .first = 9, .second = 0, .name = "", .folder = ""};
    EXPECT_EQ(read(kRows, &defaults), WDLT_OK);
    EXPECT_EQ(record.first, 6u);
    EXPECT_EQ(record.second, 1u);
    EXPECT_THAT(g_told, ElementsAre("16 default Missing -16"));

    g_told.clear();
    EXPECT_EQ(read(kRows), WDLT_E_NOT_FOUND);
    EXPECT_THAT(g_told, ElementsAre("256 read Missing -16"));
}

TEST_F(ValueMap, AReplacedCodeHidesTheStores) {
    ValueReport report = kReport;
    report.readCode = WDLT_E_REGISTRY;
    report.writeCode = WDLT_E_GENERAL;
    const ValueAccess replaced{helper, report};
    constexpr ValueRow<Sample> kRows[] = {number<&Sample::first>("Missing").namedOnWrite("misspelt")};
    constexpr ValueRow<Sample> kOpenRows[] = {number<&Sample::first>("Open").withStoresCodeOnWrite()};
    EXPECT_EQ(readValues(replaced, kRows, record), WDLT_E_REGISTRY);
    helper.protocol = 5; // a path that the registry refuses
    EXPECT_EQ(writeValues(replaced, kRows, record), WDLT_E_GENERAL);
    EXPECT_EQ(writeValues(replaced, kOpenRows, record), WDLT_E_REGISTRY);
    EXPECT_THAT(g_told, ElementsAre("256 read Missing -16", "write misspelt -9", "write Open -9"));
}

TEST_F(ValueMap, NumbersFollowTheirRules) {
    EXPECT_EQ(ceiling<10>(10), 10u);
    EXPECT_EQ(ceiling<10>(11), 10u);
    EXPECT_EQ((orElseOutside<100, 10000, 2000>(99)), 2000u);
    EXPECT_EQ((orElseOutside<100, 10000, 2000>(10000)), 10000u);
    EXPECT_EQ(exactlyOne(2), 0u);

    tree::setNumber("", "Small", 70000);
    constexpr ValueRow<Sample> kRows[] = {
        number<&Sample::small>("Small"),
        number<&Sample::first>("Present").onRead(asFlag).onWrite(inverted),
        number<&Sample::second>("Second").whenAbsent(9).onWriteAndInRecord(ceiling<5>),
    };
    EXPECT_EQ(read(kRows), WDLT_OK);
    EXPECT_EQ(record.small, 4464); // the low 16 bits
    EXPECT_EQ(record.first, 1u);

    EXPECT_EQ(writeValues(access, kRows, record), WDLT_OK);
    EXPECT_EQ(tree::number("", "Small"), 4464u);
    EXPECT_EQ(tree::number("", "Present"), 0u);
    EXPECT_EQ(record.first, 1u); // the rule is for the stored number alone
    EXPECT_EQ(tree::number("", "Second"), 5u);
    EXPECT_EQ(record.second, 5u);
}

TEST_F(ValueMap, AStoredTextFitsItsFieldOrFails) {
    constexpr ValueRow<Sample> kWhole[] = {text<&Sample::name>("Text")};
    constexpr ValueRow<Sample> kLimited[] = {text<&Sample::name>("Text", 4)};
    constexpr ValueRow<Sample> kCut[] = {text<&Sample::name>("Text").cutWhenTooLong()};
    using std::string_literals::operator""s;
    const struct {
        std::string stored;
        std::int32_t whole;
        std::string wholeText;
        std::int32_t limited;
        std::string cutText;
    } cases[] = {
        {"abc\0"s, WDLT_OK, "abc", WDLT_OK, "abc"},
        {"abcd"s, WDLT_OK, "abcd", WDLT_E_BUFFER_SIZE, "abcd"}, // stored with a terminator
        {"1234567\0"s, WDLT_OK, "1234567", WDLT_E_BUFFER_SIZE, "1234567"},
        {"12345678"s, WDLT_E_BUFFER_SIZE, "", WDLT_E_BUFFER_SIZE, "1234567"},
        {"123456789\0"s, WDLT_E_BUFFER_SIZE, "", WDLT_E_BUFFER_SIZE, "1234567"},
        {"a\0b"s, WDLT_OK, "a", WDLT_OK, "a"},
        {""s, WDLT_OK, "", WDLT_OK, ""},
    };
    for (const auto& c : cases) {
        tree::set("", "Text", REG_SZ, c.stored.data(), static_cast<DWORD>(c.stored.size()));
        EXPECT_EQ(read(kWhole), c.whole) << c.stored;
        EXPECT_EQ(std::string(record.name, sizeof record.name),
                  c.wholeText + std::string(8 - c.wholeText.size(), '\0'));
        EXPECT_EQ(read(kLimited), c.limited) << c.stored;
        EXPECT_EQ(read(kCut), WDLT_OK) << c.stored;
        EXPECT_STREQ(record.name, c.cutText.c_str());
    }
}

TEST_F(ValueMap, FoldersAndFileNames) {
    constexpr ValueRow<Sample> kRows[] = {
        text<&Sample::folder>("Folder").folder(),
        text<&Sample::name>("File").fileName(),
    };
    const struct {
        const char *storedFolder, *folder, *storedFile, *file;
    } cases[] = {
        {"C:\\t", "C:\\t\\", "a\\b", "b"},
        {"C:\\t\\", "C:\\t\\", "b", "b"},
        {"1234567", "1234567", "a\\", ""}, // no room for a backslash
        {"", "", "", ""},
    };
    for (const auto& c : cases) {
        tree::setText("", "Folder", c.storedFolder);
        tree::setText("", "File", c.storedFile);
        EXPECT_EQ(read(kRows), WDLT_OK);
        EXPECT_STREQ(record.folder, c.folder);
        EXPECT_STREQ(record.name, c.file);
    }

    std::strcpy(record.name, "x/y\\z");
    EXPECT_EQ(writeValues(access, kRows, record), WDLT_OK);
    EXPECT_EQ(tree::storedText("", "File"), std::string("z\0", 2));
    EXPECT_STREQ(record.name, "z");
}

TEST_F(ValueMap, AnotherValueStandsIn) {
    constexpr ValueRow<Sample> kRows[] = {text<&Sample::name>("Own").orValue("Shared")};
    EXPECT_EQ(read(kRows), WDLT_E_NOT_FOUND);
    tree::setText("", "Shared", "shared");
    EXPECT_EQ(read(kRows), WDLT_OK);
    EXPECT_STREQ(record.name, "shared");
    tree::setText("", "Own", "own");
    EXPECT_EQ(read(kRows), WDLT_OK);
    EXPECT_STREQ(record.name, "own");
    EXPECT_THAT(g_told, ElementsAre("256 read Own -16"));
}

TEST_F(ValueMap, AWriteStopsAtItsFirstFailureAndKeepsWhatCameBefore) {
    // The second value changes what the path of the third leans on.
    tree::setNumber("ProtocolHandler\\H", "Type", 1);
    helper.protocol = 10001;
    constexpr ValueRow<Sample> kRows[] = {
        text<&Sample::name>("Filename").withoutTerminator(),
        number<&Sample::first>("Type"),
        number<&Sample::second>("Enable"),
        text<&Sample::folder>("Scan"),
    };
    record = {.small = 0, .first = 4, .second = 1, .name = "file", .folder = "F"};
    EXPECT_EQ(writeValues(access, kRows, record), WDLT_E_GENERAL);
    EXPECT_THAT(g_told, ElementsAre("write Enable -1"));
    EXPECT_EQ(tree::storedText("ProtocolHandler\\H", "Filename"), std::string("file\0", 5));
    EXPECT_EQ(tree::number("ProtocolHandler\\H", "Type"), 4u);
    EXPECT_FALSE(tree::get("ProtocolHandler\\H", "Enable"));
    EXPECT_FALSE(tree::get("ProtocolHandler\\H", "Scan"));
}

TEST_F(ValueMap, ATextWithoutATerminatorStopsAWriteBeforeItsFirstValue) {
    constexpr ValueRow<Sample> kRows[] = {number<&Sample::first>("First"), text<&Sample::name>("Text", 4),
                                          text<&Sample::folder>("Kept").notWritten()};
    std::memcpy(record.folder, "12345678", 8); // of a row that isn't written
    std::memcpy(record.name, "12345678", 8);
    EXPECT_EQ(writeValues(access, kRows, record), WDLT_E_INVALID_ARGUMENT);
    EXPECT_FALSE(tree::get("", "First"));
    EXPECT_THAT(g_told, ElementsAre("write Text -3"));
    std::memcpy(record.name, "1234567", 8); // longer than can be read back, but with its end
    EXPECT_EQ(writeValues(access, kRows, record), WDLT_OK);
    EXPECT_EQ(tree::storedText("", "Text"), std::string("1234567\0", 8));
    EXPECT_FALSE(tree::get("", "Kept"));
}

TEST(CallersRecord, HandsBackWhatWasChangedAndNothingElse) {
    alignas(4) unsigned char callers[1 + sizeof(Sample)] = {};
    {
        CallersRecord<Sample> record(callers + 1);
        record->second = 0x01020304;
        callers[1 + offsetof(Sample, first)] = 7; // by another thread meanwhile
    }
    Sample after;
    std::memcpy(&after, callers + 1, sizeof after);
    EXPECT_EQ(after.second, 0x01020304u);
    EXPECT_EQ(after.first, 7u);
}

TEST_F(ValueMap, ProtectedTextsGoThroughTheHelpersCipher) {
    class Reversed final : public ProtectedValues {
      public:
        std::map<std::string, std::string> values;
        std::int32_t read(const char* name, std::span<char> field) override {
            const auto at = values.find(name);
            if (at == values.end())
                return WDLT_E_NOT_FOUND;
            if (at->second.size() > field.size())
                return WDLT_E_BUFFER_SIZE;
            std::reverse_copy(at->second.begin(), at->second.end(), field.begin());
            return WDLT_OK;
        }
        std::int32_t write(const char* name, std::string_view content) override {
            values[name] = std::string(content.rbegin(), content.rend());
            return WDLT_OK;
        }
    } cipher;
    const ValueAccess ciphered{helper, kReport, &cipher};
    constexpr ValueRow<Sample> kRows[] = {protectedText<&Sample::name>("Secret", 7).whenAbsent("")};
    std::strcpy(record.name, "stale");
    EXPECT_EQ(readValues(ciphered, kRows, record), WDLT_OK);
    EXPECT_STREQ(record.name, "");
    std::strcpy(record.name, "secret");
    EXPECT_EQ(writeValues(ciphered, kRows, record), WDLT_OK);
    EXPECT_EQ(cipher.values["Secret"], "terces");
    record = {};
    EXPECT_EQ(readValues(ciphered, kRows, record), WDLT_OK);
    EXPECT_STREQ(record.name, "secret");
    cipher.values["Secret"] = "12345678"; // over the limit of 7
    EXPECT_EQ(readValues(ciphered, kRows, record), WDLT_E_BUFFER_SIZE);
    EXPECT_STREQ(record.name, "");
}

} // namespace
