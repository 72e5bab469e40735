// Threads of one process take, wait for and release kernel objects: who owns a mutex, whom a signal wakes, how long
// waits last.
#include <TestObject.h>
#include <TimeScale.h>

#include <gtest/gtest.h>

#include <platform/robust.h>
#include <platform/testing.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <thread>

namespace {

std::atomic<int> asleep{0}; // threads in a wait of the layer, or on their way there
std::atomic<int> woken{0};
std::atomic<bool> isHeldUp{false}; // delays threads that have been woken

} // namespace

// Interposes and counts the layer's futex calls.
WD_API long syscall(long number, ...) noexcept {
    using Call = long (*)(long, ...);
    static constinit std::atomic<Call> known{nullptr}; // no guarded static: its guard might call this function
    Call real = known;
    if (real == nullptr)
        known = real = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "syscall"));
    va_list list;
    va_start(list, number);
    long a[6];
    for (long& argument : a)
        argument = va_arg(list, long);
    va_end(list);
    const bool sleeps = number == SYS_futex && a[1] == FUTEX_WAIT_BITSET;
    asleep += sleeps ? 1 : 0;
    const long result = real(number, a[0], a[1], a[2], a[3], a[4], a[5]);
    while (sleeps && isHeldUp)
        std::this_thread::yield();
    asleep -= sleeps ? 1 : 0;
    woken += number == SYS_futex && a[1] == FUTEX_WAKE && result > 0 ? static_cast<int>(result) : 0;
    return result;
}

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

class KernelObjectWait : public testing::Test {
  protected:
    KernelObjectWait() { useFreshHome(); }
};

// Runs `work` on a new thread and waits for its end.
void elsewhere(const std::function<void()>& work) {
    std::thread(work).join();
}

TEST_F(KernelObjectWait, AMutexIsItsThreadsHoweverOftenItTookIt) {
    const Handle mutex = makeMutex("m", true);
    const Handle same(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, "m"));
    EXPECT_EQ(waitFor(same, INFINITE), WAIT_OBJECT_0);
    elsewhere([&] { EXPECT_EQ(errorOf(ReleaseMutex(mutex.get())), ERROR_NOT_OWNER); });
    openMutex("m").reset(); // closes only one of its handles
    for (const Handle* held : {&mutex, &same}) {
        EXPECT_EQ(waitElsewhere(mutex), WAIT_TIMEOUT);
        EXPECT_TRUE(ReleaseMutex(held->get()));
    }
    EXPECT_FALSE(ReleaseMutex(mutex.get()));
    EXPECT_EQ(waitElsewhere(mutex), WAIT_OBJECT_0) << "released, not abandoned";
}

TEST_F(KernelObjectWait, TheEndOfAThreadAbandonsWhatItHolds) {
    const Handle held[] = {makeMutex("first"), makeMutex("second")};
    const Handle released = makeMutex("released");
    elsewhere([&] {
        waitFor(held[0]);
        waitFor(held[0]);
        waitFor(held[1]);
        waitFor(released);
        ReleaseMutex(released.get());
    });
    EXPECT_EQ(waitFor(released), WAIT_OBJECT_0);
    for (const Handle& mutex : held) {
        EXPECT_EQ(waitFor(mutex, INFINITE), WAIT_ABANDONED);
        EXPECT_EQ(waitElsewhere(mutex), WAIT_TIMEOUT) << "abandoned comes with ownership";
        EXPECT_TRUE(ReleaseMutex(mutex.get()));
        EXPECT_FALSE(ReleaseMutex(mutex.get()));
    }
}

TEST_F(KernelObjectWait, TheLastCloseByItsHolderReleasesAMutex) {
    Handle mutex = makeMutex("m", true);
    EXPECT_EQ(waitFor(mutex), WAIT_OBJECT_0) << "twice";
    mutex.reset();
    const Handle again = makeMutex("m");
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS) << "nobody had it any more";
    EXPECT_EQ(waitElsewhere(again), WAIT_OBJECT_0);
}

