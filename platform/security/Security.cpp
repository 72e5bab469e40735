#include "Security.h"

#include "Descriptor.h"
#include "LastError.h"
#include "LocalMemory.h"
#include "Sddl.h"

#include <new>
#include <string>
#include <string_view>

namespace wd {

namespace {

// Runs the steps of a call, which return an error; a failure's becomes the last error.
template <class Steps>
BOOL succeeded(Steps&& steps) {
    try {
        return failed(steps()) == 0 ? TRUE : FALSE;
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return FALSE;
    }
}

// SDDL is ASCII: any other unit becomes '?', which SDDL doesn't have.
std::string narrowed(LPCWSTR text) {
    std::string result;
    for (; *text != 0; ++text)
        result += *text < 0x80 ? static_cast<char>(*text) : '?';
    return result;
}

DWORD convert(std::string_view text, DWORD revision, PSECURITY_DESCRIPTOR* result, LPDWORD size) {
    if (revision != SDDL_REVISION_1)
        return ERROR_UNKNOWN_REVISION;
    Descriptor descriptor;
    if (const DWORD error = parseSddl(text, descriptor))
        return error;
    const std::vector<BYTE> bytes = bytesOf(descriptor);
    *result = localCopy(bytes.data(), bytes.size()).release();
    if (size != nullptr)
        *size = static_cast<DWORD>(bytes.size());
    return ERROR_SUCCESS;
}

DWORD convertBack(PSECURITY_DESCRIPTOR from, DWORD revision, SECURITY_INFORMATION parts, LPSTR* result,
                  LPDWORD length) {
    if (revision != SDDL_REVISION_1)
        return ERROR_UNKNOWN_REVISION;
    if (result == nullptr)
        return ERROR_INVALID_PARAMETER;
    Descriptor descriptor;
    if (const DWORD error = readDescriptor(from, descriptor))
        return error;
    keepParts(descriptor, parts);
    const std::string text = writeSddl(descriptor);
    *result = static_cast<LPSTR>(localCopy(text.c_str(), text.size() + 1).release());
    if (length != nullptr)
        *length = static_cast<DWORD>(text.size() + 1);
    return ERROR_SUCCESS;
}

DWORD getList(const ListKind& kind, PSECURITY_DESCRIPTOR descriptor, BOOL* present, PACL* acl, BOOL* defaulted) {
    if (present == nullptr || acl == nullptr)
        return ERROR_INVALID_PARAMETER;
    WORD control = 0;
    const void* found = nullptr;
    if (const DWORD error = findList(kind, descriptor, control, found))
        return error;
    *present = (control & kind.present) != 0 ? TRUE : FALSE;
    if (*present == FALSE)
        return ERROR_SUCCESS;
    *acl = static_cast<PACL>(const_cast<void*>(found));
    if (defaulted != nullptr)
        *defaulted = (control & kind.defaulted) != 0 ? TRUE : FALSE;
    return ERROR_SUCCESS;
}

DWORD setDacl(SECURITY_DESCRIPTOR* descriptor, BOOL present, PACL dacl, BOOL defaulted) {
    if (descriptor == nullptr)
        return ERROR_INVALID_PARAMETER;
    if (descriptor->Revision != SECURITY_DESCRIPTOR_REVISION)
        return ERROR_UNKNOWN_REVISION;
    if ((descriptor->Control & SE_SELF_RELATIVE) != 0)
        return ERROR_INVALID_SECURITY_DESCR;
    DWORD control = descriptor->Control & ~DWORD{SE_DACL_PRESENT | SE_DACL_DEFAULTED};
    if (present != FALSE)
        control |= SE_DACL_PRESENT;
    if (present != FALSE && defaulted != FALSE)
        control |= SE_DACL_DEFAULTED;
    descriptor->Control = static_cast<WORD>(control);
    descriptor->Dacl = present != FALSE ? dacl : nullptr;
    return ERROR_SUCCESS;
}

} // namespace

DWORD securityOf(const SECURITY_ATTRIBUTES* attributes, ObjectSecurity& security) {
    security = {};
    if (attributes == nullptr || attributes->lpSecurityDescriptor == nullptr)
        return ERROR_SUCCESS;
    try {
        Descriptor descriptor;
        if (const DWORD error = readDescriptor(attributes->lpSecurityDescriptor, descriptor))
            return error;
        return objectSecurityOf(descriptor, security);
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

} // namespace wd

HLOCAL LocalFree(HLOCAL memory) {
    const wd::LocalMemory owned(memory);
    return nullptr;
}

BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision) {
    return wd::succeeded([&]() -> DWORD {
        if (descriptor == nullptr)
            return ERROR_INVALID_PARAMETER;
        if (revision != SECURITY_DESCRIPTOR_REVISION)
            return ERROR_UNKNOWN_REVISION;
        auto* const absolute = static_cast<SECURITY_DESCRIPTOR*>(descriptor);
        *absolute = {};
        absolute->Revision = static_cast<BYTE>(revision);
        return ERROR_SUCCESS;
    });
}

BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL dacl, BOOL defaulted) {
    return wd::succeeded(
        [&] { return wd::setDacl(static_cast<SECURITY_DESCRIPTOR*>(descriptor), present, dacl, defaulted); });
}

BOOL GetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL* present, PACL* dacl, BOOL* defaulted) {
    return wd::succeeded([&] { return wd::getList(wd::kDacl, descriptor, present, dacl, defaulted); });
}

BOOL GetSecurityDescriptorSacl(PSECURITY_DESCRIPTOR descriptor, BOOL* present, PACL* sacl, BOOL* defaulted) {
    return wd::succeeded([&] { return wd::getList(wd::kSacl, descriptor, present, sacl, defaulted); });
}

BOOL ConvertStringSecurityDescriptorToSecurityDescriptorA(LPCSTR text, DWORD revision, PSECURITY_DESCRIPTOR* descriptor,
                                                          LPDWORD size) {
    return wd::succeeded([&]() -> DWORD {
        if (text == nullptr || descriptor == nullptr)
            return ERROR_INVALID_PARAMETER;
        return wd::convert(text, revision, descriptor, size);
    });
}

BOOL ConvertStringSecurityDescriptorToSecurityDescriptorW(LPCWSTR text, DWORD revision,
                                                          PSECURITY_DESCRIPTOR* descriptor, LPDWORD size) {
    return wd::succeeded([&]() -> DWORD {
        if (text == nullptr || descriptor == nullptr)
            return ERROR_INVALID_PARAMETER;
        return wd::convert(wd::narrowed(text), revision, descriptor, size);
    });
}

BOOL ConvertSecurityDescriptorToStringSecurityDescriptorA(PSECURITY_DESCRIPTOR descriptor, DWORD revision,
                                                          SECURITY_INFORMATION parts, LPSTR* text, LPDWORD length) {
    return wd::succeeded([&] { return wd::convertBack(descriptor, revision, parts, text, length); });
}

BOOL ConvertStringSidToSidA(LPCSTR text, PSID* sid) {
    return wd::succeeded([&]() -> DWORD {
        if (text == nullptr || sid == nullptr)
            return ERROR_INVALID_PARAMETER;
        const auto parsed = wd::Sid::fromText(text);
        if (!parsed)
            return ERROR_INVALID_SID;
        std::vector<BYTE> bytes;
        parsed->appendTo(bytes);
        *sid = wd::localCopy(bytes.data(), bytes.size()).release();
        return ERROR_SUCCESS;
    });
}
