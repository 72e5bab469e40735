// Security descriptors: their texts, their bytes, and lists of access changed by entries.
#include "SecurityText.h"

#include <TestObject.h>

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

TEST(Sddl, IsReadAndWritten) {
    for (const char* same :
         {"", "D:", "D:NO_ACCESS_CONTROL", "D:PARAI", "D:PNO_ACCESS_CONTROL", "O:BAG:SYD:(A;;GA;;;WD)S:(ML;;NW;;;LW)",
          "D:(A;OICINPIOID;GA;;;AU)(D;;GRGW;;;AC)", "D:(A;;CCDCLCSWRPWPDTLOCR;;;CO)(A;;SDRCWDWO;;;IU)",
          "D:(A;;0xffffffff;;;WD)", "D:(A;;GA;;;S-1-5-21-1-2-3-4294967295)", "S:(ML;;0x8;;;ME)(ML;;NX;;;S-1-16-20480)"})
        EXPECT_EQ(roundTrip(same), same);
    const std::pair<const char*, const char*> rows[] = {
        {"S:(ML;;NWNRNX;;;HI)D:AI(D;;GX;;;BG)G:S-1-5-32-545O:S-1-1-0", "O:WDG:BUD:AI(D;;GX;;;BG)S:(ML;;NWNRNX;;;HI)"},
        {"D:(A;CIOI;GWGAGR;;;AU)", "D:(A;OICI;GAGRGW;;;AU)"},
        {"D:(A;;0x1F0003;;;S-1-5-18)", "D:(A;;0x1f0003;;;SY)"},
        {"D:(A;;2031619;;;PU)", "D:(A;;0x1f0003;;;PU)"},
        {"D:(A;;0x1F01FF;;;BA)(A;;KA;;;BU)(A;;FR;;;OW)", "D:(A;;FA;;;BA)(A;;KA;;;BU)(A;;FR;;;OW)"},
        {"D:(A;;KRSD;;;BA)(A;;;;;WD)", "D:(A;;SDRCCCSWRP;;;BA)(A;;0x0;;;WD)"},
        {"D:(A;;GA;;;S-1-0x10000000000-0x1F)", "D:(A;;GA;;;S-1-0x10000000000-31)"},
    };
    for (const auto& [text, written] : rows)
        EXPECT_EQ(roundTrip(text), written);
    const Local<void> whole = descriptorOf("O:BAG:SYD:P(A;;GA;;;WD)S:(ML;;NW;;;LW)");
    EXPECT_EQ(textOf(whole.get(), OWNER_SECURITY_INFORMATION), "O:BA");
    EXPECT_EQ(textOf(whole.get(), GROUP_SECURITY_INFORMATION), "G:SY");
    EXPECT_EQ(textOf(whole.get(), DACL_SECURITY_INFORMATION), "D:P(A;;GA;;;WD)");
    EXPECT_EQ(textOf(whole.get(), LABEL_SECURITY_INFORMATION), "S:(ML;;NW;;;LW)");
}

