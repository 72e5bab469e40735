#include "ExportGate.h"

CConfigControl* g_pConfigControl = nullptr;

namespace wdlt {

constinit ExportGate g_exportGate;

bool ExportGate::open() {
    if (m_attach == nullptr)
        return false;
    const std::uint32_t own = GetCurrentProcessId();
    std::uint32_t state = m_state.load(std::memory_order_acquire);
    for (;;) {
        if (state == kOpen)
            return true;
        if (state == own) { // another thread is opening it, which ends one way or the other
            Sleep(1);
            state = m_state.load(std::memory_order_acquire);
            continue;
        }
        if (GetTickCount64() < m_nextTry.load(std::memory_order_relaxed))
            return false;
        if (m_state.compare_exchange_strong(state, own, std::memory_order_acquire))
            break;
    }
    const bool isAttached = m_attach();
    if (!isAttached)
        m_nextTry.store(GetTickCount64() + kPauseMs, std::memory_order_relaxed);
    m_state.store(isAttached ? kOpen : kShut, std::memory_order_release);
    return isAttached;
}

} // namespace wdlt
