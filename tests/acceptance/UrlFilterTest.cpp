// The URL filter and the host filter, through the library: settings, lists, and the question whether a URL is on a
// list, with a service that answers, one that doesn't, and none.
#include "FakeService.h"
#include "FreshLog.h"
#include "ListReads.h"
#include "LoadedLibrary.h"
#include "TestObject.h"
#include "TimeScale.h"
#include "UrlCategoryDB.h"
#include "UrlFilterTree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/mman.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kHostKey = "Scan\\Common\\HostFilter\\config";
constexpr Change kUrlChange{0, WDLT_SCAN_URL_FILTER};

WdpeUrlfUrlRecord urlOf(const std::string& text) {
    WdpeUrlfUrlRecord record{};
    text.copy(record.szUrl, sizeof record.szUrl - 1);
    return record;
}

class UrlFilter : public testing::Test {
  protected:
    UrlFilter() {
        tree::clear();
        const std::string home = TestHome::instance().path().string();
        std::filesystem::remove_all(home + "/install");
        for (const char* const folder : {"/install", "/temp"})
            std::filesystem::create_directories(home + folder);
        tree::setText("", "InstallPath", home + "/install/");
        tree::setText("", "TempPath", home + "/temp/");
        setUrlFilter();
        tree::setText(kUrlKey, "Whitelist", "white.dat");
        tree::setText(kUrlKey, "Blacklist", "black.dat");
    }

    std::int32_t writeList(std::uint32_t type, const std::vector<std::string>& urls) {
        std::vector<WdpeUrlfUrlRecord> records;
        for (const std::string& url : urls)
            records.push_back(urlOf(url));
        return WDLT_CALL(library, WdltUrlfWriteRecordList)(type, records.data(),
                                                           static_cast<std::int32_t>(records.size()));
    }
    std::int32_t isOnList(std::uint32_t type, const std::string& url) {
        const WdpeUrlfUrlRecord record = urlOf(url);
        return WDLT_CALL(library, WdltUrlfIsRecordExists)(type, &record);
    }

    const TimeScale patient{"0.1"};
    const FreshLog log;
    LoadedLibrary library{LoadedLibrary::withLog};
};

TEST_F(UrlFilter, SettingsAndProxyLeaveEachOtherAlone) {
    ChangeListener service;
    WdltUrlfConfig config{};
    config.dwUserDefinedCredLevel = -5;
    std::strcpy(config.szBlockCategoryGroups, "7,8");
    ASSERT_EQ(WDLT_CALL(library, WdltUrlfWriteConfig)(&config), WDLT_OK);
    static constexpr WdltUrlfProxy proxy{1, "proxy.example", 3128, "user", "password"};
    ASSERT_EQ(WDLT_CALL(library, WdltUrlfWriteProxy)(&proxy), WDLT_OK);
    config.dwMode = 4;
    ASSERT_EQ(WDLT_CALL(library, WdltUrlfWriteConfig)(&config), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kUrlChange, kUrlChange, kUrlChange));

    WdltUrlfConfig readConfig{};
    ASSERT_EQ(WDLT_CALL(library, WdltUrlfReadConfig)(&readConfig), WDLT_OK);
    EXPECT_EQ(std::memcmp(&readConfig, &config, sizeof config), 0);
    WdltUrlfProxy readProxy{};
    ASSERT_EQ(WDLT_CALL(library, WdltUrlfReadProxy)(&readProxy), WDLT_OK);
    EXPECT_EQ(std::memcmp(&readProxy, &proxy, sizeof proxy), 0);

    tree::deleteValue(kUrlKey, "NotifyAll");
    EXPECT_EQ(WDLT_CALL(library, WdltUrlfWriteConfig)(&config), WDLT_E_NOT_FOUND); // a write can't create settings
    EXPECT_THAT(service.heard(), IsEmpty());
    EXPECT_TRUE(library.logged("CFuncUrlf::ConfigWrite(): Failed to read config: -16"));
}

