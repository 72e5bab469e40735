// Queries and changes the security of kernel objects, by handle and by name, and edits access lists. The text that an
// object stores may have been written by anybody who may open it: if it can't be parsed, that is
// ERROR_INVALID_SECURITY_DESCR.
#include "Descriptor.h"
#include "LastError.h"
#include "LocalMemory.h"
#include "ObjectSecurity.h"
#include "Sddl.h"

#include <algorithm>
#include <new>

namespace wd {

namespace {

constexpr SECURITY_INFORMATION kSaclParts = SACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION;
constexpr SECURITY_INFORMATION kAllParts =
    OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION | kSaclParts;

// The new values of the parts that a caller names.
struct NewParts {
    SECURITY_INFORMATION parts;
    const void* owner;
    const void* group;
    const void* dacl;
    const void* sacl;
};

template <class Steps>
DWORD codeOf(Steps&& steps) {
    DWORD error = ERROR_NOT_ENOUGH_MEMORY;
    try {
        error = steps();
    } catch (const std::bad_alloc&) {
        // error is set already
    }
    return static_cast<DWORD>(failed(error));
}

DWORD checkRequest(SE_OBJECT_TYPE type, SECURITY_INFORMATION parts) {
    if (type != SE_KERNEL_OBJECT)
        return ERROR_NOT_SUPPORTED;
    return (parts & ~kAllParts) == 0 ? ERROR_SUCCESS : ERROR_INVALID_PARAMETER;
}

// A text without a DACL is default security, where the DACL has the owner alone.
DWORD parseKept(const std::string& sddl, Descriptor& descriptor) {
    if (parseSddl(sddl, descriptor) != ERROR_SUCCESS)
        return ERROR_INVALID_SECURITY_DESCR;
    if ((descriptor.control & SE_DACL_PRESENT) == 0) {
        setControl(descriptor, kDacl, SE_DACL_PRESENT);
        descriptor.dacl = {{ACCESS_ALLOWED_ACE_TYPE, 0, GENERIC_ALL, kOwnerRights}};
    }
    return ERROR_SUCCESS;
}

DWORD setSid(std::optional<Sid>& part, const void* sid) {
    part = Sid::fromPointer(sid);
    return part ? ERROR_SUCCESS : ERROR_INVALID_SID;
}

DWORD setList(const ListKind& kind, Descriptor& descriptor, std::optional<AceList>& part, const void* acl) {
    setControl(descriptor, kind, kind.present);
    part.reset();
    return acl == nullptr ? ERROR_SUCCESS : readList(kind, acl, part.emplace());
}

DWORD apply(const NewParts& given, Descriptor& descriptor) {
    DWORD error = ERROR_SUCCESS;
    if ((given.parts & OWNER_SECURITY_INFORMATION) != 0)
        error = setSid(descriptor.owner, given.owner);
    if (error == ERROR_SUCCESS && (given.parts & GROUP_SECURITY_INFORMATION) != 0)
        error = setSid(descriptor.group, given.group);
    if (error == ERROR_SUCCESS && (given.parts & DACL_SECURITY_INFORMATION) != 0)
        error = setList(kDacl, descriptor, descriptor.dacl, given.dacl);
    if (error == ERROR_SUCCESS && (given.parts & kSaclParts) != 0)
        error = setList(kSacl, descriptor, descriptor.sacl, given.sacl);
    return error;
}

// `object`: a handle or a name.
template <class Object>
DWORD change(Object object, SE_OBJECT_TYPE type, const NewParts& given) {
    if (const DWORD error = checkRequest(type, given.parts))
        return error;
    return changeSecurity(object, [&](ObjectSecurity& security) {
        Descriptor descriptor;
        DWORD error = parseKept(security.sddl, descriptor);
        if (error == ERROR_SUCCESS)
            error = apply(given, descriptor);
        const bool everybodyBefore = security.everybody;
        if (error == ERROR_SUCCESS)
            error = objectSecurityOf(descriptor, security);
        // The stored text may be a stranger's: unless the caller gives a DACL, it must not change who is let in.
        if ((given.parts & DACL_SECURITY_INFORMATION) == 0)
            security.everybody = everybodyBefore;
        return error;
    });
}

template <class T>
void store(T* result, T value) {
    if (result != nullptr)
        *result = value;
}

// Every distance in a descriptor of our own points to a part or is 0.
void* partAt(void* descriptor, DWORD distance) {
    return distance == 0 ? nullptr : static_cast<BYTE*>(descriptor) + distance;
}

DWORD query(LPCSTR name, SE_OBJECT_TYPE type, SECURITY_INFORMATION parts, Descriptor& descriptor) {
    if (const DWORD error = checkRequest(type, parts))
        return error;
    ObjectSecurity security;
    if (const DWORD error = querySecurity(name, security))
        return error;
    if (const DWORD error = parseKept(security.sddl, descriptor))
        return error;
    keepParts(descriptor, parts);
    return ERROR_SUCCESS;
}

DWORD takeSid(const TRUSTEE_A& trustee, std::optional<Sid>& sid) {
    if (trustee.pMultipleTrustee != nullptr || trustee.MultipleTrusteeOperation != NO_MULTIPLE_TRUSTEE ||
        trustee.TrusteeForm != TRUSTEE_IS_SID)
        return ERROR_INVALID_PARAMETER;
    sid = Sid::fromPointer(trustee.ptstrName);
    return sid ? ERROR_SUCCESS : ERROR_INVALID_SID;
}

DWORD setEntry(const EXPLICIT_ACCESS_A& entry, AceList& added, AceList& old) {
    constexpr DWORD kFlags =
        OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE | NO_PROPAGATE_INHERIT_ACE | INHERIT_ONLY_ACE | INHERITED_ACE;
    std::optional<Sid> sid;
    if (const DWORD error = takeSid(entry.Trustee, sid))
        return error;
    if (entry.grfAccessMode != SET_ACCESS || (entry.grfInheritance & ~kFlags) != 0)
        return ERROR_INVALID_PARAMETER;
    std::erase_if(old, [&](const Ace& ace) { return ace.sid == *sid; });
    added.push_back(
        {ACCESS_ALLOWED_ACE_TYPE, static_cast<BYTE>(entry.grfInheritance), entry.grfAccessPermissions, *sid});
    return ERROR_SUCCESS;
}

DWORD setEntries(std::span<const EXPLICIT_ACCESS_A> entries, const void* oldAcl, PACL* newAcl) {
    AceList list;
    if (oldAcl != nullptr)
        if (const DWORD error = readList(kDacl, oldAcl, list))
            return error;
    AceList added;
    for (const EXPLICIT_ACCESS_A& entry : entries)
        if (const DWORD error = setEntry(entry, added, list))
            return error;
    if (oldAcl == nullptr && added.empty())
        return ERROR_SUCCESS;
    // Denied before allowed, new before old.
    list.insert(std::ranges::find(list, BYTE{ACCESS_ALLOWED_ACE_TYPE}, &Ace::type), added.begin(), added.end());
    if (sizeOf(list) > kMostListBytes)
        return ERROR_INVALID_ACL;
    std::vector<BYTE> bytes;
    appendTo(bytes, list);
    *newAcl = static_cast<PACL>(localCopy(bytes.data(), bytes.size()).release());
    return ERROR_SUCCESS;
}

} // namespace
} // namespace wd

