// The security of kernel objects: the descriptor that an object stores as text, and the part of it that the Linux
// kernel enforces, which is whether everybody is let in or the creator alone.
#pragma once

#include <platform/base.h>

#include <cstddef>
#include <string>

namespace wd {

struct ObjectSecurity {
    static constexpr std::size_t kTextLimit = 2048; // the longest text that an object can store, in bytes

    std::string sddl;       // empty: default security
    bool everybody = false; // mode 0666; else the creator's alone
};

// The security of an object to be created. Null attributes or a null descriptor mean default security. ERROR_SUCCESS,
// the error of readDescriptor, ERROR_INSUFFICIENT_BUFFER when the text is too long to store, or
// ERROR_NOT_ENOUGH_MEMORY.
DWORD securityOf(const SECURITY_ATTRIBUTES* attributes, ObjectSecurity& security);

} // namespace wd
