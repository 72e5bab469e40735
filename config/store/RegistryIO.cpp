#include "RegistryIO.h"

#include "OpenKey.h"
#include "ScanItems.h"
#include "WdCommon/DebugLog.h"

#include <platform/win32.h>
#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <utility>

namespace {

constexpr std::string_view kBasePath = "SOFTWARE\\Halvermoor\\PLK\\Wardlet";
constexpr const char* kHandlers = "ProtocolHandler";
constexpr DWORD kScanFolderSize = 11;             // a handler's `Scan` text with its terminator
constexpr std::size_t kKeyNameSize = 255 * 3 + 1; // the longest name in any code page
constexpr std::size_t kWideNameSize = MAX_PATH;

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

// A name for the W calls. False, with the thread's last error, when it isn't text of the code page or is too long.
bool widen(const char* text, std::array<WCHAR, kWideNameSize>& wide) {
    return MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, text, -1, wide.data(), static_cast<int>(wide.size())) != 0;
}

// The second byte of a double-byte character may look like a separator.
std::string lastComponent(const std::string& path) {
    std::size_t begin = 0;
    for (std::size_t at = 0; at < path.size(); ++at) {
        if (IsDBCSLeadByte(static_cast<BYTE>(path[at])))
            ++at;
        else if (path[at] == '\\')
            begin = at + 1;
    }
    return path.substr(begin);
}

// What a read with an empty name gives: the last component of the key's path.
std::int32_t readKeyName(const std::string& path, void* data, DWORD* size, bool wide) {
    const std::string name = lastComponent(path);
    const auto needed = static_cast<DWORD>(name.size() + 1);
    if (data == nullptr || *size < needed) {
        const std::int32_t status = data == nullptr ? WDLT_OK : WDLT_E_BUFFER_SIZE;
        *size = needed;
        return status;
    }
    if (!wide) {
        std::memcpy(data, name.c_str(), needed);
        return WDLT_OK;
    }

    std::array<WCHAR, kWideNameSize> wideName{};
    if (!widen(name.c_str(), wideName)) {
        WDLOG_ERROR("[CRegistryIO::ReadValue] MultiByteToWideChar GetLastError (%d): sFullpath = %s", GetLastError(),
                    path.c_str());
        return WDLT_E_GENERAL;
    }
    // Cut to the buffer, always with its terminator.
    const std::size_t room = *size / sizeof(WCHAR);
    const std::size_t length = std::char_traits<WCHAR>::length(wideName.data());
    const std::size_t kept = std::min(length, std::max<std::size_t>(room, 1) - 1);
    wideName[kept] = 0;
    std::memcpy(data, wideName.data(), std::min<std::size_t>(*size, (kept + 1) * sizeof(WCHAR)));
    return WDLT_OK;
}

} // namespace

std::string CRegistryIO::ComposeSection(DWORD protocol, DWORD scan, DWORD input, const char* section) {
    const bool system = protocol >= WDLT_PROTOCOL_SYSTEM;
    const DWORD handler = system ? protocol - WDLT_PROTOCOL_SYSTEM : protocol;

    std::string path;
    if (scan != WDLT_SCAN_NONE)
        path = ComposeScanPath(handler, scan, input);
    else if (protocol == WDLT_PROTOCOL_SYSTEM)
        path = kBasePath;
    else
        path = ComposeProtocolPath(handler);

    if (!system)
        path += "\\config";
    if (*section != '\0')
        path.append("\\").append(section);
    return path;
}

std::string CRegistryIO::ComposeProtocolPath(DWORD protocol) {
    if (m_handler && m_handler->type == protocol)
        return m_handler->path;

    std::vector<std::string> names;
    EnumSubSections(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, WDLT_INPUT_NONE, kHandlers, names);
    for (const std::string& name : names) {
        DWORD type = 0;
        DWORD size = sizeof type;
        const std::string section = std::string(kHandlers).append("\\").append(name);
        if (ReadValue(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, WDLT_INPUT_NONE, section.c_str(), "Type", &type, &size,
                      false) == WDLT_OK &&
            type == protocol) {
            m_handler = Handler{protocol, std::string(kBasePath).append("\\").append(section), {}};
            return m_handler->path;
        }
    }
    return {};
}

std::optional<std::string> CRegistryIO::ScanFolder(DWORD protocol) {
    if (protocol == WDLT_PROTOCOL_COMMON)
        return std::string("Common");
    if (m_handler && m_handler->type == protocol && m_handler->scanFolder)
        return m_handler->scanFolder;

    std::array<char, kScanFolderSize> folder{};
    DWORD size = kScanFolderSize;
    const std::int32_t status = ReadValue(protocol + WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, WDLT_INPUT_NONE, "", "Scan",
                                          folder.data(), &size, false);
    if (status != WDLT_OK || folder.back() != '\0')
        return std::nullopt;
    if (m_handler)
        m_handler->scanFolder = folder.data();
    return std::string(folder.data());
}

