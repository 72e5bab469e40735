#include "RegistryRefusal.h"

#include <platform/registry_batch.h>
#include <platform/win32.h>

#include <dlfcn.h>

#include <mutex>
#include <string_view>
#include <type_traits>
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

template <class Function>
Function* layers(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
#define WDLT_LAYERS(name) (layers<std::remove_reference_t<decltype(::name)>>(#name))

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
    if (registry_faults::write > 0 && --registry_faults::write == 0)
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
    if (g_acts.exchange(false)) {
        g_act(name);
        g_acts = true;
    }
    return error;
}
