// Many processes that switch, write and read through the exports of the built library, beside one that answers as the
// running service does. Each change is heard once, in order; processes killed on the way don't stop the others.
// WDLT_STORM_SECONDS: how long, over all tests (5).
#include "Child.h"
#include "FakeService.h"
#include "LoadedLibrary.h"
#include "TimeScale.h"
#include "Tree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kWorkers = 8;
constexpr std::size_t kMostWorkers = 8192; // with those that replace killed ones
constexpr std::size_t kMostHeard = 1 << 20;

// A change as the service hears it, with the number that is stored at that moment.
struct Heard {
    Change change;
    std::uint32_t value;
};

// What a process tells before it may be killed at any moment.
struct Report {
    std::uint32_t written; // writes of its own that came back
    std::uint32_t rounds;
    std::int32_t wrongStatus; // the last that isn't allowed, of the operation beside it
    std::uint32_t wrongOperation;
};

// Shared by all processes of a test.
struct Board {
    std::atomic<bool> stopped{false};
    std::atomic<bool> serviceStopped{false};
    std::atomic<std::uint32_t> heardCount{0};
    std::array<Report, kMostWorkers> reports{};
    std::array<Heard, kMostHeard> heard{};
};

class SharedBoard {
  public:
    SharedBoard() {
        void* const memory =
            mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (memory == MAP_FAILED)
            throw std::bad_alloc();
        m_board = new (memory) Board;
    }
    ~SharedBoard() { munmap(m_board, sizeof(Board)); }
    SharedBoard(const SharedBoard&) = delete;
    SharedBoard& operator=(const SharedBoard&) = delete;

    Board* operator->() const { return m_board; }
    Board& operator*() const { return *m_board; }

  private:
    Board* m_board;
};

// What is switched by features, and what is written with numbers of the processes' own.
struct Item {
    std::uint32_t protocol;
    std::uint32_t scan;
    const char* key;
};
constexpr Item kSwitched[] = {
    {10003, WDLT_SCAN_URL_FILTER, "Scan\\Web\\URLFilter"},
    {10003, WDLT_SCAN_HOST_FILTER, "Scan\\Web\\HostFilter"},
    {10003, WDLT_SCAN_SAL, "Scan\\Web\\SAL"},
    {10003, WDLT_SCAN_NONE, "ProtocolHandler\\Web"},
};
constexpr Item kWritten[] = {
    {10001, WDLT_SCAN_TEST_ENGINE, "Scan\\Mail\\TestEngine"},
    {10001, WDLT_SCAN_IM_MANAGER, "Scan\\Mail\\ImManager"},
};

const Item* itemOf(const Change& change) {
    const auto is = [&](const Item& item) { return item.protocol == change.protocol && item.scan == change.scan; };
    for (const Item& item : kSwitched)
        if (is(item))
            return &item;
    for (const Item& item : kWritten)
        if (is(item))
            return &item;
    return nullptr;
}

// A process's numbers: never 0 or 1, which switches use.
std::uint32_t numberOf(std::size_t worker, std::uint32_t sequence) {
    return static_cast<std::uint32_t>((worker + 1) << 16) + sequence;
}

void layOutTree() {
    tree::clear();
    for (const auto& [name, type] : {std::pair("Mail", 1u), std::pair("Web", 3u)}) {
        const std::string key = std::string("ProtocolHandler\\").append(name);
        tree::setNumber(key, "Type", type);
        tree::setNumber(key, "Enable", 0);
        tree::setText(key, "Scan", name);
    }
    for (const Item& item : kWritten)
        tree::setNumber(item.key, "Enable", 0);
    for (const Item& item : kSwitched)
        tree::setNumber(item.key, "Enable", 0);
}

// The service's process.
int serve(Board& board, const Pipe& ready) {
    const ServiceObjects objects("wdlt_config_change_evt", sizeof(Change));
    ready.signal();
    while (objects.hears() && !board.serviceStopped) {
        const Change change = Change::in(objects.memory());
        const Item* const item = itemOf(change);
        const std::uint32_t at = board.heardCount;
        if (at == kMostHeard)
            return 1;
        board.heard[at] = {change, item == nullptr ? 0 : tree::number(item->key, "Enable").value_or(0xFFFFFFFF)};
        board.heardCount = at + 1;
        objects.reply();
    }
    return 0;
}

// A process that uses the library, until the board says stop.
class Worker {
  public:
    Worker(Board& board, std::size_t index)
        : m_board(board), m_index(index), m_report(board.reports[index]), m_dice(static_cast<unsigned>(index) + 1) {}

    int run() {
        while (!m_board.stopped) {
            step();
            ++m_report.rounds;
        }
        return 0;
    }

