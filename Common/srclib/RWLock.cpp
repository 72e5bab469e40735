#include "RWLock.h"

#include "ObjectName.h"
#include "SecurityAttributes.h"
#include "Waits.h"
#include "WdCommon/DebugLog.h"

#include <platform/steps.h>

#include <atomic>
#include <string>

// The names in WD_STEP are those of the steps in the model of this lock (docs/model/rwlock.pml).

namespace {

constexpr DWORD kCountBytes = 4;
constexpr std::size_t kRows = 4096; // as many as a home can have processes

// Repeats `wait` until it doesn't time out: it never gives up, but warns each time.
template <class Wait>
DWORD waitWithWarning(Wait&& wait) {
    DWORD result = wait();
    while (result == WAIT_TIMEOUT) {
        WDLOG_ERROR("CAUTION: May be dead locked");
        result = wait();
    }
    if (result == WAIT_FAILED)
        WDLOG_ERROR("::WaitForSingleObject() failed (err=%d)", static_cast<int>(GetLastError()));
    return result;
}

DWORD WaitWithWarning(HANDLE handle, DWORD timeout) {
    return waitWithWarning([=] { return WaitForSingleObject(handle, timeout); });
}

} // namespace

// The thread-safety analysis sees each lock as a whole and doesn't know the objects that it is made of.

CWdRWLock::~CWdRWLock() = default;

bool CWdRWLock::LockRead() WD_NO_THREAD_SAFETY_ANALYSIS {
    WaitWithWarning(mutexHandle, INFINITE);
    if (readerCount++ == 0)
        WaitWithWarning(semaphoreHandle, wdlt::kLockSliceMs);
    ReleaseMutex(mutexHandle);
    return true;
}

void CWdRWLock::UnlockRead() WD_NO_THREAD_SAFETY_ANALYSIS {
    WaitWithWarning(mutexHandle, INFINITE);
    if (--readerCount == 0)
        ReleaseSemaphore(semaphoreHandle, 1, nullptr);
    ReleaseMutex(mutexHandle);
}

bool CWdRWLock::LockWrite() WD_NO_THREAD_SAFETY_ANALYSIS {
    return WaitWithWarning(semaphoreHandle, wdlt::kLockSliceMs) != WAIT_FAILED;
}

void CWdRWLock::UnlockWrite() WD_NO_THREAD_SAFETY_ANALYSIS {
    ReleaseSemaphore(semaphoreHandle, 1, nullptr);
}

// Written with the guard held, except by an owner that frees its row. Any process may open the memory, so a row may
// hold anything.
struct CWdRWLockEx::Row {
    std::atomic<WD_TAG> tag; // 0: free
    std::atomic<std::uint32_t> reads;
    std::uint32_t reserved;
};

// The guard held, with the addresses of what it guards. A holder that died may have left count and rows half changed, so
// whoever takes an abandoned guard recounts.
class CWdRWLockEx::Guarded {
  public:
    static Guarded wait(CWdRWLockEx& lock) { return {lock, WaitWithWarning(lock.rwMutex, INFINITE)}; }
    // `wait`: the result of the wait for the guard.
    Guarded(CWdRWLockEx& lock, DWORD wait) : Guarded(lock) {
        if (wait == WAIT_FAILED)
            return;
        m_isHeld = true;
        WD_STEP("guard");
        m_lock.m_count = m_lock.rwMemory.Bytes(kCountBytes);
        if (m_lock.m_count != nullptr)
            m_lock.m_rows = static_cast<Row*>(m_lock.m_holders.Bytes(kRows * sizeof(Row)));
        m_mapped = m_lock.m_rows != nullptr;
        if (!m_mapped)
            WDLOG_ERROR("Failed to lock memory");
        else if (wait == WAIT_ABANDONED)
            m_lock.recount();
    }
    ~Guarded() {
        if (!m_isHeld)
            return;
        m_lock.m_rows = nullptr;
        m_lock.m_count = nullptr;
        WD_STEP("guard.end");
        ReleaseMutex(m_lock.rwMutex);
    }
    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;

