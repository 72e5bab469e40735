#include "SecurityAttributes.h"
#include "ExhaustedMemory.h"
#include "LogFile.h"
#include "WdCommon/Exception.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <set>
#include <string>

namespace {

using WdCommon::AccessControl::SecurityAttributes;

constexpr char kName[] = "Global\\attributes_test";
constexpr SECURITY_INFORMATION kParts = DACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION;

struct HandleCloser {
    void operator()(void* handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleCloser>;

Handle makeMutex(SECURITY_ATTRIBUTES* attributes) {
    return Handle(CreateMutexA(attributes, FALSE, kName));
}

std::string textOf(PSECURITY_DESCRIPTOR descriptor) {
    LPSTR text = nullptr;
    if (ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1, kParts, &text, nullptr) ==
        FALSE)
        return "error " + std::to_string(GetLastError());
    std::string result = text;
    LocalFree(text);
    return result;
}

std::string securityOfObject() {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error =
        GetNamedSecurityInfoA(kName, SE_KERNEL_OBJECT, kParts, nullptr, nullptr, nullptr, nullptr, &descriptor);
    if (error != 0)
        return "error " + std::to_string(error);
    std::string result = textOf(descriptor);
    LocalFree(descriptor);
    return result;
}

// The code that making attributes throws, 0 when it doesn't.
DWORD thrownBy(DWORD kind) {
    try {
        const SecurityAttributes attributes(kind, 0);
        return 0;
    } catch (WdCommon::Exception::Base* base) {
        const std::unique_ptr<WdCommon::Exception::Base> owned(base);
        const auto* thrown = dynamic_cast<WdCommon::AccessControl::Exception*>(base);
        return thrown == nullptr ? 0xFFFFFFFF : thrown->errorCode();
    }
}

TEST(DefSecAttr, LetsEverybodyInAndIsInherited) {
    const DefSecAttr security;
    ASSERT_NE(security.m_pAttributes, nullptr);
    EXPECT_EQ(security.m_pAttributes->nLength, 24u);
    EXPECT_EQ(security.m_pAttributes->bInheritHandle, 1);
    const Handle mutex = makeMutex(security.m_pAttributes);
    EXPECT_EQ(securityOfObject(), "D:NO_ACCESS_CONTROL");
}

TEST(DefSecAttr, WithoutMemoryTheObjectHasDefaultSecurity) {
    if (!ExhaustedMemory::kIsPossible)
        GTEST_SKIP() << "no operator new of our own";
    std::optional<DefSecAttr> security;
    {
        const ExhaustedMemory exhausted(0);
        security.emplace();
        EXPECT_TRUE(ExhaustedMemory::wasMet());
    }
    EXPECT_EQ(security->m_pAttributes, nullptr);
    const Handle mutex = makeMutex(security->m_pAttributes);
    EXPECT_EQ(securityOfObject(), "D:(A;;GA;;;OW)");
}

TEST(ObjectPermissions, AreWidenedOnTheHandle) {
    const Handle mutex = makeMutex(nullptr);
    EXPECT_TRUE(SetObjectToLowIntegrity(mutex.get()));
    EXPECT_EQ(securityOfObject(), "D:(A;;GA;;;OW)S:(ML;;NW;;;LW)");
    EXPECT_TRUE(SetObjectPermissions(mutex.get()));
    EXPECT_EQ(securityOfObject(), "D:(A;OICI;GA;;;AU)S:(ML;;NW;;;LW)");

    for (bool (*const change)(HANDLE) : {SetObjectPermissions, SetObjectToLowIntegrity}) {
        SetLastError(0);
        EXPECT_FALSE(change(nullptr));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    }
}

TEST(ApplicationPermission, IsAddedToWhatIsThere) {
    {
        SecurityAttributes attributes(4, 0);
        const Handle mutex = makeMutex(&attributes);
        for (int times = 0; times < 2; ++times) { // no entry twice
            EXPECT_TRUE(SetOjectApplicationPremission(kName, SE_KERNEL_OBJECT));
            EXPECT_EQ(securityOfObject(),
                      "D:(A;;GA;;;AC)(A;;GA;;;WD)(A;;SDCCDCLCRPWP;;;BA)(A;;CCDCLCRPWP;;;PU)(A;;SDCCDCLCRPWP;;;SY)"
                      "(A;;CCSW;;;AU)(A;;CCSW;;;BU)(A;;CCSW;;;IU)(A;;KA;;;CO)");
        }
    }
    const DefSecAttr open;
    const Handle mutex = makeMutex(open.m_pAttributes);
    EXPECT_TRUE(SetOjectApplicationPremission(kName, SE_KERNEL_OBJECT));
    EXPECT_EQ(securityOfObject(), "D:(A;;GA;;;AC)(A;;GA;;;WD)");
}

TEST(ApplicationPermission, EachFailingStepIsLogged) {
    const LogFile log;
    EXPECT_FALSE(SetOjectApplicationPremission(kName, SE_KERNEL_OBJECT)); // nobody has it
    const Handle mutex = makeMutex(nullptr);
    EXPECT_FALSE(SetOjectApplicationPremission(kName, SE_FILE_OBJECT));
    EXPECT_THAT(log.messages(), testing::ElementsAre("!!! GetNamedSecurityInfo failed, Error: 2",
                                                     "!!! GetNamedSecurityInfo failed, Error: 50"));
}

TEST(ApplicationPermission, ExhaustedMemoryIsAFailureOfAnyStep) {
    if (!ExhaustedMemory::kIsPossible)
        GTEST_SKIP() << "no operator new of our own";
    const Handle mutex = makeMutex(nullptr);
    const LogFile log;
    std::size_t failures = 0;
    for (bool isMet = true; isMet; failures += isMet ? 1 : 0) {
        bool done = false;
        {
            const ExhaustedMemory exhausted(static_cast<int>(failures));
            done = SetOjectApplicationPremission(kName, SE_KERNEL_OBJECT);
            isMet = ExhaustedMemory::wasMet();
        }
        EXPECT_EQ(done, !isMet) << failures;
    }
    const auto messages = log.messages();
    EXPECT_EQ(messages.size(), failures);
    EXPECT_EQ(
        std::set(messages.begin(), messages.end()),
        (std::set<std::string>{"!!! GetNamedSecurityInfo failed, Error: 8",
                               "!!! ConvertStringSidToSid - pSIDAllAppPackage failed, LastError: 8",
                               "!!! ConvertStringSidToSid - pSIDSpecialAdd failed, LastError: 8",
                               "!!! SetEntriesInAcl failed, Error: 8", "!!! SetNamedSecurityInfo failed, Error: 8"}));
}

// Administrators, power users, SYSTEM, authenticated users, users, interactive, creator owner.
TEST(SecurityAttributes, MasksOfEachKind) {
    const struct {
        DWORD kind;
        const char* dacl;
    } kCases[] = {
        {0, "D:(A;;0x11013f;;;BA)(A;;0x10002f;;;PU)(A;;0x11013f;;;SY)(A;;0x100029;;;AU)(A;;0x100029;;;BU)"
            "(A;;0x100029;;;IU)(A;;FA;;;CO)"},
        {1, "D:(A;;0x1100c7;;;BA)(A;;0x100087;;;PU)(A;;0x1100c7;;;SY)(A;;0x100081;;;AU)(A;;0x100081;;;BU)"
            "(A;;0x100081;;;IU)(A;;FA;;;CO)"},
        {2, "D:(A;;SDCCDCLCRPWPDTLOCR;;;BA)(A;;CCLCSWLOCR;;;PU)(A;;CCLCRPWPDTLOCR;;;SY)(A;;CCLCLOCR;;;AU)"
            "(A;;CCLCLOCR;;;BU)(A;;CCLCLOCR;;;IU)(A;;SDRCWDWOCCDCLCSWRPWPDTLOCR;;;CO)"},
        {4, "D:(A;;SDCCDCLCRPWP;;;BA)(A;;CCDCLCRPWP;;;PU)(A;;SDCCDCLCRPWP;;;SY)(A;;CCSW;;;AU)(A;;CCSW;;;BU)"
            "(A;;CCSW;;;IU)(A;;KA;;;CO)"},
        {5, "D:(A;;0x100ffb;;;BA)(A;;0x100e92;;;PU)(A;;0x100ffb;;;SY)(A;;0x100410;;;AU)(A;;0x100410;;;BU)"
            "(A;;0x100410;;;IU)(A;;0x1f0fff;;;CO)"},
        {6, "D:(A;;0x1000fb;;;BA)(A;;0x10006a;;;PU)(A;;0x1000fb;;;SY)(A;;0x100048;;;AU)(A;;0x100048;;;BU)"
            "(A;;0x100048;;;IU)(A;;0x1f03fb;;;CO)"},
        {9, "D:(A;;0x100002;;;BA)(A;;0x100002;;;PU)(A;;0x100002;;;SY)(A;;0x100002;;;AU)(A;;0x100002;;;BU)"
            "(A;;0x100002;;;IU)(A;;0x100002;;;CO)"},
        {10, "D:(A;;0x1f0003;;;BA)(A;;0x1f0003;;;PU)(A;;0x1f0003;;;SY)(A;;0x1f0003;;;AU)(A;;0x1f0003;;;BU)"
             "(A;;0x1f0003;;;IU)(A;;0x1f0003;;;CO)"},
        {11, "D:(A;;0x100001;;;BA)(A;;0x100001;;;PU)(A;;0x100001;;;SY)(A;;0x100001;;;AU)(A;;0x100001;;;BU)"
             "(A;;0x100001;;;IU)(A;;0x100001;;;CO)"},
        {12, "D:(A;;0x1f0001;;;BA)(A;;0x1f0001;;;PU)(A;;0x1f0001;;;SY)(A;;0x1f0001;;;AU)(A;;0x1f0001;;;BU)"
             "(A;;0x1f0001;;;IU)(A;;0x1f0001;;;CO)"},
    };
    for (const auto& row : kCases) {
        const SecurityAttributes attributes(row.kind, 1);
        EXPECT_EQ(textOf(attributes.lpSecurityDescriptor), row.dacl) << row.kind;
        EXPECT_EQ(attributes.nLength, 24u);
        EXPECT_EQ(attributes.bInheritHandle, 1);
    }
    EXPECT_EQ(SecurityAttributes(4, 0).bInheritHandle, 0);
    EXPECT_EQ(SecurityAttributes(4, 255).bInheritHandle, 255);
    for (const DWORD kind : {3u, 7u, 8u, 13u, 0xFFFFFFFFu})
        EXPECT_EQ(thrownBy(kind), ERROR_NOT_SUPPORTED) << kind;
}

TEST(SecurityAttributes, EachFailingAllocationThrowsTheCode) {
    if (!ExhaustedMemory::kIsPossible)
        GTEST_SKIP() << "no operator new of our own";
    int failures = 0;
    for (bool isMet = true; isMet; failures += isMet ? 1 : 0) {
        DWORD thrown = 0;
        {
            const ExhaustedMemory exhausted(failures);
            thrown = thrownBy(4);
            isMet = ExhaustedMemory::wasMet();
        }
        EXPECT_EQ(thrown, isMet ? ERROR_NOT_ENOUGH_MEMORY : 0) << failures;
    }
    EXPECT_GT(failures, 0);
}

} // namespace