  private:
    void step() {
        const bool on = m_dice() % 2 == 0;
        switch (m_dice() % 10) {
        case 0:
            return expect(0, WDLT_CALL(m_library, WdltUrlfEnable)(on), {WDLT_OK});
        case 1:
            return expect(1, WDLT_CALL(m_library, WdltHosfEnable)(on), {WDLT_OK});
        case 2:
            return expect(2, WDLT_CALL(m_library, WdltSalEnable)(on), {WDLT_OK});
        case 3:
            return expect(3, WDLT_CALL(m_library, WdltUrlfIsEnabled)(), {0, 1});
        case 4:
            return expect(4, WDLT_CALL(m_library, WdltSalIsEnabled)(), {0, 1});
        case 5:
        case 6:
            return write();
        case 7:
            return redirect(on);
        case 8:
            return readItem();
        default:
            return readHandler();
        }
    }

    void write() {
        const Item& item = kWritten[m_dice() % std::size(kWritten)];
        WdchSystemScan record{};
        record.enable = numberOf(m_index, m_report.written + 1);
        const std::int32_t status =
            WDLT_CALL(m_library, WdltWriteConfig)(item.protocol, item.scan, 0, &record, sizeof record);
        expect(5, status, {WDLT_OK});
        ++m_report.written;
    }
    void redirect(bool adds) {
        WdchSystemRedirect record{};
        record.sessionType[0] = static_cast<char16_t>(u'a' + m_index % 4);
        record.port = 80;
        const std::int32_t status = WDLT_CALL(m_library, WdltWriteConfig)(
            10001, 0, adds ? WDLT_CONFIG_REDIRECT_ADD : WDLT_CONFIG_REDIRECT_DELETE, &record, sizeof record);
        if (adds)
            expect(7, status, {WDLT_OK});
        else
            expect(8, status, {WDLT_OK, WDLT_E_NOT_FOUND, WDLT_E_REGISTRY});
    }
    void readItem() {
        const Item& item = kWritten[m_dice() % std::size(kWritten)];
        WdchSystemScan record{};
        std::uint64_t size = sizeof record;
        expect(9, WDLT_CALL(m_library, WdltReadConfig)(item.protocol, item.scan, 0, &record, &size), {WDLT_OK});
    }
    void readHandler() {
        std::uint64_t size = 0;
        expect(10, WDLT_CALL(m_library, WdltReadConfig)(10001, 0, 0, nullptr, &size), {WDLT_E_BUFFER_SIZE});
        std::vector<unsigned char> record(size);
        expect(11, WDLT_CALL(m_library, WdltReadConfig)(10001, 0, 0, record.data(), &size),
               {WDLT_OK, WDLT_E_BUFFER_SIZE});
    }
    void expect(std::uint32_t operation, std::int32_t status, std::initializer_list<std::int32_t> allowed) {
        if (std::find(allowed.begin(), allowed.end(), status) != allowed.end())
            return;
        m_report.wrongOperation = operation;
        m_report.wrongStatus = status == 0 ? -1000 : status;
    }

    Board& m_board;
    std::size_t m_index;
    Report& m_report;
    std::minstd_rand m_dice;
    const LoadedLibrary m_library;
};

int work(Board& board, std::size_t index, const char* timeScale) {
    const TimeScale scale(timeScale);
    return Worker(board, index).run();
}

// The workers of one phase, and the service beside them.
class Storm {
  public:
    explicit Storm(const char* timeScale)
        : m_timeScale(timeScale), m_service([this] { return serve(*m_board, m_ready); }) {
        m_ready.await();
    }
    ~Storm() { stop(); }
    Storm(const Storm&) = delete;
    Storm& operator=(const Storm&) = delete;

    void start() {
        while (m_workers.size() < kWorkers) {
            const std::size_t index = m_started; // startOne counts on
            m_workers.emplace_back(index, startOne());
        }
    }
    // Kills one and starts another in its place.
    void replace(std::size_t place) {
        auto& [index, child] = m_workers[place % m_workers.size()];
        EXPECT_EQ(child.kill(), 1000 + SIGKILL);
        m_killed.push_back(index);
        index = m_started;
        child = startOne();
    }
    std::size_t started() const { return m_started; }
    bool wasKilled(std::size_t index) const {
        return std::find(m_killed.begin(), m_killed.end(), index) != m_killed.end();
    }
    std::size_t kills() const { return m_killed.size(); }

    // Every worker ends by itself; one that is stuck ends the whole test after a while.
    void stop() {
        alarm(120);
        m_board->stopped = true;
        for (auto& [index, child] : m_workers)
            EXPECT_EQ(child.wait(), 0) << index;
        m_workers.clear();
        if (std::exchange(m_isServing, false)) {
            m_board->serviceStopped = true;
            HANDLE const request = OpenEventA(EVENT_ALL_ACCESS, FALSE, "Global\\wdlt_config_change_evt_WdEvent");
            SetEvent(request);
            CloseHandle(request);
            EXPECT_EQ(m_service.wait(), 0);
        }
        alarm(0);
    }
    const Board& board() const { return *m_board; }

