// Reads and changes the security of an existing kernel object, found by handle or by name (as the creating calls take
// it). Any thread.
#pragma once

#include "Security.h"

namespace wd {

// 0; ERROR_INVALID_HANDLE: not the handle of a kernel object; ERROR_FILE_NOT_FOUND: nobody has an object of that name;
// ERROR_ACCESS_DENIED: no permission.
DWORD querySecurity(HANDLE object, ObjectSecurity& security);
DWORD querySecurity(const char* name, ObjectSecurity& security);
// Also ERROR_ACCESS_DENIED when the kernel's permission would have to change and the object is another user's.
DWORD changeSecurity(HANDLE object, const ObjectSecurity& security);
DWORD changeSecurity(const char* name, const ObjectSecurity& security);

} // namespace wd
