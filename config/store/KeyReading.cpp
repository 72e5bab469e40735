#include "KeyReading.h"

#include "WdCommon/DebugLog.h"

#include <platform/win32.h>
#include <wdltcfg/status.h>

#include <array>
#include <utility>

namespace wdlt {
namespace {

constexpr std::size_t kKeyNameSize = 255 * 3 + 1; // the longest name in any code page

// A trace line when the key couldn't be opened; else the result of `query`.
template <class Query>
std::int32_t readFrom(const ReadableKey& key, Query&& query) {
    if (key.error() == 0)
        return query();
    WDLOG_TRACE("RegOpenKeyEx error (%d): section = %s", key.error(), key.path().c_str());
    return WDLT_E_REGISTRY;
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

ReadableKey::ReadableKey(std::string path)
    : m_path(std::move(path)),
      m_error(answered(RegOpenKeyExA(HKEY_LOCAL_MACHINE, m_path.c_str(), 0, KEY_READ, m_key.out()))) {}

bool ReadableKey::isSure() const {
    const auto error = static_cast<DWORD>(m_error);
    return error == ERROR_SUCCESS || error == ERROR_FILE_NOT_FOUND || error == ERROR_BAD_PATHNAME;
}

std::int32_t readValue(const ReadableKey& key, const char* name, void* data, DWORD* size) {
    return readFrom(key, [&] {
        return statusOf(answered(RegQueryValueExA(key.get(), name, nullptr, nullptr, static_cast<BYTE*>(data), size)));
    });
}

std::int32_t readWideValue(const ReadableKey& key, const char* name, void* data, DWORD* size) {
    return readFrom(key, [&] {
        WideName wideName;
        if (!wideName.assign(name)) {
            WDLOG_ERROR("[CRegistryIO::ReadValue] MultiByteToWideChar GetLastError (%d): szKey = %s", GetLastError(),
                        name);
            return std::int32_t{WDLT_E_REGISTRY};
        }
        return statusOf(
            answered(RegQueryValueExW(key.get(), wideName.data(), nullptr, nullptr, static_cast<BYTE*>(data), size)));
    });
}

std::int32_t enumerateKeys(const ReadableKey& key, std::vector<std::string>& names) {
    if (key.error() != 0) {
        WDLOG_ERROR("RegOpenKeyEx error (%d): section = %s", key.error(), key.path().c_str());
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
