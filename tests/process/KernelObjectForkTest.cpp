// What a child of a fork has of its parent's kernel objects: its handles and views, but nothing that a thread of the
// parent holds; whoever of the two closes or ends first.
#include <Child.h>
#include <Sanitizers.h>
#include <TestObject.h>

#include <gtest/gtest.h>

#include <platform/robust.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <thread>

namespace {

constexpr int kKilled = Child::kSignal + SIGKILL;

class KernelObjectFork : public testing::Test {
  protected:
    KernelObjectFork() {
        useFreshHome();
        std::fflush(stdout);
    }
};

Handle openMutex(const char* name) {
    return Handle(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, name));
}
bool memoryExists() {
    return Handle(OpenFileMappingA(FILE_MAP_READ, FALSE, "map")) != nullptr;
}

[[noreturn]] void pauseForever() {
    for (;;)
        pause();
}

TEST_F(KernelObjectFork, AChildUsesWhatItsParentOpened) {
    const Handle mutex = makeMutex("m", true);
    const Handle event = makeEvent("e", false, false);
    const Handle semaphore = makeSemaphore("s", 1, 1);
    const Handle mapping = makeMapping("map", 5000);
    const View<char> view = viewOf<char>(mapping);
    view[4999] = 'p';
    const WD_TAG parent = WdOwnTag(WD_ROLE_ALONE);
    const Pipe released;
    Child child([&] {
        if (ReleaseMutex(mutex.get()) != FALSE || GetLastError() != ERROR_NOT_OWNER)
            return 1;
        if (waitFor(mutex) != WAIT_TIMEOUT)
            return 2; // its parent holds it, and lives
        if (WdOwnTag(WD_ROLE_ALONE) == parent || WdTagIsAlive(parent) == FALSE)
            return 3;
        if (view[4999] != 'p')
            return 4;
        view[0] = 'c';
        if (waitFor(semaphore) != WAIT_OBJECT_0)
            return 5;
        if (viewOf<char>(mapping).get() != view.get())
            return 6;
        SetEvent(event.get());
        return waitFor(mutex, INFINITE) == WAIT_OBJECT_0 && waitFor(mutex) == WAIT_OBJECT_0 ? 0 : 7; // and ends with it
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
    const Handle taken = makeEvent(nullptr, true, false);
    const Handle end = makeEvent(nullptr, true, false);
    std::thread holder([&] {
        waitFor(others);
        SetEvent(taken.get());
        waitFor(end, INFINITE);
        ReleaseMutex(others.get());
    });
    waitFor(taken, INFINITE);
    Child child([&] {
        if (waitFor(held) != WAIT_OBJECT_0 || ReleaseMutex(held.get()) == FALSE || ReleaseMutex(held.get()) == FALSE)
            return 1;
        SetEvent(event.get());
        return waitFor(others) == WAIT_ABANDONED ? 0 : 2; // its holder isn't here
    });
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(waitFor(event), WAIT_TIMEOUT);
    EXPECT_EQ(waitElsewhere(held), WAIT_TIMEOUT);
    SetEvent(end.get());
    holder.join();
}

// When the child calls the layer for the first time, and what its parent has done by then.
enum class First { BeforeTheParent, AfterIt };

class ForkOrder : public KernelObjectFork, public testing::WithParamInterface<First> {};

TEST_P(ForkOrder, AChildGoesOnWithWhatItsParentClosed) {
    HANDLE event = CreateEventA(nullptr, TRUE, TRUE, "e");
    HANDLE semaphore = CreateSemaphoreA(nullptr, 2, 5, "s");
    HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 5000, "map");
    auto* const view = static_cast<char*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0));
    ASSERT_NE(view, nullptr);
    std::memset(view, 'p', 5000);
    const Pipe ready;
    const Pipe closed;
    const Pipe checked;
    const Pipe end;
    const auto findsEverything = [&] {
        closed.await();
        if (WaitForSingleObject(event, 0) != WAIT_OBJECT_0)
            return '1';
        LONG previous = -1;
        if (ReleaseSemaphore(semaphore, 4, nullptr) != FALSE || GetLastError() != ERROR_TOO_MANY_POSTS ||
            ReleaseSemaphore(semaphore, 3, &previous) == FALSE || previous != 2)
            return '2';
        return std::string(view, 5000) == std::string(5000, 'p') ? '+' : '3';
    };
    Child child([&] {
        if (GetParam() == First::BeforeTheParent && WaitForSingleObject(event, 0) != WAIT_OBJECT_0)
            return 1;
        ready.signal();
        checked.send(findsEverything());
        end.await();
        return UnmapViewOfFile(view) != FALSE && CloseHandle(mapping) != FALSE && !memoryExists() ? 0 : 2;
    });
    ASSERT_TRUE(ready.await());
    EXPECT_TRUE(CloseHandle(event) && CloseHandle(semaphore) && CloseHandle(mapping) && UnmapViewOfFile(view));
    closed.signal();
    char found = '-';
    EXPECT_TRUE(checked.receive(found));
    EXPECT_EQ(found, '+');
    EXPECT_TRUE(memoryExists()) << "the child has it";
    end.signal();
    EXPECT_EQ(child.wait(), 0);
    EXPECT_FALSE(memoryExists());
}

