// The reader/writer lock of all feature operations. Readers hold one token as a group, a writer holds it alone; the
// first reader waits for it with the guard held, so that later readers queue behind. It excludes the threads of one
// process.
#pragma once

#include <platform/thread_annotations.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>

class WD_CAPABILITY("mutex") CWdRWLock {
  public:
    CWdRWLock() = default;
    virtual ~CWdRWLock() = default;
    CWdRWLock(const CWdRWLock&) = delete;
    CWdRWLock& operator=(const CWdRWLock&) = delete;

    virtual void LockRead() WD_ACQUIRE_SHARED() = 0;
    virtual void UnlockRead() WD_RELEASE_SHARED() = 0;
    virtual void LockWrite() WD_ACQUIRE() = 0;
    virtual void UnlockWrite() WD_RELEASE() = 0;
};

class CWdRWLockEx final : public CWdRWLock {
  public:
    // Sets up the lock under a base name. False when that fails.
    bool Initialize(const char* name);

    // A thread may hold the read lock twice; a write lock taken twice by one thread, or after its read lock, never
    // returns.
    void LockRead() WD_ACQUIRE_SHARED() override;
    void UnlockRead() WD_RELEASE_SHARED() override;
    void LockWrite() WD_ACQUIRE() override;
    void UnlockWrite() WD_RELEASE() override;

  private:
    void takeToken();
    void giveToken();

    std::mutex m_guard; // taken before m_tokenGuard
    std::uint32_t m_readers = 0;

    std::mutex m_tokenGuard;
    std::condition_variable m_tokenGiven;
    bool m_tokenTaken = false;
};

// Scoped guards.
class WD_SCOPED_CAPABILITY CWdRWReadLock {
  public:
    explicit CWdRWReadLock(CWdRWLock* lock) WD_ACQUIRE_SHARED(lock) : m_lock(lock) { m_lock->LockRead(); }
    virtual ~CWdRWReadLock() WD_RELEASE() { m_lock->UnlockRead(); }
    CWdRWReadLock(const CWdRWReadLock&) = delete;
    CWdRWReadLock& operator=(const CWdRWReadLock&) = delete;

  private:
    CWdRWLock* m_lock;
};

class WD_SCOPED_CAPABILITY CWdRWWriteLock {
  public:
    explicit CWdRWWriteLock(CWdRWLock* lock) WD_ACQUIRE(lock) : m_lock(lock) { m_lock->LockWrite(); }
    virtual ~CWdRWWriteLock() WD_RELEASE() { m_lock->UnlockWrite(); }
    CWdRWWriteLock(const CWdRWWriteLock&) = delete;
    CWdRWWriteLock& operator=(const CWdRWWriteLock&) = delete;

  private:
    CWdRWLock* m_lock;
};