TEST_F(UrlFilter, AListIsReadWholeOrNotAtAll) {
    const std::string longest(sizeof(WdpeUrlfUrlRecord) - 1, 'l');
    ChangeListener service;
    ASSERT_EQ(writeList(WDLT_LIST_WHITE, {"http://a.b/*", "*c.d*", longest}), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kUrlChange));
    const auto read = WDLT_CALL(library, WdltUrlfReadRecordList);
    std::vector<WdpeUrlfUrlRecord> records(WDLT_MAX_URL_RECORDS + 1, urlOf("x"));
    std::int32_t count = 4;
    EXPECT_EQ(read(7, records.data(), &count), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(read(WDLT_LIST_BLACK, records.data(), &count), WDLT_E_FILE_NOT_FOUND);
    const auto write = WDLT_CALL(library, WdltUrlfWriteRecordList);
    EXPECT_EQ(write(2, records.data(), 1), WDLT_E_INVALID_ARGUMENT);
    for (const std::int32_t wrong : {WDLT_MAX_URL_RECORDS + 1, -1})
        EXPECT_EQ(write(WDLT_LIST_WHITE, records.data(), wrong), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(library.logged("CFuncUrlf::RecordListWrite(): count 501 exceeds the maximum"));
    EXPECT_EQ(writeList(WDLT_LIST_WHITE, {"a", ""}), WDLT_E_INVALID_ARGUMENT);
    EXPECT_THAT(service.heard(), IsEmpty());
    for (const std::int32_t room : {0, 2, 3, 4}) { // no refused write has changed anything
        records.assign(4, urlOf("untouched"));
        count = room;
        EXPECT_EQ(read(WDLT_LIST_WHITE, room == 0 ? nullptr : records.data(), &count),
                  room < 3 ? WDLT_E_BUFFER_SIZE : WDLT_OK);
        EXPECT_EQ(count, 3);
        EXPECT_EQ(records[2].szUrl, room < 3 ? "untouched" : longest);
        EXPECT_STREQ(records[3].szUrl, "untouched");
    }
    records.assign(WDLT_MAX_URL_RECORDS, urlOf("x"));
    for (const std::int32_t most : {WDLT_MAX_URL_RECORDS, 0}) {
        EXPECT_EQ(write(WDLT_LIST_WHITE, most == 0 ? nullptr : records.data(), most), WDLT_OK);
        count = WDLT_MAX_URL_RECORDS;
        EXPECT_EQ(read(WDLT_LIST_WHITE, records.data(), &count), WDLT_OK);
        EXPECT_EQ(count, most);
    }
}

TEST_F(UrlFilter, CategoriesAreReadAsFarAsThereIsRoom) {
    tree::setText(kUrlKey, "CategoryFile", "cat.dat");
    const auto list = std::make_unique<WdpeUrlfCategoryList>();
    list->dwNumOfRecords = 3;
    for (std::uint8_t i = 0; i < 3; ++i)
        list->records[i].szName[0] = static_cast<char>('a' + i);
    std::uint64_t size = sizeof *list;
    const std::string file = (TestHome::instance().path() / "install" / "cat.dat").string();
    ASSERT_EQ(CUrlCategoryDB().Write(file.c_str(), list.get(), &size), WDLT_OK);
    expectReadAsFarAsThereIsRoom(
        WDLT_CALL(library, WdltUrlfReadCategory), WdpeUrlfCategory{}, [](const auto& read) { return read.szName; },
        std::vector<std::string>{"a", "b", "c"});
}

TEST_F(UrlFilter, WithoutAServiceTheListsFileAnswers) {
    EXPECT_EQ(isOnList(WDLT_LIST_WHITE, "http://a.b/c"), 0); // no file either
    EXPECT_TRUE(library.logged("CFuncUrlf::IsUrlRecordExistsInDB: Failed to query DB: -6"));
    ASSERT_EQ(writeList(WDLT_LIST_WHITE, {"http://a.b/*"}), WDLT_OK);
    ASSERT_EQ(writeList(WDLT_LIST_BLACK, {"*bad*"}), WDLT_OK);
    EXPECT_EQ(isOnList(WDLT_LIST_WHITE, "HTTP://A.B/c"), 1);
    EXPECT_EQ(isOnList(WDLT_LIST_WHITE, "http://x.bad/"), 0);
    EXPECT_EQ(isOnList(7, "http://x.bad/"), 1); // anything but white is black
}

// A URL that fills its field, directly before an unmapped page.
TEST_F(UrlFilter, AUrlWithoutATerminatorEndsWithItsField) {
    ASSERT_EQ(writeList(WDLT_LIST_WHITE, {"*end"}), WDLT_OK);
    constexpr std::size_t kPage = 4096;
    auto* const pages =
        static_cast<char*>(mmap(nullptr, 2 * kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_EQ(mprotect(pages + kPage, kPage, PROT_NONE), 0);
    auto* const url = reinterpret_cast<WdpeUrlfUrlRecord*>(pages + kPage - sizeof(WdpeUrlfUrlRecord));
    std::memset(url->szUrl, 'u', sizeof url->szUrl);
    std::memcpy(url->szUrl + sizeof url->szUrl - 3, "end", 3);
    EXPECT_EQ(WDLT_CALL(library, WdltUrlfIsRecordExists)(WDLT_LIST_WHITE, url), 1);
    munmap(pages, 2 * kPage);
}

constexpr const char* kActionMutex = "Global\\wdlt_action_mutex";

TEST_F(UrlFilter, TheServiceAnswersBeforeTheFile) {
    const struct {
        const char* what;
        std::uint32_t listType;
        const char* url;
        std::uint32_t flag; // the service's answer
        std::int32_t reply;
        std::int32_t result;
    } cases[] = {
        {"yes", WDLT_LIST_WHITE, "http://x/", 1, 0, 1},
        {"only 1 is a yes", WDLT_LIST_BLACK, "http://in-file/", 2, 0, 0},
        {"refusing", WDLT_LIST_BLACK, "http://in-file/", 0, 5, 1},
    };
    ASSERT_EQ(writeList(WDLT_LIST_BLACK, {"*in-file*"}), WDLT_OK);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const FakeService service("wdlt_action", 20, [&](BYTE* memory) {
            const std::uint32_t expected[] = {0xFFFFFFFF, WDLT_PROTOCOL_HTTP, WDLT_SCAN_URL_FILTER, 300, 1};
            EXPECT_EQ(std::memcmp(memory, expected, sizeof expected), 0);
            EXPECT_EQ(waitFor(makeMutex(kActionMutex)), DWORD{WAIT_TIMEOUT}); // one question at a time
            const Handle mapping(
                OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, "Global\\wdlt_urlfilter_action_data_map"));
            const auto question = viewOf<BYTE>(mapping, 2093);
            EXPECT_EQ(std::memcmp(&question[0], &c.listType, sizeof c.listType), 0);
            EXPECT_STREQ(reinterpret_cast<const char*>(&question[4]), c.url);
            EXPECT_EQ(question[2088], 0); // where the answer goes
            std::memcpy(&question[2088], &c.flag, sizeof c.flag);
            std::memcpy(memory, &c.reply, sizeof c.reply);
            return true;
        });
        EXPECT_EQ(isOnList(c.listType, c.url), c.result);
    }
}

// A service that lacks some of its objects or doesn't answer, or a mutex that can't be taken.
TEST_F(UrlFilter, EachServiceThatAskersFear) {
    const struct {
        DWORD bytes;
        bool withEvents, withMutex;
        const char* line;
    } cases[] = {
        {1, true, true, "Failed to open memory in ActionEventSender or Wardlet is not running"},
        {20, true, true, "Failed to send in ActionEventSender"},
        {20, false, true, "Failed to send in ActionEventSender"},
        {20, true, false, "Failed to send in ActionEventSender"},
    };
    ASSERT_EQ(writeList(WDLT_LIST_BLACK, {"*in-file*"}), WDLT_OK);
    const TimeScale impatient("0.0005");
    for (const auto& c : cases) {
        clearLog();
        const ServiceObjects objects("wdlt_action", c.bytes, c.withEvents);
        const Handle mutex = c.withMutex ? nullptr : makeSemaphore(kActionMutex, 1, 1);
        EXPECT_EQ(isOnList(WDLT_LIST_BLACK, "http://in-file/"), 1);
        EXPECT_TRUE(library.logged(c.line)) << c.line;
    }
}

// Only their functions: the records are tested at their addresses elsewhere.
TEST_F(UrlFilter, SmallSettings) {
    ChangeListener service;
    WdpeUrlfUUC uuc{};
    WdpeUrlfUUC again{};
    EXPECT_EQ(WDLT_CALL(library, WdltUrlfWriteUUC)(&uuc), WDLT_OK); // unchanged, so nothing is notified
    EXPECT_THAT(service.heard(), IsEmpty());
    uuc = {1, 0, 1};
    EXPECT_EQ(WDLT_CALL(library, WdltUrlfWriteUUC)(&uuc), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kUrlChange));
    EXPECT_EQ(WDLT_CALL(library, WdltUrlfReadUUC)(&again), WDLT_OK);
    EXPECT_EQ(std::memcmp(&again, &uuc, sizeof uuc), 0);

    EXPECT_EQ(WDLT_CALL(library, WdltUrlfIsBackupLKQRetryEnabled)(), 1);
    EXPECT_EQ(WDLT_CALL(library, WdltUrlfEnableBackupLKQRetry)(0), WDLT_OK);
    EXPECT_EQ(WDLT_CALL(library, WdltUrlfIsBackupLKQRetryEnabled)(), 0);
    std::uint32_t family = 99;
    EXPECT_EQ(WDLT_CALL(library, WdltUrlfSetSocketFamily)(2), WDLT_OK);
    EXPECT_EQ(WDLT_CALL(library, WdltUrlfGetSocketFamily)(&family), WDLT_OK);
    EXPECT_EQ(family, 2u);
    EXPECT_EQ(WDLT_CALL(library, WdltUrlfSetQXNGuid)("01234567-89ab"), WDLT_OK);
    EXPECT_EQ(tree::get(kUrlKey, "QXNGuid")->data.size(), 16u);

    WdpeUrlfRSInfo server{"", 8080};
    EXPECT_EQ(WDLT_CALL(library, WdltUrlfWriteRSInfo)(&server), WDLT_E_INVALID_ARGUMENT);
    server.szRatingServer[0] = 's';
    tree::set(kUrlKey, "LookupServer", REG_BINARY, "");
    EXPECT_EQ(WDLT_CALL(library, WdltUrlfWriteRSInfo)(&server), WDLT_OK);
    WdpeUrlfRSInfo stored{};
    EXPECT_EQ(WDLT_CALL(library, WdltUrlfReadRSInfo)(&stored), WDLT_OK);
    EXPECT_EQ(std::memcmp(&stored, &server, sizeof stored), 0);
    const struct {
        WdpeUrlfExtraHeader head;
        char data[4];
    } headers[] = {{{0, 4, {}}, {}}, {{2, 4, {}}, {}}, {{1, 4, {}}, {}}};
    for (const auto& [header, status] :
         {std::pair(&headers[0], 1), {&headers[1], WDLT_E_VERSION}, {&headers[2], WDLT_OK}})
        EXPECT_EQ(WDLT_CALL(library, WdltUrlfSetExtraHeader)(&header->head), status);
    EXPECT_EQ(tree::number(kUrlKey, "ExtraHeaderVersion"), 1u);
}

