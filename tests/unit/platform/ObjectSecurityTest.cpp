// What an object keeps of its security, and what the kernel enforces of it.
#include "SecurityText.h"
#include "TestHome.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct HandleCloser {
    void operator()(void* handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleCloser>;

constexpr char kName[] = "Global\\security_test";

// A null text is a null descriptor.
Handle makeMutex(const char* sddl, const char* name = kName) {
    const Local<void> descriptor = sddl == nullptr ? nullptr : descriptorOf(sddl);
    SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor.get(), FALSE};
    return Handle(CreateMutexA(&attributes, FALSE, name));
}

std::string securityOf(const char* name = kName, SECURITY_INFORMATION parts = kAllParts) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error =
        GetNamedSecurityInfoA(name, SE_KERNEL_OBJECT, parts, nullptr, nullptr, nullptr, nullptr, &descriptor);
    return error == 0 ? textOf(Local<void>(descriptor).get(), parts) : "error " + std::to_string(error);
}

// The mode of the one named object that there is.
unsigned modeOfObject() {
    unsigned mode = 0;
    for (const auto& file : std::filesystem::directory_iterator(TestHome::instance().path() / "objects")) {
        struct stat status {};
        if (file.path().filename().string().starts_with('.') || stat(file.path().c_str(), &status) != 0)
            continue;
        EXPECT_EQ(mode, 0u) << "more than one object";
        mode = status.st_mode & 0777;
    }
    return mode;
}

// Sets the parts that a text has, by handle or by name.
DWORD setByHandle(HANDLE object, const std::string& sddl, SECURITY_INFORMATION parts) {
    const Local<void> descriptor = descriptorOf(sddl);
    BOOL present = FALSE;
    PACL dacl = nullptr;
    PACL sacl = nullptr;
    GetSecurityDescriptorDacl(descriptor.get(), &present, &dacl, nullptr);
    GetSecurityDescriptorSacl(descriptor.get(), &present, &sacl, nullptr);
    return SetSecurityInfo(object, SE_KERNEL_OBJECT, parts, nullptr, nullptr, dacl, sacl);
}

TEST(ObjectSecurity, WhoIsLetIn) {
    const struct {
        const char* sddl;
        bool everybody;
    } kCases[] = {
        {nullptr, false},
        {"", false},
        {"O:BAG:SY", false},
        {"S:(ML;;NW;;;LW)", false},
        {"D:", false},
        {"D:NO_ACCESS_CONTROL", true},
        {"D:(A;;GA;;;WD)", true},
        {"D:(A;OICI;GA;;;AU)S:(ML;;NW;;;LW)", true},
        {"D:(A;;GA;;;AC)", true},
        {"D:(A;;0x1F0001;;;AU)", true}, // all of a mutex
        {"D:(A;;0x1F0003;;;WD)", true}, // of an event
        {"D:(A;;0xF001F;;;WD)", true},  // of a mapping
        {"D:(A;;GA;;;OW)(A;;GR;;;BU)(A;;GA;;;WD)", true},
        {"D:(A;;0x100001;;;WD)", false}, // to use it is less than to own it
        {"D:(A;;GRGWGX;;;WD)", false},
        {"D:(A;;GA;;;BA)(A;;GA;;;SY)(A;;GA;;;BU)(A;;GA;;;IU)", false},
        {"D:(A;IOOICI;GA;;;WD)", false},       // of what it contains alone
        {"D:(D;;GW;;;BG)(A;;GA;;;WD)", false}, // the kernel can't shut out guests alone
        {"D:(A;;GA;;;WD)(D;;GW;;;BG)", true},  // let in before they are shut out
        {"D:(D;IO;GW;;;BG)(A;;GA;;;WD)", true},
        {"D:(D;;GA;;;WD)", false},
    };
    for (const auto& row : kCases) {
        const Handle mutex = makeMutex(row.sddl);
        ASSERT_NE(mutex, nullptr);
        EXPECT_EQ(modeOfObject(), row.everybody ? 0666u : 0600u) << (row.sddl == nullptr ? "null" : row.sddl);
    }
}

TEST(ObjectSecurity, DefaultSecurityIsTheOwnersAlone) {
    const Handle mutex = makeMutex(nullptr);
    EXPECT_EQ(securityOf(), "D:(A;;GA;;;OW)");
    // The label alone doesn't open it.
    EXPECT_EQ(setByHandle(mutex.get(), "S:(ML;;NW;;;LW)", LABEL_SECURITY_INFORMATION), 0u);
    EXPECT_EQ(securityOf(), "D:(A;;GA;;;OW)S:(ML;;NW;;;LW)");
    EXPECT_EQ(modeOfObject(), 0600u);
}

