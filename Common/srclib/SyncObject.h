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
    virtual void Lock() WD_ACQUIRE() = 0;
    virtual void Unlock() WD_RELEASE() = 0;
};

class WD_SCOPED_CAPABILITY WdltSingleLock {
  public:
    explicit WdltSingleLock(WdltSyncObject* object) WD_ACQUIRE(object) : m_object(object) { m_object->Lock(); }
    virtual ~WdltSingleLock() WD_RELEASE() { m_object->Unlock(); }
    WdltSingleLock(const WdltSingleLock&) = delete;
    WdltSingleLock& operator=(const WdltSingleLock&) = delete;

  private:
    WdltSyncObject* m_object; // not owned
};
