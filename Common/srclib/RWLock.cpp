#include "RWLock.h"

#include "Waits.h"
#include "WdCommon/DebugLog.h"

#include <chrono>

bool CWdRWLockEx::Initialize(const char* name) {
    return name != nullptr && *name != '\0';
}

// The lock's own two mutexes are held across its operations' ends, which the analysis can't follow: what it checks is
// the use of the lock as a whole.
void CWdRWLockEx::LockRead() WD_NO_THREAD_SAFETY_ANALYSIS {
    const std::lock_guard guard(m_guard);
    if (m_readers++ == 0)
        takeToken();
}

void CWdRWLockEx::UnlockRead() WD_NO_THREAD_SAFETY_ANALYSIS {
    const std::lock_guard guard(m_guard);
    if (--m_readers == 0)
        giveToken();
}

void CWdRWLockEx::LockWrite() WD_NO_THREAD_SAFETY_ANALYSIS {
    takeToken();
}

void CWdRWLockEx::UnlockWrite() WD_NO_THREAD_SAFETY_ANALYSIS {
    giveToken();
}

void CWdRWLockEx::takeToken() {
    std::unique_lock guard(m_tokenGuard);
    while (!m_tokenGiven.wait_for(guard, std::chrono::milliseconds(wdlt::kLockSliceMs), [&] { return !m_tokenTaken; }))
        WDLOG_ERROR("CAUTION: May be dead locked");
    m_tokenTaken = true;
}

void CWdRWLockEx::giveToken() {
    {
        const std::lock_guard guard(m_tokenGuard);
        m_tokenTaken = false;
    }
    m_tokenGiven.notify_one();
}
