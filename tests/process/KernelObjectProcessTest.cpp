// Kernel objects between processes: how long one exists, who gets what a killed process held, what a child of a fork
// has of its parent's, a full table of processes, a full disk.
#include <Child.h>
#include <Sanitizers.h>
#include <TestObject.h>

#include <gtest/gtest.h>

#include <platform/robust.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <sched.h>
#include <sys/mount.h>
#include <thread>

namespace {

namespace fs = std::filesystem;

constexpr int kKilled = Child::kSignal + SIGKILL;

class KernelObjectProcess : public testing::Test {
  protected:
    KernelObjectProcess() {
        useFreshHome();
        std::fflush(stdout); // before there are children with the same buffer
    }
};

Handle openMutex(const char* name) {
    return Handle(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, name));
}
Handle openEvent(const char* name) {
    return Handle(OpenEventA(EVENT_ALL_ACCESS, FALSE, name));
}
// Looks without a trace.
bool exists(const char* mutex) {
    return openMutex(mutex) != nullptr;
}

std::string program(const char* name) {
    return (fs::read_symlink("/proc/self/exe").parent_path() / name).string();
}
Child runProgram(const Pipe& told, const char* mutex, const char* how) {
    return Child::run({program("object_program"), std::to_string(told.sender()), mutex, how});
}
char received(const Pipe& pipe) {
    char byte = '-';
    pipe.receive(byte);
    return byte;
}

[[noreturn]] void pauseForever() {
    for (;;)
        pause();
}

TEST_F(KernelObjectProcess, AnObjectEndsWithItsLastLivingHolder) {
    for (const bool otherProgram : {false, true}) {
        const auto start = [&](const Pipe& told) {
            if (otherProgram)
                return runProgram(told, "m", "hold");
            return Child([&]() -> int {
                const Handle mutex = makeMutex("m");
                told.send(GetLastError() == ERROR_ALREADY_EXISTS ? 'j' : 'c');
                pauseForever();
            });
        };
        for (int round = 0; round < 3; ++round) {
            const Pipe told;
            EXPECT_FALSE(exists("m"));
            Child first = start(told);
            EXPECT_EQ(received(told), 'c');
            Child second = start(told);
            EXPECT_EQ(received(told), 'j');
            EXPECT_TRUE(exists("m"));
            (round % 2 == 0 ? first : second).kill();
            EXPECT_TRUE(exists("m"));
            const Handle third = makeMutex("m");
            EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
            (round % 2 == 0 ? second : first).kill();
            EXPECT_EQ(Child([] { return exists("m") ? 0 : 1; }).wait(), 0) << "this one has it still";
        }
    }
    EXPECT_FALSE(exists("m"));
}

TEST_F(KernelObjectProcess, AProgramThatEndsLeavesNoFiles) {
    const Pipe told;
    EXPECT_EQ(runProgram(told, "m", "end").wait(), 0);
    EXPECT_EQ(received(told), 'c');
    EXPECT_EQ(Child([]() -> int {
                  makeMutex("closed").reset();
                  makeMapping("closed too", 100).reset();
                  std::exit(0);
              }).wait(),
              0);
    // What nobody closed is left, and counts for nothing.
    EXPECT_LE(objectFiles().size(), 1u);
    EXPECT_FALSE(exists("m"));
    EXPECT_TRUE(objectFiles().empty());
}

// The process goes on, but it isn't the one that had the objects.
TEST_F(KernelObjectProcess, AProgramThatTakesAnothersPlaceHasNothingOfIts) {
    const Handle mutex = makeMutex("m");
    const Pipe told;
    for (const char* how : {"idle", "hold"}) {
        Child child([&] {
            const Handle own = openMutex("m");
            const Handle alone = makeMutex("alone");
            if (waitFor(own) != WAIT_OBJECT_0)
                return 1;
            const std::string path = program("object_program");
            const std::string sender = std::to_string(told.sender());
            return execl(path.c_str(), path.c_str(), sender.c_str(), "other", how, nullptr);
        });
        EXPECT_EQ(received(told), std::string_view(how) == "idle" ? 'i' : 'c');
        EXPECT_FALSE(exists("alone"));
        EXPECT_EQ(waitFor(mutex), WAIT_ABANDONED);
        EXPECT_TRUE(ReleaseMutex(mutex.get()));
        EXPECT_EQ(child.kill(), kKilled);
    }
}

