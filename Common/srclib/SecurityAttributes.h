// Security of the objects that processes of different accounts share: attributes to create them with, and functions
// that widen the access to an existing object. Everything works on local objects or the caller's handle and takes no
// lock. When a change fails, the object keeps the access that it has; logging that is up to the caller.
#pragma once

#include <platform/atl.h>
#include <platform/win32.h>

#include <new>

// Grants everybody access, and lets child processes inherit the handle. Lives on the stack, for a call that creates an
// object.
class DefSecAttr : private SECURITY_ATTRIBUTES {
  public:
    DefSecAttr();
    virtual ~DefSecAttr();
    DefSecAttr(const DefSecAttr&) = delete;
    DefSecAttr& operator=(const DefSecAttr&) = delete;

    // To be passed to the creating call. Null when there was no memory for the descriptor: the object then gets default
    // security.
    SECURITY_ATTRIBUTES* m_pAttributes = nullptr;
};

// For an object that stays while others use it. With default security it would keep out all other accounts for as long
// as it exists, so when memory is exhausted the constructor throws and no object is created.
class SharedSecAttr : public DefSecAttr {
  public:
    SharedSecAttr() {
        if (m_pAttributes == nullptr) // NOLINT(clang-analyzer-optin.cplusplus.UninitializedObject): all are set
            throw std::bad_alloc();
    }
};

// Full access for authenticated users, and the low integrity label, so that a process of any level may write.
bool SetObjectPermissions(HANDLE handle);
// Only the label.
bool SetObjectToLowIntegrity(HANDLE handle);
// Adds full access for all application packages and for everybody to the DACL of a named object (logged when it fails).
bool SetOjectApplicationPremission(const char* name, SE_OBJECT_TYPE type);

namespace WdCommon::AccessControl {

inline constexpr DWORD kRegistryKeyKind = 4;

// Attributes with one access mask for each of seven accounts, by kind of object. Throws an Exception: with
// ERROR_NOT_SUPPORTED for a kind without masks, with the call's error when a call fails.
class SecurityAttributes : public ATL::CSecurityAttributes {
  public:
    SecurityAttributes(DWORD kind, BYTE inheritHandle);
    virtual ~SecurityAttributes() = default;

  private:
    void build();

    DWORD m_kind;
    BYTE m_inheritHandle;
};

} // namespace WdCommon::AccessControl
