// The plug-in manager and its switches for browsers through their exports.
#include "FakeService.h"
#include "RegistryRefusal.h"
#include "WebTree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gmock/gmock.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr Change kOwnChange{8, 0};

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
    const struct {
        const char* name;
        DWORD type; // REG_NONE: deleted
        std::string data;
        std::int32_t status;
        const char* line;
    } cases[] = {
        {"enable", REG_NONE, "", WDLT_E_REGISTRY, "RegGetValue enable error 2"},
        {"enable", REG_SZ, std::string("1\0", 2), WDLT_E_NOT_FOUND, "RegGetValue enable invalid type 1"},
        {"enable", REG_DWORD, "12345", WDLT_E_REGISTRY, "RegGetValue enable error 234"},
        {"filename", REG_NONE, "", WDLT_E_REGISTRY, "RegGetValue filename error 2"},
        {"filename", REG_DWORD, "1234", WDLT_E_NOT_FOUND, "RegGetValue filename invalid type 4"},
        {"filename", REG_SZ, std::string(260, 'f'), WDLT_E_REGISTRY, "RegGetValue filename error 234"},
    };
    const WdltPluginManagerConfig untouched = configOf(0xEEEEEEEE, std::string(260, 'u'));
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name).append(" ").append(std::to_string(c.type)));
        layOutWebTree();
        clearLog();
        if (c.type == REG_NONE)
            tree::deleteValue(kPluginManagerKey, c.name);
        else
            tree::set(kPluginManagerKey, c.name, c.type, c.data);
        WdltPluginManagerConfig config = untouched;
        EXPECT_EQ(read(config), c.status);
        EXPECT_TRUE(library.logged(std::string("!!! <WdltCfg> CFuncPluginManager::ReadConfig(): ").append(c.line)));
        EXPECT_EQ(std::memcmp(&config, &untouched, sizeof config), 0);
    }
    const RegistryRefusal refusal("RegCreateKeyEx", kPluginManagerKey);
    WdltPluginManagerConfig config = untouched;
    EXPECT_EQ(read(config), WDLT_E_REGISTRY);
    EXPECT_TRUE(library.logged("CFuncPluginManager::ReadConfig(): RegCreateKeyEx error 5"));
}

TEST_F(PluginManager, TheWholeFieldIsStored) {
    tree::setNumber(kPluginManagerKey, "enableIE", 0); // belongs to another export
    WdltPluginManagerConfig config = configOf(0x80000007, std::string(260, 'f'));
    config.szFilename[7] = '\0'; // bytes after a terminator are stored too
    EXPECT_EQ(write(config), WDLT_OK);
    config.szFilename[259] = '\0'; // the last byte is stored as the terminator
    EXPECT_EQ(tree::storedText(kPluginManagerKey, "filename"),
              std::string(config.szFilename, sizeof config.szFilename));
    WdltPluginManagerConfig again{};
    EXPECT_EQ(read(again), WDLT_OK);
    EXPECT_EQ(std::memcmp(&again, &config, sizeof again), 0);
    EXPECT_EQ(tree::number(kPluginManagerKey, "enableIE"), 0u);
}

// Only an enable of 1 asks for the handler, which is switched on only if one of its own items is on.
TEST_F(PluginManager, AsksForTheHandler) {
    ChangeListener service;
    const struct {
        DWORD item; // switch of another feature's item
        std::uint32_t enable;
        DWORD handler;
        std::vector<Change> told;
    } cases[] = {
        {0, 1, 0, {kOwnChange}},
        {1, 2, 0, {kOwnChange}},
        {1, 1, 1, {kHandlerChange, kOwnChange}},
        {0, 0, 1, {kOwnChange}},
    };
    for (const auto& c : cases) {
        tree::setNumber(kUrlFilterItemKey, "Enable", c.item);
        EXPECT_EQ(write(configOf(c.enable, "x")), WDLT_OK);
        EXPECT_EQ(tree::number(kHandlerKey, "Enable"), c.handler) << c.item << ' ' << c.enable;
        EXPECT_EQ(service.heard(), c.told) << c.item << ' ' << c.enable;
    }
    layOutWebTree();
    tree::setNumber(kUrlFilterItemKey, "Enable", 1);
    const RegistryRefusal refusal("RegSetValueEx", "Enable"); // the handler's
    EXPECT_EQ(write(configOf(1, "x")), WDLT_E_GENERAL);
    EXPECT_EQ(tree::number(kPluginManagerKey, "enable"), 0u) << "nothing of it is stored";
}

TEST_F(PluginManager, BrowsersAreOnUnlessTheyAreSwitchedOff) {
    const struct {
        const char* value;
        decltype(&WdltIEPlugInEnable) enable;
        decltype(&WdltIEPlugInIsEnabled) isEnabled;
    } browsers[] = {
        {"enableIE", WDLT_CALL(library, WdltIEPlugInEnable), WDLT_CALL(library, WdltIEPlugInIsEnabled)},
        {"enableFirefox", WDLT_CALL(library, WdltFirefoxExtensionEnable),
         WDLT_CALL(library, WdltFirefoxExtensionIsEnabled)},
        {"enableChrome", WDLT_CALL(library, WdltChromeExtensionEnable),
         WDLT_CALL(library, WdltChromeExtensionIsEnabled)},
    };
    const struct {
        DWORD type;
        std::string data;
        std::int32_t isEnabled;
        const char* line; // after the value's name; empty: no error is logged
    } cases[] = {
        {REG_NONE, "", 1, "error 2. Return default 1"},
        {REG_DWORD, std::string(4, '\0'), 0, ""},
        {REG_DWORD, std::string("\0\0\0\1", 4), 1, ""},
        {REG_DWORD, std::string(8, '\0'), 1, "error 234. Return default 1"},
        {REG_SZ, std::string(2, '\0'), 1, "invalid type 1. Return default 1"},
    };
    for (const auto& browser : browsers) {
        SCOPED_TRACE(browser.value);
        for (const auto& c : cases) {
            clearLog();
            if (c.type != REG_NONE)
                tree::set(kPluginManagerKey, browser.value, c.type, c.data);
            EXPECT_EQ(browser.isEnabled(), c.isEnabled) << c.type;
            const bool isTold = c.line[0] != '\0';
            EXPECT_EQ(library.logged("!!! <WdltCfg> CFuncPluginManager::PlugInIsEnabled(): "), isTold);
            EXPECT_TRUE(library.logged(std::string("[").append(browser.value).append("] ").append(c.line)) || !isTold);
        }
        for (const std::uint32_t enable : {0u, 7u, 1u}) {
            EXPECT_EQ(browser.enable(enable), WDLT_OK);
            EXPECT_EQ(tree::number(kPluginManagerKey, browser.value), enable == 0 ? 0u : 1u);
            EXPECT_EQ(browser.isEnabled(), enable == 0 ? 0 : 1);
        }
        const RegistryRefusal refusal("RegSetValueEx", browser.value);
        EXPECT_EQ(browser.enable(0), WDLT_E_REGISTRY);
        EXPECT_TRUE(library.logged(std::string("PlugInEnable(): RegSetValueEx [").append(browser.value) + "] error 5"));
        EXPECT_EQ(browser.isEnabled(), 1);
    }
}

} // namespace
