// The records of the URL filter, the host filter and what all virus scans have in common, at their addresses: every
// field absent, damaged and at its limits; what a write stores and never touches, and what one leaves that fails at any
// of its values. Then the list of tolerated spyware.
#include "FieldCases.h"
#include "FreshLog.h"
#include "TestHome.h"
#include "TimeScale.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kUrlKey = "Scan\\Common\\URLFilter\\config";
const std::string kHostKey = "Scan\\Common\\HostFilter\\config";
const std::string kVirusKey = "Scan\\Common\\Virus\\config";

auto filterLine(const std::string& helper, const std::string& verb) {
    return [=](const std::string& field, std::int32_t status) {
        return helper + ": Failed to " + verb + " registry (item=" + field + ", ret=" + std::to_string(status) + ")";
    };
}

FieldCase enciphered(const char* value, std::size_t offset, std::size_t size) {
    return textCase(value, offset, size, FieldShape::Enciphered).with("", "");
}

RecordCase urlFilter() {
#define URL(member) WDLT_FIELD(WdpeUrlfData, member)
    const auto groups = [](const char* value, std::size_t offset, std::size_t size) {
        return textCase(value, offset, size)
            .reads({{"", ""}, {std::string(766, 'g'), std::string(766, 'g')}})
            .writes({{"", ""}, {std::string(767, 'g'), std::string(767, 'g')}});
    };
    const Passages anyNumber{{0u, 0u}, {0xFFFFFFFFu, 0xFFFFFFFFu}};
    return {
        .name = "UrlFilter",
        .scan = WDLT_SCAN_URL_FILTER,
        .key = kUrlKey,
        .size = sizeof(WdpeUrlfData),
        .fields =
            {
                numberCase("Mode", URL(dwMode)).reads(anyNumber).writes(anyNumber),
                numberCase("EnableServerLookup", URL(dwEnableServerLookup)),
                groups("BlockCategoryGroups", URL(szBlockCategoryGroups)),
                numberCase("EnableProxy", URL(dwEnableProxy)),
                textCase("ProxyServer", URL(szProxyServer))
                    .whenAbsent(quietlyReadsAs(""))
                    .reads({{"", ""}, {std::string(256, 'p'), std::string(256, 'p')}}),
                numberCase("ProxyPort", URL(dwProxyPort)).whenAbsent(quietlyReadsAs(80u)).reads(anyNumber),
                enciphered("ProxyUser", URL(szProxyUser)).whenAbsent(quietlyReadsAs("")),
                enciphered("ProxyPassword", URL(szProxyPassword)).whenAbsent(quietlyReadsAs("")),
                numberCase("EnableCategoryChk", URL(dwEnableCategoryChk)),
                numberCase("EnablePharm", URL(dwEnablePharm)),
                numberCase("CategoryNonBlock", URL(dwCategoryNonBlock)),
                numberCase("PharmingNonBlock", URL(dwPharmingNonBlock)),
                numberCase("NotifyAll", URL(dwNotifyAll)),
                numberCase("EnableCredibilityChk", URL(dwEnableCredibilityChk)),
                numberCase("CredibilityNonBlock", URL(dwCredibilityNonBlock)),
                numberCase("UserDefinedCredLevel", URL(dwUserDefinedCredLevel)).whenUnreadable(readsAs(0xFFFFFFFFu)),
                numberCase("UseCredibilityScore", URL(dwUseCredibilityScore)).whenUnreadable(readsAs(0u)),
                numberCase("CredScoreThresHold", URL(dwCredScoreThresHold)).whenUnreadable(readsAs(0xFFFFFFFFu)),
                numberCase("EnablePhishChk", URL(dwEnablePhishChk)),
                numberCase("PhishNonBlock", URL(dwPhishNonBlock)),
                groups("BlockPhishCategoryGrps", URL(szBlockPhishCategoryGrps)),
                numberCase("EnableWdlDns", URL(dwEnableWdlDns)).whenUnreadable(readsAs(1u)),
                numberCase("EnableWdufeDns", URL(dwEnableWdufeDns)).whenUnreadable(readsAs(1u)),
            },
        .unreadLine = filterLine("CEngineUrlFCommon", "read"),
        .unwrittenLine = filterLine("CEngineUrlFCommon", "write")};
#undef URL
}

