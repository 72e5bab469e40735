/* Text of the system code page: UTF-8 (65001) unless the home's settings or WARDLET_ACP name another. */
#ifndef PLATFORM_TEXT_H
#define PLATFORM_TEXT_H

#include <platform/base.h>

inline constexpr UINT CP_ACP = 0;
inline constexpr UINT CP_UTF8 = 65001;
inline constexpr DWORD MB_PRECOMPOSED = 0x1;
inline constexpr DWORD MB_ERR_INVALID_CHARS = 0x8;
inline constexpr DWORD WC_NO_BEST_FIT_CHARS = 0x400;

/* Number of the code page that CP_ACP stands for. */
WD_API UINT GetACP();

/* Whether `byte` begins a double-byte character of the system code page. UTF-8 has no such bytes here. */
WD_API BOOL IsDBCSLeadByte(BYTE byte);
/* The next character; at the terminator, `text` itself. In UTF-8 it steps by one byte. */
WD_API LPSTR CharNextA(LPCSTR text);

/* Converts text. Each length counts characters of its own side, a negative one stands for a null-terminated source (the
   terminator is then converted and counted). A target length of 0 asks for the length. Returns the length, or 0 with
   GetLastError ERROR_INVALID_PARAMETER, ERROR_INVALID_FLAGS (any but those above), ERROR_INSUFFICIENT_BUFFER (target
   too small; it has the whole characters that fit), ERROR_NO_UNICODE_TRANSLATION (invalid text under
   MB_ERR_INVALID_CHARS, nothing is written; without the flag each invalid character becomes U+FFFD). A lead byte takes
   the byte behind it along, valid or not, as in CharNextA. A unit that the code page lacks becomes the default
   character or '?', never a look-alike; U+DC80 to U+DCFF become the bytes 0x80 to 0xFF, which stand for bytes that are
   no text (names of files and keys). */
WD_API int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR source, int sourceLength, LPWSTR target,
                               int targetLength);
WD_API int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR source, int sourceLength, LPSTR target,
                               int targetLength, LPCSTR defaultChar, BOOL* usedDefaultChar);

/* The part of a path after its last `\` or `/` (or `:`); the whole text when there is none. Double-byte aware. */
WD_API LPSTR PathFindFileNameA(LPCSTR path);

#endif
