// The calling thread's last error and the code that stands for an errno value. Used by every area of the layer; the
// state is thread-local, so no lock applies.
#pragma once

#include <platform/base.h>

#include <cerrno>
#include <new>
#include <utility>

namespace wd {

// The code that callers are told for a failed system call: 2, 5, 112 … and 1016 for what has no code of its own.
DWORD errorFromErrno(int error);
// That of the system call that has just failed.
inline DWORD systemError() {
    return errorFromErrno(errno);
}

// Sets the last error when `error` isn't 0, and hands it back so that it fits in a `return`.
LONG failed(DWORD error);

// No exception leaves the layer: these run the body of a function that callers know, and when memory runs out in it, it
// fails with ERROR_NOT_ENOUGH_MEMORY. The first is for functions that return their error, the second for those that set
// the last one and return `failure`.
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
