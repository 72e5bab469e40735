/* The four ATL security classes that are used: values that build a descriptor and pass it to a creating call as
   SECURITY_ATTRIBUTES. A failing call throws an ATL::CAtlException by value; exhausted memory is std::bad_alloc. For
   one thread at a time. */
#ifndef PLATFORM_ATL_H
#define PLATFORM_ATL_H

#include <platform/security.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

namespace ATL {

class CAtlException {
  public:
    explicit CAtlException(HRESULT result) : m_hr(result) {}
    HRESULT m_hr;
};

/* A Windows code as an HRESULT has the facility number 7 in its upper half. */
[[noreturn]] inline void AtlThrowLastWin32() {
    throw CAtlException(static_cast<HRESULT>(0x80070000 | (GetLastError() & 0xFFFF)));
}

class CSid {
  public:
    template <class... Parts>
    CSid(const SID_IDENTIFIER_AUTHORITY& authority, BYTE partCount, Parts... parts)
        : m_sid{SID_REVISION, partCount, authority, {static_cast<DWORD>(parts)...}} {
        static_assert(sizeof...(Parts) > 0 && sizeof...(Parts) <= SID_MAX_SUB_AUTHORITIES);
    }
    const SID* GetPSID() const { return reinterpret_cast<const SID*>(&m_sid); }
    UINT GetLength() const { return static_cast<UINT>(8 + m_sid.count * sizeof(DWORD)); }

  private:
    struct Whole {
        BYTE revision;
        BYTE count;
        SID_IDENTIFIER_AUTHORITY authority;
        std::array<DWORD, SID_MAX_SUB_AUTHORITIES> parts;
    };
    Whole m_sid;
};

/* The well-known ones. */
namespace Sids {

inline constexpr SID_IDENTIFIER_AUTHORITY kCreatorAuthority{{0, 0, 0, 0, 0, 3}};
inline constexpr SID_IDENTIFIER_AUTHORITY kNtAuthority{{0, 0, 0, 0, 0, 5}};

inline CSid CreatorOwner() {
    return CSid(kCreatorAuthority, 1, 0);
}
inline CSid Interactive() {
    return CSid(kNtAuthority, 1, 4);
}
inline CSid AuthenticatedUser() {
    return CSid(kNtAuthority, 1, 11);
}
inline CSid System() {
    return CSid(kNtAuthority, 1, 18);
}
inline CSid Admins() {
    return CSid(kNtAuthority, 2, 32, 544);
}
inline CSid Users() {
    return CSid(kNtAuthority, 2, 32, 545);
}
inline CSid PowerUsers() {
    return CSid(kNtAuthority, 2, 32, 547);
}

} // namespace Sids

class CDacl {
  public:
    CDacl() : m_bytes(sizeof(ACL)) { setHead(ACL{ACL_REVISION, 0, sizeof(ACL), 0, 0}); }

    /* False, with GetLastError ERROR_INVALID_ACL, when the list can't grow. */
    bool AddAllowedAce(const CSid& sid, ACCESS_MASK mask, BYTE flags = 0) {
        const std::size_t size = sizeof(ACE_HEADER) + sizeof mask + sid.GetLength();
        if (m_bytes.size() + size > 0xFFFF) {
            SetLastError(ERROR_INVALID_ACL);
            return false;
        }
        m_bytes.reserve(m_bytes.size() + size);
        append(ACE_HEADER{ACCESS_ALLOWED_ACE_TYPE, flags, static_cast<WORD>(size)});
        append(mask);
        appendBytes(sid.GetPSID(), sid.GetLength());
        ACL head = *GetPACL();
        head.AclSize = static_cast<WORD>(m_bytes.size());
        ++head.AceCount;
        setHead(head);
        return true;
    }
    const ACL* GetPACL() const { return reinterpret_cast<const ACL*>(m_bytes.data()); }

  private:
    void setHead(const ACL& head) { std::memcpy(m_bytes.data(), &head, sizeof head); }
    void appendBytes(const void* from, std::size_t size) {
        const auto* const bytes = static_cast<const BYTE*>(from);
        m_bytes.insert(m_bytes.end(), bytes, bytes + size);
    }
    template <class T>
    void append(const T& value) {
        appendBytes(&value, sizeof value);
    }

    std::vector<BYTE> m_bytes;
};

class CSecurityDesc {
  public:
    CSecurityDesc() { initialize(); }
    CSecurityDesc(const CSecurityDesc& other) : CSecurityDesc() { *this = other; }
    CSecurityDesc& operator=(const CSecurityDesc& other) {
        if (this == &other)
            return *this;
        initialize();
        m_dacl.reset();
        if (other.m_dacl)
            SetDacl(*other.m_dacl, (other.m_descriptor.Control & SE_DACL_DEFAULTED) != 0);
        return *this;
    }
    ~CSecurityDesc() = default;

    /* Keeps a copy of the list. */
    void SetDacl(const CDacl& dacl, bool defaulted = false) {
        m_dacl = dacl;
        if (SetSecurityDescriptorDacl(&m_descriptor, TRUE, const_cast<PACL>(m_dacl->GetPACL()), defaulted) == FALSE)
            AtlThrowLastWin32();
    }
    const SECURITY_DESCRIPTOR* GetPSECURITY_DESCRIPTOR() const { return &m_descriptor; }

  private:
    void initialize() {
        if (InitializeSecurityDescriptor(&m_descriptor, SECURITY_DESCRIPTOR_REVISION) == FALSE)
            AtlThrowLastWin32();
    }

    SECURITY_DESCRIPTOR m_descriptor{};
    std::optional<CDacl> m_dacl; /* m_descriptor points into it */
};

/* Points into itself: neither copied nor moved. */
class CSecurityAttributes : public SECURITY_ATTRIBUTES {
  public:
    CSecurityAttributes() : SECURITY_ATTRIBUTES{sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE} {}
    ~CSecurityAttributes() = default;
    CSecurityAttributes(const CSecurityAttributes&) = delete;
    CSecurityAttributes& operator=(const CSecurityAttributes&) = delete;

    /* Keeps a copy of the descriptor. */
    void Set(const CSecurityDesc& descriptor, bool inheritHandle = false) {
        m_descriptor = descriptor;
        lpSecurityDescriptor = const_cast<SECURITY_DESCRIPTOR*>(m_descriptor.GetPSECURITY_DESCRIPTOR());
        bInheritHandle = inheritHandle ? TRUE : FALSE;
    }

  private:
    CSecurityDesc m_descriptor;
};

} // namespace ATL

#endif
