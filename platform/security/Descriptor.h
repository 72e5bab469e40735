// Security descriptors as values: read from the two forms that callers hand over, laid down in one piece, and judged by
// what the layer enforces. All sizes and counts inside the bytes are checked. No lock applies.
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

// The two lists of a descriptor, and the bits of its control word that tell of each.
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
    WORD control = 0; // bits of the two kinds of list, of those that are present
    std::optional<Sid> owner;
    std::optional<Sid> group;
    std::optional<AceList> dacl; // nothing though SE_DACL_PRESENT: a null DACL
    std::optional<AceList> sacl;

    friend bool operator==(const Descriptor&, const Descriptor&) = default;
};

// Only labels stand in a SACL here, and no label in a DACL.
bool fits(const ListKind& kind, BYTE aceType);

// 0 or 1336. `bytes` is the memory that the list may fill.
DWORD readList(const ListKind& kind, std::span<const BYTE> bytes, AceList& list);
// A caller's, which reaches as far as its own size says.
DWORD readList(const ListKind& kind, const void* acl, AceList& list);
// Of the list as bytes; a list must not have more than kMostListBytes.
std::size_t sizeOf(const AceList& list);
inline constexpr std::size_t kMostListBytes = 0xFFFC;
void appendTo(std::vector<BYTE>& bytes, const AceList& list);

// Absolute or self-relative. 0, 87, 1305, 1336, 1337 or 1338.
DWORD readDescriptor(const void* descriptor, Descriptor& result);
// Self-relative.
std::vector<BYTE> bytesOf(const Descriptor& descriptor);

// Where a list stands in a caller's descriptor, null or not. 0, 87, 1305 or 1338.
DWORD findList(const ListKind& kind, const void* descriptor, WORD& control, const void*& acl);

// Keeps the parts that `parts` names.
void keepParts(Descriptor& descriptor, SECURITY_INFORMATION parts);
// The bits that tell of one list become `bits`.
void setControl(Descriptor& descriptor, const ListKind& kind, WORD bits);

// As an object keeps it. 0, or 122 when its text is too long for that.
DWORD objectSecurityOf(const Descriptor& descriptor, ObjectSecurity& security);

} // namespace wd
