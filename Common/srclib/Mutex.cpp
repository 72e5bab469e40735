#include "Mutex.h"

#include "SecurityAttributes.h"

CWdMutex::~CWdMutex() {
    CloseHandle(m_mutex);
}

// The analysis sees this object as the lock and knows nothing of the one behind it.
void CWdMutex::Lock() WD_NO_THREAD_SAFETY_ANALYSIS {
    WaitForSingleObject(m_mutex, INFINITE);
}

void CWdMutex::Unlock() WD_NO_THREAD_SAFETY_ANALYSIS {
    ReleaseMutex(m_mutex);
}

bool CWdMutex::SetToLowIntegrity() {
    return SetObjectPermissions(m_mutex);
}
