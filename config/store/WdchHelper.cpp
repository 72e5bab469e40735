#include "WdchHelper.h"

#include <platform/win32.h>
#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <array>
#include <cstring>

std::int32_t WdchHelper::ReadItem(const char* section, const char* name, void* data, DWORD* size, bool wide) {
    return store->ReadValue(protocol, scan, input, section, name, data, size, wide);
}

std::int32_t WdchHelper::WriteItem(const char* section, const char* name, DWORD type, const void* data, DWORD size,
                                   bool wide) {
    return store->WriteValue(protocol, scan, input, section, name, type, data, size, wide);
}

std::string WdchHelper::systemText(const char* name) {
    std::array<char, MAX_PATH> text{};
    DWORD size = static_cast<DWORD>(text.size());
    if (store->ReadValue(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, WDLT_INPUT_NONE, "", name, text.data(), &size, false) !=
        WDLT_OK)
        return {};
    return {text.data(), strnlen(text.data(), text.size())};
}

std::string WdchHelper::GetTempPath() {
    const std::string folder = systemText("TempPath");
    return folder.empty() ? GetInstallPath() : folder;
}

namespace {

// Calls `character(at, bytes)` for each character of the text, of one byte or two.
template <class Character>
void eachCharacter(const char* text, std::size_t length, Character&& character) {
    for (std::size_t at = 0; at < length;) {
        const std::size_t bytes = IsDBCSLeadByte(static_cast<BYTE>(text[at])) && at + 1 < length ? 2 : 1;
        character(at, bytes);
        at += bytes;
    }
}

} // namespace

void WdchHelper::StripPath(char* path, std::size_t size) {
    const std::size_t length = strnlen(path, size);
    std::size_t name = 0;
    eachCharacter(path, length, [&](std::size_t at, std::size_t bytes) {
        if (bytes == 1 && (path[at] == '\\' || path[at] == '/'))
            name = at + 1;
    });
    std::memmove(path, path + name, length - name);
    std::memset(path + (length - name), 0, name);
}

void WdchHelper::EndInBackslash(char* path, std::size_t size) {
    const std::size_t length = strnlen(path, size);
    bool isThere = true; // an empty path needs none
    eachCharacter(path, length, [&](std::size_t at, std::size_t bytes) { isThere = bytes == 1 && path[at] == '\\'; });
    if (!isThere && length + 1 < size)
        path[length] = '\\';
}
