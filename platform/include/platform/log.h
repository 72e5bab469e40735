/* The lines of this process's log, for a program that shows them to its user: it gets them as they are logged, whether
   or not the log is on. */
#ifndef PLATFORM_LOG_H
#define PLATFORM_LOG_H

#include <platform/base.h>

/* Called on the thread that logs, perhaps with locks held: it may not call the library. `message` is a line without its
   date and its place in the sources. */
typedef void (*WdLogListener)(DWORD level, LPCWSTR message);
/* From now on `listener` gets the lines of these levels (a mask). One listener a process; null: nobody. */
WD_API void WdListenToLog(DWORD levels, WdLogListener listener);

/* For the log itself. `wanted` is told the levels that are listened to, now and whenever they change. */
typedef void (*WdLevelsWanted)(DWORD levels);
WD_API void WdOfferLog(WdLevelsWanted wanted);
WD_API void WdTellListener(DWORD level, LPCWSTR message);

#endif
