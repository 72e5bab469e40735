// What belongs to this very process and must be made anew in the child of a fork: a token that differs between parent
// and child, recognised by one load from a page that the kernel wipes in the child. For code that keeps locks, mappings
// or descriptors that a child must not share. Any thread, no lock.
#pragma once

#include <cstdint>

namespace wd {

struct ProcessState {
    std::uint64_t seed = 0; // random, for numbers that must not occur twice
};

// The state of this process: the same object for all of its threads, another one in a child. States of ancestors stay
// allocated, so that no address is reused. Never null.
const ProcessState* processState();
// Whether `state` is this process's, checked without making one: allocates no memory.
bool isOwnProcess(const ProcessState* state);

} // namespace wd
