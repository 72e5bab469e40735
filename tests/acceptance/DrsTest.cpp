// DRS's switches and settings through their exports, and the signal by which the service hears of them.
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
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kWhiteListKey = kDrsKey + "\\WhiteList";

constexpr Change kUrlFilterChange{0, WDLT_SCAN_URL_FILTER};

class Drs : public WebFeatures {
  protected:
    std::int32_t write(std::uint32_t mode, std::uint32_t threshold) {
        const WdltDrsConfig config{mode, threshold};
        return WDLT_CALL(library, WdltDRSWriteConfig)(&config);
    }
    WdltDrsConfig read() {
        WdltDrsConfig config{99, 99};
        EXPECT_EQ(WDLT_CALL(library, WdltDRSReadConfig)(&config), WDLT_OK);
        return config;
    }
};

TEST_F(Drs, SettingsOutOfTheirLimitsReadAsZero) {
    struct Case {
        DWORD type;
        std::string data;
        std::uint32_t mode;
        std::uint32_t threshold;
    };
    const auto number = [](char low, char high = 0) { return std::string{low, 0, 0, high}; };
    const Case cases[] = {
        {REG_NONE, "", 0, 0},
        {REG_DWORD, number(0), 0, 0},
        {REG_DWORD, number(1), 1, 1},
        {REG_DWORD, number(2), 0, 2},
        {REG_DWORD, number(100), 0, 100},
        {REG_DWORD, number(101), 0, 0},
        {REG_DWORD, number(1, 1), 0, 0},
        {REG_DWORD, std::string("\1\0", 2), 0, 0},
        {REG_DWORD, std::string("\1\0\0\0\0\0\0\0", 8), 0, 0},
        {REG_BINARY, number(1), 0, 0},
        {REG_SZ, "1", 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.type);
        for (const char* const name : {"DRSCredBlock", "DRSScoreThresHold"}) { // as the URL filter writes the second
            if (c.type == REG_NONE)
                tree::deleteValue(kDrsSettingsKey, name);
            else
                tree::set(kDrsSettingsKey, name, c.type, c.data.data(), static_cast<DWORD>(c.data.size()));
        }
        const WdltDrsConfig config = read();
        EXPECT_EQ(config.ActionMode, c.mode);
        EXPECT_EQ(config.ScoreThreshold, c.threshold);
    }
    EXPECT_EQ(WDLT_CALL(library, WdltDRSReadConfig)(nullptr), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(library.logged("CFuncDRSCfg::ReadConfig: pConfig is NULL"));
}

TEST_F(Drs, SettingsAreToldAsTheUrlFilters) {
    ChangeListener service;
    DrsService drs;
    tree::setNumber(kDrsSettingsKey, "DRSScoreThresHold", 7);
    tree::setNumber(kDrsSettingsKey, "Mode", 3);
    const struct {
        std::uint32_t mode;
        std::uint32_t threshold;
        std::int32_t status;
    } cases[] = {
        {0, 0, WDLT_OK},
        {1, 100, WDLT_OK},
        {2, 50, WDLT_E_INVALID_ARGUMENT},
        {0xFFFFFFFF, 50, WDLT_E_INVALID_ARGUMENT},
        {1, 101, WDLT_E_INVALID_ARGUMENT},
        {0, 0xFFFFFFFF, WDLT_E_INVALID_ARGUMENT},
    };
    for (const auto& c : cases) {
        const std::string before = dumpTree();
        EXPECT_EQ(write(c.mode, c.threshold), c.status) << c.mode << ' ' << c.threshold;
        if (c.status != WDLT_OK) {
            EXPECT_EQ(dumpTree(), before);
            EXPECT_THAT(service.heard(), IsEmpty());
            continue;
        }
        EXPECT_THAT(service.heard(), ElementsAre(kUrlFilterChange));
        EXPECT_EQ(read().ActionMode, c.mode);
        EXPECT_EQ(read().ScoreThreshold, c.threshold);
    }
    EXPECT_EQ(drs.heard(), 0);
    EXPECT_EQ(tree::number(kDrsSettingsKey, "DRSScoreThresHold"), 100u); // the same value
    EXPECT_EQ(tree::number(kDrsSettingsKey, "Mode"), 3u);
    EXPECT_TRUE(library.logged("CFuncDRSCfg::WriteConfig: Invalid ActionMode : 2"));
    EXPECT_TRUE(library.logged("CFuncDRSCfg::WriteConfig: Invalid ScoreThreshold : 101"));
    EXPECT_EQ(WDLT_CALL(library, WdltDRSWriteConfig)(nullptr), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(library.logged("CFuncDRSCfg::WriteConfig: pConfig is NULL"));
}

// Both pairs of numbers that are stored together, and the switch.
TEST_F(Drs, AFailingWriteLeavesWhatCameBeforeIt) {
    ChangeListener service;
    DrsService drs;
    struct Case {
        const char* refused;
        std::int32_t (*call)(const LoadedLibrary& library);
        std::string key;
        const char* first; // stored though the call failed; null: nothing is
        const char* line;
    };
    const auto writeConfig = [](const LoadedLibrary& lib) {
        const WdltDrsConfig config{1, 90};
        return WDLT_CALL(lib, WdltDRSWriteConfig)(&config);
    };
    const auto enableList = [](const LoadedLibrary& lib) { return WDLT_CALL(lib, WdltEnableDRSWhiteList)(1, 5); };
    const auto enable = [](const LoadedLibrary& lib) { return WDLT_CALL(lib, WdltDRSEnable)(3); };
    const Case cases[] = {
        {"DRSCredBlock", writeConfig, kDrsSettingsKey, nullptr, "WriteConfig: Write ActionMode failed"},
        {"DRSScoreThreshold", writeConfig, kDrsSettingsKey, "DRSCredBlock", "WriteConfig: Write ScoreThreshold failed"},
        {"UseWhiteList", enableList, kWhiteListKey, nullptr, "EnableWhiteListItem: Write enable failed"},
        {"Option", enableList, kWhiteListKey, "UseWhiteList", "EnableWhiteListItem: Write option failed"},
        {"enable", enable, kDrsKey, nullptr, "DRSEnable: Enable failed"},
    };
    for (const Case& c : cases) {
        layOutWebTree();
        const RegistryRefusal refusal("RegSetValueEx", c.refused);
        EXPECT_EQ(c.call(library), WDLT_E_GENERAL) << c.line;
        EXPECT_EQ(tree::number(c.key, c.refused), std::nullopt);
        if (c.first != nullptr) {
            EXPECT_EQ(tree::number(c.key, c.first), 1u);
        }
        EXPECT_TRUE(library.logged(std::string("CFuncDRSCfg::").append(c.line)));
    }
    EXPECT_TRUE(library.logged("CFuncDRSCfg::WriteConfig(): return -1"));
    EXPECT_THAT(service.heard(), IsEmpty());
    EXPECT_EQ(drs.heard(), 0);
}

TEST_F(Drs, SwitchesStoreWhatTheyAreGiven) {
    DrsService drs;
    ChangeListener service;
    const auto enable = WDLT_CALL(library, WdltDRSEnable);
    const auto isEnabled = WDLT_CALL(library, WdltDRSIsEnabled);
    EXPECT_EQ(isEnabled(), 0);
    for (const std::uint32_t number : {0u, 2u, 0xFFFFFFFFu}) {
        EXPECT_EQ(enable(number), WDLT_OK);
        EXPECT_EQ(tree::number(kDrsKey, "enable"), number);
        EXPECT_EQ(isEnabled(), number != 0 ? 1 : 0);
        EXPECT_EQ(drs.heard(), 1);
    }
    tree::set(kDrsKey, "enable", REG_BINARY, "1234", 4);
    EXPECT_EQ(isEnabled(), 0);

    const auto isListEnabled = WDLT_CALL(library, WdltIsDRSWhiteListEnabled);
    EXPECT_EQ(isListEnabled(), 0);
    for (const auto& [use, option] : {std::pair(1u, 7u), {0u, 0xFFFFFFFFu}, {9u, 0u}}) {
        EXPECT_EQ(WDLT_CALL(library, WdltEnableDRSWhiteList)(use, option), WDLT_OK);
        EXPECT_EQ(tree::number(kWhiteListKey, "UseWhiteList"), use);
        EXPECT_EQ(tree::number(kWhiteListKey, "Option"), option);
        EXPECT_EQ(isListEnabled(), use != 0 ? 1 : 0);
        EXPECT_EQ(drs.heard(), 1);
    }
    EXPECT_THAT(service.heard(), IsEmpty());
}

// What is needed is told first, then the signal, behind what it tells of.
TEST_F(Drs, SwitchedOnBehindWhatItNeeds) {
    ChangeListener service;
    std::vector<std::pair<std::optional<DWORD>, std::size_t>> seen;
    DrsService drs([&] { seen.emplace_back(tree::number(kDrsKey, "enable"), service.heard().size()); });
    EXPECT_EQ(WDLT_CALL(library, WdltDRSEnable)(1), WDLT_OK);
    EXPECT_THAT(seen, ElementsAre(std::pair(std::optional<DWORD>(1), std::size_t{3})));
    EXPECT_EQ(WDLT_CALL(library, WdltDRSIsEnabled)(), 1);
    EXPECT_EQ(WDLT_CALL(library, WdltDRSEnable)(0), WDLT_OK);
    EXPECT_EQ(WDLT_CALL(library, WdltUrlfIsEnabled)(), 1); // stays
    EXPECT_EQ(tree::number(kPluginManagerKey, "enable"), 1u);
}

// A service that isn't there, is half there, or never answers.
TEST_F(Drs, EachServiceThatCallersFear) {
    const auto enable = WDLT_CALL(library, WdltDRSEnable);
    EXPECT_EQ(enable(2), WDLT_OK);
    EXPECT_TRUE(library.logged("@@@ <WdltCfg> Failed to open DRS event or Wardlet is not running"));
    EXPECT_EQ(write(1, 1), WDLT_OK);
    EXPECT_TRUE(library.logged("@@@ <WdltCfg> CFuncDRSCfg::NotifyChange(): Failed to open memory in "
                               "ConfigChangeSender or Wardlet is not running"));
    for (const char* const suffix : {"814B", "A9FF"}) {
        const Handle half = makeEvent(drsEventName(suffix).c_str(), true, false);
        EXPECT_EQ(enable(3), WDLT_OK);
        EXPECT_EQ(waitFor(half), DWORD{WAIT_TIMEOUT}); // untouched
    }

    const TimeScale impatient{"0.0005"};
    const DrsEvents silent;
    SetEvent(silent.reply.get()); // an answer that came too late for somebody else's signal
    EXPECT_EQ(enable(4), WDLT_E_NO_ANSWER);
    EXPECT_EQ(tree::number(kDrsKey, "enable"), 4u);
    EXPECT_EQ(waitFor(silent.request), DWORD{WAIT_OBJECT_0});
    EXPECT_TRUE(library.logged("***DRS Waiting response (Max 60 sec.)..."));
    EXPECT_TRUE(library.logged("***DRS Waiting has timeout..."));
    EXPECT_EQ(WDLT_CALL(library, WdltEnableDRSWhiteList)(1, 1), WDLT_E_NO_ANSWER);
    EXPECT_EQ(WDLT_CALL(library, WdltIsDRSWhiteListEnabled)(), 1);
    const ServiceObjects deaf("wdlt_config_change_evt", sizeof(Change));
    EXPECT_EQ(write(0, 2), WDLT_E_NO_ANSWER);
    EXPECT_EQ(read().ScoreThreshold, 2u);
    EXPECT_TRUE(library.logged("CFuncDRSCfg::NotifyChange(): Failed to send in ConfigChangeSender"));
    EXPECT_TRUE(library.logged("CFuncDRSCfg::WriteConfig(): return -26"));
    EXPECT_TRUE(isMutexFree());
    EXPECT_TRUE(isLockFree());
}

// Its answer would end the next writer's wait before the service has heard of the next change.
TEST_F(Drs, AKilledWritersAnswerIsAwaitedFirst) {
    const auto enable = WDLT_CALL(library, WdltDRSEnable);
    const DrsEvents service;
    Child killed([&] { return enable(2); });
    ASSERT_EQ(waitFor(service.request, INFINITE), DWORD{WAIT_OBJECT_0});
    killed.kill();
    std::jthread next([&] { EXPECT_EQ(enable(3), WDLT_OK); });
    EXPECT_EQ(waitFor(service.request, 300), DWORD{WAIT_TIMEOUT});
    SetEvent(service.reply.get());
    EXPECT_EQ(waitFor(service.request, 20'000), DWORD{WAIT_OBJECT_0});
    SetEvent(service.reply.get());
}

// The signal has events of its own, but is one exchange of the writers' like any other.
TEST_F(Drs, SignalsBesideOtherExchanges) {
    constexpr int kRounds = 10;
    std::atomic<bool> isAlone{true};
    std::atomic<int> inside{0};
    const auto pass = [&] {
        if (++inside != 1)
            isAlone = false;
        std::this_thread::yield();
        --inside;
    };
    ChangeListener service([&](const Change&) {
        pass();
        return true;
    });
    DrsService drs([&] {
        if (isMutexFree() || isLockFree())
            isAlone = false;
        pass();
    });
    {
        std::jthread writer([&] {
            for (int round = 0; round < kRounds; ++round) {
                WdchSystemScan item{};
                EXPECT_EQ(WDLT_CALL(library, WdltWriteConfig)(10003, WDLT_SCAN_SAL, 0, &item, sizeof item), WDLT_OK);
            }
        });
        for (std::uint32_t round = 0; round < kRounds; ++round)
            EXPECT_EQ(WDLT_CALL(library, WdltDRSEnable)(round * 2), WDLT_OK);
    }
    EXPECT_EQ(drs.heard(), kRounds);
    EXPECT_EQ(service.heard().size(), std::size_t{kRounds});
    EXPECT_TRUE(isAlone);
}

} // namespace
