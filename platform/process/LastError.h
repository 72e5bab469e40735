// The calling thread's last error, and the code that stands for an errno value. Used by every area of the layer; the
// state is thread-local, so it needs no lock.
#pragma once

#include <platform/base.h>

#include <cerrno>
#include <new>
#include <utility>

namespace wd {

// The code for a failed system call: ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_DISK_FULL and so on;
// ERROR_REGISTRY_IO_FAILED for what has no code of its own.
DWORD errorFromErrno(int error);
// That of the system call that has just failed.
inline DWORD systemError() {
    return errorFromErrno(errno);
}

// Sets the last error when `error` isn't 0, and returns it for use in a `return`.
LONG failed(DWORD error);

// Sets the last error, and returns what says so: FALSE, or no characters.
template <class Zero = BOOL>
Zero fail(DWORD error) {
    failed(error);
    return 0;
}

// No exception leaves the layer: these run the body of an exported function, and when memory runs out in it, the
// function fails with ERROR_NOT_ENOUGH_MEMORY. The first is for functions that return their error, the second for those
// that set the last error and return `failure`.
template <class Body>
LONG withinMemory(Body&& body) {
    try {
        return std::forward<Body>(body)();
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

template <class Result, class Body>
Result withinMemory(Result failure, Body&& body) {
    try {
        return std::forward<Body>(body)();
    } catch (const std::bad_alloc&) {
        failed(ERROR_NOT_ENOUGH_MEMORY);
        return failure;
    }
}

} // namespace wd
