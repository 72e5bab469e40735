// Many processes switch and write through the exports of the built library, while another answers as the running
// service does. Each change is heard once, in order; processes that are killed don't stop the others.
// WDLT_STORM_SECONDS: how long all tests together take (5).
#include "FakeService.h"
#include "LoadedLibrary.h"
#include "TimeScale.h"
#include "Tree.h"
#include "Workers.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kWorkers = 8;
constexpr std::size_t kMostLives = 8192; // including replacements of killed workers
constexpr std::size_t kMostHeard = 1 << 20;

// What the service is notified of: a switch of a feature, or a record into which each process writes numbers of its
// own.
struct Item {
    Change change;
    const char* key;
    bool isSwitch;
};
constexpr Item kItems[] = {
    {{10001, WDLT_SCAN_TEST_ENGINE}, "Scan\\Mail\\TestEngine", false},
    {{10001, WDLT_SCAN_IM_MANAGER}, "Scan\\Mail\\ImManager", false},
    {{10003, WDLT_SCAN_URL_FILTER}, "Scan\\Web\\URLFilter", true},
    {{10003, WDLT_SCAN_HOST_FILTER}, "Scan\\Web\\HostFilter", true},
    {{10003, WDLT_SCAN_NONE}, "ProtocolHandler\\Web", true},
};
const Item* itemOf(const Change& change) {
    const auto found = std::ranges::find(kItems, change, &Item::change);
    return found == std::end(kItems) ? nullptr : found;
}

// A life's numbers: never 0 or 1, which switches use.
std::uint32_t numberOf(std::uint32_t life, std::uint32_t sequence) {
    return (life << 16) + sequence;
}

// Shared by all processes of a test.
struct Board {
    std::atomic<bool> stopped;
    std::atomic<bool> serviceStopped;
    std::uint32_t written[kMostLives]; // writes that have returned, per life
    std::atomic<std::uint32_t> heardCount;
    struct {
        Change change;
        std::uint32_t value; // stored when the change was heard
    } heard[kMostHeard];
};

// The service's process.
void serve(Board& board, const Pipe& ready) {
    const ServiceObjects objects("wdlt_config_change_evt", sizeof(Change));
    ready.signal();
    while (objects.hears() && !board.serviceStopped) {
        const Change change = Change::in(objects.memory());
        const Item* const item = itemOf(change);
        ASSERT_LT(board.heardCount, kMostHeard);
        board.heard[board.heardCount] = {change, item == nullptr ? 0 : tree::number(item->key, "Enable").value_or(~0u)};
        ++board.heardCount;
        objects.reply();
    }
}

// Uses the library until the board is stopped.
void work(Board& board, const Life& life, const char* timeScale) {
    const TimeScale scale(timeScale);
    const LoadedLibrary library;
    std::minstd_rand dice(life.seed);
    do {
        const bool on = dice() % 2 == 0;
        const std::size_t kind = dice() % 4;
        if (kind > 1) {
            EXPECT_EQ((kind == 2 ? WDLT_CALL(library, WdltUrlfEnable) : WDLT_CALL(library, WdltHosfEnable))(on), 0);
            continue;
        }
        WdchSystemScan record{};
        record.enable = numberOf(life.number, board.written[life.number] + 1);
        const auto& [protocol, scan] = kItems[kind].change;
        EXPECT_EQ(WDLT_CALL(library, WdltWriteConfig)(protocol, scan, 0, &record, sizeof record), 0);
        ++board.written[life.number];
    } while (life.goesOn() && !board.stopped);
}

void layOutTree() {
    tree::clear();
    for (const auto& [name, type] : {std::pair("Mail", 1u), std::pair("Web", 3u)}) {
        const std::string key = std::string("ProtocolHandler\\").append(name);
        tree::setNumber(key, "Type", type);
        tree::setText(key, "Scan", name);
    }
    for (const Item& item : kItems)
        tree::setNumber(item.key, "Enable", 0);
}

// The workers and the service.
class Storm {
  public:
    explicit Storm(const char* timeScale)
        : m_service([this] { serve(*m_board, m_ready); }), m_isServed(m_ready.await()),
          m_workers(kWorkers, m_seed, [this, timeScale](const Life& life) { work(*m_board, life, timeScale); }) {}

    // For `percent` of the time, kills one worker after another and replaces it: at any moment or, if not
    // `inExchanges`, never between a write and its answer, by holding the mutex of all writers. Then stops everybody.
    void blow(int percent, bool inExchanges) {
        const char* const given = std::getenv("WDLT_STORM_SECONDS");
        const long seconds = given != nullptr ? std::strtol(given, nullptr, 10) : 5;
        const auto end = Clock::now() + std::chrono::milliseconds(seconds * 10 * percent);
        HANDLE const mutex = CreateMutexA(nullptr, FALSE, "Global\\wdlt_config_mutex");
        std::minstd_rand dice(m_seed);
        while (Clock::now() < end && !testing::Test::HasFailure()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(dice() % 80));
            ASSERT_LT(m_workers.lives() + 1, kMostLives);
            if (!inExchanges)
                WaitForSingleObject(mutex, INFINITE);
            m_killed.insert(m_workers.killOne());
            ReleaseMutex(mutex);
        }
        CloseHandle(mutex);
        m_workers.awaitRounds(1);
        m_board->stopped = true;
        m_workers.awaitEnd();
        m_board->serviceStopped = true;
        HANDLE const request = OpenEventA(EVENT_ALL_ACCESS, FALSE, "Global\\wdlt_config_change_evt_WdEvent");
        SetEvent(request);
        CloseHandle(request);
        EXPECT_EQ(m_service.wait(), 0);
    }
    // Checks that each change was heard once and in order. A switch is only notified when it changes, so its values
    // alternate. Written numbers count up for each process; the last write of a killed one may have been heard without
    // having returned.
    void checkHeard() const {
        std::map<const Item*, std::uint32_t> switches;
        std::map<unsigned, std::uint32_t> sequences;
        for (std::uint32_t i = 0; i < m_board->heardCount; ++i) {
            const auto& [change, value] = m_board->heard[i];
            const Item* const item = itemOf(change);
            ASSERT_NE(item, nullptr) << change;
            if (item->isSwitch) {
                ASSERT_EQ(value, 1 - switches[item]) << item->key << " at " << i;
                switches[item] = value;
            } else {
                ASSERT_EQ(value, numberOf(value >> 16, ++sequences[value >> 16])) << item->key << " at " << i;
            }
        }
        for (const Item& item : kItems)
            EXPECT_TRUE(!item.isSwitch || tree::number(item.key, "Enable") == switches[&item]) << item.key;
        for (unsigned life = 1; life <= m_workers.lives(); ++life)
            EXPECT_LE(sequences[life] - m_board->written[life], m_killed.contains(life) ? 1u : 0u) << life;
        EXPECT_GT(m_board->heardCount, kWorkers);
    }

  private:
    const Seed m_seed;
    const Shared<Board> m_board;
    const Pipe m_ready;
    Child m_service;
    const bool m_isServed; // waits for the service before the workers start
    Workers m_workers;
    std::set<unsigned> m_killed;
};

// Changes of processes that are killed in the middle of an exchange may be lost or heard twice, but the others go on,
// and a second storm without such kills is flawless.
TEST(ChangeStorm, EveryChangeIsHeardOnceWhileProcessesAreKilled) {
    layOutTree();
    Storm("0.005").blow(40, true);
    layOutTree();
    Storm storm("0.05");
    storm.blow(60, false);
    storm.checkHeard();
}

} // namespace
