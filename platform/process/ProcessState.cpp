#include "ProcessState.h"

#include "SystemCalls.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#ifndef MADV_WIPEONFORK
#define MADV_WIPEONFORK 18
#endif

namespace wd {

namespace {

using StatePointer = std::atomic<const ProcessState*>;

// Holds the pointer when no page can be wiped on fork; a fork handler clears it then.
constinit StatePointer plainPointer{nullptr};
constinit std::atomic<StatePointer*> place{nullptr};

void wipePlainPointer() {
    plainPointer.store(nullptr, std::memory_order_relaxed);
}

// A fork handler alone would do for fork(), but a bare clone() runs no handlers.
StatePointer* makePlace() {
    void* page = sys::mmap(nullptr, kPageBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (page != MAP_FAILED) {
        if (sys::madvise(page, kPageBytes, MADV_WIPEONFORK) == 0)
            return ::new (page) StatePointer(nullptr);
        sys::munmap(page, kPageBytes);
    }
    ::pthread_atfork(nullptr, nullptr, wipePlainPointer);
    return &plainPointer;
}

StatePointer& statePlace() {
    StatePointer* known = place.load(std::memory_order_acquire);
    if (known != nullptr)
        return *known;
    StatePointer* made = makePlace();
    if (place.compare_exchange_strong(known, made, std::memory_order_acq_rel))
        return *made;
    if (made != &plainPointer)
        sys::munmap(made, kPageBytes);
    return *known;
}

std::uint64_t randomSeed() {
    std::uint64_t seed = 0;
    if (sys::getrandom(&seed, sizeof seed, 0) == static_cast<ssize_t>(sizeof seed))
        return seed;
    struct timespec now {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return (static_cast<std::uint64_t>(now.tv_sec) << 30 ^ static_cast<std::uint64_t>(now.tv_nsec)) +
           (static_cast<std::uint64_t>(::getpid()) << 40);
}

const ProcessState* makeState(StatePointer& pointer) {
    auto made = std::make_unique<const ProcessState>(ProcessState{randomSeed()});
    const ProcessState* expected = nullptr;
    if (pointer.compare_exchange_strong(expected, made.get(), std::memory_order_acq_rel))
        return made.release();
    return expected;
}

} // namespace

const ProcessState* processState() {
    StatePointer& pointer = statePlace();
    // In a child the page is zero, which reads as a null pointer.
    if (const ProcessState* state = pointer.load(std::memory_order_acquire))
        return state;
    return makeState(pointer);
}

bool isOwnProcess(const ProcessState* state) {
    const StatePointer* pointer = place.load(std::memory_order_acquire);
    return pointer != nullptr && pointer->load(std::memory_order_acquire) == state;
}

} // namespace wd