RecordCase untestedUrls() {
    const auto flag = [](const char* value, std::size_t offset, std::size_t size) {
        return numberCase(value, offset, size)
            .with(0u, 1u)
            .whenAbsent(quietlyReadsAs(0u))
            .reads({{2u, 1u}, {0xFFFFFFFFu, 1u}})
            .writes({{2u, 1u}, {0u, 0u}});
    };
    return {.name = "UntestedUrls",
            .scan = WDLT_SCAN_URL_FILTER,
            .configType = WDLT_CONFIG_URLF_UUC,
            .key = kUrlKey,
            .size = sizeof(WdpeUrlfUUC),
            .fields =
                {
                    flag("EnableUntestedURLChk", WDLT_FIELD(WdpeUrlfUUC, dwEnableUntestedURLChk)),
                    flag("BlockUntestedURL", WDLT_FIELD(WdpeUrlfUUC, dwBlockUntestedURL)),
                    flag("UntestedURLNonBlock", WDLT_FIELD(WdpeUrlfUUC, dwUntestedURLNonBlock)),
                },
            .unreadLine = filterLine("CEngineUrlFCommon", "read"),
            .unwrittenLine = filterLine("CEngineUrlFCommon", "write")};
}

RecordCase hostFilter() {
    const std::string longest(767, 'e');
    return {.name = "HostFilter",
            .scan = WDLT_SCAN_HOST_FILTER,
            .key = kHostKey,
            .size = sizeof(WdpeHosfData),
            .fields =
                {
                    numberCase("EnablePrivateIPCheck", WDLT_FIELD(WdpeHosfData, dwEnablePrivateIPCheck)),
                    numberCase("NonBlock", WDLT_FIELD(WdpeHosfData, dwNonBlock)).reads({{0xFFFFFFFFu, 0xFFFFFFFFu}}),
                    textCase("ExclusionExtensions", WDLT_FIELD(WdpeHosfData, szExclusionExtensions))
                        .reads({{"", ""}, {longest, longest}})
                        .writes({{"", ""}, {longest, longest}}),
                },
            .unreadLine = filterLine("CEngineHosFCommon", "read"),
            .unwrittenLine = filterLine("CEngineHosFCommon", "write")};
}

RecordCase virusCommon() {
#define COMMON(member) WDLT_FIELD(WdpeVsCommon, member)
    const std::string longest(258, 'p');
    const std::string longestFolder = std::string(257, 'p') + '\\';
    return {
        .name = "VirusCommon",
        .scan = WDLT_SCAN_VIRUS,
        .key = kVirusKey,
        .size = sizeof(WdpeVsCommon),
        .fields =
            {
                numberCase("Language", COMMON(dwLanguage)).named("dwLanguage").reads({{0xFFFFFFFFu, 0xFFFFFFFFu}}),
                textCase("PatternPath", COMMON(szPatternPath))
                    .with("C:\\P\\", "D:\\Q\\")
                    .named("szPatternPath")
                    .reads(
                        {{"C:\\P", "C:\\P\\"}, {longest, longest + '\\'}, {longestFolder, longestFolder}, {"\\", "\\"}})
                    .writes({{"C:\\P", "C:\\P"}, {"", ""}}),
                numberCase("KeepNumber", COMMON(dwKeepNumber))
                    .named("dwKeepNumber")
                    .reads({{0x7FFFFFFFu, 0x7FFFFFFFu}, {0x80000000u, 0x7FFFFFFFu}, {0xFFFFFFFFu, 0x7FFFFFFFu}})
                    .writes({{0xFFFFFFFFu, 0xFFFFFFFFu}}),
                numberCase("PurgeBadPattern", COMMON(dwPurgeBadPattern))
                    .named("dwPurgeBadPattern")
                    .whenUnreadable(quietlyReadsAs(0u)),
                numberCase("EngineType", COMMON(dwEngineType)).whenUnreadable(quietlyReadsAs(0u)).neverWritten(),
            },
        .unreadLine =
            [](const std::string& field, std::int32_t status) {
                return "ReadConfig fails (" + std::to_string(status) + ") : WdpeVsCommon::" + field;
            },
        .unwrittenLine =
            [](const std::string& field, std::int32_t status) {
                return "WriteConfig fails (" + std::to_string(status) + ") : WdpeVsCommon::" + field;
            }};
#undef COMMON
}

class FilterRecords : public testing::TestWithParam<RecordCase> {
  protected:
    FilterRecords() { tree::clear(); }

    const TimeScale patient{"0.1"};
    const FreshLog log;
    const LoadedLibrary library{LoadedLibrary::withLog};
    const FieldRunner runner{library, GetParam()};
};

