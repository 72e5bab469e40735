// The security of an existing kernel object, for the routines that look at it and change it. By handle, or by name as
// the creating calls take it. Any thread.
#pragma once

#include "Security.h"

namespace wd {

// 0; 6: not a handle or not of a kernel object; 2: nobody has an object of that name; 5: no permission.
DWORD querySecurity(HANDLE object, ObjectSecurity& security);
DWORD querySecurity(const char* name, ObjectSecurity& security);
// Also 5 when the kernel's permission would have to change and the object is another user's.
DWORD changeSecurity(HANDLE object, const ObjectSecurity& security);
DWORD changeSecurity(const char* name, const ObjectSecurity& security);

} // namespace wd
