// Security of the objects that processes of different accounts share: attributes to create them with, and routines that
// widen the access of an object that is there. All of it works on local objects or the caller's handle and takes no
// lock. A failed change is the caller's to log; the object goes on with the access it has.
#pragma once

#include <platform/atl.h>
#include <platform/win32.h>

#include <new>

// Lets everybody in, and processes that are started inherit the handle. For a call that creates an object, on the
// stack.
class DefSecAttr : private SECURITY_ATTRIBUTES {
  public:
    DefSecAttr();
    virtual ~DefSecAttr();
    DefSecAttr(const DefSecAttr&) = delete;
    DefSecAttr& operator=(const DefSecAttr&) = delete;

    // What goes to the creating call. Null when there was no memory for the descriptor: the object then has default
    // security.
    SECURITY_ATTRIBUTES* m_pAttributes = nullptr;
};

// For an object that stays while others use it. Made with default security it would keep out all other accounts for as
// long as it is there, so without memory there is to be none.
class SharedSecAttr : public DefSecAttr {
  public:
    SharedSecAttr() {
        if (m_pAttributes == nullptr) // NOLINT(clang-analyzer-optin.cplusplus.UninitializedObject): all are set
            throw std::bad_alloc();
    }
};

// All access for authenticated users, and the low label, so that a process of any rank may write.
bool SetObjectPermissions(HANDLE handle);
// The label alone.
bool SetObjectToLowIntegrity(HANDLE handle);
// Adds full access for all application packages and for everybody to the DACL of a named object (logged when it fails).
bool SetOjectApplicationPremission(const char* name, SE_OBJECT_TYPE type);

namespace WdCommon::AccessControl {

inline constexpr DWORD kRegistryKeyKind = 4;

// Attributes with one mask for each of seven accounts, by kind of object. A kind without masks throws an Exception with
// the code 50, a failing call one with the call's code.
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
