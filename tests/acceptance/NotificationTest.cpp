// What the running service hears of a write, and how a write handles a service that isn't running, lacks some of its
// objects or never answers; and the order of the locks.
#include "Child.h"
#include "FakeService.h"
#include "LockState.h"
#include "WebTree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <future>
#include <pthread.h>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

using Library = const LoadedLibrary&;

constexpr const char* kChangeObjects = "wdlt_config_change_evt";
const std::string kSalKey = "Scan\\Web\\SAL";

std::int32_t writeItem(Library library, std::uint32_t scan, std::uint32_t enable) {
    WdchSystemScan item{};
    item.enable = enable;
    return WDLT_CALL(library, WdltWriteConfig)(WDLT_PROTOCOL_SYSTEM_HTTP, scan, 0, &item, sizeof item);
}

// Each way of notifying the service, and the value in which it stores a 1.
struct Teller {
    const char* what;
    std::int32_t (*write)(Library library);
    std::string key;
    const char* value;
    Change told;
    bool locks;              // takes the reader/writer lock; a raw address doesn't
    std::int32_t unanswered; // status when the service doesn't answer
    const char* who;         // what its log lines begin with
};
const Teller kTellers[] = {
    {"a switch", [](Library library) { return WDLT_CALL(library, WdltSalEnable)(1); }, kSalKey, "Enable",
     Change{10003, WDLT_SCAN_SAL}, true, WDLT_OK, ""},
    {"an address", [](Library library) { return writeItem(library, WDLT_SCAN_SAL, 1); }, kSalKey, "Enable",
     Change{10003, WDLT_SCAN_SAL}, false, WDLT_OK, ""},
    {"the plug-in manager",
     [](Library library) {
         const WdltPluginManagerConfig config{1, "x"};
         return WDLT_CALL(library, WdltPluginManagerWriteConfig)(&config);
     },
     kPluginManagerKey, "enable", Change{8, 0}, true, WDLT_E_NO_ANSWER, "CFuncPluginManager::NotifyChange(): "},
    {"the settings of DRS",
     [](Library library) {
         const WdltDrsConfig config{1, 1};
         return WDLT_CALL(library, WdltDRSWriteConfig)(&config);
     },
     kDrsSettingsKey, "DRSScoreThreshold", Change{0, WDLT_SCAN_URL_FILTER}, true, WDLT_E_NO_ANSWER,
     "CFuncDRSCfg::NotifyChange(): "},
};

using Notification = WebFeatures;

TEST_F(Notification, EachServiceThatCallersFear) {
    const struct {
        const char* what;
        DWORD bytes;
        bool withEvents;
        bool isTold; // a notification is tried, in vain
        const char* line;
    } services[] = {
        {"none", 0, false, false, "@@@ <WdltCfg> "},
        {"deaf", sizeof(Change), true, true, "!!! <WdltCfg> "},
        {"no events", sizeof(Change), false, true, "Failed to open event Global\\wdlt_config_change_evt_WdEvent: 2"},
        {"too small", 4, true, false, "Failed to lock shared memory"},
    };
    const TimeScale impatient{"0.0005"};
    for (const auto& service : services)
        for (const Teller& teller : kTellers) {
            SCOPED_TRACE(std::string(teller.what).append(" and a service: ").append(service.what));
            layOutWebTree();
            clearLog();
            const ServiceObjects objects(kChangeObjects, service.bytes, service.withEvents);
            EXPECT_EQ(teller.write(library), service.isTold ? teller.unanswered : WDLT_OK);
            EXPECT_EQ(tree::number(teller.key, teller.value), 1u);
            EXPECT_TRUE(library.logged(service.line));
            EXPECT_TRUE(library.logged(
                std::string(teller.who)
                    .append(service.isTold ? "Failed to send in ConfigChangeSender"
                                           : "Failed to open memory in ConfigChangeSender or Wardlet is not running")));
            EXPECT_TRUE(isMutexFree());
            EXPECT_TRUE(isLockFree());
        }
}

