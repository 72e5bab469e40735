/* The interface as each world's headers give it: the only place that knows in which the program runs. */
#ifndef CONFORMANCE_WORLD_H
#define CONFORMANCE_WORLD_H

#ifdef _WIN32
#include <windows.h>

#include <aclapi.h>
#include <sddl.h>
#include <shlwapi.h>

#define WTEXT(literal) L##literal
inline constexpr char kLibrary[] = "kernel32.dll";
#else
#include <platform/win32.h>

inline constexpr DWORD FILE_ATTRIBUTE_ARCHIVE = 0x20;
inline constexpr char kLibrary[] = "WdltPlatform.dll";
#endif

#endif
