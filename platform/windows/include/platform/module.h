/* The loader calls a module's entry itself; it gets only what the library's own entry is for. */
#ifndef PLATFORM_MODULE_H
#define PLATFORM_MODULE_H

#include <platform/base.h>

/* The end of the process, when other threads have been ended wherever they were. DLL_PROCESS_DETACH is an unload. */
inline constexpr DWORD WD_PROCESS_ENDS = 4;

#define WD_MODULE_ENTRY(Entry)                                                                                         \
    extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID ends) {                                      \
        return Entry(module, reason == DLL_PROCESS_DETACH && ends != nullptr ? WD_PROCESS_ENDS : reason) ? TRUE        \
                                                                                                         : FALSE;      \
    }                                                                                                                  \
    static_assert(true)

#endif
