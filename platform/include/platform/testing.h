/* For tests of this project only. */
#ifndef PLATFORM_TESTING_H
#define PLATFORM_TESTING_H

#include <platform/base.h>

/* Takes the home and the other WARDLET_ variables from the environment again. No other thread may be inside the layer,
   and keys opened before belong to the old home still. */
WD_API void WdTestRereadEnvironment();

/* Makes a system call of the layer fail: the `nth` call (1 is the next) of the one named `call` gives -1 with `error`
   in errno; with error 0 the process is ended by SIGKILL instead of making the call. 0 for `nth` takes it back. False
   when no call has that name. */
WD_API BOOL WdTestFailCall(const char* call, int nth, int error);

#endif
