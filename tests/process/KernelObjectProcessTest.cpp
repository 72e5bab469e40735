// Kernel objects between processes: how long one exists, who gets what a killed process held, whose file is removed, a
// second copy of the layer, a full disk.
#include <Child.h>
#include <Sanitizers.h>
#include <TestObject.h>

#include <gtest/gtest.h>

#include <platform/robust.h>

#include <atomic>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <sched.h>
#include <sys/mount.h>
#include <thread>

namespace {

namespace fs = std::filesystem;

class KernelObjectProcess : public testing::Test {
  protected:
    KernelObjectProcess() { useFreshHome(); }
};

Handle openMutex(const char* name) {
    return Handle(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, name));
}
// Looks without a trace.
bool exists(const char* mutex) {
    return openMutex(mutex) != nullptr;
}

std::string program(const char* name) {
    return (fs::read_symlink("/proc/self/exe").parent_path() / name).string();
}
// Another program that makes the mutex.
std::vector<std::string> words(const Pipe& told, const char* mutex, const char* how) {
    return {program("object_program"), std::to_string(told.sender()), mutex, how};
}
char received(const Pipe& pipe) {
    char byte = '-';
    pipe.receive(byte);
    return byte;
}

TEST_F(KernelObjectProcess, AnObjectEndsWithItsLastLivingHolder) {
    for (const bool firstGoes : {false, true}) {
        const Pipe told;
        EXPECT_FALSE(exists("m"));
        Child first = Child::run(words(told, "m", "hold"));
        EXPECT_EQ(received(told), 'c');
        Child second = Child::run(words(told, "m", "hold"));
        EXPECT_EQ(received(told), 'j');
        (firstGoes ? first : second).kill();
        EXPECT_TRUE(exists("m"));
        const Handle third = makeMutex("m");
        EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
        (firstGoes ? second : first).kill();
        inChild([] { EXPECT_TRUE(exists("m")) << "this one has it still"; });
    }
    EXPECT_FALSE(exists("m"));
}

TEST_F(KernelObjectProcess, AProgramThatEndsLeavesNoFiles) {
    const Pipe told;
    EXPECT_EQ(Child::run(words(told, "m", "end")).wait(), 0);
    EXPECT_EQ(received(told), 'c');
    inChild([] {
        makeMutex("closed").reset();
        makeMapping("closed too", 100).reset();
        std::exit(0);
    });
    EXPECT_LE(objectFiles().size(), 1u); // what nobody closed is left, and counts for nothing
    EXPECT_FALSE(exists("m"));
    EXPECT_TRUE(objectFiles().empty());
}

// The process goes on, but it isn't the one that had the objects.
TEST_F(KernelObjectProcess, AProgramThatTakesAnothersPlaceHasNothingOfIts) {
    const Handle mutex = makeMutex("m");
    const Pipe told;
    for (const auto& [how, sent] : {std::pair("idle", 'i'), std::pair("hold", 'c')}) {
        Child child([&, how = how] {
            const Handle alone = makeMutex("alone");
            EXPECT_EQ(waitFor(mutex), WAIT_OBJECT_0);
            const auto all = words(told, "other", how);
            execl(all[0].c_str(), all[0].c_str(), all[1].c_str(), all[2].c_str(), how, nullptr);
        });
        EXPECT_EQ(received(told), sent);
        EXPECT_FALSE(exists("alone"));
        EXPECT_EQ(waitFor(mutex), WAIT_ABANDONED);
        EXPECT_TRUE(ReleaseMutex(mutex.get()));
        EXPECT_EQ(child.kill(), Child::kKilled);
    }
}

TEST_F(KernelObjectProcess, WhatAKilledProcessHeldIsToldOnceWithOwnership) {
    constexpr int kWaiters = 4;
    struct Seen {
        std::atomic<int> waiting, abandoned, plain;
    };
    const Shared<Seen> seen;
    const Handle mutex = makeMutex("m");
    Child holder = childWith([&] { return waitFor(mutex) + waitFor(mutex); });
    EXPECT_EQ(waitFor(mutex), WAIT_TIMEOUT) << "its holder lives";
    std::vector<Child> waiters;
    for (int i = 0; i < kWaiters; ++i)
        waiters.emplace_back([&] {
            const Handle own = openMutex("m");
            ++seen->waiting;
            const DWORD result = waitFor(own, INFINITE);
            ++(result == WAIT_ABANDONED ? seen->abandoned : seen->plain);
            EXPECT_TRUE(ReleaseMutex(own.get()));
        });
    while (seen->waiting < kWaiters)
        std::this_thread::yield();
    holder.kill();
    for (Child& waiter : waiters)
        EXPECT_EQ(waiter.wait(), 0);
    EXPECT_EQ(seen->abandoned, 1);
    EXPECT_EQ(seen->plain, kWaiters - 1);
}

