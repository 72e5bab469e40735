// OFD locks on single bytes of an open file. They belong to the open file, not to the process: opened again by the same
// process, the file conflicts with them, and closing that one drops none. They are independent of flock's.
#pragma once

#include "SystemCalls.h"

#include <cerrno>

namespace wd {

inline struct flock lockOfBytes(short type, off_t first, off_t count) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = first;
    lock.l_len = count;
    return lock;
}

// F_RDLCK, F_WRLCK or F_UNLCK. False with errno, which is EAGAIN or EACCES when another has the lock. With F_OFD_SETLKW
// as the command it waits for the lock.
inline bool lockByte(int file, off_t byte, short type, int command = F_OFD_SETLK) {
    struct flock lock = lockOfBytes(type, byte, 1);
    while (sys::fcntl_lock(file, command, &lock) != 0)
        if (errno != EINTR)
            return false;
    return true;
}

// Whether another open file has a lock on one of the bytes. False with errno when that can't be told.
inline bool askForLock(int file, off_t first, off_t count, bool& locked) {
    struct flock lock = lockOfBytes(F_WRLCK, first, count);
    if (sys::fcntl_lock(file, F_OFD_GETLK, &lock) != 0)
        return false;
    locked = lock.l_type != F_UNLCK;
    return true;
}

} // namespace wd
