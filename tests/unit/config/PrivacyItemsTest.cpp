// The operations on privacy items and exclusions: sizes, limits, what stands where in the registry, what bad input
// gives, and how accesses keep each other out.
#include "EnginePDPCommon.h"
#include "GMutex.h"
#include "LogFile.h"
#include "PrivacyHelper.h"
#include "RegistryIO.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace privacy_files;
using testing::Each;

class Privacy : public PrivacyHelperTest {
  protected:
    LogFile log;
};

TEST_F(Privacy, ItemsAreKeptByTheirPlace) {
    PrivacyViewItem longest = item(3, std::string(32, 'd'), std::string(35, 'n'));
    put(longest.szDescription, std::string(67, 'D'));
    ASSERT_EQ(writeItems({longest, item(31, ""), item(0, "x")}), WDLT_OK);
    EXPECT_EQ(tree::number(kKey, "ItemIndex00"), 3u);
    EXPECT_EQ(tree::number(kKey, "ItemIndex01"), 31u);
    EXPECT_EQ(tree::number(kKey, "ScanTarget01"), 310u);
    EXPECT_EQ(tree::storedText(kKey, "ItemName02"), std::string("name\0", 5));
    EXPECT_EQ(tree::get(kKey, "PrivacyData00")->type, DWORD{REG_BINARY});
    EXPECT_EQ(tree::get(kKey, "PrivacyData00")->data, message(std::string(32, 'd')));
    EXPECT_EQ(tree::get(kKey, "PrivacyData01")->data, message(std::string(32, '\0')));
    const auto list = readItems();
    ASSERT_EQ(list.status, WDLT_OK);
    EXPECT_EQ(list.head.dwItemEntryCount, 3u);
    EXPECT_STREQ(list.head.szBackUpDBName, "pdp.bak");
    ASSERT_EQ(list.items.size(), 3u);
    EXPECT_EQ(std::memcmp(&list.items[0], &longest, sizeof longest), 0);
    EXPECT_STREQ(list.items[2].szPrivacyData, "x");
}

TEST_F(Privacy, AShorterListLeavesNothingBehind) {
    ASSERT_EQ(writeItems({item(0, "a"), item(1, "b"), item(2, "c"), item(3, "d"), item(4, "e")}), WDLT_OK);
    ASSERT_EQ(writeItems({item(9, "z"), item(8, "y")}), WDLT_OK);
    EXPECT_EQ(state().values.size(), 1u + 2 * 5);
    EXPECT_EQ(tree::number(kKey, "ItemIndex01"), 8u);
    ASSERT_EQ(writeItems({}), WDLT_OK);
    EXPECT_EQ(state().values.size(), 1u);
    EXPECT_EQ(get(kDatabase).substr(56), number(0) + number(0) + exclusionHeader(0, 0));
}

TEST_F(Privacy, TextBehindThe32ndByteIsSearchedForAndNotKept) {
    ASSERT_EQ(writeItems({item(1, std::string(47, 't'))}), WDLT_OK);
    EXPECT_EQ(readItems().items[0].szPrivacyData, std::string(32, 't'));
    EXPECT_EQ(patternOf(readSearch().items[0]), std::string(47, 't'));
}

