// A process is ended at each step of the reader/writer lock in turn, in every role; whoever is left must get both locks
// with two looks at most and find the count as it should be. Looks are counted, never time.
#include "Child.h"
#include "LockMemory.h"
#include "LockSteps.h"
#include "RWLock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <platform/win32.h>

#include <dlfcn.h>

#include <csignal>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

constexpr unsigned kClosedLimit = 32; // so many closed objects the layer keeps mapped

// The locks' own, and those of the test.
const std::set<std::string> kSteps{
    "guard",         "guard.end",     "enter.row",     "enter.count",  "enter.token",   "leave.row",
    "leave.count",   "leave.token",   "write.token",   "write.end",    "look",          "look.writer",
    "recount.rows",  "recount.count", "recount.token", "row.claimed",  "mutex.taken",   "object.opened",
    "object.first",  "object.empty",  "object.laid",   "object.valid", "object.joined", "object.closing",
    "processes.new", "test.reading",  "test.writing",
};

std::unique_ptr<CWdRWLockEx> openLock(const std::string& name) {
    auto lock = std::make_unique<CWdRWLockEx>();
    return lock->Initialize(name.c_str()) ? std::move(lock) : nullptr;
}

// The halves of each operation stand apart in these tests, which the analysis doesn't follow.

void read(CWdRWLock& lock, int depth = 1) WD_NO_THREAD_SAFETY_ANALYSIS {
    lock.LockRead();
    steps::pass("test.reading");
    if (depth > 1)
        read(lock, depth - 1);
    lock.UnlockRead();
}

void write(CWdRWLock& lock) WD_NO_THREAD_SAFETY_ANALYSIS {
    lock.LockWrite();
    steps::pass("test.writing");
    lock.UnlockWrite();
}

// What the process does that is to die.
enum class Role { ReadOnce, ReadNested, Write, OpenAndClose };

// `arm` sets the end: before the lock is opened, or after.
int play(Role role, const std::string& name, bool armEarly, const std::function<void()>& arm) {
    std::vector<HANDLE> others;
    for (unsigned i = 0; role == Role::OpenAndClose && i < kClosedLimit; ++i)
        others.push_back(CreateMutexA(nullptr, FALSE, ("other" + std::to_string(i)).c_str()));
    if (armEarly)
        arm();
    auto lock = openLock(name);
    if (!lock)
        return 1;
    if (!armEarly)
        arm();
    switch (role) {
    case Role::ReadOnce:
        read(*lock);
        break;
    case Role::ReadNested:
        read(*lock, 2);
        break;
    case Role::Write:
        write(*lock);
        break;
    case Role::OpenAndClose:
        lock.reset();
        for (HANDLE other : others) // the closed objects of the lock have to go for these
            CloseHandle(other);
        break;
    }
    return 0;
}

// In which state the lock is when it comes.
enum class Scene {
    Unused,     // nobody has its objects open
    Free,       // others have
    LiveReader, // holds it, until the process that is to die has waited for two looks
    LiveWriter,
    DeadReader,        // died inside
    DeadWriter,        // likewise
    DeadGuard,         // died as the first reader, with the guard, its row and the count, but no token
    DeadGuardOfWriter, // a reader that died while it waited for a writer, which died after it
};

// Ends a process inside the lock, at a step of that name.
void die(const std::string& name, Role role, const char* step) {
    const Shared<steps::Grave> grave;
    Child child([&] { return play(role, name, false, [&] { steps::dieAt(step, *grave); }); });
    ASSERT_EQ(child.wait(), Child::kKilled) << "no step " << step;
}

class RWLockKill : public testing::Test {
  protected:
    // Every death of a role in a scene.
    void killAtEachStep(Scene scene, Role role) {
        for (unsigned nth = 1; !HasFailure(); ++nth) {
            SCOPED_TRACE("scene " + std::to_string(static_cast<int>(scene)) + ", role " +
                         std::to_string(static_cast<int>(role)) + ", step " + std::to_string(nth));
            if (nth == 1 || scene == Scene::Unused)
                m_name = "kill" + std::to_string(++m_locks); // not even a file of an earlier one is there
            auto lock = scene == Scene::Unused ? nullptr : openLock(m_name);
            if (lock != nullptr)
                read(*lock); // it has a row, so that only who died makes it count anew
            prepare(scene, lock.get());
            const std::string step = kill(scene, role, nth, lock.get());
            SCOPED_TRACE(step.empty() ? "not killed" : "killed at " + step);
            if (lock == nullptr)
                lock = openLock(m_name);
            ASSERT_NE(lock, nullptr);
            // Whoever is left may come with either wish, and with a row in the table or without one.
            goOn(*lock, nth % 2 == 0);
            goOn(*openLock(m_name), nth % 4 < 2);
            if (step.empty())
                break;
            m_died.insert(step);
        }
    }

