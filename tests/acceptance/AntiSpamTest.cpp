// The settings of anti-spam, through the library: the common record, the level and the thresholds, and the functions
// that combine them.
#include "AntiSpamTree.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace anti_spam;
using testing::ElementsAre;
using testing::IsEmpty;

std::string numberBytes(DWORD number) {
    return {reinterpret_cast<const char*>(&number), sizeof number};
}

RecordCase aspmRecord(RecordCase record) {
    record.protocol = WDLT_PROTOCOL_COMMON;
    record.scan = WDLT_SCAN_ANTI_SPAM;
    record.unreadLine = "Reg read failed (key={field}, ret={status})";
    record.unwrittenLine = "Reg write failed (key={field}, ret={status})";
    record.readCode = WDLT_E_REGISTRY;
    return record;
}

RecordCase commonRecord() {
    const Passages flags = {{0u, 0u}, {1u, 1u}, {5u, 1u}, {0x80000000u, 1u}};
    const Passages timeouts = {{0u, 2000u},      {99u, 2000u},    {100u, 100u},
                               {10000u, 10000u}, {10001u, 2000u}, {0xFFFFFFFFu, 2000u}};
    const auto prefix = [](const char* name, std::size_t offset, std::size_t size) {
        return textCase(name, offset, size).with("[one]", "[another]");
    };
    const auto flag = [&](const char* name, std::size_t offset, std::size_t size) {
        return numberCase(name, offset, size).with(1u, 0u).reads(flags).writes(flags);
    };
    return aspmRecord({.name = "Common",
                       .key = kCommonKey,
                       .size = sizeof(WdpeAspmCommonData),
                       .fields = {
                           prefix("PrefixSpam", WDLT_FIELD(WdpeAspmCommonData, szPrefixSpam)),
                           prefix("PrefixPhishing", WDLT_FIELD(WdpeAspmCommonData, szPrefixPhishing)),
                           prefix("PrefixMalicious", WDLT_FIELD(WdpeAspmCommonData, szPrefixMalicious)),
                           prefix("PrefixSuspicious", WDLT_FIELD(WdpeAspmCommonData, szPrefixSuspicious)),
                           prefix("PrefixBlack", WDLT_FIELD(WdpeAspmCommonData, szPrefixBlack)),
                           numberCase("ScanType", WDLT_FIELD(WdpeAspmCommonData, dwScanType)),
                           flag("EnableImageDetection", WDLT_FIELD(WdpeAspmCommonData, dwEnableImageDetection)),
                           flag("EnableInTheCloud", WDLT_FIELD(WdpeAspmCommonData, dwEnableInTheCloud)),
                           numberCase("InTheCloudTimeout", WDLT_FIELD(WdpeAspmCommonData, dwInTheCloudTimeout))
                               .with(500u, 600u)
                               .reads(timeouts)
                               .writesBack(timeouts),
                       }});
}

RecordCase rulePath() {
    const std::string last(258, 'r');
    return aspmRecord({.name = "RulePath",
                       .configType = WDLT_CONFIG_ASPM_RULE_PATH,
                       .key = kCommonKey,
                       .size = sizeof(WdpeAspmRulePath),
                       .fields = {textCase("RulePath", offsetof(WdpeAspmRulePath, szRulePath), 260)
                                      .with("C:\\R\\", "D:\\S\\")
                                      .reads({{"", ""}, {"C:\\R", "C:\\R\\"}, {last, last + "\\"}})
                                      .writes({{"D:\\r", "D:\\r"}, {last, last}})}});
}

TEST_F(AntiSpam, EachFieldOnItsWay) {
    for (const RecordCase& record : {commonRecord(), rulePath()}) {
        SCOPED_TRACE(record.name);
        FieldRunner(library, record).tryAll();
    }
}

