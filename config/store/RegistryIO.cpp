#include "RegistryIO.h"

#include "KeyReading.h"
#include "OpenKey.h"
#include "ScanItems.h"
#include "WdCommon/DebugLog.h"

#include <platform/win32.h>
#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <cstring>

namespace {

using namespace wdlt;

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

    WideName wideName;
    if (!wideName.assign(name.c_str())) {
        WDLOG_ERROR("[CRegistryIO::ReadValue] MultiByteToWideChar GetLastError (%d): sFullpath = %s", GetLastError(),
                    path.c_str());
        return WDLT_E_GENERAL;
    }
    // Cut to the buffer, always with its terminator.
    const std::size_t room = *size / sizeof(WCHAR);
    const std::size_t length = std::char_traits<WCHAR>::length(wideName.data());
    const std::size_t kept = std::min(length, std::max<std::size_t>(room, 1) - 1);
    wideName.data()[kept] = 0;
    std::memcpy(data, wideName.data(), std::min<std::size_t>(*size, (kept + 1) * sizeof(WCHAR)));
    return WDLT_OK;
}

} // namespace

std::string CRegistryIO::composeAnew(DWORD protocol, DWORD scan, DWORD input, const char* section) {
    HandlerDirectory handlers;
    return composeSection(handlers, protocol, scan, input, section);
}

std::int32_t CRegistryIO::ReadValue(DWORD protocol, DWORD scan, DWORD input, const char* section, const char* name,
                                    void* data, DWORD* size, bool wide) {
    // Records ask for each scan there may be: one without an item has no path, whatever the registry holds.
    if (scan != WDLT_SCAN_NONE && protocol >= WDLT_PROTOCOL_SYSTEM && *section == '\0' &&
        scanItemName(scan, input) == nullptr)
        return WDLT_E_INVALID_ARGUMENT;
    return m_sections->read(protocol, scan, input, section, [&, room = *size](const ReadableKey& key) {
        *size = room;
        if (key.path().empty())
            return std::int32_t{WDLT_E_INVALID_ARGUMENT};
        if (*name == '\0')
            return readKeyName(key.path(), data, size, wide);
        return wide ? readWideValue(key, name, data, size) : readValue(key, name, data, size);
    });
}

std::int32_t CRegistryIO::EnumSubSections(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                          std::vector<std::string>& names) {
    return m_sections->read(protocol, scan, input, section, [&, before = names.size()](const ReadableKey& key) {
        names.resize(before);
        return enumerateKeys(key, names);
    });
}

std::int32_t CRegistryIO::WriteValue(DWORD protocol, DWORD scan, DWORD input, const char* section, const char* name,
                                     DWORD type, const void* data, DWORD size, bool wide) {
    const std::string path = composeAnew(protocol, scan, input, section);
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

    WideName wideName;
    if (!wideName.assign(name)) {
        WDLOG_ERROR("[CRegistryIO::WriteValue] MultiByteToWideChar GetLastError (%d): section = %s", GetLastError(),
                    path.c_str());
        return WDLT_E_REGISTRY;
    }
    return RegSetValueExW(key.get(), wideName.data(), 0, type, bytes, size) == 0 ? WDLT_OK : WDLT_E_REGISTRY;
}

// Both deletions: `deleteIn` works on the section's open key and returns the registry's error.
template <class DeleteIn>
std::int32_t CRegistryIO::deleteIn(DWORD protocol, DWORD scan, DWORD input, const char* section, const char* operation,
                                   DeleteIn deleteIn) {
    const std::string path = composeAnew(protocol, scan, input, section);
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
