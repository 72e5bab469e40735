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
        {"D:(A;OICINPIOID;GA;;;AU)(D;;GRGW;;;AC)", "D:(A;OICINPIOID;GA;;;AU)(D;;GRGW;;;AC)"},
        {"D:(A;;CCDCLCSWRPWPDTLOCR;;;CO)", "D:(A;;CCDCLCSWRPWPDTLOCR;;;CO)"},
        {"S:(ML;;NWNRNX;;;HI)D:AI(D;;GX;;;BG)G:S-1-5-32-545O:S-1-1-0", "O:WDG:BUD:AI(D;;GX;;;BG)S:(ML;;NWNRNX;;;HI)"},
        {"D:P(A;CIOI;GWGAGR;;;AU)", "D:P(A;OICI;GAGRGW;;;AU)"},
        {"D:(A;;0x1F0003;;;S-1-5-18)", "D:(A;;0x1f0003;;;SY)"},
        {"D:(A;;KRSD;;;BA)(A;;;;;WD)", "D:(A;;SDRCCCSWRP;;;BA)(A;;0x0;;;WD)"},
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
        {"error 87", {"X:", "D", " D:(A;;GA;;;WD)", "O:BAO:BA", "D:D:", "S:S:"}},
        {"error 1336", {"D:(", "D:(A;;GA;;;WD", "D:(A;;GA;;WD)", "D:(A;;GA;;;WD)x", "D:X", huge}},
        {"error 1336", {"D:(X;;GA;;;WD)", "D:(ML;;NW;;;LW)", "S:(A;;GA;;;WD)", "D:(A;XX;GA;;;WD)", "D:(A;;GA;x;;WD)"}},
        {"error 1336",
         {"D:(A;;XX;;;WD)", "D:(A;;-1;;;WD)", "D:(A;;0x100000000;;;WD)", "D:NO_ACCESS_CONTROL(A;;GA;;;WD)"}},
        {"error 1337", {"O:", "O:XX", "D:(A;;GA;;;)", "O:S-1-5-", "O:S-1-5-4294967296", "O:S-1-281474976710656-1"}},
        {"error 1337", {"O:S-1-5-1-2-3-4-5-6-7-8-9-10-11-12-13-14-15-16"}},
    };
    for (const auto& [error, texts] : rows)
        for (const std::string& text : texts)
            EXPECT_EQ(roundTrip(text), error) << text;
    PSECURITY_DESCRIPTOR descriptor = nullptr; // the low byte of U+0144 is that of 'D'
    EXPECT_FALSE(ConvertStringSecurityDescriptorToSecurityDescriptorW(u"\u0144:", 1, &descriptor, nullptr));
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
