// The service's record: defaults, what is corrected on the way, and what a write leaves alone.
#include "SystemConfig.h"

#include "ConfigManager.h"
#include "FailingStore.h"
#include "LogFile.h"
#include "Tree.h"

#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <span>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SystemConfig : public testing::Test {
  protected:
    void SetUp() override { tree::clear(); }

    WdchSystemData read() {
        WdchSystemData record;
        std::memset(&record, 0xEE, sizeof record);
        std::uint64_t size = sizeof record;
        EXPECT_EQ(manager.ReadConfig(10000, 0, 0, 0, &record, &size), WDLT_OK);
        return record;
    }
    std::int32_t write(WdchSystemData& record) { return manager.WriteConfig(10000, 0, 0, 0, &record, sizeof record); }

    static std::vector<DWORD> handlers(const WdchSystemData& record) {
        const auto types = std::span(record.handlerTypes).first(record.handlerCount);
        return {types.begin(), types.end()};
    }
    static void addHandler(const std::string& name, DWORD type, DWORD enable) {
        tree::setNumber("ProtocolHandler\\" + name, "Type", type);
        tree::setNumber("ProtocolHandler\\" + name, "Enable", enable);
    }

    CConfigManager manager;
};

TEST_F(SystemConfig, AnEmptyTreeReadsAsDefaults) {
    const WdchSystemData record = read();
    EXPECT_EQ(record.proxyPort, 6999);
    EXPECT_STREQ(record.installPath, "");
    EXPECT_STREQ(record.tempPath, "");
    EXPECT_STREQ(record.logPath, "");
    EXPECT_EQ(record.bmFlag, 1u);
    EXPECT_EQ(record.defRedirectFlag, 0u);
    EXPECT_EQ(record.tcpAutoTuningLevel, 2u);
    EXPECT_THAT(handlers(record), IsEmpty());
    EXPECT_FALSE(tree::keyExists("")); // reading makes nothing
}

TEST_F(SystemConfig, StoredValuesAreRead) {
    tree::setNumber("", "ProxyPort", 70000);
    tree::setText("", "InstallPath", "C:\\Wardlet");
    tree::setText("", "TempPath", "C:\\Temp");
    tree::setText("", "LogPath", "C:\\Log\\");
    tree::setNumber("", "DisableBm", 5);
    tree::setNumber("", "DefRedirectFlag", 3);
    tree::setNumber("", "TcpAutoTuningLevel", 0);
    const WdchSystemData record = read();
    EXPECT_EQ(record.proxyPort, 4464);               // the low 16 bits
    EXPECT_STREQ(record.installPath, "C:\\Wardlet"); // as stored
    EXPECT_STREQ(record.tempPath, "C:\\Temp\\");
    EXPECT_STREQ(record.logPath, "C:\\Log\\");
    EXPECT_EQ(record.bmFlag, 0u);
    EXPECT_EQ(record.defRedirectFlag, 3u);
    EXPECT_EQ(record.tcpAutoTuningLevel, 0u);

    tree::setNumber("", "DisableBm", 0);
    EXPECT_EQ(read().bmFlag, 1u);
}

TEST_F(SystemConfig, ValuesOfAnotherTypeAreBytesAndTooLongOnesAreDefaults) {
    tree::setText("", "ProxyPort", "P"); // two bytes with its terminator
    tree::setText("", "DisableBm", "no number");
    tree::set("", "LogPath", REG_BINARY, "C:\\L\0junk", 9);
    tree::setNumber("", "TempPath", 0x00000041); // "A"
    const std::uint64_t eightBytes = 5;
    tree::set("", "TcpAutoTuningLevel", REG_QWORD, &eightBytes, sizeof eightBytes);
    const WdchSystemData record = read();
    EXPECT_EQ(record.proxyPort, 'P');
    EXPECT_EQ(record.bmFlag, 1u);
    EXPECT_STREQ(record.logPath, "C:\\L\\");
    EXPECT_STREQ(record.tempPath, "A\\");
    EXPECT_EQ(record.tcpAutoTuningLevel, 2u);
}

TEST_F(SystemConfig, APathAtTheFieldsEnd) {
    const struct {
        std::size_t length;
        std::string expected;
    } cases[] = {
        {257, std::string(257, 'p') + "\\"},
        {258, std::string(258, 'p') + "\\"},
        {259, std::string(259, 'p')}, // no room for the backslash
        {260, ""},                    // too long with its terminator
    };
    for (const auto& c : cases) {
        tree::setText("", "TempPath", std::string(c.length, 'p'));
        EXPECT_EQ(std::string(read().tempPath), c.expected) << c.length;
    }
    tree::set("", "TempPath", REG_SZ, std::string(260, 'p').c_str(), 260); // fits, without a terminator
    const WdchSystemData record = read();
    EXPECT_STREQ(record.tempPath, "");
    EXPECT_STREQ(record.logPath, "");
}

