#include "ObjectName.h"

#include <platform/win32.h>

namespace {

bool hasSessions() {
    constexpr DWORD kVersionWithoutSessions = 4;
    OSVERSIONINFOA version{};
    version.dwOSVersionInfoSize = sizeof version;
    return GetVersionExA(&version) == FALSE || version.dwPlatformId != VER_PLATFORM_WIN32_NT ||
           version.dwMajorVersion != kVersionWithoutSessions;
}

} // namespace

std::string GlobalObjectName(const char* name) {
    return hasSessions() ? std::string("Global\\").append(name) : std::string(name);
}

void GlobalObjectName(const char* name, std::span<char, 260> buffer) {
    const std::string whole = GlobalObjectName(name);
    buffer[whole.copy(buffer.data(), buffer.size() - 1)] = '\0';
}
