// The process-wide registry of running library threads and a few process services. One instance,
// gZtProcessManager. Every registry operation first makes its list if there is none yet, so the manager
// works before its constructor has run. Removal swaps the last thread into the freed place, so indexes
// stay dense: the thread at position i has index i.
#pragma once

#include <vector>

#include "ztbase/platform/export.h"
#include "ztbase/process/quick_lock.h"
#include "ztbase/process/thread.h"

namespace ZtBase {

class ZTBASE_API CZtProcessManager {
public:
    // Constant-initialised: the list is made by the first operation that needs it, which is what making it
    // in the constructor would do, and the manager is usable before any constructor has run.
    constexpr CZtProcessManager() noexcept = default;
    CZtProcessManager(const CZtProcessManager&) = delete;
    CZtProcessManager& operator=(const CZtProcessManager&) = delete;
    // Releases every registered handle.
    ~CZtProcessManager();

    void InitData();
    // A null handle is ignored; otherwise appended, and its index set to its position.
    void AddThread(CZtThread& thread);
    // Nothing for a null handle or an index of -1; 10005 "threading error" for an empty list or an index
    // past the end.
    void RemoveThread(CZtThread& thread);
    unsigned GetThreadCount();
    // 10007 "subscript out of range" for a position outside the list.
    CZtThread GetThreadIdx(int i);

    unsigned GetOSThreadId();
    unsigned GetCPUCount();
    unsigned char IsThreadingSupported() const noexcept { return 1; }
    void Sleep(unsigned milliseconds);
    // Seconds on a monotonic clock; 1.0 before the list exists (the documented start-up value).
    double GetSystemTimer() const;

private:
    std::atomic<std::vector<CZtThread>*> m_threads{nullptr};
    SingletonClass<CQuickLock> m_lock;
};

ZTBASE_API extern CZtProcessManager gZtProcessManager;

}  // namespace ZtBase
