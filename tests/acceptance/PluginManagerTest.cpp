// The plug-in manager and its switches for browsers through their exports.
#include "FakeService.h"
#include "LockState.h"
#include "RegistryRefusal.h"
#include "WebTree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gmock/gmock.h>

#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Library = const LoadedLibrary&;

constexpr Change kOwnChange{8, 0};
constexpr Change kHandlerChange{10003, 0};

WdltPluginManagerConfig configOf(std::uint32_t enable, const std::string& name) {
    WdltPluginManagerConfig config{};
    config.dwEnable = enable;
    name.copy(config.szFilename, sizeof config.szFilename);
    return config;
}

class PluginManager : public WebFeatures {
  protected:
    std::int32_t write(const WdltPluginManagerConfig& config) {
        return WDLT_CALL(library, WdltPluginManagerWriteConfig)(&config);
    }
    std::int32_t read(WdltPluginManagerConfig& config) {
        return WDLT_CALL(library, WdltPluginManagerReadConfig)(&config);
    }
};

TEST_F(PluginManager, EachValueMissingOrOfAnotherKind) {
    struct Case {
        const char* name;
        DWORD type; // REG_NONE: deleted
        std::string data;
        std::int32_t status;
        const char* line;
    };
    const Case cases[] = {
        {"enable", REG_NONE, "", WDLT_E_REGISTRY, "RegGetValue enable error 2"},
        {"enable", REG_SZ, std::string("1\0", 2), WDLT_E_NOT_FOUND, "RegGetValue enable invalid type 1"},
        {"enable", REG_BINARY, "1234", WDLT_E_NOT_FOUND, "RegGetValue enable invalid type 3"},
        {"enable", REG_DWORD, "12345", WDLT_E_REGISTRY, "RegGetValue enable error 234"},
        {"enable", REG_DWORD, std::string("\7\0\0\x80", 4), WDLT_OK, "result 0"},
        {"filename", REG_NONE, "", WDLT_E_REGISTRY, "RegGetValue filename error 2"},
        {"filename", REG_DWORD, "1234", WDLT_E_NOT_FOUND, "RegGetValue filename invalid type 4"},
        {"filename", REG_SZ, std::string(260, 'f'), WDLT_E_REGISTRY, "RegGetValue filename error 234"},
        {"filename", REG_SZ, std::string(259, 'f'), WDLT_OK, "result 0"},
        {"filename", REG_SZ, "", WDLT_OK, "result 0"},
    };
    const WdltPluginManagerConfig untouched = configOf(0xEEEEEEEE, std::string(260, 'u'));
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.name).append(" ").append(std::to_string(c.type)));
        layOutWebTree();
        if (c.type == REG_NONE)
            tree::deleteValue(kPluginManagerKey, c.name);
        else
            tree::set(kPluginManagerKey, c.name, c.type, c.data.data(), static_cast<DWORD>(c.data.size()));
        WdltPluginManagerConfig config = untouched;
        EXPECT_EQ(read(config), c.status);
        EXPECT_TRUE(library.logged(std::string("!!! <WdltCfg> CFuncPluginManager::ReadConfig(): ").append(c.line)));
        if (c.status != WDLT_OK) {
            EXPECT_EQ(std::memcmp(&config, &untouched, sizeof config), 0);
            continue;
        }
        const bool isEnable = std::string(c.name) == "enable";
        EXPECT_EQ(config.dwEnable, isEnable ? 0x80000007u : 0u);
        EXPECT_STREQ(config.szFilename, isEnable ? "plugin.dll" : c.data.substr(0, 259).c_str());
    }
    EXPECT_EQ(WDLT_CALL(library, WdltPluginManagerReadConfig)(nullptr), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(library.logged("CFuncPluginManager::ReadConfig: pConfig is NULL"));

    tree::clear(tree::path(kPluginManagerKey));
    WdltPluginManagerConfig config = untouched;
    EXPECT_EQ(read(config), WDLT_E_REGISTRY);
    EXPECT_TRUE(tree::keyExists(kPluginManagerKey));
    const RegistryRefusal refusal("RegCreateKeyEx", kPluginManagerKey);
    EXPECT_EQ(read(config), WDLT_E_REGISTRY);
    EXPECT_TRUE(library.logged("CFuncPluginManager::ReadConfig(): RegCreateKeyEx error 5"));
}

