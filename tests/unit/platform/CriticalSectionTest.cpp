#include <Child.h>

#include <platform/sync.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <unistd.h>
#include <vector>

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
// A child with threads of its own is what is tested here.
extern "C" const char* __tsan_default_options() {
    return "die_after_fork=0";
}
#endif
#endif

namespace {

class Section {
  public:
    Section() { InitializeCriticalSection(&m_section); }
    ~Section() { DeleteCriticalSection(&m_section); }
    Section(const Section&) = delete;
    Section& operator=(const Section&) = delete;
    void enter() { EnterCriticalSection(&m_section); }
    void leave() { LeaveCriticalSection(&m_section); }

  private:
    CRITICAL_SECTION m_section{};
};

TEST(CriticalSection, OneThreadAtATimeHoweverDeep) {
    Section section;
    long counter = 0; // without the lock a data race, and a wrong sum
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int n = 0; n < 10000; ++n) {
                section.enter();
                section.enter();
                const long seen = counter;
                section.leave();
                counter = seen + 1; // still inside: the outer entry counts
                section.leave();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(counter, 40000);
}

// What a child finds: sections of threads that aren't there are free, the forking thread's own are held.
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
        alarm(20); // a child that waits for a thread it lacks is ended
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
