/* Holds off the cancellation of the calling thread while it is inside what must not be left half done: locks between
   processes would stay with a thread that is gone. Elsewhere there is no such cancellation, and nothing to hold. */
#ifndef PLATFORM_CANCELLATION_H
#define PLATFORM_CANCELLATION_H

#include <platform/base.h>

/* What WdRestoreCancellation is to be given, on the same thread. Pairs nest. */
WD_API int WdHoldCancellation();
/* A cancellation that came meanwhile takes effect at the thread's next cancellation point, or here. */
WD_API void WdRestoreCancellation(int held);

#endif
