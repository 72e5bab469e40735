// DRS's switches and settings through their exports, and the signal that tells the service about them.
#include "Child.h"
#include "DrsService.h"
#include "FakeService.h"
#include "LockState.h"
#include "RegistryRefusal.h"
#include "WebTree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gmock/gmock.h>

#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Library = const LoadedLibrary&;

std::int32_t enable(Library library, std::uint32_t number) {
    return WDLT_CALL(library, WdltDRSEnable)(number);
}
std::int32_t enableList(Library library, std::uint32_t use, std::uint32_t option) {
    return WDLT_CALL(library, WdltEnableDRSWhiteList)(use, option);
}
std::int32_t write(Library library, std::uint32_t mode, std::uint32_t threshold) {
    const WdltDrsConfig config{mode, threshold};
    return WDLT_CALL(library, WdltDRSWriteConfig)(&config);
}
std::int32_t addRule(Library library) {
    const WdltDrsWhiteListItem rule{5, WTEXT("R"), WTEXT("p"), WTEXT("d")};
    return WDLT_CALL(library, WdltAddDRSWhiteListItem)(&rule);
}
std::int32_t writePluginManager(Library library) {
    const WdltPluginManagerConfig config{2, "new"};
    return WDLT_CALL(library, WdltPluginManagerWriteConfig)(&config);
}

class Drs : public WebFeatures {
  protected:
    std::pair<std::uint32_t, std::uint32_t> read() {
        WdltDrsConfig config{99, 99};
        EXPECT_EQ(WDLT_CALL(library, WdltDRSReadConfig)(&config), WDLT_OK);
        return {config.ActionMode, config.ScoreThreshold};
    }
};

TEST_F(Drs, SettingsOutOfTheirLimitsReadAsZero) {
    const auto number = [](char low) { return std::string{low, 0, 0, 0}; };
    const struct {
        DWORD type;
        std::string data;
        std::uint32_t mode, threshold;
    } cases[] = {
        {REG_NONE, "", 0, 0}, // not there
        {REG_DWORD, number(1), 1, 1},   {REG_DWORD, number(100), 0, 100},
        {REG_DWORD, number(101), 0, 0}, {REG_DWORD, std::string("\1\0\0\0\0\0\0\0", 8), 0, 0},
    };
    for (const auto& c : cases) {
        if (c.type != REG_NONE)
            for (const char* const name : {"DRSCredBlock", "DRSScoreThresHold"}) // as the URL filter spells the second
                tree::set(kDrsSettingsKey, name, c.type, c.data);
        EXPECT_EQ(read(), std::pair(c.mode, c.threshold)) << c.type << ' ' << c.data;
    }
}

TEST_F(Drs, SettingsOutOfTheirLimitsAreNotStored) {
    tree::setNumber(kDrsSettingsKey, "DRSScoreThresHold", 7); // names ignore case: the value that is written
    EXPECT_EQ(write(library, 1, 100), WDLT_OK);
    EXPECT_EQ(read(), std::pair(1u, 100u));
    EXPECT_EQ(tree::number(kDrsSettingsKey, "DRSScoreThresHold"), 100u);
    const std::string before = dumpTree();
    for (const auto& [mode, threshold, line] : {std::tuple(2u, 50u, "Invalid ActionMode : 2"),
                                                {0xFFFFFFFFu, 50u, "Invalid ActionMode : "},
                                                {1u, 101u, "Invalid ScoreThreshold : 101"}}) {
        clearLog();
        EXPECT_EQ(write(library, mode, threshold), WDLT_E_INVALID_ARGUMENT);
        EXPECT_TRUE(library.logged(std::string("CFuncDRSCfg::WriteConfig: ").append(line)));
    }
    EXPECT_EQ(dumpTree(), before);
}

TEST_F(Drs, AValueThatCantBeWrittenIsToldToTheCallerAlone) {
    ChangeListener service;
    DrsService drs;
    const struct {
        const char* refused;
        std::int32_t (*call)(Library library);
        std::int32_t status;
        const char* line;
    } cases[] = {
        {"DRSCredBlock", [](Library lib) { return write(lib, 1, 90); }, WDLT_E_GENERAL,
         "DRSCfg::WriteConfig: Write ActionMode failed"},
        {"enable", [](Library lib) { return enable(lib, 3); }, WDLT_E_GENERAL, "DRSCfg::DRSEnable: Enable failed"},
        {"Index", addRule, WDLT_E_GENERAL, "DRSCfg::AddWhiteListItem: write index failed."},
        {"ProcessImageName", addRule, WDLT_E_GENERAL, "DRSCfg::AddWhiteListItem: write process image name failed."},
        {"DomainName", addRule, WDLT_E_GENERAL, "DRSCfg::AddWhiteListItem: write domain name failed."},
        {"enable", writePluginManager, WDLT_E_REGISTRY, "PluginManager::WriteConfig(): RegSetValueEx enable error 5"},
        {"filename", writePluginManager, WDLT_E_REGISTRY,
         "PluginManager::WriteConfig(): RegSetValueEx filename error 5"},
    };
    for (const auto& c : cases) {
        layOutWebTree();
        const RegistryRefusal refusal("RegSetValueEx", c.refused);
        EXPECT_EQ(c.call(library), c.status) << c.line;
        EXPECT_TRUE(library.logged(c.line)) << c.line;
    }
    EXPECT_THAT(service.heard(), IsEmpty());
    EXPECT_EQ(drs.heard(), 0);
}

