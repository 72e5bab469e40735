// The records of the mail handlers, the virus scan, the file scan and the scan items, at their addresses.
#include "FieldRecords.h"

#include <cstring>
#include <string>

namespace {

template <class Record>
RecordCase mailHandler(const char* name, std::uint32_t protocol, const char* key, const std::string& record) {
    return {
        .name = name,
        .protocol = protocol,
        .key = key,
        .size = sizeof(Record),
        .fields =
            {
                numberCase("LimitSize", WDLT_FIELD(Record, dwLimitSize))
                    .named("dwLimitSize")
                    .reads(limitedTo(WDLT_MAX_SCAN_SIZE)),
                numberCase("IntervalLength", WDLT_FIELD(Record, dwIntervalLength)).named("dwIntervalLength"),
                numberCase("WaitTime", WDLT_FIELD(Record, dwWaitTime)).named("dwWaitTime"),
            },
        .unreadLine = "[WdltCfg.dll] ReadConfig fails ({status}) : " + record + "::{field}",
        .unwrittenLine = "[WdltCfg.dll] WriteConfig " + record + "::{field} fails.",
    };
}

RecordCase smtp() {
    RecordCase record =
        mailHandler<WdphSmtp>("Smtp", WDLT_PROTOCOL_SMTP, "ProtocolHandler\\Mail out\\config", "WdphSmtp");
    record.fields.push_back(numberCase("MaxSessionCount", WDLT_FIELD(WdphSmtp, dwMaxSessionCount))
                                .named("dwMaxSessionCount")
                                .whenAbsent(quietlyReadsAs(100u))
                                .reads({{0u, 1u}, {1u, 1u}, {5u, 5u}})
                                .writes({{0u, 0u}}));
    return record;
}

RecordCase fileScan() {
#define FILE_SCAN(member) WDLT_FIELD(WdpeHttpFileScanData, member)
    const std::string longest(255, 't');
    return {
        .name = "FileScan",
        .scan = WDLT_SCAN_VIRUS,
        .input = WDLT_INPUT_HTTP_FILE_SCAN,
        .key = "Scan\\Common\\HttpFileScan\\config",
        .size = sizeof(WdpeHttpFileScanData),
        .fields =
            {
                numberCase("HttpActionMode", FILE_SCAN(dwHttpActionMode)).whenUnreadable(readsAs(0u)),
                numberCase("ActionSizeThreshold", FILE_SCAN(dwActionSizeThreshold))
                    .whenUnreadable(readsAs(256u))
                    .writes(limitedTo(WDLT_MAX_SCAN_SIZE)),
                numberCase("MaxScanSize", FILE_SCAN(dwMaxScanSize))
                    .whenUnreadable(readsAs(5120u))
                    .writes(limitedTo(WDLT_MAX_SCAN_SIZE)),
                textCase("TargetTypes", FILE_SCAN(szTargetTypes))
                    .whenUnreadable(readsAs("7"))
                    .whenTooLarge(quietlyReadsAs(std::string(255, 'a')))
                    .reads({{longest, longest}, {longest + "t", longest}, {"", ""}})
                    .writes({{longest, longest}, {"", ""}}),
            },
        .unreadLine = "CHttpFileScanCommon: Failed to read registry (item={field}, ret={status})",
        .unwrittenLine = "CHttpFileScanCommon: Failed to write registry (item={field}, ret={status})",
    };
#undef FILE_SCAN
}

RecordCase scanItem() {
    return {
        .name = "Item",
        .protocol = WDLT_PROTOCOL_SYSTEM_HTTP,
        .scan = WDLT_SCAN_IM_MANAGER,
        .configType = 77, // any
        .key = "Scan\\Web\\ImManager",
        .size = sizeof(WdchSystemScan),
        .fields =
            {
                numberCase("Enable", WDLT_FIELD(WdchSystemScan, enable))
                    .named("enable")
                    .whenUnreadable(quietlyReadsAs(0u)),
                textCase("LogExtension", WDLT_FIELD(WdchSystemScan, logExtension))
                    .named("logExtension")
                    .whenUnreadable(quietlyReadsAs("")),
            },
        .unwrittenLine = "!!! <WdltCfg> WriteConfig WdchSystemScan::{field} fails.",
        .writeCode = WDLT_E_GENERAL,
    };
}

RecordCase itemOfAll() {
    RecordCase record = scanItem();
    record.name = "ItemOfAll";
    record.protocol = WDLT_PROTOCOL_SYSTEM;
    record.scan = WDLT_SCAN_ANTI_SPAM;
    record.key = "Scan\\Common\\AntiSpam";
    record.size = sizeof(WdchSystemScanCommon);
    record.fields = {textCase("Filename", WDLT_FIELD(WdchSystemScanCommon, filename))
                         .named("filename")
                         .whenUnreadable(quietlyReadsAs(""))};
    record.unwrittenLine = "!!! <WdltCfg> WriteConfig WdchSystemScanCommon::{field} fails.";
    return record;
}

struct VirusPlace {
    const char* name;
    std::uint32_t protocol;
    std::uint32_t input;
    const char* key;
    WdpeVsData defaults;
};
constexpr VirusPlace kVirusScans[] = {
    {"VirusPop3", 1, 0, "Scan\\In\\Virus\\config", {3, 4, 1, 1, 1, 0xFFFFFFFF, 1, 30, 1, 201}},
    {"VirusSmtp", 2, 0, "Scan\\Out\\Virus\\config", {3, 101, 1, 1, 1, 0xFFFFFFFF, 1, 30, 1, 101}},
    {"VirusHttp", 3, 0, "Scan\\Web\\Virus\\config", {3, 4, 1, 1, 1, 0xFFFFFFFF, 1, 30, 1, 4}},
    {"VirusFiles", 3, 1, "Scan\\Web\\HttpFileScan\\config", {3, 4, 1, 1, 1, 0x100000, 1, 30, 1, 4}},
};

RecordCase virusScan(const VirusPlace& scan) {
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
                VIRUS("Action", dwFirstAction).whenUnreadable(readsAs(defaults.dwFirstAction)),
                VIRUS("Action2nd", dwSecondAction)
                    .named("dwSecondAction", "dwSectionAction")
                    .whenUnreadable(readsAs(defaults.dwSecondAction)),
                VIRUS("ZipClean", dwZipClean).whenUnreadable(readsAs(defaults.dwZipClean)),
                VIRUS("ZipScan", dwZipScan).whenUnreadable(readsAs(defaults.dwZipScan)),
                VIRUS("ZipLayer", dwZipLayer)
                    .with(2u, 3u)
                    .whenUnreadable(readsAs(defaults.dwZipLayer))
                    .reads({{0u, 1u}, {1u, 1u}, {6u, 6u}, {7u, 6u}, {0xFFFFFFFFu, 6u}})
                    .writes({{0u, 0u}, {9u, 9u}}),
                VIRUS("ExtractFileSizeLimit", dwExtractFileSizeLimit)
                    .whenUnreadable(readsAs(defaults.dwExtractFileSizeLimit)),
                VIRUS("PackerSnare", dwPackerSnare).whenUnreadable(readsAs(defaults.dwPackerSnare)),
                VIRUS("MultiInfection", dwMultiInfection)
                    .whenUnreadable(quietlyReadsAs(defaults.dwMultiInfection))
                    .reads({{0u, 1u}, {1u, 1u}, {0xFFFFFFFFu, 0xFFFFFFFFu}})
                    .neverWritten(),
                VIRUS("SpywareScan", dwSpywareScan).whenUnreadable(quietlyReadsAs(defaults.dwSpywareScan)),
                VIRUS("SpywareAction", dwSpywareAction).whenUnreadable(readsAs(defaults.dwSpywareAction)),
            },
        .unreadLine = "ReadConfig item failed({status}) : WdpeVsData::{field}, used default value.",
        .unwrittenLine = "WriteConfig fails ({status}) : WdpeVsData::{field}",
    };
