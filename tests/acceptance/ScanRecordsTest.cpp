// The records of the mail handlers, the HTTP handler and manager, the virus scan and the file scan, at their addresses:
// every field at its limits, absent and damaged; what a write stores, corrects and never touches, and what one leaves
// that fails at any of its values.
#include "FieldCases.h"
#include "FreshLog.h"
#include "TimeScale.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

const std::string kPop3Key = "ProtocolHandler\\Mail in\\config";
const std::string kSmtpKey = "ProtocolHandler\\Mail out\\config";
const std::string kHttpKey = "ProtocolHandler\\Web\\config";
const std::string kManagerKey = "Scan\\Common\\HttpManager\\config";
const std::string kFileScanKey = "Scan\\Common\\HttpFileScan\\config";

constexpr std::uint32_t kMax = 0x9FFFF;

// The lines of a record with the field and the status put in.
auto linesOf(std::string before, std::string between, std::string behind, bool fieldFirst) {
    return [=](const std::string& field, std::int32_t status) {
        const std::string number = std::to_string(status);
        return before + (fieldFirst ? field + between + number : number + between + field) + behind;
    };
}
auto handlerRead(const std::string& record) {
    return linesOf("[WdltCfg.dll] ReadConfig fails (", ") : " + record + "::", "", false);
}
auto handlerWritten(const std::string& record) {
    return [=](const std::string& field, std::int32_t) {
        return "[WdltCfg.dll] WriteConfig " + record + "::" + field + " fails.";
    };
}
const auto kWebRead = linesOf("[WdltCfg] ReadValue failed (key=", ", ret=", ")", true);
const auto kWebWritten = linesOf("[WdltCfg] WriteValue failed (key=", ", ret=", ")", true);

Passages limitedTo(std::uint32_t limit) {
    return {{0u, 0u}, {limit - 1, limit - 1}, {limit, limit}, {limit + 1, limit}, {0xFFFFFFFFu, limit}};
}
Passages unchanged() {
    return {{0u, 0u}, {kMax + 1, kMax + 1}, {0xFFFFFFFFu, 0xFFFFFFFFu}};
}

template <class Record>
std::vector<FieldCase> mailFields() {
    return {
        numberCase("LimitSize", WDLT_FIELD(Record, dwLimitSize))
            .named("dwLimitSize")
            .reads(limitedTo(kMax))
            .writes(unchanged()),
        numberCase("IntervalLength", WDLT_FIELD(Record, dwIntervalLength)).named("dwIntervalLength").reads(unchanged()),
        numberCase("WaitTime", WDLT_FIELD(Record, dwWaitTime)).named("dwWaitTime").reads(unchanged()),
    };
}

RecordCase pop3() {
    return {.name = "Pop3",
            .protocol = WDLT_PROTOCOL_POP3,
            .key = kPop3Key,
            .size = sizeof(WdphPop3),
            .fields = mailFields<WdphPop3>(),
            .unreadLine = handlerRead("WdphPop3"),
            .unwrittenLine = handlerWritten("WdphPop3")};
}

RecordCase smtp() {
    RecordCase record{.name = "Smtp",
                      .protocol = WDLT_PROTOCOL_SMTP,
                      .key = kSmtpKey,
                      .size = sizeof(WdphSmtp),
                      .fields = mailFields<WdphSmtp>(),
                      .unreadLine = handlerRead("WdphSmtp"),
                      .unwrittenLine = handlerWritten("WdphSmtp")};
    record.fields.push_back(numberCase("MaxSessionCount", WDLT_FIELD(WdphSmtp, dwMaxSessionCount))
                                .named("dwMaxSessionCount")
                                .whenAbsent(quietlyReadsAs(100u))
                                .reads({{0u, 1u}, {1u, 1u}, {5u, 5u}})
                                .writes({{0u, 0u}}));
    return record;
}

