// The registry under many processes at once: whole values, forks at any moment, processes killed at any moment, races
// for a new home, other process-id namespaces, a full table of readers.
#include <Child.h>
#include <LoadedLibrary.h>
#include <Sanitizers.h>
#include <TestHome.h>
#include <TestKey.h>
#include <wdltcfg/records.h>
#include <wdltcfg/wdltcfg.h>

#include <gtest/gtest.h>
#include <lmdb.h>

#include <platform/registry_batch.h>
#include <platform/testing.h>
#include <platform/win32.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <random>
#include <sched.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::string numbered(const char* text, unsigned long number) {
    return std::string(text).append(std::to_string(number));
}

// A value that tells by itself whether it is whole: its length and its letter both follow from its number.
std::string wholeValue(unsigned number) {
    const std::string digits = std::to_string(number) + ":";
    return digits + std::string(number * 37 % 3000, static_cast<char>('a' + number % 26));
}

bool isWhole(const std::string& value) {
    const auto colon = value.find(':');
    return colon != std::string::npos && colon > 0 && colon < 8 &&
           value == wholeValue(static_cast<unsigned>(std::stoul(value.substr(0, colon))));
}

TEST(RegistryProcess, ManyProcessesAndThreadsSeeWholeValuesOnly) {
    const TestKey key = TestKey::create("Shared");
    ASSERT_EQ(key.setBytes("v0", wholeValue(0)), 0);
    ASSERT_EQ(key.setBytes("v1", wholeValue(1)), 0);
    std::vector<Child> children;
    for (unsigned process = 0; process < 6; ++process)
        children.emplace_back([process] {
            std::atomic<int> wrong{0};
            std::vector<std::thread> threads;
            for (unsigned thread = 0; thread < 3; ++thread)
                threads.emplace_back([&, thread] {
                    for (unsigned i = 0; i < 300; ++i) {
                        const TestKey own = TestKey::open("Shared", KEY_ALL_ACCESS);
                        const char* name = (i + thread) % 2 == 0 ? "v0" : "v1";
                        if (i % 4 == 0 && own.setBytes(name, wholeValue(process * 1000 + thread * 300 + i)) != 0)
                            ++wrong;
                        std::string buffer(4096, '\0');
                        auto size = static_cast<DWORD>(buffer.size());
                        if (RegQueryValueExA(own.get(), name, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer.data()),
                                             &size) != 0 ||
                            !isWhole(buffer.substr(0, size)))
                            ++wrong;
                    }
                });
            for (auto& thread : threads)
                thread.join();
            return wrong == 0 ? 0 : 1;
        });
    for (auto& child : children)
        EXPECT_EQ(child.wait(), 0);
}

TEST(RegistryProcess, NoIncrementInABatchIsLost) {
    constexpr unsigned kProcesses = 8;
    constexpr unsigned kRounds = 200;
    ASSERT_EQ(TestKey::create("Count").set("n", 0), 0);
    std::vector<Child> children;
    for (unsigned process = 0; process < kProcesses; ++process)
        children.emplace_back([] {
            const TestKey key = TestKey::open("Count", KEY_ALL_ACCESS);
            for (unsigned i = 0; i < kRounds; ++i) {
                RegistryBatch batch;
                key.set("lock", i + 1); // from the first write on no one else writes
                const auto number = key.number("n");
                if (!number || key.set("n", *number + 1) != 0 || batch.end() != 0)
                    return 1;
            }
            return 0;
        });
    for (auto& child : children)
        EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(TestKey::open("Count").number("n"), kProcesses * kRounds);
}

TEST(RegistryProcess, ForksInTheMiddleOfOtherThreadsCalls) {
    if (!kThreadsMayFork)
        GTEST_SKIP() << "the sanitizer's own allocator locks don't survive such a fork";
    const TestKey key = TestKey::create("Forks");
    ASSERT_EQ(key.set("v", 1), 0);
    std::atomic<bool> stop{false};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < 3; ++t)
        threads.emplace_back([&, t] {
            for (DWORD i = 0; !stop; ++i) {
                const TestKey own = TestKey::open("Forks", KEY_ALL_ACCESS);
                const std::string name = numbered("t", t);
                if (own.set(name.c_str(), i) != 0 || own.number(name.c_str()) != i)
                    ++wrong;
            }
        });
    for (int i = 0; i < 60; ++i) {
        Child child([&] {
            const TestKey own = TestKey::open("Forks", KEY_ALL_ACCESS);
            if (key.number("v") != 1u || own.number("v") != 1u)
                return 1;
            std::thread([&] { own.set("child", 1); }).join();
            return own.number("child") == 1u ? 0 : 2;
        });
        EXPECT_EQ(child.wait(), 0) << i;
    }
    stop = true;
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

