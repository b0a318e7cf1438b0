#include "ztbase/components/unit_test.h"

#include <algorithm>

#include "ztbase/errors/exceptions.h"
#include "ztbase/platform/internal/platform.h"

namespace ZtBase {

namespace detail {
// The library's own testers (testers.cpp).
void RegisterLibraryTesters(CUnitTestManager& manager);
}  // namespace detail

CUnitTesterBase::~CUnitTesterBase() = default;

CUnitTestManager::CUnitTestManager() {
    detail::RegisterLibraryTesters(*this);
}
CUnitTestManager::~CUnitTestManager() = default;

void CUnitTestManager::Register(CUnitTesterBase* tester) {
    CGetLock hold(m_lock);
    if (tester && std::find(m_testers.begin(), m_testers.end(), tester) == m_testers.end())
        m_testers.push_back(tester);
}

void CUnitTestManager::Unregister(CUnitTesterBase* tester) {
    CGetLock hold(m_lock);
    m_testers.erase(std::remove(m_testers.begin(), m_testers.end(), tester), m_testers.end());
}

int CUnitTestManager::GetTesterCount() {
    CGetLock hold(m_lock);
    return static_cast<int>(m_testers.size());
}

CUnitTesterBase* CUnitTestManager::GetTester(int index) {
    CGetLock hold(m_lock);
    return index >= 0 && index < static_cast<int>(m_testers.size())
               ? m_testers[static_cast<std::size_t>(index)]
               : nullptr;
}

CUnitTesterBase* CUnitTestManager::FindTester(const CUniStr& name) {
    CGetLock hold(m_lock);
    for (CUnitTesterBase* tester : m_testers)
        if (tester->GetName().Compare(name, eIgnoreCase) == eEqual) return tester;
    return nullptr;
}

SUnitTestResult CUnitTestManager::Run(CUnitTesterBase& tester) {
    SUnitTestResult result;
    result.name = tester.GetName();
    const unsigned long long start = platform::MonotonicNanoseconds();
    try {
        result.passed = tester.RunTest(result.message) ? 1 : 0;
    } catch (const CZtException& e) {
        result.passed = 0;
        result.message = CUniStr(e.GetErrorString(0));
    } catch (const std::exception& e) {
        result.passed = 0;
        result.message = CUniStr(e.what());
    }
    result.seconds = static_cast<double>(platform::MonotonicNanoseconds() - start) / 1e9;
    return result;
}

}  // namespace ZtBase