TEST_F(KernelObjectWait, TheLastCloseByAnotherThreadLeavesItHeld) {
    const auto isThere = [] { return Handle(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, "m")) != nullptr; };
    const auto takeAndLetAnotherClose = [] {
        HANDLE mutex = makeMutex("m", true).release();
        elsewhere([&] { EXPECT_TRUE(CloseHandle(mutex)); });
    };
    takeAndLetAnotherClose();
    {
        const Handle again = makeMutex("m");
        EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS) << "its holder keeps it";
        EXPECT_EQ(waitElsewhere(again), WAIT_TIMEOUT);
        EXPECT_TRUE(ReleaseMutex(again.get()));
    }
    EXPECT_FALSE(isThere());
    elsewhere(takeAndLetAnotherClose);
    EXPECT_FALSE(isThere()) << "the end of the thread that holds it is the end of it";
}

TEST_F(KernelObjectWait, Events) {
    const Handle turn = makeEvent("turn", false, true);
    const Handle gate = makeEvent("gate", true, true);
    const Handle joined = makeEvent("gate", false, true); // joins the existing one
    const auto twice = [](const Handle& event) { return std::pair{waitFor(event), waitFor(event)}; };
    using Results = std::pair<DWORD, DWORD>;
    EXPECT_EQ(twice(turn), Results(WAIT_OBJECT_0, WAIT_TIMEOUT));
    EXPECT_TRUE(SetEvent(turn.get()) && SetEvent(turn.get()));
    EXPECT_EQ(twice(turn), Results(WAIT_OBJECT_0, WAIT_TIMEOUT)) << "two signals are one";
    EXPECT_TRUE(SetEvent(turn.get()) && ResetEvent(turn.get()));
    EXPECT_EQ(twice(turn), Results(WAIT_TIMEOUT, WAIT_TIMEOUT));
    EXPECT_EQ(twice(joined), Results(WAIT_OBJECT_0, WAIT_OBJECT_0)) << "for all";
    EXPECT_TRUE(ResetEvent(gate.get()));
    EXPECT_EQ(twice(joined), Results(WAIT_TIMEOUT, WAIT_TIMEOUT));
}

TEST_F(KernelObjectWait, AnEventTellsWhoTookIt) {
    const Handle event = makeEvent("e", false, true);
    EXPECT_EQ(WdEventTaker(event.get()), 0u);
    const WD_TAG own = WdOwnTag(WD_ROLE_ALONE);
    EXPECT_EQ(WdTagRole(own), WD_ROLE_ALONE);
    EXPECT_TRUE(WdTagIsAlive(own));
    for (const DWORD role : {WD_ROLE_ALONE, WD_ROLE_GROUP, WD_ROLE_NONE}) {
        const WD_TAG tag = WdOwnTag(role);
        EXPECT_EQ(WdWaitForEvent(event.get(), role, 0, nullptr, nullptr), WAIT_OBJECT_0);
        EXPECT_TRUE(ResetEvent(event.get())); // doesn't change that it is taken
        EXPECT_EQ(WdEventTaker(event.get()), tag);
        EXPECT_FALSE(WdSignalAgain(event.get(), tag ^ (WD_TAG{1} << 32)) || WdSignalAgain(event.get(), 0));
        EXPECT_EQ(waitFor(event), WAIT_TIMEOUT);
        EXPECT_EQ(WdWaitForEvent(event.get(), WD_ROLE_GROUP, 0, nullptr, nullptr),
                  role == WD_ROLE_GROUP ? WAIT_OBJECT_0 : WAIT_TIMEOUT);
        EXPECT_TRUE(WdSignalAgain(event.get(), tag));
        EXPECT_FALSE(WdSignalAgain(event.get(), tag)) << "signalled already";
    }
    EXPECT_EQ(WdOwnTag(WD_ROLE_GROUP), WD_TAG{WD_GROUP_TAG});
    for (const WD_TAG nobody : {WD_TAG{0}, WD_TAG{WD_GROUP_TAG}, ~WD_TAG{0}, own + (WD_TAG{1} << 32), own ^ 0x70000})
        EXPECT_FALSE(WdTagIsAlive(nobody)) << std::hex << nobody;
    int looks = 0; // a wait calls `look` before each sleep
    EXPECT_EQ(waitFor(event), WAIT_OBJECT_0);
    const auto look = [](void* context) { ++*static_cast<int*>(context); };
    EXPECT_EQ(WdWaitForEvent(event.get(), WD_ROLE_ALONE, 1, look, &looks), WAIT_TIMEOUT);
    EXPECT_GE(looks, 1);
}

