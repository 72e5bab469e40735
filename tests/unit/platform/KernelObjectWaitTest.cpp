// Kernel objects as the threads of one process take them, wait for them and give them back: who holds a mutex, whom a
// signal wakes, how long waits last.
#include <TestObject.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <platform/robust.h>
#include <platform/testing.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sys/time.h>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

class KernelObjectWait : public testing::Test {
  protected:
    KernelObjectWait() { useFreshHome(); }
};

// In a thread of its own, which ends.
void elsewhere(const std::function<void()>& work) {
    std::thread(work).join();
}

TEST_F(KernelObjectWait, AMutexIsItsThreadsHoweverOftenItTookIt) {
    const Handle mutex = makeMutex("m", true);
    const Handle same(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, "m"));
    EXPECT_EQ(waitFor(mutex), WAIT_OBJECT_0);
    EXPECT_EQ(waitFor(same, INFINITE), WAIT_OBJECT_0);
    elsewhere([&] {
        EXPECT_EQ(waitFor(mutex), WAIT_TIMEOUT);
        EXPECT_FALSE(ReleaseMutex(mutex.get()));
        EXPECT_EQ(GetLastError(), ERROR_NOT_OWNER);
        const Handle joined = makeMutex("m", true); // it existed: nothing is taken
        EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
        EXPECT_FALSE(ReleaseMutex(joined.get()));
    });
    for (int held = 3; held > 0; --held) {
        EXPECT_EQ(waitElsewhere(mutex), WAIT_TIMEOUT) << held;
        EXPECT_TRUE(ReleaseMutex(held % 2 == 0 ? same.get() : mutex.get()));
    }
    EXPECT_FALSE(ReleaseMutex(mutex.get()));
    elsewhere([&] {
        EXPECT_EQ(waitFor(mutex), WAIT_OBJECT_0);
        EXPECT_TRUE(ReleaseMutex(mutex.get()));
    });
    EXPECT_EQ(waitFor(mutex), WAIT_OBJECT_0) << "released, not abandoned";
}

TEST_F(KernelObjectWait, TheEndOfAThreadAbandonsWhatItHolds) {
    const Handle first = makeMutex("first");
    const Handle second = makeMutex("second");
    const Handle released = makeMutex("released");
    elsewhere([&] {
        waitFor(first);
        waitFor(first);
        waitFor(second);
        waitFor(released);
        ReleaseMutex(released.get());
    });
    EXPECT_EQ(waitFor(released), WAIT_OBJECT_0);
    for (const Handle* mutex : {&first, &second}) {
        EXPECT_EQ(waitFor(*mutex, INFINITE), WAIT_ABANDONED);
        EXPECT_EQ(waitElsewhere(*mutex), WAIT_TIMEOUT) << "abandoned comes with ownership";
        EXPECT_EQ(waitFor(*mutex), WAIT_OBJECT_0) << "and is told once";
        EXPECT_TRUE(ReleaseMutex(mutex->get()));
        EXPECT_TRUE(ReleaseMutex(mutex->get()));
        EXPECT_FALSE(ReleaseMutex(mutex->get()));
        EXPECT_EQ(waitFor(*mutex), WAIT_OBJECT_0);
    }
}

// A sleeper gets it from a thread that ends, without a wait for the next look.
TEST_F(KernelObjectWait, ASleeperGetsTheMutexOfAThreadThatEnds) {
    const Handle mutex = makeMutex("m");
    const Handle held = makeEvent(nullptr, true, false);
    const Handle end = makeEvent(nullptr, true, false);
    std::thread holder([&] {
        waitFor(mutex);
        SetEvent(held.get());
        waitFor(end, INFINITE);
    });
    waitFor(held, INFINITE);
    std::thread sleeper([&] { EXPECT_EQ(waitFor(mutex, INFINITE), WAIT_ABANDONED); });
    SetEvent(end.get());
    holder.join();
    sleeper.join();
}

TEST_F(KernelObjectWait, TheLastCloseByItsHolderReleasesAMutex) {
    EXPECT_TRUE(CloseHandle(CreateMutexA(nullptr, TRUE, nullptr)));
    EXPECT_TRUE(CloseHandle(CreateMutexA(nullptr, TRUE, "m")));
    const Handle again = makeMutex("m");
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS) << "nobody had it any more";
    EXPECT_EQ(waitElsewhere(again), WAIT_OBJECT_0);
    // Not the last one.
    const Handle kept = makeMutex("kept", true);
    CloseHandle(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, "kept"));
    EXPECT_EQ(waitElsewhere(kept), WAIT_TIMEOUT);
}

