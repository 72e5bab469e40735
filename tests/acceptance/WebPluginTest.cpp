// The HTTPS filter through its exports, and the features that it and DRS switch on first.
#include "FakeService.h"
#include "RegistryRefusal.h"
#include "WebTree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gmock/gmock.h>

#include <cstring>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr Change kHttpsChange{10003, WDLT_SCAN_HTTP_MANAGER};
constexpr Change kUrlFilterChange{10003, WDLT_SCAN_URL_FILTER};
constexpr Change kPluginManagerChange{8, 0};

using Library = const LoadedLibrary&;

// The four operations that need the URL filter and the plug-in manager.
using Call = std::function<std::int32_t(const LoadedLibrary& library)>;

Call writeRecord(std::uint32_t flags) {
    return [=](Library lib) {
        const WdltHttpsConfig record{flags, "one", "two", "three", "four", "five"};
        return WDLT_CALL(lib, WdltHttpsWriteConfig)(&record);
    };
}
Call scanEnable(std::uint32_t enable) {
    return [=](Library lib) { return WDLT_CALL(lib, WdltHttpsScanEnable)(enable); };
}
Call setFlags(std::uint32_t flags) {
    return [=](Library lib) { return WDLT_CALL(lib, WdltPluginScanSetEnableFlag)(flags); };
}
Call drsEnable(std::uint32_t enable) {
    return [=](Library lib) { return WDLT_CALL(lib, WdltDRSEnable)(enable); };
}

void turnOnWhatIsNeeded() {
    tree::setNumber(kUrlFilterItemKey, "Enable", 1);
    tree::setNumber(kHandlerKey, "Enable", 1);
    tree::setNumber(kPluginManagerKey, "enable", 1);
}

TEST_F(WebFeatures, HttpsRecordThroughItsOwnFunctions) {
    const auto read = WDLT_CALL(library, WdltHttpsReadConfig);
    WdltHttpsConfig again{};
    EXPECT_EQ(read(&again), WDLT_OK);
    EXPECT_STREQ(again.UrlFilterCredAlertFile, "UrlFilterCredAlertFile.htm");

    // A record that can't be read completely leaves the caller's untouched.
    tree::deleteValue(kHttpsKey, "UrlFilterCredAlertFile");
    WdltHttpsConfig untouched;
    std::memset(&untouched, 0xEE, sizeof untouched);
    again = untouched;
    EXPECT_EQ(read(&again), WDLT_E_NOT_FOUND);
    EXPECT_EQ(std::memcmp(&again, &untouched, sizeof again), 0);
    std::uint32_t flags = 99;
    EXPECT_EQ(WDLT_CALL(library, WdltPluginScanGetEnableFlag)(&flags), WDLT_E_NOT_FOUND);
    EXPECT_EQ(flags, 99u);
    EXPECT_EQ(WDLT_CALL(library, WdltHttpsScanIsEnabled)(), 0);
    EXPECT_TRUE(library.logged("CFuncBrowserPlugin::ConfigRead(): Failed to read config: -16"));
}

