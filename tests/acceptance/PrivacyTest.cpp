// Privacy items and exclusions as callers of the library have them: lists of any length, what a bad one gives, what the
// service hears, and the file that comes of it.
#include "FakeService.h"
#include "FreshLog.h"
#include "LoadedLibrary.h"
#include "PrivacyFiles.h"
#include "TimeScale.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace privacy_files;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr Change kPrivacyChange{0, WDLT_SCAN_PRIVACY};

class PrivacyFamily : public PrivacyTest {
  protected:
    PrivacyFamily() { std::filesystem::create_directories(at("temp")); }

    std::int32_t write(const std::vector<PrivacyViewItem>& items) {
        return WDLT_CALL(library, WdltPdpWriteItemList)(items.data(), static_cast<std::int32_t>(items.size()));
    }
    std::int32_t write(const std::vector<PrivacyExclusionItem>& items) {
        return WDLT_CALL(library, WdltPdpWriteExItemList)(items.data(), static_cast<std::int32_t>(items.size()));
    }
    std::int32_t count() {
        std::int32_t stored = -1;
        EXPECT_EQ(WDLT_CALL(library, WdltPdpReadItemList)(nullptr, &stored), WDLT_OK);
        return stored;
    }

    const TimeScale patient{"0.1"};
    const FreshLog log;
    LoadedLibrary library{LoadedLibrary::withLog};
};

TEST_F(PrivacyFamily, ItemsAreReadAsFarAsThereIsRoom) {
    ChangeListener service;
    ASSERT_EQ(write({item(3, "4711"), item(31, ""), item(7, "0815")}), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kPrivacyChange));
    EXPECT_EQ(get(kDatabase).substr(64), record(0, 3, WDLT_CHARSET_US_ASCII, "4711") +
                                             record(1, 7, WDLT_CHARSET_US_ASCII, "0815") + exclusionHeader(0, 0));
    const auto read = WDLT_CALL(library, WdltPdpReadItemList);
    EXPECT_EQ(count(), 3);
    EXPECT_TRUE(library.logged("CFuncPdp::ItemListRead(): OUT: count=3"));
    std::vector<PrivacyViewItem> items(6, item(9, "untouched"));
    std::int32_t room = 5;
    EXPECT_EQ(read(items.data(), &room), WDLT_OK);
    EXPECT_EQ(room, 3);
    EXPECT_STREQ(items[2].szPrivacyData, "0815");
    EXPECT_STREQ(items[3].szPrivacyData, "untouched");
    items.assign(2, item(9, "untouched"));
    room = 1;
    EXPECT_EQ(read(items.data(), &room), WDLT_OK);
    EXPECT_EQ(room, 1);
    EXPECT_EQ(items[0].dwItemIndex, 3u);
    EXPECT_STREQ(items[1].szPrivacyData, "untouched");
    room = -1;
    EXPECT_EQ(read(items.data(), &room), WDLT_OK);
    EXPECT_EQ(read(items.data(), nullptr), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(WDLT_CALL(library, WdltPdpWriteItemList)(items.data(), 0), WDLT_OK);
    EXPECT_EQ(count(), 0);
    EXPECT_THAT(service.heard(), ElementsAre(kPrivacyChange));
}

