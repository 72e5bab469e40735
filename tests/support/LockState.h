// Whether the locks of all writers are free, as another thread sees them.
#pragma once

#include <platform/win32.h>

inline HANDLE openConfigMutex() {
    return CreateMutexA(nullptr, FALSE, "Global\\wdlt_config_mutex");
}

// Whether nobody has it, nor another thread of this process.
inline bool isMutexFree() {
    HANDLE const mutex = openConfigMutex();
    const bool isFree = WaitForSingleObject(mutex, 0) == WAIT_OBJECT_0;
    if (isFree)
        ReleaseMutex(mutex);
    CloseHandle(mutex);
    return isFree;
}

inline bool isLockFree() {
    HANDLE const token = OpenEventA(EVENT_ALL_ACCESS, FALSE, "Global\\wdlt_config_rw_RW_EVENT");
    const bool isFree = WaitForSingleObject(token, 0) == WAIT_OBJECT_0;
    if (isFree)
        SetEvent(token);
    CloseHandle(token);
    return isFree;
}
