// Protects against strangers who truncate a file that this process has mapped: the system sends SIGBUS to a process
// that touches a page beyond the file's end. In guarded memory such a page is replaced by an empty one that is private
// to this process, and the call goes on with that content, as with any other nonsense in shared memory. Elsewhere the
// signal does what it did before. The first of these calls installs the handler; a program that installs its own later
// loses the guard.
#pragma once

#include <atomic>
#include <cstddef>

namespace wd {

// Guards mapped memory until unguardPages. Returns the flag that becomes true when a page is lost, for whoever checks
// it at each call; null, and no guard, when too many ranges are guarded already. Any thread.
const std::atomic<bool>* guardPages(void* address, std::size_t size);
void unguardPages(void* address);

// While it lives, guards whatever its thread touches: for as long as a map's address isn't known yet.
class PageFaults {
  public:
    PageFaults();
    ~PageFaults();
    PageFaults(const PageFaults&) = delete;
    PageFaults& operator=(const PageFaults&) = delete;

    bool happened() const;
};

// Whether a page of the guarded memory was lost: the memory isn't what other processes see any more.
bool pagesWereLost(const void* address);

} // namespace wd