RecordCase http() {
#define HTTP(member) WDLT_FIELD(WdphHttp, member)
    const std::string full(16, 'm');
    const std::string tooLong(17, 'm');
    std::string thirtyTwo = "0";
    for (int i = 1; i < 32; ++i)
        thirtyTwo.append(",").append(std::to_string(i));
    return {
        .name = "Http",
        .protocol = WDLT_PROTOCOL_HTTP,
        .key = kHttpKey,
        .size = sizeof(WdphHttp),
        .fields =
            {
                namesCase("TargetRequestMethods", HTTP(szTargetRequestMethods), 17)
                    .reads({{"", ""},
                            {"GET,POST", "GET,POST"},
                            {"GET," + full + ",PUT", "GET," + full + ",PUT"},
                            {"GET," + tooLong + ",PUT", "GET,PUT"},
                            {thirtyTwo, thirtyTwo},
                            {thirtyTwo + ",32", thirtyTwo},
                            {"A,,B", "A,,B"},
                            {"A B,", "A B"}})
                    .writes({{"", ""}, {"A,,B", "A"}, {full, full}, {thirtyTwo, thirtyTwo}}),
                numberCase("MessageBodyMemorySizeLimit", HTTP(dwMessageBodyMemorySizeLimit)).reads(unchanged()),
                numberCase("MaxRequestBodyScanSize", HTTP(dwMaxRequestBodyScanSize)).reads(unchanged()),
                numberCase("MaxResponseBodyScanSize", HTTP(dwMaxResponseBodyScanSize)).reads(unchanged()),
                numberCase("MaxLineSize", HTTP(dwMaxLineSize)).reads(unchanged()),
                numberCase("MaxHeaderCount", HTTP(dwMaxHeaderCount)).reads(unchanged()),
                numberCase("ReqSockOptSndBuf", HTTP(dwReqSockOptSndBuf)).whenAbsent(quietlyReadsAs(0u)).neverWritten(),
                numberCase("ReceiveTimeout", HTTP(dwReceiveTimeout))
                    .with(20u, 30u)
                    .whenAbsent(quietlyReadsAs(0u))
                    .reads({{599u, 599u}, {600u, 600u}, {601u, 0u}, {0xFFFFFFFFu, 0u}})
                    .writesBack({{600u, 600u}, {601u, 0u}, {0xFFFFFFFFu, 0u}}),
                numberCase("EnableRequestSndBuf", HTTP(dwEnableRequestSndBuf))
                    .with(0u, 1u)
                    .whenAbsent(quietlyReadsAs(1u))
                    .reads({{7u, 7u}})
                    .writesBack({{0u, 0u}, {7u, 1u}}),
                numberCase("SockSendBufSize", HTTP(dwSockSendBufSize)).whenAbsent(quietlyReadsAs(2048u)),
                numberCase("SockResponseBufSize", HTTP(dwSockResponseBufSize)).whenAbsent(quietlyReadsAs(8192u)),
                numberCase("SockRequestBufSize", HTTP(dwSockRequestBufSize)).whenAbsent(quietlyReadsAs(1024u)),
            },
        .writeOrder = {"TargetRequestMethods", "MessageBodyMemorySizeLimit", "MaxRequestBodyScanSize",
                       "MaxResponseBodyScanSize", "MaxLineSize", "MaxHeaderCount", "ReceiveTimeout", "SockSendBufSize",
                       "SockResponseBufSize", "SockRequestBufSize", "EnableRequestSndBuf"},
        .unreadLine = kWebRead,
        .unwrittenLine = kWebWritten,
        .readCode = WDLT_E_REGISTRY};
#undef HTTP
}

