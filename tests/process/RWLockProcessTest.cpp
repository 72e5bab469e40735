// The reader/writer lock between live processes, or when one dies at an awkward moment for another.
#include "Child.h"
#include "LockMemory.h"
#include "LockSteps.h"
#include "LogFile.h"
#include "RWLock.h"
#include "TestHome.h"
#include "TimeScale.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <fcntl.h>
#include <memory>
#include <string>
#include <thread>
#include <utility>

namespace {

constexpr const char* kName = "between";

std::unique_ptr<CWdRWLockEx> openLock() {
    auto lock = std::make_unique<CWdRWLockEx>();
    EXPECT_TRUE(lock->Initialize(kName));
    return lock;
}

// These tests lock and unlock in different functions, which the thread-safety analysis can't follow.
enum class Mode { Read, Write };

void enter(CWdRWLock& lock, Mode mode) WD_NO_THREAD_SAFETY_ANALYSIS {
    mode == Mode::Read ? lock.LockRead() : lock.LockWrite();
}

void leave(CWdRWLock& lock, Mode mode) WD_NO_THREAD_SAFETY_ANALYSIS {
    mode == Mode::Read ? lock.UnlockRead() : lock.UnlockWrite();
}

// A child that holds the lock until told to release it.
class LockHolder {
  public:
    explicit LockHolder(Mode mode)
        : m_child([this, mode](const SteppedChild::Stop& stop) {
              const auto lock = openLock();
              enter(*lock, mode);
              *m_holds = true;
              stop();
              *m_holds = false;
              leave(*lock, mode);
          }) {
        EXPECT_TRUE(m_child.awaitStop());
    }

    bool holds() const { return *m_holds; }
    void letGo() const { m_child.goOn(); }
    void expectEnd() { EXPECT_EQ(m_child.wait(), 0); }
    int kill() { return m_child.kill(); }

  private:
    const Shared<std::atomic<bool>> m_holds;
    SteppedChild m_child;
};

// A wait for a live holder logs a warning per time slice, and ends when the holder releases the lock.
TEST(RWLockProcess, WaitsForALivingHolderHoweverLong) {
    const TimeScale scale("0.0005"); // 60 seconds become 30 milliseconds
    const struct {
        Mode holder;
        Mode waiter;
    } cases[] = {{Mode::Read, Mode::Write}, {Mode::Write, Mode::Write}, {Mode::Write, Mode::Read}};
    for (const auto& [holderMode, waiterMode] : cases) {
        SCOPED_TRACE(testing::Message() << static_cast<int>(holderMode) << " " << static_cast<int>(waiterMode));
        const auto lock = openLock();
        LockHolder holder(holderMode);
        const LogFile log(256); // errors only
        const auto warnings = [&log] {
            const auto messages = log.messages();
            return std::count(messages.begin(), messages.end(), "!!! CAUTION: May be dead locked");
        };
        std::atomic<bool> entered{false};
        std::thread patient([&] {
            while (warnings() < 3 && !entered)
                std::this_thread::yield();
            holder.letGo();
        });
        enter(*lock, waiterMode);
        entered = true;
        EXPECT_TRUE(warnings() >= 3 && !holder.holds());
        leave(*lock, waiterMode);
        patient.join();
        holder.expectEnd();
        EXPECT_TRUE(LockMemory(kName).isAtRest());
    }
}

// What a reader's forked child does with its copy of the lock, and the resulting count.
TEST(RWLockProcess, AForkedChildOfAReaderHoldsNothing) {
    auto lock = openLock();
    const LockMemory memory(kName);
    LockHolder other(Mode::Read);
    enter(*lock, Mode::Read);
    EXPECT_EQ(Child([&] { lock.reset(); }).wait(), 0);
    EXPECT_EQ(memory.count(), 2u);
    EXPECT_EQ(Child([&] { leave(*lock, Mode::Read); }).wait(), 0);
    EXPECT_EQ(memory.count(), 2u);
    EXPECT_EQ(Child([&] {
                  enter(*lock, Mode::Read);
                  enter(*lock, Mode::Read);
                  EXPECT_TRUE(memory.count() == 4 && memory.readsInRows() == 4);
                  leave(*lock, Mode::Read);
                  raise(SIGKILL);
              }).wait(),
              Child::kKilled);
    EXPECT_EQ(memory.count(), 3u);
    leave(*lock, Mode::Read);
    EXPECT_EQ(memory.taker(), WD_GROUP_TAG);
    other.letGo();
    other.expectEnd();
    LockHolder writer(Mode::Write); // cleans up after the dead child
    writer.letGo();
    writer.expectEnd();
    EXPECT_TRUE(LockMemory(kName).isAtRest());
}

// Two waiting processes see the same dead writer. The slower one must not take the token from the faster.
TEST(RWLockProcess, ALateLookRobsNobody) {
    const auto lock = openLock();
    LockHolder(Mode::Write).kill();
    std::unique_ptr<LockHolder> faster;
    const steps::At slow("look.writer", [&, first = true]() mutable {
        if (std::exchange(first, false)) // only in this process, not in the child
            faster = std::make_unique<LockHolder>(Mode::Write);
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
    faster->expectEnd();
    EXPECT_TRUE(LockMemory(kName).isAtRest());
}

// The first reader died, but looks alive to a process that recounts: a new process has taken over its row in the
// process table and hasn't raised the generation yet. So the count says that there is a reader, but no reader has the
// token.
TEST(RWLockProcess, AFirstReaderThatLooksAliveAgainKeepsNoWriterIn) {
    const auto lock = openLock();
    const LockMemory memory(kName);
    enter(*lock, Mode::Read); // gets a row now, so that no other recount happens
    leave(*lock, Mode::Read);
    const Shared<std::atomic<WD_TAG>> dead;
    const Shared<steps::Grave> grave;
    EXPECT_EQ(Child([&] {
                  const auto own = openLock();
                  *dead = WdOwnTag(WD_ROLE_NONE);
                  steps::dieAt("enter.count", *grave);
                  enter(*own, Mode::Read);
              }).wait(),
              Child::kKilled);
    std::vector<Child> successor;
    const steps::At between("guard", [&, first = true]() mutable {
        if (!std::exchange(first, false))
            return;
        successor.push_back(childWith([&] {
            const std::string table = TestHome::instance().path() / "objects/.processes";
            const int file = open(table.c_str(), O_RDWR | O_CLOEXEC);
            struct flock place {};
            place.l_type = F_WRLCK;
            place.l_start = static_cast<off_t>(*dead >> 16 & 0xFFFF); // the row's byte
            place.l_len = 1;
            // The new process would already have written its pid and start time to the row: here 0, unknown.
            const std::uint64_t unknown = 0;
            const off_t start = 16 + place.l_start * 32 + 16;
            EXPECT_EQ(pwrite(file, &unknown, sizeof unknown, start), static_cast<ssize_t>(sizeof unknown));
            EXPECT_EQ(fcntl(file, F_SETLK, &place), 0);
            return file;
        }));
    });
    enter(*lock, Mode::Read);
    EXPECT_EQ(memory.count(), 2u) << "the dead reader doesn't look alive";
    EXPECT_EQ(memory.taker(), WD_GROUP_TAG);
    leave(*lock, Mode::Read);
    EXPECT_EQ(memory.count(), 1u);
    successor.clear();
    enter(*lock, Mode::Write);
    leave(*lock, Mode::Write);
    EXPECT_TRUE(LockMemory(kName).isAtRest());
}

} // namespace
