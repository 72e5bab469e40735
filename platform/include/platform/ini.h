/* INI files: case-insensitive sections and names, `;` comment lines, quotes around a text removed. A missing file gives
   the default. Paths: `\` and `/` both separate, a leading "X:" is the folder drive_x of the home. A plain file name
   without a folder is looked for in the home. */
#ifndef PLATFORM_INI_H
#define PLATFORM_INI_H

#include <platform/base.h>

/* Decimal, with a sign, or 0x…; what isn't a number gives 0. */
WD_API UINT GetPrivateProfileIntA(LPCSTR section, LPCSTR name, int defaultValue, LPCSTR file);
/* Copies at most size - 1 bytes and a terminator; returns the bytes copied, size - 1 when the text was cut. */
WD_API DWORD GetPrivateProfileStringA(LPCSTR section, LPCSTR name, LPCSTR defaultText, LPSTR buffer, DWORD size,
                                      LPCSTR file);
/* Keeps everything that it doesn't touch and replaces the file as a whole. A null text deletes the name, a null name
   the section; with all three null nothing is done, successfully. */
WD_API BOOL WritePrivateProfileStringA(LPCSTR section, LPCSTR name, LPCSTR text, LPCSTR file);

#endif