TEST_F(SystemConfig, HandlersThatAreOnAreListedInOrder) {
    addHandler("SMTP", 2, 1);
    addHandler("HTTP", 3, 1);
    addHandler("Off", 4, 0);
    addHandler("Odd", 5, 2); // only 1 counts
    addHandler("Last", 16, 1);
    addHandler("Beyond", 17, 1);
    addHandler("Zero", 0, 1);
    tree::setNumber("ProtocolHandler\\NoType", "Enable", 1);
    tree::setNumber("ProtocolHandler\\NoEnable", "Type", 6);
    EXPECT_THAT(handlers(read()), ElementsAre(3, 16, 2)); // HTTP, Last, SMTP

    tree::clear();
    for (DWORD i = 0; i < 18; ++i)
        addHandler(std::string("H") + static_cast<char>('a' + i), i % 16 + 1, 1);
    const WdchSystemData record = read();
    EXPECT_EQ(record.handlerCount, 16u);
    EXPECT_EQ(record.handlerTypes[15], 16u);
    EXPECT_EQ(record.defRedirectFlag, 0u); // what stands behind the array
}

TEST_F(SystemConfig, AWriteStoresFiveValuesAndNoMore) {
    tree::setNumber("", "DefRedirectFlag", 8);
    WdchSystemData record{};
    record.proxyPort = 8080;
    std::strcpy(record.installPath, "C:\\Wardlet\\");
    std::strcpy(record.tempPath, "C:\\Temp");
    record.bmFlag = 0;
    record.handlerCount = 1;
    record.handlerTypes[0] = 3;
    record.defRedirectFlag = 1;
    record.tcpAutoTuningLevel = 9;
    EXPECT_EQ(write(record), WDLT_OK);
    EXPECT_EQ(tree::number("", "ProxyPort"), 8080u);
    EXPECT_EQ(tree::storedText("", "InstallPath"), std::string("C:\\Wardlet\\") + '\0');
    EXPECT_EQ(tree::storedText("", "TempPath"), std::string("C:\\Temp") + '\0'); // unchanged
    EXPECT_EQ(tree::storedText("", "LogPath"), std::string(1, '\0'));
    EXPECT_EQ(tree::number("", "DisableBm"), 1u);
    EXPECT_EQ(tree::number("", "DefRedirectFlag"), 8u);
    EXPECT_FALSE(tree::get("", "TcpAutoTuningLevel"));
    EXPECT_FALSE(tree::keyExists("ProtocolHandler"));

    record.bmFlag = 7;
    EXPECT_EQ(write(record), WDLT_OK);
    EXPECT_EQ(tree::number("", "DisableBm"), 0u);
}

TEST_F(SystemConfig, AReadRecordWrittenBackStoresTheAddedBackslash) {
    tree::setText("", "TempPath", "C:\\Temp");
    WdchSystemData record = read();
    EXPECT_EQ(write(record), WDLT_OK);
    EXPECT_EQ(tree::storedText("", "TempPath"), std::string("C:\\Temp\\") + '\0');
}

TEST_F(SystemConfig, AnyOtherSizeIsRefused) {
    const LogFile log;
    WdchSystemData record{};
    EXPECT_EQ(manager.WriteConfig(10000, 0, 0, 0, &record, (std::uint64_t{1} << 32) + 864), WDLT_E_GENERAL);
    EXPECT_EQ(manager.WriteConfig(10000, 0, 0, 0, &record, 863), WDLT_E_GENERAL);
    EXPECT_TRUE(log.contains("!!! <Test> WriteConfig size is invalid (863 / 864)"));
    EXPECT_FALSE(tree::keyExists(""));
}

TEST_F(SystemConfig, ARecordAtAnyAlignment) {
    std::vector<char> buffer(sizeof(WdchSystemData) + 1);
    std::uint64_t size = sizeof(WdchSystemData);
    EXPECT_EQ(manager.ReadConfig(10000, 0, 0, 0, buffer.data() + 1, &size), WDLT_OK);
    EXPECT_EQ(manager.WriteConfig(10000, 0, 0, 0, buffer.data() + 1, size), WDLT_OK);
    EXPECT_EQ(tree::number("", "ProxyPort"), 6999u);
}

TEST_F(SystemConfig, AFailedWriteNamesItsFieldAndKeepsWhatCameBefore) {
    const char* const kFields[] = {"proxyPort", "installPath", "tempPath", "logPath", "bmFlag"};
    const char* const kValues[] = {"ProxyPort", "InstallPath", "TempPath", "LogPath", "DisableBm"};
    for (int failing = 0; failing < 5; ++failing) {
        tree::clear();
        const LogFile log;
        CSystemConfig helper;
        helper.protocol = 10000;
        helper.store = std::make_unique<FailingStore>(failing + 1);
        WdchSystemData record{};
        EXPECT_EQ(helper.WriteConfig(0, &record, sizeof record), WDLT_E_GENERAL);
        EXPECT_TRUE(
            log.contains(std::string("!!! <Test> WriteConfig WdchSystemData::") + kFields[failing] + " fails."));
        for (int i = 0; i < 5; ++i)
            EXPECT_EQ(tree::get("", kValues[i]).has_value(), i < failing) << kValues[i];
    }
}

} // namespace
