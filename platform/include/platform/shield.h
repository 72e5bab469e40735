/* Shields the calling thread from what would end it in the middle of a call. Its cancellation is held off: it would
   leave locks between processes held by a thread that is gone. And SIGBUS is unblocked: a thread that blocks it is killed
   when somebody has truncated a mapped file, where the call could fail instead. Windows has neither. */
#ifndef PLATFORM_SHIELD_H
#define PLATFORM_SHIELD_H

#include <platform/base.h>

/* Returns what WdUnshieldThread must be given, on the same thread. Pairs nest. */
WD_API int WdShieldThread();
/* A cancellation that was requested meanwhile takes effect at the thread's next cancellation point, or here. */
WD_API void WdUnshieldThread(int shield);

#endif
