// Security descriptors as the kernel objects carry them: the text that tells who may what, and what of it the kernel is
// asked to enforce, which is whether everybody is let in or the creator alone.
#pragma once

#include <platform/base.h>

#include <cstddef>
#include <string>

namespace wd {

struct ObjectSecurity {
    static constexpr std::size_t kTextLimit = 2048; // bytes that an object keeps of it

    std::string sddl;       // empty: default security
    bool everybody = false; // the mode is 0666, else the creator's alone
};

// Of an object to be made. Null attributes or a null descriptor are default security. 0, or the error of a descriptor
// that can't be read (8, 87, 1305, 1336, 1337, 1338), or that doesn't fit (122).
DWORD securityOf(const SECURITY_ATTRIBUTES* attributes, ObjectSecurity& security);

} // namespace wd
