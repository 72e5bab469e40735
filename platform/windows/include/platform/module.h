/* The loader calls a module's entry itself; it gets only what the library's own entry is for. */
#ifndef PLATFORM_MODULE_H
#define PLATFORM_MODULE_H

#include <platform/base.h>

#define WD_MODULE_ENTRY(Entry)                                                                                         \
    extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {                                           \
        return Entry(module, reason) ? TRUE : FALSE;                                                                   \
    }                                                                                                                  \
    static_assert(true)

#endif