TEST_F(UrlFilter, HostFilter) {
    ChangeListener service;
    for (const char* const name : {"EnablePrivateIPCheck", "NonBlock"})
        tree::setNumber(kHostKey, name, 0);
    for (const char* const name : {"ExclusionExtensions", "Whitelist"})
        tree::setText(kHostKey, name, "hosts.dat");
    const WdpeHosfData config{1, 1, ".gif,.png"};
    EXPECT_EQ(WDLT_CALL(library, WdltHosfWriteConfig)(&config), WDLT_OK);
    WdpeHosfData again{};
    EXPECT_EQ(WDLT_CALL(library, WdltHosfReadConfig)(&again), WDLT_OK);
    EXPECT_EQ(std::memcmp(&again, &config, sizeof again), 0);

    std::vector<WdpeHosfHostRecord> records(WDLT_MAX_HOST_RECORDS + 1);
    std::vector<std::uint32_t> numbers(WDLT_MAX_HOST_RECORDS);
    for (std::uint32_t i = 0; i < numbers.size(); ++i)
        std::memcpy(records[i].byHost, &(numbers[i] = i + 1), sizeof i);
    const auto write = WDLT_CALL(library, WdltHosfWriteRecordList);
    EXPECT_EQ(write(records.data(), WDLT_MAX_HOST_RECORDS + 1), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(write(records.data(), WDLT_MAX_HOST_RECORDS), WDLT_OK);
    constexpr Change kHostChange{0, WDLT_SCAN_HOST_FILTER};
    EXPECT_THAT(service.heard(), ElementsAre(kHostChange, kHostChange));
    const auto numberOf = [](const WdpeHosfHostRecord& read) {
        std::uint32_t number = 0;
        std::memcpy(&number, read.byHost, sizeof number);
        return number;
    };
    expectReadAsFarAsThereIsRoom(WDLT_CALL(library, WdltHosfReadRecordList), WdpeHosfHostRecord{}, numberOf, numbers);
}

} // namespace