    bool isMapped() const { return m_mapped; }
    std::atomic<std::uint32_t>& count() const { return *static_cast<std::atomic<std::uint32_t>*>(m_lock.m_count); }
    void setReads(std::uint32_t reads) const {
        m_lock.m_reads = reads;
        m_lock.m_rows[m_lock.m_row].reads.store(reads, std::memory_order_relaxed);
    }

  private:
    // Delegated to, so that the destructor releases the guard if memory runs out meanwhile.
    explicit Guarded(CWdRWLockEx& lock) : m_lock(lock) {}

    CWdRWLockEx& m_lock;
    bool m_isHeld = false;
    bool m_mapped = false;
};

CWdRWLockEx::~CWdRWLockEx() {
    freeRow();
    if (rwMutex != nullptr)
        CloseHandle(rwMutex);
    if (rwEvent != nullptr)
        CloseHandle(rwEvent);
    rwMemory.Close();
    m_holders.Close();
}

bool CWdRWLockEx::Initialize(const char* name) {
    const std::string base = name;
    const SharedSecAttr security;
    rwMutex = CreateMutexA(security.m_pAttributes, FALSE, GlobalObjectName((base + "_RW_MUTEX").c_str()).c_str());
    if (rwMutex == nullptr) {
        WDLOG_ERROR("Failed to create mutex: %lu", static_cast<unsigned long>(GetLastError()));
        return false;
    }
    rwEvent = CreateEventA(security.m_pAttributes, FALSE, TRUE, GlobalObjectName((base + "_RW_EVENT").c_str()).c_str());
    if (rwEvent == nullptr) {
        WDLOG_ERROR("Failed to create event: %lu", static_cast<unsigned long>(GetLastError()));
        return false;
    }
    // New memory is zero before anyone else can open it. Zeroing it once more could wipe out those who joined
    // meanwhile.
    if (!rwMemory.Create((base + "_RW_MEMORY").c_str(), kCountBytes, false) ||
        !m_holders.Create((base + "_RW_HOLDERS").c_str(), kRows * sizeof(Row), false)) {
        WDLOG_ERROR("Failed to create shared memory: %lu", static_cast<unsigned long>(GetLastError()));
        return false;
    }
    return true;
}

// The row first, the count second, the token last: if this process dies in between, the next holder of the guard sees
// it in the rows. The wait for the token is over at once if the group has it; the count isn't asked, since a first
// reader that died may have left it above 0 without the token.
bool CWdRWLockEx::LockRead() WD_NO_THREAD_SAFETY_ANALYSIS {
    const Guarded guarded = Guarded::wait(*this);
    if (!guarded.isMapped() || !claimRow())
        return false;
    guarded.setReads(m_reads + 1);
    WD_STEP("enter.row");
    guarded.count().fetch_add(1, std::memory_order_relaxed);
    WD_STEP("enter.count");
    const auto look = [](void* self) { static_cast<CWdRWLockEx*>(self)->lookAfterDead(true); };
    const auto wait = [&] { return WdWaitForEvent(rwEvent, WD_ROLE_GROUP, wdlt::kLockSliceMs, look, this); };
    if (waitWithWarning(wait) == WAIT_FAILED) {
        guarded.setReads(m_reads - 1);
        recount();
        return false;
    }
    WD_STEP("enter.token");
    return true;
}

void CWdRWLockEx::UnlockRead() WD_NO_THREAD_SAFETY_ANALYSIS {
    const Guarded guarded = Guarded::wait(*this);
    // Not a holder, for instance the child of a fork: the count belongs to others.
    if (!guarded.isMapped() || m_reads == 0 || m_tag != WdOwnTag(WD_ROLE_ALONE))
        return;
    guarded.setReads(m_reads - 1);
    WD_STEP("leave.row");
    std::uint32_t count = guarded.count().load(std::memory_order_relaxed);
    if (count > 0)
        guarded.count().store(--count, std::memory_order_relaxed);
    WD_STEP("leave.count");
    if (count == 0)
        WdSignalAgain(rwEvent, WD_GROUP_TAG);
    WD_STEP("leave.token");
}

bool CWdRWLockEx::LockWrite() WD_NO_THREAD_SAFETY_ANALYSIS {
    const auto look = [](void* self) { static_cast<CWdRWLockEx*>(self)->lookAfterDead(false); };
    const DWORD result =
        waitWithWarning([&] { return WdWaitForEvent(rwEvent, WD_ROLE_ALONE, wdlt::kLockSliceMs, look, this); });
    WD_STEP("write.token");
    return result != WAIT_FAILED;
}

