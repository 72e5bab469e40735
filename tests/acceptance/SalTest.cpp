// SAL's settings, by their address and through SAL's own exports.
#include "FakeService.h"
#include "FieldCases.h"
#include "RegistryRefusal.h"
#include "WebTree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gmock/gmock.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

const std::string kSalKey = "Scan\\Common\\SAL\\config";
const std::string kItemKey = "Scan\\Web\\SAL";

constexpr Change kSettingsChange{0, WDLT_SCAN_SAL};
constexpr Change kItemChange{10003, WDLT_SCAN_SAL};

RecordCase settings() {
    const auto flag = [](const char* value, std::size_t offset, std::size_t size) {
        return numberCase(value, offset, size)
            .with(0u, 1u)
            .whenUnreadable(readsAs(0u))
            .reads({{0u, 0u}, {1u, 1u}, {2u, 0u}, {0xFFFFFFFFu, 0u}})
            .writes({{0u, 0u}, {1u, 1u}, {2u, 1u}, {0xFFFFFFFFu, 1u}});
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
                       .reads({{std::string(511, 'b'), std::string(511, 'b')}})},
        .unreadLine = "!!! <WdltCfg> CEngineSalCommon: Failed to read registry (item={field}, ret={status})",
        .unwrittenLine = "!!! <WdltCfg> CEngineSalCommon: Failed to write registry (item={field}, ret={status})",
    };
}

class Sal : public WebFeatures {
  protected:
    std::int32_t write(const WdltSalConfig& config) { return WDLT_CALL(library, WdltSalWriteConfig)(&config); }
};

TEST_F(Sal, EachSettingOnItsWay) {
    FieldRunner(library, settings()).tryAll();
}

// Settings that were already written stay; after a failure nothing is switched.
TEST_F(Sal, AWriteThatFails) {
    ChangeListener service;
    const struct {
        const char* refused;
        std::int32_t status;
        const char* line;
        std::vector<Change> heard;
    } cases[] = {
        {"AddandScanMode", WDLT_E_REGISTRY, "CFuncSal::ConfigWrite(): Failed to write data: -9", {}},
        {"Enable", WDLT_E_GENERAL, "CFuncSal::ConfigWrite(): Failed to enable: -1", {kSettingsChange}},
    };
    for (const auto& c : cases) {
        const RegistryRefusal refusal("RegSetValueEx", c.refused);
        EXPECT_EQ(write({1, 1, 0, 0, "new"}), c.status);
        EXPECT_TRUE(library.logged(c.line));
        EXPECT_EQ(service.heard(), c.heard);
        EXPECT_NE(tree::number(kItemKey, "Enable"), 1u);
    }
}

TEST_F(Sal, OneWriteStoresAndSwitches) {
    ChangeListener service;
    WdltSalConfig config{5, 1, 2, 0, "a.png"};
    EXPECT_EQ(write(config), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kSettingsChange, kItemChange, kHandlerChange));
    WdltSalConfig again{};
    EXPECT_EQ(WDLT_CALL(library, WdltSalReadConfig)(&again), WDLT_OK);
    config.dwEnable = config.dwTakeAction = 1;
    EXPECT_EQ(std::memcmp(&again, &config, sizeof again), 0);

    // An empty text leaves the stored one alone, even one that can't be read; one without a terminator fails the write.
    for (const std::string& stored : {std::string("b.png"), std::string(600, 'b')}) {
        tree::setText(kSalKey, "BlockImages", stored); // stored with its terminator, as others do
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
}

} // namespace
