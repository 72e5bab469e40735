// What the running service hears of a write, and what a write makes of a service that isn't there, is half there or
// never answers; the order of the locks on the way.
#include "Child.h"
#include "FakeService.h"
#include "FreshLog.h"
#include "LoadedLibrary.h"
#include "LockState.h"
#include "LogFile.h"
#include "RWLock.h"
#include "TimeScale.h"
#include "Tree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <future>
#include <map>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr const char* kChange = "wdlt_config_change_evt";

class Notification : public testing::Test {
  protected:
    Notification() {
        tree::clear();
        for (const auto& [name, type] : {std::pair("Mail", 1u), std::pair("Web", 3u)}) {
            tree::setNumber(std::string("ProtocolHandler\\") + name, "Type", type);
            tree::setNumber(std::string("ProtocolHandler\\") + name, "Enable", 0);
            tree::setText(std::string("ProtocolHandler\\") + name, "Scan", name);
        }
    }

    std::int32_t writeItem(std::uint32_t scan, std::uint32_t enable) {
        WdchSystemScan item{};
        item.enable = enable;
        return WDLT_CALL(library, WdltWriteConfig)(WDLT_PROTOCOL_SYSTEM_HTTP, scan, 0, &item, sizeof item);
    }
    std::int32_t writeRedirect(std::uint64_t configType, std::uint16_t port) {
        WdchSystemRedirect redirect{};
        redirect.sessionType[0] = u'S';
        redirect.port = port;
        return WDLT_CALL(library, WdltWriteConfig)(WDLT_PROTOCOL_SYSTEM_HTTP, 0, configType, &redirect,
                                                   sizeof redirect);
    }

    const TimeScale patient{"0.1"};
    const FreshLog log;
    LoadedLibrary library{LoadedLibrary::withLog};
};

TEST_F(Notification, EveryWriteIsToldEvenOfWhatIsStoredAlready) {
    ChangeListener service;
    EXPECT_EQ(writeItem(WDLT_SCAN_SAL, 1), WDLT_OK);
    EXPECT_EQ(writeItem(WDLT_SCAN_SAL, 1), WDLT_OK);
    WdchSystemData system{};
    EXPECT_EQ(WDLT_CALL(library, WdltWriteConfigEx)(10000, 0, 7, 3, &system, sizeof system), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(Change{10003, 0x200}, Change{10003, 0x200}, Change{10000, 0}));
    EXPECT_EQ(WDLT_CALL(library, WdltWriteConfig)(10003, 0x200, 0, &system, 7), WDLT_E_GENERAL);
    std::uint64_t size = 0;
    EXPECT_EQ(WDLT_CALL(library, WdltReadConfig)(10003, 0x200, 0, nullptr, &size), WDLT_E_BUFFER_SIZE);
    EXPECT_THAT(service.heard(), IsEmpty()); // neither a write that fails nor a read
}

