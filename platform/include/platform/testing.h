/* For tests of this project only. */
#ifndef PLATFORM_TESTING_H
#define PLATFORM_TESTING_H

#include <platform/base.h>

/* Reads the home and the other WARDLET_ variables from the environment again. No other thread may be inside the layer;
   keys opened before still belong to the old home. */
WD_API void WdTestRereadEnvironment();

/* Makes a system call of the layer fail: the `nth` call (1 is the next) of the one named `call` returns -1 with `error`
   in errno; with error 0 the process is killed by SIGKILL instead of making the call. 0 for `nth` undoes that. False
   when no call has that name. */
WD_API BOOL WdTestFailCall(const char* call, int nth, int error);

#endif
