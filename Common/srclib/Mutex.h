// A mutex between processes. Whoever makes one makes its handle with CreateMutexA, not owned, under the name that
// GlobalObjectName gives; a mutex whose holder died is taken like any other.
#pragma once

#include "SyncObject.h"

#include <platform/win32.h>

class CWdMutex : public WdltSyncObject {
  public:
    // Takes the handle over; null is allowed, and then nothing is ever locked.
    explicit CWdMutex(HANDLE mutex) : m_mutex(mutex) {}
    ~CWdMutex() override;

    // Waits without a time-out.
    void Lock() WD_ACQUIRE() override;
    void Unlock() WD_RELEASE() override;
    // Opens the mutex to processes of low rights.
    virtual bool SetToLowIntegrity();

  private:
    HANDLE m_mutex;
};
