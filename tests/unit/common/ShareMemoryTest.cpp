// Named memory: who makes it, who joins it, what stays of it after a failure, and the lines for each.
#include "ShareMemory.h"

#include "LayerDoubles.h"
#include "LogFile.h"

#include <platform/win32.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

using layer_doubles::Refusal;
using layer_doubles::Refused;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kName = "shared";
constexpr DWORD kSize = 64;

char* mapped(CWdShareMemory& memory, std::size_t atLeast = 0) {
    void* address = nullptr;
    EXPECT_TRUE(memory.Map(&address, false, atLeast));
    return static_cast<char*>(address);
}

std::string listOf(const char* object) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetNamedSecurityInfoA(object, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION, nullptr,
                              nullptr, nullptr, nullptr, &descriptor) != ERROR_SUCCESS)
        return "none";
    LPSTR text = nullptr;
    ConvertSecurityDescriptorToStringSecurityDescriptorA(
        descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION, &text, nullptr);
    std::string result = text == nullptr ? "unreadable" : text;
    LocalFree(text);
    LocalFree(descriptor);
    return result;
}

TEST(ShareMemory, TheFirstOneMakesItAndOthersJoin) {
    const LogFile log;
    CWdShareMemory first;
    ASSERT_TRUE(first.Create(kName, kSize, true));
    char* const written = mapped(first);
    EXPECT_EQ(std::string(written, kSize), std::string(kSize, '\0'));
    std::memcpy(written, "content", 8);

    CWdShareMemory second;
    ASSERT_TRUE(second.Create(kName, kSize, true)); // asks for zeroes, and leaves what is there
    EXPECT_STREQ(mapped(second), "content");
    CWdShareMemory third;
    ASSERT_TRUE(third.Open(kName));
    EXPECT_STREQ(mapped(third), "content");
    EXPECT_THAT(log.messages(), ElementsAre("@@@ CreateFileMapping succeeded: size = 64, name = Global\\shared",
                                            "@@@ CreateFileMapping succeeded: size = 64, name = Global\\shared",
                                            "@@@ OpenFileMapping succeeded: name = Global\\shared"));
}

TEST(ShareMemory, ItEndsWithItsLastUser) {
    CWdShareMemory first;
    CWdShareMemory second;
    ASSERT_TRUE(first.Create(kName, kSize, false));
    ASSERT_TRUE(second.Open(kName));
    first.Close();
    first.Close(); // nothing left to close
    EXPECT_TRUE(first.Open(kName));
    first.Close();
    second.Close();
    const LogFile log;
    EXPECT_FALSE(first.Open(kName));
    EXPECT_THAT(log.messages(), ElementsAre("!!! OpenFileMapping failed (00000002): name = Global\\shared"));
    ASSERT_TRUE(first.Create(kName, kSize, true)); // a failure leaves the object ready for the next try
}

TEST(ShareMemory, WhatIsOpenStaysOpen) {
    CWdShareMemory memory;
    ASSERT_TRUE(memory.Create(kName, kSize, true));
    char* const address = mapped(memory);
    std::memcpy(address, "mine", 5);
    const LogFile log;
    EXPECT_FALSE(memory.Create("other", kSize, true));
    EXPECT_FALSE(memory.Open(kName));
    EXPECT_THAT(log.messages(), ElementsAre("!!! Map file has already opened.", "!!! Map file has already opened."));
    EXPECT_STREQ(address, "mine");
    EXPECT_FALSE(CWdShareMemory().Open("other"));
    EXPECT_TRUE(CWdShareMemory().Open(kName));
}

TEST(ShareMemory, WhatCantBeMadeIsLogged) {
    HANDLE const event = CreateEventA(nullptr, FALSE, FALSE, "Global\\taken");
    CWdShareMemory small;
    ASSERT_TRUE(small.Create(kName, kSize, false));
    const struct {
        const char* name;
        DWORD size;
        const char* line;
    } cases[] = {
        {"taken", kSize, "!!! CreateFileMapping failed (00000006): size = 64, name = Global\\taken"},
        {kName, 1 << 20, "!!! CreateFileMapping failed (00000005): size = 1048576, name = Global\\shared"},
    };
    for (const auto& c : cases) {
        const LogFile log;
        CWdShareMemory memory;
        EXPECT_FALSE(memory.Create(c.name, c.size, true));
        EXPECT_THAT(log.messages(), ElementsAre(c.line));
        void* address = &memory;
        EXPECT_FALSE(memory.Map(&address, false)); // nothing to map
        EXPECT_EQ(address, nullptr);
    }
    CloseHandle(event);
}

TEST(ShareMemory, AViewOfTooFewBytesIsRefused) {
    CWdShareMemory memory;
    ASSERT_TRUE(memory.Create(kName, kSize, true));
    EXPECT_NE(mapped(memory, kSize), nullptr);
    memory.Unmap();
    const LogFile log;
    void* address = &memory;
    EXPECT_FALSE(memory.Map(&address, true, 1 << 20));
    EXPECT_EQ(address, nullptr);
    memory.Unmap(); // no view, no line
    EXPECT_THAT(log.messages(), ElementsAre(StartsWith("!!! MapViewOfFile failed (")));
}

TEST(ShareMemory, AViewThatWasTakenAwayIsGivenUp) {
    CWdShareMemory memory;
    ASSERT_TRUE(memory.Create(kName, kSize, true));
    ASSERT_NE(UnmapViewOfFile(mapped(memory)), FALSE);
    const LogFile log;
    memory.Unmap();
    memory.Unmap(); // the view is forgotten whatever came of it
    memory.Close();
    EXPECT_THAT(log.messages(), ElementsAre("!!! UnmapViewOfFile failed (000001e7): Global\\shared"));
}

TEST(ShareMemory, ItIsOpenToEverybody) {
    CWdShareMemory memory;
    ASSERT_TRUE(memory.Create(kName, kSize, true));
    EXPECT_THAT(listOf("Global\\shared"),
                AllOf(HasSubstr("(A;;GA;;;AC)"), HasSubstr("(A;;GA;;;WD)"), HasSubstr("(ML;;NW;;;LW)")));
}

TEST(ShareMemory, ItIsUsableWhenItsPermissionsCantBeWidened) {
    const struct {
        Refused refused;
        const char* line;
    } cases[] = {
        {Refused::WideDescriptors, "SetObjectToLowIntegrity failed (00000538): handle = "},
        {Refused::Sids, "SetOjectApplicationPremission failed (00000539): name = Global\\shared"},
    };
    for (const auto& c : cases) {
        const LogFile log;
        const Refusal refusal(c.refused);
        CWdShareMemory memory;
        EXPECT_TRUE(memory.Create(kName, kSize, true));
        EXPECT_STREQ(mapped(memory), "");
        EXPECT_TRUE(log.contains(c.line)) << c.line;
        EXPECT_TRUE(CWdShareMemory().Open(kName));
    }
}

} // namespace
