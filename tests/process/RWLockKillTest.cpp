// A process is killed at each step of the reader/writer lock in turn, in every role; the survivors must get the read
// and the write lock after at most two looks for dead holders, and find the right count. Looks are counted, never time.
#include "Child.h"
#include "LockMemory.h"
#include "LockSteps.h"
#include "RWLock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <platform/win32.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

// The steps of the locks and of the test.
const std::set<std::string> kSteps{
    "guard",         "guard.end",     "enter.row",     "enter.count",   "enter.token",  "leave.row",    "leave.count",
    "leave.token",   "write.token",   "write.end",     "look",          "look.writer",  "recount.rows", "recount.count",
    "recount.token", "row.claimed",   "mutex.taken",   "object.opened", "object.first", "object.empty", "object.laid",
    "object.valid",  "object.joined", "processes.new", "test.reading",  "test.writing",
};

std::unique_ptr<CWdRWLockEx> openLock(const std::string& name) {
    auto lock = std::make_unique<CWdRWLockEx>();
    EXPECT_TRUE(lock->Initialize(name.c_str()));
    return lock;
}

// What the dying process does, and the survivors after it. Where nobody had the lock open, opening it is part of that.
using Role = void (*)(std::unique_ptr<CWdRWLockEx>& lock);

void readOnce(std::unique_ptr<CWdRWLockEx>& lock) {
    const CWdRWReadLock hold(lock.get());
    steps::pass("test.reading");
}
void readNested(std::unique_ptr<CWdRWLockEx>& lock) {
    const CWdRWReadLock hold(lock.get());
    steps::pass("test.reading");
    readOnce(lock);
}
void write(std::unique_ptr<CWdRWLockEx>& lock) {
    const CWdRWWriteLock hold(lock.get());
    steps::pass("test.writing");
}
// Who holds the lock when the dying process comes.
enum class Holder { Nobody, Reader, Writer };
struct Scene {
    const char* name;
    bool isOpen = true;             // somebody has its objects open
    Holder holder = Holder::Nobody; // alive; releases the lock when the dying process has looked twice
    struct {
        Role role;
        const char* step;
    } died[2] = {};
};
constexpr const char* kWithoutToken = "enter.count"; // a first reader that has the guard, its row and the count
const Scene kUnused{"unused", false};
const Scene kFree{"free"};
const Scene kLiveReader{"a reader", true, Holder::Reader};
const Scene kLiveWriter{"a writer", true, Holder::Writer};
const Scene kDead[] = {
    {"a dead reader", true, Holder::Nobody, {{readOnce, "test.reading"}}},
    {"a dead writer", true, Holder::Nobody, {{write, "test.writing"}}},
    {"a dead guard", true, Holder::Nobody, {{readOnce, kWithoutToken}}},
    {"a dead guard that waited for a dead writer",
     true,
     Holder::Nobody,
     {{readOnce, kWithoutToken}, {write, "test.writing"}}},
};

class RWLockKill : public testing::Test {
  protected:
    // Kills a process in each role at every step.
    void killAtEachStep(const Scene& scene, std::initializer_list<Role> roles) {
        for (const Role role : roles)
            for (unsigned nth = 1; !HasFailure(); ++nth) {
                if (nth == 1 || !scene.isOpen)
                    m_name = "kill" + std::to_string(++m_locks); // a new name, without files of an earlier lock
                const std::string step = killAtStep(scene, role, nth);
                if (step.empty())
                    break;
                m_died.insert(step);
            }
    }

    std::set<std::string> m_died;

  private:
    // Returns the step's name; empty when the role has fewer steps.
    std::string killAtStep(const Scene& scene, Role role, unsigned nth) WD_NO_THREAD_SAFETY_ANALYSIS {
        SCOPED_TRACE(testing::Message() << scene.name << ", step " << nth);
        std::unique_ptr<CWdRWLockEx> lock;
        if (scene.isOpen) {
            lock = openLock(m_name);
            readOnce(lock); // gets its row now, so that only a dead process makes it recount
        }
        for (const auto& [dyingRole, dyingStep] : scene.died)
            if (dyingRole != nullptr)
                dieAt(dyingRole, dyingStep);
        if (scene.holder != Holder::Nobody)
            scene.holder == Holder::Reader ? lock->LockRead() : lock->LockWrite();
        const Shared<steps::Grave> grave;
        Pipe waited;
        Child child([&] {
            const steps::At twice("look", [&waited, before = steps::looks()] {
                if (steps::looks() == before + 2)
                    waited.signal();
            });
            const bool opensToo = scene.holder == Holder::Nobody && scene.died[0].role == nullptr;
            if (opensToo)
                steps::dieAt(nth, *grave);
            auto own = openLock(m_name);
            if (!opensToo)
                steps::dieAt(nth, *grave);
            role(own);
        });
        waited.closeSender();
        if (scene.holder != Holder::Nobody) {
            waited.await(); // also returns when the child has died
            EXPECT_EQ(LockMemory(m_name).taker(),
                      WdOwnTag(scene.holder == Holder::Reader ? WD_ROLE_GROUP : WD_ROLE_ALONE))
                << "a holder that lives was robbed";
            scene.holder == Holder::Reader ? lock->UnlockRead() : lock->UnlockWrite();
        }
        const bool died = child.wait() == Child::kKilled;
        const std::string step = died ? grave->step.load() : "";
        SCOPED_TRACE(died ? "killed at " + step : "not killed");
        EXPECT_EQ(died, grave->step != nullptr);
        // Survivors may want to read or to write first, and may have a row in the table or not.
        if (lock == nullptr)
            lock = openLock(m_name);
        goOn(lock, nth % 2 == 0);
        auto fresh = openLock(m_name);
        goOn(fresh, nth % 4 < 2);
        return step;
    }

    // Lets another process die inside the lock.
    void dieAt(Role role, const char* step) const {
        const Shared<steps::Grave> grave;
        Child child([&] {
            auto own = openLock(m_name);
            steps::dieAt(step, *grave);
            role(own);
        });
        ASSERT_EQ(child.wait(), Child::kKilled) << "no step " << step;
    }

    void goOn(std::unique_ptr<CWdRWLockEx>& lock, bool writeFirst) const {
        const auto withFewLooks = [&](Role role) {
            const unsigned before = steps::looks();
            role(lock);
            EXPECT_LE(steps::looks() - before, 2u);
        };
        const LockMemory memory(m_name);
        if (writeFirst)
            withFewLooks(write);
        withFewLooks(readOnce);
        EXPECT_EQ(memory.count(), memory.readsInRows());
        withFewLooks(write);
        EXPECT_TRUE(memory.isAtRest());
    }

    std::string m_name;
    unsigned m_locks = 0;
};

TEST_F(RWLockKill, AtEachStepInEachRole) {
    killAtEachStep(kUnused, {readOnce, write});
    killAtEachStep(kFree, {readOnce, readNested, write});
    for (const Scene& scene : kDead)
        killAtEachStep(scene, {readOnce, write});
    killAtEachStep(kLiveReader, {write});
    killAtEachStep(kLiveWriter, {write, readOnce});
    EXPECT_EQ(m_died, kSteps);
}

} // namespace
