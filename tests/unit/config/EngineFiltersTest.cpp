// The helpers of the URL filter and the host filter, as the manager makes them for their addresses.
#include "ConfigManager.h"
#include "EngineUrlFCommon.h"
#include "FailingStore.h"
#include "LogFile.h"
#include "TestHome.h"
#include "Tree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace {

using testing::HasSubstr;

const std::string kUrlKey = "Scan\\Common\\URLFilter\\config";
const std::string kHostKey = "Scan\\Common\\HostFilter\\config";

enum class Absent : std::uint8_t { Stops, ReadsDefault };

// A number of the settings: where it stands in the record, and what its absence gives.
struct Number {
    const char* name;
    std::size_t offset;
    Absent absent;
    std::uint32_t standard = 0;
    bool coversAnyFailure = false;
};
#define AT(field) offsetof(WdpeUrlfData, field)
constexpr std::uint32_t kUnset = 0xFFFFFFFF;
// In the order of reading.
constexpr Number kNumbers[] = {
    {"Mode", AT(dwMode), Absent::Stops},
    {"EnableServerLookup", AT(dwEnableServerLookup), Absent::Stops},
    {"EnableProxy", AT(dwEnableProxy), Absent::Stops},
    {"ProxyPort", AT(dwProxyPort), Absent::ReadsDefault, 80},
    {"EnableCategoryChk", AT(dwEnableCategoryChk), Absent::Stops},
    {"EnablePharm", AT(dwEnablePharm), Absent::Stops},
    {"CategoryNonBlock", AT(dwCategoryNonBlock), Absent::Stops},
    {"PharmingNonBlock", AT(dwPharmingNonBlock), Absent::Stops},
    {"NotifyAll", AT(dwNotifyAll), Absent::Stops},
    {"EnableCredibilityChk", AT(dwEnableCredibilityChk), Absent::Stops},
    {"CredibilityNonBlock", AT(dwCredibilityNonBlock), Absent::Stops},
    {"UserDefinedCredLevel", AT(dwUserDefinedCredLevel), Absent::ReadsDefault, kUnset, true},
    {"UseCredibilityScore", AT(dwUseCredibilityScore), Absent::ReadsDefault, 0, true},
    {"CredScoreThresHold", AT(dwCredScoreThresHold), Absent::ReadsDefault, kUnset, true},
    {"EnablePhishChk", AT(dwEnablePhishChk), Absent::Stops},
    {"PhishNonBlock", AT(dwPhishNonBlock), Absent::Stops},
    {"EnableWdlDns", AT(dwEnableWdlDns), Absent::ReadsDefault, 1, true},
    {"EnableWdufeDns", AT(dwEnableWdufeDns), Absent::ReadsDefault, 1, true},
};
#undef AT

std::uint32_t numberAt(const void* record, std::size_t offset) {
    std::uint32_t number = 0;
    std::memcpy(&number, static_cast<const char*>(record) + offset, sizeof number);
    return number;
}

template <std::size_t Size>
void put(char (&field)[Size], const std::string& text) {
    std::memset(field, 0, Size);
    text.copy(field, Size - 1);
}

class EngineFilters : public testing::Test {
  protected:
    void SetUp() override {
        tree::clear();
        std::filesystem::create_directories(TestHome::instance().path() / "install");
        std::filesystem::create_directories(TestHome::instance().path() / "temp");
        tree::setText("", "InstallPath", (TestHome::instance().path() / "install").string() + "/");
        tree::setText("", "TempPath", (TestHome::instance().path() / "temp").string() + "/");
    }

    std::int32_t read(std::uint64_t type, void* data, std::uint64_t& size, std::uint32_t scan = WDLT_SCAN_URL_FILTER) {
        return manager.ReadConfig(0, scan, 0, type, data, &size);
    }
    template <class Record>
    std::int32_t read(std::uint64_t type, Record& record, std::uint32_t scan = WDLT_SCAN_URL_FILTER) {
        std::uint64_t size = sizeof record;
        return read(type, &record, size, scan);
    }
    template <class Record>
    std::int32_t write(std::uint64_t type, Record& record, std::uint32_t scan = WDLT_SCAN_URL_FILTER) {
        return manager.WriteConfig(0, scan, 0, type, &record, sizeof record);
    }