TEST_F(KernelObjectWait, TheLastCloseByAnotherThreadLeavesItHeld) {
    HANDLE mutex = CreateMutexA(nullptr, TRUE, "m");
    elsewhere([&] { EXPECT_TRUE(CloseHandle(mutex)); });
    {
        const Handle again = makeMutex("m");
        EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS) << "its holder keeps it";
        EXPECT_EQ(waitElsewhere(again), WAIT_TIMEOUT);
        EXPECT_TRUE(ReleaseMutex(again.get()));
    }
    EXPECT_EQ(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, "m"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    // The end of the thread that holds it is the end of it.
    elsewhere([] {
        HANDLE own = CreateMutexA(nullptr, TRUE, "m");
        elsewhere([&] { CloseHandle(own); });
    });
    EXPECT_EQ(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, "m"), nullptr);
}

TEST_F(KernelObjectWait, Events) {
    const Handle autoReset = makeEvent("auto", false, true);
    EXPECT_EQ(waitFor(autoReset), WAIT_OBJECT_0);
    EXPECT_EQ(waitFor(autoReset), WAIT_TIMEOUT) << "one wait takes it";
    SetEvent(autoReset.get());
    SetEvent(autoReset.get());
    EXPECT_EQ(waitFor(autoReset), WAIT_OBJECT_0);
    EXPECT_EQ(waitFor(autoReset), WAIT_TIMEOUT) << "two signals are one";
    SetEvent(autoReset.get());
    ResetEvent(autoReset.get());
    EXPECT_EQ(waitFor(autoReset), WAIT_TIMEOUT);

    const Handle manual = makeEvent("manual", true, true);
    EXPECT_EQ(waitFor(manual), WAIT_OBJECT_0);
    EXPECT_EQ(waitFor(manual), WAIT_OBJECT_0);
    ResetEvent(manual.get());
    EXPECT_EQ(waitFor(manual), WAIT_TIMEOUT);
    const Handle joined = makeEvent("manual", false, true); // joins what there is, signals nothing
    EXPECT_EQ(waitFor(manual), WAIT_TIMEOUT);
    std::vector<std::thread> sleepers;
    for (int i = 0; i < 4; ++i)
        sleepers.emplace_back([&] { EXPECT_EQ(waitFor(joined, INFINITE), WAIT_OBJECT_0); });
    SetEvent(joined.get());
    for (std::thread& sleeper : sleepers)
        sleeper.join();
    EXPECT_EQ(waitFor(manual), WAIT_OBJECT_0) << "stays signalled";
}

TEST_F(KernelObjectWait, AnEventTellsWhoTookIt) {
    const Handle event = makeEvent("e", false, true);
    EXPECT_EQ(WdEventTaker(event.get()), 0u);
    const WD_TAG own = WdOwnTag(WD_ROLE_ALONE);
    EXPECT_EQ(WdTagRole(own), WD_ROLE_ALONE);
    EXPECT_TRUE(WdTagIsAlive(own));
    const struct {
        DWORD role;
        WD_TAG tag;
    } kTakers[] = {{WD_ROLE_ALONE, own}, {WD_ROLE_GROUP, WD_GROUP_TAG}, {WD_ROLE_NONE, WdOwnTag(WD_ROLE_NONE)}};
    for (const auto& taker : kTakers) {
        EXPECT_EQ(WdWaitForEvent(event.get(), taker.role, 0, nullptr, nullptr), WAIT_OBJECT_0);
        EXPECT_EQ(WdEventTaker(event.get()), taker.tag);
        EXPECT_FALSE(WdSignalAgain(event.get(), taker.tag ^ (WD_TAG{1} << 32)));
        EXPECT_FALSE(WdSignalAgain(event.get(), 0));
        EXPECT_EQ(waitFor(event), WAIT_TIMEOUT);
        EXPECT_TRUE(WdSignalAgain(event.get(), taker.tag));
        EXPECT_FALSE(WdSignalAgain(event.get(), taker.tag)) << "signalled already";
    }
    for (const WD_TAG nobody : {WD_TAG{0}, WD_TAG{WD_GROUP_TAG}, ~WD_TAG{0}, own + (WD_TAG{1} << 32), own ^ 0x70000})
        EXPECT_FALSE(WdTagIsAlive(nobody)) << std::hex << nobody;
    // Before each sleep somebody looks.
    int looks = 0;
    EXPECT_EQ(waitFor(event), WAIT_OBJECT_0);
    const auto look = [](void* context) { ++*static_cast<int*>(context); };
    EXPECT_EQ(WdWaitForEvent(event.get(), WD_ROLE_ALONE, 1, look, &looks), WAIT_TIMEOUT);
    EXPECT_GE(looks, 1);
}

