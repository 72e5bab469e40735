// Locks and exchanges between processes on a system that keeps no takers of events: waits are plain, and nobody is found
// dead but by its process.
#include <platform/robust.h>

#include <map>
#include <mutex>

namespace {

// A tag is the process's number below 30 bits of the time of its start; the lowest bits are its role.
constexpr WD_TAG kRoleMask = 3;
constexpr WD_TAG kUnknownTaker = 8; // no role, and no process's

ULONGLONG startOf(HANDLE process) {
    FILETIME start{};
    FILETIME other{};
    return GetProcessTimes(process, &start, &other, &other, &other) == FALSE ? 0 : start.dwLowDateTime;
}

WD_TAG tagOf(DWORD process, ULONGLONG start) {
    return (WD_TAG{process} << 32) | (start & 0xFFFFFFFC);
}

std::mutex g_views; // of the next
std::map<HANDLE, void*>& views() {
    static std::map<HANDLE, void*> views;
    return views;
}

} // namespace

DWORD WdWaitForEvent(HANDLE event, DWORD role, DWORD milliseconds, WD_LOOK, void*) {
    return role == WD_ROLE_MEMBER ? WAIT_OBJECT_0 : WaitForSingleObject(event, milliseconds);
}

WD_TAG WdEventTaker(HANDLE) {
    return kUnknownTaker;
}

BOOL WdSignalAgain(HANDLE, WD_TAG) {
    return FALSE;
}

BOOL WdEndGroup(HANDLE event) {
    return SetEvent(event);
}

void WdBeginOwnHandles() {}
void WdEndOwnHandles() {}

WD_TAG WdOwnTag(DWORD role) {
    if (role == WD_ROLE_GROUP)
        return WD_GROUP_TAG;
    static const WD_TAG own = tagOf(GetCurrentProcessId(), startOf(GetCurrentProcess()));
    return own | role;
}

DWORD WdTagRole(WD_TAG tag) {
    return tag == WD_GROUP_TAG ? WD_ROLE_GROUP : static_cast<DWORD>(tag & kRoleMask);
}

BOOL WdTagIsAlive(WD_TAG tag) {
    const auto id = static_cast<DWORD>(tag >> 32);
    if (id == 0)
        return FALSE;
    HANDLE process = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE, FALSE, id);
    if (process == nullptr)
        return GetLastError() == ERROR_INVALID_PARAMETER ? FALSE : TRUE; // no such process, or one of another user
    const bool isSame = tagOf(id, startOf(process)) == (tag & ~kRoleMask);
    const bool hasEnded = WaitForSingleObject(process, 0) == WAIT_OBJECT_0;
    CloseHandle(process);
    return isSame && !hasEnded ? TRUE : FALSE;
}

BOOL WdObjectHasOthers(HANDLE) {
    return TRUE;
}

LPVOID WdMappingBytes(HANDLE mapping, std::size_t atLeast) {
    const std::lock_guard lock(g_views);
    if (const auto found = views().find(mapping); found != views().end())
        return found->second;
    void* const view = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, atLeast);
    if (view != nullptr)
        views().emplace(mapping, view);
    return view;
}

void WdForgetBytes(HANDLE mapping) {
    const std::lock_guard lock(g_views);
    const auto found = views().find(mapping);
    if (found == views().end())
        return;
    UnmapViewOfFile(found->second);
    views().erase(found);
}

ULONGLONG WdMappingMark(HANDLE) {
    return 0;
}

BOOL WdSetMappingMark(HANDLE, ULONGLONG) {
    return TRUE;
}
