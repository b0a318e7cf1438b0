// The self-test harness: testers (CUnitTesterBase) registered with gUnitTestManager check on the user's
// machine that a subsystem works there (its files, threads and memory), as `zt selftest` does. The
// library registers its own testers: "datatable", "tasks", "files", "pools" and "strings"; components may
// register more.
#pragma once

#include <vector>

#include "ztbase/platform/export.h"
#include "ztbase/process/quick_lock.h"
#include "ztbase/strings/unistr.h"

namespace ZtBase {

class ZTBASE_API CUnitTesterBase {
public:
    explicit CUnitTesterBase(const CUniStr& name) : m_name(name) {}
    CUnitTesterBase(const CUnitTesterBase&) = delete;
    CUnitTesterBase& operator=(const CUnitTesterBase&) = delete;
    virtual ~CUnitTesterBase();

    const CUniStr& GetName() const noexcept { return m_name; }
    // Runs the checks: true when all passed; message says what failed (or, on success, what was checked).
    // An exception counts as a failure with its message.
    virtual unsigned char RunTest(CUniStr& message) = 0;

private:
    CUniStr m_name;
};

struct SUnitTestResult {
    CUniStr name;
    unsigned char passed = 0;
    CUniStr message;
    double seconds = 0;
};

class ZTBASE_API CUnitTestManager {
public:
    // Registers the library's own testers.
    CUnitTestManager();
    CUnitTestManager(const CUnitTestManager&) = delete;
    CUnitTestManager& operator=(const CUnitTestManager&) = delete;
    ~CUnitTestManager();

    // The manager does not own the tester; it must stay alive until it is unregistered.
    void Register(CUnitTesterBase* tester);
    void Unregister(CUnitTesterBase* tester);
    int GetTesterCount();
    CUnitTesterBase* GetTester(int index);  // null outside the range
    // By name, ignoring case; null when none.
    CUnitTesterBase* FindTester(const CUniStr& name);
    // Runs one tester, timing it and turning an exception into a failure.
    static SUnitTestResult Run(CUnitTesterBase& tester);

private:
    std::vector<CUnitTesterBase*> m_testers;
    CQuickLock m_lock;
};

ZTBASE_API extern CUnitTestManager gUnitTestManager;

}  // namespace ZtBase
