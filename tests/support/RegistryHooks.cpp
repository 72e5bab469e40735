// The program that links this has its own definitions, which replace the layer's, also for a library that it loads.
#include "RegistryHooks.h"
#include "RegistryRefusal.h"

#include <platform/registry_batch.h>
#include <platform/win32.h>

#include <dlfcn.h>

#include <type_traits>

using registry_hooks::isRefused;

namespace {

template <class Function>
Function* layers(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
#define WDLT_LAYERS(name) (layers<std::remove_reference_t<decltype(::name)>>(#name))

} // namespace

LONG RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD size, LPDWORD reserved, LPWSTR className,
                   LPDWORD classSize, void* time) {
    static const auto real = WDLT_LAYERS(RegEnumKeyExW);
    constexpr LONG kRegistryCorrupt = 1015;
    return registry_faults::enumeration != 0 ? kRegistryCorrupt
                                             : real(key, index, name, size, reserved, className, classSize, time);
}

LONG WdRegEndBatch() {
    static const auto real = WDLT_LAYERS(WdRegEndBatch);
    if (registry_faults::commit == 0)
        return real();
    WdRegAbandonBatch();
    return ERROR_DISK_FULL;
}

#define WDLT_REFUSING(call, function, path, ...)                                                                       \
    static const auto real = WDLT_LAYERS(function);                                                                    \
    return isRefused(call, path) ? LONG{ERROR_ACCESS_DENIED} : real(__VA_ARGS__)

LONG RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, HKEY* result) {
    WDLT_REFUSING("RegOpenKeyEx", RegOpenKeyExW, subKey, key, subKey, options, access, result);
}

LONG RegCreateKeyExA(HKEY key, LPCSTR subKey, DWORD reserved, LPSTR className, DWORD options, REGSAM access,
                     void* security, HKEY* result, LPDWORD disposition) {
    WDLT_REFUSING("RegCreateKeyEx", RegCreateKeyExA, subKey, key, subKey, reserved, className, options, access,
                  security, result, disposition);
}

LONG RegSetValueExA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
    if (registry_hooks::isFailingWrite())
        return ERROR_DISK_FULL;
    WDLT_REFUSING("RegSetValueEx", RegSetValueExA, name, key, name, reserved, type, data, size);
}

LONG RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
    WDLT_REFUSING("RegSetValueEx", RegSetValueExW, name, key, name, reserved, type, data, size);
}

LONG RegDeleteKeyW(HKEY key, LPCWSTR subKey) {
    WDLT_REFUSING("RegDeleteKey", RegDeleteKeyW, subKey, key, subKey);
}

LONG RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
    static const auto real = WDLT_LAYERS(RegQueryValueExA);
    const LONG error = real(key, name, reserved, type, data, size);
    registry_hooks::afterRead(name);
    return error;
}
