/* A look at the home before it is used: for programs that have to say why it can't be. Windows has no home. */
#ifndef PLATFORM_HOME_H
#define PLATFORM_HOME_H

#include <platform/base.h>

/* Whether the home of this process is there, and this account may read and write it. Makes nothing. `path` gets the
   path that the result is about, in the file system's bytes, cut to `size` with its terminator; the home's own for 0.
   ERROR_FILE_NOT_FOUND: there is no home yet. ERROR_DIRECTORY: something on the way isn't a directory.
   ERROR_WRITE_PROTECT: it can be read, on a read-only file system. ERROR_ACCESS_DENIED, ERROR_INVALID_DATA (not the
   settings of a home), ERROR_BADDB (a newer library's home), or another error. */
WD_API DWORD WdLookAtHome(LPSTR path, DWORD size);

/* The system's own path of a file that a setting names ("X:\..." is in the home), in the file system's bytes. `name` is
   in the system code page. 0; ERROR_MORE_DATA where it doesn't fit; ERROR_INVALID_PARAMETER. */
WD_API DWORD WdPathOfName(LPCSTR name, LPSTR path, DWORD size);

/* Moves the home's registry, damaged or not, into a folder (a path in the file system's bytes), so that the next call
   makes an empty one. ERROR_SHARING_VIOLATION while any process uses it, this one included; 0 when it is gone or there
   was none. */
WD_API DWORD WdSetRegistryAside(LPCSTR folder);

/* The registry's generation: a number that every change of any process raises, for as long as its file lives. While it is
   the same, all that was read is still so. Changes of an open batch don't count before its end. In a home that can
   only be read it is that of the copy that this process reads. Returns 0 or an error, as registry calls do. */
WD_API LONG WdRegistryGeneration(ULONGLONG* generation);

#endif