TEST_F(PrivacyFamily, ABadListChangesNothing) {
    ASSERT_EQ(write({item(1, "old")}), WDLT_OK);
    ChangeListener service;
    const State before = state();
    const auto writeItems = WDLT_CALL(library, WdltPdpWriteItemList);
    const std::vector<PrivacyViewItem> many(33, item(1, "x"));
    EXPECT_EQ(writeItems(nullptr, 1), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(library.logged("CFuncPdp::ItemListWrite(): Invalid parameter NULL"));
    EXPECT_EQ(writeItems(many.data(), 33), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(library.logged("CFuncPdp::ItemListWrite(): count 33 exceeds the maximum 32"));
    EXPECT_EQ(writeItems(many.data(), -1), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(write({item(1, "x"), item(1, "y")}), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(library.logged("CFuncPdp::ItemListWrite(): Failed to write config: -3"));
    EXPECT_EQ(state(), before);
    tree::setNumber(kKey, "CharSetEntry", WDLT_CHARSET_ISO_8859_1);
    EXPECT_EQ(write({item(1, "\xE6\x97\xA5")}), WDLT_E_CHARSET);
    EXPECT_EQ(state().database, before.database);
    EXPECT_EQ(state().values, before.values);

    const std::vector<PrivacyExclusionItem> tooMany(101, exclusionItem(1, "x"));
    EXPECT_EQ(write(tooMany), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(library.logged("CFuncPdp::ExItemListWrite(): count 101 exceeds the maximum 100"));
    EXPECT_EQ(write({exclusionItem(1, "x", 8)}), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(WDLT_CALL(library, WdltPdpWriteExItemList)(nullptr, 0), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(state().database, before.database);
    EXPECT_THAT(service.heard(), IsEmpty());
    tree::deleteValue(kKey, "DefaultCharSet"); // what can't be read can't be written over
    EXPECT_EQ(write({item(2, "x")}), WDLT_E_GENERAL);
    EXPECT_TRUE(library.logged("CFuncPdp::ItemListWrite(): Failed to read config: -1"));
}

TEST_F(PrivacyFamily, ExclusionsComeBackWhole) {
    ASSERT_EQ(write({item(1, "kept")}), WDLT_OK);
    ChangeListener service;
    const std::string longest(2083, 'l');
    ASSERT_EQ(write({exclusionItem(5, longest), exclusionItem(4, "*.example.com/*")}), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kPrivacyChange));
    const auto read = WDLT_CALL(library, WdltPdpReadExItemList);
    std::int32_t room = 0;
    EXPECT_EQ(read(nullptr, &room), WDLT_OK);
    EXPECT_EQ(room, 2);
    std::vector<PrivacyExclusionItem> items(3, exclusionItem(9, "untouched"));
    room = 3;
    EXPECT_EQ(read(items.data(), &room), WDLT_OK);
    EXPECT_EQ(room, 2);
    EXPECT_EQ(items[0].szText, longest);
    EXPECT_EQ(items[1].dwExclusionId, 4u);
    EXPECT_STREQ(items[2].szText, "untouched");
    EXPECT_EQ(count(), 1);
    std::filesystem::remove(at(kDatabase));
    EXPECT_EQ(read(nullptr, &room), WDLT_E_GENERAL);
    EXPECT_TRUE(library.logged("CFuncPdp::ExItemListRead(): Failed to read config: -1"));
}

TEST_F(PrivacyFamily, ItemsAreTriedOutAlone) {
    tree::setNumber(kKey, "CharSetEntry", WDLT_CHARSET_US_ASCII | WDLT_CHARSET_SHIFT_JIS);
    const State before = state();
    const auto verify = WDLT_CALL(library, WdltPdpVerifyItems);
    const std::vector<PrivacyViewItem> items{item(1, "\xE6\x97\xA5"), item(1, "\xE2\x82\xAC"), item(99, "")};
    std::vector<std::uint32_t> results(3, 77);
    EXPECT_EQ(verify(items.data(), 3, results.data()), WDLT_OK);
    EXPECT_THAT(results, ElementsAre(0, static_cast<std::uint32_t>(WDLT_E_ITEM_CONVERSION), 0));
    EXPECT_EQ(verify(items.data(), 0, results.data()), WDLT_OK);
    EXPECT_EQ(verify(nullptr, 3, results.data()), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(verify(items.data(), 3, nullptr), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(state(), before);
}

// What is kept enciphered stands nowhere else: not in a file of the home, the backup, a temporary file or the log.
TEST_F(PrivacyFamily, PlainTextIsNowhere) {
    const std::string secret = "4711-0815-xyzzy";
    ASSERT_EQ(write({item(1, secret)}), WDLT_OK);
    ASSERT_EQ(write({exclusionItem(1, secret)}), WDLT_OK);
    tree::setNumber(kKey, "CharSetEntry", 0x40000000 | WDLT_CHARSET_UTF_8);
    EXPECT_NE(write({item(1, secret)}), WDLT_OK); // leaves a backup
    EXPECT_TRUE(std::filesystem::exists(at(kBackup)));
    int files = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(TestHome::instance().path()))
        if (entry.is_regular_file()) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string content{std::istreambuf_iterator<char>(file), {}};
            EXPECT_EQ(content.find(secret), std::string::npos) << entry.path();
            ++files;
        }
    EXPECT_GT(files, 3);
}

} // namespace
