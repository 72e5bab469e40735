// Reads and changes the security of an existing kernel object, found by handle or by name (as the creating calls take
// it). Any thread.
#pragma once

#include "Security.h"

#include <functional>

namespace wd {

// 0; ERROR_INVALID_HANDLE: not the handle of a kernel object; ERROR_FILE_NOT_FOUND: nobody has an object of that name;
// ERROR_ACCESS_DENIED: no permission.
DWORD querySecurity(HANDLE object, ObjectSecurity& security);
DWORD querySecurity(const char* name, ObjectSecurity& security);
// Changes what there is to what the object then has, or returns an error.
using SecurityEdit = std::function<DWORD(ObjectSecurity&)>;
// Also the edit's error, and ERROR_ACCESS_DENIED when the kernel's permission would have to change and the object is
// another user's.
DWORD changeSecurity(HANDLE object, const SecurityEdit& edit);
DWORD changeSecurity(const char* name, const SecurityEdit& edit);

} // namespace wd
