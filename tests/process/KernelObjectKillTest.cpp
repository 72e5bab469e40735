// Processes that make, use and close the same objects by the thousand, and are killed at each step, at each system call
// and at random: the next creator always succeeds, with a fresh object or a whole one that somebody has.
#include "LockSteps.h"

#include <Child.h>
#include <Sanitizers.h>
#include <TestObject.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <functional>
#include <random>
#include <set>
#include <thread>

namespace {

constexpr int kKilled = Child::kSignal + SIGKILL;
constexpr DWORD kBytes = 5000;

class KernelObjectKill : public testing::Test {
  protected:
    KernelObjectKill() {
        useFreshHome();
        std::fflush(stdout); // before there are children with the same buffer
    }
};

// What a process does that dies at it. Ends by exit, so that the end of a program is part of it.
struct Deed {
    const char* name;
    int (*run)();
    void (*prepare)() = nullptr; // what nobody dies at
};

int create() {
    const Handle mapping = makeMapping("map", kBytes);
    const View<char> view = viewOf<char>(mapping);
    if (view == nullptr)
        return 1;
    std::memset(view.get(), 'v', kBytes);
    return 0;
}
int createAgain() {
    makeMapping("map", 100).reset(); // another size, kept mapped
    return create() + create();
}
int open() {
    Handle(OpenFileMappingA(FILE_MAP_READ, FALSE, "map")).reset();
    return 0;
}
int takeMutex() {
    const Handle mutex = makeMutex("m");
    const DWORD result = waitFor(mutex, INFINITE);
    if (result != WAIT_OBJECT_0 && result != WAIT_ABANDONED)
        return 1;
    return ReleaseMutex(mutex.get()) != FALSE ? 0 : 2;
}
void keepMany() {
    for (int i = 0; i < 32; ++i)
        makeMutex(std::to_string(i).c_str()).reset();
}

constexpr Deed kDeeds[] = {
    {"create", create},
    {"create again", createAgain},
    {"open", open},
    {"take a mutex", takeMutex},
    {"create beside many", create, keepMany}, // its close drops an older one
};

// What others find after a death, when `held` says that somebody has the objects.
int findsAllWell(bool held) {
    const Handle mapping = makeMapping("map", kBytes);
    if (mapping == nullptr || GetLastError() != (held ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS))
        return 1;
    const View<char> view = viewOf<char>(mapping, kBytes);
    if (view == nullptr)
        return 2;
    const std::string content(view.get(), kBytes);
    if (!held && content != std::string(kBytes, '\0'))
        return 3;
    if (held && content.find_first_not_of("hv") != std::string::npos)
        return 4;
    const Handle mutex = makeMutex("m");
    if (mutex == nullptr || GetLastError() != (held ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS))
        return 5;
    const DWORD result = waitFor(mutex, INFINITE);
    if (result != WAIT_OBJECT_0 && result != WAIT_ABANDONED)
        return 6;
    return ReleaseMutex(mutex.get()) != FALSE ? 0 : 7;
}

// A process that has the objects all the time.
Child startHolder(const Pipe& ready) {
    return Child([&]() -> int {
        const Handle mutex = makeMutex("m");
        const Handle mapping = makeMapping("map", kBytes);
        const View<char> view = viewOf<char>(mapping);
        std::memset(view.get(), 'h', kBytes);
        ready.signal();
        for (;;)
            pause();
    });
}

// Lets `deed` die at every point that `arm` can choose, from the first to the last; how many there were.
int dieEverywhere(
    const Deed& deed, bool held, const std::function<void(unsigned)>& arm, const std::function<void()>& died = [] {}) {
    int points = 0;
    for (unsigned nth = 1;; ++nth) {
        const int status = Child([&]() -> int {
                               if (deed.prepare != nullptr)
                                   deed.prepare();
                               arm(nth);
                               const int result = deed.run();
                               if (result != 0)
                                   _exit(result);
                               std::exit(0);
                           }).wait();
        // By a process that never had them, and by this one, which may keep them mapped.
        EXPECT_EQ(Child([held] { return findsAllWell(held); }).wait(), 0) << deed.name << ' ' << nth << ' ' << held;
        EXPECT_EQ(findsAllWell(held), 0) << deed.name << ' ' << nth << ' ' << held;
        if (status != kKilled) {
            EXPECT_EQ(status, 0) << deed.name << ' ' << nth;
            return points;
        }
        ++points;
        died();
        if (testing::Test::HasFailure())
            return points;
    }
}

TEST_F(KernelObjectKill, AtEachStep) {
    std::set<std::string> steps;
    for (const bool held : {false, true}) {
        const Pipe ready;
        std::vector<Child> holder;
        if (held) {
            holder.push_back(startHolder(ready));
            ASSERT_TRUE(ready.await());
        }
        for (const Deed& deed : kDeeds) {
            if (held && deed.run == createAgain)
                continue; // there is no other size to be had
            const Shared<steps::Grave> grave;
            dieEverywhere(
                deed, held, [&](unsigned nth) { steps::dieAt(nth, *grave); },
                [&] { steps.insert(grave->step.load()); });
        }
    }
    for (const char* step : {"object.opened", "object.first", "object.empty", "object.laid", "object.valid",
                             "object.joined", "object.closing", "mutex.taken"})
        EXPECT_TRUE(steps.contains(step)) << step;
}

TEST_F(KernelObjectKill, AtEachSystemCall) {
    constexpr const char* kCalls[] = {"openat",    "fcntl_lock", "fstat",    "fchmod", "ftruncate",
                                      "fallocate", "mmap",       "unlinkat", "linkat"};
    int points = 0;
    for (const bool held : {false, true}) {
        const Pipe ready;
        std::vector<Child> holder;
        if (held) {
            holder.push_back(startHolder(ready));
            ASSERT_TRUE(ready.await());
        }
        for (const Deed& deed : kDeeds)
            for (const char* call : kCalls) {
                if (deed.prepare != nullptr || (held && deed.run == createAgain))
                    continue; // nothing that the steps didn't show
                points +=
                    dieEverywhere(deed, held, [&](unsigned nth) { WdTestFailCall(call, static_cast<int>(nth), 0); });
            }
    }
    EXPECT_GT(points, 50);
}

// A dead process left the object looking whole. Creators find another at its file, who goes without laying it down
// anew: they must wait for the end of that, and not take the dead one's object for a living one.
TEST_F(KernelObjectKill, ADeadObjectIsNeverJoined) {
    for (const bool dies : {false, true}) {
        SCOPED_TRACE(dies);
        const Pipe held;
        Child holder = startHolder(held);
        ASSERT_TRUE(held.await());
        EXPECT_EQ(holder.kill(), kKilled);
        const Pipe atFile;
        const Pipe goOn;
        Child inTheWay([&] {
            const steps::At late("object.first", [&] {
                atFile.signal();
                goOn.await();
                if (dies)
                    kill(getpid(), SIGKILL);
            });
            return Handle(OpenFileMappingA(FILE_MAP_READ, FALSE, "map")) ? 1 : 0;
        });
        ASSERT_TRUE(atFile.await());
        Child creator([&] {
            const steps::At opened("object.opened", [&] { atFile.signal(); });
            const Handle mapping = makeMapping("map", kBytes);
            const DWORD error = GetLastError();
            const View<char> view = viewOf<char>(mapping, kBytes);
            return view != nullptr && error == ERROR_SUCCESS && view[0] == '\0' ? 0 : 1;
        });
        ASSERT_TRUE(atFile.await());
        std::this_thread::sleep_for(std::chrono::milliseconds(20)); // until it is refused the write lock
        goOn.signal();
        EXPECT_EQ(inTheWay.wait(), dies ? kKilled : 0);
        EXPECT_EQ(creator.wait(), 0);
    }
}

// The process table of a fresh home is laid down, and used, while another process is about to do the same.
TEST_F(KernelObjectKill, TheFirstUsersOfAHomeMayComeTogether) {
    const Pipe start;
    const Pipe laidDown;
    Child quick([&]() -> int {
        start.await();
        const Handle mutex = makeMutex("m");
        laidDown.signal();
        return mutex ? pause() : 1;
    });
    Child slow([&] {
        const steps::At late("processes.new", [&] {
            start.signal();
            laidDown.await();
        });
        return makeMutex("m") ? 0 : static_cast<int>(GetLastError());
    });
    EXPECT_EQ(slow.wait(), 0);
    EXPECT_EQ(quick.kill(), kKilled);
}

// Workers live one object after the other, together or alone, and check what must hold for each life of one.
class Lives {
  public:
    static constexpr unsigned kNames = 3;
    static constexpr unsigned kMost = 1000; // workers of one test

