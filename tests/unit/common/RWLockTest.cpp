// The reader/writer lock between threads: writers alone, readers together, no token lost on the way.
#include "RWLock.h"

#include <gtest/gtest.h>

#include <barrier>
#include <thread>
#include <vector>

namespace {

TEST(RWLock, NeedsAName) {
    CWdRWLockEx lock;
    EXPECT_FALSE(lock.Initialize(""));
    EXPECT_FALSE(lock.Initialize(nullptr));
    EXPECT_TRUE(lock.Initialize("name"));
}

TEST(RWLock, WritersExcludeEverybody) {
    constexpr int kRounds = 5'000;
    CWdRWLockEx lock;
    ASSERT_TRUE(lock.Initialize("test"));
    long first = 0; // plain numbers that only the lock keeps equal
    long second = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                const CWdRWWriteLock hold(&lock);
                ++first;
                ++second;
            }
        });
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                const CWdRWReadLock hold(&lock);
                ASSERT_EQ(first, second);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(first, 2 * kRounds);
}

// Nested reads are allowed, but clang's analysis doesn't know locks of that kind.
void readTwice(CWdRWLock& lock, std::barrier<>& inside) WD_NO_THREAD_SAFETY_ANALYSIS {
    lock.LockRead();
    inside.arrive_and_wait();
    lock.LockRead();
    lock.UnlockRead();
    lock.UnlockRead();
}

TEST(RWLock, ReadersHoldItTogetherAndTwice) {
    constexpr int kReaders = 3;
    CWdRWLockEx lock;
    ASSERT_TRUE(lock.Initialize("test"));
    std::barrier inside(kReaders); // passed only when all are inside at once
    std::vector<std::thread> readers;
    for (int i = 0; i < kReaders; ++i)
        readers.emplace_back([&] { readTwice(lock, inside); });
    for (std::thread& reader : readers)
        reader.join();
    const CWdRWWriteLock hold(&lock); // the readers have given the token back
}

} // namespace
