// A program of its own, whose own conversion calls know no mandatory labels, as on a system that has none.
#include "SecurityAttributes.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <string>
#include <string_view>

BOOL ConvertStringSecurityDescriptorToSecurityDescriptorA(LPCSTR text, DWORD revision, PSECURITY_DESCRIPTOR* descriptor,
                                                          LPDWORD size) {
    if (std::string_view(text).find("ML") != std::string_view::npos) {
        SetLastError(ERROR_INVALID_ACL);
        return FALSE;
    }
    using Convert = decltype(&ConvertStringSecurityDescriptorToSecurityDescriptorA);
    static const auto layers = reinterpret_cast<Convert>(dlsym(RTLD_NEXT, __func__));
    return layers(text, revision, descriptor, size);
}

BOOL ConvertStringSecurityDescriptorToSecurityDescriptorW(LPCWSTR, DWORD, PSECURITY_DESCRIPTOR*, LPDWORD) {
    SetLastError(ERROR_INVALID_ACL);
    return FALSE;
}

namespace {

// The whole of it, label too.
std::string securityOf(LPCSTR name) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    constexpr SECURITY_INFORMATION kParts = DACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION;
    if (GetNamedSecurityInfoA(name, SE_KERNEL_OBJECT, kParts, nullptr, nullptr, nullptr, nullptr, &descriptor) != 0)
        return "none";
    LPSTR text = nullptr;
    ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1, kParts, &text, nullptr);
    std::string result = text == nullptr ? "unreadable" : text;
    LocalFree(text);
    LocalFree(descriptor);
    return result;
}

TEST(NoLabels, TheListAloneIsEnoughButTheLabelAloneIsAFailure) {
    HANDLE const mutex = CreateMutexA(nullptr, FALSE, "no_labels");
    ASSERT_NE(mutex, nullptr);
    EXPECT_FALSE(SetObjectToLowIntegrity(mutex));
    EXPECT_EQ(securityOf("no_labels"), "D:(A;;GA;;;OW)");
    EXPECT_TRUE(SetObjectPermissions(mutex));
    EXPECT_EQ(securityOf("no_labels"), "D:(A;OICI;GA;;;AU)");
    EXPECT_FALSE(SetObjectPermissions(nullptr));
    CloseHandle(mutex);
}

} // namespace
