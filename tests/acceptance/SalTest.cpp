// SAL's settings, by their address and through SAL's own exports.
#include "FakeService.h"
#include "FieldCases.h"
#include "RegistryRefusal.h"
#include "WebTree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gmock/gmock.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

const std::string kSalKey = "Scan\\Common\\SAL\\config";
const std::string kItemKey = "Scan\\Web\\SAL";

constexpr Change kSettingsChange{0, WDLT_SCAN_SAL};
constexpr Change kItemChange{10003, WDLT_SCAN_SAL};
constexpr Change kHandlerChange{10003, 0};

RecordCase settings() {
    const auto flag = [](const char* value, std::size_t offset, std::size_t size) {
        return numberCase(value, offset, size)
            .with(0u, 1u)
            .whenUnreadable(readsAs(0u))
            .reads({{0u, 0u}, {1u, 1u}, {2u, 0u}, {0xFFFFFFFFu, 0u}})
            .writes({{0u, 0u}, {1u, 1u}, {2u, 1u}, {0xFFFFFFFFu, 1u}});
    };
    const auto text = [](std::size_t length) { return std::string(length, 'x'); };
    const auto lines = [](const char* what) {
        return [what](const std::string& field, std::int32_t status) {
            return std::string("!!! <WdltCfg> CEngineSalCommon: Failed to ")
                .append(what)
                .append(" registry (item=")
                .append(field)
                .append(", ret=")
                .append(std::to_string(status))
                .append(")");
        };
    };
    return {
        .name = "Sal",
        .scan = WDLT_SCAN_SAL,
        .configType = 7, // any
        .key = kSalKey,
        .size = sizeof(WdpeSalData),
        .fields = {flag("QueryIP", WDLT_FIELD(WdpeSalData, dwQueryIP)),
                   flag("TakeAction", WDLT_FIELD(WdpeSalData, dwTakeAction)),
                   flag("AddandScanMode", WDLT_FIELD(WdpeSalData, dwAddandScanMode)),
                   textCase("BlockImages", WDLT_FIELD(WdpeSalData, szBlockImages))
                       .whenUnreadable(readsAs(""))
                       .reads({{"", ""}, {text(511), text(511)}, {text(512), ""}, {text(516), ""}})
                       .writes({{"", ""}, {text(512), text(512)}, {text(515), text(515)}})},
        .unreadLine = lines("read"),
        .unwrittenLine = lines("write"),
    };
}

class Sal : public WebFeatures {
  protected:
    std::int32_t readRecord(WdpeSalData& record) {
        std::uint64_t size = sizeof record;
        return WDLT_CALL(library, WdltReadConfig)(0, WDLT_SCAN_SAL, 0, &record, &size);
    }
    std::int32_t writeRecord(WdpeSalData& record) {
        return WDLT_CALL(library, WdltWriteConfig)(0, WDLT_SCAN_SAL, 7, &record, sizeof record);
    }
    std::int32_t write(const WdltSalConfig& config) { return WDLT_CALL(library, WdltSalWriteConfig)(&config); }
};

TEST_F(Sal, EachSettingOnItsWay) {
    const FieldRunner runner(library, settings());
    runner.tryEachUnreadValue();
    runner.tryLimitsOnRead();
    runner.tryWriting();
    runner.tryLimitsOnWrite();
    runner.tryTextsWithoutTerminator();
    runner.tryFailingWrites();
    runner.tryNotifying();
}

TEST_F(Sal, NoValueHasToExist) {
    WdpeSalData record;
    std::memset(&record, 0xEE, sizeof record);
    EXPECT_EQ(readRecord(record), WDLT_OK);
    const WdpeSalData nothing{};
    EXPECT_EQ(std::memcmp(&record, &nothing, sizeof record), 0);
    for (const char* const name : {"QueryIP", "TakeAction", "AddandScanMode", "BlockImages"})
        EXPECT_TRUE(library.logged(std::string("(item=").append(name).append(", ret=-9)"))) << name;
}

