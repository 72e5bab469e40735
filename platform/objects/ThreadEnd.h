// What the layer does when a thread ends. By a key of the thread library and not by a variable's destructor: the first
// use of such a variable takes memory and the loader's lock, at a moment when its thread may hold locks of ours.
#pragma once

#include <cstddef>

namespace wd {

// In the order in which they are done.
enum class AtThreadEnd : std::size_t { Batch, Mutexes, Count };

// Set while the layer is loaded.
void setAtThreadEnd(AtThreadEnd what, void (*action)());

// Before the calling thread takes what its end must give back. False: no memory.
bool watchThreadEnd();

} // namespace wd
