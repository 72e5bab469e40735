// The reader/writer locks between threads: writers are exclusive, readers shared, no token is lost, and failures are
// logged. tests/process tests them between processes.
#include "RWLock.h"
#include "LayerDoubles.h"
#include "LockMemory.h"
#include "LogFile.h"
#include "TestObject.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <platform/robust.h>
#include <platform/testing.h>
#include <platform/win32.h>

#include <barrier>
#include <cerrno>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::Contains;
using testing::Each;

std::unique_ptr<CWdRWLock> makeShared() {
    auto lock = std::make_unique<CWdRWLockEx>();
    EXPECT_TRUE(lock->Initialize("test"));
    return lock;
}

TEST(RWLock, WritersExcludeEverybody) {
    constexpr int kRounds = 5'000;
    const auto lock = makeShared();
    long first = 0; // not atomic: only the lock keeps both equal
    long second = 0;
    std::vector<std::jthread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                const CWdRWWriteLock hold(lock.get());
                ++first;
                ++second;
            }
        });
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                const CWdRWReadLock hold(lock.get());
                ASSERT_EQ(first, second);
            }
        });
    }
    threads.clear();
    EXPECT_EQ(first, 2 * kRounds);
}

// Nested reads are allowed, but clang's thread-safety analysis doesn't support them.
void readTwice(CWdRWLock& lock, std::barrier<>& inside) WD_NO_THREAD_SAFETY_ANALYSIS {
    lock.LockRead();
    inside.arrive_and_wait();
    lock.LockRead();
    lock.UnlockRead();
    lock.UnlockRead();
}

TEST(RWLock, ReadersHoldItTogetherAndTwice) {
    constexpr int kReaders = 3;
    const auto lock = makeShared();
    std::barrier inside(kReaders); // passed only when all are inside at once
    std::vector<std::jthread> readers;
    readers.reserve(kReaders);
    for (int i = 0; i < kReaders; ++i)
        readers.emplace_back([&] { readTwice(*lock, inside); });
    readers.clear();
    const CWdRWWriteLock hold(lock.get()); // the readers have released the token
}

// Two objects in one process share the lock like two processes; destroying one takes nothing from the other.
TEST(RWLock, ObjectsOfOneNameAreOneLock) {
    const auto first = makeShared();
    const LockMemory memory("test");
    const CWdRWReadLock hold(first.get());
    auto second = makeShared();
    { const CWdRWReadLock alsoHold(second.get()); }
    second.reset();
    EXPECT_EQ(memory.count(), 1u);
    EXPECT_EQ(memory.readsInRows(), 1u);
    EXPECT_EQ(memory.taker(), WD_GROUP_TAG);
}

// A reader that joins while the creator is still setting up the lock's memory may enter before the creator goes on.
TEST(RWLock, AReaderBetweenTheCreatorsStepsIsntForgotten) {
    for (const char* memoryName : {"_RW_MEMORY", "_RW_HOLDERS"}) {
        SCOPED_TRACE(memoryName);
        CWdRWLockEx joined;
        std::optional<CWdRWReadLock> hold;
        const layer_doubles::WhenMappingIsMade made(memoryName, [&] {
            ASSERT_TRUE(joined.Initialize("test"));
            hold.emplace(&joined);
        });
        const auto creator = makeShared();
        const LockMemory memory("test");
        EXPECT_TRUE(hold.has_value());
        EXPECT_EQ(memory.count(), 1u);
        EXPECT_EQ(memory.readsInRows(), 1u);
        hold.reset();
    }
}

TEST(RWLock, WhatCantBeMadeFailsWithALine) {
    const struct {
        const char* taken; // by an object of another kind
        const char* line;
    } cases[] = {
        {"_RW_MUTEX", "!!! Failed to create mutex: 6"},
        {"_RW_EVENT", "!!! Failed to create event: 6"},
        {"_RW_MEMORY", "!!! Failed to create shared memory: 6"},
        {"_RW_HOLDERS", "!!! Failed to create shared memory: 6"},
    };
    for (const auto& [taken, line] : cases) {
        SCOPED_TRACE(taken);
        const LogFile log(256);
        const std::string name = std::string("Global\\test").append(taken);
        const Handle other = makeSemaphore(name.c_str(), 1, 1);
        EXPECT_FALSE(CWdRWLockEx().Initialize("test"));
        EXPECT_THAT(log.messages(), Contains(line));
    }
}

// A scope that failed to lock must not release anything: neither another's token nor another thread's read lock.
void refuseScopes(CWdRWLock* lock) WD_NO_THREAD_SAFETY_ANALYSIS {
    HANDLE const token = OpenEventA(EVENT_ALL_ACCESS, FALSE, "Global\\test_RW_EVENT");
    lock->LockWrite();
    ASSERT_TRUE(WdTestFailCall("futex_wait", 1, 22));
    { const CWdRWWriteLock refused(lock); }
    ASSERT_TRUE(WdTestFailCall("futex_wait", 1, 22));
    EXPECT_FALSE(lock->LockRead()); // and isn't inside together with the writer
    WdTestFailCall("futex_wait", 0, 0);
    EXPECT_EQ(WaitForSingleObject(token, 0), WAIT_TIMEOUT);
    lock->UnlockWrite();

    lock->LockRead();
    {
        ASSERT_TRUE(WdTestFailCall("mmap", 1, ENOMEM));
        const CWdRWReadLock refused(lock);
        WdTestFailCall("mmap", 0, 0);
    }
    EXPECT_EQ(WaitForSingleObject(token, 0), WAIT_TIMEOUT);
    lock->UnlockRead();
    EXPECT_EQ(WaitForSingleObject(token, 0), WAIT_OBJECT_0);
    CloseHandle(token);
}
TEST(RWLock, AScopeWithoutTheLockGivesNothingAway) {
    refuseScopes(makeShared().get());
}

TEST(RWLock, WithoutItsObjectsItLogsAndGoesOn) {
    CWdRWLockEx lock;
    const LogFile log(256);
    { const CWdRWWriteLock hold(&lock); }
    { const CWdRWReadLock hold(&lock); }
    EXPECT_THAT(log.messages(), Each("!!! ::WaitForSingleObject() failed (err=6)"));
    EXPECT_GE(log.messages().size(), 2u);
}

} // namespace
