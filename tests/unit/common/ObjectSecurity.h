// An object's security as text.
#pragma once

#include <platform/win32.h>

#include <string>

constexpr SECURITY_INFORMATION kListAndLabel = DACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION;

inline std::string textOf(PSECURITY_DESCRIPTOR descriptor) {
    LPSTR text = nullptr;
    if (ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1, kListAndLabel, &text,
                                                             nullptr) == FALSE)
        return "error " + std::to_string(GetLastError());
    std::string result = text;
    LocalFree(text);
    return result;
}

inline std::string securityOf(const char* object) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error =
        GetNamedSecurityInfoA(object, SE_KERNEL_OBJECT, kListAndLabel, nullptr, nullptr, nullptr, nullptr, &descriptor);
    if (error != ERROR_SUCCESS)
        return "error " + std::to_string(error);
    std::string result = textOf(descriptor);
    LocalFree(descriptor);
    return result;
}