// Nor does a child of it that outlives it and never calls in.
TEST(RegistryProcess, AWriterKilledInsideItsBatchLeavesNothingOfIt) {
    const TestKey key = TestKey::create("Victim");
    ASSERT_EQ(key.set("v", 1), 0);
    const Shared<pid_t> survivor;
    for (int round = 0; round < 20; ++round) {
        const Pipe written;
        Child child([&]() -> int {
            const TestKey own = TestKey::open("Victim", KEY_ALL_ACCESS);
            RegistryBatch batch;
            own.set("v", 2);
            TestKey::create("Half\\Made", own.get());
            if (const pid_t idle = fork(); idle > 0) {
                *survivor = idle;
                written.signal();
            }
            for (;;)
                pause();
        });
        ASSERT_TRUE(written.await());
        child.kill();
        EXPECT_EQ(key.number("v"), 1u);
        EXPECT_FALSE(TestKey::open("Victim\\Half"));
        alarm(10);
        EXPECT_EQ(key.set("round", static_cast<DWORD>(round)), 0);
        alarm(0);
        kill(*survivor, SIGKILL);
    }
}

// Workers write pairs in batches, make and delete trees, and read what others do, and others write through the tool and
// the library beside them; one after the other is killed at a random instant, what is left must be whole for all, and
// nobody who lives may stand still.
class KillTest {
  public:
    explicit KillTest(unsigned seed) : m_random(seed) {}

    void run(unsigned kills) {
        for (unsigned i = 0; i < kWorkers; ++i)
            m_workers.push_back(start(i));
        for (unsigned i = 0; i < kills && !testing::Test::HasFailure(); ++i) {
            const struct timespec pause { 0, static_cast<long>(m_random() % 6'000'000) };
            nanosleep(&pause, nullptr);
            checkThatAllGoOn(i);
            const auto victim = static_cast<unsigned>(m_random() % kWorkers);
            EXPECT_EQ(m_workers[victim].kill(), kKilled) << "a worker found something wrong before kill " << i;
            alarm(static_cast<unsigned>(kLongestStand.count()) * 10); // this process is one that goes on, too
            check(i);
            alarm(0);
            m_workers[victim] = start(victim);
        }
        for (Child& worker : m_workers)
            EXPECT_EQ(worker.kill(), kKilled);
    }

  private:
    using Clock = std::chrono::steady_clock;

    static constexpr unsigned kWorkers = 6;
    static constexpr int kKilled = 1000 + SIGKILL;
    static constexpr std::chrono::seconds kLongestStand{kThreadsMayFork ? 1 : 10}; // sanitizers start a tool slowly

    Child start(unsigned worker) {
        const auto seed = static_cast<unsigned>(m_random());
        m_moved[worker] = Clock::now();
        return Child([this, worker, seed] {
            std::atomic<unsigned>& rounds = (*m_rounds)[worker];
            switch (worker) {
            case 0:
                return useTool(rounds);
            case 1:
            case 2:
                return useLibrary(worker == 1, rounds);
            default:
                return work(seed, rounds);
            }
        });
    }

    static int useTool(std::atomic<unsigned>& rounds) {
        for (;; ++rounds)
            if (Child::run(
                    {WDLT_REGISTRY_TOOL, "set", "HKEY_LOCAL_MACHINE\\Tool", "n", "dword", std::to_string(rounds)})
                    .wait() != 0)
                return 14;
    }

    // What its calls return isn't asked: they may meet the locks of those who were killed.
    static int useLibrary(bool rules, std::atomic<unsigned>& rounds) {
        const LoadedLibrary library;
        WdchSystemData record{};
        std::uint64_t size = sizeof record;
        WDLT_CALL(library, WdltReadConfig)(10000, 0, 0, &record, &size);
        for (;; ++rounds) {
            WdltDrsWhiteListItem rule{};
            rule.Index = 1 + rounds % 4;
            rule.RuleName[0] = static_cast<wdlt_wchar>('a' + rule.Index);
            record.proxyPort = static_cast<std::uint16_t>(rounds);
            if (!rules)
                WDLT_CALL(library, WdltWriteConfig)(10000, 0, 0, &record, size);
            else if (rounds % 8 < 4)
                WDLT_CALL(library, WdltAddDRSWhiteListItem)(&rule);
            else
                WDLT_CALL(library, WdltDeleteDRSWhiteListItem)(rule.Index);
        }
    }

