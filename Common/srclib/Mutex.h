// A mutex between processes. Its handle comes from CreateMutexA, not initially owned, with the name that
// GlobalObjectName gives. An abandoned mutex is taken like any other.
#pragma once

#include "SyncObject.h"

#include <platform/win32.h>

class CWdMutex : public WdltSyncObject {
  public:
    // Takes over the handle; null is allowed, and then Lock fails.
    explicit CWdMutex(HANDLE mutex) : m_mutex(mutex) {}
    ~CWdMutex() override;

    // Waits without a time-out. False (logged) without a handle or when the wait fails.
    bool Lock() WD_ACQUIRE() override;
    void Unlock() WD_RELEASE() override;
    // Grants access to authenticated users and to processes of low integrity.
    virtual bool SetToLowIntegrity();

  private:
    HANDLE m_mutex;
};

namespace wdlt {

// A handle for a CWdMutex, by its name without prefix; null (logged) when it can't be created.
HANDLE createMutex(const char* name, LPSECURITY_ATTRIBUTES attributes = nullptr);

} // namespace wdlt
