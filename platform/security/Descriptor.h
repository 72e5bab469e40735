// Security descriptors as values: read from either form that callers pass, written in the self-relative form, and
// reduced to what the layer enforces. All sizes and counts in the bytes are checked. No lock is needed.
#pragma once

#include "Security.h"
#include "Sid.h"

#include <optional>
#include <vector>

namespace wd {

struct Ace {
    BYTE type;
    BYTE flags;
    ACCESS_MASK mask;
    Sid sid;

    std::size_t size() const { return sizeof(ACE_HEADER) + sizeof(ACCESS_MASK) + sid.size(); }
    friend bool operator==(const Ace&, const Ace&) = default;
};

using AceList = std::vector<Ace>;

// The two lists of a descriptor, and the bits of its control word that describe each.
struct ListKind {
    WORD present;
    WORD defaulted;
    WORD autoInheritRequired;
    WORD autoInherited;
    WORD isProtected;

    constexpr WORD allBits() const {
        return static_cast<WORD>(present | defaulted | autoInheritRequired | autoInherited | isProtected);
    }
};
inline constexpr ListKind kDacl{SE_DACL_PRESENT, SE_DACL_DEFAULTED, SE_DACL_AUTO_INHERIT_REQ, SE_DACL_AUTO_INHERITED,
                                SE_DACL_PROTECTED};
inline constexpr ListKind kSacl{SE_SACL_PRESENT, SE_SACL_DEFAULTED, SE_SACL_AUTO_INHERIT_REQ, SE_SACL_AUTO_INHERITED,
                                SE_SACL_PROTECTED};

struct Descriptor {
    WORD control = 0; // the bits of the lists that are present
    std::optional<Sid> owner;
    std::optional<Sid> group;
    std::optional<AceList> dacl; // no value with SE_DACL_PRESENT: a null DACL
    std::optional<AceList> sacl;

    friend bool operator==(const Descriptor&, const Descriptor&) = default;
};

// A SACL has only labels here, a DACL no label.
bool fits(const ListKind& kind, BYTE aceType);

// ERROR_SUCCESS or ERROR_INVALID_ACL. `bytes` is the memory that the list may fill.
DWORD readList(const ListKind& kind, std::span<const BYTE> bytes, AceList& list);
// A caller's list, which is as long as its header says.
DWORD readList(const ListKind& kind, const void* acl, AceList& list);
// Size of the list in bytes, at most kMostListBytes.
std::size_t sizeOf(const AceList& list);
inline constexpr std::size_t kMostListBytes = 0xFFFC;
void appendTo(std::vector<BYTE>& bytes, const AceList& list);

// Reads an absolute or a self-relative descriptor. ERROR_SUCCESS, ERROR_INVALID_PARAMETER, ERROR_UNKNOWN_REVISION,
// ERROR_INVALID_ACL, ERROR_INVALID_SID or ERROR_INVALID_SECURITY_DESCR.
DWORD readDescriptor(const void* descriptor, Descriptor& result);
// In the self-relative form.
std::vector<BYTE> bytesOf(const Descriptor& descriptor);

// Finds a list in a caller's descriptor; null when it has none. ERROR_SUCCESS, ERROR_INVALID_PARAMETER,
// ERROR_UNKNOWN_REVISION or ERROR_INVALID_SECURITY_DESCR.
DWORD findList(const ListKind& kind, const void* descriptor, WORD& control, const void*& acl);

// Removes all parts that `parts` doesn't name.
void keepParts(Descriptor& descriptor, SECURITY_INFORMATION parts);
// Sets the control bits of one list to those in `bits`.
void setControl(Descriptor& descriptor, const ListKind& kind, WORD bits);

// The form that an object stores. ERROR_SUCCESS, or ERROR_INSUFFICIENT_BUFFER when its text is too long for that.
DWORD objectSecurityOf(const Descriptor& descriptor, ObjectSecurity& security);

} // namespace wd
