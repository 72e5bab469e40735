#include "WdCommon/Synchronize.h"

namespace WdCommon::Synchronize {

CriticalSection::CriticalSection() {
    InitializeCriticalSection(&m_section);
}

CriticalSection::~CriticalSection() {
    DeleteCriticalSection(&m_section);
}

// The thread-safety analysis sees this object as the lock and doesn't know the section behind it.
void CriticalSection::Lock() WD_NO_THREAD_SAFETY_ANALYSIS {
    EnterCriticalSection(&m_section);
}

void CriticalSection::Unlock() WD_NO_THREAD_SAFETY_ANALYSIS {
    LeaveCriticalSection(&m_section);
}

} // namespace WdCommon::Synchronize
