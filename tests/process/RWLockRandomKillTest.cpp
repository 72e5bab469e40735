// Processes that read, nest and write are killed at random instants and at random steps, while a check independent of
// the lock detects whether a writer was ever inside with anybody else. Uses several locks at once, since most of the
// time is spent asleep, and if possible two users, who create and close the objects at the same time.
#include "LockMemory.h"
#include "LockSteps.h"
#include "RWLock.h"
#include "Workers.h"

#include <cstdint>
#include <memory>
#include <sched.h>
#include <string>

namespace {

constexpr std::size_t kLocks = 8;
constexpr std::size_t kPerLock = 4; // processes

enum State : std::uint32_t { kOutside, kReading, kWriting };

// The state that each process claims to be in. A process sets it after taking the lock and resets it before the
// release, and each time looks at all others': of two that are inside together at least one sees the other, since all
// accesses are sequentially consistent. The claim of a process that is about to be killed no longer counts.
struct Board {
    std::atomic<std::uint64_t> said[kLocks * kPerLock]; // life and state
};

class Worker {
  public:
    Worker(Board& board, const Life& life)
        : m_board(board), m_life(life), m_name("random" + std::to_string(life.place / kPerLock)), m_random(life.seed) {}

    void run() {
        EXPECT_TRUE(geteuid() != 0 || m_life.place % 2 == 0 || becomeUser(kOneUser, kNoGroup));
        do {
            if (m_random() % 32 == 0) {
                m_life.expectEnd();
                steps::dieAt(1 + static_cast<unsigned>(m_random() % 80), *m_grave); // within a few rounds
            }
            if (m_lock == nullptr || m_random() % 16 == 0) {
                m_lock.reset();
                m_lock = std::make_unique<CWdRWLockEx>();
                ASSERT_TRUE(m_lock->Initialize(m_name.c_str()));
            }
            m_random() % 4 != 0 ? read(static_cast<unsigned>(m_random() % 3), kOutside) : write();
        } while (m_life.goesOn());
    }

  private:
    void write() {
        const CWdRWWriteLock hold(m_lock.get());
        stay(kWriting);
        say(kOutside);
    }
    void read(unsigned nested, State behind) {
        const CWdRWReadLock hold(m_lock.get());
        stay(kReading);
        if (nested == 2)
            read(0, kReading);
        say(behind);
    }
    // Gives others a chance to enter.
    void stay(State state) {
        say(state);
        sched_yield();
        say(state);
    }
    void say(State state) {
        m_board.said[m_life.place] = m_life.mark() << 2 | state;
        const std::size_t first = m_life.place / kPerLock * kPerLock;
        for (std::size_t other = first; other < first + kPerLock; ++other) {
            const std::uint64_t word = m_board.said[other];
            const bool together = state == kWriting ? word % 4 != kOutside : state == kReading && word % 4 == kWriting;
            EXPECT_FALSE(other != m_life.place && together && !m_life.isOver(word >> 2)) << "a writer isn't alone";
        }
    }

    Board& m_board;
    const Life& m_life;
    const std::string m_name;
    std::mt19937 m_random;
    std::unique_ptr<CWdRWLockEx> m_lock;
    const Shared<steps::Grave> m_grave;
};

TEST(RWLockRandomKills, NobodyIsRobbedAndNobodyWaitsForEver) {
    const Seed seed;
    std::filesystem::permissions(TestHome::instance().path(), std::filesystem::perms(0755)); // for the other user
    CWdRWLockEx().Initialize("the home is there");
    const Shared<Board> board;
    {
        Workers workers(kLocks * kPerLock, seed, [&](const Life& life) { Worker(*board, life).run(); });
        workers.killAtRandom(wantedKills(), std::chrono::milliseconds(2));
    }
    for (std::size_t i = 0; i < kLocks; ++i) {
        const std::string name = "random" + std::to_string(i);
        CWdRWLockEx lock;
        ASSERT_TRUE(lock.Initialize(name.c_str()));
        { const CWdRWReadLock hold(&lock); }
        { const CWdRWWriteLock hold(&lock); }
        EXPECT_TRUE(LockMemory(name).isAtRest()) << name;
    }
}

} // namespace
