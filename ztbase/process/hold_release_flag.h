// A gate that threads wait at until it is opened.
#pragma once

#include "ztbase/platform/export.h"
#include "ztbase/process/quick_lock.h"

namespace ZtBase {

namespace platform {
class ManualResetEvent;
}

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

}  // namespace ZtBase
