#include "SyncSender.h"

#include "ObjectName.h"
#include "Waits.h"
#include "WdCommon/DebugLog.h"

#include <platform/robust.h>

namespace wdlt {
namespace {

struct Waiting {
    HANDLE reply;
    bool isServiceGone;
};

// Ends the wait of an asker who is alone with the event.
void lookForService(void* context) {
    auto& waiting = *static_cast<Waiting*>(context);
    if (WdObjectHasOthers(waiting.reply) != FALSE)
        return;
    waiting.isServiceGone = WaitForSingleObject(waiting.reply, 0) != WAIT_OBJECT_0; // else it answered, then went
    SetEvent(waiting.reply);
}

} // namespace

Reply awaitReply(HANDLE reply, DWORD milliseconds) {
    Waiting waiting{reply, false};
    if (WdWaitForEvent(reply, WD_ROLE_NONE, milliseconds, lookForService, &waiting) == WAIT_TIMEOUT)
        return Reply::TimedOut;
    return waiting.isServiceGone ? Reply::ServiceGone : Reply::Came;
}

} // namespace wdlt

CSyncSender::~CSyncSender() {
    for (HANDLE event : {eventHandle, retEventHandle})
        if (event != nullptr)
            CloseHandle(event);
    CloseMemory();
}

void CSyncSender::SetName(const char* baseName) {
    name = baseName;
    eventName = GlobalObjectName(baseName) + "_WdEvent";
    retEventName = GlobalObjectName(baseName) + "_WdEvent_ret";
    memoryName = name + "_WdMemory"; // the memory puts the prefix before it itself
    markName = GlobalObjectName(memoryName.c_str());
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

bool CSyncSender::Send(bool pauseAfter, wdlt::ExchangeMarks marks) {
    if (!openEvents())
        return false;
    // In this order: a reply that came too late for the exchange before must not answer this one.
    ResetEvent(retEventHandle);
    if (marks.asked != 0)
        SetMark(marks.asked);
    SetEvent(eventHandle);
    WDLOG_ENTRY("***Waiting response...");
    const wdlt::Reply reply = wdlt::awaitReply(retEventHandle, wdlt::kReplyWaitMs);
    if (marks.asked != 0 && reply != wdlt::Reply::TimedOut)
        SetMark(marks.answered);
    const bool answered = reply == wdlt::Reply::Came;
    if (answered)
        WDLOG_ENTRY("***Waiting was successful...");
    else
        WDLOG_ENTRY("***Waiting has timeout...");
    if (pauseAfter)
        Sleep(wdlt::kAfterSendPauseMs);
    return answered;
}

// By its name each time: a sender may have closed the memory, in which others look whether a service runs.
template <class Use>
void CSyncSender::useMark(Use&& use) const {
    HANDLE mapping = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, markName.c_str());
    if (mapping == nullptr)
        return;
    use(mapping);
    CloseHandle(mapping);
}

ULONGLONG CSyncSender::Mark() const {
    ULONGLONG mark = 0;
    useMark([&](HANDLE mapping) { mark = WdMappingMark(mapping); });
    return mark;
}

void CSyncSender::SetMark(ULONGLONG mark) const {
    useMark([&](HANDLE mapping) { WdSetMappingMark(mapping, mark); });
}

void CSyncSender::AwaitLeft(DWORD milliseconds) {
    if (openEvents())
        wdlt::awaitReply(retEventHandle, milliseconds);
}

ULONGLONG CSyncSender::StillLeft(ULONGLONG left) {
    if (left == 0 || !openEvents())
        return left;
    for (HANDLE event : {eventHandle, retEventHandle})
        if (left != 0 && WaitForSingleObject(event, 0) == WAIT_OBJECT_0)
            --left;
    return left;
}
