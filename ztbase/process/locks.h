// Locks and synchronisation objects: the lockable interface and its scope guard, the re-entrant quick
// lock, a counting event, a gate that threads wait at until it is opened, and a reader/writer lock with
// writer preference and re-entry for the writing thread.
#pragma once

#include <atomic>
#include <new>

#include "ztbase/base/spin_lock.h"
#include "ztbase/platform/export.h"

namespace ZtBase {

namespace platform {
class ManualResetEvent;
}

class ZTBASE_API CTLockable {
public:
    virtual void Lock() = 0;
    virtual unsigned char TryLock() = 0;
    virtual void Unlock() = 0;
    virtual ~CTLockable();
};

// A mutual-exclusion lock, re-entrant for the thread that holds it.
class ZTBASE_API CQuickLock : public CTLockable {
public:
    CQuickLock();
    CQuickLock(const CQuickLock&) = delete;
    CQuickLock& operator=(const CQuickLock&) = delete;
    ~CQuickLock() override;

    void Lock() override;
    // Takes the lock, waiting as long as needed, and returns 1. It never reports failure: callers must
    // not use it to avoid waiting.
    unsigned char TryLock() override;
    void Unlock() override;

private:
    void* m_section;  // the heap-allocated recursive mutex
};

// Storage for one T, constructed on first use (thread-safe) and never destroyed, so it stays usable
// while other static objects are being destroyed. Usable before any constructor has run.
template <class T>
class SingletonClass {
public:
    constexpr SingletonClass() noexcept = default;
    SingletonClass(const SingletonClass&) = delete;
    SingletonClass& operator=(const SingletonClass&) = delete;

    T& Get() {
        T* p = m_object.load(std::memory_order_acquire);
        if (!p) {
            m_construct.lock();
            p = m_object.load(std::memory_order_relaxed);
            if (!p) {
                try {
                    p = ::new (static_cast<void*>(m_storage)) T();
                } catch (...) {
                    m_construct.unlock();
                    throw;
                }
                m_object.store(p, std::memory_order_release);
            }
            m_construct.unlock();
        }
        return *p;
    }
    T& operator*() { return Get(); }
    T* operator->() { return &Get(); }

private:
    alignas(T) unsigned char m_storage[sizeof(T)] = {};
    std::atomic<T*> m_object{nullptr};
    detail::SpinLock m_construct;
};

// Holds a lock for its own lifetime.
class ZTBASE_API CGetLock {
public:
    explicit CGetLock(CTLockable& lock) : m_lock(lock) { m_lock.Lock(); }
    explicit CGetLock(SingletonClass<CQuickLock>& lock) : m_lock(lock.Get()) { m_lock.Lock(); }
    CGetLock(const CGetLock&) = delete;
    CGetLock& operator=(const CGetLock&) = delete;
    ~CGetLock() { m_lock.Unlock(); }

private:
    CTLockable& m_lock;
};

// A counting event: every SetEvent lets exactly one Wait pass.
class ZTBASE_API CZtEvent {
public:
    CZtEvent();
    // A copy is a fresh event without signals; assignment changes nothing.
    CZtEvent(const CZtEvent&);
    CZtEvent& operator=(const CZtEvent&) { return *this; }
    ~CZtEvent();

    void SetEvent();
    // Consumes one signal, waiting as long as needed.
    void Wait();

private:
    platform::ManualResetEvent* m_event;  // signalled while signals may remain
    unsigned m_count;                     // signals not yet consumed
    CQuickLock m_countLock;
    [[maybe_unused]] unsigned m_spare;  // always 0
};

// A gate: threads wait at it while it is closed. It starts open.
class ZTBASE_API CZtHoldReleaseFlag {
public:
    CZtHoldReleaseFlag();
    // A copy is a fresh open gate; assignment changes nothing.
    CZtHoldReleaseFlag(const CZtHoldReleaseFlag&);
    CZtHoldReleaseFlag& operator=(const CZtHoldReleaseFlag&) { return *this; }
    ~CZtHoldReleaseFlag();

    // 1 opens the gate, 0 closes it.
    void SetGo(unsigned char go);
    // Waits until the gate is open. The limit is truncated to whole milliseconds; 0 means no limit. A wait
    // that reaches the limit throws CZtSimpleException 10011.
    void Wait(double seconds);

private:
    platform::ManualResetEvent* m_event;  // signalled while the gate is open
    CQuickLock m_lock;
    unsigned char m_held;  // 1 while the gate is closed
};

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
