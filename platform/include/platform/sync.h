/* Locks inside one process. Kernel objects between processes join this header when they are built. */
#ifndef PLATFORM_SYNC_H
#define PLATFORM_SYNC_H

#include <platform/base.h>

/* Recursive, not shared between processes. Opaque; set up and torn down by the calls below. */
struct CRITICAL_SECTION {
    void* impl;
};

WD_API void InitializeCriticalSection(CRITICAL_SECTION* section);
WD_API void EnterCriticalSection(CRITICAL_SECTION* section);
WD_API void LeaveCriticalSection(CRITICAL_SECTION* section);
WD_API void DeleteCriticalSection(CRITICAL_SECTION* section);

#endif