    // Every field has something of its own.
    static WdpeUrlfData settings() {
        WdpeUrlfData record{};
        std::uint32_t next = 100;
        for (const Number& number : kNumbers) {
            std::memcpy(reinterpret_cast<char*>(&record) + number.offset, &next, sizeof next);
            ++next;
        }
        put(record.szBlockCategoryGroups, "1,2,3");
        put(record.szBlockPhishCategoryGrps, "p1");
        put(record.szProxyServer, "proxy.example");
        put(record.szProxyUser, "user");
        put(record.szProxyPassword, "p*ss w\xF6rd");
        return record;
    }

    CConfigManager manager;
    LogFile log;
};

TEST_F(EngineFilters, SettingsAreWrittenAndReadBack) {
    WdpeUrlfData written = settings();
    const WdpeUrlfData copy = written;
    ASSERT_EQ(write(WDLT_CONFIG_URLF_SETTINGS, written), WDLT_OK);
    EXPECT_EQ(std::memcmp(&written, &copy, sizeof copy), 0);
    WdpeUrlfData again;
    ASSERT_EQ(read(WDLT_CONFIG_URLF_SETTINGS, again), WDLT_OK);
    EXPECT_EQ(std::memcmp(&again, &copy, sizeof copy), 0);

    EXPECT_EQ(tree::storedText(kUrlKey, "BlockCategoryGroups"), std::string("1,2,3\0", 6));
    EXPECT_EQ(tree::storedText(kUrlKey, "ProxyServer"), std::string("proxy.example\0", 14));
    const auto password = tree::get(kUrlKey, "ProxyPassword");
    ASSERT_TRUE(password);
    EXPECT_EQ(password->type, DWORD{REG_BINARY});
    EXPECT_EQ(password->data.size(), 16u);
    EXPECT_EQ(password->data.find("p*ss"), std::string::npos);

    put(written.szProxyPassword, "");
    ASSERT_EQ(write(WDLT_CONFIG_URLF_SETTINGS, written), WDLT_OK);
    EXPECT_EQ(tree::get(kUrlKey, "ProxyPassword")->data, "");
    ASSERT_EQ(read(WDLT_CONFIG_URLF_SETTINGS, again), WDLT_OK);
    EXPECT_EQ(again.szProxyPassword[0], '\0');
}

// A missing value, and one of the wrong size, at each place of the record.
TEST_F(EngineFilters, EachNumberThatCantBeRead) {
    WdpeUrlfData whole = settings();
    for (const Number& number : kNumbers)
        for (const bool isThere : {false, true}) {
            SCOPED_TRACE(number.name + std::string(isThere ? " too long" : " absent"));
            ASSERT_EQ(write(WDLT_CONFIG_URLF_SETTINGS, whole), WDLT_OK);
            if (isThere)
                tree::set(kUrlKey, number.name, REG_BINARY, "12345678", 8);
            else
                tree::deleteValue(kUrlKey, number.name);
            WdpeUrlfData record;
            std::memset(&record, 0xEE, sizeof record);
            const std::int32_t status = read(WDLT_CONFIG_URLF_SETTINGS, record);
            if (number.absent == Absent::ReadsDefault && (!isThere || number.coversAnyFailure)) {
                EXPECT_EQ(status, WDLT_OK);
                EXPECT_EQ(numberAt(&record, number.offset), number.standard);
                continue;
            }
            EXPECT_EQ(status, isThere ? WDLT_E_BUFFER_SIZE : WDLT_E_NOT_FOUND);
            for (const Number& other : kNumbers)
                EXPECT_EQ(numberAt(&record, other.offset),
                          other.offset < number.offset ? numberAt(&whole, other.offset) : 0)
                    << other.name;
            EXPECT_TRUE(log.contains(std::string("CEngineUrlFCommon: Failed to read registry (item=") + number.name +
                                     ", ret=" + std::to_string(status) + ")"));
        }
}

