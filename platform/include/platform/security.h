/* Access control of objects: SIDs, access lists and descriptors in the layouts of the Windows headers, their text form
   (SDDL), and the calls that read and change the security of a kernel object. Of all that a descriptor says, the layer
   enforces only whether everybody has access or the creator alone; the rest is stored as given. Any thread.

   A pointer to a SID, a list or a descriptor must reach as far as its own counts and sizes say; nothing is read beyond
   them, and what contradicts itself is refused. What a call hands out is freed by LocalFree. Calls with a BOOL result
   say by GetLastError why they failed, calls with a DWORD result return the code, and set it too: ERROR_INVALID_HANDLE:
   not an object's handle, ERROR_FILE_NOT_FOUND: nobody has an object of that name, ERROR_ACCESS_DENIED: no permission,
   ERROR_NOT_ENOUGH_MEMORY, ERROR_NOT_SUPPORTED: not a kernel object, ERROR_INVALID_PARAMETER: an argument that makes no
   sense, ERROR_INSUFFICIENT_BUFFER: more than an object can keep, ERROR_UNKNOWN_REVISION, ERROR_INVALID_ACL: a
   malformed or unknown access list, ERROR_INVALID_SID, ERROR_INVALID_SECURITY_DESCR. */
#ifndef PLATFORM_SECURITY_H
#define PLATFORM_SECURITY_H

#include <platform/base.h>

using HLOCAL = void*;
using PSID = void*;
using PSECURITY_DESCRIPTOR = void*;
using ACCESS_MASK = DWORD;
using SECURITY_INFORMATION = DWORD;
using SECURITY_DESCRIPTOR_CONTROL = WORD;

inline constexpr BYTE SID_REVISION = 1;
inline constexpr BYTE SID_MAX_SUB_AUTHORITIES = 15;
struct SID_IDENTIFIER_AUTHORITY {
    BYTE Value[6]; /* big-endian */
};
struct SID {
    BYTE Revision;
    BYTE SubAuthorityCount;
    SID_IDENTIFIER_AUTHORITY IdentifierAuthority;
    DWORD SubAuthority[1]; /* SubAuthorityCount of them */
};
static_assert(sizeof(SID) == 12);

inline constexpr BYTE ACL_REVISION = 2;
struct ACL {
    BYTE AclRevision;
    BYTE Sbz1;
    WORD AclSize; /* bytes: this header and the entries after it */
    WORD AceCount;
    WORD Sbz2;
};
static_assert(sizeof(ACL) == 8);
using PACL = ACL*;

inline constexpr BYTE ACCESS_ALLOWED_ACE_TYPE = 0;
inline constexpr BYTE ACCESS_DENIED_ACE_TYPE = 1;
inline constexpr BYTE SYSTEM_MANDATORY_LABEL_ACE_TYPE = 0x11;
inline constexpr BYTE OBJECT_INHERIT_ACE = 1;
inline constexpr BYTE CONTAINER_INHERIT_ACE = 2;
inline constexpr BYTE NO_PROPAGATE_INHERIT_ACE = 4;
inline constexpr BYTE INHERIT_ONLY_ACE = 8;
inline constexpr BYTE INHERITED_ACE = 0x10;
inline constexpr DWORD NO_INHERITANCE = 0;
struct ACE_HEADER {
    BYTE AceType;
    BYTE AceFlags;
    WORD AceSize;
};
/* The layout of all three types of entry. */
struct ACCESS_ALLOWED_ACE {
    ACE_HEADER Header;
    ACCESS_MASK Mask;
    DWORD SidStart; /* the SID begins here */
};
static_assert(sizeof(ACCESS_ALLOWED_ACE) == 12);

inline constexpr DWORD SECURITY_DESCRIPTOR_REVISION = 1;
inline constexpr WORD SE_DACL_PRESENT = 0x4;
inline constexpr WORD SE_DACL_DEFAULTED = 0x8;
inline constexpr WORD SE_SACL_PRESENT = 0x10;
inline constexpr WORD SE_SACL_DEFAULTED = 0x20;
inline constexpr WORD SE_DACL_AUTO_INHERIT_REQ = 0x100;
inline constexpr WORD SE_SACL_AUTO_INHERIT_REQ = 0x200;
inline constexpr WORD SE_DACL_AUTO_INHERITED = 0x400;
inline constexpr WORD SE_SACL_AUTO_INHERITED = 0x800;
inline constexpr WORD SE_DACL_PROTECTED = 0x1000;
inline constexpr WORD SE_SACL_PROTECTED = 0x2000;
inline constexpr WORD SE_SELF_RELATIVE = 0x8000;
struct SECURITY_DESCRIPTOR {
    BYTE Revision;
    BYTE Sbz1;
    SECURITY_DESCRIPTOR_CONTROL Control;
    PSID Owner;
    PSID Group;
    PACL Sacl;
    PACL Dacl; /* null: access for everybody */
};
static_assert(sizeof(SECURITY_DESCRIPTOR) == 40);
/* The form in one piece, marked by SE_SELF_RELATIVE: offsets from its start, 0 for null. */
struct SECURITY_DESCRIPTOR_RELATIVE {
    BYTE Revision;
    BYTE Sbz1;
    SECURITY_DESCRIPTOR_CONTROL Control;
    DWORD Owner;
    DWORD Group;
    DWORD Sacl;
    DWORD Dacl;
};
static_assert(sizeof(SECURITY_DESCRIPTOR_RELATIVE) == 20);

inline constexpr SECURITY_INFORMATION OWNER_SECURITY_INFORMATION = 1;
inline constexpr SECURITY_INFORMATION GROUP_SECURITY_INFORMATION = 2;
inline constexpr SECURITY_INFORMATION DACL_SECURITY_INFORMATION = 4;
inline constexpr SECURITY_INFORMATION SACL_SECURITY_INFORMATION = 8;
inline constexpr SECURITY_INFORMATION LABEL_SECURITY_INFORMATION = 16;