void CWdRWLockEx::UnlockWrite() WD_NO_THREAD_SAFETY_ANALYSIS {
    WD_STEP("write.end");
    SetEvent(rwEvent);
}

// Called from time to time while waiting for the token. Only a dead taker loses the token, and only if it still has it.
// `guarded`: the caller holds the guard, and is a reader whose own row keeps the group alive.
void CWdRWLockEx::lookAfterDead(bool guarded) {
    WD_STEP("look");
    const WD_TAG taker = WdEventTaker(rwEvent);
    if (taker == 0)
        return;
    if (WdTagRole(taker) != WD_ROLE_GROUP) {
        if (WdTagIsAlive(taker) == FALSE) {
            WD_STEP("look.writer");
            WdSignalAgain(rwEvent, taker);
        }
        return;
    }
    if (guarded)
        return;
    const DWORD wait = WaitForSingleObject(rwMutex, 0);
    if (wait != WAIT_OBJECT_0 && wait != WAIT_ABANDONED)
        return; // the guard's holder is alive
    const Guarded held(*this, wait);
    if (held.isMapped() && wait == WAIT_OBJECT_0)
        recount();
}

// Drops the rows of the dead, sets the count to the reads that are left, and frees the group's token when there are
// none. Needs the guard.
void CWdRWLockEx::recount() {
    const std::uint32_t reads = dropDeadRows();
    WD_STEP("recount.rows");
    static_cast<std::atomic<std::uint32_t>*>(m_count)->store(reads, std::memory_order_relaxed);
    WD_STEP("recount.count");
    if (reads == 0)
        WdSignalAgain(rwEvent, WD_GROUP_TAG);
    WD_STEP("recount.token");
}

// Returns the reads of the living. Needs the guard.
std::uint32_t CWdRWLockEx::dropDeadRows() {
    std::uint32_t reads = 0;
    for (std::size_t i = 0; i < kRows; ++i) {
        Row& row = m_rows[i];
        const WD_TAG tag = row.tag.load(std::memory_order_relaxed);
        if (tag == 0)
            continue;
        if (WdTagIsAlive(tag) == FALSE) {
            row.reads.store(0, std::memory_order_relaxed);
            row.tag.store(0, std::memory_order_relaxed);
        } else {
            reads += row.reads.load(std::memory_order_relaxed);
        }
    }
    return reads;
}

// Claims a row for this lock object in this process, if it has none yet. False (logged) when all are taken. Needs the
// guard.
bool CWdRWLockEx::claimRow() {
    const WD_TAG own = WdOwnTag(WD_ROLE_ALONE);
    if (own != 0 && m_tag == own && m_rows[m_row].tag.load(std::memory_order_relaxed) == own)
        return true;
    if (m_tag != own)
        m_reads = 0; // the child of a fork holds none of its parent's reads
    dropDeadRows();
    for (std::size_t i = 0; i < kRows && own != 0; ++i) {
        if (m_rows[i].tag.load(std::memory_order_acquire) != 0)
            continue;
        m_rows[i].reads.store(m_reads, std::memory_order_relaxed);
        m_rows[i].tag.store(own, std::memory_order_relaxed);
        m_row = i;
        m_tag = own;
        WD_STEP("row.claimed");
        recount();
        return true;
    }
    WDLOG_ERROR("Failed to lock memory");
    return false;
}

// Doesn't take the guard, which a waiting reader may hold for as long as a writer works. Nobody else writes to a living
// owner's row.
void CWdRWLockEx::freeRow() {
    if (m_tag == 0 || m_tag != WdOwnTag(WD_ROLE_ALONE))
        return;
    auto* const rows = static_cast<Row*>(m_holders.Bytes(kRows * sizeof(Row)));
    if (rows == nullptr)
        return;
    Row& row = rows[m_row];
    WD_TAG own = m_tag;
    row.reads.store(0, std::memory_order_relaxed);
    // The reads before the tag: as soon as the row looks free, its next owner may store its own there.
    row.tag.compare_exchange_strong(own, 0, std::memory_order_release, std::memory_order_relaxed);
}
