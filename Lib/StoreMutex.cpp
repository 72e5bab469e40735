#include "StoreMutex.h"

#include "ObjectName.h"
#include "SecurityAttributes.h"
#include "Waits.h"

#include <array>

namespace wdlt {

StoreMutex::Taking StoreMutex::take(const char* name) {
    const WdCommon::Synchronize::SingleLock lock(&m_csLock);
    if (m_hMutex != nullptr)
        return {Outcome::HeldAlready};
    std::array<char, 260> fullName{};
    GlobalObjectName(name, fullName);
    const SharedSecAttr security;
    HANDLE mutex = CreateMutexA(security.m_pAttributes, FALSE, fullName.data());
    if (mutex == nullptr)
        return {Outcome::NotCreated, 0, GetLastError()};
    const Taking taking = waitFor(mutex);
    if (taking.outcome == Outcome::Taken)
        m_hMutex = mutex;
    else
        CloseHandle(mutex);
    return taking;
}

StoreMutex::Taking StoreMutex::waitFor(HANDLE mutex) {
    const DWORD waited = WaitForSingleObject(mutex, kStoreLockMs);
    switch (waited) {
    case WAIT_OBJECT_0:
        return {Outcome::Taken};
    case WAIT_ABANDONED:
        ReleaseMutex(mutex); // the next caller gets it
        return {Outcome::Abandoned};
    case WAIT_TIMEOUT:
        return {Outcome::TimedOut};
    default:
        return {Outcome::Failed, static_cast<int>(waited), GetLastError()};
    }
}

void StoreMutex::release() {
    const WdCommon::Synchronize::SingleLock lock(&m_csLock);
    if (m_hMutex == nullptr)
        return;
    ReleaseMutex(m_hMutex);
    CloseHandle(m_hMutex);
    m_hMutex = nullptr;
}

} // namespace wdlt
