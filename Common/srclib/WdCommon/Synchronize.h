// Locks of the WdCommon classes, within one process. A critical section is recursive.
#pragma once

#include <platform/sync.h>
#include <platform/thread_annotations.h>

namespace WdCommon::Synchronize {

class WD_CAPABILITY("mutex") Base {
  public:
    Base() = default;
    virtual ~Base() = default;
    Base(const Base&) = delete;
    Base& operator=(const Base&) = delete;

    virtual void Lock() WD_ACQUIRE() = 0;
    virtual void Unlock() WD_RELEASE() = 0;
};

class CriticalSection final : public Base {
  public:
    CriticalSection();
    ~CriticalSection() override;

    void Lock() WD_ACQUIRE() override;
    void Unlock() WD_RELEASE() override;

  private:
    CRITICAL_SECTION m_section{};
};

class WD_SCOPED_CAPABILITY SingleLock {
  public:
    explicit SingleLock(Base* lock) WD_ACQUIRE(lock) : m_lock(lock) { m_lock->Lock(); }
    ~SingleLock() WD_RELEASE() { m_lock->Unlock(); }
    SingleLock(const SingleLock&) = delete;
    SingleLock& operator=(const SingleLock&) = delete;

  private:
    Base* m_lock;
};

} // namespace WdCommon::Synchronize
