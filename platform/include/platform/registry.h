/* The registry: a tree of keys with typed values, shared by all processes of one home. Key and value names are
   case-insensitive; every call is one transaction, which other processes see completely or not at all, and a write is
   on disk when the call returns. All functions return an error code (0 is success) and may be called from any thread.
   The A forms take text in the system code page, the W forms UTF-16. */
#ifndef PLATFORM_REGISTRY_H
#define PLATFORM_REGISTRY_H

#include <platform/base.h>

/* The one predefined key. The upper half of the number doesn't count: any is taken for the same key. */
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(std::intptr_t{static_cast<LONG>(0x80000002)}))

inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_EXPAND_SZ = 2;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_MULTI_SZ = 7;
inline constexpr DWORD REG_QWORD = 11;

inline constexpr REGSAM KEY_QUERY_VALUE = 0x0001;
inline constexpr REGSAM KEY_SET_VALUE = 0x0002;
inline constexpr REGSAM KEY_CREATE_SUB_KEY = 0x0004;
inline constexpr REGSAM KEY_ENUMERATE_SUB_KEYS = 0x0008;
inline constexpr REGSAM KEY_READ = 0x20019;
inline constexpr REGSAM KEY_WRITE = 0x20006;
inline constexpr REGSAM KEY_ALL_ACCESS = 0xF003F;
inline constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
inline constexpr DWORD REG_CREATED_NEW_KEY = 1;
inline constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

/* Opens an existing key below `key`; a null or empty sub-key opens `key` itself again, and gives HKEY_LOCAL_MACHINE as
   it was passed. ERROR_FILE_NOT_FOUND: no such key, ERROR_BAD_PATHNAME: a malformed path, ERROR_INVALID_PARAMETER: a
   component too long, ERROR_INVALID_HANDLE: a stale or foreign handle; `*result` is null then. `access` is what the
   handle may be used for, generic rights and MAXIMUM_ALLOWED (security.h) included; more than that is
   ERROR_ACCESS_DENIED at its use. `options` are ignored. Each opened key is closed with RegCloseKey. */
WD_API LONG RegOpenKeyExA(HKEY key, LPCSTR subKey, DWORD options, REGSAM access, HKEY* result);
WD_API LONG RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, HKEY* result);

/* Opens a key, or creates it with every missing key on its path, whatever `key` was opened for. `disposition` may be
   null. Errors as above, and ERROR_INVALID_PARAMETER: any option but REG_OPTION_NON_VOLATILE, or `reserved` isn't 0;
   ERROR_BADKEY: `result` is null. The class and the security attributes are ignored. */
WD_API LONG RegCreateKeyExA(HKEY key, LPCSTR subKey, DWORD reserved, LPSTR className, DWORD options, REGSAM access,
                            void* securityAttributes, HKEY* result, LPDWORD disposition);
WD_API LONG RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD reserved, LPWSTR className, DWORD options, REGSAM access,
                            void* securityAttributes, HKEY* result, LPDWORD disposition);

/* The name of the subkey at `index`, in case-insensitive order. `nameLength` counts characters (bytes in the A form):
   in, the buffer's size with room for the terminator; out, the name's length without it. ERROR_NO_MORE_ITEMS: no more,
   ERROR_MORE_DATA: the buffer is too small. The last write time isn't kept: a non-null `lastWriteTime` is left alone.
   */
WD_API LONG RegEnumKeyExA(HKEY key, DWORD index, LPSTR name, LPDWORD nameLength, LPDWORD reserved, LPSTR className,
                          LPDWORD classLength, void* lastWriteTime);
WD_API LONG RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameLength, LPDWORD reserved, LPWSTR className,
                          LPDWORD classLength, void* lastWriteTime);

/* The value at `index`, in case-insensitive order, with its type and data; sizes as in RegEnumKeyEx and
   RegQueryValueEx. ERROR_MORE_DATA gives the type and the size of the data all the same, and the W form the name if
   that fits. */
WD_API LONG RegEnumValueA(HKEY key, DWORD index, LPSTR name, LPDWORD nameLength, LPDWORD reserved, LPDWORD type,
                          LPBYTE data, LPDWORD size);
WD_API LONG RegEnumValueW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameLength, LPDWORD reserved, LPDWORD type,
                          LPBYTE data, LPDWORD size);

/* A value's type and bytes. Null `data` with `size` gives the size and 0; too small a buffer gives ERROR_MORE_DATA and
   the size, and is left alone; ERROR_FILE_NOT_FOUND: no such value, which with null data has the size 0. A text is
   given in the form (A or W) of the call. */
WD_API LONG RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size);
WD_API LONG RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size);

/* Stores a value. ERROR_INVALID_PARAMETER: more than 1 MiB of data, a name of more than 255 units, or `reserved` isn't
   0; ERROR_NOACCESS: null data with a size, ERROR_DISK_FULL: no space, ERROR_ACCESS_DENIED: no right to write. */
WD_API LONG RegSetValueExA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);
WD_API LONG RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);

/* Deletes a subkey with its values, whatever `key` was opened for. ERROR_ACCESS_DENIED: it has subkeys,
   ERROR_FILE_NOT_FOUND: no such key, ERROR_INVALID_PARAMETER: a null or empty sub-key, since a key isn't deleted
   through its own handle. */
WD_API LONG RegDeleteKeyA(HKEY key, LPCSTR subKey);
WD_API LONG RegDeleteKeyW(HKEY key, LPCWSTR subKey);
WD_API LONG RegDeleteValueA(HKEY key, LPCSTR name);
WD_API LONG RegDeleteValueW(HKEY key, LPCWSTR name);

WD_API LONG RegCloseKey(HKEY key);

#endif
