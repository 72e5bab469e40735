// The way in for every export: counts the calls inside, so that an unload waits for them, and turns callers away when
// the library isn't attached. One gate a process; a child of a fork inherits its parent's count.
#pragma once

#include <atomic>
#include <cstdint>

class CConfigControl;

extern CConfigControl* g_pConfigControl;

namespace wdlt {

class ExportGate {
  public:
    // Called once, after g_pConfigControl is set: its store is visible to every call that gets in.
    void open() { m_state.fetch_or(kOpen, std::memory_order_release); }

    // Turns new callers away and returns when the last one inside has left.
    void closeAndDrain();

    bool enter() {
        if ((m_state.fetch_add(1, std::memory_order_acquire) & kOpen) != 0)
            return true;
        leave();
        return false;
    }
    void leave() { m_state.fetch_sub(1, std::memory_order_release); }

  private:
    static constexpr std::uint32_t kOpen = 0x80000000u; // the other bits count the calls inside
    std::atomic<std::uint32_t> m_state{0};
};

extern constinit ExportGate g_exportGate;

// One call of an export: false when the library isn't attached.
class ExportCall {
  public:
    ExportCall() : m_inside(g_exportGate.enter()) {}
    ~ExportCall() {
        if (m_inside)
            g_exportGate.leave();
    }
    ExportCall(const ExportCall&) = delete;
    ExportCall& operator=(const ExportCall&) = delete;

    explicit operator bool() const { return m_inside; }
    CConfigControl* operator->() const { return g_pConfigControl; }

  private:
    bool m_inside;
};

} // namespace wdlt