TEST_F(Notification, NobodyHearsOfRedirects) {
    ChangeListener service;
    EXPECT_EQ(writeRedirect(WDLT_CONFIG_REDIRECT_ADD, 80), WDLT_OK);
    EXPECT_EQ(tree::number("ProtocolHandler\\Web\\Redirect\\S", "port"), 80u);
    EXPECT_EQ(writeRedirect(WDLT_CONFIG_REDIRECT_ADD, 0), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(writeRedirect(WDLT_CONFIG_REDIRECT_DELETE, 0), WDLT_OK);
    EXPECT_EQ(writeRedirect(WDLT_CONFIG_REDIRECT_DELETE, 0), WDLT_E_NOT_FOUND);
    HANDLE const other = CreateSemaphoreA(nullptr, 1, 1, "Global\\wdlt_config_redirect_mutex");
    EXPECT_EQ(writeRedirect(WDLT_CONFIG_REDIRECT_ADD, 80), WDLT_E_GENERAL); // its mutex can't be had
    CloseHandle(other);
    EXPECT_THAT(service.heard(), IsEmpty());
    WdchSystemProtocolHandler handler{};
    handler.type = 3;
    std::strcpy(handler.scan, "Web");
    EXPECT_EQ(WDLT_CALL(library, WdltWriteConfig)(10003, 0, 0, &handler, sizeof handler), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(Change{10003, 0}));
}

TEST_F(Notification, SwitchingAHandlerKeepsItsRedirects) {
    EXPECT_EQ(writeRedirect(WDLT_CONFIG_REDIRECT_ADD, 80), WDLT_OK);
    EXPECT_EQ(WDLT_CALL(library, WdltSalEnable)(1), WDLT_OK);
    EXPECT_EQ(tree::number("ProtocolHandler\\Web", "Enable"), 1u);
    EXPECT_EQ(tree::number("ProtocolHandler\\Web\\Redirect\\S", "port"), 80u);
    std::uint64_t size = 0;
    EXPECT_EQ(WDLT_CALL(library, WdltReadConfig)(10003, 0, 0, nullptr, &size), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(size, 328u + 768u);
}

TEST_F(Notification, WithoutAServiceNothingIsKeptForLater) {
    EXPECT_EQ(WDLT_CALL(library, WdltPvsEnable)(1), WDLT_OK);
    EXPECT_TRUE(library.logged("@@@ <WdltCfg> Failed to open memory in ConfigChangeSender or Wardlet is not running"));
    ChangeListener service;
    EXPECT_EQ(WDLT_CALL(library, WdltAspmEnable)(1), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(Change{10001, 0x40})); // the handler was on already
}

TEST_F(Notification, AServiceThatDoesNotAnswerChangesNoStatus) {
    const struct {
        DWORD bytes;
        bool withEvents;
        const char* line;
    } cases[] = {
        {sizeof(Change), true, "!!! <WdltCfg> Failed to send in ConfigChangeSender"},
        {sizeof(Change), false, "!!! <WdltCfg> Failed to open event Global\\wdlt_config_change_evt_WdEvent: 2"},
        {4, true, "!!! <WdltCfg> Failed to lock shared memory"},
    };
    for (const auto& c : cases) {
        const TimeScale fast("0.0005");
        const ServiceObjects objects(kChange, c.bytes, c.withEvents);
        EXPECT_EQ(WDLT_CALL(library, WdltSvsEnable)(1), WDLT_E_GENERAL); // SMTP has no handler here
        EXPECT_EQ(WDLT_CALL(library, WdltSalEnable)(1), WDLT_OK);
        EXPECT_EQ(WDLT_CALL(library, WdltSalIsEnabled)(), 1);
        EXPECT_TRUE(library.logged(c.line));
        EXPECT_TRUE(isMutexFree());
        EXPECT_EQ(WDLT_CALL(library, WdltSalEnable)(0), WDLT_OK);
        EXPECT_EQ(WDLT_CALL(library, WdltSalIsEnabled)(), 0);
    }
}

TEST_F(Notification, AnAnswerThatComesTooLateIsNobodys) {
    const ServiceObjects objects(kChange, sizeof(Change));
    {
        const TimeScale fast("0.0005");
        EXPECT_EQ(writeItem(WDLT_SCAN_SAL, 1), WDLT_OK);
    }
    ASSERT_TRUE(objects.hears(0));
    EXPECT_EQ(Change::in(objects.memory()), (Change{10003, 0x200})); // what was laid down stays
    objects.reply();
    const auto failures = [] {
        const auto lines = LogFile::fileLines();
        return std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
            return line.find("Failed to send in ConfigChangeSender") != line.npos;
        });
    };
    EXPECT_EQ(failures(), 1);
    const TimeScale fast("0.0005");
    EXPECT_EQ(writeItem(WDLT_SCAN_URL_FILTER, 1), WDLT_OK);
    EXPECT_EQ(failures(), 2);
}

TEST_F(Notification, TheLocksAreHeldUntilTheServiceHasAnswered) {
    std::vector<std::pair<bool, bool>> free;
    ChangeListener service([&](const Change&) {
        free.emplace_back(isLockFree(), isMutexFree());
        return true;
    });
    EXPECT_EQ(WDLT_CALL(library, WdltSalEnable)(1), WDLT_OK);
    EXPECT_EQ(writeItem(WDLT_SCAN_SAL, 1), WDLT_OK); // raw addresses don't take the reader/writer lock
    EXPECT_THAT(free, ElementsAre(std::pair(false, false), std::pair(false, false), std::pair(true, false)));
    EXPECT_TRUE(isLockFree());
    EXPECT_TRUE(isMutexFree());
}

