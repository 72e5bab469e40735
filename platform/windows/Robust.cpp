// Locks and exchanges between processes on a system that keeps no takers of events. For an event that a group takes, a
// word in shared memory beside it says whether the group has it: set right after the wait, cleared before the signal. A
// process that ends between the two steps of either leaves the event taken.
#include <platform/robust.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <winternl.h>

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

std::mutex g_views; // of the next two
std::map<HANDLE, void*>& views() {
    static std::map<HANDLE, void*> views;
    return views;
}
using GroupWord = std::atomic<std::uint32_t>;
constexpr std::uint32_t kGroupHasIt = 1;
std::map<WideString, GroupWord*>& groupWords() { // by the names of their memory, which stays mapped
    static std::map<WideString, GroupWord*> words;
    return words;
}

// The name of the memory beside a named event; empty for an event without a name.
WideString groupNameOf(HANDLE event) {
    constexpr ULONG kRoom = 1024;
    alignas(UNICODE_STRING) std::byte room[kRoom];
    ULONG size = 0;
    constexpr auto kNameInformation = static_cast<OBJECT_INFORMATION_CLASS>(1);
    if (NtQueryObject(event, kNameInformation, room, kRoom, &size) != 0)
        return {};
    const auto& name = *reinterpret_cast<const UNICODE_STRING*>(room);
    const WideStringView whole(name.Buffer, name.Length / sizeof(WCHAR));
    if (whole.empty())
        return {};
    const WideString scope = whole.starts_with(WTEXT("\\BaseNamedObjects\\")) ? WTEXT("Global\\") : WTEXT("Local\\");
    return scope + WideString(whole.substr(whole.rfind(WTEXT('\\')) + 1)) + WTEXT("_GROUP");
}

// For everybody, as the events of these locks are. Its handle stays open: the name would end with the last one.
void* mapForAll(const WideString& name, DWORD bytes) {
    SECURITY_DESCRIPTOR descriptor{};
    InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&descriptor, TRUE, nullptr, FALSE);
    SECURITY_ATTRIBUTES attributes{sizeof attributes, &descriptor, FALSE};
    HANDLE mapping = CreateFileMappingW(INVALID_HANDLE_VALUE, &attributes, PAGE_READWRITE, 0, bytes, name.c_str());
    if (mapping == nullptr)
        return nullptr;
    return MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, bytes);
}

// Null when there is none: then the group is never seen to have the event.
GroupWord* groupWordOf(HANDLE event) {
    const WideString name = groupNameOf(event);
    if (name.empty())
        return nullptr;
    const std::lock_guard lock(g_views);
    GroupWord*& word = groupWords()[name];
    if (word == nullptr)
        word = static_cast<GroupWord*>(mapForAll(name, sizeof(GroupWord)));
    return word;
}

bool groupHas(HANDLE event) {
    const GroupWord* const word = groupWordOf(event);
    return word != nullptr && word->load() == kGroupHasIt;
}

} // namespace

DWORD WdWaitForEvent(HANDLE event, DWORD role, DWORD milliseconds, WD_LOOK look, void* context) {
    constexpr DWORD kLookMs = 100;
    const ULONGLONG start = GetTickCount64();
    GroupWord* const word = role == WD_ROLE_GROUP ? groupWordOf(event) : nullptr; // before the wait, to set it at once
    for (;;) {
        if (word != nullptr && word->load() == kGroupHasIt)
            return WAIT_OBJECT_0;
        const ULONGLONG waited = GetTickCount64() - start;
        const DWORD left = milliseconds == INFINITE
                               ? INFINITE
                               : static_cast<DWORD>(milliseconds - std::min<ULONGLONG>(waited, milliseconds));
        const DWORD result = WaitForSingleObject(event, std::min(left, kLookMs));
        if (result == WAIT_OBJECT_0 && word != nullptr)
            word->store(kGroupHasIt);
        if (result != WAIT_TIMEOUT || left <= kLookMs)
            return result;
        if (look != nullptr)
            look(context);
    }
}

WD_TAG WdEventTaker(HANDLE event) {
    return groupHas(event) ? WD_GROUP_TAG : kUnknownTaker;
}

BOOL WdSignalAgain(HANDLE event, WD_TAG taker) {
    GroupWord* const word = taker == WD_GROUP_TAG ? groupWordOf(event) : nullptr;
    std::uint32_t hasIt = kGroupHasIt;
    return word != nullptr && word->compare_exchange_strong(hasIt, 0) ? SetEvent(event) : FALSE;
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