#undef VIRUS
}

class ScanRecords : public FieldRecords {};

TEST_P(ScanRecords, EachFieldOnItsWay) {
    FieldRunner(library, GetParam()).tryAll();
}
INSTANTIATE_TEST_SUITE_P(
    All, ScanRecords,
    testing::Values(mailHandler<WdphPop3>("Pop3", WDLT_PROTOCOL_POP3, "ProtocolHandler\\Mail in\\config", "WdphPop3"),
                    smtp(), fileScan(), scanItem(), itemOfAll(), virusScan(kVirusScans[0]), virusScan(kVirusScans[1]),
                    virusScan(kVirusScans[2]), virusScan(kVirusScans[3])),
    nameOf);

class ScanRecord : public FieldRecord {};

TEST_F(ScanRecord, TheActionOnSpywareMattersOnlyWhileItIsLookedFor) {
    const VirusPlace& scan = kVirusScans[1];
    FieldRunner(library, virusScan(scan)).layDown(0);
    tree::setNumber(scan.key, "SpywareScan", 0);
    WdpeVsData record{};
    ASSERT_EQ(read(scan.protocol, WDLT_SCAN_VIRUS, record), WDLT_OK);
    EXPECT_NE(record.dwSpywareAction, 0u); // a stored one is read nevertheless
    tree::deleteValue(scan.key, "SpywareAction");
    ASSERT_EQ(read(scan.protocol, WDLT_SCAN_VIRUS, record), WDLT_OK);
    EXPECT_EQ(record.dwSpywareAction, 0u);
    EXPECT_FALSE(library.logged("dwSpywareAction"));
    EXPECT_EQ(read(7, WDLT_SCAN_VIRUS, record), WDLT_E_REGISTRY); // a protocol without defaults
    EXPECT_TRUE(library.logged("ReadConfig fails (-9) : WdpeVsData::dwFirstAction"));
}

