// Processes that read, nest and write are ended at random instants and at random steps, while a checker beside the lock
// sees whether a writer was ever inside with anybody else. Several locks at once, since most of the time is spent
// asleep.
#include "Child.h"
#include "LockMemory.h"
#include "LockSteps.h"
#include "RWLock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <optional>
#include <random>
#include <sched.h>
#include <string>
#include <vector>

namespace {

// Who says to be inside. A worker tells it after the lock is taken and takes it back before it is let go, and then
// looks at all others: of two that are inside together at least one sees the other. All of it is sequentially
// consistent.
class Checker {
  public:
    enum State : std::uint32_t { kOutside, kReading, kWriting };
    static constexpr std::size_t kWorkers = 4;

    // Each process that works in a slot has a life of its own, which is over when it is to be killed: what it said to
    // be counts no longer.
    struct Slot {
        std::atomic<std::uint64_t> said{0}; // life and state
        std::atomic<std::uint64_t> over{0}; // the last life that is
        std::atomic<unsigned> stepsLeft{0}; // an order to die
        std::atomic<unsigned> rounds{0};
    };

    Slot& slot(std::size_t worker) { return m_slots[worker]; }
    void say(std::size_t worker, std::uint64_t life, State state) {
        m_slots[worker].said = life * kStates + state;
        for (std::size_t other = 0; other < kWorkers; ++other) {
            const std::uint64_t said = m_slots[other].said;
            const bool together =
                state == kWriting ? said % kStates != kOutside : state == kReading && said % kStates == kWriting;
            if (other != worker && together && said / kStates > m_slots[other].over)
                m_wrong = true;
        }
    }
    bool isWrong() const { return m_wrong; }

    std::atomic<bool> stop{false};

  private:
    static constexpr std::uint64_t kStates = 4;

    std::array<Slot, kWorkers> m_slots;
    std::atomic<bool> m_wrong{false};
};

class Worker {
  public:
    Worker(Checker& checker, std::size_t number, std::uint64_t life, const std::string& name, unsigned seed)
        : m_checker(checker), m_number(number), m_life(life), m_name(name), m_random(seed) {}

    int run() {
        while (!m_checker.stop) {
            obey();
            if ((m_lock == nullptr || m_random() % 16 == 0) && !open())
                return 2;
            switch (m_random() % 4) {
            case 0:
                write();
                break;
            case 1:
                read(2, Checker::kOutside);
                break;
            default:
                read(1, Checker::kOutside);
            }
            ++m_checker.slot(m_number).rounds;
        }
        return 0;
    }

  private:
    // An order to die at a step from here.
    void obey() {
        Checker::Slot& slot = m_checker.slot(m_number);
        if (const unsigned steps = slot.stepsLeft.exchange(0)) {
            slot.over = m_life;
            steps::dieAt(steps, *m_grave);
        }
    }
    bool open() {
        m_lock.reset();
        m_lock = std::make_unique<CWdRWLockEx>();
        return m_lock->Initialize(m_name.c_str());
    }
    void write() WD_NO_THREAD_SAFETY_ANALYSIS {
        m_lock->LockWrite();
        stay(Checker::kWriting);
        m_checker.say(m_number, m_life, Checker::kOutside);
        m_lock->UnlockWrite();
    }
    void read(unsigned depth, Checker::State behind) WD_NO_THREAD_SAFETY_ANALYSIS {
        m_lock->LockRead();
        stay(Checker::kReading);
        if (depth > 1)
            read(depth - 1, Checker::kReading);
        m_checker.say(m_number, m_life, behind);
        m_lock->UnlockRead();
    }
    // Lets others try to come in.
    void stay(Checker::State state) {
        m_checker.say(m_number, m_life, state);
        sched_yield();
        m_checker.say(m_number, m_life, state);
    }

    Checker& m_checker;
    std::size_t m_number;
    std::uint64_t m_life;
    const std::string& m_name;
    std::mt19937 m_random;
    std::unique_ptr<CWdRWLockEx> m_lock;
    const Shared<steps::Grave> m_grave;
};

// One lock, its workers, and their end. Runs in a process of its own.
class KillTest {
  public:
    KillTest(unsigned group, unsigned seed) : m_name("random" + std::to_string(group)), m_random(seed) {}

