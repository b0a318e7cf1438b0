// A reader/writer lock with writer preference and re-entry for the writing thread, and its scope guards.
#pragma once

#include "ztbase/platform/export.h"
#include "ztbase/process/hold_release_flag.h"
#include "ztbase/process/quick_lock.h"

namespace ZtBase {

// A reader/writer lock. Waiting writers keep new readers out (writer preference); the writing thread may
// take the write lock again and may also read. A thread that holds a read lock and asks for the write lock
// waits for itself: read locks are never upgraded.
class ZTBASE_API CZtReadWriteLock : public CQuickLock {
public:
    CZtReadWriteLock() = default;
    // A copy is a fresh, free lock; assignment changes nothing.
    CZtReadWriteLock(const CZtReadWriteLock&) : CQuickLock() {}
    CZtReadWriteLock& operator=(const CZtReadWriteLock&) { return *this; }
    ~CZtReadWriteLock() override;

    void GetReadLock();
    void ReleaseReadLock();
    void GetWriteLock();
    // Threads waiting for the write lock now (for tests and diagnostics).
    int GetWaitingWriters();
    void ReleaseWriteLock();

private:
    static constexpr unsigned kNoThread = 0xFFFFFFFFu;

    CZtHoldReleaseFlag m_gate;           // closed while the lock is taken
    unsigned char m_closeOnAcquire = 1;  // acquisitions close the gate
    int m_readers = 0;
    int m_writers = 0;  // write locks held by m_writerThread
    int m_waits = 0;    // waits since the lock was last fully released
    int m_waitingWriters = 0;
    unsigned m_writerThread = kNoThread;
};

class ZTBASE_API CGetReadLock {
public:
    explicit CGetReadLock(CZtReadWriteLock& lock) : m_lock(lock) { m_lock.GetReadLock(); }
    CGetReadLock(const CGetReadLock&) = delete;
    CGetReadLock& operator=(const CGetReadLock&) = delete;
    ~CGetReadLock() { m_lock.ReleaseReadLock(); }

private:
    CZtReadWriteLock& m_lock;
};

class ZTBASE_API CGetWriteLock {
public:
    explicit CGetWriteLock(CZtReadWriteLock& lock) : m_lock(lock) { m_lock.GetWriteLock(); }
    CGetWriteLock(const CGetWriteLock&) = delete;
    CGetWriteLock& operator=(const CGetWriteLock&) = delete;
    ~CGetWriteLock() { m_lock.ReleaseWriteLock(); }

private:
    CZtReadWriteLock& m_lock;
};

}  // namespace ZtBase