TEST_P(FilterRecords, EachValueThatCantBeRead) {
    runner.tryEachUnreadValue();
}
TEST_P(FilterRecords, Limits) {
    runner.tryLimitsOnRead();
    runner.tryLimitsOnWrite();
    runner.tryTextsWithoutTerminator();
}
TEST_P(FilterRecords, WritesStoreTheirOwnValuesAndNoOther) {
    runner.tryWriting();
}
TEST_P(FilterRecords, AFailingWriteLeavesWhatCameBeforeIt) {
    runner.tryFailingWrites();
}
TEST_P(FilterRecords, TheServiceHearsOfAWrite) {
    runner.tryNotifying();
}
INSTANTIATE_TEST_SUITE_P(All, FilterRecords, testing::Values(urlFilter(), untestedUrls(), hostFilter(), virusCommon()),
                         [](const auto& info) { return std::string(info.param.name); });

class FilterRecord : public testing::Test {
  protected:
    FilterRecord() {
        tree::clear();
        const std::filesystem::path home = TestHome::instance().path();
        std::filesystem::remove_all(home / "install");
        for (const char* const folder : {"install", "temp"})
            std::filesystem::create_directories(home / folder);
        tree::setText("", "InstallPath", (home / "install/").string());
        tree::setText("", "TempPath", (home / "temp/").string());
    }

    template <class Record>
    std::int32_t read(std::uint32_t scan, std::uint64_t configType, Record& record, std::uint64_t& size) const {
        return WDLT_CALL(library, WdltReadConfig)(0, scan, configType, &record, &size);
    }
    template <class Record>
    std::int32_t read(std::uint32_t scan, std::uint64_t configType, Record& record) const {
        std::uint64_t size = sizeof record;
        return read(scan, configType, record, size);
    }

    const TimeScale patient{"0.1"};
    const FreshLog log;
    const LoadedLibrary library{LoadedLibrary::withLog};
};

