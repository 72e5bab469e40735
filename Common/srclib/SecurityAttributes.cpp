#include "SecurityAttributes.h"

#include "WdCommon/DebugLog.h"
#include "WdCommon/Exception.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <memory>
#include <new>

static_assert(sizeof(DefSecAttr) == 40, "virtual table, attributes, pointer");

namespace {

// Memory that a call of the platform layer handed out.
struct LocalDeleter {
    void operator()(void* memory) const { LocalFree(memory); }
};
template <class T>
using Local = std::unique_ptr<T, LocalDeleter>;

bool setLowLabel(HANDLE handle, const Local<void>& descriptor) {
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    PACL sacl = nullptr;
    if (GetSecurityDescriptorSacl(descriptor.get(), &present, &sacl, &defaulted) == FALSE)
        return false;
    return SetSecurityInfo(handle, SE_KERNEL_OBJECT, LABEL_SECURITY_INFORMATION, nullptr, nullptr, nullptr, sacl) ==
           ERROR_SUCCESS;
}

bool letUsersIn(HANDLE handle) {
    PSECURITY_DESCRIPTOR converted = nullptr;
    if (ConvertStringSecurityDescriptorToSecurityDescriptorA("D:(A;OICI;GA;;;AU)", SDDL_REVISION_1, &converted,
                                                             nullptr) == FALSE)
        return false;
    const Local<void> descriptor(converted);
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    PACL dacl = nullptr;
    if (GetSecurityDescriptorDacl(descriptor.get(), &present, &dacl, &defaulted) == FALSE)
        return false;
    return SetSecurityInfo(handle, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, dacl, nullptr) ==
           ERROR_SUCCESS;
}

EXPLICIT_ACCESS_A fullAccess(PSID group) {
    EXPLICIT_ACCESS_A entry{};
    entry.grfAccessPermissions = GENERIC_ALL;
    entry.grfAccessMode = SET_ACCESS;
    entry.grfInheritance = NO_INHERITANCE;
    entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    entry.Trustee.TrusteeType = TRUSTEE_IS_GROUP;
    entry.Trustee.ptstrName = static_cast<LPSTR>(group);
    return entry;
}

} // namespace

DefSecAttr::DefSecAttr() : SECURITY_ATTRIBUTES{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE} {
    lpSecurityDescriptor = std::unique_ptr<SECURITY_DESCRIPTOR>(new (std::nothrow) SECURITY_DESCRIPTOR).release();
    if (lpSecurityDescriptor == nullptr)
        return;
    if (InitializeSecurityDescriptor(lpSecurityDescriptor, SECURITY_DESCRIPTOR_REVISION) == FALSE)
        return;
    if (SetSecurityDescriptorDacl(lpSecurityDescriptor, TRUE, nullptr, FALSE) == FALSE)
        return;
    m_pAttributes = this;
}

DefSecAttr::~DefSecAttr() {
    const std::unique_ptr<SECURITY_DESCRIPTOR> owned(static_cast<SECURITY_DESCRIPTOR*>(lpSecurityDescriptor));
}

bool SetObjectPermissions(HANDLE handle) {
    if (!letUsersIn(handle))
        return false;
    PSECURITY_DESCRIPTOR converted = nullptr;
    // A system that can't parse a label knows no integrity levels, so none is needed.
    if (ConvertStringSecurityDescriptorToSecurityDescriptorA("S:(ML;;NW;;;LW)", SDDL_REVISION_1, &converted, nullptr) ==
        FALSE)
        return true;
    return setLowLabel(handle, Local<void>(converted));
}

bool SetObjectToLowIntegrity(HANDLE handle) {
    PSECURITY_DESCRIPTOR converted = nullptr;
    if (ConvertStringSecurityDescriptorToSecurityDescriptorW(WTEXT("S:(ML;;NW;;;LW)"), SDDL_REVISION_1, &converted,
                                                             nullptr) == FALSE)
        return false;
    return setLowLabel(handle, Local<void>(converted));
}

bool SetOjectApplicationPremission(const char* name, SE_OBJECT_TYPE type) {
    PACL oldDacl = nullptr;
    PSECURITY_DESCRIPTOR found = nullptr;
    DWORD error =
        GetNamedSecurityInfoA(name, type, DACL_SECURITY_INFORMATION, nullptr, nullptr, &oldDacl, nullptr, &found);
    if (error != ERROR_SUCCESS) {
        WDLOG_ERROR("GetNamedSecurityInfo failed, Error: %u", error);
        return false;
    }
    const Local<void> descriptor(found); // oldDacl points into it

    PSID sid = nullptr;
    if (ConvertStringSidToSidA("S-1-15-2-1", &sid) == FALSE) {
        WDLOG_ERROR("ConvertStringSidToSid - pSIDAllAppPackage failed, LastError: %d", GetLastError());
        return false;
    }
    const Local<void> allApplicationPackages(sid);
    if (ConvertStringSidToSidA("S-1-1-0", &sid) == FALSE) {
        WDLOG_ERROR("ConvertStringSidToSid - pSIDSpecialAdd failed, LastError: %d", GetLastError());
        return false;
    }
    const Local<void> everyone(sid);

    std::array<EXPLICIT_ACCESS_A, 2> entries{fullAccess(allApplicationPackages.get()), fullAccess(everyone.get())};
    PACL edited = nullptr;
    error = SetEntriesInAclA(static_cast<DWORD>(entries.size()), entries.data(), oldDacl, &edited);
    if (error != ERROR_SUCCESS) {
        WDLOG_ERROR("SetEntriesInAcl failed, Error: %d", error);
        return false;
    }
    const Local<ACL> newDacl(edited);
    error = SetNamedSecurityInfoA(const_cast<LPSTR>(name), type, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                  newDacl.get(), nullptr);
    if (error != ERROR_SUCCESS) {
        WDLOG_ERROR("SetNamedSecurityInfo failed, Error: %d", error);
        return false;
    }
    return true;
}

