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

void WdchHelper::StripPath(char* path, std::size_t size) {
    const std::size_t length = strnlen(path, size);
    const char* const end = path + length;
    const char* name = path;
    for (const char* at = path; at < end;) {
        if (IsDBCSLeadByte(static_cast<BYTE>(*at)) && at + 1 < end) {
            at += 2;
            continue;
        }
        if (*at == '\\' || *at == '/')
            name = at + 1;
        ++at;
    }
    const auto kept = static_cast<std::size_t>(end - name);
    std::memmove(path, name, kept);
    std::memset(path + kept, 0, length - kept);
}
