#include "Descriptor.h"

#include "Sddl.h"

#include <cstring>

namespace wd {

namespace {

constexpr std::size_t kAceHeadBytes = sizeof(ACE_HEADER) + sizeof(ACCESS_MASK);
constexpr BYTE kHighestAclRevision = 4;

template <class T>
T load(const void* from) {
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

template <class T>
void append(std::vector<BYTE>& bytes, const T& value) {
    const auto* const from = reinterpret_cast<const BYTE*>(&value);
    bytes.insert(bytes.end(), from, from + sizeof value);
}

// The parts of a caller's descriptor; null for those it lacks.
struct Places {
    WORD control = 0;
    const void* owner = nullptr;
    const void* group = nullptr;
    const void* sacl = nullptr;
    const void* dacl = nullptr;
};

// Null for distance 0. False when the part would lie inside the header.
bool locate(const void* begin, DWORD distance, const void*& result) {
    result = distance == 0 ? nullptr : static_cast<const BYTE*>(begin) + distance;
    return distance == 0 || distance >= sizeof(SECURITY_DESCRIPTOR_RELATIVE);
}

DWORD findPlaces(const void* descriptor, Places& places) {
    if (descriptor == nullptr)
        return ERROR_INVALID_PARAMETER;
    if (*static_cast<const BYTE*>(descriptor) != SECURITY_DESCRIPTOR_REVISION)
        return ERROR_UNKNOWN_REVISION;
    // Revision and control are at the same offset in both forms.
    const auto head = load<SECURITY_DESCRIPTOR_RELATIVE>(descriptor);
    places.control = head.Control;
    if ((head.Control & SE_SELF_RELATIVE) == 0) {
        const auto absolute = load<SECURITY_DESCRIPTOR>(descriptor);
        places.owner = absolute.Owner;
        places.group = absolute.Group;
        places.sacl = absolute.Sacl;
        places.dacl = absolute.Dacl;
        return ERROR_SUCCESS;
    }
    const bool isSound = locate(descriptor, head.Owner, places.owner) && locate(descriptor, head.Group, places.group) &&
                         locate(descriptor, head.Sacl, places.sacl) && locate(descriptor, head.Dacl, places.dacl);
    return isSound ? ERROR_SUCCESS : ERROR_INVALID_SECURITY_DESCR;
}

DWORD readSid(const void* from, std::optional<Sid>& sid) {
    if (from == nullptr)
        return ERROR_SUCCESS;
    sid = Sid::fromPointer(from);
    return sid ? ERROR_SUCCESS : ERROR_INVALID_SID;
}

DWORD readPart(const ListKind& kind, WORD control, const void* from, Descriptor& result, std::optional<AceList>& list) {
    if ((control & kind.present) == 0)
        return ERROR_SUCCESS;
    setControl(result, kind, control);
    return from == nullptr ? ERROR_SUCCESS : readList(kind, from, list.emplace());
}

// Appends the entry at the start of `bytes` to `list`. Returns its size; 0 if it is malformed or doesn't belong there.
std::size_t readAce(const ListKind& kind, std::span<const BYTE> bytes, AceList& list) {
    if (bytes.size() < kAceHeadBytes)
        return 0;
    const auto header = load<ACE_HEADER>(bytes.data());
    if (header.AceSize < kAceHeadBytes || header.AceSize > bytes.size() || !fits(kind, header.AceType))
        return 0;
    const auto sid = Sid::fromBytes(bytes.subspan(kAceHeadBytes, header.AceSize - kAceHeadBytes));
    if (!sid)
        return 0;
    list.push_back({header.AceType, header.AceFlags, load<ACCESS_MASK>(bytes.data() + sizeof header), *sid});
    return header.AceSize;
}

bool isEverybody(const Sid& sid) {
    return sid == kEveryone || sid == kAuthenticatedUsers || sid == kAllApplicationPackages;
}

// The full rights that all kinds of object have in common: their holder may grant himself the others.
bool isFullAccess(ACCESS_MASK mask) {
    constexpr ACCESS_MASK kOwnersRights = STANDARD_RIGHTS_REQUIRED | 1;
    return (mask & GENERIC_ALL) != 0 || (mask & kOwnersRights) == kOwnersRights;
}

// The first entry about a right decides. The kernel can't shut out some and let in others, so a list that denies
// anything to anyone before it lets everybody in gets the narrower mode.
bool letsEverybodyIn(const Descriptor& descriptor) {
    if ((descriptor.control & SE_DACL_PRESENT) == 0)
        return false;
    if (!descriptor.dacl)
        return true;
    for (const Ace& ace : *descriptor.dacl) {
        if ((ace.flags & INHERIT_ONLY_ACE) != 0)
            continue;
        if (ace.type == ACCESS_DENIED_ACE_TYPE)
            return false;
        if (isEverybody(ace.sid) && isFullAccess(ace.mask))
            return true;
    }
    return false;
}

} // namespace

bool fits(const ListKind& kind, BYTE aceType) {
    if (kind.present == SE_SACL_PRESENT)
        return aceType == SYSTEM_MANDATORY_LABEL_ACE_TYPE;
    return aceType == ACCESS_ALLOWED_ACE_TYPE || aceType == ACCESS_DENIED_ACE_TYPE;
}

DWORD readList(const ListKind& kind, std::span<const BYTE> bytes, AceList& list) {
    list.clear();
    if (bytes.size() < sizeof(ACL))
        return ERROR_INVALID_ACL;
    const auto head = load<ACL>(bytes.data());
    if (head.AclRevision < ACL_REVISION || head.AclRevision > kHighestAclRevision || head.AclSize < sizeof(ACL) ||
        head.AclSize > bytes.size())
        return ERROR_INVALID_ACL;
    bytes = bytes.subspan(sizeof(ACL), head.AclSize - sizeof(ACL));
    for (unsigned index = 0; index < head.AceCount; ++index) {
        const std::size_t size = readAce(kind, bytes, list);
        if (size == 0)
            return ERROR_INVALID_ACL;
        bytes = bytes.subspan(size);
    }
    return ERROR_SUCCESS;
}

DWORD readList(const ListKind& kind, const void* acl, AceList& list) {
    return readList(kind, {static_cast<const BYTE*>(acl), load<ACL>(acl).AclSize}, list);
}

std::size_t sizeOf(const AceList& list) {
    std::size_t size = sizeof(ACL);
    for (const Ace& ace : list)
        size += ace.size();
    return size;
}

void appendTo(std::vector<BYTE>& bytes, const AceList& list) {
    append(bytes, ACL{ACL_REVISION, 0, static_cast<WORD>(sizeOf(list)), static_cast<WORD>(list.size()), 0});
    for (const Ace& ace : list) {
        append(bytes, ACE_HEADER{ace.type, ace.flags, static_cast<WORD>(ace.size())});
        append(bytes, ace.mask);
        ace.sid.appendTo(bytes);
    }
}

DWORD readDescriptor(const void* descriptor, Descriptor& result) {
    result = {};
    Places places;
    DWORD error = findPlaces(descriptor, places);
    if (error == ERROR_SUCCESS)
        error = readSid(places.owner, result.owner);
    if (error == ERROR_SUCCESS)
        error = readSid(places.group, result.group);
    if (error == ERROR_SUCCESS)
        error = readPart(kSacl, places.control, places.sacl, result, result.sacl);
    if (error == ERROR_SUCCESS)
        error = readPart(kDacl, places.control, places.dacl, result, result.dacl);
    return error;
}

std::vector<BYTE> bytesOf(const Descriptor& descriptor) {
    std::vector<BYTE> bytes(sizeof(SECURITY_DESCRIPTOR_RELATIVE));
    SECURITY_DESCRIPTOR_RELATIVE head{};
    head.Revision = SECURITY_DESCRIPTOR_REVISION;
    head.Control = static_cast<WORD>(descriptor.control | SE_SELF_RELATIVE);
    // The size of every part is a multiple of four, so that the next one is aligned.
    const auto lay = [&bytes](DWORD& distance, const auto& part, auto&& appendPart) {
        if (!part)
            return;
        distance = static_cast<DWORD>(bytes.size());
        appendPart(*part);
    };
    const auto sid = [&bytes](const Sid& part) { part.appendTo(bytes); };
    const auto list = [&bytes](const AceList& part) { appendTo(bytes, part); };
    lay(head.Owner, descriptor.owner, sid);
    lay(head.Group, descriptor.group, sid);
    lay(head.Sacl, descriptor.sacl, list);
    lay(head.Dacl, descriptor.dacl, list);
    std::memcpy(bytes.data(), &head, sizeof head);
    return bytes;
}

DWORD findList(const ListKind& kind, const void* descriptor, WORD& control, const void*& acl) {
    Places places;
    if (const DWORD error = findPlaces(descriptor, places))
        return error;
    control = places.control;
    acl = kind.present == SE_SACL_PRESENT ? places.sacl : places.dacl;
    return ERROR_SUCCESS;
}

void keepParts(Descriptor& descriptor, SECURITY_INFORMATION parts) {
    if ((parts & OWNER_SECURITY_INFORMATION) == 0)
        descriptor.owner.reset();
    if ((parts & GROUP_SECURITY_INFORMATION) == 0)
        descriptor.group.reset();
    if ((parts & DACL_SECURITY_INFORMATION) == 0) {
        descriptor.dacl.reset();
        setControl(descriptor, kDacl, 0);
    }
    if ((parts & (SACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION)) == 0) {
        descriptor.sacl.reset();
        setControl(descriptor, kSacl, 0);
    }
}

void setControl(Descriptor& descriptor, const ListKind& kind, WORD bits) {
    descriptor.control = static_cast<WORD>((descriptor.control & ~kind.allBits()) | (bits & kind.allBits()));
}

DWORD objectSecurityOf(const Descriptor& descriptor, ObjectSecurity& security) {
    std::string text = writeSddl(descriptor);
    if (text.size() > ObjectSecurity::kTextLimit)
        return ERROR_INSUFFICIENT_BUFFER;
    security.sddl = std::move(text);
    security.everybody = letsEverybodyIn(descriptor);
    return ERROR_SUCCESS;
}

} // namespace wd
