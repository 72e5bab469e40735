#include "KeyReading.h"

#include "OpenKey.h"
#include "WdCommon/DebugLog.h"

#include <platform/win32.h>
#include <wdltcfg/status.h>

#include <array>

namespace wdlt {
namespace {

constexpr std::size_t kKeyNameSize = 255 * 3 + 1; // the longest name in any code page

LONG openForReading(const std::string& path, OpenKey& key) {
    return answered(RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, key.out()));
}

// Opens the key and calls `query` with it.
template <class Query>
std::int32_t readAt(const std::string& path, Query&& query) {
    OpenKey key;
    if (const LONG error = openForReading(path, key)) {
        WDLOG_TRACE("RegOpenKeyEx error (%d): section = %s", error, path.c_str());
        return WDLT_E_REGISTRY;
    }
    return query(key.get());
}

} // namespace

std::int32_t statusOf(LONG error) {
    switch (static_cast<DWORD>(error)) {
    case ERROR_SUCCESS:
        return WDLT_OK;
    case ERROR_MORE_DATA:
        return WDLT_E_BUFFER_SIZE;
    case ERROR_FILE_NOT_FOUND:
        return WDLT_E_NOT_FOUND;
    default:
        return WDLT_E_REGISTRY;
    }
}

bool WideName::assign(const char* text) {
    return MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, text, -1, m_text, static_cast<int>(std::size(m_text))) != 0;
}

std::int32_t readValueAt(const std::string& path, const char* name, void* data, DWORD* size) {
    return readAt(path, [&](HKEY key) {
        return statusOf(answered(RegQueryValueExA(key, name, nullptr, nullptr, static_cast<BYTE*>(data), size)));
    });
}

std::int32_t readWideValueAt(const std::string& path, const char* name, void* data, DWORD* size) {
    return readAt(path, [&](HKEY key) {
        WideName wideName;
        if (!wideName.assign(name)) {
            WDLOG_ERROR("[CRegistryIO::ReadValue] MultiByteToWideChar GetLastError (%d): szKey = %s", GetLastError(),
                        name);
            return std::int32_t{WDLT_E_REGISTRY};
        }
        return statusOf(
            answered(RegQueryValueExW(key, wideName.data(), nullptr, nullptr, static_cast<BYTE*>(data), size)));
    });
}

std::int32_t enumerateKeys(const std::string& path, std::vector<std::string>& names) {
    OpenKey key;
    if (const LONG error = openForReading(path, key)) {
        WDLOG_ERROR("RegOpenKeyEx error (%d): section = %s", error, path.c_str());
        return WDLT_E_REGISTRY;
    }
    for (DWORD index = 0;; ++index) {
        std::array<char, kKeyNameSize> name{};
        DWORD length = static_cast<DWORD>(name.size());
        const LONG error =
            answered(RegEnumKeyExA(key.get(), index, name.data(), &length, nullptr, nullptr, nullptr, nullptr));
        if (error != 0)
            return static_cast<DWORD>(error) == ERROR_NO_MORE_ITEMS ? WDLT_OK : WDLT_E_REGISTRY;
        names.emplace_back(name.data(), length);
    }
}

} // namespace wdlt
