// Every export enters the library through this gate. It is shut while the library isn't attached. Since a loader that
// can't refuse a library goes on after a failed attach, a later call retries it: what stopped it (no memory, a full
// disk, too many processes) may have passed. Calls in progress aren't counted: the library is never unmapped, and
// nothing that an export uses is destroyed. A thread is shielded inside, since one that is cancelled or killed by SIGBUS
// would leave locks behind that all processes share. Handles opened inside are marked as the thread's own, so that a
// child forked by another thread doesn't keep their objects alive.
#pragma once

#include <platform/robust.h>
#include <platform/shield.h>
#include <platform/win32.h>

#include <atomic>
#include <cstdint>

class CConfigControl;

extern CConfigControl* g_pConfigControl; // set before the gate opens, never changed again

namespace wdlt {

class ExportGate {
  public:
    using Attach = bool (*)();

    // What opens the gate when it succeeds: at open(), or at a later call.
    void set(Attach attach) { m_attach = attach; }
    bool open(); // a call while another thread is opening it waits for that
    bool enter() { return m_state.load(std::memory_order_acquire) == kOpen || open(); }

  private:
    static constexpr ULONGLONG kPauseMs = 1000; // between two attempts
    static constexpr std::uint32_t kShut = 0;
    static constexpr std::uint32_t kOpen = 0xFFFFFFFFu;

    // kShut, kOpen, or the id of the process that is opening the gate. In a forked child that may be the parent's: its
    // opening thread doesn't exist here, so the child starts anew.
    std::atomic<std::uint32_t> m_state{kShut};
    std::atomic<ULONGLONG> m_nextTry{0};
    Attach m_attach = nullptr; // set by the loader's thread, before any call
};

extern constinit ExportGate g_exportGate;

// One call of an export: false when the library isn't attached.
class ExportCall {
  public:
    ExportCall() : m_inside(g_exportGate.enter()) { WdBeginOwnHandles(); }
    // A thread with asynchronous cancellation ends here if it was cancelled inside.
    ~ExportCall() noexcept(false) {
        WdEndOwnHandles();
        WdUnshieldThread(m_shield);
    }
    ExportCall(const ExportCall&) = delete;
    ExportCall& operator=(const ExportCall&) = delete;

    explicit operator bool() const { return m_inside; }

  private:
    const int m_shield = WdShieldThread();
    const bool m_inside;
};

} // namespace wdlt