TEST(ObjectSecurity, EachPartIsChangedAlone) {
    const Handle mutex = makeMutex("O:BAG:SYD:(A;;GR;;;BU)S:(ML;;NW;;;HI)");
    EXPECT_EQ(setByHandle(mutex.get(), "D:(A;OICI;GA;;;AU)", DACL_SECURITY_INFORMATION), 0u);
    EXPECT_EQ(securityOf(), "O:BAG:SYD:(A;OICI;GA;;;AU)S:(ML;;NW;;;HI)");
    EXPECT_EQ(modeOfObject(), 0666u);
    EXPECT_EQ(setByHandle(mutex.get(), "D:S:(ML;;NW;;;LW)", LABEL_SECURITY_INFORMATION), 0u);
    EXPECT_EQ(securityOf(), "O:BAG:SYD:(A;OICI;GA;;;AU)S:(ML;;NW;;;LW)");
    EXPECT_EQ(securityOf(kName, LABEL_SECURITY_INFORMATION), "S:(ML;;NW;;;LW)");
    EXPECT_EQ(setByHandle(mutex.get(), "D:", DACL_SECURITY_INFORMATION), 0u);
    EXPECT_EQ(modeOfObject(), 0600u);
    EXPECT_EQ(setByHandle(mutex.get(), "", DACL_SECURITY_INFORMATION), 0u);
    EXPECT_EQ(securityOf(kName, DACL_SECURITY_INFORMATION), "D:NO_ACCESS_CONTROL");
    EXPECT_EQ(modeOfObject(), 0666u);

    PSID users = nullptr;
    ASSERT_TRUE(ConvertStringSidToSidA("BU", &users));
    const Local<void> owned(users);
    EXPECT_EQ(SetSecurityInfo(mutex.get(), SE_KERNEL_OBJECT, OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION,
                              users, users, nullptr, nullptr),
              0u);
    EXPECT_EQ(securityOf(), "O:BUG:BUD:NO_ACCESS_CONTROLS:(ML;;NW;;;LW)");
}

TEST(ObjectSecurity, RefusalsChangeNothing) {
    const Handle mutex = makeMutex("D:(A;;GR;;;BU)");
    const auto set = [&](HANDLE object, SE_OBJECT_TYPE type, SECURITY_INFORMATION parts, PACL list) {
        SetLastError(0);
        const DWORD error = SetSecurityInfo(object, type, parts, nullptr, nullptr, list, list);
        EXPECT_EQ(GetLastError(), error);
        return error;
    };
    ACL malformed{ACL_REVISION, 0, 7, 0, 0};
    EXPECT_EQ(set(mutex.get(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr), ERROR_NOT_SUPPORTED);
    EXPECT_EQ(set(mutex.get(), SE_KERNEL_OBJECT, 0x20, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(set(mutex.get(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, &malformed), ERROR_INVALID_ACL);
    EXPECT_EQ(set(mutex.get(), SE_KERNEL_OBJECT, OWNER_SECURITY_INFORMATION, nullptr), ERROR_INVALID_SID);
    EXPECT_EQ(set(nullptr, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr), ERROR_INVALID_HANDLE);
    EXPECT_EQ(set(&malformed, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr), ERROR_INVALID_HANDLE);
    std::string tooLong = "D:";
    while (tooLong.size() <= 2048)
        tooLong += "(A;;GA;;;WD)";
    EXPECT_EQ(setByHandle(mutex.get(), tooLong, DACL_SECURITY_INFORMATION), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(securityOf(), "D:(A;;GR;;;BU)");
    EXPECT_EQ(modeOfObject(), 0600u);
    EXPECT_EQ(makeMutex(tooLong.c_str(), "another"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);

    EXPECT_EQ(securityOf("Global\\nobody_has_it"), "error 2");
    EXPECT_EQ(securityOf(""), "error 87");
    EXPECT_EQ(securityOf(nullptr), "error 87");
    char name[] = "Global\\nobody_has_it";
    EXPECT_EQ(
        SetNamedSecurityInfoA(name, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr, nullptr),
        ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(GetNamedSecurityInfoA(kName, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr,
                                    nullptr, nullptr),
              ERROR_INVALID_PARAMETER);
}

TEST(ObjectSecurity, AnUnnamedObjectHasItsSecurityToo) {
    const Handle event(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    EXPECT_EQ(setByHandle(event.get(), "D:(A;;GA;;;AU)", DACL_SECURITY_INFORMATION), 0u);
    EXPECT_EQ(setByHandle(event.get(), "S:(ML;;NW;;;LW)", LABEL_SECURITY_INFORMATION), 0u);
}

// The outputs are in the descriptor that comes with them.
TEST(ObjectSecurity, OutputsPointIntoTheDescriptor) {
    const Handle mutex = makeMutex("O:BAD:(A;;GR;;;BU)");
    PSID owner = nullptr;
    PSID group = &owner;
    PACL dacl = nullptr;
    PACL sacl = nullptr;
    PSECURITY_DESCRIPTOR found = nullptr;
    ASSERT_EQ(GetNamedSecurityInfoA(kName, SE_KERNEL_OBJECT, kAllParts, &owner, &group, &dacl, &sacl, &found), 0u);
    const Local<void> descriptor(found);
    PACL same = nullptr;
    BOOL present = FALSE;
    ASSERT_TRUE(GetSecurityDescriptorDacl(found, &present, &same, nullptr));
    EXPECT_EQ(dacl, same);
    EXPECT_EQ(group, nullptr);
    EXPECT_EQ(sacl, nullptr);
    LPSTR text = nullptr;
    ASSERT_TRUE(ConvertSidToStringSidA(owner, &text));
    EXPECT_STREQ(Local<char>(text).get(), "S-1-5-32-544");
}

// Another process, started while the object is there, sees its security by name and changes it.
TEST(ObjectSecurity, WorksByNameAcrossProcesses) {
    const Handle mutex = makeMutex("D:(A;;GR;;;BU)S:(ML;;NW;;;LW)");
    const pid_t child = fork();
    if (child == 0) {
        if (securityOf() != "D:(A;;GR;;;BU)S:(ML;;NW;;;LW)")
            _exit(1);
        char name[sizeof kName];
        std::copy(std::begin(kName), std::end(kName), name);
        _exit(static_cast<int>(SetNamedSecurityInfoA(name, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                                     nullptr, nullptr, nullptr)));
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(securityOf(), "D:NO_ACCESS_CONTROLS:(ML;;NW;;;LW)");
    EXPECT_EQ(modeOfObject(), 0666u);
}

} // namespace
