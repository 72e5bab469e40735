#include "ExportGate.h"

CConfigControl* g_pConfigControl = nullptr;

namespace wdlt {

constinit ExportGate g_exportGate;

bool ExportGate::enterSlowly() {
    ULONGLONG nextTry = m_nextTry.load(std::memory_order_relaxed);
    const ULONGLONG now = GetTickCount64();
    if (m_attach == nullptr || now < nextTry ||
        !m_nextTry.compare_exchange_strong(nextTry, now + kPauseMs, std::memory_order_relaxed))
        return false;
    return open();
}

bool ExportGate::open() {
    std::uint32_t state = m_state.load(std::memory_order_acquire);
    const std::uint32_t own = GetCurrentProcessId();
    if (state == own || state == kOpen || !m_state.compare_exchange_strong(state, own, std::memory_order_acquire))
        return state == kOpen; // another thread is opening it, or has opened it
    const bool isAttached = m_attach();
    m_nextTry.store(GetTickCount64() + kPauseMs, std::memory_order_relaxed);
    m_state.store(isAttached ? kOpen : kShut, std::memory_order_release);
    return isAttached;
}

} // namespace wdlt