// Another program stores a longer text each time the reader has read the old one.
TEST_F(ScanRecord, ATextThatGrowsUnderItsReader) {
    const RecordCase record = fileScan();
    FieldRunner(library, record).layDown(0);
    std::size_t length = 300;
    tree::setText(record.key, "TargetTypes", std::string(length, 't'));
    const AfterEachRead others([&](const std::string& name) {
        if (name == "TargetTypes" && length < 303)
            tree::setText(record.key, "TargetTypes", std::string(++length, 't'));
    });
    FieldRunner::Bytes bytes;
    EXPECT_EQ(FieldRunner(library, record).read(bytes), WDLT_OK);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&bytes[offsetof(WdpeHttpFileScanData, szTargetTypes)])),
              std::string(255, 't'));
}

// A handler's folder name has at most ten characters and a terminator; with another one its items can't be stored.
TEST_F(ScanRecord, AFolderOfAHandlersItems) {
    const struct {
        DWORD type;
        std::string stored;
        std::int32_t status;
    } cases[] = {
        {REG_SZ, "TenLetters", WDLT_OK},
        {REG_SZ, "ElevenChars", WDLT_E_GENERAL},
        {REG_BINARY, "ElevenChars", WDLT_E_GENERAL}, // fits, without a terminator
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.stored);
        tree::clear(tree::path("Scan"));
        tree::set("ProtocolHandler\\Web", "Scan", c.type, c.stored);
        WdchSystemScan item{1, {}};
        EXPECT_EQ(write(WDLT_PROTOCOL_SYSTEM_HTTP, WDLT_SCAN_SAL, item), c.status);
        EXPECT_EQ(tree::keyExists("Scan\\TenLetters\\SAL"), c.status == WDLT_OK);
        EXPECT_EQ(read(WDLT_PROTOCOL_SYSTEM_HTTP, WDLT_SCAN_SAL, item), WDLT_OK);
        EXPECT_EQ(item.enable, c.status == WDLT_OK ? 1u : 0u);
    }
}

} // namespace