// Which bits a switch changes, and what the service hears.
TEST_F(WebFeatures, FlagsAreSwitchedTogetherAndBitZeroAlone) {
    struct Case {
        DWORD stored;
        Call call;
        DWORD expected;
        std::vector<Change> heard;
    };
    const std::vector<Change> item{kHttpsChange};
    const Case cases[] = {
        {0x6, scanEnable(1), 0x7, item}, {0x7, scanEnable(1), 0x7, {}},   {0x80000007, scanEnable(0), 0x80000006, item},
        {0x6, scanEnable(0), 0x6, {}},   {0x6, scanEnable(2), 0x7, item}, {0x6, setFlags(0), 0, item},
        {0x6, setFlags(0x6), 0x6, {}},   {0x6, setFlags(0x9), 0x9, item}, {0, setFlags(0xFFFFFFFF), 0xFFFFFFFF, item},
    };
    for (const Case& c : cases) {
        layOutWebTree();
        turnOnWhatIsNeeded();
        tree::setNumber(kHttpsKey, "Enable", c.stored);
        ChangeListener service;
        EXPECT_EQ(c.call(library), WDLT_OK);
        EXPECT_EQ(tree::number(kHttpsKey, "Enable"), c.expected) << c.stored;
        EXPECT_THAT(service.heard(), ElementsAreArray(c.heard));
        std::uint32_t flags = 0;
        EXPECT_EQ(WDLT_CALL(library, WdltPluginScanGetEnableFlag)(&flags), WDLT_OK);
        EXPECT_EQ(flags, c.expected);
        EXPECT_EQ(WDLT_CALL(library, WdltHttpsScanIsEnabled)(), (c.expected & 1) != 0 ? 1 : 0);
    }
    EXPECT_TRUE(library.logged("Trying to set httpsfilter to 0x00000007"));
    EXPECT_TRUE(library.logged("Succee httpsfilter 0x80000006"));
}

// The filter's own item doesn't count for its handler.
TEST_F(WebFeatures, TheHandlerGoesByItsOtherItems) {
    ChangeListener service;
    tree::setNumber(kHttpsKey, "Enable", 2);
    EXPECT_EQ(WDLT_CALL(library, WdltPluginScanSetEnableFlag)(0), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kHttpsChange)); // the handler is asked for, but no other item is on
    EXPECT_EQ(tree::number(kHandlerKey, "Enable"), 0u);
    tree::setNumber(kUrlFilterItemKey, "Enable", 1);
    EXPECT_EQ(WDLT_CALL(library, WdltPluginScanSetEnableFlag)(0), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kHandlerChange)); // asked for even if the flags don't change
    EXPECT_EQ(WDLT_CALL(library, WdltHttpsScanEnable)(0), WDLT_OK);
    EXPECT_EQ(tree::number(kHandlerKey, "Enable"), 1u);
    tree::setNumber(kUrlFilterItemKey, "Enable", 0);
    EXPECT_EQ(WDLT_CALL(library, WdltHttpsScanEnable)(0), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kHandlerChange));
    tree::setNumber(kHttpsKey, "Enable", 1);
    EXPECT_EQ(WDLT_CALL(library, WdltHttpsScanIsEnabled)(), 0);

    tree::setNumber(kUrlFilterItemKey, "Enable", 1);
    const RegistryRefusal refusal("RegSetValueEx", "Enable");
    EXPECT_EQ(writeRecord(0)(library), WDLT_E_GENERAL);
    EXPECT_TRUE(library.logged("CFuncBrowserPlugin::ConfigWrite(): Failed to write config: -1"));
    EXPECT_EQ(WDLT_CALL(library, WdltHttpsScanEnable)(0), WDLT_E_GENERAL);
    EXPECT_TRUE(library.logged("CFuncBrowserPlugin::ScanEnable(): Failed to disable HttpS Filter PE: -1"));
    EXPECT_EQ(WDLT_CALL(library, WdltHttpsScanEnable)(2), WDLT_E_GENERAL); // the item is on already; the handler fails
    EXPECT_TRUE(library.logged("CFuncBrowserPlugin::ScanEnable(): Failed to enable HTTP PH: -1"));
    EXPECT_EQ(WDLT_CALL(library, WdltPluginScanSetEnableFlag)(0), WDLT_E_GENERAL);
    EXPECT_TRUE(library.logged("CFuncBrowserPlugin::SetEnableFlag(): Failed to set HttpS Filter: -1"));
    tree::deleteValue(kHttpsKey, "Enable");
    EXPECT_EQ(WDLT_CALL(library, WdltPluginScanSetEnableFlag)(0), WDLT_E_GENERAL);
    EXPECT_TRUE(library.logged("CFuncBrowserPlugin::SetEnableFlag(): Failed to enable HTTP PH: -1"));
}

