#include "ztbase/process/thread.h"

#include "ztbase/base/error_codes.h"
#include "ztbase/base/line_sink.h"
#include "ztbase/errors/exceptions.h"
#include "ztbase/platform/internal/platform.h"
#include "ztbase/process/process_manager.h"
#include "ztbase/strings/number_format.h"

namespace ZtBase {

namespace {

constexpr char kModule[] = ".\\ztprocess";
constexpr unsigned kNotStarted = 0, kStarting = 1, kRunning = 2, kFinished = 3;

[[noreturn]] void ThreadError(const char* message, unsigned line) {
    throw CZtSimpleException(kErrThreadOrStructure, CUniStr(message), kModule, line);
}

unsigned StartRoutine(void* body) {
    const CStr id = MakeStr(platform::CurrentThreadId(), 0, eHexadecimal);
    DebugWriteLn((CStr("Beginning thread #") + id).c_str());
    const unsigned result = static_cast<CZtThreadBase*>(body)->ThreadInternalEntryPoint();
    DebugWriteLn((CStr("ending thread #") + id).c_str());
    return result;
}

}  // namespace

// A body that its own thread deletes at the end (the last reference was the thread's) is cleaning up,
// not being deleted under a running thread: only another thread's deletion is reported.
CZtThreadBase::~CZtThreadBase() {
    if (!m_handle) return;
    if (platform::ThreadStillActive(m_handle) && platform::CurrentThreadId() != m_id)
        DebugWriteLn("A thread is being deleted without being cleaned up!");
    platform::CloseThread(m_handle);
}

void CZtThreadBase::BeginThread() {
    if (m_handle) ThreadError("Attempt to begin a thread twice!!", 150);
    m_state.store(kStarting, std::memory_order_release);
    int error = 0;
    m_handle = platform::CreateSuspendedThread(StartRoutine, this, m_id, error);
    if (!m_handle) ThreadError("Unable to create a new thread", 164);  // the state stays 1, as documented
    CZtThread registered;
    registered.SetRepTo(this);
    gZtProcessManager.AddThread(registered);
    platform::ResumeThread(m_handle);
}

ZtThreadPriority CZtThreadBase::GetPriority() {
    if (GetState() == kNotStarted || !m_handle) return eZtThreadPriorityNormal;
    const int p = platform::ThreadPriority(m_handle);
    if (p == -15 || p == -2 || p == -1) return eZtThreadPriorityLow;
    if (p == 1 || p == 2 || p == 15) return eZtThreadPriorityHigh;
    return eZtThreadPriorityNormal;
}

void CZtThreadBase::SetPriority(ZtThreadPriority priority) {
    if (!m_handle) return;
    if (priority == eZtThreadPriorityLow)
        platform::SetThreadPriority(m_handle, -15);
    else if (priority == eZtThreadPriorityNormal)
        platform::SetThreadPriority(m_handle, 0);
    else if (priority == eZtThreadPriorityHigh)
        platform::SetThreadPriority(m_handle, 1);
}

unsigned char CZtThreadBase::IsThreadActive() {
    return m_handle && platform::ThreadStillActive(m_handle) ? 1 : 0;
}

// The platform's wait returns once the start routine has returned: a finished thread (state 3) may still
// be writing its "ending thread #" line, and the wait also covers that last moment, so that nothing of the
// thread's runs after the join (the log may go next, at exit). A thread in state 1 is waited for the same
// way: the wait starts before the thread does.
void CZtThreadBase::WaitForThreadCompletion() {
    if (GetState() == kNotStarted || !m_handle) return;
    platform::WaitForThread(m_handle);
}

unsigned CZtThreadBase::ThreadInternalEntryPoint() {
    m_state.store(kRunning, std::memory_order_release);
    const unsigned result = Run();
    CZtThread self;
    self.SetRepTo(this);
    gZtProcessManager.RemoveThread(self);
    m_state.store(kFinished, std::memory_order_release);
    return result;  // self goes here: the last reference deletes the body on this thread
}

void CZtThread::BeginThread() const {
    if (!m_rep)
        throw CZtSimpleException(kErrThreadOrStructure, CUniStr("Begin thread called on a NULL handle"),
                                 kModule, 242);
    m_rep->BeginThread();
}

}  // namespace ZtBase
