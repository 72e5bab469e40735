// The records of the HTTP handler and its manager, and of the HTTPS filter, at their addresses.
#include "FieldRecords.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace {

const std::string kHttpKey = "ProtocolHandler\\Web\\config";
const std::string kManagerKey = "Scan\\Common\\HttpManager\\config";

RecordCase webRecord(RecordCase record) {
    record.unreadLine = "[WdltCfg] ReadValue failed (key={field}, ret={status})";
    record.unwrittenLine = "[WdltCfg] WriteValue failed (key={field}, ret={status})";
    return record;
}

std::string numbersUpTo(int count) {
    std::string names = "0";
    for (int i = 1; i < count; ++i)
        names.append(",").append(std::to_string(i));
    return names;
}

RecordCase http() {
#define HTTP(member) WDLT_FIELD(WdphHttp, member)
    const std::string full(16, 'm');
    const std::string tooLong(17, 'm');
    const std::string thirtyTwo = numbersUpTo(32);
    return webRecord(
        {.name = "Http",
         .protocol = WDLT_PROTOCOL_HTTP,
         .key = kHttpKey,
         .size = sizeof(WdphHttp),
         .fields =
             {
                 namesCase("TargetRequestMethods", HTTP(szTargetRequestMethods), 17)
                     .reads({{"", ""},
                             {"GET," + full + ",PUT", "GET," + full + ",PUT"},
                             {"GET," + tooLong + ",PUT", "GET,PUT"},
                             {thirtyTwo, thirtyTwo},
                             {thirtyTwo + ",32", thirtyTwo},
                             {"A,,B", "A,,B"}})
                     .writes({{"", ""}, {"A,,B", "A"}, {full, full}, {thirtyTwo, thirtyTwo}}),
                 numberCase("MessageBodyMemorySizeLimit", HTTP(dwMessageBodyMemorySizeLimit)),
                 numberCase("MaxRequestBodyScanSize", HTTP(dwMaxRequestBodyScanSize)),
                 numberCase("MaxResponseBodyScanSize", HTTP(dwMaxResponseBodyScanSize)),
                 numberCase("MaxLineSize", HTTP(dwMaxLineSize)),
                 numberCase("MaxHeaderCount", HTTP(dwMaxHeaderCount)),
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
         .readCode = WDLT_E_REGISTRY});
#undef HTTP
}

RecordCase manager() {
#define MANAGER(member) WDLT_FIELD(WdsmHttpConfig, member)
    const std::string sixtyFour = numbersUpTo(64);
    const auto file = [](const char* value, std::size_t offset, std::size_t size) {
        const Passages bareNames{{"C:\\Folder\\file.htm", "file.htm"},
                                 {"/folder/file.htm", "file.htm"},
                                 {"folder\\", ""},
                                 {"", ""},
                                 {std::string(255, 'f'), std::string(255, 'f')}};
        return textCase(value, offset, size).reads(bareNames).writesBack(bareNames);
    };
    return webRecord({.name = "Manager",
                      .scan = WDLT_SCAN_HTTP_MANAGER,
                      .key = kManagerKey,
                      .size = sizeof(WdsmHttpConfig),
                      .fields =
                          {
                              file("UrlHistoryFile", MANAGER(szUrlHistoryFile)),
                              numberCase("MaxUrlHistoryCount", MANAGER(dwMaxUrlHistoryCount)),
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
                                  .writesBack(limitedTo(WDLT_MAX_SCAN_SIZE)),
                              numberCase("HttpNotifyExFlag", MANAGER(WdsmHttpNotifyExFlag)).whenUnreadable(readsAs(0u)),
                          },
                      .readCode = WDLT_E_REGISTRY});
#undef MANAGER
}

RecordCase webMail() {
    const auto limit = [](const char* value, std::size_t offset, std::size_t size, std::uint32_t standard) {
        return numberCase(value, offset, size).whenUnreadable(readsAs(standard)).writes(limitedTo(WDLT_MAX_SCAN_SIZE));
    };
    return webRecord(
        {.name = "WebMail",
         .scan = WDLT_SCAN_HTTP_MANAGER,
         .configType = WDLT_CONFIG_HTTP_WEB_MAIL,
         .key = kManagerKey,
         .size = sizeof(WdsmWebMailData),
         .fields = {
             limit("MaxWebMailScanSize", WDLT_FIELD(WdsmWebMailData, dwMaxWebMailScanSize), 3072u),
             limit("WebMailActionSizeThreshold", WDLT_FIELD(WdsmWebMailData, dwWebMailActionSizeThreshold), 256u),
         }});
}

RecordCase fileEvents() {
    constexpr std::uint32_t kMost = 0x10000;
    return webRecord(
        {.name = "FileEvents",
         .scan = WDLT_SCAN_HTTP_MANAGER,
         .configType = WDLT_CONFIG_HTTP_FILE_EVENTS,
         .key = kManagerKey,
         .size = sizeof(WdpeHfeData),
         .fields = {
             numberCase("HfeTargetMethod", WDLT_FIELD(WdpeHfeData, dwHfeTargetMethod)).whenUnreadable(readsAs(1u)),
             numberCase("HfeMaxDecompressSize", WDLT_FIELD(WdpeHfeData, dwHfeMaxDecompressSize))
                 .whenUnreadable(readsAs(kMost))
                 .reads({{0u, kMost}, {1u, 1u}, {kMost, kMost}, {kMost + 1, kMost + 1}})
                 .writes({{0u, kMost}, {1u, 1u}, {kMost, kMost}, {kMost + 1, kMost}, {0xFFFFFFFFu, kMost}}),
         }});
}

RecordCase pluginEvent() {
    return webRecord({.name = "PluginEvent",
                      .scan = WDLT_SCAN_HTTP_MANAGER,
                      .configType = WDLT_CONFIG_HTTP_PLUGIN_EVENT,
                      .key = kManagerKey,
                      .size = 1,
                      .fields = {numberCase("HfeEnablePluginFileEvent", 0, 1)
                                     .with(1u, 0u)
                                     .whenUnreadable(readsAs(0u))
                                     .reads({{0u, 0u}, {2u, 1u}, {0x100u, 1u}})
                                     .writes({{0u, 0u}, {1u, 1u}, {255u, 1u}})}});
}

RecordCase https() {
#define HTTPS(member) WDLT_FIELD(WdltHttpsConfig, member)
    return {.name = "Https",
            .protocol = WDLT_PROTOCOL_SYSTEM_HTTP,
            .scan = WDLT_SCAN_HTTP_MANAGER,
            .input = WDLT_INPUT_HTTPS_FILTER,
            .configType = 77, // any
            .key = "Scan\\Web\\HttpsFilter",
            .size = sizeof(WdltHttpsConfig),
            .fields = {numberCase("Enable", HTTPS(enable)).named("enable").whenUnreadable(quietlyReadsAs(0u)),
                       textCase("HostFilterAlertFile", HTTPS(HostFilterAlertFile)),
                       textCase("HostFilterErrorFile", HTTPS(HostFilterErrorFile)),
                       textCase("PrivacyDataAlertFile", HTTPS(PrivacyDataAlertFile)),
                       textCase("UrlFilterAlertFile", HTTPS(UrlFilterAlertFile)),
                       textCase("UrlFilterCredAlertFile", HTTPS(UrlFilterCredAlertFile))},
            .unreadLine = "!!! <WdltCfg> CSystemScanHttpsCfg::ReadConfig {field} fails {status}",
            .unwrittenLine = "!!! <WdltCfg> CSystemScanHttpsCfg::WriteConfig {field} fails {status}",
            .writeCode = WDLT_E_GENERAL};
#undef HTTPS
}

class WebRecords : public FieldRecords {};

TEST_P(WebRecords, EachFieldOnItsWay) {
    FieldRunner(library, GetParam()).tryAll();
}
INSTANTIATE_TEST_SUITE_P(All, WebRecords,
                         testing::Values(http(), manager(), webMail(), fileEvents(), pluginEvent(), https()), nameOf);

class WebRecord : public FieldRecord {
  protected:
    const FieldRunner runner{library, http()};
    FieldRunner::Bytes bytes;
};

// Quotes, commas inside names, and a list that gets too long.
TEST_F(WebRecord, ListsOfNames) {
    const auto slot = [&](std::size_t index) { return std::string(reinterpret_cast<const char*>(&bytes[17 * index])); };
    runner.layDown(0);
    tree::setText(kHttpKey, "TargetRequestMethods", "\"A,B\",C\"\"D,E");
    EXPECT_EQ(runner.read(bytes), WDLT_OK);
    EXPECT_EQ(slot(1), "C\"D");
    EXPECT_EQ(runner.write(bytes), WDLT_OK);
    EXPECT_EQ(tree::storedText(kHttpKey, "TargetRequestMethods"), std::string("\"A,B\",C\"\"D,E\0", 13));

    // A list that gets too long is truncated where it can still be parsed.
    for (std::size_t i = 0; i < 32; ++i)
        std::memset(&bytes[17 * i], '"', 16);
    EXPECT_EQ(runner.write(bytes), WDLT_OK);
    EXPECT_EQ(tree::storedText(kHttpKey, "TargetRequestMethods")->size(), 1024u);
    EXPECT_EQ(runner.read(bytes), WDLT_OK);
    EXPECT_EQ(slot(0), std::string(16, '"'));
}

// Each correction or omission is logged.
TEST_F(WebRecord, LinesOfWhatIsDiscarded) {
    const struct {
        RecordCase record;
        const char* value;
        Content stored;
        const char* line;
    } cases[] = {
        {http(), "ReceiveTimeout", 601u, "Illegal HTTP recv timeout. Discard the value(reg value=601)"},
        {http(), "TargetRequestMethods", "GET,ABCDEFGHIJKLMNOPQ,PUT",
         "CHandlerHTTP::ReadConfig: Skip a value (key=TargetRequestMethods, value=ABCDEFGHIJKLMNOPQ)"},
        {manager(), "ExclusionExtensions", "gif,toolong",
         "CManagerHTTPCommon::ReadConfig: Skip a value (key=ExclusionExtensions, value=toolong)"},
        {manager(), "HttpNotifyExFlag", 0xABu, "WdsmHttpNotifyExFlag(0xAB)"},
        {fileEvents(), "HfeMaxDecompressSize", 0u, "ReadValue failed (key=HfeMaxDecompressSize, ret=0)"},
    };
    for (const auto& c : cases) {
        const FieldRunner each(library, c.record);
        each.layDown(0);
        if (c.stored.text.empty())
            tree::setNumber(c.record.key, c.value, c.stored.number);
        else
            tree::setText(c.record.key, c.value, c.stored.text);
        const FreshLog fresh;
        EXPECT_EQ(each.read(bytes), WDLT_OK);
        EXPECT_TRUE(library.logged(std::string("[WdltCfg] ") + c.line)) << c.line;
    }
    WdphHttp record{};
    record.dwReceiveTimeout = 700;
    EXPECT_EQ(write(WDLT_PROTOCOL_HTTP, 0, record), WDLT_OK);
    EXPECT_TRUE(library.logged(
        "[WdltCfg] Illegal HTTP recv timeout. Discard the value and won't save to registry(recv timeout=700)"));
}

} // namespace