    // 0, or what was wrong (printed).
    int run(unsigned kills) {
        for (std::size_t worker = 0; worker < Checker::kWorkers; ++worker)
            start(worker);
        for (unsigned kill = 0; kill < kills; ++kill) {
            const std::size_t victim = m_random() % Checker::kWorkers;
            if ((m_random() % 2 == 0 ? killAtStep(victim) : killSoon(victim)) != Child::kSignal + SIGKILL)
                return complain("a worker couldn't go on", kill);
            if (m_checker->isWrong())
                return complain("a writer wasn't alone", kill);
            start(victim);
        }
        return end(kills);
    }

  private:
    static constexpr unsigned kSteps = 80; // a few rounds

    void start(std::size_t worker) {
        const auto seed = static_cast<unsigned>(m_random());
        const std::uint64_t life = ++m_lives;
        m_workers[worker].emplace([=, this] { return Worker(*m_checker, worker, life, m_name, seed).run(); });
        m_lifeOf[worker] = life;
    }

    int killAtStep(std::size_t victim) {
        m_checker->slot(victim).stepsLeft = 1 + static_cast<unsigned>(m_random() % kSteps);
        return m_workers[victim]->wait();
    }
    int killSoon(std::size_t victim) {
        const struct timespec pause { 0, static_cast<long>(m_random() % 3'000'000) };
        nanosleep(&pause, nullptr);
        m_checker->slot(victim).over = m_lifeOf[victim];
        return m_workers[victim]->kill();
    }

    // Who is left comes to an end by itself, and leaves the lock at rest.
    int end(unsigned kills) {
        m_checker->stop = true;
        unsigned rounds = 0;
        for (std::size_t worker = 0; worker < Checker::kWorkers; ++worker) {
            if (m_workers[worker]->wait() != 0)
                return complain("a worker couldn't end", kills);
            rounds += m_checker->slot(worker).rounds;
        }
        CWdRWLockEx lock;
        if (!lock.Initialize(m_name.c_str()))
            return complain("no lock", kills);
        { const CWdRWReadLock hold(&lock); }
        { const CWdRWWriteLock hold(&lock); }
        const LockMemory memory(m_name);
        if (m_checker->isWrong() || memory.count() != 0 || memory.readsInRows() != 0 || memory.taker() != 0)
            return complain("the lock isn't at rest", kills);
        return rounds > kills ? 0 : complain("nobody came far", kills);
    }

    int complain(const char* what, unsigned kill) const {
        std::fprintf(stderr, "%s: %s, kill %u\n", m_name.c_str(), what, kill);
        return 1;
    }

    const std::string m_name;
    std::mt19937 m_random;
    const Shared<Checker> m_checker;
    std::uint64_t m_lives = 0;
    std::array<std::uint64_t, Checker::kWorkers> m_lifeOf{};
    std::array<std::optional<Child>, Checker::kWorkers> m_workers;
};

TEST(RWLockRandomKills, NobodyIsRobbedAndNobodyWaitsForEver) {
    constexpr unsigned kGroups = 8;
    const char* given = std::getenv("WDLT_SEED");
    const unsigned seed = given != nullptr ? static_cast<unsigned>(std::stoul(given)) : std::random_device()();
    const char* count = std::getenv("WDLT_KILLS");
    const unsigned kills = count != nullptr ? static_cast<unsigned>(std::stoul(count)) : 300;
    std::printf("seed %u, %u kills\n", seed, kills);
    std::fflush(stdout); // before there are children with the same buffer
    std::vector<Child> groups;
    for (unsigned group = 0; group < kGroups; ++group)
        groups.emplace_back([=] { return KillTest(group, seed + group).run(kills / kGroups + 1); });
    for (Child& group : groups)
        EXPECT_EQ(group.wait(), 0);
}

} // namespace
