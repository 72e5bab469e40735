/* Libraries loaded at run time. "X.dll", alone or at the end of a path, stands for libX.so. */
#ifndef PLATFORM_LOADER_H
#define PLATFORM_LOADER_H

#include <platform/base.h>

using FARPROC = void (*)();

/* What GetProcAddress found, as the function that it is. */
template <class Entry>
Entry WdEntryOf(FARPROC found) {
    return reinterpret_cast<Entry>(reinterpret_cast<void*>(found)); /* by way of a pointer that fits any function */
}

/* Looks in the folder given and in its folder `wdltcfg`; without one, in these two of the layer's own library, then by
   the loader's search. If the library exports `WdLibraryEntry(void* module, uint32_t reason)` (bool-valued int), that is
   called with 1 after loading and with 0 before unloading. Null with GetLastError ERROR_MOD_NOT_FOUND, also when
   one that it needs isn't there, ERROR_BAD_EXE_FORMAT for a file that is no library, or ERROR_DLL_INIT_FAILED when its
   entry refused. */
WD_API HMODULE LoadLibraryA(LPCSTR name);
/* Null with GetLastError ERROR_PROC_NOT_FOUND when the library has no such name. */
WD_API FARPROC GetProcAddress(HMODULE module, LPCSTR name);
WD_API BOOL FreeLibrary(HMODULE module);
/* Path of the module's own file; null is the program. Returns the length; a path that doesn't fit is truncated,
   null-terminated, and gives `size` with GetLastError ERROR_INSUFFICIENT_BUFFER. */
WD_API DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size);
/* The same path again (there are no short names here). Returns the length, or the size needed. */
WD_API DWORD GetShortPathNameW(LPCWSTR path, LPWSTR buffer, DWORD size);

#endif
