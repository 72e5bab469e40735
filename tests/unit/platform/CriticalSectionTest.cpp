#include <Child.h>

#include <platform/sync.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <unistd.h>

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
// This tests a forked child with threads of its own.
extern "C" const char* __tsan_default_options() {
    return "die_after_fork=0";
}
#endif
#endif

namespace {

struct Section : CRITICAL_SECTION {
    Section() : CRITICAL_SECTION{} { InitializeCriticalSection(this); }
    ~Section() { DeleteCriticalSection(this); }
    Section(const Section&) = delete;
    Section& operator=(const Section&) = delete;
    void enter() { EnterCriticalSection(this); }
    void leave() { LeaveCriticalSection(this); }
};

// In a forked child, sections held by threads that no longer exist are free; the forking thread's own are held.
TEST(CriticalSection, AForkFreesWhatOtherThreadsHeld) {
    Section others;
    Section own;
    std::atomic<bool> taken{false};
    std::atomic<bool> release{false};
    std::thread holder([&] {
        others.enter();
        taken = true;
        taken.notify_one();
        release.wait(false);
        others.leave();
    });
    taken.wait(false);
    own.enter();
    own.enter();
    Child child([&] {
        alarm(20); // ends a child that waits for a thread it doesn't have
        others.enter();
        others.leave();
        std::atomic<int> order{0};
        int entered = 0;
        std::thread late([&] {
            own.enter();
            entered = order.load();
            own.leave();
        });
        own.leave();
        order = 1;
        own.leave();
        late.join();
        return entered == 1 ? 0 : 1;
    });
    own.leave();
    own.leave();
    release = true;
    release.notify_one();
    holder.join();
    EXPECT_EQ(child.wait(), 0);
}

} // namespace