TEST_F(AntiSpam, LevelAndThresholdsMustBeWhatTheyMayBe) {
    struct Case {
        const char* name;
        DWORD type;
        std::string bytes;           // empty: the value is missing
        std::optional<double> value; // nullopt: WDLT_E_REGISTRY
        const char* line = nullptr;
    };
    const std::string longText = "5" + std::string(254, '0'); // 255 characters
    const Case cases[] = {
        {"Level", REG_DWORD, numberBytes(2), 2},
        {"Level", REG_DWORD, numberBytes(3), {}, "Reg value invalid (key=Level, value=3)"},
        {"Level", REG_DWORD, "", {}, "Reg read failed (key=Level, ret=-16)"},
        {"Level", REG_BINARY, "12345", {}, "Reg read failed (key=Level, ret=-2)"},
        {"Low", REG_SZ, std::string("100\0", 4), 100},
        {"Low", REG_SZ, "42", 42}, // without a terminator
        {"Low", REG_SZ, std::string(" +7.5 \0", 7), 7.5},
        {"Low", REG_SZ, std::string("100.01\0", 7), {}, "Reg value invalid(key=Low, value=100.01)"},
        {"Low", REG_SZ, std::string("0\0", 2), {}, "Reg value invalid(key=Low, value=0)"},
        {"Low", REG_SZ, std::string("nan\0", 4), {}, "Reg value invalid(key=Low, value=nan)"},
        {"Low", REG_SZ, longText + '\0', {}, "Reg value invalid(key=Low, value=500"},
        {"Low", REG_SZ, longText + "0" + '\0', {}, "Reg read failed (key=Low, ret=-2)"},
        {"High", REG_SZ, std::string("x\0", 2), {}, "Reg value invalid(key=High, value=x)"},
        {"Whitelist", REG_SZ, "", {}, "Reg read failed (key=Whitelist, ret=-16)"},
        {"Blacklist", REG_SZ, std::string(256, 'b') + '\0', {}, "Reg read failed (key=Blacklist, ret=-2)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name + std::string(" ") + c.bytes.substr(0, 10));
        setAll();
        const FreshLog fresh;
        if (c.bytes.empty())
            tree::deleteValue(kPopKey, c.name);
        else
            tree::set(kPopKey, c.name, c.type, c.bytes);
        const auto record = std::make_unique<WdpeAspmData>();
        EXPECT_EQ(read(WDLT_PROTOCOL_POP3, 0, *record), c.value ? WDLT_OK : WDLT_E_REGISTRY);
        if (c.value) {
            EXPECT_EQ(c.type == REG_DWORD ? record->dwLevel : record->dblLow, *c.value);
        } else {
            EXPECT_TRUE(library.logged(c.line));
        }
        WdltAspmConfig config; // one bad value fails the combined record too
        EXPECT_EQ(WDLT_CALL(library, WdltAspmReadConfig)(&config), c.value ? WDLT_OK : WDLT_E_REGISTRY);
        EXPECT_EQ(library.logged("CFuncAspm::ConfigRead(): Failed to read config: -9"), !c.value);
    }
}

TEST_F(AntiSpam, SettingsAreTwoRecordsAndTwoChanges) {
    ChangeListener service;
    putFile("black.txt", "b\n");
    WdltAspmConfig config;
    std::memset(&config, 0xEE, sizeof config);
    ASSERT_EQ(WDLT_CALL(library, WdltAspmReadConfig)(&config), WDLT_OK);
    config = {7, 2, "s", "p", "m", "u", "sixteen letters!", 9, 1};
    std::memset(config.szPrefixSpam, 'S', sizeof config.szPrefixSpam); // no terminator, so nothing is stored
    EXPECT_EQ(WDLT_CALL(library, WdltAspmWriteConfig)(&config), WDLT_E_INVALID_ARGUMENT);
    EXPECT_THAT(service.heard(), IsEmpty());
    put(config.szPrefixSpam, std::string(16, 'S'));
    ASSERT_EQ(WDLT_CALL(library, WdltAspmWriteConfig)(&config), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kCommonChange, kListsChange));
    WdltAspmConfig again;
    ASSERT_EQ(WDLT_CALL(library, WdltAspmReadConfig)(&again), WDLT_OK);
    config.dwEnableImageDetection = 1;
    EXPECT_EQ(std::memcmp(&again, &config, offsetof(WdltAspmConfig, szPrefixBlack) + sizeof config.szPrefixBlack), 0);
    EXPECT_EQ(again.dwEnableInTheCloud, config.dwEnableInTheCloud);
    EXPECT_EQ(getFile("black.txt"), "b\n");
    EXPECT_EQ(getFile("white.txt"), ""); // both files are written

    // The common record is stored and reported before the second write fails, which isn't reported.
    std::filesystem::remove(home / "install" / "black.txt");
    tree::setText(kPopKey, "Blacklist", "");
    EXPECT_EQ(WDLT_CALL(library, WdltAspmWriteConfig)(&config), WDLT_E_FILE);
    EXPECT_THAT(service.heard(), ElementsAre(kCommonChange));
    EXPECT_TRUE(library.logged("CFuncAspm::ConfigWrite(): Failed to write data: -8"));
}

} // namespace
