// Kernel objects between processes: their lifetime, who gets what a killed process held, when files are removed, a
// second copy of the layer, a full disk.
#include <Child.h>
#include <Sanitizers.h>
#include <TestObject.h>

#include <gtest/gtest.h>

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

// Checks without keeping the mutex open.
bool exists(const char* mutex) {
    return openMutex(mutex) != nullptr;
}

std::string program(const char* name) {
    return (fs::read_symlink("/proc/self/exe").parent_path() / name).string();
}

TEST_F(KernelObjectProcess, AnObjectEndsWithItsLastLivingHolder) {
    for (const bool firstGoes : {false, true}) {
        EXPECT_FALSE(exists("m"));
        Child first = childWith([] { return makeMutex("m"); });
        Child second = childWith([] { return makeMutex("m"); });
        (firstGoes ? first : second).kill();
        EXPECT_TRUE(exists("m"));
        const Handle third = makeMutex("m");
        EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
        (firstGoes ? second : first).kill();
        EXPECT_TRUE(exists("m")) << "this one has it still";
    }
    inChild([] {
        makeMutex("closed").reset();
        std::exit(0);
    });
    EXPECT_LE(objectFiles().size(), 1u) << "what nobody closed is left, and counts for nothing";
    EXPECT_FALSE(exists("m"));
    EXPECT_TRUE(objectFiles().empty());
}

// After exec the process goes on, but no longer has the objects.
TEST_F(KernelObjectProcess, AProgramThatTakesAnothersPlaceHasNothingOfIts) {
    const Handle mutex = makeMutex("m");
    const Pipe told;
    for (const char* made : {"", "other"}) {
        Child child([&] {
            const Handle alone = makeMutex("alone");
            EXPECT_EQ(waitFor(mutex), WAIT_OBJECT_0);
            execl(program("object_program").c_str(), "", std::to_string(told.sender()).c_str(), made, nullptr);
        });
        EXPECT_TRUE(told.await());
        EXPECT_FALSE(exists("alone"));
        EXPECT_EQ(exists("other"), *made != '\0');
        EXPECT_EQ(waitFor(mutex), WAIT_ABANDONED);
        EXPECT_TRUE(ReleaseMutex(mutex.get()));
        EXPECT_EQ(child.kill(), Child::kKilled);
    }
}

TEST_F(KernelObjectProcess, WhatAKilledProcessHeldIsToldOnceWithOwnership) {
    const Shared<std::atomic<int>> waiting;
    const Handle mutex = makeMutex("m");
    Child holder = childWith([&] { return waitFor(mutex) + waitFor(mutex); });
    EXPECT_EQ(waitFor(mutex), WAIT_TIMEOUT) << "its holder lives";
    std::vector<Child> waiters;
    for (int i = 0; i < 4; ++i)
        waiters.emplace_back([&] {
            ++*waiting;
            const DWORD result = waitFor(mutex, INFINITE);
            return ReleaseMutex(mutex.get()) ? result == WAIT_ABANDONED : 100;
        });
    while (*waiting < 4)
        std::this_thread::yield();
    holder.kill();
    int abandoned = 0;
    for (Child& waiter : waiters)
        abandoned += waiter.wait();
    EXPECT_EQ(abandoned, 1);
}

// If sleepers weren't woken, each turn would take until the sleeper's next look.
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

// Two copies of the layer in one process would release each other's file locks.
TEST_F(KernelObjectProcess, ASecondCopyOfTheLayerIsRefused) {
    const Handle mutex = makeMutex("m", true);
    const fs::path copy = TestHome::instance().path() / "libCopy.so";
    fs::copy_file(fs::canonical(program("libWdltPlatform.so")), copy);
    void* const layer = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(layer, nullptr) << dlerror();
    const auto createInCopy = reinterpret_cast<decltype(&CreateMutexA)>(dlsym(layer, "CreateMutexA"));
    ASSERT_TRUE(createInCopy != nullptr && createInCopy != &CreateMutexA) << "no copy at all";
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_EQ(createInCopy(nullptr, FALSE, "m"), nullptr);
        EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    }
    inChild([] { EXPECT_EQ(waitFor(openMutex("m")), WAIT_TIMEOUT); });
}

// The objects' folder is on a disk that is really full.
TEST_F(KernelObjectProcess, AFullDiskIsToldAndSparesWhatIsThere) {
    const fs::path disk = TestHome::instance().path() / "disk";
    fs::create_directory(disk);
    const Shared<std::atomic<bool>> isMounted;
    inChild([&] {
        *isMounted = unshare(CLONE_NEWNS) == 0 && mount("", "/", "", MS_PRIVATE | MS_REC, nullptr) == 0 &&
                     mount("disk", disk.c_str(), "tmpfs", 0, "size=512k") == 0;
        if (!*isMounted)
            return;
        setenv("WARDLET_HOME", (disk / "home").c_str(), 1);
        WdTestRereadEnvironment();
        const Handle mapping = makeMapping("map", 4096);
        const View<char> view = viewOf<char>(mapping);
        ASSERT_NE(view, nullptr);
        EXPECT_FALSE(makeMapping("large", 1 << 20));
        EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
        std::vector<Handle> all;
        for (int i = 0; all.empty() || all.back(); ++i)
            all.push_back(makeMutex(std::to_string(i).c_str()));
        EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
        std::memset(view.get(), 'x', 4096);
        all.clear();
        EXPECT_TRUE(makeMapping("small", 100));
    });
    if (!*isMounted)
        GTEST_SKIP() << "no right to mount a small disk";
}

} // namespace
