#include <platform/log.h>

#include <atomic>

namespace {

constinit std::atomic<WdLogListener> g_listener{nullptr};
constinit std::atomic<DWORD> g_levels{0};
constinit std::atomic<WdLevelsWanted> g_wanted{nullptr};

} // namespace

void WdListenToLog(DWORD levels, WdLogListener listener) {
    g_listener.store(listener, std::memory_order_release);
    g_levels.store(listener == nullptr ? 0 : levels, std::memory_order_release);
    if (const WdLevelsWanted wanted = g_wanted.load(std::memory_order_acquire))
        wanted(g_levels.load(std::memory_order_acquire));
}

void WdOfferLog(WdLevelsWanted wanted) {
    g_wanted.store(wanted, std::memory_order_release);
    wanted(g_levels.load(std::memory_order_acquire));
}

void WdTellListener(DWORD level, LPCWSTR message) {
    const WdLogListener listener = g_listener.load(std::memory_order_acquire);
    if (listener != nullptr && (g_levels.load(std::memory_order_relaxed) & level) != 0)
        listener(level, message);
}