    static int work(unsigned seed, std::atomic<unsigned>& rounds) {
        std::mt19937 random(seed);
        for (;; ++rounds) {
            const TestKey key = TestKey::create("Pair");
            const auto number = static_cast<DWORD>(random());
            if (!key)
                return 10;
            {
                RegistryBatch batch;
                if (key.set("a", number) != 0 || key.setBytes("text", wholeValue(number % 5000)) != 0 ||
                    key.set("b", number) != 0 || batch.end() != 0)
                    return 11;
            }
            const std::string name = numbered("Trees\\t", random() % 8);
            const LONG made = TestKey::create((name + "\\x").c_str()) ? 0 : static_cast<LONG>(GetLastError());
            RegDeleteKeyA(HKEY_LOCAL_MACHINE, (name + "\\x").c_str());
            RegDeleteKeyA(HKEY_LOCAL_MACHINE, name.c_str());
            if (made != 0)
                return 12;
            if (!pairIsWhole())
                return 13;
        }
    }

    // From its first write on a batch reads one state: what is read there belongs together.
    static bool pairIsWhole() {
        const TestKey key = TestKey::open("Pair", KEY_ALL_ACCESS);
        RegistryBatch batch;
        key.set("readers", key.number("readers").value_or(0) + 1);
        const auto text = key.bytes("text");
        return key.number("a") == key.number("b") && text && isWhole(*text);
    }

    // Where this process itself didn't get to run, the others aren't to blame.
    void checkThatAllGoOn(unsigned kill) {
        const auto now = Clock::now();
        const auto missed = now - std::exchange(m_looked, now);
        for (unsigned i = 0; i < kWorkers; ++i) {
            const unsigned rounds = (*m_rounds)[i];
            if (std::exchange(m_seen[i], rounds) != rounds || missed > std::chrono::milliseconds(200))
                m_moved[i] = now;
            EXPECT_LT(now - m_moved[i], kLongestStand) << "worker " << i << " stands still, kill " << kill;
        }
    }

    void check(unsigned kill) {
        const TestKey pair = TestKey::open("Pair");
        m_isWritten = m_isWritten || (pair && pair.number("a"));
        if (!m_isWritten)
            return; // no worker has come that far yet
        EXPECT_TRUE(pairIsWhole()) << "kill " << kill;
        EXPECT_EQ(TestKey::create("Parent").set("kill", kill), 0) << "kill " << kill;
        const TestKey trees = TestKey::open("Trees");
        char name[512];
        for (DWORD index = 0;; ++index) { // each name that is listed leads to a key, unless it went meanwhile
            DWORD length = sizeof name;
            const LONG error =
                trees ? RegEnumKeyExA(trees.get(), index, name, &length, nullptr, nullptr, nullptr, nullptr)
                      : static_cast<LONG>(ERROR_NO_MORE_ITEMS);
            if (error != 0) {
                EXPECT_EQ(error, static_cast<LONG>(ERROR_NO_MORE_ITEMS)) << "kill " << kill;
                break;
            }
        }
    }

    std::mt19937 m_random;
    std::vector<Child> m_workers;
    Shared<std::array<std::atomic<unsigned>, kWorkers>> m_rounds;
    std::array<unsigned, kWorkers> m_seen{};
    std::array<Clock::time_point, kWorkers> m_moved{};
    Clock::time_point m_looked = Clock::now();
    bool m_isWritten = false; // a pair was there once, and must be from then on
};

TEST(RegistryProcess, KillsAtRandomInstantsLeaveItWhole) {
    const char* given = getenv("WDLT_SEED");
    const unsigned seed = given != nullptr ? static_cast<unsigned>(std::stoul(given)) : std::random_device()();
    const char* count = getenv("WDLT_KILLS");
    const unsigned kills = count != nullptr ? static_cast<unsigned>(std::stoul(count)) : 300;
    std::printf("seed %u, %u kills\n", seed, kills);
    std::fflush(stdout); // before there are children with the same buffer
    KillTest(seed).run(kills);
}