TEST_F(Sal, MoreRoomThanTheRecordTakes) {
    const auto read = WDLT_CALL(library, WdltReadConfig);
    const auto write = WDLT_CALL(library, WdltWriteConfig);
    std::array<char, 600> bytes{};
    bytes.fill('\xEE');
    std::uint64_t size = 599;
    EXPECT_EQ(read(0, WDLT_SCAN_SAL, 0, bytes.data(), &size), WDLT_OK);
    EXPECT_EQ(bytes[598], '\0');
    EXPECT_EQ(bytes[599], '\xEE');
    EXPECT_EQ(write(0, WDLT_SCAN_SAL, 0, bytes.data(), 600), WDLT_OK);
}

TEST_F(Sal, AFailingWriteLeavesWhatCameBeforeIt) {
    ChangeListener service;
    WdpeSalData record{1, 1, 1, "stored"};
    ASSERT_EQ(writeRecord(record), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kSettingsChange));
    const WdltSalConfig config{1, 0, 0, 0, "new"};
    {
        const RegistryRefusal refusal("RegSetValueEx", "AddandScanMode");
        EXPECT_EQ(write(config), WDLT_E_REGISTRY);
    }
    ASSERT_EQ(readRecord(record), WDLT_OK);
    EXPECT_EQ(record.dwTakeAction, 0u);
    EXPECT_EQ(record.dwAddandScanMode, 1u);
    EXPECT_STREQ(record.szBlockImages, "stored");
    EXPECT_TRUE(library.logged("CFuncSal::ConfigWrite(): Failed to write data: -9"));
    EXPECT_FALSE(tree::keyExists(kItemKey)); // nor is anything switched

    // Behind the settings the switch fails: they stay.
    const RegistryRefusal refusal("RegSetValueEx", "Enable");
    EXPECT_EQ(write(config), WDLT_E_GENERAL);
    ASSERT_EQ(readRecord(record), WDLT_OK);
    EXPECT_STREQ(record.szBlockImages, "new");
    EXPECT_TRUE(library.logged("CFuncSal::ConfigWrite(): Failed to enable: -1"));
    EXPECT_THAT(service.heard(), ElementsAre(kSettingsChange));
}

TEST_F(Sal, OneWriteStoresAndSwitches) {
    ChangeListener service;
    WdltSalConfig config{5, 1, 2, 0, "a.png"};
    EXPECT_EQ(write(config), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kSettingsChange, kItemChange, kHandlerChange));
    WdltSalConfig again{};
    EXPECT_EQ(WDLT_CALL(library, WdltSalReadConfig)(&again), WDLT_OK);
    config.dwEnable = 1;
    config.dwTakeAction = 1;
    EXPECT_EQ(std::memcmp(&again, &config, sizeof again), 0);
    EXPECT_EQ(WDLT_CALL(library, WdltSalIsEnabled)(), 1);

    // An empty text changes none, also none that nobody can read; one without its end changes nothing at all.
    for (const std::string& stored : {std::string("b.png"), std::string(600, 'b')}) {
        tree::setText(kSalKey, "BlockImages", stored); // as others store it, terminated
        config = {0, 1, 1, 1, ""};
        EXPECT_EQ(write(config), WDLT_OK);
        EXPECT_EQ(tree::storedText(kSalKey, "BlockImages"), stored + '\0');
    }
    EXPECT_THAT(service.heard(), ElementsAre(kSettingsChange, kItemChange, kHandlerChange, kSettingsChange));
    EXPECT_EQ(WDLT_CALL(library, WdltSalIsEnabled)(), 0);
    config.dwTakeAction = 0;
    std::memset(config.szBlockImages, 'z', sizeof config.szBlockImages);
    EXPECT_EQ(write(config), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(tree::number(kSalKey, "TakeAction"), 1u);

    EXPECT_EQ(WDLT_CALL(library, WdltSalReadConfig)(nullptr), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(WDLT_CALL(library, WdltSalWriteConfig)(nullptr), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(library.logged("CFuncSal::ConfigRead: pConfig is NULL"));
    EXPECT_TRUE(library.logged("CFuncSal::ConfigWrite: pConfig is NULL"));
}

} // namespace
