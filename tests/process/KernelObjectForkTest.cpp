// What a child of a fork has of its parent's kernel objects: its handles and views, but nothing that a thread of the
// parent holds; whoever of the two closes or ends first.
#include <Child.h>
#include <Sanitizers.h>
#include <TestObject.h>

#include <gtest/gtest.h>

#include <platform/robust.h>

#include <atomic>
#include <barrier>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <thread>

namespace {

class KernelObjectFork : public testing::Test {
  protected:
    KernelObjectFork() { useFreshHome(); }
};

Handle openMutex(const char* name) {
    return Handle(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, name));
}
bool memoryExists() {
    return Handle(OpenFileMappingA(FILE_MAP_READ, FALSE, "map")) != nullptr;
}

TEST_F(KernelObjectFork, AChildUsesWhatItsParentOpened) {
    const Handle mutex = makeMutex("m", true);
    const Handle event = makeEvent("e", false, false);
    const Handle semaphore = makeSemaphore("s", 1, 1);
    const Handle mapping = makeMapping("map", 5000);
    const View<char> view = viewOf<char>(mapping);
    view[4999] = 'p';
    const WD_TAG parent = WdOwnTag(WD_ROLE_ALONE);
    Child child([&] {
        EXPECT_FALSE(ReleaseMutex(mutex.get()));
        EXPECT_EQ(GetLastError(), ERROR_NOT_OWNER);
        EXPECT_EQ(waitFor(mutex), WAIT_TIMEOUT) << "its parent holds it, and lives";
        EXPECT_TRUE(WdOwnTag(WD_ROLE_ALONE) != parent && WdTagIsAlive(parent));
        EXPECT_EQ(view[4999], 'p');
        view[0] = 'c';
        EXPECT_EQ(waitFor(semaphore), WAIT_OBJECT_0);
        EXPECT_EQ(viewOf<char>(mapping).get(), view.get());
        SetEvent(event.get());
        EXPECT_TRUE(waitFor(mutex, INFINITE) == WAIT_OBJECT_0 && waitFor(mutex) == WAIT_OBJECT_0); // and ends with it
    });
    EXPECT_EQ(waitFor(event, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(view[0], 'c');
    EXPECT_EQ(waitFor(semaphore), WAIT_TIMEOUT);
    EXPECT_TRUE(ReleaseMutex(mutex.get()));
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(waitFor(mutex), WAIT_ABANDONED);
}

// What has no name is the child's own from the fork on, with what the forking thread holds.
TEST_F(KernelObjectFork, ObjectsWithoutANamePart) {
    const Handle held = makeMutex(nullptr, true);
    const Handle others = makeMutex(nullptr);
    const Handle event = makeEvent(nullptr, true, false);
    std::barrier meeting(2);
    std::thread holder([&] {
        waitFor(others);
        meeting.arrive_and_wait();
        meeting.arrive_and_wait();
        ReleaseMutex(others.get());
    });
    meeting.arrive_and_wait();
    inChild([&] {
        EXPECT_EQ(waitFor(held), WAIT_OBJECT_0);
        EXPECT_TRUE(ReleaseMutex(held.get()) && ReleaseMutex(held.get()));
        SetEvent(event.get());
        EXPECT_EQ(waitFor(others), WAIT_ABANDONED) << "its holder isn't here";
    });
    EXPECT_EQ(waitFor(event), WAIT_TIMEOUT);
    EXPECT_EQ(waitElsewhere(held), WAIT_TIMEOUT);
    meeting.arrive_and_wait();
    holder.join();
}

// Whether the child calls the layer for the first time before its parent closes or dies, or after.
class ForkOrder : public KernelObjectFork, public testing::WithParamInterface<bool> {};

TEST_P(ForkOrder, AChildGoesOnWithWhatItsParentClosed) {
    HANDLE event = CreateEventA(nullptr, TRUE, TRUE, "e");
    HANDLE semaphore = CreateSemaphoreA(nullptr, 2, 5, "s");
    HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 5000, "map");
    auto* const view = static_cast<char*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0));
    ASSERT_NE(view, nullptr);
    std::memset(view, 'p', 5000);
    SteppedChild child([&](const SteppedChild::Stop& stop) {
        EXPECT_TRUE(!GetParam() || WaitForSingleObject(event, 0) == WAIT_OBJECT_0);
        stop();
        EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
        LONG previous = -1;
        EXPECT_FALSE(ReleaseSemaphore(semaphore, 4, nullptr));
        EXPECT_TRUE(ReleaseSemaphore(semaphore, 3, &previous));
        EXPECT_EQ(previous, 2);
        EXPECT_EQ(std::string(view, 5000), std::string(5000, 'p'));
        stop();
        EXPECT_TRUE(UnmapViewOfFile(view) && CloseHandle(mapping) && !memoryExists());
    });
    ASSERT_TRUE(child.awaitStop());
    EXPECT_TRUE(CloseHandle(event) && CloseHandle(semaphore) && CloseHandle(mapping) && UnmapViewOfFile(view));
    child.goOn();
    EXPECT_TRUE(child.awaitStop());
    EXPECT_TRUE(memoryExists()) << "the child has it";
    EXPECT_EQ(child.end(), 0);
    EXPECT_FALSE(memoryExists());
}

