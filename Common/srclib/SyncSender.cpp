#include "SyncSender.h"

#include "ObjectName.h"
#include "Waits.h"
#include "WdCommon/DebugLog.h"

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

bool CSyncSender::Send(bool pauseAfter) {
    if (!openEvent(eventHandle, eventName) || !openEvent(retEventHandle, retEventName))
        return false;
    // In this order: a reply that came too late for the exchange before must not answer this one.
    ResetEvent(retEventHandle);
    SetEvent(eventHandle);
    WDLOG_ENTRY("***Waiting response...");
    const bool answered = WaitForSingleObject(retEventHandle, wdlt::kReplyWaitMs) != WAIT_TIMEOUT;
    if (answered)
        WDLOG_ENTRY("***Waiting was successful...");
    else
        WDLOG_ENTRY("***Waiting has timeout...");
    if (pauseAfter)
        Sleep(wdlt::kAfterSendPauseMs);
    return answered;
}