    enum Wrong { kFine, kCreatedTwice, kNotMade, kNotTaken, kNotAlone, kOvertaken, kNotReleased };

    // `worker`: its number, from 1.
    Wrong round(unsigned worker, std::mt19937& random) {
        const auto name = static_cast<unsigned>(random() % kNames);
        if (random() % 4 == 0) // one that nobody has loses its file, which others may be about to lock
            Handle(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, named("mutex", name).c_str())).reset();
        if (random() % 4 == 0)
            Handle(OpenFileMappingA(FILE_MAP_READ, FALSE, named("map", name).c_str())).reset();
        const Handle mapping = makeMapping(named("map", name).c_str(), sizeof(Memory));
        const bool created = GetLastError() == ERROR_SUCCESS;
        const View<Memory> memory = viewOf<Memory>(mapping);
        if (memory == nullptr)
            return notMade();
        if (created && memory[0].creators.fetch_add(1) != 0)
            return kCreatedTwice; // in one life, or with something left of the one before
        ++memory[0].users;
        return exclude(worker, name, random);
    }
    // Nobody has any of the objects.
    static bool allAreOver() {
        for (unsigned name = 0; name < kNames; ++name) {
            const Handle mapping = makeMapping(named("map", name).c_str(), sizeof(Memory));
            const bool first = GetLastError() == ERROR_SUCCESS;
            const Handle mutex = makeMutex(named("mutex", name).c_str());
            if (!mapping || !first || !mutex || GetLastError() != ERROR_SUCCESS)
                return false;
        }
        return true;
    }
    // To be said before a worker is killed.
    void expectDeath(unsigned worker) { m_state->dying[worker] = true; }