TEST_F(Drs, SwitchesStoreWhatTheyAreGiven) {
    DrsService drs;
    ChangeListener service;
    const auto isEnabled = WDLT_CALL(library, WdltDRSIsEnabled);
    const auto isListEnabled = WDLT_CALL(library, WdltIsDRSWhiteListEnabled);
    for (const std::uint32_t number : {0u, 2u, 0xFFFFFFFFu}) {
        EXPECT_EQ(enable(library, number), WDLT_OK);
        EXPECT_EQ(tree::number(kDrsKey, "enable"), number);
        EXPECT_EQ(isEnabled(), number != 0 ? 1 : 0);
        EXPECT_EQ(drs.heard(), 1);
        EXPECT_EQ(enableList(library, number, ~number), WDLT_OK);
        EXPECT_EQ(tree::number(kWhiteListKey, "UseWhiteList"), number);
        EXPECT_EQ(tree::number(kWhiteListKey, "Option"), ~number);
        EXPECT_EQ(isListEnabled(), number != 0 ? 1 : 0);
        EXPECT_EQ(drs.heard(), 1);
    }
    EXPECT_THAT(service.heard(), IsEmpty());
}

// The service hears of the needed features first; the signal comes after the change is stored, with the locks held.
TEST_F(Drs, SwitchedOnBehindWhatItNeeds) {
    ChangeListener service;
    std::vector<std::pair<std::optional<DWORD>, std::size_t>> seen;
    DrsService drs([&] {
        seen.emplace_back(tree::number(kDrsKey, "enable"), service.heard().size());
        EXPECT_FALSE(isMutexFree() || isLockFree());
    });
    EXPECT_EQ(enable(library, 1), WDLT_OK);
    EXPECT_THAT(seen, ElementsAre(std::pair(std::optional<DWORD>(1), std::size_t{3})));
}

// A service that isn't running, has only one of its events, or never answers.
TEST_F(Drs, EachServiceThatCallersFear) {
    for (const char* const suffix : {"none", "814B", "A9FF"}) {
        clearLog();
        const Handle half = makeEvent(drsEventName(suffix).c_str(), true, false);
        EXPECT_EQ(enable(library, 2), WDLT_OK) << suffix;
        EXPECT_EQ(waitFor(half), DWORD{WAIT_TIMEOUT}); // untouched
        EXPECT_TRUE(library.logged("@@@ <WdltCfg> Failed to open DRS event or Wardlet is not running"));
    }
    const TimeScale impatient{"0.0005"};
    const DrsEvents silent;
    SetEvent(silent.reply.get()); // a late answer to an earlier signal
    EXPECT_EQ(enable(library, 4), WDLT_E_NO_ANSWER);
    EXPECT_EQ(tree::number(kDrsKey, "enable"), 4u);
    EXPECT_EQ(waitFor(silent.request), DWORD{WAIT_OBJECT_0});
    EXPECT_TRUE(library.logged("***DRS Waiting has timeout..."));
    EXPECT_EQ(enableList(library, 1, 1), WDLT_E_NO_ANSWER);
}

// Otherwise the answer to the killed writer would end the next writer's wait before the service has heard of its
// change.
TEST_F(Drs, AKilledWritersAnswerIsAwaitedFirst) {
    const DrsEvents service;
    Child killed([&] { return enable(library, 2); });
    ASSERT_EQ(waitFor(service.request, INFINITE), DWORD{WAIT_OBJECT_0});
    killed.kill();
    std::jthread next([&] { EXPECT_EQ(enable(library, 3), WDLT_OK); });
    EXPECT_EQ(waitFor(service.request, 300), DWORD{WAIT_TIMEOUT});
    SetEvent(service.reply.get());
    EXPECT_EQ(waitFor(service.request, 20'000), DWORD{WAIT_OBJECT_0});
    SetEvent(service.reply.get());
}

} // namespace
