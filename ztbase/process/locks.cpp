#include "ztbase/process/locks.h"

#include <atomic>
#include <mutex>
#include <new>

#include "ztbase/errors/exceptions.h"
#include "ztbase/platform/internal/platform.h"

namespace ZtBase {

namespace {

// Unlocks since the library loaded: a statistic only, so relaxed ordering is enough.
std::atomic<unsigned> gUnlockCount{0};

std::recursive_mutex& Section(void* p) {
    return *static_cast<std::recursive_mutex*>(p);
}

// A new manual-reset event, or the library's exception when the system refuses one.
platform::ManualResetEvent* NewEvent(bool signalled, const char16_t* failure, unsigned line) {
    try {
        return new platform::ManualResetEvent(signalled);
    } catch (...) {
        throw CZtSimpleException(kErrSyncObject, CUniStr(failure), ".\\ztprocess", line);
    }
}

}  // namespace

CTLockable::~CTLockable() = default;

// ---- CQuickLock ---------------------------------------------------------------------------------
CQuickLock::CQuickLock() : m_section(new std::recursive_mutex) {}

CQuickLock::~CQuickLock() {
    delete static_cast<std::recursive_mutex*>(m_section);
}

void CQuickLock::Lock() {
    Section(m_section).lock();
}

unsigned char CQuickLock::TryLock() {
    Lock();
    return 1;
}

void CQuickLock::Unlock() {
    Section(m_section).unlock();
    gUnlockCount.fetch_add(1, std::memory_order_relaxed);
}

// ---- CZtEvent -----------------------------------------------------------------------------------
CZtEvent::CZtEvent()
    : m_event(NewEvent(false, u"OS returned an error when creating an event object", 395)),
      m_count(0),
      m_spare(0) {}

CZtEvent::CZtEvent(const CZtEvent&) : CZtEvent() {}

CZtEvent::~CZtEvent() {
    delete m_event;
}

void CZtEvent::SetEvent() {
    CGetLock hold(m_countLock);
    if (++m_count == 1) m_event->Set();
}

void CZtEvent::Wait() {
    m_countLock.Lock();
    while (m_count == 0) {
        m_countLock.Unlock();
        m_event->Wait();
        m_countLock.Lock();
        // Another waiter took the signal that woke us: close the event again before waiting.
        if (m_count == 0) m_event->Reset();
        m_countLock.Unlock();
        m_countLock.Lock();
    }
    --m_count;
    m_countLock.Unlock();
}

// ---- CZtHoldReleaseFlag -------------------------------------------------------------------------
CZtHoldReleaseFlag::CZtHoldReleaseFlag()
    : m_event(NewEvent(true, u"OS returned an error when creating hold-release object", 441)), m_held(0) {}

CZtHoldReleaseFlag::CZtHoldReleaseFlag(const CZtHoldReleaseFlag&) : CZtHoldReleaseFlag() {}

CZtHoldReleaseFlag::~CZtHoldReleaseFlag() {
    delete m_event;
}

void CZtHoldReleaseFlag::SetGo(unsigned char go) {
    // Atomic so that threads sharing the gate may call SetGo at the same time.
    std::atomic_ref<unsigned char>(m_held).store(go ? 0 : 1, std::memory_order_relaxed);
    if (go)
        m_event->Set();
    else
        m_event->Reset();
}

void CZtHoldReleaseFlag::Wait(double seconds) {
    // Truncated to whole milliseconds. Below one millisecond (also negative or not a number) there is no
    // limit, as for 0; so is the all-ones value, the system's "infinite".
    const double ms = seconds * 1000.0;
    const unsigned limit = !(ms >= 1.0) ? 0u : ms >= 4294967295.0 ? 0xFFFFFFFFu : static_cast<unsigned>(ms);
    if (limit == 0 || limit == 0xFFFFFFFFu) {
        m_event->Wait();
        return;
    }
    if (!m_event->WaitFor(limit))
        throw CZtSimpleException(kErrLockTimeout, CUniStr(u"A lock request wait has exceeded timeout limit"),
                                 ".\\ztprocess", 459);
}

// ---- CZtReadWriteLock ---------------------------------------------------------------------------
// The counters change only under the inherited lock; waiting happens outside it, at the gate. The gate is
// a manual-reset event that releases every waiter at once, so each waiter looks at the state again.
CZtReadWriteLock::~CZtReadWriteLock() = default;

void CZtReadWriteLock::GetReadLock() {
    const unsigned self = platform::CurrentThreadId();
    for (;;) {
        Lock();
        if (m_writerThread == kNoThread && m_waitingWriters == 0) {
            if (m_closeOnAcquire) m_gate.SetGo(0);
            m_gate.SetGo(0);  // a read acquisition closes the gate in every case
            ++m_readers;
            Unlock();
            return;
        }
        if (m_writerThread == self) {  // the writing thread may also read
            if (m_closeOnAcquire) m_gate.SetGo(0);
            ++m_readers;
            Unlock();
            return;
        }
        ++m_waits;
        Unlock();
        m_gate.Wait(0);
    }
}

void CZtReadWriteLock::ReleaseReadLock() {
    CGetLock hold(*this);
    if (--m_readers == 0) {
        m_gate.SetGo(1);
        m_waits = 0;
    }
}

void CZtReadWriteLock::GetWriteLock() {
    const unsigned self = platform::CurrentThreadId();
    Lock();
    for (;;) {
        if (m_writerThread == self) {  // re-entry
            if (m_closeOnAcquire) m_gate.SetGo(0);
            ++m_writers;
            Unlock();
            return;
        }
        if (m_readers == 0 && m_writers == 0) {
            if (m_closeOnAcquire) m_gate.SetGo(0);
            ++m_writers;
            m_writerThread = self;
            Unlock();
            return;
        }
        ++m_waitingWriters;
        ++m_waits;
        Unlock();
        m_gate.Wait(0);
        // Back under the lock, the writer stops counting as waiting and looks again without letting go
        // in between: releasing the lock here would let a reader that arrived while this writer waited
        // see no waiting writer and overtake it.
        Lock();
        --m_waitingWriters;
    }
}

void CZtReadWriteLock::ReleaseWriteLock() {
    CGetLock hold(*this);
    if (--m_writers == 0) {
        m_writerThread = kNoThread;
        m_gate.SetGo(1);
        m_waits = 0;
    }
}

int CZtReadWriteLock::GetWaitingWriters() {
    CGetLock hold(*this);
    return m_waitingWriters;
}

}  // namespace ZtBase
