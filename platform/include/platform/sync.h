/* Locks inside one process, and kernel objects that the processes of one home share by name: mutexes, events,
   semaphores and memory. A named object exists as long as some living process has it open, however that process ends;
   names are case-sensitive and share one namespace for all kinds. An object without a name is private to this process.
   The file of one that everybody may open stays when the object ends, emptied. All functions may be called from any
   thread. */
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

#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(std::intptr_t{-1}))

inline constexpr DWORD INFINITE = 0xFFFFFFFF;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_ABANDONED = 0x80;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

inline constexpr DWORD SYNCHRONIZE = 0x100000;
inline constexpr DWORD MUTEX_ALL_ACCESS = 0x1F0001;
inline constexpr DWORD EVENT_ALL_ACCESS = 0x1F0003;
inline constexpr DWORD FILE_MAP_WRITE = 2;
inline constexpr DWORD FILE_MAP_READ = 4;
inline constexpr DWORD FILE_MAP_ALL_ACCESS = 0xF001F;
inline constexpr DWORD PAGE_READWRITE = 4;

/* Creating: null with GetLastError ERROR_ACCESS_DENIED (no permission), ERROR_INVALID_HANDLE (the name is another
   kind's), ERROR_INVALID_DATA (held by an unknown version), ERROR_DISK_FULL, ERROR_FILENAME_EXCED_RANGE (a name of
   MAX_PATH bytes or more, or whose file's name would have more than 255). On success GetLastError is
   ERROR_ALREADY_EXISTS when the object existed, which is then opened as it is, else 0. Opening: null with
   ERROR_FILE_NOT_FOUND when nobody has it, ERROR_INVALID_HANDLE for an empty name. The kernel's permission of the
   object's file decides who may open it; `access` and `inherit` are ignored. */
WD_API HANDLE CreateMutexA(LPSECURITY_ATTRIBUTES attributes, BOOL initialOwner, LPCSTR name);
WD_API HANDLE OpenMutexA(DWORD access, BOOL inherit, LPCSTR name);
/* Fails with ERROR_NOT_OWNER when the calling thread doesn't hold it. */
WD_API BOOL ReleaseMutex(HANDLE mutex);

WD_API HANDLE CreateEventA(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL initialState, LPCSTR name);
WD_API HANDLE OpenEventA(DWORD access, BOOL inherit, LPCSTR name);
WD_API BOOL SetEvent(HANDLE event);
WD_API BOOL ResetEvent(HANDLE event);

WD_API HANDLE CreateSemaphoreA(LPSECURITY_ATTRIBUTES attributes, LONG initialCount, LONG maximumCount, LPCSTR name);
/* Fails with ERROR_TOO_MANY_POSTS when the count would pass its maximum: nothing is released then. */
WD_API BOOL ReleaseSemaphore(HANDLE semaphore, LONG count, LONG* previousCount);

/* Memory of `sizeHigh`:`sizeLow` bytes, zero-filled when first created. `file` must be INVALID_HANDLE_VALUE
   (ERROR_INVALID_HANDLE), `protection` PAGE_READWRITE (ERROR_INVALID_PARAMETER). Asking for more than an existing
   mapping has fails with ERROR_ACCESS_DENIED. */
WD_API HANDLE CreateFileMappingA(HANDLE file, LPSECURITY_ATTRIBUTES attributes, DWORD protection, DWORD sizeHigh,
                                 DWORD sizeLow, LPCSTR name);
WD_API HANDLE OpenFileMappingA(DWORD access, BOOL inherit, LPCSTR name);
/* The first `bytes` bytes (0: all) of a mapping; more than it has is ERROR_ACCESS_DENIED. The offset must be 0: another
   is ERROR_INVALID_PARAMETER, or ERROR_MAPPED_ALIGNMENT unless it is a multiple of 64 KiB. All views of one process are
   the same memory, writable whatever `access` says. A view keeps the mapping alive after its handle is closed. */
WD_API LPVOID MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, std::size_t bytes);
/* Fails with ERROR_INVALID_ADDRESS for an address that isn't a view's. */
WD_API BOOL UnmapViewOfFile(const void* view);

/* WAIT_OBJECT_0, WAIT_ABANDONED (with ownership: the mutex's last holder ended without a release), WAIT_TIMEOUT or
   WAIT_FAILED. An open file is always WAIT_OBJECT_0. A signal doesn't shorten the wait. A finite time is scaled by
   WARDLET_TIME_SCALE. */
WD_API DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds);
/* When the thread that owns a mutex closes this process's last handle to it, the mutex is released. */
WD_API BOOL CloseHandle(HANDLE object);
/* Scaled by WARDLET_TIME_SCALE. */
WD_API void Sleep(DWORD milliseconds);

#endif
