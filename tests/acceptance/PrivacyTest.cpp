// The lists of privacy items and exclusions: what is stored where, limits, the results of bad input and settings,
// change notifications, and mutual exclusion of accesses.
#include "FakeService.h"
#include "ListReads.h"
#include "PrivacyLists.h"

#include <gmock/gmock.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace privacy_files;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr Change kPrivacyChange{0, WDLT_SCAN_PRIVACY};

class PrivacyItems : public PrivacyLists {
  protected:
    std::int32_t writeAll(const std::vector<PrivacyViewItem>& items) {
        return WDLT_CALL(library, WdltPdpWriteItemList)(items.data(), static_cast<std::int32_t>(items.size()));
    }
    std::int32_t writeAll(const std::vector<PrivacyExclusionItem>& items) {
        return WDLT_CALL(library, WdltPdpWriteExItemList)(items.data(), static_cast<std::int32_t>(items.size()));
    }
};

TEST_F(PrivacyItems, ItemsAreKeptByTheirPlace) {
    PrivacyViewItem longest = item(3, std::string(47, 'd'), std::string(35, 'n'));
    privacy_files::put(longest.szDescription, std::string(67, 'D'));
    ASSERT_EQ(writeItems({longest, item(31, ""), item(0, "x"), item(1, "y")}), WDLT_OK);
    EXPECT_EQ(tree::number(kKey, "ItemIndex00"), 3u);
    EXPECT_EQ(tree::number(kKey, "ScanTarget01"), 310u);
    EXPECT_EQ(tree::get(kKey, "PrivacyData00")->data, message(std::string(32, 'd'))); // the rest is only in the pattern
    EXPECT_EQ(patternOf(readSearch().items[0]), std::string(47, 'd'));
    const auto list = readItems();
    EXPECT_STREQ(list.head.szBackUpDBName, "pdp.bak");
    privacy_files::put(longest.szPrivacyData, std::string(32, 'd'));
    EXPECT_EQ(std::memcmp(&list.items.at(0), &longest, sizeof longest), 0);

    ASSERT_EQ(writeItems({item(9, "z"), item(8, "y")}), WDLT_OK); // no leftovers of the longer list
    EXPECT_EQ(state().values.size(), 1u + 2 * 5);
    ASSERT_EQ(writeItems({}), WDLT_OK);
    EXPECT_EQ(state().values.size(), 1u);
}

TEST_F(PrivacyItems, ListsAreReadAsFarAsThereIsRoom) {
    ChangeListener service;
    ASSERT_EQ(writeAll(std::vector{item(3, "4711"), item(31, ""), item(7, "0815")}), WDLT_OK);
    ASSERT_EQ(writeAll(std::vector{exclusionItem(5, "a"), exclusionItem(4, "b"), exclusionItem(2, "c")}), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kPrivacyChange, kPrivacyChange));
    expectReadAsFarAsThereIsRoom(
        WDLT_CALL(library, WdltPdpReadItemList), item(9, ""), [](const auto& read) { return read.dwItemIndex; },
        std::vector{3u, 31u, 7u});
    expectReadAsFarAsThereIsRoom(
        WDLT_CALL(library, WdltPdpReadExItemList), exclusionItem(9, ""),
        [](const auto& read) { return read.dwExclusionId; }, std::vector{5u, 4u, 2u});
}

