// The fault walk repeats an operation, each time with one point failing in it: the first, the second and so on, until
// nothing fails any more. Whatever failed or died, everything found afterwards is completely old or completely new; no
// lock is still held, and no file left over except where a row allows it; WDLT_OK means that everything is stored; then
// another process (of another member of the home's group) and the same one succeed with the operation. Under a
// sanitizer only allocations fail, and only the process itself is checked. There is a table of operations and one of
// faults; a new row in either is combined with all rows of the other.
//
// System calls are intercepted at the kernel (TracedChild.h), so that those of the registry's engine, of other
// libraries and of programs are included, which neither a table of our own calls nor interposed library functions would
// cover.
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
    // Must have the same result each time. Returns the status of the first of its calls that fails.
    Call call = {};
    // Prepares the home for each point, beyond a fresh installation.
    Call layDown = {};
    // Instead of a call: a program in the test's directory, and its arguments. $HOME is the home.
    std::vector<std::string> program = {};
    // A program, and its arguments, that the next process runs before it looks: then each file too must be as new as the
    // registry.
    std::vector<std::string> settle = {};
    std::size_t every = 1;      // smallest stride, for a row that takes the same path as another
    bool inSteps = false;       // makes several writes to the registry; death may keep only the first ones
    bool keepsWork = false;     // a file that couldn't be renamed to its target stays as a temporary file
    bool tellsNothing = false;  // its status is WDLT_OK whatever happens
    bool loadsInside = false;   // loading the library is subject to the faults too
    bool onFreshThread = false; // runs on a new thread, after a call on another; only allocations fail
    std::int32_t again = 0;     // expected status of a repeated call after one that has stored
    std::int32_t stuck = 0;     // expected status of all calls after one that failed between its values
};
inline std::ostream& operator<<(std::ostream& out, const Operation& operation) {
    return out << operation.name;
}

// Walks every `stride`-th point of each fault and prints how many; each complaint is a test failure.
void walk(const Operation& operation, std::size_t stride);

} // namespace walk
