// See RegistryRefusal.h: here the loaded library's imports are replaced.
#include "RegistryRefusal.h"

#include "Imports.h"

#include <platform/win32.h>

#include <mutex>
#include <string_view>
#include <utility>

namespace registry_faults {
std::atomic<int> enumeration{0};
std::atomic<int> commit{0};
std::atomic<int> write{0}; // calls until the one that fails
} // namespace registry_faults

namespace {

std::atomic<bool> g_acts{false}; // whether g_act is called after reads
std::function<void(const std::string&)> g_act;

std::mutex g_mutex;
std::string g_call; // guarded by g_mutex, like the next
std::string g_name;

template <class Char>
bool isRefused(std::string_view call, const Char* path) {
    std::string name;
    for (; path != nullptr && *path != 0; ++path)
        name.push_back(static_cast<char>(*path));
    name.erase(0, name.rfind('\\') + 1);
    const std::lock_guard lock(g_mutex);
    return call == g_call && name == g_name;
}

bool failsNow() {
    return registry_faults::write > 0 && --registry_faults::write == 0;
}

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
    if (failsNow())
        return ERROR_DISK_FULL;
    return isRefused("RegSetValueEx", name) ? ERROR_ACCESS_DENIED
                                            : RegSetValueExA(key, name, reserved, type, data, size);
}
LONG WINAPI setValueW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
    if (failsNow())
        return ERROR_DISK_FULL;
    return isRefused("RegSetValueEx", name) ? ERROR_ACCESS_DENIED
                                            : RegSetValueExW(key, name, reserved, type, data, size);
}
LONG WINAPI deleteKey(HKEY key, LPCWSTR subKey) {
    return isRefused("RegDeleteKey", subKey) ? ERROR_ACCESS_DENIED : RegDeleteKeyW(key, subKey);
}
LONG WINAPI queryValue(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
    const LONG error = RegQueryValueExA(key, name, reserved, type, data, size);
    if (g_acts.exchange(false)) {
        g_act(name);
        g_acts = true;
    }
    return error;
}

} // namespace

RegistryRefusal::RegistryRefusal(const char* call, std::string name) {
    const std::lock_guard lock(g_mutex);
    g_call = call;
    g_name = std::move(name);
}

RegistryRefusal::~RegistryRefusal() {
    const std::lock_guard lock(g_mutex);
    g_call.clear();
}

AfterEachRead::AfterEachRead(std::function<void(const std::string&)> act) {
    g_act = std::move(act);
    g_acts = true;
}

AfterEachRead::~AfterEachRead() {
    g_acts = false;
}

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
