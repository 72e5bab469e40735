// A descriptor that a lock is held through. Such a lock (flock, or one of an open file description) belongs to the open
// file, which the child of a fork shares: a child that kept the descriptor would keep its parent's lock, also when the
// parent is dead. So the child closes all of them before fork returns in it, whichever thread had them: there every
// LockDescriptor is empty. (The child of a bare clone(), which runs no handlers, keeps them.)
#pragma once

#include "FileDescriptor.h"
#include "ForkMutex.h"

#include <utility>

namespace wd {

class LockDescriptor {
  public:
    // Guards the list of those that are valid.
    static inline constinit ForkMutex<LockDescriptor, ForkOrder::LockDescriptors> s_mutex;

    LockDescriptor() = default;
    // The file that `open()` gives, a FileDescriptor; empty with errno when that isn't valid. It runs with forks kept
    // out, so that no child can have the open file unseen.
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
    // Closes it. The lock is given up before that, by whoever took it.
    void reset();

    // Of the fork handler: the forking thread holds the mutex.
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
