// The way in for every export. It is shut while the library isn't attached: where no loader could refuse the load, an
// attach that failed is tried again by a later call, since what stopped it may have passed (no memory, a full disk, too
// many processes). Nobody is counted in or out: the library is never unmapped, and nothing that an export uses is taken
// down. A thread inside can't be cancelled, since locks that all processes share would stay with it; and what it opens
// there is its own, so that a child that another thread forks doesn't keep its presence up.
#pragma once

#include <platform/cancellation.h>
#include <platform/robust.h>
#include <platform/win32.h>

#include <atomic>
#include <cstdint>

class CConfigControl;

extern CConfigControl* g_pConfigControl; // set before the gate opens, for good

namespace wdlt {

class ExportGate {
  public:
    using Attach = bool (*)();

    // Opens when `attach` succeeds, now or at a later call.
    bool open(Attach attach) {
        m_attach = attach;
        return tryToOpen();
    }
    bool enter() { return m_state.load(std::memory_order_acquire) == kOpen || enterSlowly(); }

  private:
    bool enterSlowly();
    bool tryToOpen();

    static constexpr ULONGLONG kPauseMs = 1000; // between two tries
    static constexpr std::uint32_t kShut = 0;
    static constexpr std::uint32_t kOpen = 0xFFFFFFFFu;

    // Else the process that is about to open it: in the child of a fork another one, whose thread isn't there.
    std::atomic<std::uint32_t> m_state{kShut};
    std::atomic<ULONGLONG> m_nextTry{0};
    Attach m_attach = nullptr; // set by the loader's thread, before any call
};

extern constinit ExportGate g_exportGate;

// One call of an export: false when the library isn't attached.
class ExportCall {
  public:
    ExportCall() : m_inside(g_exportGate.enter()) { WdBeginOwnHandles(); }
    // A thread whose type is asynchronous ends here when it was cancelled inside.
    ~ExportCall() noexcept(false) {
        WdEndOwnHandles();
        WdRestoreCancellation(m_cancellation);
    }
    ExportCall(const ExportCall&) = delete;
    ExportCall& operator=(const ExportCall&) = delete;

    explicit operator bool() const { return m_inside; }

  private:
    const int m_cancellation = WdHoldCancellation();
    const bool m_inside;
};

} // namespace wdlt
