// The service's side of the DRS signal, for tests: its two events, named after the machine, and a thread that answers
// as the test wants.
#pragma once

#include "MachineKey.h"
#include "TestObject.h"

#include <atomic>
#include <functional>
#include <string>
#include <thread>

inline std::string drsEventName(const char* suffix) {
    return "Global\\" + GetMachineKeyText() + suffix;
}

class DrsEvents {
  public:
    Handle request = makeEvent(drsEventName("814B").c_str(), false, false);
    Handle reply = makeEvent(drsEventName("A9FF").c_str(), false, false);
};

class DrsService {
  public:
    // `hear` is called before each answer, on the service's thread.
    explicit DrsService(std::function<void()> hear = {}) : m_hear(std::move(hear)) {}
    ~DrsService() {
        m_isStopped = true;
        SetEvent(m_events.request.get());
        m_thread.join();
    }
    DrsService(const DrsService&) = delete;
    DrsService& operator=(const DrsService&) = delete;

    // Signals since the last call.
    int heard() { return m_heard.exchange(0); }

  private:
    void serve() {
        for (;;) {
            WaitForSingleObject(m_events.request.get(), INFINITE);
            if (m_isStopped)
                return;
            ++m_heard;
            if (m_hear)
                m_hear();
            SetEvent(m_events.reply.get());
        }
    }

    std::function<void()> m_hear;
    DrsEvents m_events;
    std::atomic<bool> m_isStopped{false};
    std::atomic<int> m_heard{0};
    std::thread m_thread{[this] { serve(); }}; // last: it uses the other members
};