RecordCase manager() {
#define MANAGER(member) WDLT_FIELD(WdsmHttpConfig, member)
    const Passages bareNames{{"C:\\Folder\\file.htm", "file.htm"},
                             {"/folder/file.htm", "file.htm"},
                             {"folder\\", ""},
                             {"", ""},
                             {std::string(255, 'f'), std::string(255, 'f')}};
    std::string sixtyFour = "0";
    for (int i = 1; i < 64; ++i)
        sixtyFour.append(",").append(std::to_string(i));
    const auto file = [&](const char* value, std::size_t offset, std::size_t size) {
        return textCase(value, offset, size).reads(bareNames).writesBack(bareNames);
    };
    return {.name = "Manager",
            .scan = WDLT_SCAN_HTTP_MANAGER,
            .key = kManagerKey,
            .size = sizeof(WdsmHttpConfig),
            .fields =
                {
                    file("UrlHistoryFile", MANAGER(szUrlHistoryFile)),
                    numberCase("MaxUrlHistoryCount", MANAGER(dwMaxUrlHistoryCount)).reads(unchanged()),
                    namesCase("ExclusionExtensions", MANAGER(szExclusionExtensions), 6)
                        .reads({{"jpeg5,gif", "jpeg5,gif"},
                                {"jpeg56,gif", "gif"},
                                {sixtyFour, sixtyFour},
                                {sixtyFour + ",64", sixtyFour}})
                        .writes({{"", ""}, {"a,,b", "a"}, {sixtyFour, sixtyFour}}),
                    file("UrlFilterAlertFile", MANAGER(szUrlFilterAlertFile)),
                    file("UrlFilterCredAlertFile", MANAGER(szUrlFilterCredAlertFile)),
                    file("HostFilterAlertFile", MANAGER(szHostFilterAlertFile)),
                    file("HostFilterErrorFile", MANAGER(szHostFilterErrorFile)),
                    file("PrivacyDataAlertFile", MANAGER(szPrivacyDataAlertFile)),
                    numberCase("MaxWebMailScanSize", MANAGER(dwMaxWebMailScanSize))
                        .reads(unchanged())
                        .writesBack(limitedTo(kMax)),
                    numberCase("HttpNotifyExFlag", MANAGER(WdsmHttpNotifyExFlag))
                        .whenUnreadable(readsAs(0u))
                        .writes(unchanged()),
                },
            .unreadLine = kWebRead,
            .unwrittenLine = kWebWritten,
            .readCode = WDLT_E_REGISTRY};
#undef MANAGER
}

RecordCase webMail() {
    return {.name = "WebMail",
            .scan = WDLT_SCAN_HTTP_MANAGER,
            .configType = WDLT_CONFIG_HTTP_WEB_MAIL,
            .key = kManagerKey,
            .size = sizeof(WdsmWebMailData),
            .fields =
                {
                    numberCase("MaxWebMailScanSize", WDLT_FIELD(WdsmWebMailData, dwMaxWebMailScanSize))
                        .whenUnreadable(readsAs(3072u))
                        .reads(unchanged())
                        .writes(limitedTo(kMax)),
                    numberCase("WebMailActionSizeThreshold", WDLT_FIELD(WdsmWebMailData, dwWebMailActionSizeThreshold))
                        .whenUnreadable(readsAs(256u))
                        .reads(unchanged())
                        .writes(limitedTo(kMax)),
                },
            .unreadLine = kWebRead,
            .unwrittenLine = kWebWritten};
}

RecordCase fileEvents() {
    constexpr std::uint32_t kMost = 0x10000;
    return {.name = "FileEvents",
            .scan = WDLT_SCAN_HTTP_MANAGER,
            .configType = WDLT_CONFIG_HTTP_FILE_EVENTS,
            .key = kManagerKey,
            .size = sizeof(WdpeHfeData),
            .fields =
                {
                    numberCase("HfeTargetMethod", WDLT_FIELD(WdpeHfeData, dwHfeTargetMethod))
                        .whenUnreadable(readsAs(1u))
                        .reads(unchanged())
                        .writes(unchanged()),
                    numberCase("HfeMaxDecompressSize", WDLT_FIELD(WdpeHfeData, dwHfeMaxDecompressSize))
                        .whenUnreadable(readsAs(kMost))
                        .reads({{0u, kMost}, {1u, 1u}, {kMost, kMost}, {kMost + 1, kMost + 1}})
                        .writes({{0u, kMost}, {1u, 1u}, {kMost, kMost}, {kMost + 1, kMost}, {0xFFFFFFFFu, kMost}}),
                },
            .unreadLine = kWebRead,
            .unwrittenLine = kWebWritten};
}

RecordCase pluginEvent() {
    return {.name = "PluginEvent",
            .scan = WDLT_SCAN_HTTP_MANAGER,
            .configType = WDLT_CONFIG_HTTP_PLUGIN_EVENT,
            .key = kManagerKey,
            .size = 1,
            .fields = {numberCase("HfeEnablePluginFileEvent", 0, 1)
                           .with(1u, 0u)
                           .whenUnreadable(readsAs(0u))
                           .reads({{0u, 0u}, {2u, 1u}, {0x100u, 1u}})
                           .writes({{0u, 0u}, {1u, 1u}, {255u, 1u}})},
            .unreadLine = kWebRead,
            .unwrittenLine = kWebWritten};
}

