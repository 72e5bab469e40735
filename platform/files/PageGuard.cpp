#include "PageGuard.h"

#include "SystemCalls.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <sys/mman.h>

namespace wd {

namespace {

// Read by the signal handler at any moment: the end is stored last, and cleared first.
struct Range {
    std::atomic<std::uintptr_t> begin{0}; // 0: unused
    std::atomic<std::uintptr_t> end{0};
    std::atomic<bool> lost{false};
};
constinit std::array<Range, 1024> ranges{};

// The state of PageFaults.
constinit thread_local std::atomic<bool> isCatching{false};
constinit thread_local std::atomic<bool> hasCaught{false};

constinit struct sigaction previous {};

std::uintptr_t number(const void* address) {
    return reinterpret_cast<std::uintptr_t>(address);
}

Range* rangeOf(std::uintptr_t address) {
    for (Range& range : ranges)
        if (address < range.end.load(std::memory_order_acquire) &&
            address >= range.begin.load(std::memory_order_relaxed))
            return &range;
    return nullptr;
}

// Does what the signal would have done without the guard.
void passOn(int signal, siginfo_t* info, void* context) {
    if ((previous.sa_flags & SA_SIGINFO) != 0) {
        previous.sa_sigaction(signal, info, context);
    } else if (previous.sa_handler == SIG_DFL || (previous.sa_handler == SIG_IGN && info->si_code > 0)) {
        ::signal(signal, SIG_DFL);
        ::raise(signal); // blocked until this handler returns
    } else if (previous.sa_handler != SIG_IGN) {
        previous.sa_handler(signal);
    }
}

void onBusError(int signal, siginfo_t* info, void* context) {
    Range* range = info->si_code > 0 ? rangeOf(number(info->si_addr)) : nullptr;
    if (range != nullptr || (info->si_code > 0 && isCatching)) {
        auto* page = reinterpret_cast<void*>(number(info->si_addr) / kPageBytes * kPageBytes);
        (range != nullptr ? range->lost : hasCaught).store(true, std::memory_order_relaxed);
        if (::mmap(page, kPageBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) == page)
            return;
    }
    passOn(signal, info, context);
}

void watch() {
    struct sigaction action {};
    action.sa_sigaction = onBusError;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGBUS, &action, &previous);
}

// Without waiting for another thread, which a fork could cut off.
void watchOnce() {
    static constinit std::atomic<bool> watched{false};
    if (!watched.exchange(true))
        watch();
}

} // namespace

PageFaults::PageFaults() {
    watchOnce();
    hasCaught = false;
    isCatching = true;
}

PageFaults::~PageFaults() {
    isCatching = false;
}

bool PageFaults::happened() const {
    return hasCaught;
}

const std::atomic<bool>* guardPages(void* address, std::size_t size) {
    watchOnce();
    for (Range& range : ranges) {
        std::uintptr_t unused = 0;
        if (!range.begin.compare_exchange_strong(unused, number(address), std::memory_order_relaxed))
            continue;
        range.lost.store(false, std::memory_order_relaxed);
        range.end.store(number(address) + size, std::memory_order_release);
        return &range.lost;
    }
    return nullptr;
}

void unguardPages(void* address) {
    if (Range* range = rangeOf(number(address))) {
        range->end.store(0, std::memory_order_release);
        range->begin.store(0, std::memory_order_release);
    }
}

bool pagesWereLost(const void* address) {
    const Range* range = rangeOf(number(address));
    return range != nullptr && range->lost.load(std::memory_order_relaxed);
}

} // namespace wd
