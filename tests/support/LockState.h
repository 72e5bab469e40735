// Whether the mutex of all writers and the features' lock are free; ask on a thread that doesn't hold them.
#pragma once

#include <platform/win32.h>

inline HANDLE openConfigMutex() {
    return CreateMutexA(nullptr, FALSE, "Global\\wdlt_config_mutex");
}

// Whether nobody holds it, not even another thread of this process.
inline bool isFree(HANDLE object, BOOL (*letGo)(HANDLE)) {
    const bool isFree = WaitForSingleObject(object, 0) == WAIT_OBJECT_0;
    if (isFree)
        letGo(object);
    CloseHandle(object);
    return isFree;
}
inline bool isMutexFree() {
    return isFree(openConfigMutex(), ReleaseMutex);
}
inline bool isLockFree() {
    return isFree(OpenEventA(EVENT_ALL_ACCESS, FALSE, "Global\\wdlt_config_rw_RW_EVENT"), SetEvent);
}
