// Takes and frees the words of kernel objects, and sleeps until they are free. A sleeper checks every 100 ms, unscaled,
// whether the holder has died; so nothing that a stranger writes into the memory keeps it beyond its time-out.
#pragma once

#include "KernelObject.h"

#include <platform/robust.h>

namespace wd {

struct WaitOptions {
    DWORD milliseconds = INFINITE; // before scaling
    DWORD role = WD_ROLE_NONE;     // left in an event that the wait takes
    WD_LOOK look = nullptr;        // called before each sleep
    void* context = nullptr;
};

// WAIT_OBJECT_0, WAIT_ABANDONED, WAIT_TIMEOUT, WAIT_FAILED with GetLastError.
DWORD waitFor(KernelObject& object, const WaitOptions& options);

// Makes the calling thread the holder of a mutex whose word already has this process's tag. The thread's end must be
// watched (ThreadEnd.h).
void adoptMutex(KernelObject& mutex);
// In a child of a fork: keeps what its thread still holds, which is the mutexes without a name.
void keepHeldInChild();
// Releases a mutex held by the calling thread; false with ERROR_NOT_OWNER.
bool releaseMutex(KernelObject& mutex);
// Releases it at all depths, as the last close does. Does nothing for a thread that doesn't hold it.
void releaseWholly(KernelObject& mutex);

void signalEvent(KernelObject& event);
bool signalEventIf(KernelObject& event, Tag taker);
void resetEvent(KernelObject& event);
// False when the count would pass the maximum.
bool releaseSemaphore(KernelObject& semaphore, std::uint32_t count, std::uint32_t& previous);

// Nanoseconds of a wait, scaled by the home's time scale: at least 1 ms unless 0.
std::uint64_t scaledNanoseconds(DWORD milliseconds);

} // namespace wd
