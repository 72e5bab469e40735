#include "ExportGate.h"

#include <chrono>
#include <thread>

CConfigControl* g_pConfigControl = nullptr;

namespace wdlt {

constinit ExportGate g_exportGate;

void ExportGate::closeAndDrain() {
    // Looked at, not waited for: a leaver that woke us would still run code of ours while the loader unmaps it. The
    // last look's pause lets the last leaver return.
    constexpr std::chrono::milliseconds kLook{1};
    m_state.fetch_and(~kOpen, std::memory_order_acq_rel);
    while (m_state.load(std::memory_order_acquire) != 0)
        std::this_thread::sleep_for(kLook);
    std::this_thread::sleep_for(kLook);
}

} // namespace wdlt
