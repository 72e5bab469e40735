// What an object stores of its security, and which part the kernel enforces.
#include "ObjectSecurity.h"
#include "SecurityText.h"

#include <TestObject.h>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

constexpr char kName[] = "Global\\security_test";
constexpr SECURITY_INFORMATION kDacl = DACL_SECURITY_INFORMATION;
constexpr SECURITY_INFORMATION kLabel = LABEL_SECURITY_INFORMATION;

// A null text means a null descriptor.
Handle makeWith(const char* sddl, const char* name = kName) {
    const Local<void> descriptor = sddl == nullptr ? nullptr : descriptorOf(sddl);
    SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor.get(), FALSE};
    return makeMutex(name, false, &attributes);
}

std::string securityOf() {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error =
        GetNamedSecurityInfoA(kName, SE_KERNEL_OBJECT, kAllParts, nullptr, nullptr, nullptr, nullptr, &descriptor);
    return error == 0 ? textOf(Local<void>(descriptor).get()) : "error " + std::to_string(error);
}

// The mode of the only named object's file.
unsigned modeOfObject() {
    const auto files = objectFiles();
    EXPECT_EQ(files.size(), 1u);
    struct stat status {};
    EXPECT_EQ(stat((objectsFolder() / files.at(0)).c_str(), &status), 0);
    return status.st_mode & 0777;
}

// Changes `parts` of the object's security to those of the text.
DWORD change(HANDLE object, const std::string& sddl, SECURITY_INFORMATION parts) {
    const Local<void> descriptor = descriptorOf(sddl);
    BOOL present = FALSE;
    PACL dacl = nullptr;
    PACL sacl = nullptr;
    GetSecurityDescriptorDacl(descriptor.get(), &present, &dacl, nullptr);
    GetSecurityDescriptorSacl(descriptor.get(), &present, &sacl, nullptr);
    return SetSecurityInfo(object, SE_KERNEL_OBJECT, parts, nullptr, nullptr, dacl, sacl);
}

class ObjectSecurity : public testing::Test {
  protected:
    ObjectSecurity() { useFreshHome(); }
};

TEST_F(ObjectSecurity, WhoIsLetIn) {
    const std::pair<unsigned, std::vector<const char*>> rows[] = {
        // Full access for everybody, or allowed before anyone is denied.
        {0666,
         {"D:NO_ACCESS_CONTROL", "D:(A;;GA;;;WD)", "D:(A;OICI;GA;;;AU)S:(ML;;NW;;;LW)", "D:(A;;GA;;;AC)",
          "D:(A;;0x1F0001;;;AU)", "D:(A;;0x1F0003;;;WD)", "D:(A;;0xF001F;;;WD)",
          "D:(A;;GA;;;OW)(A;;GR;;;BU)(A;;GA;;;WD)", "D:(A;;GA;;;WD)(D;;GW;;;BG)", "D:(D;IO;GW;;;BG)(A;;GA;;;WD)"}},
        // Less than full access; inherit-only entries, which don't apply; and denied guests, which the kernel can't
        // express.
        {0600,
         {nullptr, "", "O:BAG:SY", "S:(ML;;NW;;;LW)", "D:", "D:(A;;0x100001;;;WD)", "D:(A;;GRGWGX;;;WD)",
          "D:(A;;GA;;;BA)(A;;GA;;;SY)(A;;GA;;;BU)(A;;GA;;;IU)", "D:(A;IOOICI;GA;;;WD)", "D:(D;;GW;;;BG)(A;;GA;;;WD)",
          "D:(D;;GA;;;WD)"}},
    };
    for (const auto& [mode, texts] : rows)
        for (const char* sddl : texts) {
            const Handle mutex = makeWith(sddl);
            EXPECT_EQ(modeOfObject(), mode) << (sddl == nullptr ? "null" : sddl);
        }
}