TEST_F(EngineFilters, TextsAtTheirLimitsAndDamagedOnes) {
    struct Case {
        const char* name;
        DWORD type;
        std::string stored;
        std::int32_t status;
    };
    const Case cases[] = {
        {"BlockCategoryGroups", REG_SZ, std::string(766, 'a') + '\0', WDLT_OK},
        {"BlockCategoryGroups", REG_SZ, std::string(767, 'a') + '\0', WDLT_E_BUFFER_SIZE},
        {"ProxyServer", REG_SZ, std::string(256, 'a') + '\0', WDLT_OK},
        {"ProxyServer", REG_SZ, std::string(257, 'a') + '\0', WDLT_E_BUFFER_SIZE},
        {"ProxyUser", REG_BINARY, "", WDLT_OK},
        {"ProxyUser", REG_BINARY, std::string(15, 'x'), WDLT_E_GENERAL},
        {"ProxyUser", REG_BINARY, std::string(16, 'x'), WDLT_E_GENERAL},
        {"ProxyUser", REG_BINARY, std::string(144, 'x'), WDLT_E_BUFFER_SIZE},
        {"ProxyPassword", REG_BINARY, std::string(128, 'x'), WDLT_E_GENERAL},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name + std::string(" of ") + std::to_string(c.stored.size()));
        WdpeUrlfData record = settings();
        ASSERT_EQ(write(WDLT_CONFIG_URLF_SETTINGS, record), WDLT_OK);
        tree::set(kUrlKey, c.name, c.type, c.stored.data(), static_cast<DWORD>(c.stored.size()));
        EXPECT_EQ(read(WDLT_CONFIG_URLF_SETTINGS, record), c.status);
    }
    EXPECT_TRUE(log.contains("CEngineUrlFCommon: Failed to decrypt registry data (item=ProxyUser, err=-7)"));
}

TEST_F(EngineFilters, AFailingWriteLeavesWhatCameBeforeIt) {
    WdpeUrlfData before = settings();
    ASSERT_EQ(write(WDLT_CONFIG_URLF_SETTINGS, before), WDLT_OK);
    WdpeUrlfData after = before;
    after.dwMode = 1;
    after.dwProxyPort = 2;
    put(after.szProxyUser, "other");
    put(after.szProxyPassword, "other");
    CEngineUrlFCommon helper;
    helper.scan = WDLT_SCAN_URL_FILTER;
    helper.store = std::make_unique<FailingStore>(8); // the password
    EXPECT_EQ(helper.WriteConfig(WDLT_CONFIG_URLF_SETTINGS, &after, sizeof after), WDLT_E_REGISTRY);
    EXPECT_TRUE(log.contains("CEngineUrlFCommon: Failed to write registry (item=ProxyPassword, ret=-9)"));
    WdpeUrlfData stored;
    ASSERT_EQ(read(WDLT_CONFIG_URLF_SETTINGS, stored), WDLT_OK);
    put(after.szProxyPassword, before.szProxyPassword);
    EXPECT_EQ(std::memcmp(&stored, &after, sizeof after), 0);
}

TEST_F(EngineFilters, ConfigTypesThatCantBeReadOrWritten) {
    std::vector<char> buffer(16);
    std::uint64_t size = buffer.size();
    EXPECT_EQ(read(15, buffer.data(), size), WDLT_E_INVALID_ARGUMENT);
    for (const std::uint64_t type : {6u, 14u, 15u}) {
        EXPECT_EQ(manager.WriteConfig(0, WDLT_SCAN_URL_FILTER, 0, type, buffer.data(), 16), WDLT_E_INVALID_ARGUMENT);
        EXPECT_TRUE(log.contains("CEngineUrlFCommon::WriteConfig(): invalid value (dwInput=" + std::to_string(type)));
    }
    EXPECT_TRUE(log.contains("CEngineUrlFCommon::ReadConfig(): invalid value (dwInput=15)"));
}