TEST_F(Notification, WhatIsStoredIsToldWithTheLocksHeldUntilTheAnswer) {
    for (const Teller& teller : kTellers) {
        SCOPED_TRACE(teller.what);
        layOutWebTree();
        std::vector<bool> areRight;
        ChangeListener service([&](const Change&) {
            areRight.push_back(isLockFree() == !teller.locks && !isMutexFree() &&
                               tree::number(teller.key, teller.value) == 1u);
            return true;
        });
        EXPECT_EQ(teller.write(library), WDLT_OK);
        EXPECT_EQ(service.heard().at(0), teller.told);
        EXPECT_THAT(areRight, Each(true));
        EXPECT_TRUE(isLockFree());
        EXPECT_TRUE(isMutexFree());
    }
}

TEST_F(Notification, NobodyHearsOfRedirectsNorOfWhatIsRefused) {
    ChangeListener service;
    WdchSystemRedirect redirect{};
    redirect.sessionType[0] = WTEXT('S');
    redirect.port = 80;
    const auto write = WDLT_CALL(library, WdltWriteConfig);
    EXPECT_EQ(write(10003, 0, WDLT_CONFIG_REDIRECT_ADD, &redirect, sizeof redirect), WDLT_OK);
    WdchSystemScan item{};
    EXPECT_EQ(write(10003, WDLT_SCAN_SAL, 0, &item, 7), WDLT_E_GENERAL);
    EXPECT_THAT(service.heard(), IsEmpty());
    EXPECT_EQ(WDLT_CALL(library, WdltSalEnable)(1), WDLT_OK); // switches the handler on, keeping its redirects
    EXPECT_THAT(service.heard(), ElementsAre(Change{10003, WDLT_SCAN_SAL}, Change{10003, 0}));
    EXPECT_EQ(tree::number("ProtocolHandler\\Web\\Redirect\\S", "port"), 80u);
}

TEST_F(Notification, AnAnswerThatComesTooLateIsNobodys) {
    const ServiceObjects objects(kChangeObjects, sizeof(Change));
    const TimeScale impatient{"0.0005"};
    for (const std::uint32_t scan : {WDLT_SCAN_SAL, WDLT_SCAN_URL_FILTER}) {
        clearLog();
        EXPECT_EQ(writeItem(library, scan, 1), WDLT_OK);
        EXPECT_TRUE(library.logged("Failed to send in ConfigChangeSender"));
        ASSERT_TRUE(objects.hears(0));
        EXPECT_EQ(Change::in(objects.memory()), (Change{10003, scan})); // the record stays in the memory
        objects.reply();
    }
}

// The memory holds only one notification: the next one waits until the service has read it.
TEST_F(Notification, AChangeWhoseWriterDiedIsNotOverwritten) {
    const ServiceObjects objects(kChangeObjects, sizeof(Change));
    Child writer([&] { return writeItem(library, WDLT_SCAN_SAL, 1); });
    ASSERT_TRUE(objects.hears());
    writer.kill();
    std::thread next([&] { EXPECT_EQ(writeItem(library, WDLT_SCAN_URL_FILTER, 1), WDLT_OK); });
    EXPECT_FALSE(objects.hears(3'000));
    EXPECT_EQ(Change::in(objects.memory()), (Change{10003, WDLT_SCAN_SAL}));
    objects.reply();
    EXPECT_TRUE(objects.hears(20'000));
    EXPECT_EQ(Change::in(objects.memory()), (Change{10003, WDLT_SCAN_URL_FILTER}));
    objects.reply();
    next.join();
}

// Neither a cancellation nor an unload takes the code or the locks from a thread inside a call.
TEST_F(Notification, AThreadInsideIsLeftAlone) {
    std::atomic<bool> isBack{false};
    const auto enable = WDLT_CALL(library, WdltSalEnable);
    pthread_t caller{};
    std::promise<void> isKnown;
    const ChangeListener service([&, known = isKnown.get_future().share()](const Change&) {
        known.wait();
        pthread_cancel(caller);
        library.unload();
        return true;
    });
    std::thread thread([&] {
        caller = pthread_self();
        isKnown.set_value();
        isBack = enable(1) == WDLT_OK;
        pthread_testcancel();
        isBack = false;
    });
    thread.join();
    EXPECT_TRUE(isBack);
    EXPECT_TRUE(isLockFree());
    EXPECT_TRUE(isMutexFree());
}

} // namespace
