#include "SecurityAttributes.h"
#include "ExhaustedMemory.h"
#include "LayerDoubles.h"
#include "LogFile.h"
#include "ObjectSecurity.h"
#include "TestObject.h"
#include "WdCommon/Exception.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace {

using WdCommon::AccessControl::SecurityAttributes;

constexpr char kName[] = "Global\\attributes_test";

Handle makeOpen(SECURITY_ATTRIBUTES* attributes) {
    return makeMutex(kName, false, attributes);
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

// Makes `call` with each of its allocations failing in turn; the last time none does.
std::size_t forEachAllocation(const std::function<void(bool isMet)>& check, const std::function<void()>& call) {
    std::size_t failures = 0;
    for (bool isMet = true; isMet; failures += isMet ? 1 : 0) {
        {
            const ExhaustedMemory exhausted(static_cast<int>(failures));
            call();
            isMet = ExhaustedMemory::wasMet();
        }
        check(isMet);
    }
    return failures;
}

TEST(DefSecAttr, LetsEverybodyInAndIsInherited) {
    const DefSecAttr security;
    ASSERT_NE(security.m_pAttributes, nullptr);
    EXPECT_EQ(security.m_pAttributes->nLength, 24u);
    EXPECT_EQ(security.m_pAttributes->bInheritHandle, 1);
    const Handle mutex = makeOpen(security.m_pAttributes);
    EXPECT_EQ(securityOf(kName), "D:NO_ACCESS_CONTROL");
}

TEST(ObjectPermissions, AreWidenedOnTheHandle) {
    const Handle mutex = makeOpen(nullptr);
    {
        const layer_doubles::Refusal withoutLabels(layer_doubles::Refused::Labels);
        EXPECT_FALSE(SetObjectToLowIntegrity(mutex.get()));
        EXPECT_EQ(securityOf(kName), "D:(A;;GA;;;OW)");
        EXPECT_TRUE(SetObjectPermissions(mutex.get())); // the list alone is enough for this one
        EXPECT_EQ(securityOf(kName), "D:(A;OICI;GA;;;AU)");
    }
    EXPECT_TRUE(SetObjectToLowIntegrity(mutex.get()));
    EXPECT_EQ(securityOf(kName), "D:(A;OICI;GA;;;AU)S:(ML;;NW;;;LW)");
    const Handle other = makeMutex("Global\\attributes_too");
    EXPECT_TRUE(SetObjectPermissions(other.get()));
    EXPECT_EQ(securityOf("Global\\attributes_too"), "D:(A;OICI;GA;;;AU)S:(ML;;NW;;;LW)");
    for (bool (*const change)(HANDLE) : {SetObjectPermissions, SetObjectToLowIntegrity}) {
        SetLastError(0);
        EXPECT_FALSE(change(nullptr));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    }
}

TEST(ApplicationPermission, IsAddedToWhatIsThere) {
    {
        SecurityAttributes attributes(4, 0);
        const Handle mutex = makeOpen(&attributes);
        for (int times = 0; times < 2; ++times) { // no entry twice
            EXPECT_TRUE(SetOjectApplicationPremission(kName, SE_KERNEL_OBJECT));
            EXPECT_EQ(securityOf(kName),
                      "D:(A;;GA;;;AC)(A;;GA;;;WD)(A;;SDCCDCLCRPWP;;;BA)(A;;CCDCLCRPWP;;;PU)(A;;SDCCDCLCRPWP;;;SY)"
                      "(A;;CCSW;;;AU)(A;;CCSW;;;BU)(A;;CCSW;;;IU)(A;;KA;;;CO)");
        }
    }
    const DefSecAttr open;
    const Handle mutex = makeOpen(open.m_pAttributes);
    EXPECT_TRUE(SetOjectApplicationPremission(kName, SE_KERNEL_OBJECT));
    EXPECT_EQ(securityOf(kName), "D:(A;;GA;;;AC)(A;;GA;;;WD)");
}

TEST(ApplicationPermission, EachFailingStepIsLogged) {
    const LogFile log;
    EXPECT_FALSE(SetOjectApplicationPremission(kName, SE_KERNEL_OBJECT)); // nobody has it
    const Handle mutex = makeOpen(nullptr);
    EXPECT_FALSE(SetOjectApplicationPremission(kName, SE_FILE_OBJECT));
    EXPECT_THAT(log.messages(), testing::ElementsAre("!!! GetNamedSecurityInfo failed, Error: 2",
                                                     "!!! GetNamedSecurityInfo failed, Error: 50"));
}

TEST(ExhaustedMemory, IsAFailureOfEachStep) {
    if (!ExhaustedMemory::kIsPossible)
        GTEST_SKIP() << "no operator new of our own";
    DWORD thrown = 0;
    EXPECT_GT(forEachAllocation([&](bool isMet) { EXPECT_EQ(thrown, isMet ? ERROR_NOT_ENOUGH_MEMORY : 0); },
                                [&] { thrown = thrownBy(4); }),
              0u);
    const Handle mutex = makeOpen(nullptr);
    std::optional<DefSecAttr> security; // without memory objects have their default security
    forEachAllocation([&](bool isMet) { EXPECT_EQ(security->m_pAttributes == nullptr, isMet); },
                      [&] { security.emplace(); });
    const LogFile log;
    bool done = false;
    const std::size_t failures =
        forEachAllocation([&](bool isMet) { EXPECT_EQ(done, !isMet); },
                          [&] { done = SetOjectApplicationPremission(kName, SE_KERNEL_OBJECT); });
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
TEST(SecurityAttributes, HaveAnEntryForEachAccount) {
    for (const BYTE inherited : {BYTE{0}, BYTE{1}, BYTE{255}}) {
        const SecurityAttributes attributes(4, inherited);
        EXPECT_EQ(textOf(attributes.lpSecurityDescriptor),
                  "D:(A;;SDCCDCLCRPWP;;;BA)(A;;CCDCLCRPWP;;;PU)(A;;SDCCDCLCRPWP;;;SY)(A;;CCSW;;;AU)(A;;CCSW;;;BU)"
                  "(A;;CCSW;;;IU)(A;;KA;;;CO)");
        EXPECT_EQ(attributes.nLength, 24u);
        EXPECT_EQ(attributes.bInheritHandle, inherited);
    }
    const std::set<DWORD> kinds{0, 1, 2, 4, 5, 6, 9, 10, 11, 12};
    for (DWORD kind = 0; kind < 20; ++kind)
        EXPECT_EQ(thrownBy(kind), kinds.contains(kind) ? ERROR_SUCCESS : ERROR_NOT_SUPPORTED) << kind;
}

} // namespace
