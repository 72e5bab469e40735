// The reader/writer lock of all feature operations. Readers hold one token as a group, a writer holds it alone; the
// first reader waits for it with the guard held, so that later readers queue behind. Fairness is not promised.
//
// CWdRWLockEx works between processes and survives the death of its holders. A lock with base name N has these named
// objects, whose layout all processes share:
// - N_RW_MUTEX: the guard of the count and of the holders' rows
// - N_RW_EVENT: the token, signalled when nobody holds the lock; else it records who took it, the group or one process
// - N_RW_MEMORY: 4 bytes, how many threads of all processes hold the read lock
// - N_RW_HOLDERS: a row for each lock object that has read: whose it is, and its share of the count
// The count alone doesn't show that a holder died; the rows and the token's taker do.
#pragma once

#include "ShareMemory.h"

#include <platform/robust.h>
#include <platform/thread_annotations.h>

#include <cstddef>
#include <cstdint>

class WD_CAPABILITY("mutex") CWdRWLock {
  public:
    CWdRWLock() = default;
    virtual ~CWdRWLock();
    CWdRWLock(const CWdRWLock&) = delete;
    CWdRWLock& operator=(const CWdRWLock&) = delete;

    // In vtable order. A thread may hold the read lock twice; taking the write lock twice in one thread, or after the
    // read lock, deadlocks. False (logged) when the lock couldn't be taken: it must not be unlocked then, since that
    // would release another's.
    virtual bool LockRead() WD_ACQUIRE_SHARED();
    virtual void UnlockRead() WD_RELEASE_SHARED();
    virtual bool LockWrite() WD_ACQUIRE();
    virtual void UnlockWrite() WD_RELEASE();

  protected:
    // For the base class's own operations; whoever sets the handles owns them.
    HANDLE mutexHandle = nullptr;     // guards readerCount
    HANDLE semaphoreHandle = nullptr; // the token
    std::int32_t readerCount = 0;
};

class CWdRWLockEx final : public CWdRWLock {
  public:
    CWdRWLockEx() = default;
    ~CWdRWLockEx() override;
    CWdRWLockEx(const CWdRWLockEx&) = delete;
    CWdRWLockEx& operator=(const CWdRWLockEx&) = delete;

    // Creates or opens the objects of the base name, once. False (logged) when one of them can't be had.
    bool Initialize(const char* name);

    bool LockRead() WD_ACQUIRE_SHARED() override;
    void UnlockRead() WD_RELEASE_SHARED() override;
    bool LockWrite() WD_ACQUIRE() override;
    void UnlockWrite() WD_RELEASE() override;

  private:
    struct Row;
    class Guarded;

    void lookAfterDead(bool guarded);
    void recount();
    std::uint32_t dropDeadRows();
    bool claimRow();
    void freeRow();

    HANDLE rwMutex = nullptr;
    HANDLE rwEvent = nullptr;
    CWdShareMemory rwMemory;
    CWdShareMemory m_holders;

    // Used with rwMutex held; the two addresses are kept only that long.
    void* m_count = nullptr;
    Row* m_rows = nullptr;
    std::size_t m_row = 0;     // ours, claimed at the first read
    WD_TAG m_tag = 0;          // of the process that claimed it: a child of a fork claims another; 0: no row yet
    std::uint32_t m_reads = 0; // what our row says
};

// Scoped guards. A scope whose lock couldn't be taken goes on without it, and releases nothing.
class WD_SCOPED_CAPABILITY CWdRWReadLock {
  public:
    explicit CWdRWReadLock(CWdRWLock* lock) WD_ACQUIRE_SHARED(lock) : m_lock(lock), m_isHeld(lock->LockRead()) {}
    virtual ~CWdRWReadLock() WD_RELEASE() WD_NO_THREAD_SAFETY_ANALYSIS {
        if (m_isHeld)
            m_lock->UnlockRead();
    }
    CWdRWReadLock(const CWdRWReadLock&) = delete;
    CWdRWReadLock& operator=(const CWdRWReadLock&) = delete;

  private:
    CWdRWLock* m_lock; // not owned
    bool m_isHeld;
};

class WD_SCOPED_CAPABILITY CWdRWWriteLock {
  public:
    explicit CWdRWWriteLock(CWdRWLock* lock) WD_ACQUIRE(lock) : m_lock(lock), m_isHeld(lock->LockWrite()) {}
    virtual ~CWdRWWriteLock() WD_RELEASE() WD_NO_THREAD_SAFETY_ANALYSIS {
        if (m_isHeld)
            m_lock->UnlockWrite();
    }
    CWdRWWriteLock(const CWdRWWriteLock&) = delete;
    CWdRWWriteLock& operator=(const CWdRWWriteLock&) = delete;

  private:
    CWdRWLock* m_lock; // not owned
    bool m_isHeld;
};
