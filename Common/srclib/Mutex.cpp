#include "Mutex.h"

#include "ObjectName.h"
#include "SecurityAttributes.h"
#include "WdCommon/DebugLog.h"

CWdMutex::~CWdMutex() {
    if (m_mutex != nullptr)
        CloseHandle(m_mutex);
}

// The thread-safety analysis sees this object as the lock and doesn't know the mutex behind it.
bool CWdMutex::Lock() WD_NO_THREAD_SAFETY_ANALYSIS {
    if (WaitForSingleObject(m_mutex, INFINITE) != WAIT_FAILED)
        return true;
    WDLOG_ERROR("::WaitForSingleObject() failed (err=%d)", static_cast<int>(GetLastError()));
    return false;
}

void CWdMutex::Unlock() WD_NO_THREAD_SAFETY_ANALYSIS {
    ReleaseMutex(m_mutex);
}

bool CWdMutex::SetToLowIntegrity() {
    return SetObjectPermissions(m_mutex);
}

namespace wdlt {

HANDLE createMutex(const char* name, LPSECURITY_ATTRIBUTES attributes) {
    HANDLE mutex = CreateMutexA(attributes, FALSE, GlobalObjectName(name).c_str());
    if (mutex == nullptr)
        WDLOG_ERROR("Failed to create mutex %s: %lu", name, static_cast<unsigned long>(GetLastError()));
    return mutex;
}

} // namespace wdlt
