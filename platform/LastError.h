// The calling thread's last error and the code that stands for an errno value. Used by every area of the layer; the
// state is thread-local, so no lock applies.
#pragma once

#include <platform/base.h>

namespace wd {

// The code that callers are told for a failed system call: 2, 5, 112 … and 1016 for what has no code of its own.
DWORD errorFromErrno(int error);

// Sets the last error when `error` isn't 0, and hands it back so that it fits in a `return`.
LONG failed(DWORD error);

} // namespace wd
