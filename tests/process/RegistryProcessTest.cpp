// The registry used by many processes at once: values are whole and none is lost, processes are killed at any moment,
// races for a new home, other process-id namespaces, a full reader table.
#include "Workers.h"

#include <Child.h>
#include <TestKey.h>
#include <TestObject.h>

#include <gtest/gtest.h>
#include <lmdb.h>

#include <platform/registry_batch.h>
#include <platform/win32.h>

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

// Nothing stays in effect through a child that outlives the writer and never calls the layer, either.
TEST(RegistryProcess, AWriterKilledInsideItsBatchLeavesNothingOfIt) {
    const TestKey key = TestKey::create("Victim");
    ASSERT_EQ(key.set("v", 1), 0);
    const Shared<std::atomic<pid_t>> survivor;
    childWith([&] {
        auto batch = std::make_unique<RegistryBatch>();
        key.set("v", 2);
        TestKey::create("Half\\Made", key.get());
        if (fork() == 0) {
            *survivor = getpid();
            pauseForever();
        }
        while (*survivor == 0)
            std::this_thread::yield();
        return batch;
    }).kill();
    EXPECT_EQ(key.number("v"), 1u);
    EXPECT_FALSE(TestKey::open("Victim\\Half"));
    EXPECT_EQ(key.set("v", 3), 0);
    kill(*survivor, SIGKILL);
}

// A text whose length and letter both follow from the number.
std::string textOf(DWORD number) {
    return std::string(number % 3000, static_cast<char>('a' + number % 26));
}

// Workers count in batches, create and delete trees, and read what others write. Whoever is killed, the registry stays
// consistent for all, and nothing that was reported as stored is lost.
class KillTest {
  public:
    void count(const Life& life) {
        do {
            const TestKey key = TestKey::open("Count", KEY_ALL_ACCESS);
            {
                RegistryBatch batch;
                key.set("writer", life.number); // the first write keeps out other writers
                const DWORD number = key.number("n").value_or(0) + 1;
                EXPECT_TRUE(key.set("n", number) == 0 && key.setBytes("text", textOf(number)) == 0 && batch.end() == 0);
                ++*m_stored;
            }
            const std::string name = numbered("Trees\\t", life.places[life.place].rounds % 8);
            EXPECT_TRUE(TestKey::create((name + "\\x").c_str()));
            RegDeleteKeyA(HKEY_LOCAL_MACHINE, (name + "\\x").c_str());
            RegDeleteKeyA(HKEY_LOCAL_MACHINE, name.c_str());
            wholeNumber();
        } while (life.goesOn());
    }
    // Checks how far the workers have come; the last write of each of the `lives` may or may not be stored.
    void check(unsigned lives) const {
        const DWORD least = *m_stored;
        const DWORD number = wholeNumber();
        EXPECT_TRUE(number >= least && number <= *m_stored + lives) << number << " of " << least;
        const TestKey trees = TestKey::open("Trees");
        LONG error = 0;
        for (DWORD index = 0; error == 0; ++index) { // each listed name has a key, unless deleted meanwhile
            char name[512];
            DWORD length = sizeof name;
            error = RegEnumKeyExA(trees.get(), index, name, &length, nullptr, nullptr, nullptr, nullptr);
        }
        EXPECT_EQ(error, static_cast<LONG>(ERROR_NO_MORE_ITEMS));
    }

  private:
    // From its first write on, a batch reads a single state: values read in it are consistent.
    static DWORD wholeNumber() {
        const TestKey key = TestKey::open("Count", KEY_ALL_ACCESS);
        RegistryBatch batch;
        key.set("readers", key.number("readers").value_or(0) + 1);
        const DWORD number = key.number("n").value_or(0);
        EXPECT_EQ(key.bytes("text"), textOf(number));
        return number;
    }

    const Shared<std::atomic<DWORD>> m_stored; // by all workers
};

TEST(RegistryProcess, KillsAtRandomInstantsLeaveItWhole) {
    const TestKey key = TestKey::create("Count");
    ASSERT_TRUE(TestKey::create("Trees") && key.setBytes("text", "") == 0);
    const Seed seed;
    KillTest test;
    Workers workers(4, seed, [&](const Life& life) { test.count(life); });
    for (unsigned kills = 0; kills < wantedKills() && !HasFailure(); kills += 50) {
        workers.killAtRandom(50, std::chrono::milliseconds(6));
        test.check(workers.lives());
    }
}

// A process that uses the engine directly, with read transactions that never end: one, or as many as the reader table
// holds.
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

// Old pages are kept for a reader that needs them, but not for a dead one.
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
    ASSERT_TRUE(key.set("v", 1) == 0 && key.number("v") == 1u); // this process has its slot
    SteppedChild reader([&](const SteppedChild::Stop& stop) {
        EXPECT_EQ(key.set("v", 2), 0);
        stop(); // has no slot yet
        EXPECT_EQ(key.number("v"), 2u);
    });
    ASSERT_TRUE(reader.awaitStop());
    Child hog = readForever(true);
    inChild([] { EXPECT_EQ(TestKey::open("Readers").number("v"), 2u) << "no place left"; });
    hog.kill();
    RegistryBatch batch;
    EXPECT_EQ(key.set("v", 3), 0);
    EXPECT_EQ(reader.end(), 0) << "the dead are cleared, so that it needn't wait for the writer";
}

TEST(RegistryProcess, RacingProcessesMakeOneHome) {
    constexpr unsigned kProcesses = 16;
    for (unsigned round = 0; round < 8; ++round) {
        useFreshHome();
        Pipe start;
        std::vector<Child> children;
        for (unsigned process = 0; process < kProcesses; ++process)
            children.emplace_back([&, name = numbered("Race\\p", process)] {
                start.closeSender();
                start.await();
                EXPECT_EQ(TestKey::create(name.c_str()).set("v", process), 0);
            });
        start.closeSender();
        for (auto& child : children)
            EXPECT_EQ(child.wait(), 0) << round;
        for (unsigned process = 0; process < kProcesses; ++process)
            EXPECT_EQ(TestKey::open(numbered("Race\\p", process).c_str()).number("v"), process);
        const auto left = std::distance(fs::recursive_directory_iterator(getenv("WARDLET_HOME")), {});
        EXPECT_EQ(left, 6) << "besides two folders, namespace, settings and the database's files";
    }
}

// The database identifies processes by pid, so two namespaces would take each other's processes for dead.
TEST(RegistryProcess, AnotherProcessNamespaceIsRefusedWhileTheHomeIsInUse) {
    const auto errorElsewhere = [] { // 77: not allowed to create a namespace
        return static_cast<DWORD>(Child([] {
                                      return unshare(CLONE_NEWPID) != 0
                                                 ? 77
                                                 : Child([] {
                                                       return TestKey::create("Elsewhere")
                                                                  ? 0
                                                                  : static_cast<int>(GetLastError());
                                                   }).wait();
                                  }).wait());
    };
    useFreshHome();
    const DWORD alone = errorElsewhere();
    if (alone == 77)
        GTEST_SKIP() << "no right to make namespaces";
    EXPECT_EQ(alone, ERROR_SUCCESS) << "a home that nobody uses is anybody's";
    ASSERT_TRUE(TestKey::create("Here"));
    EXPECT_EQ(errorElsewhere(), ERROR_SHARING_VIOLATION);
}

} // namespace