  private:
    Child startOne() {
        const std::size_t index = m_started++;
        if (index >= kMostWorkers)
            throw std::runtime_error("too many workers");
        return Child([this, index] { return work(*m_board, index, m_timeScale); });
    }

    const char* m_timeScale;
    SharedBoard m_board;
    Pipe m_ready;
    Child m_service;
    bool m_isServing = true;
    std::size_t m_started = 0;
    std::vector<std::pair<std::size_t, Child>> m_workers;
    std::vector<std::size_t> m_killed;
};

std::chrono::milliseconds shareOfTime(int percent) {
    const char* const given = std::getenv("WDLT_STORM_SECONDS");
    const long seconds = given != nullptr ? std::strtol(given, nullptr, 10) : 5;
    return std::chrono::milliseconds(seconds * 10 * percent);
}

// Nobody got a status that isn't allowed.
void checkReports(const Storm& storm) {
    std::uint64_t rounds = 0;
    for (std::size_t index = 0; index < storm.started(); ++index) {
        const Report& report = storm.board().reports[index];
        EXPECT_EQ(report.wrongStatus, 0) << "operation " << report.wrongOperation << " of worker " << index;
        rounds += report.rounds;
    }
    EXPECT_GT(rounds, storm.started());
}

// Each change was heard once and in order. A switch is only told when it changes, so what is heard of it alternates; a
// write tells its number, which counts up for each process, and the last of a killed one may not have come back.
void checkHeard(const Storm& storm) {
    const Board& board = storm.board();
    std::map<const Item*, std::uint32_t> switches;
    std::map<std::size_t, std::uint32_t> sequences;
    for (std::uint32_t i = 0; i < board.heardCount; ++i) {
        const Heard& heard = board.heard[i];
        const Item* const item = itemOf(heard.change);
        ASSERT_NE(item, nullptr) << heard.change;
        const bool isSwitch = std::any_of(std::begin(kSwitched), std::end(kSwitched),
                                          [&](const Item& switched) { return &switched == item; });
        if (isSwitch) {
            ASSERT_EQ(heard.value, 1 - switches[item]) << item->key << " at " << i;
            switches[item] = heard.value;
        } else {
            const std::size_t index = (heard.value >> 16) - 1;
            ASSERT_LT(index, storm.started()) << item->key << " at " << i;
            ASSERT_EQ(heard.value, numberOf(index, ++sequences[index])) << item->key << " at " << i;
        }
    }
    for (const Item& item : kSwitched)
        EXPECT_EQ(tree::number(item.key, "Enable"), switches[&item]) << item.key;
    for (std::size_t index = 0; index < storm.started(); ++index) {
        const std::uint32_t written = board.reports[index].written;
        if (storm.wasKilled(index)) {
            EXPECT_LE(sequences[index] - written, 1u) << index;
        } else {
            EXPECT_EQ(sequences[index], written) << index;
        }
    }
    EXPECT_GT(board.heardCount, kWorkers);
}

// A kill finds its process anywhere but between a write and its answer, since the mutex of all writers is held then.
TEST(ChangeStorm, EveryChangeIsHeardOnceWhileProcessesAreKilled) {
    layOutTree();
    Storm storm("0.05");
    storm.start();
    HANDLE const mutex = CreateMutexA(nullptr, FALSE, "Global\\wdlt_config_mutex");
    std::minstd_rand dice(7);
    for (const auto end = Clock::now() + shareOfTime(50); Clock::now() < end;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(dice() % 100));
        WaitForSingleObject(mutex, INFINITE);
        storm.replace(dice());
        ReleaseMutex(mutex);
    }
    storm.stop();
    CloseHandle(mutex);
    EXPECT_GT(storm.kills(), 2u);
    checkReports(storm);
    checkHeard(storm);
}

// Killed at any moment, also in the middle of an exchange: what is heard then may be lost or told twice, but the others
// go on, and afterwards all is as before.
TEST(ChangeStorm, ProcessesKilledInTheMiddleOfAnExchangeDoNotStopTheOthers) {
    layOutTree();
    {
        Storm storm("0.005");
        storm.start();
        std::minstd_rand dice(11);
        for (const auto end = Clock::now() + shareOfTime(30); Clock::now() < end;) {
            std::this_thread::sleep_for(std::chrono::milliseconds(dice() % 60));
            storm.replace(dice());
        }
        storm.stop();
        EXPECT_GT(storm.kills(), 2u);
        checkReports(storm);
    }
    for (const Item& item : kSwitched)
        tree::setNumber(item.key, "Enable", 0);
    Storm calm("0.05");
    calm.start();
    std::this_thread::sleep_for(shareOfTime(20));
    calm.stop();
    checkReports(calm);
    checkHeard(calm);
}

} // namespace
