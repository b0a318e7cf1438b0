#include "ztbase/process/hold_release_flag.h"

#include "ztbase/errors/exceptions.h"
#include "ztbase/platform/internal/platform.h"
#include "ztbase/process/internal/new_event.h"

namespace ZtBase {

// ---- CZtHoldReleaseFlag -------------------------------------------------------------------------
CZtHoldReleaseFlag::CZtHoldReleaseFlag()
    : m_event(detail::NewEvent(true, u"OS returned an error when creating hold-release object", 441)),
      m_held(0) {}

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

}  // namespace ZtBase
