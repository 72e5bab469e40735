// A mutex that a forking thread holds across the fork, so that the child finds it free and what it guards consistent.
// For short stretches of code that wait for nothing; one instance for each Tag. Its handler is registered while the
// layer is loaded: a first use that did so could itself be interrupted by another thread's fork.
#pragma once

#include <platform/thread_annotations.h>

#include <cstddef>
#include <mutex>

namespace wd {

// The order in which a fork locks them, and a thread that needs two.
enum class ForkOrder : std::size_t { Clock, Modules, Sections, Views, Objects, Temporaries, LockDescriptors, Count };

struct ForkHandler {
    void (*before)();
    void (*inParent)();
    void (*inChild)();
};
// Called while the layer is loaded. What a child's handler does before it unlocks sees everything as it was at the
// fork.
bool enterForkHandler(ForkOrder order, const ForkHandler& handler);

template <class Tag, ForkOrder kOrder>
class WD_CAPABILITY("mutex") ForkMutex {
  public:
    using Action = void (*)();

    void lock() WD_ACQUIRE() {
        static_cast<void>(s_entered); // a static member that nothing uses isn't instantiated
        s_mutex.lock();
    }
    bool try_lock() WD_TRY_ACQUIRE(true) { return s_mutex.try_lock(); }
    void unlock() WD_RELEASE() { s_mutex.unlock(); }

    // What the child does before it unlocks the mutex. Set while the layer is loaded.
    static void setInChild(Action inChild) { s_inChild = inChild; }

  private:
    static void lockHeld() { s_mutex.lock(); }
    static void unlockHeld() { s_mutex.unlock(); }
    static void unlockInChild() {
        if (s_inChild != nullptr)
            s_inChild();
        s_mutex.unlock();
    }

    static inline constinit std::mutex s_mutex;
    static inline constinit Action s_inChild = nullptr;
    static inline const bool s_entered = enterForkHandler(kOrder, {lockHeld, unlockHeld, unlockInChild});
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
