// Security descriptors: their texts, and their bytes.
#include "SecurityText.h"

#include <TestObject.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

// From text to descriptor and back.
std::string roundTrip(const std::string& sddl) {
    const Local<void> descriptor = descriptorOf(sddl);
    return descriptor ? textOf(descriptor.get()) : "error " + std::to_string(GetLastError());
}

TEST(Sddl, IsReadAndWritten) {
    const std::pair<const char*, const char*> rows[] = {
        {"D:(A;OICINPIOID;GA;;;AU)(D;;GRGW;;;AC)", "D:(A;OICINPIOID;GA;;;AU)(D;;GWGR;;;AC)"},
        {"D:(A;;CCDCLCSWRPWPDTLOCR;;;CO)", "D:(A;;CCDCLCSWRPWPDTLOCR;;;CO)"},
        {"S:(ML;;NWNRNX;;;HI)D:AI(D;;GX;;;BG)G:S-1-5-32-545O:S-1-1-0", "O:WDG:BUD:AI(D;;GX;;;BG)S:(ML;;NWNRNX;;;HI)"},
        {"D:P(A;CIOI;GWGAGR;;;AU)", "D:P(A;OICI;GAGWGR;;;AU)"},
        {"D:(A;;0x1F0003;;;S-1-5-18)", "D:(A;;0x1f0003;;;SY)"},
        {"D:(A;;KRSD;;;BA)(A;;;;;WD)", "D:(A;;CCSWRPSDRC;;;BA)(A;;;;;WD)"},
        {"D:(A;;GXSD0x0;;;WD)", "error 1336"},
        {"D:(A;;010;;;WD)(A;;10;;;WD)(A;;020000000000;;;WD)", "D:(A;;SW;;;WD)(A;;DCSW;;;WD)(A;;GR;;;WD)"},
        {" O: BA D: P ( A; OI; GA; ; ; wd ) (D;;GA;;; s-0x1-5-0x12) S:", "O:BAD:P(A;OI;GA;;;WD)(D;;GA;;;SY)S:"},
        {"D:(A;;GA;;;S-1-0x10000000000-0x1F)", "D:(A;;GA;;;S-1-0x10000000000-31)"},
    };
    for (const auto& [text, written] : rows)
        EXPECT_EQ(roundTrip(text), written);
}

// What isn't understood must not be skipped: that could give access to somebody who should be kept out.
TEST(Sddl, WhatIsntUnderstoodIsAnError) {
    std::string huge = "D:"; // an ACL has at most 64 KiB
    for (int entry = 0; entry < 4000; ++entry)
        huge += "(A;;GA;;;WD)";
    const std::pair<const char*, std::vector<std::string>> rows[] = {
        {"error 87", {"X:", "D", "O :BA", "O:BAO:BA", "D:D:", "S:S:"}},
        {"error 1336", {"D:(", "D:(A;;GA;;;WD", "D:(A;;GA;;WD)", "D:(A;;GA;;;WD)x", "D:X", huge}},
        {"error 1705", {"D:(X;;GA;;;WD)", "D:(A ;;GA;;;WD)", "D:(a;;GA;;;WD)"}},
        {"error 1336", {"D:(ML;;NW;;;LW)", "S:(A;;GA;;;WD)", "D:(A;XX;GA;;;WD)", "D:(A;;GA;x;;WD)"}},
        {"error 1336",
         {"D:(A;;XX;;;WD)", "D:(A;;-1;;;WD)", "D:(A;;08;;;WD)", "D:(A;;GA;;;)", "D:(A;;GA;;;LA)",
          "D:(A;;0x100000000;;;WD)", "D:NO_ACCESS_CONTROL(A;;GA;;;WD)"}},
        {"error 1337", {"O:", "O:XX", "O:S-2-5-18", "O:S-1-5-", "O:S-1-5-4294967296", "O:S-1-281474976710656-1"}},
        {"error 1337", {"O:S-1-5-1-2-3-4-5-6-7-8-9-10-11-12-13-14-15-16"}},
    };
    for (const auto& [error, texts] : rows)
        for (const std::string& text : texts)
            EXPECT_EQ(roundTrip(text), error) << text;
    PSECURITY_DESCRIPTOR descriptor = nullptr; // the low byte of U+0144 is that of 'D'
    EXPECT_FALSE(ConvertStringSecurityDescriptorToSecurityDescriptorW(u"\u0144:", 1, &descriptor, nullptr));
}

TEST(Lists, NothingIsNoListAndAFailureLeavesNone) {
    ACL empty{ACL_REVISION, 0, sizeof empty, 0, 0};
    EXPLICIT_ACCESS_A malformed{};
    const struct {
        DWORD count;
        PACL old;
        DWORD error;
        bool isList;
    } rows[] = {
        {0, nullptr, ERROR_SUCCESS, false}, {0, &empty, ERROR_SUCCESS, true}, {1, &empty, ERROR_INVALID_SID, false}};
    for (const auto& row : rows) {
        PACL made = &empty;
        EXPECT_EQ(SetEntriesInAclA(row.count, &malformed, row.old, &made), row.error);
        EXPECT_EQ(Local<ACL>(made) != nullptr, row.isList) << row.count;
    }
}

TEST(Descriptor, MalformedBytesAreRefused) {
    PSECURITY_DESCRIPTOR converted = nullptr;
    DWORD size = 0;
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorA("D:(A;OICI;GA;;;AU)S:(ML;;NW;;;LW)",
                                                                     SDDL_REVISION_1, &converted, &size));
    const Local<void> whole(converted);
    constexpr std::size_t kSacl = 20;
    constexpr std::size_t kDacl = 48;
    constexpr std::size_t kEntry = kDacl + 8;
    const struct {
        std::size_t at;
        BYTE value;
        DWORD error;
    } rows[] = {
        {4, 1, ERROR_INVALID_SECURITY_DESCR},   // the owner inside the header
        {16, 19, ERROR_INVALID_SECURITY_DESCR}, // the DACL likewise
        {kDacl + 2, 7, ERROR_INVALID_ACL},      // a size below that of its header
        {kDacl + 2, 27, ERROR_INVALID_ACL},     // a size that cuts its entry
        {kDacl + 4, 2, ERROR_INVALID_ACL},      // a count of one more entry than it has
        {kEntry, 0x11, ERROR_INVALID_ACL},      // a label in a DACL
        {kEntry + 2, 19, ERROR_INVALID_ACL},    // an entry too small for its SID
        {kEntry + 2, 21, ERROR_INVALID_ACL},    // an entry beyond the list
        {kEntry + 9, 2, ERROR_INVALID_ACL},     // a SID beyond the entry
        {kSacl + 8, 0, ERROR_INVALID_ACL},      // an access entry in a SACL
    };
    for (const auto& row : rows) {
        std::vector<BYTE> bytes(static_cast<BYTE*>(converted), static_cast<BYTE*>(converted) + size);
        bytes[row.at] = row.value;
        SECURITY_ATTRIBUTES attributes{sizeof attributes, bytes.data(), FALSE};
        EXPECT_EQ(errorOf(makeMutex("malformed", false, &attributes)), row.error) << row.at << ' ' << int{row.value};
    }
}

} // namespace