TEST_P(ForkOrder, AChildGoesOnWhenItsParentDies) {
    const Pipe ready;
    const Pipe dead;
    const Pipe checked;
    const Pipe end;
    Child parent([&]() -> int {
        const Handle mutex = makeMutex("m", true);
        const Handle mapping = makeMapping("map", 100);
        const View<char> view = viewOf<char>(mapping);
        view[0] = 'p';
        if (fork() == 0) {
            prctl(PR_SET_PDEATHSIG, 0); // the end of this test closes the pipes, which ends it too
            if (GetParam() == First::BeforeTheParent && waitFor(mutex) != WAIT_TIMEOUT)
                _exit(1);
            ready.signal();
            dead.await();
            const bool right =
                waitFor(mutex, INFINITE) == WAIT_ABANDONED && view[0] == 'p' && ReleaseMutex(mutex.get()) != FALSE;
            checked.send(right ? 'r' : 'w');
            end.await();
            _exit(0);
        }
        pauseForever();
    });
    ASSERT_TRUE(ready.await());
    EXPECT_EQ(parent.kill(), kKilled);
    EXPECT_EQ(memoryExists(), GetParam() == First::BeforeTheParent) << "the grandchild's first call opens it";
    dead.signal();
    char answer = '-';
    EXPECT_TRUE(checked.receive(answer));
    EXPECT_EQ(answer, 'r');
    EXPECT_TRUE(memoryExists()) << "the grandchild has it";
    EXPECT_NE(openMutex("m"), nullptr);
    end.signal();
    while (openMutex("m")) // until its end is done
        std::this_thread::yield();
    EXPECT_FALSE(memoryExists());
}

INSTANTIATE_TEST_SUITE_P(Order, ForkOrder, testing::Values(First::BeforeTheParent, First::AfterIt),
                         [](const auto& order) { return order.param == First::AfterIt ? "After" : "Before"; });

TEST_F(KernelObjectFork, AChildOfAChild) {
    const Handle mutex = makeMutex("m");
    const Handle event = makeEvent("e", false, false);
    Child child([&] {
        if (waitFor(mutex) != WAIT_OBJECT_0)
            return 1;
        Child grandchild([&] {
            if (ReleaseMutex(mutex.get()) != FALSE || waitFor(mutex) != WAIT_TIMEOUT)
                return 1;
            SetEvent(event.get());
            return 0;
        });
        if (grandchild.wait() != 0)
            return 2;
        // One that never called the layer between the two.
        Child silent([&] {
            return Child([&] {
                       if (waitFor(mutex) != WAIT_TIMEOUT)
                           return 1;
                       return waitFor(event) == WAIT_OBJECT_0 ? 0 : 2;
                   })
                .wait();
        });
        if (silent.wait() != 0)
            return 3;
        return ReleaseMutex(mutex.get()) != FALSE ? 0 : 4;
    });
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(waitFor(mutex), WAIT_OBJECT_0);
}

// A child that ends as programs do, having called the layer or not, takes nothing away from its parent.
TEST_F(KernelObjectFork, TheEndOfAChildDisturbsNobody) {
    const Handle mutex = makeMutex("m", true);
    makeMutex("kept mapped").reset();
    const std::size_t files = objectFiles().size();
    for (const bool calls : {false, true}) {
        EXPECT_EQ(Child([&]() -> int {
                      if (calls && waitFor(mutex) != WAIT_TIMEOUT)
                          _exit(1);
                      std::exit(0);
                  }).wait(),
                  0);
        EXPECT_EQ(objectFiles().size(), files);
        EXPECT_EQ(Child([] { return waitFor(openMutex("m")) == WAIT_TIMEOUT ? 0 : 1; }).wait(), 0);
    }
    // A thread of a child ends, too: what its parent held it leaves alone.
    EXPECT_EQ(Child([&] {
                  std::thread([&] { waitFor(mutex); }).join();
                  return waitFor(mutex) == WAIT_TIMEOUT ? 0 : 1;
              }).wait(),
              0);
    EXPECT_TRUE(ReleaseMutex(mutex.get()));
}

// The forking thread held mutexes when the child was made; when it ends there, what it knows of them must not lead to
// objects that are closed by then.
TEST_F(KernelObjectFork, AForkingThreadEndsInTheChild) {
    HANDLE mutex = CreateMutexA(nullptr, TRUE, "m");
    HANDLE again = CreateMutexA(nullptr, TRUE, "again");
    EXPECT_EQ(Child([&]() -> int {
                  if (CloseHandle(mutex) == FALSE)
                      _exit(1);
                  // The other one it takes itself, and closes it.
                  if (WaitForSingleObject(again, 0) != WAIT_TIMEOUT || CloseHandle(again) == FALSE)
                      _exit(2);
                  std::exit(0);
              }).wait(),
              0);
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_TRUE(ReleaseMutex(again));
    EXPECT_TRUE(CloseHandle(mutex) && CloseHandle(again));
}

