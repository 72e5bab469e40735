// The reader/writer lock between processes that live, or that die at an awkward moment of another.
#include "Child.h"
#include "LockMemory.h"
#include "LockSteps.h"
#include "LogFile.h"
#include "RWLock.h"
#include "TestHome.h"

#include <gtest/gtest.h>

#include <platform/testing.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <string>
#include <thread>
#include <utility>

namespace {

constexpr const char* kName = "between";

std::unique_ptr<CWdRWLockEx> openLock() {
    auto lock = std::make_unique<CWdRWLockEx>();
    return lock->Initialize(kName) ? std::move(lock) : nullptr;
}

// The two halves of an operation stand apart in these tests, which the analysis doesn't follow.
enum class Mode { Read, Write };

void enter(CWdRWLock& lock, Mode mode) WD_NO_THREAD_SAFETY_ANALYSIS {
    mode == Mode::Read ? lock.LockRead() : lock.LockWrite();
}

void leave(CWdRWLock& lock, Mode mode) WD_NO_THREAD_SAFETY_ANALYSIS {
    mode == Mode::Read ? lock.UnlockRead() : lock.UnlockWrite();
}

// A child that holds the lock until it is told to let go.
class Holder {
  public:
    explicit Holder(Mode mode)
        : m_child([this, mode] {
              const auto lock = openLock();
              if (!lock)
                  return 1;
              enter(*lock, mode);
              *m_holds = true;
              m_isIn.signal();
              m_letGo.await();
              *m_holds = false;
              leave(*lock, mode);
              return 0;
          }) {
        m_isIn.closeSender();
        m_isIn.await();
    }

    bool holds() const { return *m_holds; }
    void letGo() const { m_letGo.signal(); }
    int wait() { return m_child.wait(); }
    int kill() { return m_child.kill(); }