// What isn't understood must not be passed over: it could let in somebody who should stay out.
TEST(Sddl, WhatIsntUnderstoodIsAnError) {
    std::string huge = "D:"; // a list has at most 64 KiB
    for (int entry = 0; entry < 4000; ++entry)
        huge += "(A;;GA;;;WD)";
    const std::pair<const char*, std::vector<std::string>> rows[] = {
        {"error 87",
         {"X:", "D", ":", " D:(A;;GA;;;WD)", "O:BAO:BA", "G:BAG:BA", "D:D:", "D:NO_ACCESS_CONTROLD:", "S:S:"}},
        {"error 1336", {huge}},
        {"error 1336", {"D:(", "D:(A;;GA;;;WD", "D:(A;;GA;;WD)", "D:(A;;GA;;;WD;)x", "D:(A;;GA;;;WD)x", "D:X"}},
        {"error 1336", {"D:(X;;GA;;;WD)", "D:(AD;;GA;;;WD)", "D:(;;GA;;;WD)", "D:(ML;;NW;;;LW)", "S:(A;;GA;;;WD)"}},
        {"error 1336", {"D:(A;XX;GA;;;WD)", "D:(A;O;GA;;;WD)", "D:(A;;GA;x;;WD)", "D:(A;;GA;;x;WD)"}},
        {"error 1336", {"D:(A;;XX;;;WD)", "D:(A;;G;;;WD)", "D:(A;;NW;;;WD)", "S:(ML;;GA;;;LW)", "D:(A;;-1;;;WD)"}},
        {"error 1336", {"D:(A;;0x;;;WD)", "D:(A;;0x1g;;;WD)", "D:(A;;0x100000000;;;WD)", "D:(A;;4294967296;;;WD)"}},
        {"error 1336", {"D:NO_ACCESS_CONTROL(A;;GA;;;WD)"}},
        {"error 1337",
         {"O:", "O:XX", "O:BA ", "O::", "O:BA\tG:BA", "D:(A;;GA;;;)", "D:(A;;GA;;;(A)", "D:(A;;GA;;;wd)", "O:S-1-5",
          "O:S-1-5-", "O:S-2-5-1", "O:S-1--1", "O:S-1-5-4294967296", "O:S-1-5-+1", "O:S-1-281474976710656-1",
          "O:S-1-5-1-2-3-4-5-6-7-8-9-10-11-12-13-14-15-16"}},
    };
    for (const auto& [error, texts] : rows)
        for (const std::string& text : texts)
            EXPECT_EQ(roundTrip(text), error) << text;

    PSECURITY_DESCRIPTOR descriptor = nullptr;
    EXPECT_FALSE(ConvertStringSecurityDescriptorToSecurityDescriptorA("D:", 2, &descriptor, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_UNKNOWN_REVISION);
    // U+0144 ends in the byte of 'D'.
    EXPECT_FALSE(ConvertStringSecurityDescriptorToSecurityDescriptorW(u"\u0144:", 1, &descriptor, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(u"D:(A;;GA;;;WD)", 1, &descriptor, nullptr));
    EXPECT_EQ(textOf(Local<void>(descriptor).get()), "D:(A;;GA;;;WD)");
}

TEST(Sid, TextBothWays) {
    const struct {
        const char* text;
        const char* written;
        std::vector<BYTE> bytes;
    } rows[] = {
        {"S-1-1-0", "S-1-1-0", {1, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0}},
        {"BA", "S-1-5-32-544", {1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x20, 2, 0, 0}},
        {"S-1-0x010203040506-0xFFFFFFFF", "S-1-0x10203040506-4294967295", {1, 1, 1, 2, 3, 4, 5, 6, 255, 255, 255, 255}},
    };
    for (const auto& row : rows) {
        const Local<void> sid = sidOf(row.text);
        ASSERT_TRUE(sid) << row.text;
        EXPECT_EQ(std::memcmp(sid.get(), row.bytes.data(), row.bytes.size()), 0) << row.text;
        LPSTR text = nullptr;
        ASSERT_TRUE(ConvertSidToStringSidA(sid.get(), &text));
        EXPECT_STREQ(Local<char>(text).get(), row.written);
    }
    LPSTR text = nullptr;
    for (const BYTE parts : {BYTE{0}, BYTE{16}, BYTE{255}}) {
        std::vector<BYTE> malformed(8 + 4 * std::size_t{parts});
        malformed[0] = SID_REVISION;
        malformed[1] = parts;
        EXPECT_EQ(errorOf(ConvertSidToStringSidA(malformed.data(), &text)), ERROR_INVALID_SID) << int{parts};
    }
}

// clang-format off
const std::vector<BYTE> kUsersWithLabel = {
    1, 0, 0x14, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 20, 0, 0, 0, 48, 0, 0, 0, // head
    2, 0, 28, 0, 1, 0, 0, 0,                                            // SACL: 28 bytes, one entry
    0x11, 0, 20, 0, 1, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 16, 0, 0x10, 0, 0, // label: low, no write up
    2, 0, 28, 0, 1, 0, 0, 0,                                            // DACL
    0, 3, 20, 0, 0, 0, 0, 0x10, 1, 1, 0, 0, 0, 0, 0, 5, 11, 0, 0, 0,    // authenticated users: all
};
// clang-format on
constexpr std::size_t kSacl = 20;
constexpr std::size_t kDacl = 48;
constexpr std::size_t kDaclEntry = kDacl + 8;

TEST(Descriptor, LayoutInOnePiece) {
    PSECURITY_DESCRIPTOR converted = nullptr;
    DWORD size = 0;
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorA("D:(A;OICI;GA;;;AU)S:(ML;;NW;;;LW)",
                                                                     SDDL_REVISION_1, &converted, &size));
    const Local<void> descriptor(converted);
    const auto* const bytes = static_cast<const BYTE*>(descriptor.get());
    EXPECT_EQ(std::vector<BYTE>(bytes, bytes + size), kUsersWithLabel);
}

TEST(Descriptor, MalformedBytesAreRefused) {
    const struct {
        std::size_t at;
        BYTE value;
        DWORD error;
    } rows[] = {
        {0, 2, ERROR_UNKNOWN_REVISION},
        {4, 1, ERROR_INVALID_SECURITY_DESCR}, // the owner inside the head
        {4, 48, ERROR_INVALID_SID},           // the owner at the DACL
        {16, 19, ERROR_INVALID_SECURITY_DESCR},
        {kDacl, 1, ERROR_INVALID_ACL}, // revision
        {kDacl, 5, ERROR_INVALID_ACL},
        {kDacl + 2, 7, ERROR_INVALID_ACL},     // a size below that of its head
        {kDacl + 2, 27, ERROR_INVALID_ACL},    // one below its entry
        {kDacl + 4, 2, ERROR_INVALID_ACL},     // one entry more than it has
        {kDaclEntry, 2, ERROR_INVALID_ACL},    // an entry for audits
        {kDaclEntry, 0x11, ERROR_INVALID_ACL}, // a label in a DACL
        {kDaclEntry + 2, 0, ERROR_INVALID_ACL},
        {kDaclEntry + 2, 7, ERROR_INVALID_ACL},
        {kDaclEntry + 2, 19, ERROR_INVALID_ACL}, // an entry below its SID
        {kDaclEntry + 2, 21, ERROR_INVALID_ACL}, // one beyond the list
        {kDaclEntry + 8, 2, ERROR_INVALID_ACL},  // the SID's revision
        {kDaclEntry + 9, 0, ERROR_INVALID_ACL},
        {kDaclEntry + 9, 2, ERROR_INVALID_ACL}, // a SID beyond the entry
        {kSacl + 8, 0, ERROR_INVALID_ACL},      // access in a SACL
    };
    for (const auto& row : rows) {
        std::vector<BYTE> bytes = kUsersWithLabel;
        bytes[row.at] = row.value;
        SCOPED_TRACE(testing::Message() << row.at << ' ' << int{row.value});
        EXPECT_EQ(textOf(bytes.data()), "error " + std::to_string(row.error));
        SECURITY_ATTRIBUTES attributes{sizeof attributes, bytes.data(), FALSE};
        EXPECT_EQ(errorOf(makeMutex("malformed", false, &attributes)), row.error) << "no object comes of it either";
    }
    EXPECT_EQ(textOf(nullptr), "error 87");
}

TEST(Descriptor, AbsoluteForm) {
    SECURITY_DESCRIPTOR descriptor{};
    EXPECT_EQ(errorOf(InitializeSecurityDescriptor(&descriptor, 2)), ERROR_UNKNOWN_REVISION);
    EXPECT_FALSE(SetSecurityDescriptorDacl(&descriptor, TRUE, nullptr, FALSE));
    ASSERT_TRUE(InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION));
    EXPECT_EQ(textOf(&descriptor), "");
    const Local<void> whole = descriptorOf("D:(A;;GR;;;IU)");
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    PACL list = nullptr;
    PACL same = nullptr;
    ASSERT_TRUE(GetSecurityDescriptorDacl(whole.get(), &present, &list, &defaulted));
    ASSERT_TRUE(SetSecurityDescriptorDacl(&descriptor, TRUE, list, TRUE));
    EXPECT_EQ(textOf(&descriptor), "D:(A;;GR;;;IU)");
    ASSERT_TRUE(GetSecurityDescriptorDacl(&descriptor, &present, &same, &defaulted));
    EXPECT_TRUE(same == list && present != FALSE && defaulted != FALSE);
    ASSERT_TRUE(SetSecurityDescriptorDacl(&descriptor, TRUE, nullptr, FALSE));
    EXPECT_EQ(textOf(&descriptor), "D:NO_ACCESS_CONTROL");
    ASSERT_TRUE(SetSecurityDescriptorDacl(&descriptor, FALSE, list, FALSE));
    EXPECT_EQ(textOf(&descriptor), "");
    EXPECT_EQ(errorOf(SetSecurityDescriptorDacl(whole.get(), TRUE, nullptr, FALSE)), ERROR_INVALID_SECURITY_DESCR)
        << "it is in one piece";
}

