/* A file's content replaced at once, and folders made. Private to this layer; elsewhere the file would be opened with
   CREATE_ALWAYS and written, and each folder made by itself. */
#ifndef PLATFORM_FILE_CONTENT_H
#define PLATFORM_FILE_CONTENT_H

#include <platform/base.h>

/* The file is the old one or the new one after any crash, as with CopyFileA, and made when it isn't there. FALSE with
   GetLastError and the old content, 5 where the folder lets no file be made beside it. */
WD_API BOOL WdReplaceContent(LPCSTR name, const void* content, DWORD bytes);

/* Makes what is missing on the way; a folder that is there is as good. FALSE with GetLastError 3 where a file stands in
   the way. */
WD_API BOOL WdMakeFolder(LPCSTR name);

#endif
