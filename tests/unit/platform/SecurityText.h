// Converts between descriptors and texts, for tests.
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

// Null for a text that is refused; GetLastError says why.
inline Local<void> descriptorOf(const std::string& sddl) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const BOOL converted =
        ConvertStringSecurityDescriptorToSecurityDescriptorA(sddl.c_str(), SDDL_REVISION_1, &descriptor, nullptr);
    return Local<void>(converted != FALSE ? descriptor : nullptr);
}

// "error 1336" and the like for a descriptor that is refused.
inline std::string textOf(PSECURITY_DESCRIPTOR descriptor) {
    LPSTR text = nullptr;
    if (ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1, kAllParts, &text, nullptr) ==
        FALSE)
        return "error " + std::to_string(GetLastError());
    const Local<char> owned(text);
    return text;
}