// The engine by itself in a process of its own, with read transactions that never end: one, or as many as there is room
// for.
Child readForever(const Pipe& begun, bool everyPlace) {
    return Child([&begun, everyPlace] {
        MDB_env* environment = nullptr;
        mdb_env_create(&environment);
        const fs::path registry = TestHome::instance().path() / "registry";
        if (mdb_env_open(environment, registry.c_str(), MDB_NOTLS, 0600) != 0)
            return 1;
        MDB_txn* transaction = nullptr;
        int code = mdb_txn_begin(environment, nullptr, MDB_RDONLY, &transaction);
        while (code == 0 && everyPlace)
            code = mdb_txn_begin(environment, nullptr, MDB_RDONLY, &transaction);
        if (code != (everyPlace ? MDB_READERS_FULL : 0))
            return 2;
        begun.signal();
        for (;;)
            pause();
    });
}

// Old pages that a reader needs are kept for it, but not for a dead one.
TEST(RegistryProcess, AKilledReaderKeepsNoPages) {
    const TestKey key = TestKey::create("Pages");
    ASSERT_EQ(key.set("v", 0), 0);
    const fs::path file = TestHome::instance().path() / "registry/data.mdb";
    const auto size = fs::file_size(file);
    const Pipe begun;
    Child reader = readForever(begun, false);
    ASSERT_TRUE(begun.await());
    reader.kill();
    for (DWORD i = 1; i <= 10'000; ++i)
        ASSERT_EQ(key.set("v", i), 0);
    EXPECT_LT(fs::file_size(file), size + size / 2 + (std::uintmax_t{1} << 20));
}

TEST(RegistryProcess, RacingProcessesMakeOneHome) {
    constexpr unsigned kProcesses = 16;
    for (unsigned round = 0; round < 8; ++round) {
        const fs::path home = TestHome::instance().path() / numbered("race", round) / "home";
        setenv("WARDLET_HOME", home.c_str(), 1);
        WdTestRereadEnvironment();
        Pipe start;
        std::vector<Child> children;
        for (unsigned process = 0; process < kProcesses; ++process)
            children.emplace_back([&, process] {
                start.closeSender();
                start.await();
                const std::string name = numbered("Race\\p", process);
                return TestKey::create(name.c_str()).set("v", process) == 0 ? 0 : 1;
            });
        start.closeSender();
        for (auto& child : children)
            EXPECT_EQ(child.wait(), 0) << round;
        for (unsigned process = 0; process < kProcesses; ++process)
            EXPECT_EQ(TestKey::open(numbered("Race\\p", process).c_str()).number("v"), process);
        std::vector<std::string> names;
        for (const auto& entry : fs::recursive_directory_iterator(home))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        EXPECT_EQ(names,
                  (std::vector<std::string>{"data.mdb", "lock.mdb", "namespace", "objects", "registry", "settings"}));
    }
}

// The database tells processes by number, so two namespaces would take each other's processes for dead.
TEST(RegistryProcess, AnotherProcessNamespaceIsRefusedWhileTheHomeIsInUse) {
    const auto elsewhere = [] {
        if (unshare(CLONE_NEWPID) != 0)
            return 77;
        Child inside([] { // its writes' error tells
            return TestKey::create("Elsewhere") ? 1 : static_cast<int>(GetLastError());
        });
        return inside.wait();
    };
    const fs::path home = TestHome::instance().path() / "namespaces";
    setenv("WARDLET_HOME", home.c_str(), 1);
    WdTestRereadEnvironment();
    const int alone = Child(elsewhere).wait();
    if (alone == 77)
        GTEST_SKIP() << "no right to make namespaces";
    EXPECT_EQ(alone, 1) << "a home that nobody uses is anybody's";
    ASSERT_TRUE(TestKey::create("Here"));
    EXPECT_EQ(Child(elsewhere).wait(), static_cast<int>(ERROR_SHARING_VIOLATION));
    EXPECT_EQ(TestKey::create("Here").set("v", 1), 0);
}

TEST(RegistryProcess, AFullTableOfReadersStopsNobody) {
    const TestKey key = TestKey::create("Readers");
    ASSERT_EQ(key.set("v", 1), 0);
    const Pipe full;
    Child hog = readForever(full, true);
    ASSERT_TRUE(full.await());
    EXPECT_EQ(Child([&] { return TestKey::open("Readers").number("v") == 1u ? 0 : 1; }).wait(), 0) << "no place left";
    EXPECT_EQ(key.set("v", 2), 0);
    hog.kill();
    EXPECT_EQ(Child([&] { return TestKey::open("Readers").number("v") == 2u ? 0 : 1; }).wait(), 0)
        << "the dead are cleared";
}

} // namespace
