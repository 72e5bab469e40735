#include "SyncSender.h"

#include "ObjectName.h"
#include "WdCommon/DebugLog.h"

#include <platform/robust.h>

#include <algorithm>

namespace wdlt {
namespace {

struct Waiting {
    HANDLE reply;
    bool isServiceGone;
};

// Ends the wait when nobody else has the event open: the service is gone.
void lookForService(void* context) {
    auto& waiting = *static_cast<Waiting*>(context);
    if (WdObjectHasOthers(waiting.reply) != FALSE)
        return;
    waiting.isServiceGone = WaitForSingleObject(waiting.reply, 0) != WAIT_OBJECT_0; // else it answered first
    SetEvent(waiting.reply);
}

} // namespace

Reply awaitReply(HANDLE reply, DWORD milliseconds) {
    Waiting waiting{reply, false};
    if (WdWaitForEvent(reply, WD_ROLE_NONE, milliseconds, lookForService, &waiting) == WAIT_TIMEOUT)
        return Reply::TimedOut;
    return waiting.isServiceGone ? Reply::ServiceGone : Reply::Came;
}

DWORD restOfReplyWait(ULONGLONG start) {
    return kReplyWaitMs - static_cast<DWORD>(std::min<ULONGLONG>(GetTickCount64() - start, kReplyWaitMs));
}

} // namespace wdlt

CSyncSender::~CSyncSender() {
    for (HANDLE event : {eventHandle, retEventHandle, markHandle})
        if (event != nullptr)
            CloseHandle(event);
    CloseMemory();
}

void CSyncSender::SetName(const char* baseName) {
    name = baseName;
    eventName = GlobalObjectName(baseName) + "_WdEvent";
    retEventName = GlobalObjectName(baseName) + "_WdEvent_ret";
    memoryName = name + "_WdMemory"; // CWdShareMemory adds the prefix itself
}

void* CSyncSender::OpenMemory(std::size_t bytes) {
    if (!memory.Open(memoryName.c_str())) {
        WDLOG_TRACE("Failed to open shared memory");
        return nullptr;
    }
    void* address = nullptr;
    if (!memory.Map(&address, false, bytes)) {
        WDLOG_ERROR("Failed to lock shared memory");
        return nullptr;
    }
    if (markHandle == nullptr)
        markHandle = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, GlobalObjectName(memoryName.c_str()).c_str());
    return address;
}

void CSyncSender::CloseMemory() {
    memory.Close();
}

bool CSyncSender::openEvent(HANDLE& event, const std::string& eventName) {
    if (event == nullptr)
        event = OpenEventA(EVENT_ALL_ACCESS, FALSE, eventName.c_str());
    if (event == nullptr)
        WDLOG_ERROR("Failed to open event %s: %lu", eventName.c_str(), static_cast<unsigned long>(GetLastError()));
    return event != nullptr;
}

bool CSyncSender::openEvents() {
    return openEvent(eventHandle, eventName) && openEvent(retEventHandle, retEventName);
}

bool CSyncSender::Send(bool pauseAfter, wdlt::ExchangeMarks marks, DWORD milliseconds) {
    isOwnReply = false;
    if (!openEvents())
        return false;
    // Reset before the request goes out: a late reply to the previous exchange must not answer this one.
    ResetEvent(retEventHandle);
    // Without its mark nobody could recognize a reply that comes after this asker's death.
    if (marks.asked != 0 && !SetMark(marks.asked)) {
        WDLOG_ERROR("Failed to mark the request: %lu", static_cast<unsigned long>(GetLastError()));
        return false;
    }
    SetEvent(eventHandle);
    WDLOG_ENTRY("***Waiting response...");
    isOwnReply = marks.answered == 0 || isHeardUnanswered();
    const bool answered = wdlt::awaitReply(retEventHandle, milliseconds) == wdlt::Reply::Came;
    if (marks.asked != 0 && answered)
        SetMark(isOwnReply ? 0 : marks.answered);
    if (answered)
        WDLOG_ENTRY("***Waiting was successful...");
    else
        WDLOG_ENTRY("***Waiting has timeout...");
    if (pauseAfter)
        Sleep(wdlt::kAfterSendPauseMs);
    return answered;
}

// Called right after a request, when somebody else's question may still be pending. A service answers the request in
// hand before it takes the next: if this one is taken and there is no reply yet, nothing else was pending. Once both
// are there it can't be told whose reply it is; so the first look is a short spin.
bool CSyncSender::isHeardUnanswered() const {
    const ULONGLONG start = GetTickCount64();
    for (;;) {
        const bool isHeard = WdEventTaker(eventHandle) != 0;
        const bool isAnswered = WdEventTaker(retEventHandle) == 0;
        const ULONGLONG waited = GetTickCount64() - start;
        if (isHeard || isAnswered || waited > wdlt::kAfterSendPauseMs)
            return isHeard && !isAnswered;
        if (waited > 2)
            Sleep(1);
    }
}

ULONGLONG CSyncSender::Mark() const {
    return markHandle == nullptr ? 1 : WdMappingMark(markHandle);
}

bool CSyncSender::SetMark(ULONGLONG mark) const {
    return WdSetMappingMark(markHandle, mark) != FALSE;
}

wdlt::Reply CSyncSender::AwaitLeft(DWORD milliseconds) {
    return openEvents() ? wdlt::awaitReply(retEventHandle, milliseconds) : wdlt::Reply::ServiceGone;
}

ULONGLONG CSyncSender::StillLeft(ULONGLONG left) {
    if (left == 0 || !openEvents())
        return left;
    for (HANDLE event : {eventHandle, retEventHandle})
        if (left != 0 && WaitForSingleObject(event, 0) == WAIT_OBJECT_0)
            --left;
    return std::min<ULONGLONG>(left, 1);
}