TEST_F(KernelObjectProcess, WhatAKilledProcessHeldIsToldOnceWithOwnership) {
    constexpr int kWaiters = 4;
    struct Seen {
        std::atomic<int> inside, overlaps, abandoned, plain;
    };
    const Shared<Seen> seen;
    const Handle mutex = makeMutex("m");
    const Pipe held;
    Child holder([&]() -> int {
        waitFor(mutex);
        waitFor(mutex);
        held.signal();
        pauseForever();
    });
    ASSERT_TRUE(held.await());
    EXPECT_EQ(waitFor(mutex), WAIT_TIMEOUT) << "its holder lives";
    const Pipe waiting;
    std::vector<Child> waiters;
    for (int i = 0; i < kWaiters; ++i)
        waiters.emplace_back([&] {
            const Handle own = openMutex("m");
            waiting.signal();
            const DWORD result = waitFor(own, INFINITE);
            if (seen->inside.fetch_add(1) != 0)
                ++seen->overlaps;
            ++(result == WAIT_ABANDONED ? seen->abandoned : seen->plain);
            std::this_thread::yield();
            --seen->inside;
            return result == WAIT_FAILED || ReleaseMutex(own.get()) == FALSE ? 1 : 0;
        });
    for (int i = 0; i < kWaiters; ++i)
        EXPECT_TRUE(waiting.await());
    EXPECT_EQ(holder.kill(), kKilled);
    for (Child& waiter : waiters)
        EXPECT_EQ(waiter.wait(), 0);
    EXPECT_EQ(seen->overlaps, 0);
    EXPECT_EQ(seen->abandoned, 1);
    EXPECT_EQ(seen->plain, kWaiters - 1);
}

TEST_F(KernelObjectProcess, AHolderThatEndsOrClosesIsNoDeadOne) {
    const Handle mutex = makeMutex("m");
    EXPECT_EQ(Child([&] { return waitFor(mutex) == WAIT_OBJECT_0 ? CloseHandle(mutex.get()) - 1 : 2; }).wait(), 0);
    EXPECT_EQ(waitFor(mutex), WAIT_OBJECT_0) << "the last close of a process releases";
    EXPECT_TRUE(ReleaseMutex(mutex.get()));
    EXPECT_EQ(Child([&] { return waitFor(mutex) == WAIT_OBJECT_0 ? 0 : 2; }).wait(), 0);
    EXPECT_EQ(waitFor(mutex), WAIT_ABANDONED) << "its end doesn't";
}

TEST_F(KernelObjectProcess, ExcludeCountAndHandOver) {
    constexpr int kProcesses = 6;
    constexpr int kRounds = 1000;
    constexpr LONG kPlaces = 2;
    struct Seen {
        std::atomic<int> places, tooMany;
    };
    const Shared<Seen> seen;
    const Handle mapping = makeMapping("map", sizeof(long));
    const View<long> count = viewOf<long>(mapping);
    const Handle places = makeSemaphore("places", kPlaces, kPlaces);
    Pipe start;
    std::vector<Child> children;
    for (int i = 0; i < kProcesses; ++i)
        children.emplace_back([&] {
            start.closeSender();
            start.await();
            const Handle guard = makeMutex("guard");
            const Handle token = makeEvent("token", false, true);
            const Handle own = makeMapping("map", sizeof(long));
            const View<long> memory = viewOf<long>(own);
            for (int round = 0; round < kRounds; ++round) {
                if (waitFor(places, INFINITE) != WAIT_OBJECT_0)
                    return 1;
                if (++seen->places > kPlaces)
                    ++seen->tooMany;
                const bool byToken = round % 2 == 0;
                if (waitFor(guard, INFINITE) != WAIT_OBJECT_0 || (byToken && waitFor(token) != WAIT_OBJECT_0))
                    return 2;
                const long before = memory[0];
                std::this_thread::yield();
                memory[0] = before + 1;
                if (byToken)
                    SetEvent(token.get());
                if (ReleaseMutex(guard.get()) == FALSE)
                    return 3;
                --seen->places;
                if (ReleaseSemaphore(places.get(), 1, nullptr) == FALSE)
                    return 4;
            }
            return 0;
        });
    start.closeSender();
    for (Child& child : children)
        EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(count[0], kProcesses * kRounds);
    EXPECT_EQ(seen->tooMany, 0);
}