RecordCase fileScan() {
#define FILE_SCAN(member) WDLT_FIELD(WdpeHttpFileScanData, member)
    const std::string longest(255, 't');
    return {.name = "FileScan",
            .scan = WDLT_SCAN_VIRUS,
            .input = WDLT_INPUT_HTTP_FILE_SCAN,
            .key = kFileScanKey,
            .size = sizeof(WdpeHttpFileScanData),
            .fields =
                {
                    numberCase("HttpActionMode", FILE_SCAN(dwHttpActionMode))
                        .whenUnreadable(readsAs(0u))
                        .writes(unchanged()),
                    numberCase("ActionSizeThreshold", FILE_SCAN(dwActionSizeThreshold))
                        .whenUnreadable(readsAs(256u))
                        .reads(unchanged())
                        .writes(limitedTo(kMax)),
                    numberCase("MaxScanSize", FILE_SCAN(dwMaxScanSize))
                        .whenUnreadable(readsAs(5120u))
                        .reads(unchanged())
                        .writes(limitedTo(kMax)),
                    textCase("TargetTypes", FILE_SCAN(szTargetTypes))
                        .whenAbsent(readsAs("7"))
                        .whenTooLarge(quietlyReadsAs(std::string(255, 'a')))
                        .reads({{longest, longest}, {longest + "t", longest}, {"", ""}})
                        .writes({{longest, longest}, {"", ""}}),
                },
            .unreadLine = linesOf("CHttpFileScanCommon: Failed to read registry (item=", ", ret=", ")", true),
            .unwrittenLine = linesOf("CHttpFileScanCommon: Failed to write registry (item=", ", ret=", ")", true)};
#undef FILE_SCAN
}

struct VirusScan {
    const char* name;
    std::uint32_t protocol;
    std::uint32_t input;
    const char* key;
    WdpeVsData defaults;
};
constexpr VirusScan kVirusScans[] = {
    {"VirusPop3", 1, 0, "Scan\\In\\Virus\\config", {3, 4, 1, 1, 1, 0xFFFFFFFF, 1, 30, 1, 201}},
    {"VirusSmtp", 2, 0, "Scan\\Out\\Virus\\config", {3, 101, 1, 1, 1, 0xFFFFFFFF, 1, 30, 1, 101}},
    {"VirusHttp", 3, 0, "Scan\\Web\\Virus\\config", {3, 4, 1, 1, 1, 0xFFFFFFFF, 1, 30, 1, 4}},
    {"VirusFiles", 3, 1, "Scan\\Web\\HttpFileScan\\config", {3, 4, 1, 1, 1, 0x100000, 1, 30, 1, 4}},
};
// A protocol without a row of defaults: the store's failure ends the read.
constexpr VirusScan kOtherVirusScan{"VirusOther", 7, 0, "Scan\\Other\\Virus\\config", {}};