TEST_F(EngineFilters, SingleNumbersAreBroughtIntoTheirRange) {
    struct Case {
        std::uint64_t type;
        const char* name;
        std::vector<std::pair<std::uint32_t, std::uint32_t>> stored; // and what it reads as
        std::uint32_t absent;
    };
    const Case cases[] = {
        {WDLT_CONFIG_URLF_BACKUP_RETRY, "EnableBackupLKQRetry", {{0, 0}, {1, 1}, {7, 1}}, 1},
        {WDLT_CONFIG_URLF_SOCKET_FAMILY, "ResolveSocketFamily", {{0, 0}, {1, 1}, {2, 2}, {3, 0}}, 0},
        {WDLT_CONFIG_URLF_CACHE_FILE, "UseCacheFile", {{0, 0}, {1, 1}, {9, 1}}, 0},
    };
    tree::setNumber(kUrlKey, "Mode", 0); // the key is there
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::uint32_t number = 99;
        EXPECT_EQ(read(c.type, number), WDLT_OK);
        EXPECT_EQ(number, c.absent);
        for (const auto& [stored, expected] : c.stored) {
            tree::setNumber(kUrlKey, c.name, stored);
            EXPECT_EQ(read(c.type, number), WDLT_OK);
            EXPECT_EQ(number, expected);
            number = stored;
            if (c.type != WDLT_CONFIG_URLF_CACHE_FILE) {
                EXPECT_EQ(write(c.type, number), WDLT_OK);
                EXPECT_EQ(tree::number(kUrlKey, c.name), expected);
            }
        }
    }
    tree::clear(tree::path("Scan"));
    std::uint32_t number = 99;
    EXPECT_EQ(read(WDLT_CONFIG_URLF_BACKUP_RETRY, number), WDLT_E_REGISTRY); // without the key nothing has a default
}

TEST_F(EngineFilters, TheRatingServerMustExistToBeChanged) {
    tree::setNumber(kUrlKey, "Mode", 0);
    WdpeUrlfRSInfo server{};
    put(server.szRatingServer, "rating.example");
    server.dwRatingPort = 80;
    EXPECT_EQ(write(WDLT_CONFIG_URLF_RS_INFO, server), WDLT_E_NOT_FOUND);
    EXPECT_TRUE(log.contains("CEngineUrlFCommon: Failed to ReadRSInfo in WriteRSInfo (ret=-16)"));
    tree::set(kUrlKey, "LookupServer", REG_BINARY, "", 0);
    EXPECT_EQ(write(WDLT_CONFIG_URLF_FULL, server), WDLT_OK);     // any of its config types
    EXPECT_EQ(tree::number(kUrlKey, "LookupPort"), std::nullopt); // 80 is what an absent one reads as
    server.dwRatingPort = 8080;
    EXPECT_EQ(write(WDLT_CONFIG_URLF_RS_INFO, server), WDLT_OK);
    EXPECT_EQ(tree::number(kUrlKey, "LookupPort"), 8080u);
    WdpeUrlfRSInfo again{};
    EXPECT_EQ(read(WDLT_CONFIG_URLF_RS_INFO, again), WDLT_OK);
    EXPECT_EQ(std::memcmp(&again, &server, sizeof server), 0);
}

TEST_F(EngineFilters, AllSettingsAtOnce) {
    WdpeUrlfData part = settings();
    ASSERT_EQ(write(WDLT_CONFIG_URLF_SETTINGS, part), WDLT_OK);
    WdpeUrlfDrsData record{};
    EXPECT_EQ(read(WDLT_CONFIG_URLF_DRS, record), WDLT_E_NOT_FOUND);
    EXPECT_TRUE(log.contains("Read All Registry failed.(-16)"));
    for (const char* const name :
         {"CacheSize", "CacheLifetime", "LookupTimeout", "ErrMode", "RatingType", "EnableWDUFELog", "WDUFELogLevel"})
        tree::setNumber(kUrlKey, name, 5);
    tree::setText(kUrlKey, "ExclusionExtensions", ".gif");
    for (const char* const name : {"LookupServer", "LookupVID"})
        tree::set(kUrlKey, name, REG_BINARY, "", 0);
    ASSERT_EQ(read(WDLT_CONFIG_URLF_DRS, record), WDLT_OK);
    EXPECT_EQ(std::memcmp(&record.full.settings, &part, sizeof part), 0);
    EXPECT_EQ(record.full.dwWDUFELogLevel, 5u);
    EXPECT_EQ(record.full.dwLookupPort, 80u);
    EXPECT_STREQ(record.full.szExclusionExtensions, ".gif");
    EXPECT_EQ(record.dwDRSScoreThresHold, 0u);
    EXPECT_EQ(record.dwDRSCredBlock, 1u);
    EXPECT_EQ(record.dwSize, sizeof record);
}

