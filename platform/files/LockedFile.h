// An open file with flock's lock on it. The lock is released before the descriptor is closed: closing alone wouldn't
// release it where a bare clone shares the open file. In that clone the lock is its parent's, and only the descriptor
// is closed. The child of a fork has neither.
#pragma once

#include "Deadline.h"
#include "LockDescriptor.h"

#include <sys/file.h>
#include <unistd.h>

namespace wd {

// How long another holder may need for its few steps. Whoever may read a file may lock it forever, so no such lock is
// waited for without a limit.
inline constexpr std::chrono::seconds kLockPatience{5};

class LockedFile {
  public:
    LockedFile() = default;
    // The file that `open()` returns, not locked yet; see LockDescriptor::from.
    template <class Open>
    static LockedFile from(Open&& open) {
        LockedFile made;
        made.m_file = LockDescriptor::from(std::forward<Open>(open));
        return made;
    }
    LockedFile(LockedFile&& other) noexcept { *this = std::move(other); }
    LockedFile& operator=(LockedFile&& other) noexcept {
        m_file = std::move(other.m_file); // a swap
        std::swap(m_owner, other.m_owner);
        return *this;
    }
    ~LockedFile() { reset(); }

    int get() const { return m_file.get(); }
    bool valid() const { return m_file.valid(); }

    // flock's LOCK_SH or LOCK_EX, without waiting. False with errno; EWOULDBLOCK while another has the lock.
    bool tryLock(int operation) {
        if (sys::flock(get(), operation | LOCK_NB) != 0)
            return false;
        m_owner = ::getpid();
        return true;
    }
    // The same, waiting for kLockPatience at most; EBUSY then.
    bool lock(int operation) {
        for (const Deadline deadline(kLockPatience); !tryLock(operation);) {
            if (errno != EWOULDBLOCK && errno != EINTR)
                return false;
            if (!deadline.pause()) {
                errno = EBUSY;
                return false;
            }
        }
        return true;
    }
    void unlock() {
        if (m_owner != 0 && m_owner == ::getpid())
            sys::flock(get(), LOCK_UN);
        m_owner = 0;
    }
    // Leaves errno alone.
    void reset() {
        const int error = errno;
        unlock();
        m_file.reset();
        errno = error;
    }

  private:
    LockDescriptor m_file;
    pid_t m_owner = 0; // the process that took the lock; 0: none
};

} // namespace wd
