// Manual-reset events as the system's event objects.
#include <new>

#include "ztbase/platform/internal/platform.h"
#include "ztbase/platform/win32/windows_api.h"

namespace ZtBase::platform {

ManualResetEvent::ManualResetEvent(bool signalled)
    : m_event(::CreateEventA(nullptr, TRUE, signalled ? TRUE : FALSE, nullptr)) {
    if (!m_event) throw std::bad_alloc();
}

ManualResetEvent::~ManualResetEvent() {
    ::CloseHandle(m_event);
}

void ManualResetEvent::Set() {
    ::SetEvent(m_event);
}

void ManualResetEvent::Reset() {
    ::ResetEvent(m_event);
}

void ManualResetEvent::Wait() {
    ::WaitForSingleObject(m_event, INFINITE);
}

bool ManualResetEvent::WaitFor(unsigned milliseconds) {
    // INFINITE is all bits set: a wait that long is one short of forever.
    return ::WaitForSingleObject(m_event, milliseconds == INFINITE ? INFINITE - 1 : milliseconds) ==
           WAIT_OBJECT_0;
}

}  // namespace ZtBase::platform