RecordCase virusScan(const VirusScan& scan) {
    const bool hasDefaults = scan.defaults.dwFirstAction != 0;
    const auto told = [&](std::uint32_t number) { return hasDefaults ? readsAs(number) : endsTheRead(); };
    const auto quiet = [&](std::uint32_t number, std::uint32_t otherwise) {
        return quietlyReadsAs(hasDefaults ? number : otherwise);
    };
    const WdpeVsData& defaults = scan.defaults;
#define VIRUS(value, member) numberCase(value, WDLT_FIELD(WdpeVsData, member)).named(#member)
    return {
        .name = scan.name,
        .protocol = scan.protocol,
        .scan = WDLT_SCAN_VIRUS,
        .input = scan.input,
        .key = scan.key,
        .size = sizeof(WdpeVsData),
        .fields =
            {
                VIRUS("Action", dwFirstAction).whenUnreadable(told(defaults.dwFirstAction)).reads(unchanged()),
                VIRUS("Action2nd", dwSecondAction)
                    .named("dwSecondAction", "dwSectionAction")
                    .whenUnreadable(told(defaults.dwSecondAction)),
                VIRUS("ZipClean", dwZipClean).whenUnreadable(told(defaults.dwZipClean)),
                VIRUS("ZipScan", dwZipScan).whenUnreadable(readsAs(defaults.dwZipScan)),
                VIRUS("ZipLayer", dwZipLayer)
                    .with(2u, 3u)
                    .whenUnreadable(told(defaults.dwZipLayer))
                    .reads({{0u, 1u}, {1u, 1u}, {6u, 6u}, {7u, 6u}, {0xFFFFFFFFu, 6u}})
                    .writes({{0u, 0u}, {9u, 9u}}),
                VIRUS("ExtractFileSizeLimit", dwExtractFileSizeLimit)
                    .whenUnreadable(told(defaults.dwExtractFileSizeLimit)),
                VIRUS("PackerSnare", dwPackerSnare).whenUnreadable(told(defaults.dwPackerSnare)),
                VIRUS("MultiInfection", dwMultiInfection)
                    .whenUnreadable(quiet(defaults.dwMultiInfection, 30))
                    .reads({{0u, 1u}, {1u, 1u}, {0xFFFFFFFFu, 0xFFFFFFFFu}})
                    .neverWritten(),
                VIRUS("SpywareScan", dwSpywareScan).whenUnreadable(quiet(defaults.dwSpywareScan, 0)).reads(unchanged()),
                VIRUS("SpywareAction", dwSpywareAction).whenUnreadable(told(defaults.dwSpywareAction)),
            },
        .unreadLine =
            [hasDefaults](const std::string& field, std::int32_t status) {
                return (hasDefaults ? "ReadConfig item failed(" : "ReadConfig fails (") + std::to_string(status) +
                       ") : WdpeVsData::" + field + (hasDefaults ? ", used default value." : "");
            },
        .unwrittenLine = linesOf("WriteConfig fails (", ") : WdpeVsData::", "", false)};
#undef VIRUS
}

void layDownHandlers() {
    struct Handler {
        const char* name;
        std::uint32_t type;
        const char* scan;
    };
    for (const Handler& handler :
         {Handler{"Mail in", 1, "In"}, {"Mail out", 2, "Out"}, {"Web", 3, "Web"}, {"Other", 7, "Other"}}) {
        const std::string key = std::string("ProtocolHandler\\").append(handler.name);
        tree::setNumber(key, "Type", handler.type);
        tree::setText(key, "Scan", handler.scan);
    }
}

class ScanRecords : public testing::TestWithParam<RecordCase> {
  protected:
    ScanRecords() {
        tree::clear();
        layDownHandlers();
    }

    const TimeScale patient{"0.05"};
    const FreshLog log;
    const LoadedLibrary library{LoadedLibrary::withLog};
    const FieldRunner runner{library, GetParam()};
};

TEST_P(ScanRecords, EachValueThatCantBeRead) {
    runner.tryEachUnreadValue();
}

TEST_P(ScanRecords, LimitsOnReading) {
    runner.tryLimitsOnRead();
}

TEST_P(ScanRecords, WritesStoreTheirOwnValuesAndNoOther) {
    runner.tryWriting();
    runner.tryLimitsOnWrite();
    runner.tryTextsWithoutTerminator();
}

TEST_P(ScanRecords, AFailingWriteLeavesWhatCameBeforeIt) {
    runner.tryFailingWrites();
}

TEST_P(ScanRecords, TheServiceHearsOfAWrite) {
    runner.tryNotifying();
}

INSTANTIATE_TEST_SUITE_P(All, ScanRecords,
                         testing::Values(pop3(), smtp(), http(), manager(), webMail(), fileEvents(), pluginEvent(),
                                         fileScan(), virusScan(kVirusScans[0]), virusScan(kVirusScans[1]),
                                         virusScan(kVirusScans[2]), virusScan(kVirusScans[3]),
                                         virusScan(kOtherVirusScan)),
                         [](const auto& info) { return std::string(info.param.name); });

class ScanRecord : public testing::Test {
  protected:
    ScanRecord() {
        tree::clear();
        layDownHandlers();
    }