TEST_F(EngineFilters, ExtraHeaderAndGuid) {
    tree::setNumber(kUrlKey, "Mode", 0);
    std::vector<char> header(12 + 20);
    const auto head = [&](std::uint32_t version, std::uint32_t bytes) {
        std::memcpy(header.data(), &version, sizeof version);
        std::memcpy(header.data() + 4, &bytes, sizeof bytes);
    };
    const auto writeHeader = [&](std::uint64_t size) {
        return manager.WriteConfig(0, WDLT_SCAN_URL_FILTER, 0, WDLT_CONFIG_URLF_EXTRA_HEADER, header.data(), size);
    };
    std::uint64_t size = header.size();
    head(0, 20);
    EXPECT_EQ(writeHeader(size), WDLT_EXTRA_HEADER_VERSION);
    EXPECT_EQ(read(WDLT_CONFIG_URLF_EXTRA_HEADER, header.data(), size), WDLT_EXTRA_HEADER_VERSION);
    head(2, 20);
    EXPECT_EQ(writeHeader(size), WDLT_E_VERSION);
    head(1, 21);
    EXPECT_EQ(writeHeader(size), WDLT_E_INVALID_ARGUMENT); // more than the record has
    head(1, 20);
    EXPECT_EQ(read(WDLT_CONFIG_URLF_EXTRA_HEADER, header.data(), size), WDLT_E_NOT_FOUND);
    EXPECT_FALSE(tree::get(kUrlKey, "ExtraHeaderVersion"));
    std::memcpy(header.data() + 8, "X-Header: of 20 byte", 20);
    ASSERT_EQ(writeHeader(size), WDLT_OK);
    EXPECT_EQ(tree::number(kUrlKey, "ExtraHeaderVersion"), 1u);

    std::fill(header.begin() + 8, header.end(), '\0');
    ASSERT_EQ(read(WDLT_CONFIG_URLF_EXTRA_HEADER, header.data(), size), WDLT_OK);
    EXPECT_EQ(size, 32u);
    EXPECT_EQ(std::string(header.data() + 8, 20), "X-Header: of 20 byte");
    head(1, 19);
    EXPECT_EQ(read(WDLT_CONFIG_URLF_EXTRA_HEADER, header.data(), size), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(size, 32u);
    size = 31;
    head(1, 20);
    EXPECT_EQ(read(WDLT_CONFIG_URLF_EXTRA_HEADER, header.data(), size), WDLT_E_BUFFER_SIZE);

    std::string guid = "0123456789abcdef";
    EXPECT_EQ(manager.WriteConfig(0, WDLT_SCAN_URL_FILTER, 0, WDLT_CONFIG_URLF_QXN_GUID, guid.data(), guid.size()),
              WDLT_OK);
    std::string again(40, 'x');
    size = again.size();
    EXPECT_EQ(read(WDLT_CONFIG_URLF_QXN_GUID, again.data(), size), WDLT_OK);
    EXPECT_EQ(again.substr(0, size), guid);
    size = 15;
    EXPECT_EQ(read(WDLT_CONFIG_URLF_QXN_GUID, again.data(), size), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(size, 32u); // as stored
}

// Somebody stores a longer value whenever a reader has looked at the old one.
TEST_F(EngineFilters, AValueThatGrowsUnderItsReader) {
    WdpeUrlfData record = settings();
    put(record.szProxyUser, std::string(100, 'u'));
    ASSERT_EQ(write(WDLT_CONFIG_URLF_SETTINGS, record), WDLT_OK);
    const auto longer = tree::get(kUrlKey, "ProxyUser");
    put(record.szProxyUser, "u");
    ASSERT_EQ(write(WDLT_CONFIG_URLF_SETTINGS, record), WDLT_OK);
    const std::string kFiles = "Scan\\Common\\HttpFileScan\\config";
    tree::setText(kFiles, "TargetTypes", std::string(300, 't'));
    const auto read = [&](std::uint32_t scan, std::uint32_t input, auto& into, auto&& afterRead) {
        const auto helper = manager.CreateHelper(0, scan, input);
        auto store = std::make_unique<FailingStore>(0);
        store->afterRead = afterRead;
        helper->store = std::move(store);
        std::uint64_t size = sizeof into;
        return helper->ReadConfig(0, &into, &size);
    };
    WdpeUrlfData again{};
    EXPECT_EQ(read(WDLT_SCAN_URL_FILTER, 0, again,
                   [&](const std::string& name) {
                       if (name == "ProxyUser")
                           tree::set(kUrlKey, "ProxyUser", longer->type, longer->data.data(),
                                     static_cast<DWORD>(longer->data.size()));
                   }),
              WDLT_OK);
    EXPECT_STREQ(again.szProxyUser, "u");
    WdpeHttpFileScanData files{};
    std::size_t length = 300;
    EXPECT_EQ(read(WDLT_SCAN_VIRUS, WDLT_INPUT_HTTP_FILE_SCAN, files,
                   [&](const std::string& name) {
                       if (name == "TargetTypes" && length < 303)
                           tree::setText(kFiles, "TargetTypes", std::string(++length, 't'));
                   }),
              WDLT_OK);
    EXPECT_EQ(std::string(files.szTargetTypes), std::string(255, 't'));
}

TEST_F(EngineFilters, UrlListsLieInTheInstallDirectory) {
    tree::setText(kUrlKey, "Whitelist", "C:\\elsewhere\\white.dat");
    tree::setText(kUrlKey, "Blacklist", "black.dat");
    const auto list = std::make_unique<WdpeUrlfUrlList>();
    list->dwListType = WDLT_LIST_WHITE;
    EXPECT_EQ(read(WDLT_CONFIG_URLF_LIST, *list), WDLT_E_FILE_NOT_FOUND);
    list->dwNumOfRecords = 2;
    put(list->records[0].szUrl, "http://a.b/*");
    put(list->records[1].szUrl, "*c.d*");
    ASSERT_EQ(write(WDLT_CONFIG_URLF_LIST, *list), WDLT_OK);
    EXPECT_TRUE(std::filesystem::exists(TestHome::instance().path() / "install" / "white.dat"));
    EXPECT_TRUE(std::filesystem::is_empty(TestHome::instance().path() / "temp"));
    const auto again = std::make_unique<WdpeUrlfUrlList>();
    ASSERT_EQ(read(WDLT_CONFIG_URLF_LIST, *again), WDLT_OK);
    EXPECT_EQ(std::memcmp(again.get(), list.get(), sizeof *list), 0);

    WdpeUrlfQueryEntry entries[2]{};
    put(entries[0].szUrl, "http://a.b/page");
    put(entries[1].szUrl, "http://x.y/");
    WdpeUrlfQuery query{WDLT_LIST_WHITE, 2, entries};
    EXPECT_EQ(read(WDLT_CONFIG_URLF_QUERY, query), WDLT_OK);
    EXPECT_EQ(entries[0].dwExists, 1u);
    EXPECT_EQ(entries[1].dwExists, 0u);
    query.dwListType = WDLT_LIST_BLACK;
    EXPECT_EQ(read(WDLT_CONFIG_URLF_QUERY, query), WDLT_E_FILE_NOT_FOUND);
    EXPECT_TRUE(log.contains("CEngineUrlFCommon: Failed to check the URL List database (file="));
    list->dwListType = 2;
    EXPECT_EQ(read(WDLT_CONFIG_URLF_LIST, *list), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(write(WDLT_CONFIG_URLF_LIST, *list), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(log.contains("CEngineUrlFCommon: Invalid value (dwListType=2)"));

    const auto index = std::make_unique<WdpeUrlfLogIndexList>();
    index->dwNumOfRecords = 77;
    EXPECT_EQ(read(WDLT_CONFIG_URLF_LOG_INDEX, *index), WDLT_OK); // "URLLog.dat", which isn't there
    EXPECT_EQ(index->dwNumOfRecords, 0u);
    const auto categories = std::make_unique<WdpeUrlfCategoryList>();
    EXPECT_EQ(read(WDLT_CONFIG_URLF_CATEGORIES, *categories), WDLT_E_NOT_FOUND);
    tree::setText("", "InstallPath", "");
    EXPECT_EQ(read(WDLT_CONFIG_URLF_LOG_INDEX, *index), WDLT_E_GENERAL);
    EXPECT_TRUE(log.contains("CEngineUrlFCommon: Cannot get the install path"));
}

TEST_F(EngineFilters, HostFilter) {
    constexpr std::uint32_t kScan = WDLT_SCAN_HOST_FILTER;
    WdpeHosfData settings{1, 2, ".gif"};
    ASSERT_EQ(write(WDLT_CONFIG_DEFAULT, settings, kScan), WDLT_OK);
    EXPECT_EQ(tree::storedText(kHostKey, "ExclusionExtensions"), std::string(".gif\0", 5));
    WdpeHosfData again{};
    ASSERT_EQ(read(WDLT_CONFIG_DEFAULT, again, kScan), WDLT_OK);
    EXPECT_EQ(std::memcmp(&again, &settings, sizeof again), 0);
    std::uint64_t size = 775;
    EXPECT_EQ(read(WDLT_CONFIG_DEFAULT, &again, size, kScan), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(size, 776u);
    EXPECT_EQ(manager.WriteConfig(0, kScan, 0, WDLT_CONFIG_DEFAULT, &again, 775), WDLT_E_INVALID_ARGUMENT);
    tree::deleteValue(kHostKey, "NonBlock");
    EXPECT_EQ(read(WDLT_CONFIG_DEFAULT, again, kScan), WDLT_E_NOT_FOUND);
    EXPECT_TRUE(log.contains("CEngineHosFCommon: Failed to read registry (item=NonBlock, ret=-16)"));

    const auto list = std::make_unique<WdpeHosfHostList>();
    EXPECT_EQ(read(WDLT_CONFIG_HOSF_LIST, *list, kScan), WDLT_E_NOT_FOUND);
    tree::setText(kHostKey, "Whitelist", "some/where\\hosts.dat");
    list->dwNumOfRecords = WDLT_MAX_HOST_RECORDS;
    for (std::size_t i = 0; i < WDLT_MAX_HOST_RECORDS; ++i)
        std::memcpy(list->records[i].byHost, &i, sizeof i);
    ASSERT_EQ(write(WDLT_CONFIG_HOSF_LIST, *list, kScan), WDLT_OK);
    EXPECT_EQ(std::filesystem::file_size(TestHome::instance().path() / "install" / "hosts.dat"), 40u + 1024 * 324);
    const auto hosts = std::make_unique<WdpeHosfHostList>();
    ASSERT_EQ(read(WDLT_CONFIG_HOSF_LIST, *hosts, kScan), WDLT_OK);
    EXPECT_EQ(std::memcmp(hosts.get(), list.get(), sizeof *list), 0);
    list->dwListType = 1;
    EXPECT_EQ(write(WDLT_CONFIG_HOSF_LIST, *list, kScan), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(log.contains("CEngineHosFCommon: Invalid value (dwListType=1)"));
    EXPECT_EQ(read(2, *list, kScan), WDLT_E_INVALID_ARGUMENT);
}

} // namespace