// The DACL of a text, changed by entries; as a text.
std::string edited(const std::string& old, std::vector<EXPLICIT_ACCESS_A> entries) {
    const Local<void> descriptor = old.empty() ? nullptr : descriptorOf(old);
    PACL oldList = nullptr;
    BOOL present = FALSE;
    if (descriptor)
        GetSecurityDescriptorDacl(descriptor.get(), &present, &oldList, nullptr);
    PACL newList = nullptr;
    const DWORD error = SetEntriesInAclA(static_cast<DWORD>(entries.size()), entries.data(), oldList, &newList);
    if (error != 0)
        return "error " + std::to_string(error);
    const Local<ACL> owned(newList);
    SECURITY_DESCRIPTOR result;
    InitializeSecurityDescriptor(&result, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&result, TRUE, newList, FALSE);
    return textOf(&result);
}

TEST(Entries, AreSetGrantedDeniedAndRevoked) {
    const Local<void> everyone = sidOf("WD");
    const Local<void> packages = sidOf("AC");
    const auto entry = [](ACCESS_MODE mode, const Local<void>& sid, DWORD mask = GENERIC_ALL, DWORD flags = 0) {
        return EXPLICIT_ACCESS_A{
            mask,
            mode,
            flags,
            {nullptr, NO_MULTIPLE_TRUSTEE, TRUSTEE_IS_SID, TRUSTEE_IS_GROUP, static_cast<LPSTR>(sid.get())}};
    };
    const struct {
        std::string old;
        std::vector<EXPLICIT_ACCESS_A> entries;
        std::string result;
    } rows[] = {
        {"", {}, "D:"},
        {"D:NO_ACCESS_CONTROL", {entry(SET_ACCESS, everyone)}, "D:(A;;GA;;;WD)"},
        {"D:(A;;GA;;;OW)",
         {entry(SET_ACCESS, packages), entry(SET_ACCESS, everyone)},
         "D:(A;;GA;;;AC)(A;;GA;;;WD)(A;;GA;;;OW)"},
        {"D:(D;;GW;;;WD)(A;;GR;;;WD)(A;;GA;;;OW)", {entry(SET_ACCESS, everyone)}, "D:(A;;GA;;;WD)(A;;GA;;;OW)"},
        {"D:(D;;GW;;;WD)(A;;GR;;;WD)", {entry(GRANT_ACCESS, everyone)}, "D:(D;;GW;;;WD)(A;;GA;;;WD)(A;;GR;;;WD)"},
        {"D:(A;;GR;;;WD)",
         {entry(GRANT_ACCESS, packages), entry(DENY_ACCESS, everyone, GENERIC_WRITE)},
         "D:(D;;GW;;;WD)(A;;GA;;;AC)(A;;GR;;;WD)"},
        {"D:(D;;GW;;;WD)(A;;GR;;;WD)(A;;GR;;;AC)", {entry(REVOKE_ACCESS, everyone)}, "D:(D;;GW;;;WD)(A;;GR;;;AC)"},
        {"", {entry(SET_ACCESS, everyone, GENERIC_ALL, 3)}, "D:(A;OICI;GA;;;WD)"},
        {"", {entry(NOT_USED_ACCESS, everyone)}, "error 87"},
        {"", {entry(SET_ACCESS, everyone, GENERIC_ALL, 0x100)}, "error 87"},
        {"", {entry(SET_ACCESS, Local<void>())}, "error 1337"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(edited(row.old, row.entries), row.result) << row.old;

    EXPLICIT_ACCESS_A byName = entry(SET_ACCESS, everyone);
    byName.Trustee.TrusteeForm = TRUSTEE_IS_NAME;
    EXPECT_EQ(edited("", {byName}), "error 87");
    // A list that grows beyond what its head can tell.
    EXPECT_EQ(edited("", std::vector<EXPLICIT_ACCESS_A>(4000, entry(GRANT_ACCESS, everyone))), "error 1336");
}

} // namespace
