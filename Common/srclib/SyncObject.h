// The interface of a lock, and the scoped guard for it.
#pragma once

#include <platform/thread_annotations.h>

class WD_CAPABILITY("mutex") WdltSyncObject {
  public:
    WdltSyncObject() = default;
    virtual ~WdltSyncObject() = default;
    WdltSyncObject(const WdltSyncObject&) = delete;
    WdltSyncObject& operator=(const WdltSyncObject&) = delete;

    // In vtable order.
    virtual bool Lock() WD_ACQUIRE() = 0; // false: it wasn't taken and must not be unlocked
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

    // A scope may go on without the lock where that harms nobody; the failure is logged.
    bool isHeld() const { return m_isHeld; }

  private:
    WdltSyncObject* m_object; // not owned
    bool m_isHeld;
};
