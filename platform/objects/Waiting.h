// Taking and freeing the words of kernel objects, and sleeping until they are free. A sleeper looks every 100 ms,
// unscaled, whether a holder has died; so the memory can't keep it from its time-out, whatever a stranger writes there.
#pragma once

#include "KernelObject.h"

#include <platform/robust.h>

namespace wd {

// How a wait is to be done, beyond its object.
struct WaitOptions {
    DWORD milliseconds = INFINITE; // before scaling
    DWORD role = WD_ROLE_NONE;     // left in an event that the wait takes
    WD_LOOK look = nullptr;        // called before each sleep
    void* context = nullptr;
};

// WAIT_OBJECT_0, WAIT_ABANDONED, WAIT_TIMEOUT, WAIT_FAILED with GetLastError.
DWORD waitFor(KernelObject& object, const WaitOptions& options);

// Makes the calling thread, whose end is watched (ThreadEnd.h), the holder of a mutex whose word has this process's tag
// already.
void adoptMutex(KernelObject& mutex);
// In a child of a fork: what its thread still holds, which is what has no name.
void keepHeldInChild();
// A mutex held by the calling thread; false with 288.
bool releaseMutex(KernelObject& mutex);
// All at once, as the last close does. Nothing for a thread that doesn't hold it.
void releaseWholly(KernelObject& mutex);

void signalEvent(KernelObject& event);
bool signalEventIf(KernelObject& event, Tag taker);
void resetEvent(KernelObject& event);
// False when the count would pass the maximum.
bool releaseSemaphore(KernelObject& semaphore, std::uint32_t count, std::uint32_t& previous);

// Of the system's own waits: milliseconds scaled by the home, never below 1 unless 0.
std::uint64_t scaledNanoseconds(DWORD milliseconds);

} // namespace wd
