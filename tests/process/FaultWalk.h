// The walk: an operation through the exports is made again and again, each time with one thing failing inside it, the
// first, the second and so on, until nothing fails any more. Whatever failed, other processes go on at once, the
// process itself too, the tree is whole, and what was told as stored is stored. A table of operations and a table of
// faults; a new row of either is walked with all of the other.
#pragma once

#include "LoadedLibrary.h"

#include <cstdint>
#include <functional>
#include <ostream>

namespace walk {

struct Operation {
    const char* name;
    // The home as each point finds it, beyond what a fresh installation has; run in a process without the library.
    void (*layDown)() = nullptr;
    // The same result each time it is made. The status of its first call that fails.
    std::int32_t (*call)(const LoadedLibrary& library) = nullptr;
    // Whether what a status of 0 promises is there.
    bool (*isStored)(const LoadedLibrary& library) = nullptr;
    bool loadsInside = false;   // loading the library is part of what is disturbed
    bool onFreshThread = false; // of a process that has made it before on another
};
inline std::ostream& operator<<(std::ostream& out, const Operation& operation) {
    return out << operation.name;
}

struct Fault {
    const char* name;
    // Runs `body` with the fault behind the first `count` chances for it. False when it never came to that.
    bool (*meet)(int count, const std::function<void()>& body);
};

// Walks every `stride`-th point and prints how many; each fault at one is a failure of the test.
void walk(const Operation& operation, const Fault& fault, int stride);

} // namespace walk
