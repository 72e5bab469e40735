/* Files. Paths are in the system code page; `\` and `/` both separate, a leading "X:" is the folder drive_x of the
   home. Names are this system's: case counts, so do dots and blanks at the end, and `*?<>"` are characters as others. A
   null or empty name is ERROR_PATH_NOT_FOUND. A failing call sets GetLastError: ERROR_FILE_NOT_FOUND for a missing
   file, ERROR_PATH_NOT_FOUND for a missing folder on the way, ERROR_ACCESS_DENIED without permission,
   ERROR_SHARING_VIOLATION when another user of the layer has the file open in a way that doesn't share it,
   ERROR_FILE_EXISTS when it must not exist and does, ERROR_DISK_FULL. */
#ifndef PLATFORM_FILES_H
#define PLATFORM_FILES_H

#include <platform/security.h>
#include <platform/sync.h>

inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD FILE_SHARE_WRITE = 2;
inline constexpr DWORD CREATE_NEW = 1;
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD OPEN_ALWAYS = 4;
inline constexpr DWORD TRUNCATE_EXISTING = 5;
inline constexpr DWORD FILE_READ_DATA = 1;
inline constexpr DWORD FILE_WRITE_DATA = 2;
inline constexpr DWORD FILE_APPEND_DATA = 4;
inline constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x01;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD FILE_FLAG_DELETE_ON_CLOSE = 0x04000000;
inline constexpr DWORD FILE_FLAG_OVERLAPPED = 0x40000000;
inline constexpr DWORD FILE_FLAG_WRITE_THROUGH = 0x80000000;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;
inline constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFF;
inline constexpr DWORD FILE_BEGIN = 0;
inline constexpr DWORD FILE_CURRENT = 1;
inline constexpr DWORD FILE_END = 2;

/* INVALID_HANDLE_VALUE on failure. Share modes hold among users of the layer: without any, nobody else may have the
   file open; FILE_SHARE_READ or FILE_SHARE_WRITE admits others who share it too, for whatever access. Rights are the
   generic ones and those above; with none of them the file can only be positioned. The three flags above and
   FILE_ATTRIBUTE_READONLY are ERROR_NOT_SUPPORTED, others are hints that change nothing. On success GetLastError is
   ERROR_ALREADY_EXISTS when CREATE_ALWAYS or OPEN_ALWAYS found a file, else 0. Closed with CloseHandle. The child of a
   fork has none of its parent's file handles. */
WD_API HANDLE CreateFileA(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES attributes, DWORD disposition,
                          DWORD flags, HANDLE templateFile);
/* Reads fewer bytes than asked only at the end of the file. `overlapped` must be null, here and below. */
WD_API BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD bytes, LPDWORD bytesRead, void* overlapped);
WD_API BOOL WriteFile(HANDLE file, const void* buffer, DWORD bytes, LPDWORD bytesWritten, void* overlapped);
/* The lower half of the new position; ERROR_NEGATIVE_SEEK for one before the file's start. */
WD_API DWORD SetFilePointer(HANDLE file, LONG distance, LONG* distanceHigh, DWORD method);

/* After any crash the target is the old file or the new one, never a part of either; it keeps its mode and owner, and
   gets the source's time of the last write. A target that others have open is replaced too: they keep what they opened.
   ERROR_SHARING_VIOLATION for a source that another has for himself, or that is the target. */
WD_API BOOL CopyFileA(LPCSTR existing, LPCSTR target, BOOL failIfExists);
/* `replacement`, which nobody may have open, takes the place and the mode of `replaced` and loses its own name; both
   are on disk on return. `backup` and the last two must be null. */
WD_API BOOL ReplaceFileA(LPCSTR replaced, LPCSTR replacement, LPCSTR backup, DWORD flags, LPVOID exclude,
                         LPVOID reserved);
/* Not one that is marked read-only: ERROR_ACCESS_DENIED. Whoever has it open keeps what he opened. */
WD_API BOOL DeleteFileA(LPCSTR name);
/* Makes an empty file "<folder>\<first 3 of the prefix><8 hex digits>.tmp" with the rights of the home's files when the
   lower 16 bits of `unique` are 0; otherwise only forms the name with those. `buffer` has MAX_PATH bytes. Returns the
   number, or 0 on failure. */
WD_API UINT GetTempFileNameA(LPCSTR folder, LPCSTR prefix, UINT unique, LPSTR buffer);
WD_API DWORD GetFileAttributesA(LPCSTR name);

#endif
