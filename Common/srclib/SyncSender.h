// One exchange with the running service: a record in memory that the service made, an event that tells it so, and an
// event with which it answers. For one thread and one exchange; the objects are the service's.
//
// An asker may die or give up before the answer comes. So that nobody takes that answer for his own, a mark beside the
// memory says what was left with the service; what it counts is the business of those who share the exchange, and who
// take turns by a mutex. It goes with the service's memory, whichever askers come and go.
#pragma once

#include "ShareMemory.h"
#include "Waits.h"

#include <cstddef>
#include <string>

namespace wdlt {

enum class Reply { Came, TimedOut, ServiceGone };

// Waits for the service's reply event. A service that dies takes its handle with it, which a look every 100 ms notices.
Reply awaitReply(HANDLE reply, DWORD milliseconds);

// What is left of the minute that began at this GetTickCount64.
DWORD restOfReplyWait(ULONGLONG start);

// What the mark is to say from the request on, and once it is answered. Without an answer it stays: the request may
// still reach a service, also one that has come since.
struct ExchangeMarks {
    ULONGLONG asked = 0; // 0: the mark isn't touched
    ULONGLONG answered = 0;
};

} // namespace wdlt

class CSyncSender {
  public:
    CSyncSender() = default;
    virtual ~CSyncSender();
    CSyncSender(const CSyncSender&) = delete;
    CSyncSender& operator=(const CSyncSender&) = delete;

    // Forms the names of the three objects; opens nothing.
    void SetName(const char* baseName);
    // The memory's address, of `bytes` bytes at least; null (logged) when no service is running.
    void* OpenMemory(std::size_t bytes);
    void CloseMemory();
    // Raises the request and waits for the reply, up to a minute. False without the events or the mark, without a reply
    // in time, and soon after the service has died. `pauseAfter`: the next exchange must not follow at once.
    bool Send(bool pauseAfter, wdlt::ExchangeMarks marks = {}, DWORD milliseconds = wdlt::kReplyWaitMs);
    // Whether the last reply is certainly that to the last request: nothing was left, or the service was seen to have
    // heard the request and answered nothing yet.
    bool IsOwnReply() const { return isOwnReply; }

    // The mark; 0 when nothing was left with the service. It can be had from OpenMemory on.
    ULONGLONG Mark() const;
    bool SetMark(ULONGLONG mark) const;
    // Waits for the answer to what was left with the service.
    wdlt::Reply AwaitLeft(DWORD milliseconds);
    // Of `left` questions that were left with the service those that may still be answered, as far as can be told: one
    // that it never heard is taken back, and one that it has answered meanwhile is over. No more than one, as a service
    // has no more in hand: two answers that nobody took look like one.
    ULONGLONG StillLeft(ULONGLONG left);

  private:
    static bool openEvent(HANDLE& event, const std::string& eventName);
    bool openEvents();
    bool isHeardUnanswered() const;

    std::string name;
    std::string eventName;
    std::string retEventName;
    std::string memoryName;
    HANDLE eventHandle = nullptr;
    HANDLE retEventHandle = nullptr;
    HANDLE markHandle = nullptr; // of the memory's mapping, which a sender may close before it sends
    bool isOwnReply = false;
    CWdShareMemory memory;
};