TEST_F(PluginManager, TheWholeFieldIsStoredAndTold) {
    ChangeListener service;
    tree::setNumber(kPluginManagerKey, "enableIE", 0); // of another export
    WdltPluginManagerConfig config = configOf(2, std::string(260, 'f'));
    config.szFilename[7] = '\0'; // what stands behind a terminator goes with it
    EXPECT_EQ(write(config), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kOwnChange));
    EXPECT_EQ(tree::number(kPluginManagerKey, "enable"), 2u);
    config.szFilename[259] = '\0'; // that it could be read again
    EXPECT_EQ(tree::storedText(kPluginManagerKey, "filename"),
              std::string(config.szFilename, sizeof config.szFilename));
    WdltPluginManagerConfig again{};
    EXPECT_EQ(read(again), WDLT_OK);
    EXPECT_EQ(std::memcmp(&again, &config, sizeof again), 0);
    EXPECT_EQ(tree::number(kPluginManagerKey, "enableIE"), 0u);
    EXPECT_EQ(WDLT_CALL(library, WdltPluginManagerWriteConfig)(nullptr), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(library.logged("CFuncPluginManager::WriteConfig: pConfig is NULL"));
    EXPECT_TRUE(library.logged("CFuncPluginManager::WriteConfig(): return 0"));
}

// The handler is asked to go on by an enable of 1 alone, and follows only with an item of its own.
TEST_F(PluginManager, AsksForTheHandler) {
    ChangeListener service;
    EXPECT_EQ(write(configOf(1, "x")), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kOwnChange));
    tree::setNumber(kUrlFilterItemKey, "Enable", 1);
    for (const std::uint32_t enable : {2u, 0u}) {
        EXPECT_EQ(write(configOf(enable, "x")), WDLT_OK);
        EXPECT_EQ(tree::number(kHandlerKey, "Enable"), 0u);
    }
    EXPECT_THAT(service.heard(), ElementsAre(kOwnChange, kOwnChange));
    EXPECT_EQ(write(configOf(1, "x")), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kHandlerChange, kOwnChange));
    tree::setNumber(kUrlFilterItemKey, "Enable", 0);
    EXPECT_EQ(write(configOf(0, "x")), WDLT_OK);
    EXPECT_EQ(tree::number(kHandlerKey, "Enable"), 1u);
}

TEST_F(PluginManager, AFailingWriteLeavesWhatCameBeforeIt) {
    ChangeListener service;
    tree::setNumber(kUrlFilterItemKey, "Enable", 1);
    struct Case {
        const char* call;
        std::string name;
        std::uint32_t enable; // stored afterwards
        std::int32_t status;
        const char* line;
    };
    const Case cases[] = {
        {"RegSetValueEx", "Enable", 0, WDLT_E_GENERAL, "Failed to enable HTTP PH: -1"},
        {"RegCreateKeyEx", kPluginManagerKey, 0, WDLT_E_REGISTRY, "RegCreateKeyEx error 5"},
        {"RegSetValueEx", "enable", 0, WDLT_E_REGISTRY, "RegSetValueEx enable error 5"},
        {"RegSetValueEx", "filename", 1, WDLT_E_REGISTRY, "RegSetValueEx filename error 5"},
    };
    for (const Case& c : cases) {
        const RegistryRefusal refusal(c.call, c.name);
        EXPECT_EQ(write(configOf(1, "new")), c.status) << c.line;
        EXPECT_EQ(tree::number(kPluginManagerKey, "enable"), c.enable) << c.line;
        EXPECT_EQ(tree::storedText(kPluginManagerKey, "filename"), std::string("plugin.dll\0", 11));
        EXPECT_TRUE(library.logged(std::string("CFuncPluginManager::WriteConfig(): ").append(c.line)));
    }
    EXPECT_THAT(service.heard(), ElementsAre(kHandlerChange)); // by the second
}