TEST_P(ForkOrder, AChildGoesOnWhenItsParentDies) {
    const Shared<std::atomic<bool>> isRight;
    SteppedChild parent([&](const SteppedChild::Stop& stop) {
        const Handle mutex = makeMutex("m", true);
        const Handle mapping = makeMapping("map", 100);
        const View<char> view = viewOf<char>(mapping);
        view[0] = 'p';
        if (fork() != 0)
            pauseForever();
        prctl(PR_SET_PDEATHSIG, 0);
        const bool waits = !GetParam() || waitFor(mutex) == WAIT_TIMEOUT;
        stop();
        *isRight = waits && waitFor(mutex, INFINITE) == WAIT_ABANDONED && view[0] == 'p' && ReleaseMutex(mutex.get());
        stop();
    });
    ASSERT_TRUE(parent.awaitStop());
    EXPECT_EQ(parent.kill(), Child::kKilled);
    EXPECT_EQ(memoryExists(), GetParam()) << "the grandchild's first call opens it";
    parent.goOn();
    EXPECT_TRUE(parent.awaitStop());
    EXPECT_TRUE(*isRight);
    EXPECT_TRUE(memoryExists() && openMutex("m")) << "the grandchild has them";
    parent.goOn();
    while (openMutex("m")) // until its end is done
        std::this_thread::yield();
    EXPECT_FALSE(memoryExists());
}

INSTANTIATE_TEST_SUITE_P(Calls, ForkOrder, testing::Bool(),
                         [](const auto& before) { return before.param ? "Before" : "After"; });

TEST_F(KernelObjectFork, AChildOfAChild) {
    const Handle mutex = makeMutex("m", true);
    for (const bool calls : {false, true}) // the one between the two
        inChild([&] {
            EXPECT_TRUE(!calls || waitFor(mutex) == WAIT_TIMEOUT);
            inChild([&] {
                EXPECT_FALSE(ReleaseMutex(mutex.get()));
                EXPECT_EQ(waitFor(mutex), WAIT_TIMEOUT);
            });
        });
    EXPECT_TRUE(ReleaseMutex(mutex.get()));
}

// A child ends, by itself or with a thread, and closes what its parent holds: nothing of that is its parent's loss.
TEST_F(KernelObjectFork, TheEndOfAChildDisturbsNobody) {
    HANDLE const mutex = CreateMutexA(nullptr, TRUE, "m");
    HANDLE const other = CreateMutexA(nullptr, TRUE, "other");
    makeMutex("kept mapped").reset();
    const auto files = objectFiles();
    const std::function<void()> ends[] = {
        [] {},
        [&] { EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_TIMEOUT); },
        [&] { std::thread([&] { WaitForSingleObject(mutex, 0); }).join(); },
        [&] { EXPECT_TRUE(CloseHandle(mutex)); },
        [&] { EXPECT_TRUE(WaitForSingleObject(mutex, 0) == WAIT_TIMEOUT && CloseHandle(mutex)); },
    };
    for (const auto& end : ends) {
        inChild([&] {
            end();
            std::exit(HasFailure() ? 1 : 0);
        });
        EXPECT_EQ(objectFiles(), files);
        inChild([] { EXPECT_EQ(waitFor(openMutex("m")), WAIT_TIMEOUT); });
    }
    EXPECT_TRUE(ReleaseMutex(mutex) && ReleaseMutex(other) && CloseHandle(mutex) && CloseHandle(other));
}

