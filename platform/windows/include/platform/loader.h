#ifndef PLATFORM_LOADER_H
#define PLATFORM_LOADER_H

#include <platform/base.h>

/* LoadLibraryA, with a bare name looked for in the folder of the module that asks, and nowhere else. */
WD_API HMODULE WdLoadLibrary(LPCSTR name);
#undef LoadLibraryA
#define LoadLibraryA WdLoadLibrary

/* What GetProcAddress found, as the function that it is. */
template <class Entry>
Entry WdEntryOf(FARPROC found) {
    return reinterpret_cast<Entry>(reinterpret_cast<void*>(found)); /* by way of a pointer that fits any function */
}

#endif
