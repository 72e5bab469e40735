// Whoever may open an object may write into its memory, the text of its security too.
#include "ObjectSecurity.h"
#include "SecurityText.h"

#include <gtest/gtest.h>

namespace {

TEST(ObjectSecurity, AForgedTextIsAnErrorAndStays) {
    constexpr char kName[] = "forged";
    HANDLE const mutex = CreateMutexA(nullptr, FALSE, kName);
    ASSERT_NE(mutex, nullptr);
    for (const std::string& forged : {std::string("D:(A;;GA;;;WD"), std::string("D:\0:", 4), std::string(2048, '(')}) {
        ASSERT_EQ(wd::changeSecurity(kName, {forged, false}), 0u);
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        EXPECT_EQ(
            GetNamedSecurityInfoA(kName, SE_KERNEL_OBJECT, kAllParts, nullptr, nullptr, nullptr, nullptr, &descriptor),
            ERROR_INVALID_SECURITY_DESCR);
        EXPECT_EQ(descriptor, nullptr);
        EXPECT_EQ(
            SetSecurityInfo(mutex, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr, nullptr),
            ERROR_INVALID_SECURITY_DESCR);
        wd::ObjectSecurity kept;
        ASSERT_EQ(wd::querySecurity(mutex, kept), 0u);
        EXPECT_EQ(kept.sddl, forged);
        EXPECT_FALSE(kept.everybody);
    }
    CloseHandle(mutex);
}

// The owner who changes another part takes nobody's word for who is let in.
TEST(ObjectSecurity, AForgedListOpensNothingWhenTheLabelChanges) {
    HANDLE const mutex = CreateMutexA(nullptr, FALSE, "forged");
    ASSERT_NE(mutex, nullptr);
    ASSERT_EQ(wd::changeSecurity(mutex, {"D:NO_ACCESS_CONTROL", false}), 0u);
    EXPECT_EQ(SetSecurityInfo(mutex, SE_KERNEL_OBJECT, LABEL_SECURITY_INFORMATION, nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    wd::ObjectSecurity kept;
    ASSERT_EQ(wd::querySecurity(mutex, kept), 0u);
    EXPECT_FALSE(kept.everybody);
    CloseHandle(mutex);
}

} // namespace
