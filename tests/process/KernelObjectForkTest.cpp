// What a forked child inherits of its parent's kernel objects: its handles and views, but nothing that a thread of the
// parent holds, whichever of the two closes or ends first.
#include <Child.h>
#include <Sanitizers.h>
#include <TestKey.h>
#include <TestObject.h>

#include <gtest/gtest.h>

#include <platform/robust.h>

#include <atomic>
#include <fcntl.h>
#include <functional>
#include <thread>

namespace {

class KernelObjectFork : public testing::Test {
  protected:
    KernelObjectFork() { useFreshHome(); }
};

bool memoryExists() {
    return Handle(OpenFileMappingA(FILE_MAP_READ, FALSE, "map")) != nullptr;
}

TEST_F(KernelObjectFork, AChildAndItsOwnUseWhatItsParentOpened) {
    const Handle mutex = makeMutex("m", true);
    const Handle event = makeEvent("e", false, false);
    const Handle mapping = makeMapping("map", 5000);
    const View<char> view = viewOf<char>(mapping);
    view[4999] = 'p';
    const WD_TAG parent = WdOwnTag(WD_ROLE_ALONE);
    const auto isTheParents = [&] {
        EXPECT_FALSE(ReleaseMutex(mutex.get()));
        EXPECT_EQ(GetLastError(), ERROR_NOT_OWNER);
        EXPECT_EQ(waitFor(mutex), WAIT_TIMEOUT) << "its parent holds it, and lives";
    };
    Child child([&] {
        inChild(isTheParents); // this process hasn't called the layer yet
        isTheParents();
        inChild(isTheParents);
        EXPECT_TRUE(WdOwnTag(WD_ROLE_ALONE) != parent && WdTagIsAlive(parent));
        EXPECT_EQ(view[4999], 'p');
        view[0] = 'c';
        EXPECT_EQ(viewOf<char>(mapping).get(), view.get());
        SetEvent(event.get());
        EXPECT_TRUE(waitFor(mutex, INFINITE) == WAIT_OBJECT_0 && waitFor(mutex) == WAIT_OBJECT_0); // ends as its owner
    });
    EXPECT_EQ(waitFor(event, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(view[0], 'c');
    EXPECT_TRUE(ReleaseMutex(mutex.get()));
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(waitFor(mutex), WAIT_ABANDONED);
}

// The parameter: whether the child's first call of the layer comes before its parent closes or dies, or after.
class ForkOrder : public KernelObjectFork, public testing::WithParamInterface<bool> {};

TEST_P(ForkOrder, AChildGoesOnWithWhatItsParentClosed) {
    Handle event = makeEvent("e", true, true);
    Handle mapping = makeMapping("map", 5000);
    View<char> view = viewOf<char>(mapping);
    view[4999] = 'p';
    SteppedChild child([&](const SteppedChild::Stop& stop) {
        EXPECT_TRUE(!GetParam() || waitFor(event) == WAIT_OBJECT_0);
        stop();
        EXPECT_EQ(waitFor(event), WAIT_OBJECT_0);
        EXPECT_EQ(view[4999], 'p');
        stop();
        EXPECT_TRUE(UnmapViewOfFile(view.get()) && CloseHandle(mapping.get()) && !memoryExists());
    });
    ASSERT_TRUE(child.awaitStop());
    event.reset();
    mapping.reset();
    view.reset();
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
    while (openMutex("m")) // until the grandchild has ended
        std::this_thread::yield();
    EXPECT_FALSE(memoryExists());
}

INSTANTIATE_TEST_SUITE_P(Calls, ForkOrder, testing::Bool(),
                         [](const auto& before) { return before.param ? "Before" : "After"; });

// A child that ends, starts a thread, or closes what its parent holds takes nothing from its parent.
TEST_F(KernelObjectFork, TheEndOfAChildDisturbsNobody) {
    const Handle mutex = makeMutex("m", true);
    const auto files = objectFiles();
    const std::function<void()> ends[] = {
        [] {},
        [&] { std::thread([&] { waitFor(mutex); }).join(); },
        [&] { EXPECT_TRUE(waitFor(mutex) == WAIT_TIMEOUT && CloseHandle(mutex.get())); },
    };
    for (const auto& end : ends) {
        inChild([&] {
            end();
            std::exit(HasFailure() ? 1 : 0);
        });
        EXPECT_EQ(objectFiles(), files);
        inChild([] { EXPECT_EQ(waitFor(openMutex("m")), WAIT_TIMEOUT); });
    }
}

// A child that never calls the layer keeps nothing alive that its parent had open or reopened after the fork.
TEST_F(KernelObjectFork, ASilentChildKeepsNothing) {
    const Shared<std::atomic<pid_t>> silent;
    Child parent = childWith([&] {
        Handle open = makeMutex("open");
        makeMutex("closed").reset();
        if (fork() == 0) {
            *silent = getpid(); // the fork handlers have run
            pauseForever();
        }
        while (*silent == 0)
            std::this_thread::yield();
        return std::pair(std::move(open), makeMutex("closed")); // reopened
    });
    EXPECT_TRUE(openMutex("closed") && openMutex("open"));
    parent.kill();
    EXPECT_FALSE(openMutex("closed") || openMutex("open")) << "nobody who opened it lives";
    kill(*silent, SIGKILL);
}

// An object that marks a thread's presence in an operation ends with its handle, even if another thread has forked.
TEST_F(KernelObjectFork, AHandleOfAThreadsOwnIsNoneOfAnothersChild) {
    Handle presence;
    std::thread([&] {
        WdBeginOwnHandles();
        presence = makeMutex("presence");
        WdEndOwnHandles();
    }).join();
    const Handle shared = makeMutex("shared");
    SteppedChild child([&](const SteppedChild::Stop& stop) {
        EXPECT_EQ(waitFor(shared), WAIT_OBJECT_0);
        stop();
        EXPECT_TRUE(makeMutex("presence") && GetLastError() == ERROR_SUCCESS);
    });
    ASSERT_TRUE(child.awaitStop());
    presence.reset();
    EXPECT_EQ(openMutex("presence"), nullptr);
    EXPECT_NE(openMutex("shared"), nullptr);
    EXPECT_EQ(child.end(), 0);
}

TEST_F(KernelObjectFork, ADaemonThatClosesAllDescriptorsGoesOn) {
    const Handle mutex = makeMutex("m");
    inChild([&] {
        for (int file = 3; file < 1024; ++file)
            close(file);
        const int others = open("/", O_RDONLY | O_DIRECTORY); // reuses a descriptor number of the layer's
        EXPECT_TRUE(waitFor(mutex) == WAIT_OBJECT_0 && makeMutex("other"));
        EXPECT_NE(fcntl(others, F_GETFD), -1);
    });
}

// The layer never uses the number of a standard descriptor that the program was started without.
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

// Forks while threads use objects and the registry: the children find everything free or in use, never stuck.
TEST_F(KernelObjectFork, ForksInTheMiddleOfOtherThreadsCalls) {
    if (kIsSanitized)
        GTEST_SKIP() << "the sanitizer's own allocator locks don't survive such a fork";
    const Handle mutex = makeMutex("m");
    const Handle event = makeEvent("e", false, true);
    const TestKey key = TestKey::create("Forks");
    const auto passThrough = [&] {
        const DWORD result = waitFor(mutex, INFINITE);
        return (result == WAIT_OBJECT_0 || result == WAIT_ABANDONED) && ReleaseMutex(mutex.get()) != FALSE;
    };
    const std::function<void()> works[] = {
        [&] { passThrough(); },
        [&] { viewOf<char>(makeMapping("map", 100))[0] = 'x'; },
        [&] { waitFor(event, INFINITE) == WAIT_OBJECT_0&& SetEvent(event.get()); },
        [&] { TestKey::open("Forks", KEY_ALL_ACCESS).set("v", 1); },
        [&] { key.number("v"); },
    };
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (const auto& work : works)
        threads.emplace_back([&] {
            while (!stop)
                work();
        });
    for (DWORD i = 0; i < 60 && !HasFailure(); ++i)
        inChild([&] {
            alarm(60);
            EXPECT_TRUE(passThrough() && makeEvent("new", true, true) && viewOf<char>(makeMapping("map", 100)));
            std::thread([&] { key.set("child", i); }).join();
            EXPECT_EQ(TestKey::open("Forks").number("child"), i);
        });
    stop = true;
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