// The four operations with arguments that need the other features, and with ones that don't.
struct Dependent {
    const char* name;
    Call call;
    bool needs;
    std::vector<Change> own; // its own notifications, after those of the needed features
};
const Dependent kDependents[] = {
    {"the record, off", writeRecord(0), false, {kHttpsChange}},
    {"the record, another flag", writeRecord(0x80), true, {kHttpsChange}},
    {"scan, off", scanEnable(0), false, {}},
    {"scan, on", scanEnable(1), true, {kHttpsChange}},
    {"scan, 2", scanEnable(2), false, {kHttpsChange}},
    {"flags, none", setFlags(0), false, {}},
    {"flags, another", setFlags(0x80), true, {kHttpsChange}},
    {"DRS, off", drsEnable(0), false, {}},
    {"DRS, on", drsEnable(1), true, {}},
};

// A feature that is on isn't switched again, and a plug-in manager that is neither 0 nor 1 isn't on.
TEST_F(WebFeatures, WhatIsNeededIsSwitchedOnFirst) {
    ChangeListener service;
    for (const Dependent& dependent : kDependents)
        for (const DWORD manager : {0u, 1u, 2u}) {
            SCOPED_TRACE(testing::Message() << dependent.name << ", manager " << manager);
            layOutWebTree();
            if (manager != 0)
                turnOnWhatIsNeeded();
            tree::setNumber(kPluginManagerKey, "enable", manager);
            EXPECT_EQ(dependent.call(library), WDLT_OK);
            std::vector<Change> expected;
            if (dependent.needs && manager == 0)
                expected = {kUrlFilterChange, kHandlerChange};
            if (dependent.needs && manager != 1)
                expected.push_back(kPluginManagerChange);
            expected.insert(expected.end(), dependent.own.begin(), dependent.own.end());
            EXPECT_THAT(service.heard(), ElementsAreArray(expected));
            EXPECT_EQ(WDLT_CALL(library, WdltUrlfIsEnabled)(), dependent.needs || manager != 0 ? 1 : 0);
            EXPECT_EQ(tree::number(kPluginManagerKey, "enable"), dependent.needs ? 1u : manager);
        }
}

TEST_F(WebFeatures, AFailureOfWhatIsNeededIsTheResult) {
    const struct {
        const char* refused; // name of the value that can't be written
        std::int32_t status;
        std::vector<Change> heard;
    } cases[] = {
        {"Enable", WDLT_E_GENERAL, {}},
        {"enable", WDLT_E_REGISTRY, {kUrlFilterChange, kHandlerChange}},
    };
    const auto expectNothingOfItsOwn = [] {
        EXPECT_EQ(tree::number(kHttpsKey, "Enable"), 0u);
        EXPECT_FALSE(tree::keyExists(kDrsKey));
    };
    for (const Dependent& dependent : kDependents) {
        if (!dependent.needs)
            continue;
        SCOPED_TRACE(dependent.name);
        for (const auto& c : cases) {
            layOutWebTree();
            ChangeListener service;
            const RegistryRefusal refusal("RegSetValueEx", c.refused);
            EXPECT_EQ(dependent.call(library), c.status);
            EXPECT_THAT(service.heard(), ElementsAreArray(c.heard));
            EXPECT_EQ(WDLT_CALL(library, WdltUrlfIsEnabled)(), c.heard.empty() ? 0 : 1); // the first feature stays on
            expectNothingOfItsOwn();
        }
        // With a service that doesn't answer only the needed features are on; the next call goes on from there.
        layOutWebTree();
        const TimeScale impatient{"0.0005"};
        const ServiceObjects silent("wdlt_config_change_evt", sizeof(Change));
        EXPECT_EQ(dependent.call(library), WDLT_E_NO_ANSWER);
        EXPECT_EQ(tree::number(kPluginManagerKey, "enable"), 1u);
        expectNothingOfItsOwn();
        EXPECT_EQ(dependent.call(library), WDLT_OK);
    }
    EXPECT_TRUE(library.logged("Failed to enable URL Filter PE: -1"));
}

} // namespace