TEST_F(PrivacyItems, SizesAreToldBeforeAnythingIsLookedAt) {
    const Handle somebody = makeMutex(kPresence);
    std::uint64_t size = 0;
    EXPECT_EQ(readInto(WDLT_CONFIG_PRIVACY_ITEMS, nullptr, size), WDLT_E_BUFFER_SIZE); // needs only the settings
    EXPECT_EQ(size, 32u * 160 + 60);
    size = 0;
    tree::setNumber(kKey, "CharSetEntry", 0x80000007); // three charsets: the highest bit isn't one
    EXPECT_EQ(readInto(WDLT_CONFIG_PRIVACY_SEARCH, nullptr, size), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(size, 3 * 32u * 140 + 64);
    size = 0;
    EXPECT_EQ(readInto(4, nullptr, size), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(readInto(WDLT_CONFIG_PRIVACY_EXCLUSIONS, nullptr, size), WDLT_E_GENERAL); // needs the file
    expectLine("*** CEnginePDPCommon::ReadConfig() - Failed to CheckGlobalMutex().");
}

// Each setting, missing or wrong: the status of reading both lists and of writing items.
TEST_F(PrivacyItems, SettingsHaveNoDefaultsAndItemsMayBeDamaged) {
    constexpr std::int32_t kMissing = WDLT_E_NOT_FOUND;
    constexpr std::int32_t kGeneral = WDLT_E_GENERAL;
    const struct {
        const char* name;
        std::optional<std::string> data; // nullopt: the value is missing
        DWORD type;
        std::int32_t items, exclusions, writes;
        const char* line;
    } cases[] = {
        {"CharSetEntry", {}, 0, kGeneral, WDLT_OK, WDLT_OK, "Failed to ReadValue() for charset entry. lRtnSts=-16"},
        {"AccessRetryCount", {}, 0, kGeneral, kGeneral, kGeneral, "for retry access count of DB. lRtnSts=-16"},
        {"ItemEntryMax", {}, 0, kMissing, kMissing, kMissing, "of max count of item entry. lRtnSts=-16"},
        {"ItemEntryMax", number(0), REG_DWORD, kGeneral, kGeneral, WDLT_OK, "dwRegValue was invalid value."},
        {"ItemEntryCount", {}, 0, kGeneral, WDLT_OK, kMissing, "of old count of item entry. lRtnSts=-16"},
        {"ItemEntryCount", number(33), REG_DWORD, kGeneral, WDLT_OK, kMissing,
         "There are more items than max. Count=33, MaxCount=32"},
        {"ItemEntryCount", number(2), REG_DWORD, kMissing, WDLT_OK, kMissing,
         "Failed to ReadValue() for item index. lRtnSts=-16, entry name=ItemIndex01"},
        {"ItemName00", std::string(36, 'x'), REG_SZ, WDLT_E_BUFFER_SIZE, WDLT_OK, WDLT_OK, "for item name. lRtnSts=-2"},
        {"ItemName00", "unterminated", REG_SZ, WDLT_OK, WDLT_OK, WDLT_OK, ""},
        {"PrivacyData00", std::string(48, 'x'), REG_BINARY, kGeneral, WDLT_OK, WDLT_OK,
         "Failed to decrypt data. err=-7"},
        {"PrivacyData00", std::string(64, 'x'), REG_BINARY, WDLT_E_BUFFER_SIZE, WDLT_OK, WDLT_OK,
         "for privacy data. lRtnSts=-2"},
        {"PrivacyData00", message(std::string(47, 'l')), REG_BINARY, WDLT_OK, WDLT_OK, WDLT_OK, ""},
        {"DataBaseName", "fifteen bytes!!", REG_SZ, kGeneral, WDLT_E_BUFFER_SIZE, WDLT_E_BUFFER_SIZE,
         "OpenDatabaseToRead() - Failed to ReadValue() for Database name"},
        {"BackUpDBName", {}, 0, kGeneral, WDLT_OK, WDLT_OK, "for backup Database name. lRtnSts=-16"},
        {"ExclusionItemMax", "12345", REG_BINARY, WDLT_OK, WDLT_E_BUFFER_SIZE, WDLT_OK, "lRtnSts=-2"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.name << ' ' << c.data.value_or("missing"));
        settings(control());
        tree::deleteValue(kKey, "ExclusionItemMax");
        ASSERT_EQ(writeItems({item(1, "x")}), WDLT_OK);
        if (c.data)
            tree::set(kKey, c.name, c.type, *c.data);
        else
            tree::deleteValue(kKey, c.name);
        const auto list = readItems();
        EXPECT_EQ(list.status, c.items);
        EXPECT_TRUE(list.items.empty() || strnlen(list.items[0].szPrivacyData, 48) <= 32);
        EXPECT_EQ(readExclusions().status, c.exclusions);
        EXPECT_EQ(writeItems({}), c.writes);
        expectLine(c.line);
    }
}

// Invalid input from a caller: nothing changes, not even a backup is made, and the service isn't notified.
TEST_F(PrivacyItems, BadItemsChangeNothing) {
    using Head = PrivacyControlData;
    using Items = std::vector<PrivacyViewItem>;
    const auto fill = [](auto& field) { std::memset(field, 'f', sizeof field); };
    constexpr const char* kNames = "Database names were invalid.";
    const struct {
        std::function<void(Head&, Items&)> forge;
        std::int32_t status;
        const char* line;
    } cases[] = {
        {[](Head& head, Items&) { head.dwItemEntryCount = 0xFFFFFFFF; }, WDLT_E_BUFFER_SIZE,
         "specified write size was not match. _size=380, sizeRead="},
        {[](Head& head, Items& items) { items.resize(head.dwItemEntryCount = 33); }, WDLT_E_INVALID_ARGUMENT,
         "Trying to write more items than max. Count=33, MaxCount=32"},
        {[](Head&, Items& items) { items[1].dwItemIndex = 32; }, WDLT_E_INVALID_ARGUMENT,
         "Item index was too big. Index=32"},
        {[](Head&, Items& items) { items[1].dwItemIndex = 0; }, WDLT_E_INVALID_ARGUMENT,
         "Item index has duplication. Index=0"},
        {[&](Head&, Items& items) { fill(items[1].szItemName); }, WDLT_E_INVALID_ARGUMENT,
         "Item text has no terminator. Index=5"},
        {[&](Head&, Items& items) { fill(items[0].szDescription); }, WDLT_E_INVALID_ARGUMENT,
         "Item text has no terminator. Index=0"},
        {[&](Head& head, Items&) { fill(head.szDataBaseName); }, WDLT_E_INVALID_ARGUMENT, kNames},
        {[](Head& head, Items&) { privacy_files::put(head.szDataBaseName, "../pdp.db"); }, WDLT_E_INVALID_ARGUMENT,
         kNames},
        {[](Head& head, Items&) { privacy_files::put(head.szBackUpDBName, "x\\pdp.bak"); }, WDLT_E_INVALID_ARGUMENT,
         kNames},
        {[](Head& head, Items&) { privacy_files::put(head.szBackUpDBName, "pdp.db"); }, WDLT_E_INVALID_ARGUMENT,
         kNames},
    };
    ASSERT_EQ(writeItems({item(1, "old"), item(2, "older")}), WDLT_OK);
    ChangeListener service;
    const State before = state();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        Head head = control();
        Items items{item(0, "new"), item(5, "newer")};
        head.dwItemEntryCount = 2;
        c.forge(head, items);
        EXPECT_EQ(write(WDLT_CONFIG_PRIVACY_ITEMS, bufferOf<Head, PrivacyViewItem>(head, items)), c.status);
        EXPECT_EQ(state(), before);
        expectLine(c.line);
    }
    const std::vector<char> none(60);
    EXPECT_EQ(write(2, none), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(write(WDLT_CONFIG_PRIVACY_ITEMS, none), WDLT_E_BUFFER_SIZE); // one byte short
    const std::vector many(33, item(1, "x"));
    EXPECT_EQ(WDLT_CALL(library, WdltPdpWriteItemList)(many.data(), -1), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(writeAll(many), WDLT_E_INVALID_ARGUMENT);
    expectLine("CFuncPdp::ItemListWrite(): count 33 exceeds the maximum 32");
    EXPECT_EQ(state(), before);
    EXPECT_THAT(service.heard(), IsEmpty());
    const Head head = control();
    EXPECT_EQ(write(WDLT_CONFIG_DEFAULT, bufferOf(head, Items{})), WDLT_OK); // the default type means items
    EXPECT_EQ(state().values.size(), 1u);
}

TEST_F(PrivacyItems, BadExclusionsChangeNoDatabase) {
    ASSERT_EQ(writeExclusions({exclusionItem(1, "old")}), WDLT_OK);
    const std::string before = get(kDatabase);
    const std::vector hundred(100, exclusionItem(1, "x"));
    PrivacyExclusionItem endless = exclusionItem(2, "");
    std::memset(endless.szText, 'e', sizeof endless.szText);
    const struct {
        std::vector<PrivacyExclusionItem> items; // after a valid one
        const char* line;
    } cases[] = {
        {{exclusionItem(2, "")}, "Exclusion item size is zero."},
        {{endless}, "Exclusion item has no terminator."},
        {{exclusionItem(2, "x", 8)}, "Scan Target not supported. dwScanTarget=0x00000008"},
        {hundred, "Trying to write more exclusion items than max. dwExclusionCount=101, dwMaxCount=100"},
    };
    for (const auto& c : cases) {
        std::vector<PrivacyExclusionItem> items = c.items;
        items.insert(items.begin(), exclusionItem(1, "good"));
        EXPECT_EQ(writeExclusions(items), WDLT_E_INVALID_ARGUMENT);
        EXPECT_EQ(get(kDatabase), before);
        EXPECT_TRUE(state().temporary.empty());
        expectLine(c.line);
    }
    std::vector<char> buffer = bufferOf({exclusionItem(1, "x")});
    buffer.pop_back();
    EXPECT_EQ(write(WDLT_CONFIG_PRIVACY_EXCLUSIONS, buffer), WDLT_E_INVALID_ARGUMENT);
    expectLine("*** CEnginePDPCommon::WriteConfigExclusionItems() - Invalid input buffer size.");
    EXPECT_EQ(get(kDatabase), before);

    EXPECT_EQ(writeAll(hundred), WDLT_OK); // removes the backup
    EXPECT_FALSE(std::filesystem::exists(at(kBackup)));
    tree::setNumber(kKey, "ExclusionItemMax", 99);
    EXPECT_EQ(readExclusions().status, WDLT_E_GENERAL);
    EXPECT_EQ(writeAll(hundred), WDLT_E_GENERAL); // a list that can't be read isn't overwritten
    EXPECT_GT(get(kDatabase).size(), 100u * 28);
}

// A write of items takes the file names from the caller's record, any other access from the settings.
TEST_F(PrivacyItems, NamesInTheSettingsAreBareWhateverStandsThere) {
    tree::setText(kKey, "DataBaseName", "..\\pdp.db");
    EXPECT_EQ(readExclusions().status, WDLT_OK);
    EXPECT_EQ(writeExclusions({exclusionItem(1, "x")}), WDLT_OK);
    EXPECT_STREQ(readItems().head.szDataBaseName, "pdp.db");
    PrivacyControlData elsewhere = control();
    privacy_files::put(elsewhere.szDataBaseName, "other.db");
    put("install/other.db", "anything");
    EXPECT_EQ(writeItems({item(1, "x")}, elsewhere), WDLT_OK);
    EXPECT_EQ(get("install/other.db").size(), 64u + 140 + 8 + 28);
}

TEST_F(PrivacyItems, AccessesKeepEachOtherOut) {
    const auto expectAll = [&](std::int32_t status) {
        EXPECT_EQ(readItems().status, status);
        EXPECT_EQ(readExclusions().status, status);
        EXPECT_EQ(writeItems({}), status);
        EXPECT_EQ(writeExclusions({}), status);
    };
    for (const char* const name : {"Local__PRIVACY_DATA_PROTECTION_CONFIG_MUTEX", kPresence}) {
        const Handle somebody = makeMutex(name);
        expectAll(WDLT_E_GENERAL);
    }
    tree::setNumber(kKey, "AccessRetryCount", 0xFFFFFFFF); // plus one it wraps to no tries
    expectAll(WDLT_E_GENERAL);
    tree::setNumber(kKey, "AccessRetryCount", 0);
    tree::setNumber(kKey, "AccessWaitTime", 0xFFFFFFFF);
    expectAll(WDLT_OK); // a single try never waits
}

TEST_F(PrivacyItems, ItemsAreTriedOut) {
    constexpr auto kBad = static_cast<std::uint32_t>(WDLT_E_ITEM_CONVERSION);
    const std::vector<PrivacyViewItem> items{item(1, "fine"), item(1, "\xE6\x97\xA5"), item(99, ""),
                                             item(2, "\xC3\xA4"), item(3, "\xFF")};
    const struct {
        std::uint32_t charSets, standard;
        std::vector<std::uint32_t> results;
    } cases[] = {
        {WDLT_CHARSET_US_ASCII | WDLT_CHARSET_UTF_8 | WDLT_CHARSET_ISO_8859_1,
         WDLT_CHARSET_UTF_8,
         {0, kBad, 0, 0, kBad}}, // characters that us-ascii lacks are ignored
        {WDLT_CHARSET_US_ASCII, WDLT_CHARSET_US_ASCII, {0, kBad, 0, kBad, kBad}},
        {0x40000000, WDLT_CHARSET_UTF_8, {kBad, kBad, 0, kBad, kBad}}, // not a charset
    };
    const Handle somebody = makeMutex(kPresence); // another access, which doesn't matter here
    const auto verify = WDLT_CALL(library, WdltPdpVerifyItems);
    std::vector<std::uint32_t> results(5);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.charSets);
        PrivacyControlData with = control(c.charSets);
        with.dwDefaultCharSet = c.standard;
        settings(with);
        const State before = state();
        EXPECT_EQ(verify(items.data(), 5, results.data()), WDLT_OK);
        EXPECT_EQ(results, c.results);
        EXPECT_EQ(state(), before);
    }
}

TEST_F(PrivacyItems, EachProtocolKeepsItsNumber) {
    tree::setNumber("ProtocolHandler\\HTTP", "Type", 3);
    tree::setText("ProtocolHandler\\HTTP", "Scan", "HTTP");
    const auto read = [&](std::uint64_t type, std::uint32_t& value) {
        std::uint64_t size = sizeof value;
        return WDLT_CALL(library, WdltReadConfig)(3, WDLT_SCAN_PRIVACY, type, &value, &size);
    };
    const auto write = [&](std::uint64_t type, std::uint32_t value) {
        return WDLT_CALL(library, WdltWriteConfig)(3, WDLT_SCAN_PRIVACY, type, &value, sizeof value);
    };
    std::uint32_t stored = 0;
    EXPECT_EQ(read(WDLT_CONFIG_PRIVACY_TABLE_READ, stored), WDLT_E_REGISTRY);
    EXPECT_EQ(write(4, 1), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(write(WDLT_CONFIG_PRIVACY_TABLE_WRITE, 4711), WDLT_OK);
    EXPECT_EQ(read(WDLT_CONFIG_PRIVACY_TABLE_READ, stored), WDLT_OK);
    EXPECT_EQ(stored, 4711u);
    EXPECT_EQ(write(0xFFFFFFFFFFFFFFF8, 4712), WDLT_OK);
    EXPECT_EQ(tree::number("Scan\\HTTP\\PrivacyProtection\\config", "SearchTableIndex"), 4712u);
    EXPECT_EQ(read(WDLT_CONFIG_PRIVACY_TABLE_WRITE, stored), WDLT_E_INVALID_ARGUMENT);
}

} // namespace
