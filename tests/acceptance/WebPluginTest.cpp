// The HTTPS filter through its exports, and what it and DRS switch on before themselves.
#include "FakeService.h"
#include "RegistryRefusal.h"
#include "WebTree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr Change kHttpsChange{10003, WDLT_SCAN_HTTP_MANAGER};
constexpr Change kHandlerChange{10003, 0};
constexpr Change kUrlFilterChange{10003, WDLT_SCAN_URL_FILTER};
constexpr Change kPluginManagerChange{8, 0};

using Library = const LoadedLibrary&;

// The fields of the record that hold names, in the order of reading and writing.
using Field = char (WdltHttpsConfig::*)[257];
constexpr Field kFields[] = {&WdltHttpsConfig::HostFilterAlertFile, &WdltHttpsConfig::HostFilterErrorFile,
                             &WdltHttpsConfig::PrivacyDataAlertFile, &WdltHttpsConfig::UrlFilterAlertFile,
                             &WdltHttpsConfig::UrlFilterCredAlertFile};

WdltHttpsConfig recordOf(std::uint32_t flags, const std::string& names) {
    WdltHttpsConfig record{};
    record.enable = flags;
    for (const Field field : kFields)
        names.copy(record.*field, sizeof(record.*field) - 1);
    return record;
}

void turnOnWhatIsNeeded() {
    tree::setNumber(kUrlFilterItemKey, "Enable", 1);
    tree::setNumber(kHandlerKey, "Enable", 1);
    tree::setNumber(kPluginManagerKey, "enable", 1);
}

