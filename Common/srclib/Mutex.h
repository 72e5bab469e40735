// A mutex between processes, whose handle is made by CreateMutexA, not owned, under the name that GlobalObjectName
// gives. A mutex whose holder died is taken like any other.
#pragma once

#include "SyncObject.h"

#include <platform/win32.h>

class CWdMutex : public WdltSyncObject {
  public:
    // Takes the handle over; null is allowed, and then it can't be taken.
    explicit CWdMutex(HANDLE mutex) : m_mutex(mutex) {}
    ~CWdMutex() override;

    // Waits without a time-out. Without a handle, or when the wait fails: false, logged.
    bool Lock() WD_ACQUIRE() override;
    void Unlock() WD_RELEASE() override;
    // Opens the mutex to processes of low rights.
    virtual bool SetToLowIntegrity();

  private:
    HANDLE m_mutex;
};

namespace wdlt {

// A handle for a CWdMutex, by its name without prefix; null, logged, when it can't be made.
HANDLE createMutex(const char* name, LPSECURITY_ATTRIBUTES attributes = nullptr);

} // namespace wdlt