// Threads of this process that the system shows asleep.
int sleepers() {
    int count = 0;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream status(thread.path() / "stat");
        const std::string text{std::istreambuf_iterator<char>(status), {}};
        const auto end = text.rfind(')'); // of its name; the state follows
        count += end != std::string::npos && end + 2 < text.size() && text[end + 2] == 'S' ? 1 : 0;
    }
    return count;
}

// A sleeper whose wake was forgotten would find out at its next look, 100 ms later.
TEST_F(KernelObjectWait, WhoeverSleepsIsWokenAtOnce) {
    constexpr int kRounds = 12;
    const Handle mutex = makeMutex("m");
    const Handle turn = makeEvent("turn", false, false);
    const Handle gate = makeEvent("gate", true, false);
    const Handle posts = makeSemaphore("posts", 0, 9);
    const struct {
        const char* name;
        const Handle& object;
        int sleepers;
        std::function<void()> before, wake, after;
    } kKinds[] = {
        {"mutex", mutex, 1, [&] { waitFor(mutex); }, [&] { ReleaseMutex(mutex.get()); }, [] {}},
        {"event", turn, 1, [] {}, [&] { SetEvent(turn.get()); }, [] {}},
        {"event for all", gate, 3, [] {}, [&] { SetEvent(gate.get()); }, [&] { ResetEvent(gate.get()); }},
        {"posts at once", posts, 3, [] {}, [&] { ReleaseSemaphore(posts.get(), 3, nullptr); }, [] {}},
        {"posts one by one", posts, 3, [] {},
         [&] {
             for (int i = 0; i < 3; ++i)
                 ReleaseSemaphore(posts.get(), 1, nullptr);
         },
         [] {}},
    };
    const int others = sleepers(); // such as a sanitizer's own thread
    for (const auto& kind : kKinds) {
        Clock::duration waited{};
        for (int round = 0; round < kRounds; ++round) {
            kind.before();
            std::vector<std::thread> threads;
            for (int i = 0; i < kind.sleepers; ++i)
                threads.emplace_back([&] { EXPECT_LE(waitFor(kind.object, INFINITE), WAIT_ABANDONED) << kind.name; });
            while (sleepers() < others + kind.sleepers)
                std::this_thread::yield();
            const auto begin = Clock::now();
            kind.wake();
            for (std::thread& thread : threads)
                thread.join();
            waited += Clock::now() - begin;
            kind.after();
        }
        EXPECT_LT(waited, kRounds * milliseconds(50)) << kind.name;
    }
}

// Hand-overs to sleepers, by the thousand: one that was lost would cost its sleeper the time of a look, 100 ms.
TEST_F(KernelObjectWait, NoWakeIsLost) {
    constexpr int kSleepers = 4;
    constexpr int kEach = 500;
    const auto begin = Clock::now();
    const Handle posts = makeSemaphore("posts", 0, kSleepers);
    const Handle answers = makeSemaphore("answers", 0, kSleepers);
    const Handle guard = makeMutex("guard");
    const Handle turn = makeEvent("turn", false, true);
    int count = 0; // guarded by both at once
    std::vector<std::thread> sleepers;
    for (int i = 0; i < kSleepers; ++i)
        sleepers.emplace_back([&] {
            for (int k = 0; k < kEach; ++k) {
                EXPECT_EQ(waitFor(posts, INFINITE), WAIT_OBJECT_0);
                EXPECT_EQ(waitFor(guard, INFINITE), WAIT_OBJECT_0);
                EXPECT_EQ(waitFor(turn, INFINITE), WAIT_OBJECT_0);
                ++count;
                SetEvent(turn.get());
                ReleaseMutex(guard.get());
                ReleaseSemaphore(answers.get(), 1, nullptr);
            }
        });
    // All at once and one by one; what a sleeper takes twice another one lacks, so nobody may stay asleep.
    for (int k = 0; k < kEach; ++k) {
        const int together = k % 2 == 0 ? kSleepers : 1;
        for (int posted = 0; posted < kSleepers; posted += together)
            EXPECT_TRUE(ReleaseSemaphore(posts.get(), together, nullptr));
        for (int i = 0; i < kSleepers; ++i)
            EXPECT_EQ(waitFor(answers, INFINITE), WAIT_OBJECT_0);
    }
    for (std::thread& sleeper : sleepers)
        sleeper.join();
    EXPECT_EQ(count, kSleepers * kEach);
    EXPECT_LT(Clock::now() - begin, milliseconds(100) * kEach / 5) << "every fifth round waited for a look";
}

