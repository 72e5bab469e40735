// Kernel objects as the threads of one process take them, wait for them and give them back: who holds a mutex, whom a
// signal wakes, how long waits last.
#include <TestObject.h>
#include <TimeScale.h>

#include <gmock/gmock.h>
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
std::atomic<bool> isHeldUp{false}; // whoever is woken doesn't get on yet

} // namespace

// The layer's calls for its words pass here, and are counted.
WD_API long syscall(long number, ...) noexcept {
    using Call = long (*)(long, ...);
    static constinit std::atomic<Call> known{nullptr}; // no guarded static: that may call here itself
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
        EXPECT_EQ(errorOf(ReleaseMutex(mutex.get())), ERROR_NOT_OWNER);
        const Handle joined = makeMutex("m", true); // it existed: nothing is taken
        EXPECT_FALSE(ReleaseMutex(joined.get()));
    });
    for (int held = 3; held > 0; --held) {
        EXPECT_EQ(waitElsewhere(mutex), WAIT_TIMEOUT) << held;
        EXPECT_TRUE(ReleaseMutex(held % 2 == 0 ? same.get() : mutex.get()));
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
        EXPECT_EQ(waitFor(mutex), WAIT_OBJECT_0) << "and is told once";
        EXPECT_TRUE(ReleaseMutex(mutex.get()) && ReleaseMutex(mutex.get()));
        EXPECT_FALSE(ReleaseMutex(mutex.get()));
    }
}

TEST_F(KernelObjectWait, TheLastCloseByItsHolderReleasesAMutex) {
    for (const char* name : {"m", static_cast<const char*>(nullptr)})
        for (const int times : {1, 2}) {
            Handle mutex = makeMutex(name, true);
            EXPECT_TRUE(times == 1 || waitFor(mutex) == WAIT_OBJECT_0);
            mutex.reset();
            const Handle again = makeMutex(name);
            EXPECT_EQ(GetLastError(), ERROR_SUCCESS) << "nobody had it any more";
            EXPECT_EQ(waitElsewhere(again), WAIT_OBJECT_0);
        }
    const Handle kept = makeMutex("kept", true);
    CloseHandle(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, "kept"));
    EXPECT_EQ(waitElsewhere(kept), WAIT_TIMEOUT) << "not the last one";
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
    const Handle joined = makeEvent("gate", false, true); // joins what there is
    const auto set = [](const Handle& event) { SetEvent(event.get()); };
    const auto reset = [](const Handle& event) { ResetEvent(event.get()); };
    const struct {
        const char* what;
        const Handle& event;
        std::vector<std::function<void(const Handle&)>> before;
        DWORD first; // of two waits
        DWORD second;
    } rows[] = {
        {"one wait takes it", turn, {}, WAIT_OBJECT_0, WAIT_TIMEOUT},
        {"two signals are one", turn, {set, set}, WAIT_OBJECT_0, WAIT_TIMEOUT},
        {"reset", turn, {set, reset}, WAIT_TIMEOUT, WAIT_TIMEOUT},
        {"for all", gate, {}, WAIT_OBJECT_0, WAIT_OBJECT_0},
        {"closed", gate, {reset}, WAIT_TIMEOUT, WAIT_TIMEOUT},
        {"the same one", joined, {set}, WAIT_OBJECT_0, WAIT_OBJECT_0},
    };
    for (const auto& row : rows) {
        for (const auto& step : row.before)
            step(row.event);
        EXPECT_EQ(waitFor(row.event), row.first) << row.what;
        EXPECT_EQ(waitFor(row.event), row.second) << row.what;
    }
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
        EXPECT_TRUE(ResetEvent(event.get())); // of one that is taken: that stays so
        EXPECT_EQ(WdEventTaker(event.get()), tag);
        EXPECT_FALSE(WdSignalAgain(event.get(), tag ^ (WD_TAG{1} << 32)) || WdSignalAgain(event.get(), 0));
        EXPECT_EQ(waitFor(event), WAIT_TIMEOUT);
        EXPECT_TRUE(WdSignalAgain(event.get(), tag));
        EXPECT_FALSE(WdSignalAgain(event.get(), tag)) << "signalled already";
    }
    EXPECT_EQ(WdOwnTag(WD_ROLE_GROUP), WD_TAG{WD_GROUP_TAG});
    for (const WD_TAG nobody : {WD_TAG{0}, WD_TAG{WD_GROUP_TAG}, ~WD_TAG{0}, own + (WD_TAG{1} << 32), own ^ 0x70000})
        EXPECT_FALSE(WdTagIsAlive(nobody)) << std::hex << nobody;
    int looks = 0; // somebody looks before each sleep
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

