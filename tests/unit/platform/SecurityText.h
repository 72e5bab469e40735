// Descriptors and their texts, for tests of what stands between.
#pragma once

#include <platform/win32.h>

#include <memory>
#include <string>

struct LocalDeleter {
    void operator()(void* memory) const { LocalFree(memory); }
};
template <class T>
using Local = std::unique_ptr<T, LocalDeleter>;

inline constexpr SECURITY_INFORMATION kAllParts =
    OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION;

// Null, and GetLastError, for a text that is refused.
inline Local<void> sidOf(const char* text) {
    PSID sid = nullptr;
    return Local<void>(ConvertStringSidToSidA(text, &sid) != FALSE ? sid : nullptr);
}
inline Local<void> descriptorOf(const std::string& sddl) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const BOOL converted =
        ConvertStringSecurityDescriptorToSecurityDescriptorA(sddl.c_str(), SDDL_REVISION_1, &descriptor, nullptr);
    return Local<void>(converted != FALSE ? descriptor : nullptr);
}

// "error 1336" and the like for a descriptor that is refused.
inline std::string textOf(PSECURITY_DESCRIPTOR descriptor, SECURITY_INFORMATION parts = kAllParts) {
    LPSTR text = nullptr;
    if (ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1, parts, &text, nullptr) ==
        FALSE)
        return "error " + std::to_string(GetLastError());
    const Local<char> owned(text);
    return text;
}

// There and back.
inline std::string roundTrip(const std::string& sddl) {
    const Local<void> descriptor = descriptorOf(sddl);
    return descriptor ? textOf(descriptor.get()) : "error " + std::to_string(GetLastError());
}
