// A descriptor through which a lock is held. Such a lock (flock's, or an OFD lock) belongs to the open file, which the
// child of a fork shares: a child that kept the descriptor would keep its parent's lock, even when the parent is dead.
// So the child closes all of them before fork returns in it, whichever thread had them: there every LockDescriptor is
// empty. (The child of a bare clone(), which runs no handlers, keeps them.)
#pragma once

#include "FileDescriptor.h"
#include "ForkMutex.h"

#include <utility>

namespace wd {

class LockDescriptor {
  public:
    // Guards the list of valid ones.
    static inline constinit ForkMutex<LockDescriptor, ForkOrder::LockDescriptors> s_mutex;

    LockDescriptor() = default;
    // The file that `open()` returns, a FileDescriptor; empty with errno when that isn't valid. Forks are held off
    // while `open` runs, so that no child inherits the open file unnoticed.
    template <class Open>
    static LockDescriptor from(Open&& open) {
        LockDescriptor made;
        const ForkLock lock(s_mutex);
        made.m_file = open();
        made.enter();
        return made;
    }
    LockDescriptor(LockDescriptor&& other) noexcept { swap(other); }
    LockDescriptor& operator=(LockDescriptor&& other) noexcept {
        swap(other);
        return *this;
    }
    ~LockDescriptor() { reset(); }

    int get() const { return m_file.get(); }
    bool valid() const { return m_file.valid(); }
    // Closes it. Whoever took the lock has released it before.
    void reset();

    // For the fork handler: the forking thread holds the mutex.
    static void closeAllInChild() WD_REQUIRES(s_mutex);

  private:
    void swap(LockDescriptor& other);
    void enter() WD_REQUIRES(s_mutex);
    void leave() WD_REQUIRES(s_mutex);

    static LockDescriptor* s_first WD_GUARDED_BY(s_mutex);

    FileDescriptor m_file;
    LockDescriptor* m_next WD_GUARDED_BY(s_mutex) = nullptr;
    LockDescriptor** m_link WD_GUARDED_BY(s_mutex) = nullptr; // where the list points to this one; null: not in it
};

} // namespace wd