    const FreshLog log;
    const LoadedLibrary library{LoadedLibrary::withLog};
};

TEST_F(ScanRecord, LinesOfSizesAndConfigTypes) {
    const auto read = WDLT_CALL(library, WdltReadConfig);
    const auto write = WDLT_CALL(library, WdltWriteConfig);
    std::vector<BYTE> buffer(400);
    std::uint64_t size = 12;
    EXPECT_EQ(read(WDLT_PROTOCOL_POP3, 0, 0, nullptr, &size), WDLT_E_GENERAL);
    EXPECT_EQ(write(WDLT_PROTOCOL_SMTP, 0, 0, buffer.data(), 15), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(write(WDLT_PROTOCOL_POP3, WDLT_SCAN_VIRUS, 0, buffer.data(), 39), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(read(0, WDLT_SCAN_HTTP_MANAGER, 4, buffer.data(), &size), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(write(0, WDLT_SCAN_HTTP_MANAGER, 0x1F, buffer.data(), 12), WDLT_E_INVALID_ARGUMENT);
    for (const char* const line :
         {"data is NULL", "[WdltCfg.dll] WriteConfig size is invalid (15 / 16)",
          "> WriteConfig size is invalid (39 / 40)", "[WdltCfg.dll] ReadConfig invalid input : pInput=0x4",
          "[WdltCfg.dll] WriteConfig invalid input : pInput=0x1f"})
        EXPECT_TRUE(library.logged(line)) << line;
    size = buffer.size(); // more than enough will do
    EXPECT_EQ(
        WDLT_CALL(library, WdltReadConfigEx)(0, WDLT_SCAN_VIRUS, WDLT_INPUT_HTTP_FILE_SCAN, 0, buffer.data(), &size),
        WDLT_OK);
    EXPECT_EQ(size, buffer.size());
}

// With not one value stored the defaults make a whole record, but for a protocol that has none.
TEST_F(ScanRecord, VirusScansOfAFreshTree) {
    for (const VirusScan& scan : kVirusScans) {
        FieldRunner::Bytes bytes;
        EXPECT_EQ(FieldRunner(library, virusScan(scan)).read(bytes), WDLT_OK) << scan.name;
        EXPECT_EQ(std::memcmp(bytes.data(), &scan.defaults, sizeof scan.defaults), 0) << scan.name;
    }
    FieldRunner::Bytes bytes;
    EXPECT_EQ(FieldRunner(library, virusScan(kOtherVirusScan)).read(bytes), WDLT_E_REGISTRY);
    EXPECT_TRUE(library.logged("ReadConfig fails (-9) : WdpeVsData::dwFirstAction"));
}

TEST_F(ScanRecord, TheActionOnSpywareMattersOnlyWhileItIsLookedFor) {
    for (const VirusScan& scan : {kVirusScans[1], kOtherVirusScan}) {
        const FieldRunner runner(library, virusScan(scan));
        runner.layDown(0);
        tree::setNumber(scan.key, "SpywareScan", 0);
        WdpeVsData record;
        FieldRunner::Bytes bytes;
        ASSERT_EQ(runner.read(bytes), WDLT_OK);
        std::memcpy(&record, bytes.data(), sizeof record);
        EXPECT_NE(record.dwSpywareAction, 0u); // what is stored counts nevertheless
        tree::deleteValue(scan.key, "SpywareAction");
        ASSERT_EQ(runner.read(bytes), WDLT_OK);
        std::memcpy(&record, bytes.data(), sizeof record);
        EXPECT_EQ(record.dwSpywareAction, 0u);
        EXPECT_EQ(record.dwSpywareScan, 0u);
    }
    EXPECT_FALSE(library.logged("dwSpywareAction"));
}

// Quotes, commas inside names, and names that would not come back.
TEST_F(ScanRecord, ListsOfNames) {
    const auto read = [&](const std::string& stored) {
        tree::setText(kHttpKey, "TargetRequestMethods", stored);
        FieldRunner::Bytes bytes;
        EXPECT_EQ(FieldRunner(library, http()).read(bytes), WDLT_OK);
        return bytes;
    };
    const auto slot = [](const FieldRunner::Bytes& bytes, std::size_t index) {
        return std::string(reinterpret_cast<const char*>(bytes.data()) + 17 * index);
    };
    FieldRunner(library, http()).layDown(0);
    FieldRunner::Bytes bytes = read("\"A,B\",C\"\"D,E");
    EXPECT_EQ(slot(bytes, 0), "A,B");
    EXPECT_EQ(slot(bytes, 1), "C\"D");
    EXPECT_EQ(slot(bytes, 2), "E");
    EXPECT_EQ(FieldRunner(library, http()).write(bytes), WDLT_OK);
    EXPECT_EQ(tree::storedText(kHttpKey, "TargetRequestMethods"), std::string("\"A,B\",C\"\"D,E\0", 13));

    read("GET,ABCDEFGHIJKLMNOPQ,PUT");
    EXPECT_TRUE(library.logged("[WdltCfg] CHandlerHTTP::ReadConfig: Skip a value (key=TargetRequestMethods, "
                               "value=ABCDEFGHIJKLMNOPQ)"));
    tree::setText(kManagerKey, "ExclusionExtensions", "gif,toolong");
    tree::setText(kManagerKey, "UrlHistoryFile", "h");
    tree::setNumber(kManagerKey, "MaxUrlHistoryCount", 1);
    FieldRunner::Bytes ignored;
    EXPECT_EQ(FieldRunner(library, manager()).read(ignored), WDLT_E_REGISTRY); // the next value isn't there
    EXPECT_TRUE(library.logged("[WdltCfg] CManagerHTTPCommon::ReadConfig: Skip a value (key=ExclusionExtensions, "
                               "value=toolong)"));

    // A text that gets too long is cut so that it can be read.
    for (auto at = bytes.begin(); at < bytes.begin() + 32 * 17; at += 17)
        std::fill_n(at, 16, BYTE{'"'});
    EXPECT_EQ(FieldRunner(library, http()).write(bytes), WDLT_OK);
    EXPECT_EQ(tree::storedText(kHttpKey, "TargetRequestMethods")->size(), 1024u);
    EXPECT_EQ(FieldRunner(library, http()).read(bytes), WDLT_OK);
    EXPECT_EQ(slot(bytes, 0), std::string(16, '"'));
}

TEST_F(ScanRecord, LinesOfDiscardedNumbers) {
    const FieldRunner runner(library, http());
    runner.layDown(0);
    tree::setNumber(kHttpKey, "ReceiveTimeout", 601);
    FieldRunner::Bytes bytes;
    EXPECT_EQ(runner.read(bytes), WDLT_OK);
    EXPECT_TRUE(library.logged("[WdltCfg] Illegal HTTP recv timeout. Discard the value(reg value=601)"));
    WdphHttp record;
    std::memcpy(&record, bytes.data(), sizeof record);
    record.dwReceiveTimeout = 700;
    std::memcpy(bytes.data(), &record, sizeof record);
    const FieldRunner::Bytes given = bytes;
    {
        const FailingWrite beforeIt(3);
        EXPECT_EQ(runner.write(bytes), WDLT_E_REGISTRY);
    }
    EXPECT_EQ(bytes, given); // not reached, and so not corrected
    EXPECT_FALSE(library.logged("won't save"));
    EXPECT_EQ(runner.write(bytes), WDLT_OK);
    EXPECT_TRUE(library.logged(
        "[WdltCfg] Illegal HTTP recv timeout. Discard the value and won't save to registry(recv timeout=700)"));

    FieldRunner(library, manager()).layDown(0);
    FieldRunner(library, fileEvents()).layDown(0);
    tree::setNumber(kManagerKey, "HfeMaxDecompressSize", 0);
    tree::setNumber(kManagerKey, "HttpNotifyExFlag", 0xAB);
    EXPECT_EQ(FieldRunner(library, fileEvents()).read(bytes), WDLT_OK);
    EXPECT_TRUE(library.logged("[WdltCfg] ReadValue failed (key=HfeMaxDecompressSize, ret=0)"));
    EXPECT_EQ(FieldRunner(library, manager()).read(bytes), WDLT_OK);
    EXPECT_TRUE(library.logged("[WdltCfg] WdsmHttpNotifyExFlag(0xAB)"));
}

} // namespace