  private:
    const Shared<std::atomic<bool>> m_holds;
    Pipe m_isIn;
    Pipe m_letGo;
    Child m_child;
};

void expectAtRest(const LockMemory& memory) {
    EXPECT_EQ(memory.count(), 0u);
    EXPECT_EQ(memory.readsInRows(), 0u);
    EXPECT_EQ(memory.taker(), 0u);
}

TEST(RWLockProcess, ProcessesShareOneCount) {
    const auto lock = openLock();
    ASSERT_NE(lock, nullptr);
    const LockMemory memory(kName);
    Holder first(Mode::Read);
    Holder second(Mode::Read);
    enter(*lock, Mode::Read);
    enter(*lock, Mode::Read);
    EXPECT_EQ(memory.count(), 4u);
    EXPECT_EQ(memory.readsInRows(), 4u);
    first.letGo();
    EXPECT_EQ(first.wait(), 0);
    leave(*lock, Mode::Read);
    EXPECT_EQ(memory.count(), 2u);
    leave(*lock, Mode::Read);
    EXPECT_EQ(memory.taker(), WD_GROUP_TAG);
    second.letGo();
    EXPECT_EQ(second.wait(), 0);
    expectAtRest(memory);
}

// A wait for a holder that lives warns once a slice, and ends when the holder lets go.
TEST(RWLockProcess, WaitsForALivingHolderHoweverLong) {
    constexpr auto kSlice = std::chrono::milliseconds(30);
    constexpr std::ptrdiff_t kWarnings = 3;
    setenv("WARDLET_TIME_SCALE", "0.0005", 1); // 60 seconds are 30 milliseconds
    WdTestRereadEnvironment();
    const struct {
        Mode holder;
        Mode waiter;
    } cases[] = {{Mode::Read, Mode::Write}, {Mode::Write, Mode::Write}, {Mode::Write, Mode::Read}};
    for (const auto& [holderMode, waiterMode] : cases) {
        SCOPED_TRACE(testing::Message() << static_cast<int>(holderMode) << " " << static_cast<int>(waiterMode));
        const auto lock = openLock();
        ASSERT_NE(lock, nullptr);
        Holder holder(holderMode);
        const LogFile log(256); // errors only
        const auto warnings = [&log] {
            const auto messages = log.messages();
            return std::count(messages.begin(), messages.end(), "!!! CAUTION: May be dead locked");
        };
        const auto begin = std::chrono::steady_clock::now();
        std::atomic<bool> entered{false};
        std::thread waiter([&, mode = waiterMode] {
            enter(*lock, mode);
            entered = true;
            EXPECT_FALSE(holder.holds());
            leave(*lock, mode);
        });
        while (warnings() < kWarnings)
            std::this_thread::yield();
        EXPECT_FALSE(entered);
        EXPECT_GE(std::chrono::steady_clock::now() - begin, kWarnings * kSlice);
        holder.letGo();
        waiter.join();
        EXPECT_EQ(holder.wait(), 0);
        expectAtRest(LockMemory(kName));
    }
}

TEST(RWLockProcess, AForkedChildOfAReaderHoldsNothing) {
    auto lock = openLock();
    ASSERT_NE(lock, nullptr);
    const LockMemory memory(kName);
    enter(*lock, Mode::Read);
    const struct {
        const char* what;
        int (*body)(std::unique_ptr<CWdRWLockEx>& lock);
        int status;
        std::uint32_t countBehind;
    } lives[] = {
        {"only ends", [](auto&) { return 0; }, 0, 1},
        {"takes its copy of the lock down",
         [](auto& lock) {
             lock.reset();
             return 0;
         },
         0, 1},
        {"reads by itself",
         [](auto& lock) {
             const CWdRWReadLock hold(lock.get());
             return LockMemory(kName).count() == 2 && LockMemory(kName).readsInRows() == 2 ? 0 : 1;
         },
         0, 1},
        {"lets go of what its parent holds",
         [](auto& lock) {
             leave(*lock, Mode::Read);
             return 0;
         },
         0, 1},
        {"dies reading",
         [](auto& lock) {
             const CWdRWReadLock hold(lock.get());
             return raise(SIGKILL);
         },
         Child::kSignal + SIGKILL, 2},
    };
    for (const auto& life : lives) {
        SCOPED_TRACE(life.what);
        EXPECT_EQ(Child([&] { return life.body(lock); }).wait(), life.status);
        EXPECT_EQ(memory.taker(), WD_GROUP_TAG);
        EXPECT_EQ(memory.count(), life.countBehind);
    }
    leave(*lock, Mode::Read);
    Holder writer(Mode::Write); // what the dead child left is looked after
    writer.letGo();
    EXPECT_EQ(writer.wait(), 0);
    expectAtRest(memory);
}

// Two that wait see the same dead writer. The slower one must not take the token from the other.
TEST(RWLockProcess, ALateLookRobsNobody) {
    const auto lock = openLock();
    ASSERT_NE(lock, nullptr);
    Holder(Mode::Write).kill();
    std::unique_ptr<Holder> faster;
    const steps::At slow("look.writer", [&, first = true]() mutable {
        if (std::exchange(first, false)) // not in the child, too
            faster = std::make_unique<Holder>(Mode::Write);
    });
    const steps::At next("look", [&] {
        if (faster != nullptr)
            faster->letGo();
    });
    enter(*lock, Mode::Write);
    ASSERT_NE(faster, nullptr);
    EXPECT_FALSE(faster->holds());
    faster->letGo();
    leave(*lock, Mode::Write);
    EXPECT_EQ(faster->wait(), 0);
    expectAtRest(LockMemory(kName));
}

// A new process that takes over a dead one's place in the process table: until it has raised the generation there, the
// dead one looks alive to all others. This one never comes so far.
class Successor {
  public:
    explicit Successor(WD_TAG dead)
        : m_child([this, dead] {
              m_go.await();
              const std::string table = TestHome::instance().path() / "objects/.processes";
              const int file = open(table.c_str(), O_RDWR | O_CLOEXEC);
              struct flock place {};
              place.l_type = F_WRLCK;
              place.l_start = static_cast<off_t>(dead >> 16 & 0xFFFF); // the row's byte
              place.l_len = 1;
              // Its own number and start already stand in the row, of which nothing is known here.
              const std::uint64_t unknown = 0;
              const off_t start = 16 + place.l_start * 32 + 16;
              const bool isIn = pwrite(file, &unknown, sizeof unknown, start) == static_cast<ssize_t>(sizeof unknown);
              const int result = isIn && fcntl(file, F_SETLK, &place) == 0 ? 0 : 1;
              m_isIn.signal();
              m_stop.await();
              return result;
          }) {}

    void go() const {
        m_go.signal();
        m_isIn.await();
    }
    int end() {
        m_stop.signal();
        return m_child.wait();
    }

  private:
    Pipe m_go;
    Pipe m_isIn;
    Pipe m_stop;
    Child m_child;
};

// A reader died as the first one, and whoever counts anew after it takes it for alive: the count says that there is a
// reader, and no reader has the token.
TEST(RWLockProcess, AFirstReaderThatLooksAliveAgainKeepsNoWriterIn) {
    const auto lock = openLock();
    ASSERT_NE(lock, nullptr);
    const LockMemory memory(kName);
    enter(*lock, Mode::Read); // a row, so that no other count is made
    leave(*lock, Mode::Read);
    const Shared<std::atomic<WD_TAG>> dead;
    const Shared<steps::Grave> grave;
    Child reader([&] {
        const auto own = openLock();
        *dead = WdOwnTag(WD_ROLE_NONE);
        steps::dieAt("enter.count", *grave);
        enter(*own, Mode::Read);
        return 0;
    });
    EXPECT_EQ(reader.wait(), Child::kSignal + SIGKILL);
    Successor successor(*dead);
    const steps::At between("guard", [&, first = true]() mutable {
        if (std::exchange(first, false))
            successor.go();
    });
    enter(*lock, Mode::Read);
    EXPECT_EQ(memory.count(), 2u) << "the dead reader doesn't look alive";
    EXPECT_EQ(memory.taker(), WD_GROUP_TAG);
    leave(*lock, Mode::Read);
    EXPECT_EQ(memory.count(), 1u);
    EXPECT_EQ(successor.end(), 0);
    enter(*lock, Mode::Write);
    leave(*lock, Mode::Write);
    expectAtRest(memory);
}

} // namespace