  private:
    struct Memory {
        std::atomic<std::uint32_t> creators, users;
    };
    struct State {
        std::array<std::atomic<unsigned>, kNames> inside;
        std::array<std::atomic<bool>, kMost> dying;
    };

    static Wrong notMade() {
        std::fprintf(stderr, "an object can't be made: error %u\n", GetLastError());
        return kNotMade;
    }
    static std::string named(const char* kind, unsigned number) { return kind + std::to_string(number); }

    Wrong exclude(unsigned worker, unsigned name, std::mt19937& random) {
        const Handle mutex = makeMutex(named("mutex", name).c_str(), true);
        const bool owned = GetLastError() == ERROR_SUCCESS;
        if (mutex == nullptr)
            return notMade();
        if (!owned) {
            const DWORD result = waitFor(mutex, INFINITE);
            if (result != WAIT_OBJECT_0 && result != WAIT_ABANDONED)
                return kNotTaken;
        }
        std::atomic<unsigned>& inside = m_state->inside[name];
        const unsigned before = inside.exchange(worker);
        if (before != 0 && !m_state->dying[before])
            return kNotAlone;
        if (random() % 4 == 0)
            std::this_thread::yield();
        unsigned self = worker;
        if (!inside.compare_exchange_strong(self, 0))
            return kOvertaken;
        // Else its close releases it.
        return random() % 2 == 0 || ReleaseMutex(mutex.get()) != FALSE ? kFine : kNotReleased;
    }

    Shared<State> m_state;
};

TEST_F(KernelObjectKill, RacesForTheSameNames) {
    constexpr unsigned kWorkers = 8;
    constexpr int kRounds = 1500;
    Lives lives;
    Pipe start;
    std::vector<Child> workers;
    for (unsigned worker = 1; worker <= kWorkers; ++worker)
        workers.emplace_back([&, worker] {
            start.closeSender();
            start.await();
            std::mt19937 random(worker);
            for (int i = 0; i < kRounds; ++i)
                if (const Lives::Wrong wrong = lives.round(worker, random))
                    return static_cast<int>(wrong);
            return 0;
        });
    start.closeSender();
    for (Child& worker : workers)
        EXPECT_EQ(worker.wait(), Lives::kFine);
    EXPECT_TRUE(Lives::allAreOver());
}

TEST_F(KernelObjectKill, AtRandom) {
    const char* given = getenv("WDLT_SEED");
    const unsigned seed = given != nullptr ? static_cast<unsigned>(std::stoul(given)) : std::random_device()();
    const char* count = getenv("WDLT_KILLS");
    const unsigned kills =
        std::min(count != nullptr ? static_cast<unsigned>(std::stoul(count)) : 300, Lives::kMost - 9);
    std::printf("seed %u, %u kills\n", seed, kills);
    std::fflush(stdout);
    constexpr unsigned kWorkers = 5;
    Lives lives;
    std::mt19937 random(seed);
    unsigned started = 0;
    struct Worker {
        unsigned number;
        Child process;
    };
    const auto start = [&] {
        const unsigned number = ++started;
        const auto own = static_cast<unsigned>(random());
        return Worker{number, Child([&lives, number, own] {
                          std::mt19937 numbers(own);
                          for (;;)
                              if (const Lives::Wrong wrong = lives.round(number, numbers))
                                  return static_cast<int>(wrong);
                      })};
    };
    std::vector<Worker> workers;
    for (unsigned i = 0; i < kWorkers; ++i)
        workers.push_back(start());
    for (unsigned i = 0; i < kills && !HasFailure(); ++i) {
        const struct timespec pause { 0, static_cast<long>(random() % 5'000'000) };
        nanosleep(&pause, nullptr);
        Worker& victim = workers[random() % kWorkers];
        lives.expectDeath(victim.number);
        EXPECT_EQ(victim.process.kill(), kKilled) << "a worker found something wrong before kill " << i;
        victim = start();
    }
    for (Worker& worker : workers) {
        lives.expectDeath(worker.number);
        EXPECT_EQ(worker.process.kill(), kKilled);
    }
    EXPECT_TRUE(Lives::allAreOver());
}

} // namespace
