// The imports of the loaded library are replaced.
#include "RegistryHooks.h"

#include "Imports.h"
#include "RegistryRefusal.h"

#include <platform/win32.h>

using registry_hooks::isRefused;

namespace {

LONG WINAPI enumKey(HKEY key, DWORD index, LPWSTR name, LPDWORD size, LPDWORD reserved, LPWSTR className,
                    LPDWORD classSize, PFILETIME time) {
    return registry_faults::enumeration != 0
               ? ERROR_REGISTRY_CORRUPT
               : RegEnumKeyExW(key, index, name, size, reserved, className, classSize, time);
}
LONG WINAPI openKey(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, PHKEY result) {
    return isRefused("RegOpenKeyEx", subKey) ? ERROR_ACCESS_DENIED
                                             : RegOpenKeyExW(key, subKey, options, access, result);
}
LONG WINAPI createKey(HKEY key, LPCSTR subKey, DWORD reserved, LPSTR className, DWORD options, REGSAM access,
                      LPSECURITY_ATTRIBUTES security, PHKEY result, LPDWORD disposition) {
    return isRefused("RegCreateKeyEx", subKey)
               ? ERROR_ACCESS_DENIED
               : RegCreateKeyExA(key, subKey, reserved, className, options, access, security, result, disposition);
}
LONG WINAPI setValueA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
    if (registry_hooks::isFailingWrite())
        return ERROR_DISK_FULL;
    return isRefused("RegSetValueEx", name) ? ERROR_ACCESS_DENIED
                                            : RegSetValueExA(key, name, reserved, type, data, size);
}
LONG WINAPI setValueW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
    if (registry_hooks::isFailingWrite())
        return ERROR_DISK_FULL;
    return isRefused("RegSetValueEx", name) ? ERROR_ACCESS_DENIED
                                            : RegSetValueExW(key, name, reserved, type, data, size);
}
LONG WINAPI deleteKey(HKEY key, LPCWSTR subKey) {
    return isRefused("RegDeleteKey", subKey) ? ERROR_ACCESS_DENIED : RegDeleteKeyW(key, subKey);
}
LONG WINAPI queryValue(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
    const LONG error = RegQueryValueExA(key, name, reserved, type, data, size);
    registry_hooks::afterRead(name);
    return error;
}

} // namespace

void replaceRegistry(HMODULE library) {
    replaceImports(library, {
                                {"RegEnumKeyExW", reinterpret_cast<void*>(enumKey)},
                                {"RegOpenKeyExW", reinterpret_cast<void*>(openKey)},
                                {"RegCreateKeyExA", reinterpret_cast<void*>(createKey)},
                                {"RegSetValueExA", reinterpret_cast<void*>(setValueA)},
                                {"RegSetValueExW", reinterpret_cast<void*>(setValueW)},
                                {"RegDeleteKeyW", reinterpret_cast<void*>(deleteKey)},
                                {"RegQueryValueExA", reinterpret_cast<void*>(queryValue)},
                            });
}
