/* What locks and exchanges made of kernel objects need to survive the death of their partners: who took an event,
   whether that process still lives, and whether anybody else has an object. Private to this layer; on Windows the wait
   an event tells of the group alone that it has taken it: a group all of whose members are dead is found, a dead taker
   that is alone isn't. */
#ifndef PLATFORM_ROBUST_H
#define PLATFORM_ROBUST_H

#include <platform/sync.h>

/* A process of the home: no other process ever gets the same tag. 0 is nobody. */
using WD_TAG = ULONGLONG;

/* The role of an event's taker, part of its tag. */
inline constexpr DWORD WD_ROLE_NONE = 0;
inline constexpr DWORD WD_ROLE_ALONE = 1; /* one process: the tag names it */
inline constexpr DWORD WD_ROLE_GROUP = 2; /* several processes under one tag, which names none of them */
inline constexpr WD_TAG WD_GROUP_TAG = 9;

/* Deals with whatever has died; then the wait goes on. Called before a wait sleeps, and every 100 ms after. */
typedef void (*WD_LOOK)(void* context);

/* WaitForSingleObject on an auto-reset event; the step that takes the event stores this process's tag in it. In the
   group's role, an event that the group has already counts as taken once more. */
WD_API DWORD WdWaitForEvent(HANDLE event, DWORD role, DWORD milliseconds, WD_LOOK look, void* context);
/* The tag that took the event; 0 when it is signalled, or on failure. */
WD_API WD_TAG WdEventTaker(HANDLE event);
/* Signals the event if its taker is still `taker`. True when it did. */
WD_API BOOL WdSignalAgain(HANDLE event, WD_TAG taker);

/* Handles of named objects that the calling thread opens between these two calls, which nest, are of use to no other
   thread: the child of a fork that another thread makes doesn't have these objects, so they end with this process. On
   Windows this does nothing: no process has a copy of another's handles. */
WD_API void WdBeginOwnHandles();
WD_API void WdEndOwnHandles();

/* This process's tag with a role; 0 when it has none (GetLastError says why). */
WD_API WD_TAG WdOwnTag(DWORD role);
WD_API DWORD WdTagRole(WD_TAG tag);
/* Whether the process of a tag lives. A group's tag, and one that no process ever had, counts as dead. */
WD_API BOOL WdTagIsAlive(WD_TAG tag);

/* Whether another process has the object open, or this one through another handle. What can't be told counts as yes. */
WD_API BOOL WdObjectHasOthers(HANDLE object);

/* The bytes of a mapping without a view, for as long as the handle stays open; null (GetLastError) when they are fewer
   than `atLeast`. For a lock, which asks at each use. On Windows it is a view, kept until WdForgetBytes, which comes
   before the handle's close. */
WD_API LPVOID WdMappingBytes(HANDLE mapping, std::size_t atLeast);
WD_API void WdForgetBytes(HANDLE mapping);

/* A number beside the bytes of a mapping, shared by all who have it open, and gone with it; 0 in a new mapping, and on
   failure. A plain store and load: its users have a lock of their own. */
WD_API ULONGLONG WdMappingMark(HANDLE mapping);
WD_API BOOL WdSetMappingMark(HANDLE mapping, ULONGLONG mark);

#endif
