/* Replaces a file's content at once, and makes folders. Private to this layer; on Windows only the first of these calls
   is there, on ReplaceFile. Paths are in the file system's bytes, since not each has a
   name in the system code page: WdPathOfName gives that of a name. */
#ifndef PLATFORM_FILE_CONTENT_H
#define PLATFORM_FILE_CONTENT_H

#include <platform/base.h>

/* After any crash the file is the old one or the new one, as with CopyFileA; a missing one is made. FALSE with
   GetLastError and the old content; ERROR_ACCESS_DENIED where no file may be made beside it. */
WD_API BOOL WdReplaceContent(LPCSTR path, const void* content, DWORD bytes);
/* CopyFileA, of paths, and of a source that another has for himself too. */
WD_API BOOL WdCopyContent(LPCSTR from, LPCSTR to);

/* Makes what is missing on the path; an existing folder is a success. FALSE with GetLastError, ERROR_PATH_NOT_FOUND
   where a file is in the way. */
WD_API BOOL WdMakeFolder(LPCSTR path);

/* Whether a temporary file, or one that was to replace another, was left by a process that died: whoever makes one
   holds a lock on it from the beginning to the end, which nobody else takes. FALSE too where it can't be told. The
   second removes it then. */
WD_API BOOL WdIsLeftBehind(LPCSTR path);
WD_API BOOL WdRemoveLeftBehind(LPCSTR path);

#endif
