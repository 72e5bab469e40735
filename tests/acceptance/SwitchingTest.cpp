// Switching features through the exports: which item and handler each one switches, what is logged when either step
// fails, and what the running service hears.
#include "FakeService.h"
#include "FreshLog.h"
#include "LoadedLibrary.h"
#include "LockState.h"
#include "LogFile.h"
#include "TestObject.h"
#include "TimeScale.h"
#include "Tree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

using Library = const LoadedLibrary&;

// The protocols that features switch; each gets a handler, with its number in the names of its key and folder.
constexpr std::uint32_t kProtocols[] = {1, 2, 3, 4, 5, 6, 7};

std::string handlerKey(std::uint32_t protocol) {
    return std::string("ProtocolHandler\\Handler").append(std::to_string(protocol));
}
std::string itemKey(std::uint32_t protocol, const std::string& item) {
    return std::string("Scan\\Folder").append(std::to_string(protocol)).append("\\").append(item);
}

void layOutTree() {
    tree::clear();
    for (const std::uint32_t protocol : kProtocols) {
        tree::setNumber(handlerKey(protocol), "Type", protocol);
        tree::setNumber(handlerKey(protocol), "Enable", 0);
        tree::setText(handlerKey(protocol), "Scan", std::string("Folder").append(std::to_string(protocol)));
    }
}

bool isItemOn(std::uint32_t protocol, const std::string& item) {
    return tree::number(itemKey(protocol, item), "Enable") == 1u;
}
bool isHandlerOn(std::uint32_t protocol) {
    return tree::number(handlerKey(protocol), "Enable") == 1u;
}

// What one feature's pair of exports switches.
struct Feature {
    const char* name;
    std::uint32_t protocol;
    std::uint32_t scan;
    const char* item;
    const char* itemWords; // in the log lines of failures
    const char* handlerWords;
    std::int32_t (*enable)(Library library, bool on);
    std::int32_t (*isEnabled)(Library library);
};

void PrintTo(const Feature& feature, std::ostream* out) {
    *out << feature.name;
}

// The log line for a failure to switch `words`.
std::string told(bool enable, const char* words) {
    return std::string("!!! <WdltCfg> Failed to ").append(enable ? "enable " : "disable ").append(words).append(": -1");
}

constexpr std::int32_t kOn = 0x100; // any nonzero number; 1 is stored

