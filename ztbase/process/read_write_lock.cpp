#include "ztbase/process/read_write_lock.h"

#include "ztbase/platform/internal/platform.h"

namespace ZtBase {

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