TEST_F(Privacy, SizesAreToldBeforeAnythingIsLookedAt) {
    const CGMutex held; // nobody's yet
    CGMutex other;
    ASSERT_EQ(other.CreateGMutexEx("_PRIVACY_DATA_PROTECTION_CONFIG_MUTEX"), CGMutex::kCreated);
    std::uint64_t size = 0;
    EXPECT_EQ(readInto(1, nullptr, size), WDLT_E_BUFFER_SIZE); // by the settings alone
    EXPECT_EQ(size, 32u * 160 + 60);
    size = 0;
    tree::setNumber(kKey, "CharSetEntry", 0x80000007);
    EXPECT_EQ(readInto(2, nullptr, size), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(size, 3u * 32 * 140 + 64);
    size = 0;
    EXPECT_EQ(readInto(3, nullptr, size), WDLT_E_GENERAL); // the file knows
    EXPECT_TRUE(log.contains("*** CEnginePDPCommon::ReadConfig() - Failed to CheckGlobalMutex()."));
}

TEST_F(Privacy, ReadsThatCantBe) {
    std::vector<char> buffer(10000);
    std::uint64_t size = 100;
    EXPECT_EQ(readInto(1, nullptr, size), WDLT_E_INVALID_ARGUMENT);
    for (const std::uint64_t type : {std::uint64_t{0}, std::uint64_t{4}, std::uint64_t{1} << 32 | 1}) {
        size = buffer.size();
        EXPECT_EQ(readInto(type, buffer.data(), size), WDLT_E_INVALID_ARGUMENT);
    }
    size = 7;
    EXPECT_EQ(readInto(3, buffer.data(), size), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(size, 8u);
    EXPECT_EQ(readInto(3, buffer.data(), size), WDLT_OK);
    EXPECT_EQ(size, 8u);
    tree::setNumber(kKey, "ItemEntryCount", 33);
    EXPECT_EQ(readItems().status, WDLT_E_GENERAL);
    EXPECT_TRUE(log.contains("There are more items than max. Count=33, MaxCount=32"));
    tree::setNumber(kKey, "ItemEntryCount", 1);
    EXPECT_EQ(readItems().status, WDLT_E_NOT_FOUND); // of which no value is there
    EXPECT_TRUE(log.contains("Failed to ReadValue() for item index. lRtnSts=-16, entry name=ItemIndex00"));
    tree::setNumber(kKey, "ItemEntryMax", 0);
    for (const std::uint64_t type : {1u, 2u, 3u}) {
        size = 0;
        EXPECT_EQ(readInto(type, nullptr, size), WDLT_E_GENERAL);
    }
    EXPECT_TRUE(log.contains("*** CEnginePDPCommon::GetMaxBufferSize() - dwRegValue was invalid value."));
}

// Each value of the settings that is missing.
TEST_F(Privacy, SettingsHaveNoDefaults) {
    struct Case {
        const char* name;
        std::int32_t items; // status of a read
        std::int32_t exclusions;
        std::int32_t writes; // of the items
        const char* line;
    };
    constexpr std::int32_t kMissing = WDLT_E_NOT_FOUND;
    constexpr std::int32_t kGeneral = WDLT_E_GENERAL;
    const Case cases[] = {
        {"CharSetEntry", kGeneral, WDLT_OK, WDLT_OK, "Failed to ReadValue() for charset entry. lRtnSts=-16"},
        {"ExtCharSetEntry", kGeneral, WDLT_OK, WDLT_OK, "for charset extended entry. lRtnSts=-16"},
        {"DefaultCharSet", kGeneral, WDLT_OK, WDLT_OK, "for default charset. lRtnSts=-16"},
        {"AccessRetryCount", kGeneral, kGeneral, kGeneral, "for retry access count of DB. lRtnSts=-16"},
        {"AccessWaitTime", kGeneral, kGeneral, kGeneral, "for retry access wait time of DB. lRtnSts=-16"},
        {"ItemEntryMax", kMissing, kMissing, kMissing, "of max count of item entry. lRtnSts=-16"},
        {"ItemEntryCount", kGeneral, WDLT_OK, kMissing, "of old count of item entry. lRtnSts=-16"},
        {"DataBaseName", kGeneral, kMissing, kMissing,
         "OpenDatabaseToRead() - Failed to ReadValue() for Database name"},
        {"BackUpDBName", kGeneral, WDLT_OK, WDLT_OK, "for backup Database name. lRtnSts=-16"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        settings(control());
        tree::deleteValue(kKey, c.name);
        EXPECT_EQ(readItems().status, c.items);
        EXPECT_EQ(readExclusions().status, c.exclusions);
        EXPECT_EQ(writeItems({}), c.writes);
        EXPECT_TRUE(log.contains(c.line));
    }
    settings(control());
    tree::deleteValue(kKey, "CharSetEntry");
    EXPECT_EQ(writeExclusions({}), kGeneral); // which takes the names from the settings
}

TEST_F(Privacy, StoredItemsThatAreDamaged) {
    struct Case {
        const char* name;
        DWORD type;
        std::string data;
        std::int32_t status;
    };
    const Case cases[] = {
        {"ItemIndex00", REG_BINARY, "12345", WDLT_E_BUFFER_SIZE},
        {"ItemName00", REG_SZ, std::string(36, 'x'), WDLT_E_BUFFER_SIZE},
        {"ItemName00", REG_SZ, "unterminated", WDLT_OK},
        {"Description00", REG_SZ, std::string(69, 'x'), WDLT_E_BUFFER_SIZE},
        {"PrivacyData00", REG_BINARY, std::string(48, 'x'), WDLT_E_GENERAL},
        {"PrivacyData00", REG_BINARY, std::string(47, 'x'), WDLT_E_GENERAL},
        {"PrivacyData00", REG_BINARY, std::string(64, 'x'), WDLT_E_BUFFER_SIZE},
        {"PrivacyData00", REG_BINARY, message("short"), WDLT_OK},
        {"PrivacyData00", REG_BINARY, message(std::string(47, 'l')), WDLT_OK},
        {"PrivacyData00", REG_BINARY, "", WDLT_OK},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name + std::string(" of ") + std::to_string(c.data.size()));
        settings(control());
        ASSERT_EQ(writeItems({item(1, "x")}), WDLT_OK);
        tree::set(kKey, c.name, c.type, c.data.data(), static_cast<DWORD>(c.data.size()));
        const auto list = readItems();
        EXPECT_EQ(list.status, c.status);
        for (const PrivacyViewItem& read : list.items)
            EXPECT_LE(strnlen(read.szPrivacyData, sizeof read.szPrivacyData), 32u);
    }
    EXPECT_TRUE(log.contains("*** CEnginePDPCommon::GetPrivacyViewData() - Failed to decrypt data. err=-7"));
    EXPECT_TRUE(log.contains("*** CEnginePDPCommon::GetPrivacyViewData() - Failed. lRtnSts=-1"));
}

// What a caller may put together wrongly: nothing is touched, not even a backup made.
TEST_F(Privacy, BadItemsChangeNothing) {
    ASSERT_EQ(writeItems({item(1, "old"), item(2, "older")}), WDLT_OK);
    const State before = state();
    const auto forged = [](const std::function<void(PrivacyControlData&, std::vector<PrivacyViewItem>&)>& forge) {
        PrivacyControlData head = control();
        std::vector<PrivacyViewItem> items{item(0, "new"), item(5, "newer")};
        head.dwItemEntryCount = 2;
        forge(head, items);
        return bufferOf<PrivacyControlData, PrivacyViewItem>(head, items);
    };
    using Head = PrivacyControlData;
    using Items = std::vector<PrivacyViewItem>;
    struct Case {
        const char* what;
        std::function<void(Head&, Items&)> forge;
        std::int32_t status;
        const char* line;
    };
    const auto fill = [](auto& field) { std::memset(field, 'f', sizeof field); };
    const Case cases[] = {
        {"count too large", [](Head& head, Items&) { head.dwItemEntryCount = 3; }, WDLT_E_BUFFER_SIZE,
         "specified write size was not match. _size=380, sizeRead=540"},
        {"count too small", [](Head& head, Items&) { head.dwItemEntryCount = 1; }, WDLT_E_BUFFER_SIZE, ""},
        {"wild count", [](Head& head, Items&) { head.dwItemEntryCount = 0xFFFFFFFF; }, WDLT_E_BUFFER_SIZE, ""},
        {"more than max",
         [](Head& head, Items& items) {
             items.resize(33);
             head.dwItemEntryCount = 33;
         },
         WDLT_E_INVALID_ARGUMENT, "Trying to write more items than max. Count=33, MaxCount=32"},
        {"large index", [](Head&, Items& items) { items[1].dwItemIndex = 32; }, WDLT_E_INVALID_ARGUMENT,
         "Item index was too big. Index=32"},
        {"same index", [](Head&, Items& items) { items[1].dwItemIndex = 0; }, WDLT_E_INVALID_ARGUMENT,
         "Item index has duplication. Index=0"},
        {"endless name", [&](Head&, Items& items) { fill(items[1].szItemName); }, WDLT_E_INVALID_ARGUMENT,
         "Item text has no terminator. Index=5"},
        {"endless description", [&](Head&, Items& items) { fill(items[0].szDescription); }, WDLT_E_INVALID_ARGUMENT,
         ""},
        {"endless database name", [&](Head& head, Items&) { fill(head.szDataBaseName); }, WDLT_E_INVALID_ARGUMENT,
         "Database names were invalid."},
        {"endless backup name", [&](Head& head, Items&) { fill(head.szBackUpDBName); }, WDLT_E_INVALID_ARGUMENT, ""},
        {"path up", [](Head& head, Items&) { privacy_files::put(head.szDataBaseName, "../pdp.db"); },
         WDLT_E_INVALID_ARGUMENT, ""},
        {"path down", [](Head& head, Items&) { privacy_files::put(head.szBackUpDBName, "x\\pdp.bak"); },
         WDLT_E_INVALID_ARGUMENT, ""},
        {"one name for both", [](Head& head, Items&) { privacy_files::put(head.szBackUpDBName, "pdp.db"); },
         WDLT_E_INVALID_ARGUMENT, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(write(WDLT_CONFIG_PRIVACY_ITEMS, forged(c.forge)), c.status);
        EXPECT_EQ(state(), before);
        EXPECT_TRUE(log.contains(c.line));
    }
    std::vector<char> none(60);
    for (const std::uint64_t type : {std::uint64_t{2}, std::uint64_t{4}, std::uint64_t{1} << 32})
        EXPECT_EQ(write(type, none), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(write(WDLT_CONFIG_PRIVACY_ITEMS, none), WDLT_E_BUFFER_SIZE); // one byte short
    EXPECT_EQ(manager.WriteConfig(0, WDLT_SCAN_PRIVACY, 0, 1, nullptr, 60), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(state(), before);
    EXPECT_EQ(write(WDLT_CONFIG_DEFAULT, forged([](Head&, Items&) {})), WDLT_OK); // as items
    EXPECT_NE(state(), before);
}

TEST_F(Privacy, BadExclusionsChangeNoDatabase) {
    ASSERT_EQ(writeExclusions({exclusionItem(1, "old")}), WDLT_OK);
    const std::string before = get(kDatabase);
    PrivacyExclusionItem endless = exclusionItem(2, "");
    std::memset(endless.szText, 'e', sizeof endless.szText);
    struct Case {
        PrivacyExclusionItem last;
        const char* line;
    };
    const Case cases[] = {
        {exclusionItem(2, ""), "Exclusion item size is zero."},
        {endless, "Exclusion item has no terminator."},
        {exclusionItem(2, "x", 8), "Scan Target not supported. dwScanTarget=0x00000008"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        EXPECT_EQ(writeExclusions({exclusionItem(1, "good"), c.last}), WDLT_E_INVALID_ARGUMENT);
        EXPECT_EQ(get(kDatabase), before);
        EXPECT_EQ(get(kBackup), before);
        EXPECT_TRUE(state().temporary.empty());
        EXPECT_TRUE(log.contains(c.line));
    }
    std::vector<char> buffer = bufferOf({exclusionItem(1, "x")});
    buffer.pop_back();
    EXPECT_EQ(write(WDLT_CONFIG_PRIVACY_EXCLUSIONS, buffer), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(log.contains("*** CEnginePDPCommon::WriteConfigExclusionItems() - Invalid input buffer size."));
    buffer.resize(8);
    EXPECT_EQ(write(WDLT_CONFIG_PRIVACY_EXCLUSIONS, buffer), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(get(kDatabase), before);
    EXPECT_EQ(writeExclusions({exclusionItem(1, "new")}), WDLT_OK); // takes the backup away
    EXPECT_FALSE(std::filesystem::exists(at(kBackup)));
}

TEST_F(Privacy, AsManyExclusionsAsTheSettingsAllow) {
    const std::vector<PrivacyExclusionItem> hundred(100, exclusionItem(1, "x"));
    std::vector<PrivacyExclusionItem> more = hundred;
    more.push_back(hundred.front());
    EXPECT_EQ(writeExclusions(more), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(log.contains("Trying to write more exclusion items than max. dwExclusionCount=101, dwMaxCount=100"));
    EXPECT_EQ(writeExclusions(hundred), WDLT_OK);
    EXPECT_EQ(readExclusions().head.dwExclusionItemMax, 100u);
    tree::setNumber(kKey, "ExclusionItemMax", 99);
    EXPECT_EQ(readExclusions().status, WDLT_E_GENERAL);
    tree::setNumber(kKey, "ExclusionItemMax", 101);
    EXPECT_EQ(writeExclusions(more), WDLT_OK);
    EXPECT_EQ(readExclusions().items.size(), 101u);
    tree::set(kKey, "ExclusionItemMax", REG_BINARY, "12345", 5);
    EXPECT_EQ(readExclusions().status, WDLT_E_BUFFER_SIZE);
}

TEST_F(Privacy, ItemsAndExclusionsLeaveEachOtherAlone) {
    put(kDatabase, smallFile());
    ASSERT_EQ(writeItems({item(9, "nine")}), WDLT_OK);
    const std::string exclusions = smallFile().substr(64 + 280);
    EXPECT_EQ(get(kDatabase).substr(64), record(0, 9, WDLT_CHARSET_US_ASCII, "nine") + exclusions);
    const std::string front = get(kDatabase).substr(0, 64 + 140);
    ASSERT_EQ(writeExclusions({}), WDLT_OK);
    EXPECT_EQ(get(kDatabase), front + exclusionHeader(0, 0));
}

// The file names of a write are the caller's, those of everything else the settings'.
TEST_F(Privacy, NamesInTheSettingsAreBareWhateverStandsThere) {
    tree::setText(kKey, "DataBaseName", "..\\pdp.db");
    EXPECT_EQ(readExclusions().status, WDLT_OK);
    EXPECT_EQ(writeExclusions({exclusionItem(1, "x")}), WDLT_OK);
    EXPECT_STREQ(readItems().head.szDataBaseName, "pdp.db");
    PrivacyControlData elsewhere = control();
    privacy_files::put(elsewhere.szDataBaseName, "other.db");
    put("install/other.db", "anything");
    EXPECT_EQ(writeItems({item(1, "x")}, elsewhere), WDLT_OK);
    EXPECT_EQ(get("install/other.db").size(), 64u + 140 + 8 + 28);
    tree::setText(kKey, "DataBaseName", "fifteen bytes!!");
    EXPECT_EQ(readExclusions().status, WDLT_E_BUFFER_SIZE);
}

TEST_F(Privacy, AccessesKeepEachOtherOut) {
    tree::setNumber(kKey, "AccessRetryCount", 2);
    for (const char* const name : {"Local__PRIVACY_DATA_PROTECTION_CONFIG_MUTEX", kPresence}) {
        SCOPED_TRACE(name);
        const Handle somebody = makeMutex(name);
        EXPECT_EQ(readItems().status, WDLT_E_GENERAL);
        EXPECT_EQ(readExclusions().status, WDLT_E_GENERAL);
        EXPECT_EQ(writeItems({}), WDLT_E_GENERAL);
        EXPECT_EQ(writeExclusions({}), WDLT_E_GENERAL);
    }
    EXPECT_EQ(readItems().status, WDLT_OK);
    tree::setNumber(kKey, "AccessRetryCount", 0xFFFFFFFF); // one more than that is none
    EXPECT_EQ(readItems().status, WDLT_E_GENERAL);
    tree::setNumber(kKey, "AccessRetryCount", 0);
    tree::setNumber(kKey, "AccessWaitTime", 0xFFFFFFFF);
    EXPECT_EQ(readItems().status, WDLT_OK); // a single look waits for nothing
    EXPECT_EQ(CGMutex::CheckGMutex("_PRIVACY_DATA_PROTECTION_CONFIG_MUTEX"), CGMutex::kNobody);
}

TEST_F(Privacy, ItemsAreTriedOut) {
    CEnginePDPCommon helper;
    helper.scan = WDLT_SCAN_PRIVACY;
    helper.store = std::make_unique<CRegistryIO>();
    settings(control(WDLT_CHARSET_US_ASCII | WDLT_CHARSET_UTF_8 | WDLT_CHARSET_ISO_8859_1));
    const State before = state();
    const Handle somebody = makeMutex(kPresence); // doesn't matter
    const std::vector<PrivacyViewItem> items{item(1, "fine"), item(1, "\xE6\x97\xA5"), item(99, ""),
                                             item(2, "\xC3\xA4"), item(3, "\xFF")};
    std::vector<std::uint32_t> results(items.size() + 1, 77);
    EXPECT_EQ(helper.VerifyItems(items.data(), 5, results.data()), WDLT_OK);
    const auto bad = static_cast<std::uint32_t>(WDLT_E_ITEM_CONVERSION);
    EXPECT_THAT(results, testing::ElementsAre(0, bad, 0, 0, bad, 77));
    EXPECT_TRUE(log.contains("*** CEnginePDPCommon::VerifyItems() - dwCurrentBit[0x00000010], dwCount[4]"));
    EXPECT_TRUE(log.contains("should ignore this error as spec because of US_ASCII."));
    EXPECT_EQ(helper.VerifyItems(nullptr, 5, results.data()), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(helper.VerifyItems(items.data(), 5, nullptr), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(helper.VerifyItems(items.data(), 0, results.data()), WDLT_OK);
    tree::setNumber(kKey, "DefaultCharSet", WDLT_CHARSET_US_ASCII); // now that's a failure there too
    EXPECT_EQ(helper.VerifyItems(items.data() + 3, 1, results.data()), WDLT_OK);
    EXPECT_EQ(results[0], bad);
    settings(control(0x40000000)); // no charset at all
    EXPECT_EQ(helper.VerifyItems(items.data(), 3, results.data()), WDLT_OK);
    EXPECT_THAT(results, testing::ElementsAre(bad, bad, 0, 0, bad, 77));
    tree::deleteValue(kKey, "BackUpDBName");
    EXPECT_EQ(helper.VerifyItems(items.data(), 1, results.data()), WDLT_E_GENERAL);
    EXPECT_EQ(state().database, before.database);
}

TEST_F(Privacy, EachProtocolKeepsItsNumber) {
    tree::setNumber("ProtocolHandler\\HTTP", "Type", 3);
    tree::setText("ProtocolHandler\\HTTP", "Scan", "HTTP");
    const std::string key = "Scan\\HTTP\\PrivacyProtection\\config";
    const auto read = [&](std::uint64_t type, void* data, std::uint64_t& size) {
        return manager.ReadConfig(3, WDLT_SCAN_PRIVACY, 0, type, data, &size);
    };
    const auto write = [&](std::uint64_t type, void* data, std::uint64_t size) {
        return manager.WriteConfig(3, WDLT_SCAN_PRIVACY, 0, type, data, size);
    };
    std::uint32_t value = 4711;
    std::uint64_t size = 4;
    EXPECT_EQ(read(0, &value, size), WDLT_E_REGISTRY);
    EXPECT_EQ(write(WDLT_CONFIG_PRIVACY_TABLE_WRITE, &value, 4), WDLT_OK);
    EXPECT_EQ(tree::number(key, "SearchTableIndex"), 4711u);
    value = 0;
    EXPECT_EQ(read(0, &value, size), WDLT_OK);
    EXPECT_EQ(value, 4711u);
    size = 8;
    EXPECT_EQ(read(0, &value, size), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(read(0, nullptr, size), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(read(WDLT_CONFIG_PRIVACY_TABLE_WRITE, &value, size), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(write(0, &value, 4), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(log.contains("*** CEnginePDP::WriteConfig() - _pInput was invalid parameter."));
    EXPECT_EQ(write(1, &value, 4), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(log.contains("*** CEnginePDP::WriteConfig() - specified _pInput was invalid."));
    EXPECT_EQ(write(0xFFFFFFFFFFFFFFF8, &value, 4), WDLT_OK);
    EXPECT_EQ(write(WDLT_CONFIG_PRIVACY_TABLE_WRITE, &value, 3), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(write(WDLT_CONFIG_PRIVACY_TABLE_WRITE, nullptr, 4), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(manager.WriteConfig(5, WDLT_SCAN_PRIVACY, 0, WDLT_CONFIG_PRIVACY_TABLE_WRITE, &value, 4),
              WDLT_E_GENERAL); // no such handler
}

} // namespace
