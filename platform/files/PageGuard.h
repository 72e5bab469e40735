// Against strangers who cut short a file that this process has mapped: the system ends a process with SIGBUS that
// touches a page behind the file's end. Inside guarded memory such a page becomes an empty one of this process alone,
// and the call goes on with what stands there, as it does with any other nonsense in shared memory. Elsewhere the
// signal does what it did before. The handler is set by the first of these calls; a program that sets its own later
// is without this guard.
#pragma once

#include <atomic>
#include <cstddef>

namespace wd {

// Guards mapped memory until unguardPages. Gives the word that becomes true when a page is lost, for whoever asks at
// each call; null, and no guard, when too much is guarded already. Any thread.
const std::atomic<bool>* guardPages(void* address, std::size_t size);
void unguardPages(void* address);

// While it lives, the same holds for whatever its thread touches: for the time in which a map isn't known yet.
class PageFaults {
  public:
    PageFaults();
    ~PageFaults();
    PageFaults(const PageFaults&) = delete;
    PageFaults& operator=(const PageFaults&) = delete;

    bool happened() const;
};

// Whether a page of the guarded memory was lost: it isn't what other processes see any more.
bool pagesWereLost(const void* address);

} // namespace wd
