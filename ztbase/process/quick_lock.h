// The lockable interface and its scope guard, the re-entrant quick lock, and storage for one object made
// on first use.
#pragma once

#include <atomic>
#include <new>

#include "ztbase/base/spin_lock.h"
#include "ztbase/platform/export.h"

namespace ZtBase {

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

// Storage for one T, constructed on first use (thread-safe) and destroyed only when its owner asks
// (Destroy), so a global one stays usable while other static objects are being destroyed. Usable before
// any constructor has run.
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
    // Destroys the object if it was made; the next Get makes a new one. For the owner's destructor, when
    // nothing else uses the object any more.
    void Destroy() noexcept {
        if (T* p = m_object.exchange(nullptr, std::memory_order_acq_rel)) p->~T();
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

}  // namespace ZtBase
