// The registry under many processes at once: whole values and no lost one, forks at any moment, processes killed at any
// moment, races for a new home, other process-id namespaces, a full table of readers.
#include "Workers.h"

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
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <sched.h>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::string numbered(const char* text, unsigned long number) {
    return std::string(text).append(std::to_string(number));
}

void useHome(const fs::path& home) {
    setenv("WARDLET_HOME", home.c_str(), 1);
    WdTestRereadEnvironment();
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
        threads.emplace_back([&, name = numbered("t", t)] {
            for (DWORD i = 0; !stop; ++i) {
                const TestKey own = TestKey::open("Forks", KEY_ALL_ACCESS);
                if (own.set(name.c_str(), i) != 0 || own.number(name.c_str()) != i)
                    ++wrong;
            }
        });
    for (int i = 0; i < 60; ++i)
        inChild([&] {
            const TestKey own = TestKey::open("Forks", KEY_ALL_ACCESS);
            EXPECT_TRUE(key.number("v") == 1u && own.number("v") == 1u);
            std::thread([&] { own.set("child", 1); }).join();
            EXPECT_EQ(own.number("child"), 1u);
        });
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
    for (DWORD round = 0; round < 20; ++round) {
        Child writer = childWith([&] {
            const TestKey own = TestKey::open("Victim", KEY_ALL_ACCESS);
            auto batch = std::make_unique<RegistryBatch>();
            own.set("v", 2);
            TestKey::create("Half\\Made", own.get());
            const pid_t idle = fork();
            if (idle == 0)
                pauseForever();
            *survivor = idle;
            return batch;
        });
        writer.kill();
        EXPECT_EQ(key.number("v"), 1u);
        EXPECT_FALSE(TestKey::open("Victim\\Half"));
        EXPECT_EQ(key.set("round", round), 0);
        kill(*survivor, SIGKILL);
    }
}

// Of its text's length and letter, which both follow from the number.
std::string textOf(DWORD number) {
    return std::string(number % 3000, static_cast<char>('a' + number % 26));
}

// Workers count in batches, make and delete trees, and read what others do, and others write through the tool and the
// library beside them. Whoever is killed, what is left is whole for all, and of what was told as stored nothing is lost.
class KillTest {
  public:
    void work(const Life& life) {
        const std::array parts{useTool, writeRecord, writeRules, count};
        parts[std::min<std::size_t>(life.place, 3)](*this, life);
    }
    // How far those who count have come, looked at from here; the last of each of the `lives` may be there or not.
    void check(unsigned lives) const {
        const DWORD least = *m_stored;
        const DWORD number = wholeNumber();
        EXPECT_GE(number, least);
        EXPECT_LE(number, *m_stored + lives);
        const TestKey trees = TestKey::open("Trees");
        char name[512];
        LONG error = 0;
        for (DWORD index = 0; error == 0;
             ++index) { // each name that is listed leads to a key, unless it went meanwhile
            DWORD length = sizeof name;
            error = RegEnumKeyExA(trees.get(), index, name, &length, nullptr, nullptr, nullptr, nullptr);
        }
        EXPECT_EQ(error, static_cast<LONG>(ERROR_NO_MORE_ITEMS));
    }

  private:
    static void useTool(KillTest&, const Life& life) {
        do
            EXPECT_EQ(Child::run({WDLT_REGISTRY_TOOL, "set", "HKEY_LOCAL_MACHINE\\Tool", "n", "dword", "1"}).wait(), 0);
        while (life.goesOn());
    }

    // What the library's calls return isn't asked: they may meet the locks of those who were killed.
    static void writeRecord(KillTest&, const Life& life) {
        const LoadedLibrary library;
        WdchSystemData record{};
        std::uint64_t size = sizeof record;
        WDLT_CALL(library, WdltReadConfig)(10000, 0, 0, &record, &size);
        do {
            ++record.proxyPort;
            WDLT_CALL(library, WdltWriteConfig)(10000, 0, 0, &record, size);
        } while (life.goesOn());
    }
    static void writeRules(KillTest&, const Life& life) {
        const LoadedLibrary library;
        WdltDrsWhiteListItem rule{};
        rule.RuleName[0] = 'a';
        do {
            rule.Index = rule.Index % 4 + 1;
            WDLT_CALL(library, WdltAddDRSWhiteListItem)(&rule);
            WDLT_CALL(library, WdltDeleteDRSWhiteListItem)(rule.Index);
        } while (life.goesOn());
    }

    static void count(KillTest& test, const Life& life) {
        do {
            const TestKey key = TestKey::open("Count", KEY_ALL_ACCESS);
            {
                RegistryBatch batch;
                key.set("writer", life.number); // from the first write on no one else writes
                const DWORD number = key.number("n").value_or(0) + 1;
                EXPECT_TRUE(key.set("n", number) == 0 && key.setBytes("text", textOf(number)) == 0 && batch.end() == 0);
                ++*test.m_stored;
            }
            const std::string name = numbered("Trees\\t", life.places[life.place].rounds % 8);
            EXPECT_TRUE(TestKey::create((name + "\\x").c_str()));
            RegDeleteKeyA(HKEY_LOCAL_MACHINE, (name + "\\x").c_str());
            RegDeleteKeyA(HKEY_LOCAL_MACHINE, name.c_str());
            wholeNumber();
        } while (life.goesOn());
    }
    // From its first write on a batch reads one state: what is read there belongs together.
    static DWORD wholeNumber() {
        const TestKey key = TestKey::open("Count", KEY_ALL_ACCESS);
        RegistryBatch batch;
        key.set("readers", key.number("readers").value_or(0) + 1);
        const DWORD number = key.number("n").value_or(0);
        EXPECT_EQ(key.bytes("text"), textOf(number));
        return number;
    }