std::string CRegistryIO::ComposeScanPath(DWORD protocol, DWORD scan, DWORD input) {
    const char* const item = wdlt::scanItemName(scan, input);
    if (item == nullptr)
        return {};
    const std::optional<std::string> folder = ScanFolder(protocol);
    if (!folder)
        return {};
    return std::string(kBasePath).append("\\Scan\\").append(*folder).append("\\").append(item);
}

std::int32_t CRegistryIO::ReadValue(DWORD protocol, DWORD scan, DWORD input, const char* section, const char* name,
                                    void* data, DWORD* size, bool wide) {
    const std::string path = ComposeSection(protocol, scan, input, section);
    if (path.empty())
        return WDLT_E_INVALID_ARGUMENT;
    if (*name == '\0')
        return readKeyName(path, data, size, wide);

    OpenKey key;
    if (const LONG error = answered(RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, key.out()))) {
        WDLOG_TRACE("RegOpenKeyEx error (%d): section = %s", error, path.c_str());
        return WDLT_E_REGISTRY;
    }
    if (!wide)
        return statusOf(answered(RegQueryValueExA(key.get(), name, nullptr, nullptr, static_cast<BYTE*>(data), size)));

    std::array<WCHAR, kWideNameSize> wideName{};
    if (!widen(name, wideName)) {
        WDLOG_ERROR("[CRegistryIO::ReadValue] MultiByteToWideChar GetLastError (%d): szKey = %s", GetLastError(), name);
        return WDLT_E_REGISTRY;
    }
    return statusOf(
        answered(RegQueryValueExW(key.get(), wideName.data(), nullptr, nullptr, static_cast<BYTE*>(data), size)));
}

std::int32_t CRegistryIO::EnumSubSections(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                          std::vector<std::string>& names) {
    const std::string path = ComposeSection(protocol, scan, input, section);
    OpenKey key;
    if (const LONG error = answered(RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, key.out()))) {
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

std::int32_t CRegistryIO::WriteValue(DWORD protocol, DWORD scan, DWORD input, const char* section, const char* name,
                                     DWORD type, const void* data, DWORD size, bool wide) {
    m_handler.reset();
    const std::string path = ComposeSection(protocol, scan, input, section);
    m_handler.reset();
    if (path.empty())
        return WDLT_E_GENERAL;

    OpenKey key;
    if (const LONG error = RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                           KEY_ALL_ACCESS, nullptr, key.out(), nullptr)) {
        WDLOG_ERROR("[CRegistryIO::WriteValue] error (%d): section = %s", error, path.c_str());
        return WDLT_E_REGISTRY;
    }
    const auto* const bytes = static_cast<const BYTE*>(data);
    if (!wide)
        return RegSetValueExA(key.get(), name, 0, type, bytes, size) == 0 ? WDLT_OK : WDLT_E_REGISTRY;

    std::array<WCHAR, kWideNameSize> wideName{};
    if (!widen(name, wideName)) {
        WDLOG_ERROR("[CRegistryIO::WriteValue] MultiByteToWideChar GetLastError (%d): section = %s", GetLastError(),
                    path.c_str());
        return WDLT_E_REGISTRY;
    }
    return RegSetValueExW(key.get(), wideName.data(), 0, type, bytes, size) == 0 ? WDLT_OK : WDLT_E_REGISTRY;
}

// Both deletions: `deleteIn` works on the section's open key and gives the registry's code.
template <class DeleteIn>
std::int32_t CRegistryIO::deleteIn(DWORD protocol, DWORD scan, DWORD input, const char* section, const char* operation,
                                   DeleteIn deleteIn) {
    m_handler.reset();
    const std::string path = ComposeSection(protocol, scan, input, section);
    m_handler.reset();
    if (path.empty())
        return WDLT_E_GENERAL;
    WDLOG_ENTRY("%s : section = %s", operation, path.c_str());

    OpenKey key;
    if (const LONG error = RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_ALL_ACCESS, key.out())) {
        WDLOG_ERROR("RegOpenKeyEx error (%d): section = %s", error, path.c_str());
        return WDLT_E_REGISTRY;
    }
    switch (static_cast<DWORD>(deleteIn(key.get()))) {
    case ERROR_SUCCESS:
        return WDLT_OK;
    case ERROR_FILE_NOT_FOUND:
        return WDLT_E_NOT_FOUND;
    default:
        return WDLT_E_REGISTRY;
    }
}

std::int32_t CRegistryIO::DeleteSubSection(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                           const char* subSection) {
    return deleteIn(protocol, scan, input, section, "DeleteSubSection",
                    [&](HKEY key) { return RegDeleteKeyA(key, subSection); });
}

std::int32_t CRegistryIO::DeleteValue(DWORD protocol, DWORD scan, DWORD input, const char* section, const char* name) {
    return deleteIn(protocol, scan, input, section, "DeleteValue",
                    [&](HKEY key) { return RegDeleteValueA(key, name); });
}
