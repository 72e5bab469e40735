// The service's side of an exchange, for tests: its memory and events, and a thread that answers as the test wants.
#pragma once

#include "TestObject.h"

#include <platform/win32.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <functional>
#include <mutex>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// The service's objects for one exchange; without memory (0 bytes) or events they are incomplete.
class ServiceObjects {
  public:
    explicit ServiceObjects(const std::string& name, DWORD bytes, bool withEvents = true) {
        const std::string prefixed = "Global\\" + name;
        if (withEvents) {
            m_request = made(makeEvent((prefixed + "_WdEvent").c_str(), false, false));
            m_reply = made(makeEvent((prefixed + "_WdEvent_ret").c_str(), false, false));
        }
        if (bytes > 0) {
            m_mapping = made(makeMapping((prefixed + "_WdMemory").c_str(), bytes));
            m_memory = made(viewOf<BYTE>(m_mapping));
        }
    }

    BYTE* memory() const { return m_memory.get(); }
    void request() const { SetEvent(m_request.get()); }
    void reply() const { SetEvent(m_reply.get()); }
    bool hears(DWORD milliseconds = INFINITE) const { return waitFor(m_request, milliseconds) == WAIT_OBJECT_0; }

  private:
    template <class Made>
    static Made made(Made object) {
        if (!object)
            throw std::runtime_error("the service's objects can't be made: " + std::to_string(GetLastError()));
        return object;
    }

    Handle m_request;
    Handle m_reply;
    Handle m_mapping;
    View<BYTE> m_memory;
};

class FakeService {
  public:
    // Called on the service's thread for each request, with its memory; returns whether to answer.
    using Hear = std::function<bool(BYTE* memory)>;

    FakeService(const std::string& name, DWORD bytes, Hear hear)
        : m_objects(name, bytes), m_thread([this, hear = std::move(hear)] {
              while (m_objects.hears() && !m_stopped)
                  if (hear(m_objects.memory()))
                      m_objects.reply();
          }) {}
    ~FakeService() {
        m_stopped = true;
        m_objects.request();
        m_thread.join();
    }
    FakeService(const FakeService&) = delete;
    FakeService& operator=(const FakeService&) = delete;

  private:
    ServiceObjects m_objects;
    std::atomic<bool> m_stopped{false};
    std::thread m_thread;
};

// One change notification.
struct Change {
    std::uint32_t protocol;
    std::uint32_t scan;

    bool operator==(const Change&) const = default;
    static Change in(const BYTE* memory) {
        Change change{};
        std::memcpy(&change, memory, sizeof change);
        return change;
    }
};

inline constexpr Change kHandlerChange{10003, 0}; // of the web handler

inline std::ostream& operator<<(std::ostream& out, const Change& change) {
    return out << '(' << change.protocol << ", " << change.scan << ')';
}

// A service that records the notifications it hears.
class ChangeListener {
  public:
    // `hear` is called before each answer, on the service's thread; without it every notification is answered.
    explicit ChangeListener(std::function<bool(const Change&)> hear = {})
        : m_hear(std::move(hear)), m_service("wdlt_config_change_evt", sizeof(Change),
                                             [this](BYTE* memory) { return note(Change::in(memory)); }) {}

    // What was heard since the last call.
    std::vector<Change> heard() {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_heard, {});
    }

  private:
    bool note(const Change& change) {
        {
            const std::lock_guard lock(m_mutex);
            m_heard.push_back(change);
        }
        return !m_hear || m_hear(change);
    }

    std::function<bool(const Change&)> m_hear;
    std::mutex m_mutex;
    std::vector<Change> m_heard;
    FakeService m_service; // last: its thread uses the other members
};
