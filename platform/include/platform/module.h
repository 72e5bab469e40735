/* The loader's side of a module entry: runs `Entry(module, 1)` when the shared object is loaded and `Entry(module, 4)`
   at the end of the process. Used once, in one source file of a shared object that is linked so that it is never
   unmapped (-z nodelete). On Windows the loader calls an
   entry by itself. */
#ifndef PLATFORM_MODULE_H
#define PLATFORM_MODULE_H

#include <platform/base.h>

inline constexpr DWORD DLL_PROCESS_DETACH = 0;
inline constexpr DWORD DLL_PROCESS_ATTACH = 1;
inline constexpr DWORD DLL_THREAD_ATTACH = 2;
inline constexpr DWORD DLL_THREAD_DETACH = 3;
/* The end of the process, when other threads may still be inside. DLL_PROCESS_DETACH is an unload, of which here there
   is none. */
inline constexpr DWORD WD_PROCESS_ENDS = 4;

/* The module that holds `address`, for GetModuleFileNameW. */
WD_API HMODULE WdModuleFromAddress(const void* address);

/* Entry is `bool Entry(HMODULE module, DWORD reason)`, and throws nothing. */
#define WD_MODULE_ENTRY(Entry)                                                                                         \
    __attribute__((constructor)) static void wdModuleAttach() {                                                        \
        Entry(WdModuleFromAddress(reinterpret_cast<const void*>(&wdModuleAttach)), DLL_PROCESS_ATTACH);                \
    }                                                                                                                  \
    __attribute__((destructor)) static void wdModuleDetach() {                                                         \
        Entry(WdModuleFromAddress(reinterpret_cast<const void*>(&wdModuleDetach)), WD_PROCESS_ENDS);                   \
    }                                                                                                                  \
    static_assert(true)

#endif