    const Shared<std::atomic<DWORD>> m_stored; // by all who count
};

TEST(RegistryProcess, KillsAtRandomInstantsLeaveItWhole) {
    const TestKey key = TestKey::create("Count");
    ASSERT_TRUE(TestKey::create("Trees") && key.setBytes("text", "") == 0);
    const Seed seed;
    KillTest test;
    Workers workers(6, seed, [&](const Life& life) { test.work(life); });
    for (unsigned kills = 0; kills < wantedKills() && !HasFailure(); kills += 50) {
        workers.killAtRandom(50, std::chrono::milliseconds(6));
        test.check(workers.lives());
    }
}

// The engine by itself in a process of its own, with read transactions that never end: one, or as many as there is room
// for.
Child readForever(bool everyPlace) {
    return childWith([everyPlace] {
        MDB_env* environment = nullptr;
        mdb_env_create(&environment);
        const fs::path registry = TestHome::instance().path() / "registry";
        EXPECT_EQ(mdb_env_open(environment, registry.c_str(), MDB_NOTLS, 0600), 0);
        MDB_txn* transaction = nullptr;
        int code = mdb_txn_begin(environment, nullptr, MDB_RDONLY, &transaction);
        while (code == 0 && everyPlace)
            code = mdb_txn_begin(environment, nullptr, MDB_RDONLY, &transaction);
        EXPECT_EQ(code, everyPlace ? MDB_READERS_FULL : 0);
        return environment;
    });
}

// Old pages that a reader needs are kept for it, but not for a dead one.
TEST(RegistryProcess, AKilledReaderKeepsNoPages) {
    const TestKey key = TestKey::create("Pages");
    ASSERT_EQ(key.set("v", 0), 0);
    const fs::path file = TestHome::instance().path() / "registry/data.mdb";
    const auto size = fs::file_size(file);
    readForever(false).kill();
    for (DWORD i = 1; i <= 10'000; ++i)
        ASSERT_EQ(key.set("v", i), 0);
    EXPECT_LT(fs::file_size(file), size + size / 2 + (std::uintmax_t{1} << 20));
}

TEST(RegistryProcess, AFullTableOfReadersStopsNobody) {
    const TestKey key = TestKey::create("Readers");
    ASSERT_EQ(key.set("v", 1), 0);
    SteppedChild reader([&](const SteppedChild::Stop& stop) { // has no place yet
        EXPECT_EQ(key.set("v", 2), 0);
        stop();
        EXPECT_EQ(key.number("v"), 2u);
    });
    SteppedChild writer([&](const SteppedChild::Stop& stop) {
        EXPECT_TRUE(reader.awaitStop() && key.set("w", 1) == 0);
        stop();
        RegistryBatch batch;
        EXPECT_EQ(key.set("w", 2), 0);
        stop();
    });
    ASSERT_TRUE(writer.awaitStop());
    Child hog = readForever(true);
    inChild([] { EXPECT_EQ(TestKey::open("Readers").number("v"), 2u) << "no place left"; });
    hog.kill();
    writer.goOn();
    ASSERT_TRUE(writer.awaitStop());
    EXPECT_EQ(reader.end(), 0) << "the dead are cleared, so that it needn't wait for the writer";
    EXPECT_EQ(writer.end(), 0);
}

TEST(RegistryProcess, RacingProcessesMakeOneHome) {
    for (unsigned round = 0; round < 8; ++round) {
        const fs::path home = TestHome::instance().path() / numbered("race", round) / "home";
        useHome(home);
        Pipe start;
        std::vector<Child> children;
        for (unsigned process = 0; process < 16; ++process)
            children.emplace_back([&, name = numbered("Race\\p", process)] {
                start.closeSender();
                start.await();
                EXPECT_EQ(TestKey::create(name.c_str()).set("v", process), 0);
            });
        start.closeSender();
        for (auto& child : children)
            EXPECT_EQ(child.wait(), 0) << round;
        for (unsigned process = 0; process < 16; ++process)
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
        return Child([] { // its writes' error tells
                   return TestKey::create("Elsewhere") ? 1 : static_cast<int>(GetLastError());
               })
            .wait();
    };
    useHome(TestHome::instance().path() / "namespaces");
    const int alone = Child(elsewhere).wait();
    if (alone == 77)
        GTEST_SKIP() << "no right to make namespaces";
    EXPECT_EQ(alone, 1) << "a home that nobody uses is anybody's";
    ASSERT_TRUE(TestKey::create("Here"));
    EXPECT_EQ(Child(elsewhere).wait(), static_cast<int>(ERROR_SHARING_VIOLATION));
    EXPECT_EQ(TestKey::create("Here").set("v", 1), 0);
}

} // namespace