// A child that never calls the layer keeps nothing of what its parent had open, or opened again behind the fork.
TEST_F(KernelObjectFork, ASilentChildKeepsNothing) {
    const Pipe ready;
    const Pipe end;
    const Pipe gone;
    Child parent([&]() -> int {
        const Handle open = makeMutex("open");
        makeMutex("closed").reset();
        if (fork() == 0) {
            prctl(PR_SET_PDEATHSIG, 0);
            end.await();
            gone.signal();
            _exit(0);
        }
        const Handle mutex = makeMutex("closed"); // open again
        ready.signal();
        pauseForever();
    });
    ASSERT_TRUE(ready.await());
    EXPECT_TRUE(openMutex("closed") && openMutex("open"));
    parent.kill();
    EXPECT_FALSE(openMutex("closed") || openMutex("open")) << "nobody who opened it lives";
    end.signal();
    EXPECT_TRUE(gone.await());
}

// The presence of a thread in some operation ends with it, also when another thread has forked meanwhile.
TEST_F(KernelObjectFork, AHandleOfAThreadsOwnIsNoneOfAnothersChild) {
    const Pipe opened;
    const Pipe called;
    const Pipe closed;
    std::thread other([&] {
        WdBeginOwnHandles();
        Handle presence = makeMutex("presence");
        WdEndOwnHandles();
        opened.signal();
        called.await();
        presence.reset();
        closed.signal();
    });
    ASSERT_TRUE(opened.await());
    const Handle shared = makeMutex("shared");
    const Pipe end;
    Child child([&] {
        if (waitFor(shared) != WAIT_OBJECT_0)
            return 1;
        called.signal();
        end.await();
        return makeMutex("presence") && GetLastError() == ERROR_SUCCESS ? 0 : 2;
    });
    EXPECT_TRUE(closed.await());
    EXPECT_EQ(openMutex("presence"), nullptr);
    EXPECT_NE(openMutex("shared"), nullptr);
    end.signal();
    EXPECT_EQ(child.wait(), 0);
    other.join();
}

TEST_F(KernelObjectFork, ADaemonThatClosesAllDescriptorsGoesOn) {
    const Handle mutex = makeMutex("m");
    EXPECT_EQ(Child([&] {
                  for (int file = 3; file < 1024; ++file)
                      close(file);
                  const int others = open("/", O_RDONLY | O_DIRECTORY); // in the place of one that the layer had
                  const bool goesOn = waitFor(mutex) == WAIT_OBJECT_0 && makeMutex("other");
                  return goesOn && fcntl(others, F_GETFD) != -1 ? 0 : 1;
              }).wait(),
              0);
}

// No descriptor of the layer takes the place of a standard one that its program was started without.
TEST_F(KernelObjectFork, StandardDescriptorsStayClosed) {
    EXPECT_EQ(Child([] {
                  for (const int file : {0, 1, 2})
                      close(file);
                  const Handle mutex = makeMutex("m");
                  HKEY key = nullptr;
                  const LONG error =
                      RegCreateKeyExA(HKEY_LOCAL_MACHINE, "K", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
                  for (const int file : {0, 1, 2})
                      if (fcntl(file, F_GETFD) != -1)
                          return 1 + file;
                  return mutex && error == ERROR_SUCCESS ? 0 : 4;
              }).wait(),
              0);
}

// Threads at work on every kind of object while children are made, which find everything free or in use, never stuck.
TEST_F(KernelObjectFork, ForksInTheMiddleOfOtherThreadsCalls) {
    if (!kThreadsMayFork)
        GTEST_SKIP() << "the sanitizer's own allocator locks don't survive such a fork";
    const Handle named = makeMutex("m");
    const Handle nameless = makeMutex(nullptr);
    const Handle event = makeEvent("e", false, true);
    std::atomic<bool> stop{false};
    const std::function<void()> works[] = {
        [&] {
            waitFor(named, INFINITE);
            ReleaseMutex(named.get());
        },
        [&] {
            waitFor(nameless, INFINITE);
            ReleaseMutex(nameless.get());
        },
        [&] {
            const Handle own = makeMutex("own", true);
            const Handle mapping = makeMapping("map", 100);
            const View<char> view = viewOf<char>(mapping);
            view[0] = 'x';
        },
        [&] {
            waitFor(event, INFINITE);
            SetEvent(event.get());
        },
    };
    std::vector<std::thread> threads;
    for (const auto& work : works)
        threads.emplace_back([&] {
            while (!stop)
                work();
        });
    for (int i = 0; i < 200 && !HasFailure(); ++i) {
        Child child([&] {
            const auto taken = [](const Handle& mutex) {
                const DWORD result = waitFor(mutex, 100'000); // a second
                return (result == WAIT_OBJECT_0 || result == WAIT_ABANDONED) && ReleaseMutex(mutex.get()) != FALSE;
            };
            if (!taken(nameless))
                return 1;
            if (!taken(named))
                return 2;
            if (makeEvent("new", true, true) == nullptr)
                return 3;
            const Handle mapping = makeMapping("map", 100);
            return mapping && viewOf<char>(mapping) ? 0 : 4;
        });
        EXPECT_EQ(child.wait(), 0) << i;
    }
    stop = true;
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
