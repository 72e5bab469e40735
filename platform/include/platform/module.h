/* The loader's side of a module entry: runs `Entry(module, 1)` when the shared object is loaded and `Entry(module, 0)`
   when it is unloaded. Written once in a source file of the shared object; the macro is all that a build against
   another system's loader would drop. */
#ifndef PLATFORM_MODULE_H
#define PLATFORM_MODULE_H

#include <platform/base.h>

inline constexpr DWORD DLL_PROCESS_DETACH = 0;
inline constexpr DWORD DLL_PROCESS_ATTACH = 1;
inline constexpr DWORD DLL_THREAD_ATTACH = 2;
inline constexpr DWORD DLL_THREAD_DETACH = 3;

/* The module that holds `address`, for GetModuleFileNameW. */
WD_API HMODULE WdModuleFromAddress(const void* address);
/* True from the moment the process has begun to end: other threads may then still be inside any call. */
WD_API BOOL WdProcessIsEnding();
/* Told by the macro below that the module of `address` detaches: for one that the program was started with, that is the
   end of the process. */
WD_API void WdModuleDetaching(const void* address);

/* Entry is `bool Entry(HMODULE module, DWORD reason, bool processIsEnding)`. */
#define WD_MODULE_ENTRY(Entry)                                                                                         \
    __attribute__((constructor)) static void wdModuleAttach() {                                                        \
        Entry(WdModuleFromAddress(reinterpret_cast<const void*>(&wdModuleAttach)), DLL_PROCESS_ATTACH, false);         \
    }                                                                                                                  \
    __attribute__((destructor)) static void wdModuleDetach() {                                                         \
        WdModuleDetaching(reinterpret_cast<const void*>(&wdModuleDetach));                                             \
        Entry(WdModuleFromAddress(reinterpret_cast<const void*>(&wdModuleDetach)), DLL_PROCESS_DETACH,                 \
              WdProcessIsEnding() != FALSE);                                                                           \
    }                                                                                                                  \
    static_assert(true)

#endif