DWORD SetSecurityInfo(HANDLE object, SE_OBJECT_TYPE type, SECURITY_INFORMATION parts, PSID owner, PSID group, PACL dacl,
                      PACL sacl) {
    return wd::codeOf([&] { return wd::change(object, type, {parts, owner, group, dacl, sacl}); });
}

DWORD SetNamedSecurityInfoA(LPSTR name, SE_OBJECT_TYPE type, SECURITY_INFORMATION parts, PSID owner, PSID group,
                            PACL dacl, PACL sacl) {
    return wd::codeOf([&] { return wd::change(static_cast<LPCSTR>(name), type, {parts, owner, group, dacl, sacl}); });
}

DWORD GetNamedSecurityInfoA(LPCSTR name, SE_OBJECT_TYPE type, SECURITY_INFORMATION parts, PSID* owner, PSID* group,
                            PACL* dacl, PACL* sacl, PSECURITY_DESCRIPTOR* descriptor) {
    return wd::codeOf([&]() -> DWORD {
        if (descriptor == nullptr)
            return ERROR_INVALID_PARAMETER;
        wd::Descriptor found;
        if (const DWORD error = wd::query(name, type, parts, found))
            return error;
        const std::vector<BYTE> bytes = wd::bytesOf(found);
        SECURITY_DESCRIPTOR_RELATIVE head{};
        std::memcpy(&head, bytes.data(), sizeof head);
        void* const result = wd::localCopy(bytes.data(), bytes.size()).release();
        wd::store<PSID>(owner, wd::partAt(result, head.Owner));
        wd::store<PSID>(group, wd::partAt(result, head.Group));
        wd::store(dacl, static_cast<PACL>(wd::partAt(result, head.Dacl)));
        wd::store(sacl, static_cast<PACL>(wd::partAt(result, head.Sacl)));
        *descriptor = result;
        return ERROR_SUCCESS;
    });
}

DWORD SetEntriesInAclA(DWORD count, EXPLICIT_ACCESS_A* entries, PACL oldAcl, PACL* newAcl) {
    return wd::codeOf([&]() -> DWORD {
        if (newAcl == nullptr)
            return ERROR_INVALID_PARAMETER;
        *newAcl = nullptr;
        if (entries == nullptr && count != 0)
            return ERROR_INVALID_PARAMETER;
        return wd::setEntries({entries, count}, oldAcl, newAcl);
    });
}