TEST_F(WebFeatures, HttpsRecordWithEachValueMissingOrTooLong) {
    struct Case {
        std::string text;
        std::int32_t status;
    };
    const Case cases[] = {
        {"", WDLT_OK},
        {std::string(256, 'a'), WDLT_OK},
        {std::string(257, 'a'), WDLT_E_BUFFER_SIZE},
    };
    const auto read = WDLT_CALL(library, WdltHttpsReadConfig);
    WdltHttpsConfig untouched;
    std::memset(&untouched, 0xEE, sizeof untouched);
    for (std::size_t i = 0; i < std::size(kHttpsFiles); ++i) {
        SCOPED_TRACE(kHttpsFiles[i]);
        for (const Case& c : cases) {
            tree::setText(kHttpsKey, kHttpsFiles[i], c.text);
            WdltHttpsConfig record = untouched;
            EXPECT_EQ(read(&record), c.status) << c.text.size();
            if (c.status == WDLT_OK) {
                EXPECT_EQ(record.*kFields[i], c.text);
                EXPECT_STREQ(record.*kFields[(i + 1) % 5],
                             std::string(kHttpsFiles[(i + 1) % 5]).append(".htm").c_str());
            } else {
                EXPECT_EQ(std::memcmp(&record, &untouched, sizeof record), 0);
            }
        }
        tree::deleteValue(kHttpsKey, kHttpsFiles[i]);
        WdltHttpsConfig record = untouched;
        EXPECT_EQ(read(&record), WDLT_E_NOT_FOUND);
        EXPECT_EQ(std::memcmp(&record, &untouched, sizeof record), 0);
        std::uint32_t flags = 99;
        EXPECT_EQ(WDLT_CALL(library, WdltPluginScanGetEnableFlag)(&flags), WDLT_E_NOT_FOUND);
        EXPECT_EQ(flags, 99u);
        EXPECT_EQ(WDLT_CALL(library, WdltHttpsScanIsEnabled)(), 0);
        layOutWebTree();
    }
    EXPECT_TRUE(library.logged("CFuncBrowserPlugin::ConfigRead(): Failed to read config: -16"));
    EXPECT_TRUE(library.logged("CFuncBrowserPlugin::GetEnableFlag(): Failed to read config: -16"));

    // The flags are 0 whatever is wrong with them.
    WdltHttpsConfig record{};
    tree::set(kHttpsKey, "Enable", REG_BINARY, "12345678", 8);
    EXPECT_EQ(read(&record), WDLT_OK);
    EXPECT_EQ(record.enable, 0u);
    tree::deleteValue(kHttpsKey, "Enable");
    EXPECT_EQ(WDLT_CALL(library, WdltPluginReadConfig)(&record), WDLT_OK);
    EXPECT_EQ(record.enable, 0u);

    EXPECT_EQ(read(nullptr), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(WDLT_CALL(library, WdltHttpsWriteConfig)(nullptr), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(WDLT_CALL(library, WdltPluginScanGetEnableFlag)(nullptr), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(library.logged("CFuncBrowserPlugin::ConfigWrite: pConfig is NULL"));
    EXPECT_TRUE(library.logged("CFuncBrowserPlugin::GetEnableFlag: pdwEnableFlag is NULL"));
}

TEST_F(WebFeatures, HttpsRecordIsWrittenWholeOrAsFarAsItGoes) {
    turnOnWhatIsNeeded();
    tree::setText(kHttpsKey, "LogExtension", "log");     // nobody's here
    tree::deleteValue(kHttpsKey, "HostFilterErrorFile"); // nothing is read before a write
    ChangeListener service;
    const WdltHttpsConfig written = recordOf(0x80000005, std::string(256, 'n'));
    EXPECT_EQ(WDLT_CALL(library, WdltPluginWriteConfig)(&written), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kHttpsChange));
    WdltHttpsConfig again{};
    EXPECT_EQ(WDLT_CALL(library, WdltHttpsReadConfig)(&again), WDLT_OK);
    EXPECT_EQ(std::memcmp(&again, &written, sizeof again), 0);
    EXPECT_EQ(tree::storedText(kHttpsKey, "HostFilterErrorFile"), std::string(256, 'n') + '\0');

    const RegistryRefusal refusal("RegSetValueEx", "PrivacyDataAlertFile");
    const WdltHttpsConfig other = recordOf(3, "other");
    EXPECT_EQ(WDLT_CALL(library, WdltHttpsWriteConfig)(&other), WDLT_E_GENERAL);
    EXPECT_THAT(service.heard(), IsEmpty());
    EXPECT_EQ(WDLT_CALL(library, WdltHttpsReadConfig)(&again), WDLT_OK);
    EXPECT_EQ(again.enable, 3u);
    EXPECT_STREQ(again.HostFilterErrorFile, "other");
    EXPECT_STREQ(again.PrivacyDataAlertFile, written.PrivacyDataAlertFile);
    EXPECT_STREQ(again.UrlFilterCredAlertFile, written.UrlFilterCredAlertFile);
    EXPECT_TRUE(library.logged("CFuncBrowserPlugin::ConfigWrite(): Failed to write config: -1"));
    EXPECT_EQ(tree::storedText(kHttpsKey, "LogExtension"), std::string("log\0", 4));
}

// Which bits a switch changes, and what is told of it.
TEST_F(WebFeatures, FlagsAreSwitchedTogetherAndBitZeroAlone) {
    const auto scan = [](std::uint32_t enable) {
        return [enable](Library lib) { return WDLT_CALL(lib, WdltHttpsScanEnable)(enable); };
    };
    const auto setFlags = [](std::uint32_t flags) {
        return [flags](Library lib) { return WDLT_CALL(lib, WdltPluginScanSetEnableFlag)(flags); };
    };
    struct Case {
        DWORD stored;
        std::function<std::int32_t(Library)> call;
        DWORD expected;
        std::vector<Change> heard;
    };
    const std::vector<Change> item{kHttpsChange};
    const Case cases[] = {
        {0x6, scan(1), 0x7, item},     {0x7, scan(1), 0x7, {}},         {0x80000007, scan(0), 0x80000006, item},
        {0x6, scan(0), 0x6, {}},       {0x6, scan(2), 0x7, item},       {0x6, setFlags(0), 0, item},
        {0x6, setFlags(0x6), 0x6, {}}, {0x6, setFlags(0x9), 0x9, item}, {0, setFlags(0xFFFFFFFF), 0xFFFFFFFF, item},
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

// The filter's own item is none of those that a handler goes by.
TEST_F(WebFeatures, TheHandlerGoesByItsOtherItems) {
    ChangeListener service;
    tree::setNumber(kHttpsKey, "Enable", 2);
    EXPECT_EQ(WDLT_CALL(library, WdltPluginScanSetEnableFlag)(0), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kHttpsChange)); // asked to go on, it has no reason to
    EXPECT_EQ(tree::number(kHandlerKey, "Enable"), 0u);
    tree::setNumber(kUrlFilterItemKey, "Enable", 1);
    EXPECT_EQ(WDLT_CALL(library, WdltPluginScanSetEnableFlag)(0), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kHandlerChange)); // asked even by no flags that are stored already
    EXPECT_EQ(WDLT_CALL(library, WdltHttpsScanEnable)(0), WDLT_OK);
    EXPECT_EQ(tree::number(kHandlerKey, "Enable"), 1u);
    tree::setNumber(kUrlFilterItemKey, "Enable", 0);
    EXPECT_EQ(WDLT_CALL(library, WdltHttpsScanEnable)(0), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kHandlerChange));
    tree::setNumber(kHttpsKey, "Enable", 1);
    EXPECT_EQ(WDLT_CALL(library, WdltHttpsScanIsEnabled)(), 0);

    tree::setNumber(kUrlFilterItemKey, "Enable", 1);
    const RegistryRefusal refusal("RegSetValueEx", "Enable");
    EXPECT_EQ(WDLT_CALL(library, WdltHttpsScanEnable)(0), WDLT_E_GENERAL);
    EXPECT_TRUE(library.logged("CFuncBrowserPlugin::ScanEnable(): Failed to disable HttpS Filter PE: -1"));
    EXPECT_EQ(WDLT_CALL(library, WdltHttpsScanEnable)(2), WDLT_E_GENERAL); // on already; then the handler
    EXPECT_TRUE(library.logged("CFuncBrowserPlugin::ScanEnable(): Failed to enable HTTP PH: -1"));
    EXPECT_EQ(WDLT_CALL(library, WdltPluginScanSetEnableFlag)(0), WDLT_E_GENERAL);
    EXPECT_TRUE(library.logged("CFuncBrowserPlugin::SetEnableFlag(): Failed to set HttpS Filter: -1"));
    tree::deleteValue(kHttpsKey, "Enable");
    EXPECT_EQ(WDLT_CALL(library, WdltPluginScanSetEnableFlag)(0), WDLT_E_GENERAL);
    EXPECT_TRUE(library.logged("CFuncBrowserPlugin::SetEnableFlag(): Failed to enable HTTP PH: -1"));
}

// The four operations that need the URL filter and the plug-in manager, with each argument that tells them so or not.
struct Dependent {
    const char* name;
    std::int32_t (*call)(Library library);
    bool needs;
    std::vector<Change> own; // what is told behind the step
};

void PrintTo(const Dependent& dependent, std::ostream* out) {
    *out << dependent.name;
}

template <std::uint32_t Flags>
std::int32_t writeRecord(Library library) {
    const WdltHttpsConfig record = recordOf(Flags, "new");
    return WDLT_CALL(library, WdltHttpsWriteConfig)(&record);
}
template <std::uint32_t Enable>
std::int32_t scanEnable(Library library) {
    return WDLT_CALL(library, WdltHttpsScanEnable)(Enable);
}
template <std::uint32_t Flags>
std::int32_t setFlags(Library library) {
    return WDLT_CALL(library, WdltPluginScanSetEnableFlag)(Flags);
}
template <std::uint32_t Enable>
std::int32_t drsEnable(Library library) {
    return WDLT_CALL(library, WdltDRSEnable)(Enable);
}

const Dependent kDependents[] = {
    {"RecordOff", writeRecord<0>, false, {kHttpsChange}},
    {"RecordOn", writeRecord<1>, true, {kHttpsChange}},
    {"RecordOtherFlag", writeRecord<0x80>, true, {kHttpsChange}},
    {"ScanOff", scanEnable<0>, false, {}},
    {"ScanOn", scanEnable<1>, true, {kHttpsChange}},
    {"ScanTwo", scanEnable<2>, false, {kHttpsChange}},
    {"FlagsNone", setFlags<0>, false, {}},
    {"FlagsOne", setFlags<1>, true, {kHttpsChange}},
    {"FlagsOther", setFlags<0x80>, true, {kHttpsChange}},
    {"DrsOff", drsEnable<0>, false, {}},
    {"DrsOn", drsEnable<1>, true, {}},
    {"DrsTwo", drsEnable<2>, false, {}},
};

class WebDependencies : public WebFeatures, public testing::WithParamInterface<Dependent> {
  protected:
    const Dependent& dependent = GetParam();
};

TEST_P(WebDependencies, AreSwitchedOnFirstWhenTheyAreNeeded) {
    ChangeListener service;
    EXPECT_EQ(dependent.call(library), WDLT_OK);
    std::vector<Change> expected;
    if (dependent.needs)
        expected = {kUrlFilterChange, kHandlerChange, kPluginManagerChange};
    expected.insert(expected.end(), dependent.own.begin(), dependent.own.end());
    EXPECT_THAT(service.heard(), ElementsAreArray(expected));
    EXPECT_EQ(WDLT_CALL(library, WdltUrlfIsEnabled)(), dependent.needs ? 1 : 0);
    EXPECT_EQ(tree::number(kPluginManagerKey, "enable"), dependent.needs ? 1u : 0u);

    // What is on already isn't switched again, and one that is neither 0 nor 1 isn't on.
    for (const DWORD manager : {1u, 2u}) {
        layOutWebTree();
        turnOnWhatIsNeeded();
        tree::setNumber(kPluginManagerKey, "enable", manager);
        EXPECT_EQ(dependent.call(library), WDLT_OK);
        expected.clear();
        if (dependent.needs && manager != 1)
            expected = {kPluginManagerChange};
        expected.insert(expected.end(), dependent.own.begin(), dependent.own.end());
        EXPECT_THAT(service.heard(), ElementsAreArray(expected));
        EXPECT_EQ(tree::number(kPluginManagerKey, "enable"), dependent.needs ? 1u : manager);
    }
}

class NeededDependencies : public WebDependencies {};

TEST_P(NeededDependencies, AFailureOfTheFirstIsTheResult) {
    ChangeListener service;
    const RegistryRefusal refusal("RegSetValueEx", "Enable");
    EXPECT_EQ(dependent.call(library), WDLT_E_GENERAL);
    EXPECT_TRUE(library.logged("Failed to enable URL Filter PE: -1"));
    EXPECT_THAT(service.heard(), IsEmpty());
    for (const auto& [key, name] : {std::pair(kHttpsKey, "Enable"), {kPluginManagerKey, "enable"}})
        EXPECT_EQ(tree::number(key, name), 0u) << key;
    EXPECT_FALSE(tree::keyExists(kDrsKey));
    EXPECT_EQ(WDLT_CALL(library, WdltDRSIsEnabled)(), 0);
}

TEST_P(NeededDependencies, AFailureOfTheSecondLeavesTheFirstOn) {
    struct Case {
        void (*spoil)();
        std::int32_t status;
    };
    const Case cases[] = {
        {[] { tree::deleteValue(kPluginManagerKey, "filename"); }, WDLT_E_REGISTRY},
        {[] { tree::setText(kPluginManagerKey, "enable", "1"); }, WDLT_E_NOT_FOUND},
        {[] { tree::clear(tree::path(kPluginManagerKey)); }, WDLT_E_REGISTRY},
    };
    for (const Case& c : cases) {
        layOutWebTree();
        c.spoil();
        ChangeListener service;
        EXPECT_EQ(dependent.call(library), c.status);
        EXPECT_THAT(service.heard(), ElementsAre(kUrlFilterChange, kHandlerChange));
        EXPECT_EQ(WDLT_CALL(library, WdltUrlfIsEnabled)(), 1);
        EXPECT_EQ(tree::number(kHttpsKey, "Enable"), 0u);
        EXPECT_FALSE(tree::keyExists(kDrsKey));
    }
    layOutWebTree();
    {
        const RegistryRefusal refusal("RegSetValueEx", "enable");
        EXPECT_EQ(dependent.call(library), WDLT_E_REGISTRY);
    }
    EXPECT_EQ(tree::number(kHttpsKey, "Enable"), 0u);
    EXPECT_FALSE(tree::keyExists(kDrsKey));

    // A service that doesn't answer: the plug-in manager is on, and that is all. The next call goes on from there.
    const TimeScale impatient{"0.0005"};
    const ServiceObjects silent("wdlt_config_change_evt", sizeof(Change));
    EXPECT_EQ(dependent.call(library), WDLT_E_NO_ANSWER);
    EXPECT_EQ(tree::number(kPluginManagerKey, "enable"), 1u);
    EXPECT_EQ(tree::number(kHttpsKey, "Enable"), 0u);
    EXPECT_FALSE(tree::keyExists(kDrsKey));
    EXPECT_EQ(dependent.call(library), WDLT_OK);
}

std::vector<Dependent> thoseThatNeed() {
    std::vector<Dependent> dependents;
    std::ranges::copy_if(kDependents, std::back_inserter(dependents), &Dependent::needs);
    return dependents;
}

const auto kNamed = [](const auto& info) { return std::string(info.param.name); };
INSTANTIATE_TEST_SUITE_P(Exports, WebDependencies, testing::ValuesIn(kDependents), kNamed);
INSTANTIATE_TEST_SUITE_P(Exports, NeededDependencies, testing::ValuesIn(thoseThatNeed()), kNamed);

} // namespace