namespace WdCommon::AccessControl {

namespace {

struct Masks {
    DWORD kind;
    ACCESS_MASK administrators;
    ACCESS_MASK powerUsers;
    ACCESS_MASK system;
    ACCESS_MASK authenticatedUsers;
    ACCESS_MASK users;
    ACCESS_MASK creatorOwner;
    ACCESS_MASK interactive;
};

// clang-format off
constexpr Masks kMasks[] = {
    //   Administrators Power Users SYSTEM    Authenticated Users     CREATOR O. Interactive
    {0,  0x11013F,      0x10002F,   0x11013F, 0x100029,     0x100029, 0x1F01FF,  0x100029},
    {1,  0x1100C7,      0x100087,   0x1100C7, 0x100081,     0x100081, 0x1F01FF,  0x100081},
    {2,  0x101F7,       0x18D,      0x1F5,    0x185,        0x185,    0xF01FF,   0x185},
    {4,  0x10037,       0x37,       0x10037,  0x9,          0x9,      0xF003F,   0x9},
    {5,  0x100FFB,      0x100E92,   0x100FFB, 0x100410,     0x100410, 0x1F0FFF,  0x100410},
    {6,  0x1000FB,      0x10006A,   0x1000FB, 0x100048,     0x100048, 0x1F03FB,  0x100048},
    {9,  0x100002,      0x100002,   0x100002, 0x100002,     0x100002, 0x100002,  0x100002},
    {10, 0x1F0003,      0x1F0003,   0x1F0003, 0x1F0003,     0x1F0003, 0x1F0003,  0x1F0003},
    {11, 0x100001,      0x100001,   0x100001, 0x100001,     0x100001, 0x100001,  0x100001},
    {12, 0x1F0001,      0x1F0001,   0x1F0001, 0x1F0001,     0x1F0001, 0x1F0001,  0x1F0001},
};
// clang-format on

struct Account {
    ATL::CSid (*sid)();
    ACCESS_MASK Masks::*mask;
};

// In the order of the DACL's entries.
constexpr Account kAccounts[] = {
    {ATL::Sids::Admins, &Masks::administrators},
    {ATL::Sids::PowerUsers, &Masks::powerUsers},
    {ATL::Sids::System, &Masks::system},
    {ATL::Sids::AuthenticatedUser, &Masks::authenticatedUsers},
    {ATL::Sids::Users, &Masks::users},
    {ATL::Sids::Interactive, &Masks::interactive},
    {ATL::Sids::CreatorOwner, &Masks::creatorOwner},
};

[[noreturn]] void fail(DWORD error, DWORD line) {
    WdCommon::Exception::raise<Exception>(error, __FILE__, line);
}

const Masks& masksOf(DWORD kind) {
    const auto* const found =
        std::find_if(std::begin(kMasks), std::end(kMasks), [kind](const Masks& masks) { return masks.kind == kind; });
    if (found == std::end(kMasks))
        fail(ERROR_NOT_SUPPORTED, __LINE__);
    return *found;
}

} // namespace

SecurityAttributes::SecurityAttributes(DWORD kind, BYTE inheritHandle) : m_kind(kind), m_inheritHandle(inheritHandle) {
    try {
        build();
    } catch (const ATL::CAtlException& thrown) {
        fail(static_cast<DWORD>(thrown.m_hr) & 0xFFFF, __LINE__);
    } catch (const std::bad_alloc&) {
        fail(ERROR_NOT_ENOUGH_MEMORY, __LINE__);
    }
}

void SecurityAttributes::build() {
    const Masks& masks = masksOf(m_kind);
    ATL::CDacl dacl;
    for (const Account& account : kAccounts)
        if (!dacl.AddAllowedAce(account.sid(), masks.*account.mask))
            fail(GetLastError(), __LINE__);
    ATL::CSecurityDesc descriptor;
    descriptor.SetDacl(dacl);
    Set(descriptor);
    bInheritHandle = m_inheritHandle;
}

} // namespace WdCommon::AccessControl