// The memory has room for one notice: the next one waits until the service has read it.
TEST_F(Notification, AChangeWhoseWriterDiedIsNotOverwritten) {
    const ServiceObjects objects(kChange, sizeof(Change));
    Child writer([&] { return writeItem(WDLT_SCAN_SAL, 1); });
    ASSERT_TRUE(objects.hears());
    writer.kill();
    std::thread next([&] { EXPECT_EQ(writeItem(WDLT_SCAN_URL_FILTER, 1), WDLT_OK); });
    EXPECT_FALSE(objects.hears(3'000));
    EXPECT_EQ(Change::in(objects.memory()), (Change{10003, WDLT_SCAN_SAL}));
    objects.reply();
    EXPECT_TRUE(objects.hears());
    EXPECT_EQ(Change::in(objects.memory()), (Change{10003, WDLT_SCAN_URL_FILTER}));
    objects.reply();
    next.join();
}

// Neither a cancellation nor an unload takes the code or the locks from a thread that is inside.
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

TEST_F(Notification, TheReaderWriterLockComesBeforeTheMutex) {
    HANDLE const mutex = openConfigMutex();
    ASSERT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_OBJECT_0);
    std::thread caller([&] { EXPECT_EQ(WDLT_CALL(library, WdltSalEnable)(1), WDLT_OK); });
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!library.logged("WriteConfig protocol = 10003") && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_FALSE(isLockFree()); // whoever waits for the mutex has the lock already
    EXPECT_FALSE(tree::keyExists("Scan\\Web\\SAL"));
    ReleaseMutex(mutex);
    caller.join();
    CloseHandle(mutex);

    CWdRWLockEx lock;
    ASSERT_TRUE(lock.Initialize("wdlt_config_rw"));
    lock.LockWrite();
    std::thread other([&] { EXPECT_EQ(WDLT_CALL(library, WdltSalEnable)(0), WDLT_OK); });
    std::this_thread::sleep_for(std::chrono::milliseconds(10)); // for one that would take the mutex first
    EXPECT_TRUE(isMutexFree());
    EXPECT_EQ(tree::number("Scan\\Web\\SAL", "Enable"), 1u);
    lock.UnlockWrite();
    other.join();
    EXPECT_EQ(tree::number("Scan\\Web\\SAL", "Enable"), 0u);
}

// The pair of events carries one exchange at a time: nothing is lost, nothing is told twice.
TEST_F(Notification, WritersOfManyThreadsAreToldOneByOne) {
    constexpr int kRounds = 20;
    constexpr std::uint32_t kScans[] = {WDLT_SCAN_VIRUS, WDLT_SCAN_URL_FILTER, WDLT_SCAN_SAL};
    std::atomic<bool> stored{true};
    ChangeListener service([&](const Change& change) {
        std::uint64_t size = sizeof(WdchSystemScan);
        WdchSystemScan item{};
        if (WDLT_CALL(library, WdltReadConfig)(change.protocol, change.scan, 0, &item, &size) != WDLT_OK ||
            item.enable == 0)
            stored = false;
        return true;
    });
    std::vector<std::thread> writers;
    for (const std::uint32_t scan : kScans)
        writers.emplace_back([this, scan] {
            for (int round = 1; round <= kRounds; ++round)
                EXPECT_EQ(writeItem(scan, static_cast<std::uint32_t>(round)), WDLT_OK);
        });
    for (std::thread& writer : writers)
        writer.join();
    std::map<std::uint32_t, int> heard;
    for (const Change& change : service.heard()) {
        EXPECT_EQ(change.protocol, 10003u);
        ++heard[change.scan];
    }
    EXPECT_THAT(heard, ElementsAre(std::pair(1u, kRounds), std::pair(4u, kRounds), std::pair(0x200u, kRounds)));
    EXPECT_TRUE(stored);
}

} // namespace