TEST_F(KernelObjectWait, TwoThreadsPassATurnToAndFro) {
    constexpr int kRounds = 2000;
    const auto begin = Clock::now();
    const Handle there = makeEvent("there", false, false);
    const Handle back = makeEvent("back", false, false);
    std::thread partner([&] {
        for (int i = 0; i < kRounds; ++i) {
            EXPECT_EQ(waitFor(there, INFINITE), WAIT_OBJECT_0);
            SetEvent(back.get());
        }
    });
    for (int i = 0; i < kRounds; ++i) {
        SetEvent(there.get());
        EXPECT_EQ(waitFor(back, INFINITE), WAIT_OBJECT_0);
    }
    partner.join();
    EXPECT_LT(Clock::now() - begin, milliseconds(100) * kRounds / 20) << "every twentieth round waited for a look";
}

TEST_F(KernelObjectWait, WaitsLastAsLongAsAskedInTheHomesTime) {
    const struct {
        const char* scale;
        DWORD asked;
        milliseconds least;
    } kCases[] = {{"1", 20, milliseconds(20)},
                  {"0.01", 5000, milliseconds(50)},
                  {"3", 10, milliseconds(30)},
                  {"0.0001", 100, milliseconds(1)},
                  {"1", 130, milliseconds(130)}}; // longer than a look
    for (const auto& row : kCases) {
        setenv("WARDLET_TIME_SCALE", row.scale, 1);
        WdTestRereadEnvironment();
        const Handle event = makeEvent("e", false, false);
        auto begin = Clock::now();
        EXPECT_EQ(waitFor(event, row.asked), WAIT_TIMEOUT);
        EXPECT_GE(Clock::now() - begin, row.least) << row.scale;
        begin = Clock::now();
        Sleep(row.asked);
        EXPECT_GE(Clock::now() - begin, row.least) << row.scale;
    }
    // Waits that get what they wait for don't last at all: these two would be hours.
    setenv("WARDLET_TIME_SCALE", "1000", 1);
    WdTestRereadEnvironment();
    const Handle event = makeEvent("e", false, true);
    EXPECT_EQ(waitFor(event, 3'600'000), WAIT_OBJECT_0);
    std::thread signaller([&] { SetEvent(event.get()); });
    EXPECT_EQ(waitFor(event, 3'600'000), WAIT_OBJECT_0);
    signaller.join();
}

TEST_F(KernelObjectWait, ASleeperTellsThatTheFileWasRemoved) {
    const Handle mutex = makeMutex("m", true);
    std::filesystem::remove(objectsFolder() / "m");
    testing::internal::CaptureStderr();
    EXPECT_EQ(waitElsewhere(mutex, 1), WAIT_TIMEOUT);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("object m in use was removed"));
}

std::atomic<int> signals{0};

TEST_F(KernelObjectWait, SignalsDontShortenWaits) {
    setenv("WARDLET_TIME_SCALE", "1", 1);
    WdTestRereadEnvironment();
    struct sigaction action {};
    action.sa_handler = [](int) { ++signals; };
    ASSERT_EQ(sigaction(SIGALRM, &action, nullptr), 0); // without SA_RESTART
    const struct itimerval often {
        {0, 500}, { 0, 500 }
    };
    ASSERT_EQ(setitimer(ITIMER_REAL, &often, nullptr), 0);
    for (const bool sleeps : {false, true}) {
        const Handle event = makeEvent("e", false, false);
        signals = 0;
        const auto begin = Clock::now();
        if (sleeps)
            Sleep(60);
        else
            EXPECT_EQ(waitFor(event, 60), WAIT_TIMEOUT);
        EXPECT_GE(Clock::now() - begin, milliseconds(60));
        EXPECT_GT(signals, 0);
    }
    const struct itimerval never {};
    setitimer(ITIMER_REAL, &never, nullptr);
}

} // namespace