TEST_F(FilterRecord, MoreRoomThanARecordTakes) {
    std::vector<BYTE> buffer(4000);
    for (const RecordCase& record : {urlFilter(), untestedUrls(), hostFilter()}) {
        SCOPED_TRACE(record.name);
        FieldRunner(library, record).layDown(0);
        std::uint64_t size = record.size + 1;
        EXPECT_EQ(read(record.scan, record.configType, buffer[0], size), WDLT_OK);
        EXPECT_EQ(size, record.size + 1);
    }
    std::uint64_t size = 276;
    EXPECT_EQ(read(WDLT_SCAN_VIRUS, 2, buffer[0], size), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(library.logged("CEngineSCANXCommon::ReadConfig(): invalid value (dwInput=2)"));
}

TEST_F(FilterRecord, AnEmptyPatternFolderIsTheInstallDirectory) {
    FieldRunner(library, virusCommon()).layDown(0);
    tree::setText(kVirusKey, "PatternPath", "");
    const std::string longest(258, 'i');
    for (const std::string& install : {std::string("C:\\I"), std::string("C:\\I\\"), longest}) {
        tree::setText("", "InstallPath", install);
        WdpeVsCommon common{};
        EXPECT_EQ(read(WDLT_SCAN_VIRUS, WDLT_CONFIG_DEFAULT, common), WDLT_OK);
        EXPECT_EQ(std::string(common.szPatternPath), install.ends_with('\\') ? install : install + '\\');
        EXPECT_NE(common.dwKeepNumber, 0u);
    }
    tree::setText("", "InstallPath", "");
    WdpeVsCommon common{};
    EXPECT_EQ(read(WDLT_SCAN_VIRUS, WDLT_CONFIG_DEFAULT, common), WDLT_OK);
    EXPECT_NE(common.dwLanguage, 0u);
    EXPECT_STREQ(common.szPatternPath, "");
    EXPECT_EQ(common.dwKeepNumber, 0u); // the read ends there, and is no failure
    EXPECT_TRUE(library.logged("ReadConfig fails (0) : InstallPath"));
}

WdpeSpyRecord spyware(const std::string& text) {
    WdpeSpyRecord record{};
    text.copy(record.szText, sizeof record.szText - 1);
    return record;
}

TEST_F(FilterRecord, SpywareListThroughItsOwnFunctions) {
    ChangeListener service;
    const auto readList = WDLT_CALL(library, WdltSpyReadRecordList);
    const auto writeList = WDLT_CALL(library, WdltSpyWriteRecordList);
    std::int32_t count = 7;
    EXPECT_EQ(readList(0, nullptr, &count), WDLT_OK); // no file yet
    EXPECT_EQ(count, 0);
    EXPECT_EQ(readList(0, nullptr, nullptr), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(library.logged("CEngineSCANXCommon: Failed to get file name in registry. Use SpyAList.dat"));

    const std::vector<WdpeSpyRecord> five(5, spyware(std::string(128, 's')));
    EXPECT_EQ(writeList(9, five.data(), 5), WDLT_OK); // the type is passed over
    EXPECT_THAT(service.heard(), ElementsAre(Change{0, WDLT_SCAN_VIRUS}));
    std::vector<WdpeSpyRecord> some(9, spyware("untouched"));
    count = 1;
    EXPECT_EQ(readList(9, some.data(), &count), WDLT_OK);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(std::string(some[0].szText), std::string(128, 's'));
    EXPECT_STREQ(some[1].szText, "untouched");
    count = 9;
    EXPECT_EQ(readList(0, some.data(), &count), WDLT_OK);
    EXPECT_EQ(count, 5);
    EXPECT_STREQ(some[5].szText, "untouched");

    std::vector<WdpeSpyRecord> many(257, spyware("x"));
    EXPECT_EQ(writeList(0, nullptr, 0), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(writeList(0, many.data(), 257), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(writeList(0, many.data(), -1), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(library.logged("CFuncSpy::RecordListWrite(): count 257 exceeds the maximum"));
    many[200] = {};
    EXPECT_EQ(writeList(0, many.data(), 256), WDLT_E_INVALID_ARGUMENT);
    std::memset(many[200].szText, 'y', sizeof many[200].szText); // no terminator
    EXPECT_EQ(writeList(0, many.data(), 256), WDLT_E_INVALID_ARGUMENT);
    EXPECT_THAT(service.heard(), IsEmpty());
    count = 0;
    EXPECT_EQ(readList(0, nullptr, &count), WDLT_OK);
    EXPECT_EQ(count, 5); // none of it changed anything
    many[200] = spyware("y");
    EXPECT_EQ(writeList(0, many.data(), 256), WDLT_OK);
    EXPECT_EQ(readList(0, nullptr, &count), WDLT_OK);
    EXPECT_EQ(count, 256);
}

TEST_F(FilterRecord, SpywareListAtItsAddress) {
    const auto list = std::make_unique<WdpeSpyList>();
    const auto write = [&](std::uint64_t size) {
        return WDLT_CALL(library, WdltWriteConfig)(0, WDLT_SCAN_VIRUS, WDLT_CONFIG_SPYWARE_LIST, list.get(), size);
    };
    std::uint64_t size = sizeof *list - 1;
    EXPECT_EQ(read(WDLT_SCAN_VIRUS, WDLT_CONFIG_SPYWARE_LIST, *list, size), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(size, 33032u);
    list->dwNumOfRecords = 1;
    list->records[0] = spyware("Ad.ware");
    EXPECT_EQ(write(sizeof *list - 1), WDLT_E_INVALID_ARGUMENT);
    // A folder in the name isn't taken off: it stands behind the install directory as it is.
    tree::setText(kVirusKey, "WhiteList", "sub/list.dat");
    const std::filesystem::path install = TestHome::instance().path() / "install";
    EXPECT_LT(write(sizeof *list), WDLT_OK);
    std::filesystem::create_directories(install / "sub");
    EXPECT_EQ(write(sizeof *list), WDLT_OK);
    EXPECT_TRUE(std::filesystem::exists(install / "sub/list.dat"));
    EXPECT_TRUE(std::filesystem::is_empty(TestHome::instance().path() / "temp"));
    const auto again = std::make_unique<WdpeSpyList>();
    EXPECT_EQ(read(WDLT_SCAN_VIRUS, WDLT_CONFIG_SPYWARE_LIST, *again), WDLT_OK);
    EXPECT_EQ(std::memcmp(again.get(), list.get(), sizeof *list), 0);

    list->dwListType = 1;
    EXPECT_EQ(write(sizeof *list), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(read(WDLT_SCAN_VIRUS, WDLT_CONFIG_SPYWARE_LIST, *list), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(library.logged("CEngineSCANXCommon: Invalid value (dwListType=1)"));
    list->dwListType = 0;
    tree::setText("", "InstallPath", "");
    EXPECT_EQ(read(WDLT_SCAN_VIRUS, WDLT_CONFIG_SPYWARE_LIST, *list), WDLT_E_GENERAL);
    EXPECT_TRUE(library.logged("CEngineSCANXCommon: Cannot get the install path"));
}

} // namespace
