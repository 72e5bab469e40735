/* What locks and exchanges built of kernel objects need to outlive their partners: who took an event, whether that
   process still lives, and whether anybody else has an object. Private to this layer; elsewhere the wait would be
   WaitForSingleObject and nobody would be found dead. */
#ifndef PLATFORM_ROBUST_H
#define PLATFORM_ROBUST_H

#include <platform/sync.h>

/* A process of the home, for good: no other process gets the same tag. 0 is nobody. */
using WD_TAG = ULONGLONG;

/* What the taker of an event is, part of its tag. */
inline constexpr DWORD WD_ROLE_NONE = 0;
inline constexpr DWORD WD_ROLE_ALONE = 1; /* one process: the tag names it */
inline constexpr DWORD WD_ROLE_GROUP = 2; /* several processes under one tag, which names none of them */
inline constexpr WD_TAG WD_GROUP_TAG = 9;

/* Looks after whatever may have died, then the wait goes on. Called before a wait sleeps, and every 100 ms after. */
typedef void (*WD_LOOK)(void* context);

/* WaitForSingleObject on an auto-reset event; the step that takes the event leaves the tag of this process in it. */
WD_API DWORD WdWaitForEvent(HANDLE event, DWORD role, DWORD milliseconds, WD_LOOK look, void* context);
/* The tag that took the event; 0 when it is signalled, or on failure. */
WD_API WD_TAG WdEventTaker(HANDLE event);
/* Signals the event if its taker is still `taker`. True when it did. */
WD_API BOOL WdSignalAgain(HANDLE event, WD_TAG taker);

/* Handles of named objects that the calling thread opens from the first call to the second, which may be nested, are of
   use to no other thread: a child that another thread forks meanwhile has no part in these objects, so that they end
   with this process. Elsewhere nothing: no process has a copy of another's handles. */
WD_API void WdBeginOwnHandles();
WD_API void WdEndOwnHandles();

/* The tag that this process leaves under a role; 0 when it has none (GetLastError says why). */
WD_API WD_TAG WdOwnTag(DWORD role);
WD_API DWORD WdTagRole(WD_TAG tag);
/* Whether the process of a tag lives. A group's tag, and one that no process ever had, is dead. */
WD_API BOOL WdTagIsAlive(WD_TAG tag);

/* Whether another process has the object open, or this one through another handle. What can't be told counts as yes. */
WD_API BOOL WdObjectHasOthers(HANDLE object);

/* A number beside the bytes of a mapping, one for all who have it open, and gone with it; 0 in a new mapping, and on
   failure. A plain store and load: whoever uses it has a lock of its own. */
WD_API ULONGLONG WdMappingMark(HANDLE mapping);
WD_API BOOL WdSetMappingMark(HANDLE mapping, ULONGLONG mark);

#endif
