#include "ztbase/process/event.h"

#include "ztbase/platform/internal/platform.h"
#include "ztbase/process/internal/new_event.h"

namespace ZtBase {

// ---- CZtEvent -----------------------------------------------------------------------------------
CZtEvent::CZtEvent()
    : m_event(detail::NewEvent(false, u"OS returned an error when creating an event object", 395)),
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

}  // namespace ZtBase
