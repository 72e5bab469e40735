// A mutex that a forking thread holds across the fork, so that the child finds it free and what it guards whole. For
// short stretches of code that wait for nothing and take no other lock; one instance for each Tag.
#pragma once

#include <platform/thread_annotations.h>

#include <mutex>
#include <pthread.h>

namespace wd {

template <class Tag>
class WD_CAPABILITY("mutex") ForkMutex {
  public:
    void lock() WD_ACQUIRE() {
        [[maybe_unused]] static const int registered = pthread_atfork(lockHeld, unlockHeld, unlockHeld);
        s_mutex.lock();
    }
    bool try_lock() WD_TRY_ACQUIRE(true) { return s_mutex.try_lock(); }
    void unlock() WD_RELEASE() { s_mutex.unlock(); }

  private:
    static void lockHeld() { s_mutex.lock(); }
    static void unlockHeld() { s_mutex.unlock(); }

    static inline constinit std::mutex s_mutex;
};

template <class Mutex>
class WD_SCOPED_CAPABILITY ForkLock {
  public:
    explicit ForkLock(Mutex& mutex) WD_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~ForkLock() WD_RELEASE() { m_mutex.unlock(); }
    ForkLock(const ForkLock&) = delete;
    ForkLock& operator=(const ForkLock&) = delete;

  private:
    Mutex& m_mutex;
};

} // namespace wd
