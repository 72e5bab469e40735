// What the layer does when a thread ends. Uses a key of the thread library, not a thread_local's destructor: the first
// use of such a variable takes memory and the loader's lock, when its thread may hold locks of ours.
#pragma once

#include <cstddef>

namespace wd {

// In the order in which they run.
enum class AtThreadEnd : std::size_t { Batch, Mutexes, Count };

// Called while the layer is loaded.
void setAtThreadEnd(AtThreadEnd what, void (*action)());

// Called before the calling thread takes what must be released when it ends. False: no memory.
bool watchThreadEnd();

} // namespace wd