#define WDLT_SWITCH(name)                                                                                              \
    [](Library library, bool on) { return WDLT_CALL(library, name##Enable)(on ? kOn : 0); },                           \
        [](Library library) { return WDLT_CALL(library, name##IsEnabled)(); }
#define WDLT_PDP_SWITCH(type)                                                                                          \
    [](Library library, bool on) { return WDLT_CALL(library, WdltPdpProtocolEnable)(on ? kOn : 0, type); },            \
        [](Library library) { return WDLT_CALL(library, WdltPdpIsProtocolEnabled)(type); }

const Feature kFeatures[] = {
    {"Pvs", 1, 1, "Virus", "VS PE", "PH 1", WDLT_SWITCH(WdltPvs)},
    {"Svs", 2, 1, "Virus", "VS PE", "PH 2", WDLT_SWITCH(WdltSvs)},
    {"Wmvs", 3, 1, "Virus", "VS PE", "PH 3", WDLT_SWITCH(WdltWmvs)},
    {"Hfs", 3, 1, "HttpFileScan", "VS PE", "PH 3", WDLT_SWITCH(WdltHfs)},
    {"Urlf", 3, 4, "URLFilter", "URL Filter PE", "HTTP PH", WDLT_SWITCH(WdltUrlf)},
    {"Hosf", 3, 0x80, "HostFilter", "Hosts Filter PE", "HTTP PH", WDLT_SWITCH(WdltHosf)},
    {"Aspm", 1, 0x40, "AntiSpam", "ASPM PE", "POP3 PH", WDLT_SWITCH(WdltAspm)},
    {"Hfe", 3, 0x100, "NetworkEvents", "Network Events PE", "HTTP PH", WDLT_SWITCH(WdltHfe)},
    {"Sal", 3, 0x200, "SAL", "SAL PE", "HTTP PH", WDLT_SWITCH(WdltSal)},
    {"PdpSmtp", 2, 8, "PrivacyProtection", "PDP PE for PH 2", "PH 2", WDLT_PDP_SWITCH(0x1)},
    {"Pdp7", 7, 8, "PrivacyProtection", "PDP PE for PH 7", "PH 7", WDLT_PDP_SWITCH(0x100000)},
};

class Switches : public testing::Test {
  protected:
    Switches() { layOutTree(); }

    const TimeScale patient{"0.1"};
    const FreshLog log;
    LoadedLibrary library{LoadedLibrary::withLog};
};

class EveryFeature : public Switches, public testing::WithParamInterface<Feature> {
  protected:
    Change itemChange() const { return {10000 + feature.protocol, feature.scan}; }
    Change handlerChange() const { return {10000 + feature.protocol, 0}; }
    bool isItemOn() const { return ::isItemOn(feature.protocol, feature.item); }
    bool isHandlerOn() const { return ::isHandlerOn(feature.protocol); }

    const Feature& feature = GetParam();
};

TEST_P(EveryFeature, SwitchesItsItemFirstAndItsHandlerSecond) {
    // What is stored when the service hears of it: a change is stored before it is notified.
    std::vector<std::pair<bool, bool>> seen;
    ChangeListener service([&](const Change&) {
        seen.emplace_back(isItemOn(), isHandlerOn());
        return true;
    });
    EXPECT_EQ(feature.isEnabled(library), 0);
    for (const bool on : {true, false}) {
        seen.clear();
        EXPECT_EQ(feature.enable(library, on), WDLT_OK);
        EXPECT_THAT(service.heard(), ElementsAre(itemChange(), handlerChange()));
        EXPECT_THAT(seen, ElementsAre(std::pair(on, !on), std::pair(on, on)));
        EXPECT_EQ(feature.isEnabled(library), on ? 1 : 0);
        EXPECT_EQ(feature.enable(library, on), WDLT_OK); // nothing changes, so nothing is notified
        EXPECT_THAT(service.heard(), IsEmpty());
    }
    // No other item and no other handler was touched.
    for (const Feature& other : kFeatures)
        EXPECT_EQ(tree::keyExists(itemKey(other.protocol, other.item)),
                  other.protocol == feature.protocol && std::string_view(other.item) == feature.item);
    EXPECT_FALSE(library.logged("Failed to"));
}

TEST_P(EveryFeature, IsOnlyOnWithItemAndHandler) {
    const std::string key = itemKey(feature.protocol, feature.item);
    const struct {
        DWORD item, handler;
        std::int32_t expected;
    } cases[] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 1}, {2, 7, 1}};
    for (const auto& c : cases) {
        tree::setNumber(key, "Enable", c.item);
        tree::setNumber(handlerKey(feature.protocol), "Enable", c.handler);
        EXPECT_EQ(feature.isEnabled(library), c.expected) << c.item << ' ' << c.handler;
    }
}

TEST_P(EveryFeature, StaysOnItsHandlerWhileAnotherItemNeedsIt) {
    const std::string other = std::string_view(feature.item) == "URLFilter" ? "SAL" : "URLFilter";
    tree::setNumber(itemKey(feature.protocol, other), "Enable", 1);
    EXPECT_EQ(feature.enable(library, true), WDLT_OK);
    ChangeListener service;
    EXPECT_EQ(feature.enable(library, false), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(itemChange()));
    EXPECT_TRUE(isHandlerOn());

    // An item above bit 15 doesn't need the handler.
    tree::setNumber(itemKey(feature.protocol, other), "Enable", 0);
    tree::setNumber(itemKey(feature.protocol, "ImManager"), "Enable", 1);
    EXPECT_EQ(feature.enable(library, false), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(handlerChange()));
    EXPECT_FALSE(isHandlerOn());
}

TEST_P(EveryFeature, TellsWhenItsItemFails) {
    tree::setText(handlerKey(feature.protocol), "Scan", "ElevenChars"); // too long: items can't be stored
    tree::setNumber(handlerKey(feature.protocol), "Enable", 1);
    EXPECT_EQ(feature.enable(library, true), WDLT_E_GENERAL);
    EXPECT_TRUE(library.logged(told(true, feature.itemWords)));
    EXPECT_EQ(feature.isEnabled(library), 0);

    // Switching off finds the item off already, and switches the handler off.
    EXPECT_EQ(feature.enable(library, false), WDLT_OK);
    EXPECT_FALSE(isHandlerOn());
}

// The handler disappears between its read and its write, which waits for the mutex of all writers.
TEST_P(EveryFeature, TellsWhenItsHandlerFails) {
    for (const bool on : {true, false}) {
        layOutTree();
        tree::setNumber(itemKey(feature.protocol, feature.item), "Enable", on ? 1 : 0);
        tree::setNumber(handlerKey(feature.protocol), "Enable", on ? 0 : 1);
        const Handle mutex = makeMutex("Global\\wdlt_config_mutex");
        ASSERT_EQ(waitFor(mutex, INFINITE), WAIT_OBJECT_0);
        std::int32_t status = WDLT_OK;
        std::thread caller([&] { status = feature.enable(library, on); });
        const std::string line = std::string("Trying to ").append(on ? "enable" : "disable").append(" Folder");
        while (!LogFile::fileContains(line + std::to_string(feature.protocol)))
            std::this_thread::yield();
        EXPECT_FALSE(isLockFree()); // the caller holds the features' lock while it waits for the mutex
        tree::setNumber(handlerKey(feature.protocol), "Type", 99);
        ReleaseMutex(mutex.get());
        caller.join();
        EXPECT_EQ(status, WDLT_E_GENERAL);
        EXPECT_TRUE(library.logged(told(on, feature.handlerWords)));
        EXPECT_EQ(isItemOn(), on);
        EXPECT_EQ(isHandlerOn(), !on);
    }
}

INSTANTIATE_TEST_SUITE_P(Exports, EveryFeature, testing::ValuesIn(kFeatures),
                         [](const auto& info) { return std::string(info.param.name); });

// Privacy protection of several protocols at once.
class Privacy : public Switches {
  protected:
    std::vector<std::uint32_t> protocolsOn() const {
        std::vector<std::uint32_t> on;
        for (const std::uint32_t protocol : kProtocols)
            if (isItemOn(protocol, "PrivacyProtection") && isHandlerOn(protocol))
                on.push_back(protocol);
        return on;
    }
};

TEST_F(Privacy, AllProtocolsInAscendingOrder) {
    ChangeListener service;
    EXPECT_EQ(WDLT_CALL(library, WdltPdpEnable)(1), WDLT_OK);
    std::vector<Change> expected;
    for (std::uint32_t protocol = 2; protocol <= 7; ++protocol) {
        expected.push_back({10000 + protocol, 8});
        expected.push_back({10000 + protocol, 0});
    }
    EXPECT_THAT(service.heard(), ElementsAreArray(expected));
    EXPECT_THAT(protocolsOn(), ElementsAre(2, 3, 4, 5, 6, 7)); // POP3 has none
    EXPECT_EQ(WDLT_CALL(library, WdltPdpIsEnabled)(), 1);
}

TEST_F(Privacy, TheTypesMeanProtocols) {
    const auto enable = WDLT_CALL(library, WdltPdpProtocolEnable);
    const auto isEnabled = WDLT_CALL(library, WdltPdpIsProtocolEnabled);
    EXPECT_EQ(enable(1, 0), WDLT_OK);
    EXPECT_EQ(enable(1, 0xFFEEEEEE), WDLT_OK); // only bits without a protocol
    EXPECT_THAT(protocolsOn(), IsEmpty());
    EXPECT_EQ(enable(1, 0x10 | 0x1000 | 0x2), WDLT_OK);
    EXPECT_THAT(protocolsOn(), ElementsAre(3, 5));
    for (const std::uint32_t types : {0x10u, 0x1000u, 0x1012u}) // unknown bits are ignored
        EXPECT_EQ(isEnabled(types), 1) << types;
    for (const std::uint32_t types : {0u, 0x1011u, 0x2u, 0xFFFFFFFFu})
        EXPECT_EQ(isEnabled(types), 0) << types;
    EXPECT_EQ(WDLT_CALL(library, WdltPdpIsEnabled)(), 0);
    for (const auto& [on, type, left] : {std::tuple(1, 0x100u, std::vector{3u, 4u, 5u}),
                                         {1, 0x10000u, {3, 4, 5, 6}},
                                         {0, 0x1001u, {3, 4, 6}}}) { // the others keep their state
        EXPECT_EQ(enable(on, type), WDLT_OK);
        EXPECT_THAT(protocolsOn(), ElementsAreArray(left)) << type;
    }
}

TEST_F(Privacy, TheFirstFailureEndsIt) {
    tree::clear(tree::path(handlerKey(4)));
    EXPECT_EQ(WDLT_CALL(library, WdltPdpEnable)(1), WDLT_E_GENERAL);
    EXPECT_THAT(protocolsOn(), ElementsAre(2, 3));
    EXPECT_TRUE(library.logged(told(true, "PDP PE for PH 4")));
    EXPECT_FALSE(tree::keyExists(itemKey(5, "PrivacyProtection")));
    EXPECT_EQ(WDLT_CALL(library, WdltPdpEnable)(0), WDLT_OK); // a missing handler counts as off
}

} // namespace
