// One exchange with the running service: a record in memory that the service made, an event that tells it so, and an
// event with which it answers. For one thread and one exchange; the objects are the service's.
#pragma once

#include "ShareMemory.h"

#include <cstddef>
#include <string>

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
    // Raises the request and waits for the reply, up to a minute. False without the events, and without a reply in
    // time. `pauseAfter`: the next exchange must not follow at once.
    bool Send(bool pauseAfter);

  private:
    static bool openEvent(HANDLE& event, const std::string& eventName);

    std::string name;
    std::string eventName;
    std::string retEventName;
    std::string memoryName;
    HANDLE eventHandle = nullptr;
    HANDLE retEventHandle = nullptr;
    CWdShareMemory memory;
};