    std::set<std::string> m_died;

  private:
    void prepare(Scene scene, CWdRWLockEx* lock) WD_NO_THREAD_SAFETY_ANALYSIS {
        switch (scene) {
        case Scene::Unused:
        case Scene::Free:
            break;
        case Scene::LiveReader:
            lock->LockRead();
            break;
        case Scene::LiveWriter:
            lock->LockWrite();
            break;
        case Scene::DeadReader:
            die(m_name, Role::ReadOnce, "test.reading");
            break;
        case Scene::DeadWriter:
            die(m_name, Role::Write, "test.writing");
            break;
        case Scene::DeadGuard:
            die(m_name, Role::ReadOnce, "enter.count");
            break;
        case Scene::DeadGuardOfWriter:
            die(m_name, Role::ReadOnce, "enter.count");
            die(m_name, Role::Write, "test.writing");
            break;
        }
    }

    // Runs the role until its nth step. The step's name; empty when it was through before.
    std::string kill(Scene scene, Role role, unsigned nth, CWdRWLockEx* held) WD_NO_THREAD_SAFETY_ANALYSIS {
        const bool waits = scene == Scene::LiveReader || scene == Scene::LiveWriter;
        const Shared<steps::Grave> grave;
        Pipe waited;
        Child child([&] {
            const steps::At twice("look", [&waited, before = steps::looks()] {
                if (steps::looks() == before + 2)
                    waited.signal();
            });
            const bool early = scene == Scene::Unused || scene == Scene::Free;
            return play(role, m_name, early, [&] { steps::dieAt(nth, *grave); });
        });
        waited.closeSender();
        if (waits) {
            waited.await(); // ends with its life too
            EXPECT_TRUE(isHeld(scene)) << "a holder that lives was robbed";
            scene == Scene::LiveReader ? held->UnlockRead() : held->UnlockWrite();
        }
        const int status = child.wait();
        EXPECT_EQ(status, grave->step == nullptr ? 0 : Child::kKilled);
        return grave->step == nullptr ? "" : grave->step.load();
    }

    // By this process, whoever looked or died meanwhile.
    bool isHeld(Scene scene) const {
        const LockMemory memory(m_name);
        return memory.taker() == WdOwnTag(scene == Scene::LiveReader ? WD_ROLE_GROUP : WD_ROLE_ALONE);
    }

    void goOn(CWdRWLockEx& lock, bool writeFirst) const {
        if (writeFirst)
            expectFewLooks([&] { write(lock); });
        expectFewLooks([&] { read(lock); });
        const LockMemory memory(m_name);
        EXPECT_EQ(memory.count(), memory.readsInRows());
        expectFewLooks([&] { write(lock); });
        EXPECT_EQ(memory.count(), 0u);
        EXPECT_EQ(memory.readsInRows(), 0u);
        EXPECT_EQ(memory.taker(), 0u);
    }

    template <class Operation>
    static void expectFewLooks(Operation&& operation) {
        const unsigned before = steps::looks();
        operation();
        EXPECT_LE(steps::looks() - before, 2u);
    }

    std::string m_name;
    unsigned m_locks = 0;
};

TEST_F(RWLockKill, AtEachStepInEachRole) {
    for (const Role role : {Role::ReadOnce, Role::Write, Role::OpenAndClose})
        killAtEachStep(Scene::Unused, role);
    for (const Role role : {Role::ReadOnce, Role::ReadNested, Role::Write, Role::OpenAndClose})
        killAtEachStep(Scene::Free, role);
    for (const Scene scene : {Scene::DeadReader, Scene::DeadWriter, Scene::DeadGuard, Scene::DeadGuardOfWriter})
        for (const Role role : {Role::ReadOnce, Role::Write})
            killAtEachStep(scene, role);
    killAtEachStep(Scene::LiveReader, Role::Write);
    killAtEachStep(Scene::LiveWriter, Role::Write);
    killAtEachStep(Scene::LiveWriter, Role::ReadOnce);
    EXPECT_EQ(m_died, kSteps);
}

// The program has the kernel objects once, with the steps: a second copy in the process would be the layer's library.
TEST(RWLockSteps, AreThoseOfTheOnlyCopyOfTheLayer) {
    ASSERT_NE(openLock("only"), nullptr);
    EXPECT_EQ(dlopen("libWdltPlatform.so.1", RTLD_NOW | RTLD_NOLOAD), nullptr);
}

} // namespace