TEST_F(KernelObjectProcess, TwoProcessesPassATurnToAndFro) {
    constexpr int kRounds = 2000;
    const auto begin = std::chrono::steady_clock::now();
    const Handle there = makeEvent("there", false, false);
    const Handle back = makeEvent("back", false, false);
    Child partner([] {
        const Handle turn = openEvent("there");
        const Handle answer = openEvent("back");
        for (int i = 0; i < kRounds; ++i)
            if (waitFor(turn, INFINITE) != WAIT_OBJECT_0 || SetEvent(answer.get()) == FALSE)
                return 1;
        return 0;
    });
    for (int i = 0; i < kRounds; ++i) {
        SetEvent(there.get());
        EXPECT_EQ(waitFor(back, INFINITE), WAIT_OBJECT_0);
    }
    EXPECT_EQ(partner.wait(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(100) * kRounds / 20)
        << "every twentieth round waited for a look";
}

TEST_F(KernelObjectProcess, MemoryIsOneForAll) {
    constexpr std::size_t kBytes = 300'000;
    const Handle mapping = makeMapping("map", kBytes);
    const View<char> view = viewOf<char>(mapping);
    view[0] = 'p';
    EXPECT_EQ(Child([] {
                  const Handle smaller = makeMapping("map", 1);
                  const View<char> memory = viewOf<char>(smaller, kBytes);
                  if (memory == nullptr || memory[0] != 'p')
                      return 1;
                  memory[kBytes - 1] = 'c';
                  if (makeMapping("map", kBytes + 1) || GetLastError() != ERROR_ACCESS_DENIED)
                      return 2;
                  return 0;
              }).wait(),
              0);
    EXPECT_EQ(view[kBytes - 1], 'c');
}

// Several copies of the layer would undo each other's locks.
TEST_F(KernelObjectProcess, ASecondCopyOfTheLayerIsRefused) {
    const Handle mutex = makeMutex("m", true);
    const WD_TAG own = WdOwnTag(WD_ROLE_ALONE);
    const fs::path copy = TestHome::instance().path() / "libCopy.so";
    fs::copy_file(fs::canonical(program("libWdltPlatform.so")), copy);
    void* const layer = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(layer, nullptr) << dlerror();
    const auto createInCopy = reinterpret_cast<decltype(&CreateMutexA)>(dlsym(layer, "CreateMutexA"));
    ASSERT_NE(createInCopy, nullptr);
    ASSERT_NE(createInCopy, &CreateMutexA) << "no copy at all";
    for (int attempt = 0; attempt < 3; ++attempt) {
        SetLastError(0);
        EXPECT_EQ(createInCopy(nullptr, FALSE, "m"), nullptr);
        EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    }
    EXPECT_EQ(
        Child([own] { return WdTagIsAlive(own) == TRUE && waitFor(openMutex("m"), 1) == WAIT_TIMEOUT ? 0 : 1; }).wait(),
        0)
        << "the first copy goes on";
}

// The place for objects on a disk that is really full.
TEST_F(KernelObjectProcess, AFullDiskIsToldAndSparesWhatIsThere) {
    const fs::path disk = TestHome::instance().path() / "disk";
    fs::create_directory(disk);
    const int status = Child([&] {
                           if (unshare(CLONE_NEWNS) != 0 || mount("", "/", "", MS_PRIVATE | MS_REC, nullptr) != 0 ||
                               mount("disk", disk.c_str(), "tmpfs", 0, "size=512k") != 0)
                               return 77;
                           setenv("WARDLET_HOME", (disk / "home").c_str(), 1);
                           WdTestRereadEnvironment();
                           Everybody everybody;
                           const auto usersLock = [&] { return makeMutex("lock", false, everybody.get()); };
                           if (Child([&] { return usersLock() ? 0 : 1; }).wait() != 0)
                               return 4;
                           const Handle mapping = makeMapping("map", 4096);
                           const View<char> view = viewOf<char>(mapping);
                           if (view == nullptr || makeMapping("large", 1 << 20) || GetLastError() != ERROR_DISK_FULL)
                               return 1;
                           std::vector<Handle> all;
                           for (int i = 0; all.empty() || all.back(); ++i)
                               all.push_back(makeMutex(std::to_string(i).c_str()));
                           if (GetLastError() != ERROR_DISK_FULL)
                               return 2;
                           if (!usersLock())
                               return 5; // its file has stayed, and needs no room
                           std::memset(view.get(), 'x', 4096);
                           all.clear();
                           return objectFiles().size() <= 34 && makeMapping("small", 100) ? 0 : 3;
                       }).wait();
    if (status == 77)
        GTEST_SKIP() << "no right to mount a small disk";
    EXPECT_EQ(status, 0);
}

} // namespace