// The number of this process's threads that the system reports as sleeping.
int sleepers() {
    int count = 0;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream status(thread.path() / "stat");
        const std::string text{std::istreambuf_iterator<char>(status), {}};
        const auto end = text.rfind(')'); // ends the thread's name; the state follows
        count += end != std::string::npos && end + 2 < text.size() && text[end + 2] == 'S' ? 1 : 0;
    }
    return count;
}

// A sleeper that isn't woken would notice only at its next look, 100 ms later. One that happens to look just then needs
// no wake-up, so there are several rounds.
TEST_F(KernelObjectWait, WhoeverSleepsIsWoken) {
    const Handle mutex = makeMutex("m");
    const Handle turn = makeEvent("turn", false, false);
    const Handle gate = makeEvent("gate", true, false);
    const auto nothing = [] {};
    const struct {
        const char* name;
        const Handle& object;
        int sleepers;
        std::function<void()> before, wake, after;
    } rows[] = {
        {"a mutex", mutex, 1, [&] { waitFor(mutex); }, [&] { ReleaseMutex(mutex.get()); }, nothing},
        {"an event", turn, 1, nothing, [&] { SetEvent(turn.get()); }, nothing},
        {"an event for all", gate, 3, nothing, [&] { SetEvent(gate.get()); }, [&] { ResetEvent(gate.get()); }},
    };
    const int others = sleepers(); // such as a sanitizer's own thread
    for (const auto& row : rows) {
        int most = 0;
        for (int round = 0; round < 50 && most < row.sleepers; ++round) {
            row.before();
            std::vector<std::thread> threads;
            for (int i = 0; i < row.sleepers; ++i)
                threads.emplace_back([&] { EXPECT_LE(waitFor(row.object, INFINITE), WAIT_ABANDONED) << row.name; });
            while (asleep < row.sleepers || sleepers() < others + row.sleepers)
                std::this_thread::yield();
            woken = 0;
            isHeldUp = true;
            row.wake();
            isHeldUp = false;
            for (std::thread& thread : threads)
                thread.join();
            most = std::max(most, woken.load());
            row.after();
        }
        EXPECT_EQ(most, row.sleepers) << row.name;
    }
}

TEST_F(KernelObjectWait, WaitsLastAsLongAsAskedInTheHomesTime) {
    const struct {
        const char* scale;
        DWORD asked;
        milliseconds least;
    } rows[] = {{"0.01", 5000, milliseconds(50)},
                {"3", 10, milliseconds(30)},
                {"1", 130, milliseconds(130)}}; // longer than the time between looks
    for (const auto& row : rows) {
        const TimeScale scale(row.scale);
        const Handle event = makeEvent("e", false, false);
        auto begin = Clock::now();
        EXPECT_EQ(waitFor(event, row.asked), WAIT_TIMEOUT);
        EXPECT_GE(Clock::now() - begin, row.least) << row.scale;
        begin = Clock::now();
        Sleep(row.asked);
        EXPECT_GE(Clock::now() - begin, row.least) << row.scale;
    }
}

std::atomic<int> signals{0};

TEST_F(KernelObjectWait, SignalsDontShortenWaits) {
    const TimeScale scale("1");
    struct sigaction action {};
    action.sa_handler = [](int) { ++signals; };
    ASSERT_EQ(sigaction(SIGALRM, &action, nullptr), 0); // without SA_RESTART
    itimerval often{{0, 500}, {0, 500}};
    ASSERT_EQ(setitimer(ITIMER_REAL, &often, nullptr), 0);
    const Handle event = makeEvent("e", false, false);
    const auto begin = Clock::now();
    Sleep(60);
    EXPECT_EQ(waitFor(event, 60), WAIT_TIMEOUT);
    EXPECT_GE(Clock::now() - begin, milliseconds(120));
    EXPECT_GT(signals, 0);
    often = {};
    setitimer(ITIMER_REAL, &often, nullptr);
}

} // namespace