inline constexpr ACCESS_MASK STANDARD_RIGHTS_REQUIRED = 0xF0000;
inline constexpr ACCESS_MASK MAXIMUM_ALLOWED = 0x2000000;
inline constexpr ACCESS_MASK GENERIC_ALL = 0x10000000;
inline constexpr ACCESS_MASK GENERIC_EXECUTE = 0x20000000;
inline constexpr ACCESS_MASK GENERIC_WRITE = 0x40000000;
inline constexpr ACCESS_MASK GENERIC_READ = 0x80000000;

enum SE_OBJECT_TYPE : int { SE_UNKNOWN_OBJECT_TYPE = 0, SE_FILE_OBJECT = 1, SE_KERNEL_OBJECT = 6 };

enum ACCESS_MODE : int { NOT_USED_ACCESS = 0, GRANT_ACCESS = 1, SET_ACCESS = 2, DENY_ACCESS = 3, REVOKE_ACCESS = 4 };
enum MULTIPLE_TRUSTEE_OPERATION : int { NO_MULTIPLE_TRUSTEE = 0 };
enum TRUSTEE_FORM : int { TRUSTEE_IS_SID = 0, TRUSTEE_IS_NAME = 1 };
enum TRUSTEE_TYPE : int { TRUSTEE_IS_UNKNOWN = 0, TRUSTEE_IS_USER = 1, TRUSTEE_IS_GROUP = 2 };
struct TRUSTEE_A {
    TRUSTEE_A* pMultipleTrustee;
    MULTIPLE_TRUSTEE_OPERATION MultipleTrusteeOperation;
    TRUSTEE_FORM TrusteeForm;
    TRUSTEE_TYPE TrusteeType;
    LPSTR ptstrName; /* the SID, by its form */
};
static_assert(sizeof(TRUSTEE_A) == 32);
struct EXPLICIT_ACCESS_A {
    DWORD grfAccessPermissions;
    ACCESS_MODE grfAccessMode;
    DWORD grfInheritance; /* the flags of the entry */
    TRUSTEE_A Trustee;
};
static_assert(sizeof(EXPLICIT_ACCESS_A) == 48);

/* Frees what a call of this header handed out. Always returns null. */
WD_API HLOCAL LocalFree(HLOCAL memory);

/* Sets up an absolute descriptor of 40 bytes without a DACL, which means default security. */
WD_API BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision);
/* The list stays the caller's and must outlive the descriptor. `descriptor` must be absolute. */
WD_API BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL dacl, BOOL defaulted);
/* The list inside the descriptor. The last two outputs are written only when `present` becomes true. */
WD_API BOOL GetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL* present, PACL* dacl, BOOL* defaulted);
WD_API BOOL GetSecurityDescriptorSacl(PSECURITY_DESCRIPTOR descriptor, BOOL* present, PACL* sacl, BOOL* defaulted);

/* SDDL: O:, G:, D: and S:, entries of the types A and D in D:, ML in S:; any other type is
   RPC_S_INVALID_STRING_BINDING. Gives a self-relative descriptor, and its size unless `size` is null. */
inline constexpr DWORD SDDL_REVISION_1 = 1;
WD_API BOOL ConvertStringSecurityDescriptorToSecurityDescriptorA(LPCSTR text, DWORD revision,
                                                                 PSECURITY_DESCRIPTOR* descriptor, LPDWORD size);
WD_API BOOL ConvertStringSecurityDescriptorToSecurityDescriptorW(LPCWSTR text, DWORD revision,
                                                                 PSECURITY_DESCRIPTOR* descriptor, LPDWORD size);
/* The parts that `parts` selects; the length counts the terminator. */
WD_API BOOL ConvertSecurityDescriptorToStringSecurityDescriptorA(PSECURITY_DESCRIPTOR descriptor, DWORD revision,
                                                                 SECURITY_INFORMATION parts, LPSTR* text,
                                                                 LPDWORD length);
/* "S-1-...", or a two-letter alias of SDDL; those of a domain's or the machine's own accounts are unknown here. */
WD_API BOOL ConvertStringSidToSidA(LPCSTR text, PSID* sid);

/* Replaces the parts that `parts` selects and keeps the others; a null DACL gives everybody access. One call is one
   change, but when two processes change an object at the same time, one may undo the other's part. */
WD_API DWORD SetSecurityInfo(HANDLE object, SE_OBJECT_TYPE type, SECURITY_INFORMATION parts, PSID owner, PSID group,
                             PACL dacl, PACL sacl);
WD_API DWORD SetNamedSecurityInfoA(LPSTR name, SE_OBJECT_TYPE type, SECURITY_INFORMATION parts, PSID owner, PSID group,
                                   PACL dacl, PACL sacl);
/* The outputs, all of which but the last may be null, point into `descriptor`. Default security shows as a list that
   contains its owner alone. */
WD_API DWORD GetNamedSecurityInfoA(LPCSTR name, SE_OBJECT_TYPE type, SECURITY_INFORMATION parts, PSID* owner,
                                   PSID* group, PACL* dacl, PACL* sacl, PSECURITY_DESCRIPTOR* descriptor);

/* A new list: `oldAcl` (null: empty) with the entries in their order, behind what it denies. Each replaces all that the
   old list says about its trustee, which is given by SID; SET_ACCESS is the only mode. Null on failure, and of no
   entries and no old list. */
WD_API DWORD SetEntriesInAclA(DWORD count, EXPLICIT_ACCESS_A* entries, PACL oldAcl, PACL* newAcl);

#endif
