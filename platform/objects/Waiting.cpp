#include "Waiting.h"

#include "Home.h"
#include "LastError.h"
#include "SystemCalls.h"
#include "ThreadEnd.h"

#include <platform/steps.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <climits>
#include <ctime>

namespace wd {

namespace {

constexpr std::uint64_t kLookNanoseconds = 100'000'000;
constexpr std::uint64_t kNever = ~std::uint64_t{0};
constexpr std::uint64_t kSecond = 1'000'000'000;

static_assert(std::endian::native == std::endian::little, "sleepers wait on a word's lower half, which comes first");

std::uint64_t now() {
    struct timespec time {};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<std::uint64_t>(time.tv_sec) * kSecond + static_cast<std::uint64_t>(time.tv_nsec);
}

void wake(SharedWord& word, int sleepers) {
    sys::futex_wake(&word, sleepers);
}

// False only for a failure that every other sleep would meet too.
bool sleepOn(SharedWord& word, std::uint64_t seen, std::uint64_t until) {
    const struct timespec time { static_cast<time_t>(until / kSecond), static_cast<long>(until % kSecond) };
    return sys::futex_wait(&word, static_cast<std::uint32_t>(seen & 0xFFFFFFFF), &time) == 0 || errno == EAGAIN ||
           errno == EINTR || errno == ETIMEDOUT;
}

void letGo(KernelObject& mutex, std::uint64_t freed);

// The mutexes that the calling thread holds, the newest first.
constinit thread_local KernelObject* heldMutexes = nullptr;

void forgetHeld(const KernelObject& mutex) {
    for (KernelObject** held = &heldMutexes; *held != nullptr; held = &(*held)->nextHeld)
        if (*held == &mutex) {
            *held = mutex.nextHeld;
            return;
        }
}

// Leaves the mutexes of a thread that ends abandoned. In a child of a fork that hasn't called in here yet, the list is
// still that of its parent, whose mutexes aren't the child's.
void abandonHeld() {
    if (!objectsAreOwn())
        return;
    while (heldMutexes != nullptr) {
        KernelObject& mutex = *heldMutexes;
        heldMutexes = mutex.nextHeld;
        if (mutex.ownerThread.load(std::memory_order_relaxed) == threadNumber())
            letGo(mutex, kAbandoned);
    }
}

__attribute__((constructor)) void watchThreadEnds() {
    setAtThreadEnd(AtThreadEnd::Mutexes, abandonHeld);
}

constexpr DWORD kNotTaken = WAIT_TIMEOUT;

// One attempt for each kind. `slept`: others may be asleep too, so the word must stay marked as contended.

DWORD tryMutex(KernelObject& mutex, bool slept) {
    const std::uint64_t thread = threadNumber();
    if (mutex.ownerThread.load(std::memory_order_relaxed) == thread) {
        ++mutex.depth;
        return WAIT_OBJECT_0;
    }
    std::uint64_t word = mutex.word().load(std::memory_order_relaxed);
    bool died = (word & kAbandoned) != 0;
    if ((word & kTaken) != 0) {
        if (!slept)
            return kNotTaken;
        // A waiter about to sleep checks whether the holder has died.
        if (mutex.isAlive(takerOf(word)))
            return kNotTaken;
        died = true;
    }
    const std::uint64_t taken = mutex.ownTag() | (slept ? kContended : word & kContended);
    if (!mutex.word().compare_exchange_strong(word, taken, std::memory_order_acquire, std::memory_order_relaxed))
        return kNotTaken;
    WD_STEP("mutex.taken");
    adoptMutex(mutex);
    return died ? WAIT_ABANDONED : WAIT_OBJECT_0;
}

DWORD tryEvent(KernelObject& event, bool slept, DWORD role) {
    std::uint64_t word = event.word().load(std::memory_order_acquire);
    if ((word & kTaken) != 0)
        return role == WD_ROLE_GROUP && takerOf(word) == kGroupTag ? WAIT_OBJECT_0 : kNotTaken;
    if (event.parameter() != 0) // manual reset
        return WAIT_OBJECT_0;
    const Tag tag = role == WD_ROLE_GROUP ? kGroupTag : withRole(event.ownTag(), role);
    const std::uint64_t taken = tag | (slept ? kContended : word & kContended);
    return event.word().compare_exchange_strong(word, taken, std::memory_order_acquire, std::memory_order_relaxed)
               ? WAIT_OBJECT_0
               : kNotTaken;
}

DWORD trySemaphore(KernelObject& semaphore, bool slept) {
    std::uint64_t word = semaphore.word().load(std::memory_order_relaxed);
    if (countOf(word) == 0)
        return kNotTaken;
    const std::uint32_t left = countOf(word) - 1;
    const bool contended = slept || (word & kContended) != 0;
    const std::uint64_t taken = std::uint64_t{left} << kGenerationShift | (contended ? kContended : 0);
    if (!semaphore.word().compare_exchange_strong(word, taken, std::memory_order_acquire, std::memory_order_relaxed))
        return kNotTaken;
    // Two releases may have woken only one sleeper: it passes the wake-up on.
    if (slept && left > 0)
        wake(semaphore.word(), 1);
    return WAIT_OBJECT_0;
}

DWORD tryTake(KernelObject& object, bool slept, DWORD role) {
    switch (object.kind()) {
    case ObjectKind::Mutex:
        return tryMutex(object, slept);
    case ObjectKind::Event:
        return tryEvent(object, slept, role);
    case ObjectKind::Semaphore:
        return trySemaphore(object, slept);
    case ObjectKind::Any:
    case ObjectKind::Mapping:
        break;
    }
    SetLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
}

bool isFree(const KernelObject& object, std::uint64_t word) {
    return object.kind() == ObjectKind::Semaphore ? countOf(word) != 0 : (word & kTaken) == 0;
}

// Sleeps until the word changes, at most until the next check. Marks the word first, so that whoever frees it wakes us.
bool sleepOnce(KernelObject& object, std::uint64_t deadline) {
    SharedWord& word = object.word();
    std::uint64_t seen = word.load(std::memory_order_relaxed);
    if (isFree(object, seen))
        return true;
    if ((seen & kContended) == 0) {
        if (!word.compare_exchange_strong(seen, seen | kContended, std::memory_order_relaxed))
            return true;
        seen |= kContended;
    }
    return sleepOn(word, seen, std::min(deadline, now() + kLookNanoseconds));
}

// Frees a word that holds `tag`, and no other: whoever took it over keeps it.
bool freeFrom(SharedWord& shared, Tag tag, std::uint64_t freed) {
    std::uint64_t word = shared.load(std::memory_order_relaxed);
    do {
        if (takerOf(word) != tag)
            return false;
    } while (!shared.compare_exchange_weak(word, freed, std::memory_order_release, std::memory_order_relaxed));
    if ((word & kContended) != 0)
        wake(shared, 1);
    return true;
}

void letGo(KernelObject& mutex, std::uint64_t freed) {
    mutex.depth = 0;
    mutex.ownerThread.store(0, std::memory_order_relaxed);
    freeFrom(mutex.word(), mutex.ownTag(), freed);
    mutex.dropReference();
}

} // namespace

std::uint64_t scaledNanoseconds(DWORD milliseconds) {
    if (milliseconds == 0)
        return 0;
    constexpr double kMillisecond = 1e6;
    const double scaled = std::max(1.0, static_cast<double>(milliseconds) * home().timeScale()) * kMillisecond;
    return scaled < 9e18 ? static_cast<std::uint64_t>(scaled) : std::uint64_t{9} * 1'000'000'000'000'000'000;
}

DWORD waitFor(KernelObject& object, const WaitOptions& options) {
    if (object.kind() == ObjectKind::Mutex && !watchThreadEnd()) {
        failed(ERROR_NOT_ENOUGH_MEMORY);
        return WAIT_FAILED;
    }
    DWORD result = tryTake(object, false, options.role);
    if (result != kNotTaken)
        return result;
    const std::uint64_t deadline =
        options.milliseconds == INFINITE ? kNever : now() + scaledNanoseconds(options.milliseconds);
    for (;;) {
        if (options.look != nullptr)
            options.look(options.context);
        result = tryTake(object, true, options.role);
        if (result != kNotTaken)
            return result;
        if (now() >= deadline)
            return WAIT_TIMEOUT;
        if (!sleepOnce(object, deadline)) {
            failed(systemError());
            return WAIT_FAILED;
        }
        object.noticeRemoval();
    }
}

void adoptMutex(KernelObject& mutex) {
    mutex.addReference(); // first: the child of a fork drops the reference of each mutex that it finds held
    mutex.depth = 1;
    mutex.ownerThread.store(threadNumber(), std::memory_order_release);
    mutex.nextHeld = heldMutexes;
    heldMutexes = &mutex;
}

void keepHeldInChild() {
    for (KernelObject** held = &heldMutexes; *held != nullptr;) {
        if ((*held)->isNamed())
            *held = (*held)->nextHeld;
        else
            held = &(*held)->nextHeld;
    }
}

bool releaseMutex(KernelObject& mutex) {
    if (mutex.ownerThread.load(std::memory_order_relaxed) != threadNumber())
        return failed(ERROR_NOT_OWNER) == 0;
    if (mutex.depth > 1) {
        --mutex.depth;
        return true;
    }
    releaseWholly(mutex);
    return true;
}

void releaseWholly(KernelObject& mutex) {
    if (mutex.ownerThread.load(std::memory_order_relaxed) != threadNumber())
        return;
    forgetHeld(mutex);
    letGo(mutex, 0);
}

void signalEvent(KernelObject& event) {
    const std::uint64_t before = event.word().exchange(0, std::memory_order_release);
    if ((before & kContended) != 0)
        wake(event.word(), event.parameter() != 0 ? INT_MAX : 1);
}

bool signalEventIf(KernelObject& event, Tag taker) {
    return taker != 0 && freeFrom(event.word(), taker, 0);
}

void resetEvent(KernelObject& event) {
    std::uint64_t word = event.word().load(std::memory_order_relaxed);
    while ((word & kTaken) == 0 && !event.word().compare_exchange_weak(word, kTaken, std::memory_order_relaxed))
        ;
}

bool releaseSemaphore(KernelObject& semaphore, std::uint32_t count, std::uint32_t& previous) {
    SharedWord& shared = semaphore.word();
    std::uint64_t word = shared.load(std::memory_order_relaxed);
    do {
        previous = countOf(word);
        if (previous > semaphore.parameter() || count > semaphore.parameter() - previous)
            return false;
    } while (!shared.compare_exchange_weak(word, std::uint64_t{previous + count} << kGenerationShift,
                                           std::memory_order_release, std::memory_order_relaxed));
    if ((word & kContended) != 0)
        wake(shared, static_cast<int>(std::min<std::uint32_t>(count, INT_MAX)));
    return true;
}

} // namespace wd