// The last close of a process releases all that it took; its end doesn't.
TEST_F(KernelObjectProcess, AHolderThatClosesIsNoDeadOne) {
    const Handle mutex = makeMutex("m");
    for (const auto& [times, closes] : {std::pair(1, true), std::pair(2, true), std::pair(1, false)}) {
        inChild([&, times = times, closes = closes] {
            for (int i = 0; i < times; ++i)
                EXPECT_EQ(waitFor(mutex), WAIT_OBJECT_0);
            EXPECT_TRUE(!closes || CloseHandle(mutex.get()));
            // And lives on for a look.
            inChild([closes] { EXPECT_EQ(waitFor(openMutex("m")), closes ? WAIT_OBJECT_0 : WAIT_TIMEOUT); });
        });
        EXPECT_EQ(waitFor(mutex), closes ? WAIT_OBJECT_0 : WAIT_ABANDONED);
        EXPECT_TRUE(ReleaseMutex(mutex.get()));
    }
}

TEST_F(KernelObjectProcess, TheyExcludeAndCount) {
    constexpr int kProcesses = 6;
    constexpr int kRounds = 1000;
    constexpr LONG kPlaces = 2;
    struct Seen {
        std::atomic<int> inPlaces, tooMany;
        long count;
    };
    const Shared<Seen> seen;
    const Handle places = makeSemaphore("places", kPlaces, kPlaces);
    Pipe start;
    std::vector<Child> children;
    for (int i = 0; i < kProcesses; ++i)
        children.emplace_back([&] {
            start.closeSender();
            start.await();
            const Handle guard = makeMutex("guard");
            for (int round = 0; round < kRounds; ++round) {
                EXPECT_EQ(waitFor(places, INFINITE), WAIT_OBJECT_0);
                seen->tooMany += ++seen->inPlaces > kPlaces;
                EXPECT_EQ(waitFor(guard, INFINITE), WAIT_OBJECT_0);
                const long before = seen->count;
                std::this_thread::yield();
                seen->count = before + 1;
                EXPECT_TRUE(ReleaseMutex(guard.get()));
                --seen->inPlaces;
                EXPECT_TRUE(ReleaseSemaphore(places.get(), 1, nullptr));
            }
        });
    start.closeSender();
    for (Child& child : children)
        EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(seen->count, kProcesses * kRounds);
    EXPECT_EQ(seen->tooMany, 0);
}

// Were a sleeper not woken, each turn would last until its next look.
TEST_F(KernelObjectProcess, TwoProcessesPassATurnToAndFro) {
    const Handle there = makeEvent("there", false, false);
    const Handle back = makeEvent("back", false, false);
    const auto pass = [](const Handle& first, const Handle& second, int rounds) {
        for (int i = 0; i < rounds; ++i) {
            EXPECT_EQ(waitFor(first, INFINITE), WAIT_OBJECT_0);
            SetEvent(second.get());
        }
    };
    Child partner([&] { pass(there, back, 2000); });
    SetEvent(there.get());
    pass(back, there, 2000);
    EXPECT_EQ(partner.wait(), 0);
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
    ASSERT_TRUE(createInCopy != nullptr && createInCopy != &CreateMutexA) << "no copy at all";
    for (int attempt = 0; attempt < 3; ++attempt) {
        SetLastError(0);
        EXPECT_EQ(createInCopy(nullptr, FALSE, "m"), nullptr);
        EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    }
    inChild([own] { EXPECT_TRUE(WdTagIsAlive(own) && waitFor(openMutex("m"), 1) == WAIT_TIMEOUT); });
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
                           inChild([&] { EXPECT_TRUE(makeMutex("users'", false, everybody.get())); });
                           const Handle mapping = makeMapping("map", 4096);
                           const View<char> view = viewOf<char>(mapping);
                           EXPECT_NE(view, nullptr);
                           EXPECT_FALSE(makeMapping("large", 1 << 20));
                           EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
                           std::vector<Handle> all;
                           for (int i = 0; all.empty() || all.back(); ++i)
                               all.push_back(makeMutex(std::to_string(i).c_str()));
                           EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
                           EXPECT_TRUE(makeMutex("users'", false, everybody.get())) << "its file has stayed";
                           std::memset(view.get(), 'x', 4096);
                           all.clear();
                           EXPECT_LE(objectFiles().size(), 34u);
                           EXPECT_TRUE(makeMapping("small", 100));
                           std::fflush(stdout);
                           return HasFailure() ? 1 : 0;
                       }).wait();
    if (status == 77)
        GTEST_SKIP() << "no right to mount a small disk";
    EXPECT_EQ(status, 0);
}

} // namespace
