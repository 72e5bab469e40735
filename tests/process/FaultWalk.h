// The walk: an operation is made again and again, each time with one thing failing inside it, the first, the second and
// so on, until nothing fails any more. Whatever failed or died, what is found behind it is old or new, whole; no lock is
// held and no file left beyond the rule; a status of 0 means that all is stored; another process, of another member of
// the home's group, and the same one make the operation with success. (Under a sanitizer allocations alone fail, and the
// process itself alone is looked at.) A table of operations and a table of faults; a
// new row of either is walked with all of the other.
//
// System calls are met where the system takes them (TracedChild.h): those of the registry's engine, of other libraries
// and of programs too, which neither a table of our own calls nor functions laid over a library's would meet.
#pragma once

#include "LoadedLibrary.h"

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace walk {

struct Operation {
    using Call = std::function<std::int32_t(const LoadedLibrary&)>;

    std::string name;
    // The same result each time it is made. The status of its first call that fails.
    Call call = {};
    // The home as each point finds it, beyond what a fresh installation has.
    Call layDown = {};
    // Instead of a call: a program that stands beside the test's, and its arguments. $HOME is the home.
    std::vector<std::string> program = {};
    std::size_t every = 1;      // of its points, in a walk of all: for a row that goes another row's way
    bool inSteps = false;       // several writes to the registry, of which death may leave the first ones
    bool keepsWork = false;     // what couldn't take its place stays as a temporary file
    bool tellsNothing = false;  // its status is 0 whatever happens
    bool loadsInside = false;   // loading the library is part of what is disturbed
    bool onFreshThread = false; // of a process that has made it before on another; memory alone fails there
    std::int32_t again = 0;     // the status of one more call behind one that has stored
    std::int32_t stuck = 0;     // the status of each call behind one that has failed between its values
};
inline std::ostream& operator<<(std::ostream& out, const Operation& operation) {
    return out << operation.name;
}

// Walks every `stride`-th point of each fault and prints how many; each complaint at one is a failure of the test.
void walk(const Operation& operation, std::size_t stride);

} // namespace walk