// A child that never calls the layer keeps nothing of what its parent had open, or opened again behind the fork.
TEST_F(KernelObjectFork, ASilentChildKeepsNothing) {
    const Shared<std::atomic<pid_t>> silent;
    Child parent = childWith([&] {
        Handle open = makeMutex("open");
        makeMutex("closed").reset();
        if (fork() == 0) {
            *silent = getpid(); // by now its handlers are through
            pauseForever();
        }
        while (*silent == 0)
            std::this_thread::yield();
        return std::pair(std::move(open), makeMutex("closed")); // open again
    });
    EXPECT_TRUE(openMutex("closed") && openMutex("open"));
    parent.kill();
    EXPECT_FALSE(openMutex("closed") || openMutex("open")) << "nobody who opened it lives";
    kill(*silent, SIGKILL);
}

// The presence of a thread in some operation ends with it, also when another thread has forked meanwhile.
TEST_F(KernelObjectFork, AHandleOfAThreadsOwnIsNoneOfAnothersChild) {
    std::barrier meeting(2);
    std::thread other([&] {
        WdBeginOwnHandles();
        Handle presence = makeMutex("presence");
        WdEndOwnHandles();
        meeting.arrive_and_wait();
        meeting.arrive_and_wait();
        presence.reset();
        meeting.arrive_and_wait();
    });
    meeting.arrive_and_wait();
    const Handle shared = makeMutex("shared");
    SteppedChild child([&](const SteppedChild::Stop& stop) {
        EXPECT_EQ(waitFor(shared), WAIT_OBJECT_0);
        stop();
        EXPECT_TRUE(makeMutex("presence") && GetLastError() == ERROR_SUCCESS);
    });
    ASSERT_TRUE(child.awaitStop());
    meeting.arrive_and_wait();
    meeting.arrive_and_wait();
    EXPECT_EQ(openMutex("presence"), nullptr);
    EXPECT_NE(openMutex("shared"), nullptr);
    EXPECT_EQ(child.end(), 0);
    other.join();
}

TEST_F(KernelObjectFork, ADaemonThatClosesAllDescriptorsGoesOn) {
    const Handle mutex = makeMutex("m");
    inChild([&] {
        for (int file = 3; file < 1024; ++file)
            close(file);
        const int others = open("/", O_RDONLY | O_DIRECTORY); // in the place of one that the layer had
        EXPECT_TRUE(waitFor(mutex) == WAIT_OBJECT_0 && makeMutex("other"));
        EXPECT_NE(fcntl(others, F_GETFD), -1);
    });
}

// No descriptor of the layer takes the place of a standard one that its program was started without.
TEST_F(KernelObjectFork, StandardDescriptorsStayClosed) {
    inChild([] {
        for (const int file : {0, 1, 2})
            close(file);
        const Handle mutex = makeMutex("m");
        HKEY key = nullptr;
        EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, "K", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr), 0);
        for (const int file : {0, 1, 2})
            EXPECT_EQ(fcntl(file, F_GETFD), -1) << file;
    });
}

// Threads at work on every kind of object while children are made, which find everything free or in use, never stuck.
TEST_F(KernelObjectFork, ForksInTheMiddleOfOtherThreadsCalls) {
    if (!kThreadsMayFork)
        GTEST_SKIP() << "the sanitizer's own allocator locks don't survive such a fork";
    const Handle named = makeMutex("m");
    const Handle nameless = makeMutex(nullptr);
    const Handle event = makeEvent("e", false, true);
    const auto passThrough = [](const Handle& mutex) {
        const DWORD result = waitFor(mutex, INFINITE);
        return (result == WAIT_OBJECT_0 || result == WAIT_ABANDONED) && ReleaseMutex(mutex.get()) != FALSE;
    };
    const std::function<void()> works[] = {
        [&] { passThrough(named); },
        [&] { passThrough(nameless); },
        [&] { viewOf<char>(makeMapping("map", 100))[0] = 'x'; },
        [&] { waitFor(event, INFINITE) == WAIT_OBJECT_0&& SetEvent(event.get()); },
    };
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (const auto& work : works)
        threads.emplace_back([&] {
            while (!stop)
                work();
        });
    for (int i = 0; i < 60 && !HasFailure(); ++i) {
        Child child([&] {
            alarm(60);
            const Handle mapping = makeMapping("map", 100);
            return passThrough(nameless) && passThrough(named) && makeEvent("new", true, true) &&
                           viewOf<char>(mapping) != nullptr
                       ? 0
                       : 1;
        });
        EXPECT_EQ(child.wait(), 0) << i;
    }
    stop = true;
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
