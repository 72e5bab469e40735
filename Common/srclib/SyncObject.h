// What can be taken and given back, and the guard that does so for a scope.
#pragma once

#include <platform/thread_annotations.h>

class WD_CAPABILITY("mutex") WdltSyncObject {
  public:
    WdltSyncObject() = default;
    virtual ~WdltSyncObject() = default;
    WdltSyncObject(const WdltSyncObject&) = delete;
    WdltSyncObject& operator=(const WdltSyncObject&) = delete;

    // The order is that of the slots.
    virtual bool Lock() WD_ACQUIRE() = 0; // false: it couldn't be had, and there is nothing to give back
    virtual void Unlock() WD_RELEASE() = 0;
};

class WD_SCOPED_CAPABILITY WdltSingleLock {
  public:
    explicit WdltSingleLock(WdltSyncObject* object) WD_ACQUIRE(object) : m_object(object), m_isHeld(object->Lock()) {}
    virtual ~WdltSingleLock() WD_RELEASE() WD_NO_THREAD_SAFETY_ANALYSIS {
        if (m_isHeld)
            m_object->Unlock();
    }
    WdltSingleLock(const WdltSingleLock&) = delete;
    WdltSingleLock& operator=(const WdltSingleLock&) = delete;

    // Without it the scope may go on where nobody is harmed; the failure is logged.
    bool isHeld() const { return m_isHeld; }

  private:
    WdltSyncObject* m_object; // not owned
    bool m_isHeld;
};
