// A counting event.
#pragma once

#include "ztbase/platform/export.h"
#include "ztbase/process/quick_lock.h"

namespace ZtBase {

namespace platform {
class ManualResetEvent;
}

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

}  // namespace ZtBase
