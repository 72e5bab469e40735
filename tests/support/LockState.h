// Whether the locks of all writers are free, as another thread sees them.
#pragma once

#include <platform/win32.h>

inline HANDLE openConfigMutex() {
    return CreateMutexA(nullptr, FALSE, "Global\\wdlt_config_mutex");
}

// Whether nobody has it, nor another thread of this process.
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
