// An open file with flock's lock on it, which is given up before the descriptor is closed: closing alone wouldn't do it
// where a bare clone has the descriptor too, and with it the lock. In that clone the lock is its parent's, and only the
// descriptor is closed. The child of a fork has neither.
#pragma once

#include "Deadline.h"
#include "LockDescriptor.h"

#include <sys/file.h>
#include <unistd.h>

namespace wd {

// For the few steps of whoever else has a lock. Whoever may read a file may lock it for good, so none is waited for
// without a limit.
inline constexpr std::chrono::seconds kLockPatience{5};

class LockedFile {
  public:
    LockedFile() = default;
    // The file that `open()` gives, not locked yet; as LockDescriptor::from.
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

    // flock's LOCK_SH or LOCK_EX, without waiting. False with errno, EWOULDBLOCK while another has the file.
    bool tryLock(int operation) {
        if (sys::flock(get(), operation | LOCK_NB) != 0)
            return false;
        m_owner = ::getpid();
        return true;
    }
    // The same as long as the others' patience lasts; EBUSY then.
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
    // Leaves errno alone.
    void reset() {
        const int error = errno;
        if (m_owner != 0 && m_owner == ::getpid())
            sys::flock(get(), LOCK_UN);
        m_owner = 0;
        m_file.reset();
        errno = error;
    }

  private:
    LockDescriptor m_file;
    pid_t m_owner = 0; // of the lock; 0: none
};

} // namespace wd
