/* INI files: case-insensitive sections and names, blanks around which don't count, `;` comment lines, quotes around a
   text removed; lines end with CR LF, LF or CR. A missing file gives the default. Nobody who has the file open keeps
   anybody from reading or replacing it. Paths: `\` and `/` both separate, a leading "X:" is the folder drive_x of the
   home. A plain file name without a folder is looked for in the home. */
#ifndef PLATFORM_INI_H
#define PLATFORM_INI_H

#include <platform/base.h>

/* Decimal, with a sign, or 0x…; what isn't a number gives 0. */
WD_API UINT GetPrivateProfileIntA(LPCSTR section, LPCSTR name, int defaultValue, LPCSTR file);
/* Copies at most size - 1 bytes and a terminator; returns the bytes copied, size - 1 when the text was cut. A default
   loses the blanks at its end. A null section gives the names of all sections, a null name those of the section's
   values: each with its terminator, and one more at the end, which isn't counted; size - 2 when they were cut. */
WD_API DWORD GetPrivateProfileStringA(LPCSTR section, LPCSTR name, LPCSTR defaultText, LPSTR buffer, DWORD size,
                                      LPCSTR file);
/* Keeps everything that it doesn't touch and replaces the file as a whole. A null text deletes the name, a null name
   the section, whatever the text is. With all three null nothing is done, and the result is zero: there is no cache to
   flush. Names that couldn't be read back are ERROR_INVALID_PARAMETER, a null section ERROR_FILE_NOT_FOUND, no file
   ERROR_ACCESS_DENIED. */
WD_API BOOL WritePrivateProfileStringA(LPCSTR section, LPCSTR name, LPCSTR text, LPCSTR file);

#endif
