// One exchange with the running service: a record in shared memory, an event that signals it, and an event with which
// the service answers. The service creates all three. For one thread and one exchange.
//
// An asker may die or give up before the answer comes. So that nobody takes that answer for his own, a mark beside the
// memory says what is still pending with the service. What it counts is up to those who share the exchange, and who
// take turns by a mutex. It lives as long as the service's memory, whichever askers come and go.
#pragma once

#include "ShareMemory.h"
#include "Waits.h"

#include <cstddef>
#include <string>

namespace wdlt {

enum class Reply { Came, TimedOut, ServiceGone };

// Waits for the service's reply event. Checks every 100 ms whether the service still has the event open, or has died.
Reply awaitReply(HANDLE reply, DWORD milliseconds);

// Milliseconds left of the reply wait (a minute) that began at this GetTickCount64.
DWORD restOfReplyWait(ULONGLONG start);

// What the mark says from the request on, and once it is answered. Without an answer the first stays: the request may
// still reach a service, even one that starts later.
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
    // Maps the memory, at least `bytes` bytes of it; null (logged) when no service is running.
    void* OpenMemory(std::size_t bytes);
    void CloseMemory();
    // Signals the request and waits for the reply. False without the events or the mark, without a reply in time, and
    // soon after the service has died. `pauseAfter`: pauses before it returns, since the next exchange must not follow
    // at once.
    bool Send(bool pauseAfter, wdlt::ExchangeMarks marks = {}, DWORD milliseconds = wdlt::kReplyWaitMs);
    // Whether the last reply certainly belongs to the last request: nothing else was pending, or the service was seen
    // to have taken the request and not answered yet.
    bool IsOwnReply() const { return isOwnReply; }

    // The mark; 0 when nothing is pending with the service. Available once OpenMemory has succeeded.
    ULONGLONG Mark() const;
    bool SetMark(ULONGLONG mark) const;
    // Waits for the answer to what is still pending with the service.
    wdlt::Reply AwaitLeft(DWORD milliseconds);
    // How many of `left` pending questions may still be answered, as far as can be told: one that the service never
    // took is withdrawn, one that it has answered meanwhile is over. At most one, since a service has only one in hand;
    // two answers that nobody took look like one.
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
    HANDLE markHandle = nullptr; // another of the mapping: a sender may close the memory before it sends
    bool isOwnReply = false;
    CWdShareMemory memory;
};