TEST_F(ObjectSecurity, EachPartIsChangedAlone) {
    Handle mutex = makeWith(nullptr);
    const struct {
        const char* change;
        SECURITY_INFORMATION parts;
        const char* security;
        unsigned mode;
    } rows[] = {
        {"S:(ML;;NW;;;LW)", kLabel, "D:(A;;GA;;;OW)S:(ML;;NW;;;LW)", 0600}, // doesn't open it to others
        {"D:(A;OICI;GA;;;AU)", kDacl, "D:(A;OICI;GA;;;AU)S:(ML;;NW;;;LW)", 0666},
        {"D:S:(ML;;NW;;;HI)", kLabel, "D:(A;OICI;GA;;;AU)S:(ML;;NW;;;HI)", 0666},
        {"D:", kDacl, "D:S:(ML;;NW;;;HI)", 0600},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(change(mutex.get(), row.change, row.parts), 0u);
        EXPECT_EQ(securityOf(), row.security);
        EXPECT_EQ(modeOfObject(), row.mode) << row.security;
    }
    std::string name = kName;
    EXPECT_EQ(SetNamedSecurityInfoA(name.data(), SE_KERNEL_OBJECT, kDacl, nullptr, nullptr, nullptr, nullptr), 0u);
    EXPECT_EQ(securityOf(), "D:NO_ACCESS_CONTROLS:(ML;;NW;;;HI)");
}

TEST_F(ObjectSecurity, RefusalsChangeNothing) {
    const Handle mutex = makeWith("D:(A;;GR;;;BU)");
    std::string tooLong = "D:";
    while (tooLong.size() <= 2048)
        tooLong += "(A;;GA;;;WD)";
    ACL malformed{ACL_REVISION, 0, 7, 0, 0};
    const std::pair<DWORD, DWORD> rows[] = {
        {change(mutex.get(), tooLong, kDacl), ERROR_INSUFFICIENT_BUFFER},
        {change(&malformed, "D:", kDacl), ERROR_INVALID_HANDLE},
        {SetSecurityInfo(mutex.get(), SE_KERNEL_OBJECT, kDacl, nullptr, nullptr, &malformed, nullptr),
         ERROR_INVALID_ACL},
        {errorOf(makeWith(tooLong.c_str(), "another")), ERROR_INSUFFICIENT_BUFFER},
    };
    for (const auto& [error, expected] : rows)
        EXPECT_EQ(error, expected);
    EXPECT_EQ(securityOf(), "D:(A;;GR;;;BU)");
    EXPECT_EQ(modeOfObject(), 0600u);
}

// Whoever can open an object can write to its memory, including the text of its security. When the owner changes
// another part, a forged text must not decide who has access.
TEST_F(ObjectSecurity, AForgedTextIsAnErrorAndOpensNothing) {
    const Handle mutex = makeMutex(kName);
    wd::ObjectSecurity kept;
    const auto forging = [](const std::string& text) {
        return [=](wd::ObjectSecurity& security) {
            security = {text, false};
            return DWORD{ERROR_SUCCESS};
        };
    };
    for (const std::string& forged : {std::string("D:(A;;GA;;;WD"), std::string("D:\0:", 4), std::string(2048, '(')}) {
        ASSERT_EQ(wd::changeSecurity(kName, forging(forged)), 0u);
        EXPECT_EQ(securityOf(), "error 1338");
        EXPECT_EQ(change(mutex.get(), "", kDacl), ERROR_INVALID_SECURITY_DESCR);
        ASSERT_EQ(wd::querySecurity(mutex.get(), kept), 0u);
        EXPECT_EQ(kept.sddl, forged);
        EXPECT_FALSE(kept.everybody);
    }
    ASSERT_EQ(wd::changeSecurity(mutex.get(), forging("D:NO_ACCESS_CONTROL")), 0u);
    EXPECT_EQ(change(mutex.get(), "", kLabel), ERROR_SUCCESS);
    ASSERT_EQ(wd::querySecurity(mutex.get(), kept), 0u);
    EXPECT_FALSE(kept.everybody);
}

} // namespace
