// Named memory: creating and joining it, its state after a failure, and the log lines of each.
#include "ShareMemory.h"

#include "LogFile.h"
#include "ObjectSecurity.h"
#include "TestObject.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

namespace {

using testing::ElementsAre;
using testing::StartsWith;

constexpr const char* kName = "shared";
constexpr DWORD kSize = 64;

char* mapped(CWdShareMemory& memory) {
    void* address = nullptr;
    EXPECT_TRUE(memory.Map(&address, false));
    return static_cast<char*>(address);
}

TEST(ShareMemory, TheFirstOneMakesItOthersJoinAndTheLastOneEndsIt) {
    const LogFile log;
    CWdShareMemory first;
    CWdShareMemory second;
    ASSERT_TRUE(first.Create(kName, kSize, true));
    char* const written = mapped(first);
    EXPECT_EQ(std::string(written, kSize), std::string(kSize, '\0'));
    std::memcpy(written, "content", 8);
    ASSERT_TRUE(second.Create(kName, kSize, true)); // asks for zeros, but keeps the content
    EXPECT_STREQ(mapped(second), "content");
    // An open object must be closed first.
    EXPECT_FALSE(second.Create("other", kSize, true));
    EXPECT_FALSE(second.Open("other"));
    first.Close();
    EXPECT_TRUE(first.Open(kName));
    EXPECT_STREQ(mapped(first), "content");
    first.Close();
    second.Close();
    second.Close(); // nothing left to close
    EXPECT_FALSE(second.Open(kName));
    EXPECT_TRUE(second.Create(kName, kSize, true)); // works again after a failure
    const std::string made = "@@@ CreateFileMapping succeeded: size = 64, name = Global\\shared";
    EXPECT_THAT(log.messages(),
                ElementsAre(made, made, "!!! Map file has already opened.", "!!! Map file has already opened.",
                            "@@@ OpenFileMapping succeeded: name = Global\\shared",
                            "!!! OpenFileMapping failed (00000002): name = Global\\shared", made));
}

TEST(ShareMemory, WhatCantBeMadeOrMappedIsLogged) {
    const Handle event = makeEvent("Global\\taken", false, false);
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
    const std::string unmapped = "!!! MapViewOfFile failed (";
    for (const auto& c : cases) {
        const LogFile log;
        CWdShareMemory memory;
        EXPECT_FALSE(memory.Create(c.name, c.size, true));
        void* address = &memory;
        EXPECT_FALSE(memory.Map(&address, false)); // nothing to map
        EXPECT_EQ(address, nullptr);
        EXPECT_THAT(log.messages(), ElementsAre(c.line, StartsWith(unmapped)));
    }
    void* address = &small;
    EXPECT_FALSE(small.Map(&address, true, 1 << 20)); // too few bytes
    EXPECT_EQ(address, nullptr);
}

TEST(ShareMemory, ItIsOpenToEverybody) {
    const LogFile log(256);
    CWdShareMemory memory;
    CWdShareMemory joined; // doesn't change the security
    EXPECT_TRUE(memory.Create(kName, kSize, true) && joined.Create(kName, kSize, true));
    EXPECT_EQ(securityOf("Global\\shared"), "D:(A;;GA;;;AC)(A;;GA;;;WD)S:(ML;;NW;;;LW)");
    EXPECT_TRUE(log.lines().empty());
}

} // namespace