struct Browser {
    const char* value;
    std::int32_t (*enable)(Library library, std::uint32_t enable);
    std::int32_t (*isEnabled)(Library library);
};

#define WDLT_BROWSER(value, name)                                                                                      \
    {                                                                                                                  \
        value, [](Library library, std::uint32_t enable) { return WDLT_CALL(library, name##Enable)(enable); },         \
            [](Library library) { return WDLT_CALL(library, name##IsEnabled)(); }                                      \
    }
const Browser kBrowsers[] = {
    WDLT_BROWSER("enableIE", WdltIEPlugIn),
    WDLT_BROWSER("enableFirefox", WdltFirefoxExtension),
    WDLT_BROWSER("enableChrome", WdltChromeExtension),
};

TEST_F(PluginManager, BrowsersAreOnUnlessTheyAreSwitchedOff) {
    struct Case {
        DWORD type;
        std::string data;
        std::int32_t isEnabled;
        const char* line; // null: none
    };
    const Case cases[] = {
        {REG_NONE, "", 1, "RegQueryValueEx [%] error 2. Return default 1"},
        {REG_DWORD, std::string(4, '\0'), 0, nullptr},
        {REG_DWORD, std::string("\0\0\0\1", 4), 1, nullptr},
        {REG_DWORD, std::string(8, '\0'), 1, "RegQueryValueEx [%] error 234. Return default 1"},
        {REG_SZ, std::string(2, '\0'), 1, "RegGetValue [%] invalid type 1. Return default 1"},
    };
    ChangeListener service;
    for (const Browser& browser : kBrowsers) {
        SCOPED_TRACE(browser.value);
        for (const Case& c : cases) {
            if (c.type == REG_NONE)
                tree::deleteValue(kPluginManagerKey, browser.value);
            else
                tree::set(kPluginManagerKey, browser.value, c.type, c.data.data(), static_cast<DWORD>(c.data.size()));
            EXPECT_EQ(browser.isEnabled(library), c.isEnabled) << c.type;
            if (c.line == nullptr)
                continue;
            std::string line = std::string("CFuncPluginManager::PlugInIsEnabled(): ").append(c.line);
            EXPECT_TRUE(library.logged(line.replace(line.find('%'), 1, browser.value))) << line;
        }
        for (const std::uint32_t enable : {0u, 1u, 7u}) {
            EXPECT_EQ(browser.enable(library, enable), WDLT_OK);
            EXPECT_EQ(tree::number(kPluginManagerKey, browser.value), enable == 0 ? 0u : 1u);
            EXPECT_EQ(browser.isEnabled(library), enable == 0 ? 0 : 1);
        }
        EXPECT_THAT(service.heard(), ElementsAre(kOwnChange, kOwnChange, kOwnChange));
        const std::string named = std::string("[").append(browser.value).append("] error 5");
        for (const auto& [call, name] : {std::pair<const char*, std::string>("RegSetValueEx", browser.value),
                                         {"RegCreateKeyEx", kPluginManagerKey}}) {
            const RegistryRefusal refusal(call, name);
            EXPECT_EQ(browser.enable(library, 0), WDLT_E_REGISTRY);
            EXPECT_TRUE(library.logged(std::string("PlugInEnable(): ").append(call).append(" ").append(named)));
        }
        EXPECT_EQ(browser.isEnabled(library), 1);
        EXPECT_THAT(service.heard(), IsEmpty());
    }
    EXPECT_EQ(tree::number(kPluginManagerKey, "enable"), 0u);
    tree::clear();
    EXPECT_EQ(WDLT_CALL(library, WdltChromeExtensionIsEnabled)(), 1);
    EXPECT_TRUE(tree::keyExists(kPluginManagerKey));
}

TEST_F(PluginManager, WithoutAnAnswerTheValueIsStored) {
    EXPECT_EQ(write(configOf(2, "a")), WDLT_OK); // nobody to tell
    EXPECT_TRUE(library.logged("@@@ <WdltCfg> CFuncPluginManager::NotifyChange(): Failed to open memory in "
                               "ConfigChangeSender or Wardlet is not running"));
    const TimeScale impatient{"0.0005"};
    const ServiceObjects silent("wdlt_config_change_evt", sizeof(Change));
    EXPECT_EQ(write(configOf(3, "b")), WDLT_E_NO_ANSWER);
    EXPECT_EQ(tree::number(kPluginManagerKey, "enable"), 3u);
    EXPECT_EQ(WDLT_CALL(library, WdltIEPlugInEnable)(0), WDLT_E_NO_ANSWER);
    EXPECT_EQ(WDLT_CALL(library, WdltIEPlugInIsEnabled)(), 0);
    EXPECT_TRUE(library.logged("CFuncPluginManager::NotifyChange(): Failed to send in ConfigChangeSender"));
    EXPECT_TRUE(library.logged("CFuncPluginManager::WriteConfig(): return -26"));
    EXPECT_TRUE(isMutexFree());
    EXPECT_TRUE(isLockFree());
}

TEST_F(PluginManager, TheLocksAreHeldUntilTheServiceHasAnswered) {
    std::vector<std::pair<bool, bool>> free;
    ChangeListener service([&](const Change&) {
        free.emplace_back(isLockFree(), isMutexFree());
        return true;
    });
    const WdltDrsConfig drs{1, 1};
    EXPECT_EQ(WDLT_CALL(library, WdltIEPlugInEnable)(0), WDLT_OK);
    EXPECT_EQ(write(configOf(0, "x")), WDLT_OK);
    EXPECT_EQ(WDLT_CALL(library, WdltDRSWriteConfig)(&drs), WDLT_OK);
    const std::pair held(false, false);
    EXPECT_THAT(free, ElementsAre(held, held, held));
    EXPECT_TRUE(isLockFree());
    EXPECT_TRUE(isMutexFree());
}

// One pair of events for the writes of raw addresses, which take no reader/writer lock, and for these.
TEST_F(PluginManager, ExchangesOfAllKindsAreToldOneByOne) {
    constexpr int kRounds = 20;
    ChangeListener service;
    const auto writeItem = [&] {
        WdchSystemScan item{};
        return WDLT_CALL(library, WdltWriteConfig)(WDLT_PROTOCOL_SYSTEM_HTTP, WDLT_SCAN_SAL, 0, &item, sizeof item);
    };
    const auto writeDrs = [&] {
        const WdltDrsConfig drs{0, 50};
        return WDLT_CALL(library, WdltDRSWriteConfig)(&drs);
    };
    const auto switchBrowser = [&] { return WDLT_CALL(library, WdltChromeExtensionEnable)(1); };
    std::vector<std::jthread> writers;
    const std::function<std::int32_t()> calls[] = {writeItem, writeDrs, switchBrowser};
    for (const auto& call : calls)
        writers.emplace_back([&call] {
            for (int round = 0; round < kRounds; ++round)
                EXPECT_EQ(call(), WDLT_OK);
        });
    writers.clear();
    std::map<std::pair<std::uint32_t, std::uint32_t>, int> heard;
    for (const Change& change : service.heard())
        ++heard[{change.protocol, change.scan}];
    EXPECT_THAT(heard, ElementsAre(std::pair(std::pair(0u, 4u), kRounds), std::pair(std::pair(8u, 0u), kRounds),
                                   std::pair(std::pair(10003u, 0x200u), kRounds)));
}

} // namespace
