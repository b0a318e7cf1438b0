#include "ztbase/process/process_manager.h"

#include "ztbase/base/error_codes.h"
#include "ztbase/errors/exceptions.h"
#include "ztbase/platform/internal/platform.h"

namespace ZtBase {

namespace {
[[noreturn]] void ThreadingError(unsigned line) {
    throw CZtSimpleException(kErrThreadOrStructure, CUniStr("threading error"), ".\\ztprocess", line);
}
}  // namespace

CZtProcessManager::~CZtProcessManager() {
    delete m_threads.exchange(nullptr, std::memory_order_acq_rel);
    m_lock.Destroy();
}

void CZtProcessManager::InitData() {
    if (m_threads.load(std::memory_order_acquire)) return;
    auto* fresh = new std::vector<CZtThread>;
    std::vector<CZtThread>* expected = nullptr;
    if (!m_threads.compare_exchange_strong(expected, fresh, std::memory_order_acq_rel)) delete fresh;
}

void CZtProcessManager::AddThread(CZtThread& thread) {
    InitData();
    CGetLock hold(m_lock);
    if (thread.IsNull()) return;
    std::vector<CZtThread>& list = *m_threads.load(std::memory_order_acquire);
    thread.SetThreadIndex(static_cast<unsigned>(list.size()));
    list.push_back(thread);
}

void CZtProcessManager::RemoveThread(CZtThread& thread) {
    InitData();
    CGetLock hold(m_lock);
    if (thread.IsNull() || thread.GetThreadIndex() == 0xFFFFFFFFu) return;
    std::vector<CZtThread>& list = *m_threads.load(std::memory_order_acquire);
    if (list.empty()) ThreadingError(339);
    const unsigned index = thread.GetThreadIndex();
    if (index >= list.size()) ThreadingError(343);
    thread.SetThreadIndex(0xFFFFFFFFu);  // a thread not in the list has index -1
    if (index + 1 != list.size()) {
        list[index] = list.back();
        list[index].SetThreadIndex(index);
    }
    list.pop_back();
}

unsigned CZtProcessManager::GetThreadCount() {
    InitData();
    CGetLock hold(m_lock);
    return static_cast<unsigned>(m_threads.load(std::memory_order_acquire)->size());
}

CZtThread CZtProcessManager::GetThreadIdx(int i) {
    InitData();
    CGetLock hold(m_lock);
    const std::vector<CZtThread>& list = *m_threads.load(std::memory_order_acquire);
    if (i < 0 || static_cast<std::size_t>(i) >= list.size()) ThrowArrayBoundsException();
    return list[static_cast<std::size_t>(i)];
}

unsigned CZtProcessManager::GetOSThreadId() {
    InitData();
    return platform::CurrentThreadId();
}

unsigned CZtProcessManager::GetCPUCount() {
    return platform::ProcessorCount();
}

void CZtProcessManager::Sleep(unsigned milliseconds) {
    platform::SleepMilliseconds(milliseconds);
}

double CZtProcessManager::GetSystemTimer() const {
    if (!m_threads.load(std::memory_order_acquire)) return 1.0;
    return static_cast<double>(platform::MonotonicNanoseconds()) * 1e-9;
}

}  // namespace ZtBase