// A sleeper whose wake was forgotten would find out at its next look, 100 ms later. One that happens to look while it
// is woken needs no wake: there are several rounds.
TEST_F(KernelObjectWait, WhoeverSleepsIsWoken) {
    const Handle mutex = makeMutex("m");
    const Handle turn = makeEvent("turn", false, false);
    const Handle gate = makeEvent("gate", true, false);
    const Handle posts = makeSemaphore("posts", 0, 9);
    const auto post = [&](LONG count) { ReleaseSemaphore(posts.get(), count, nullptr); };
    std::thread holder;
    std::atomic<bool> isHeld{false};
    const auto lend = [&] { // awake, so that it isn't counted
        holder = std::thread([&] {
            waitFor(mutex);
            for (isHeld = true; isHeld;)
                std::this_thread::yield();
        });
        while (!isHeld)
            std::this_thread::yield();
    };
    const auto endHolder = [&] {
        isHeld = false;
        holder.join();
    };
    const auto nothing = [] {};
    const struct {
        const char* name;
        const Handle& object;
        int sleepers;
        std::function<void()> before, wake, after;
    } rows[] = {
        {"a mutex", mutex, 1, [&] { waitFor(mutex); }, [&] { ReleaseMutex(mutex.get()); }, nothing},
        {"a mutex whose holder ends", mutex, 1, lend, endHolder, nothing},
        {"an event", turn, 1, nothing, [&] { SetEvent(turn.get()); }, nothing},
        {"an event for all", gate, 3, nothing, [&] { SetEvent(gate.get()); }, [&] { ResetEvent(gate.get()); }},
        {"posts at once", posts, 3, nothing, [&] { post(3); }, nothing},
        {"posts one by one", posts, 3, nothing, [&] { post(1), post(1), post(1); }, nothing},
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
    } rows[] = {{"1", 20, milliseconds(20)},
                {"0.01", 5000, milliseconds(50)},
                {"3", 10, milliseconds(30)},
                {"0.0001", 100, milliseconds(1)},
                {"1", 130, milliseconds(130)}}; // longer than a look
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
    // Waits that get what they wait for don't last at all: these two would be hours.
    const TimeScale scale("1000");
    const Handle event = makeEvent("e", false, true);
    EXPECT_EQ(waitFor(event, 3'600'000), WAIT_OBJECT_0);
    std::thread signaller([&] { SetEvent(event.get()); });
    EXPECT_EQ(waitFor(event, 3'600'000), WAIT_OBJECT_0);
    signaller.join();
}

std::atomic<int> signals{0};

TEST_F(KernelObjectWait, SignalsDontShortenWaits) {
    const TimeScale scale("1");
    struct sigaction action {};
    action.sa_handler = [](int) { ++signals; };
    ASSERT_EQ(sigaction(SIGALRM, &action, nullptr), 0); // without SA_RESTART
    const struct itimerval often {
        {0, 500}, { 0, 500 }
    }, never{};
    ASSERT_EQ(setitimer(ITIMER_REAL, &often, nullptr), 0);
    const Handle event = makeEvent("e", false, false);
    for (const std::function<void()>& wait :
         {std::function<void()>([] { Sleep(60); }), {[&] { waitFor(event, 60); }}}) {
        signals = 0;
        const auto begin = Clock::now();
        wait();
        EXPECT_GE(Clock::now() - begin, milliseconds(60));
        EXPECT_GT(signals, 0);
    }
    setitimer(ITIMER_REAL, &never, nullptr);
}

TEST_F(KernelObjectWait, ASleeperTellsThatTheFileWasRemoved) {
    const Handle mutex = makeMutex("m", true);
    std::filesystem::remove(objectsFolder() / "m");
    testing::internal::CaptureStderr();
    EXPECT_EQ(waitElsewhere(mutex, 1), WAIT_TIMEOUT);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("object m in use was removed"));
}

} // namespace
