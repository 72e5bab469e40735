/* Who and where this process is: machine, system version, session, time. */
#ifndef PLATFORM_IDENTITY_H
#define PLATFORM_IDENTITY_H

#include <platform/base.h>

struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};
static_assert(sizeof(SYSTEMTIME) == 16);

inline constexpr DWORD VER_PLATFORM_WIN32_NT = 2;
struct OSVERSIONINFOA {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    char szCSDVersion[128];
};

inline constexpr DWORD SECURITY_MAX_SID_SIZE = 68;
enum WELL_KNOWN_SID_TYPE : int { WinLocalSystemSid = 22 };

/* "C:\Windows\System32": returns the length, or the size needed (with terminator) when `size` is too small. */
WD_API UINT GetSystemDirectoryA(LPSTR buffer, UINT size);
/* Serial number of the machine's system volume: stable on one machine, different between machines. The other outputs
   may be null; names come back empty. */
WD_API BOOL GetVolumeInformationA(LPCSTR root, LPSTR volumeName, DWORD volumeNameSize, LPDWORD serial,
                                  LPDWORD maxComponentLength, LPDWORD flags, LPSTR fileSystemName,
                                  DWORD fileSystemNameSize);
/* Platform 2 (NT), version 10.0. */
WD_API BOOL GetVersionExA(OSVERSIONINFOA* info);
/* 0 for a process without a login session, as services are; else the session's number. */
WD_API BOOL ProcessIdToSessionId(DWORD processId, LPDWORD sessionId);
WD_API BOOL CreateWellKnownSid(WELL_KNOWN_SID_TYPE type, void* domainSid, void* sid, LPDWORD size);
/* Whether the calling process has the identity `sid`; root counts as Local System. `token` must be null. */
WD_API BOOL CheckTokenMembership(HANDLE token, void* sid, BOOL* isMember);

WD_API void GetLocalTime(SYSTEMTIME* time);
/* Milliseconds since the machine started; the same for all processes, and never set back. */
WD_API ULONGLONG GetTickCount64();
WD_API DWORD GetCurrentProcessId();
WD_API DWORD GetCurrentThreadId();

#endif
