// Threads on Windows: _beginthreadex creates the thread suspended, so the creator registers it before
// ResumeThread lets it run; the handle stays valid after the thread's end until CloseThread, and any
// number of waits may be made on it. Priorities are the system's own scale.
#include <process.h>

#include <new>

#include "ztbase/platform/internal/platform.h"
#include "ztbase/platform/internal/system_calls.h"
#include "ztbase/platform/win32/windows_api.h"

namespace ZtBase::platform {

class Thread {
public:
    HANDLE handle;
};

namespace {

// What the new thread runs, in a block of its own that it frees: the handle may be closed while it runs.
struct StartBlock {
    unsigned (*entry)(void*);
    void* argument;
};

unsigned __stdcall Start(void* p) {
    const StartBlock start = *static_cast<StartBlock*>(p);
    delete static_cast<StartBlock*>(p);
    return start.entry(start.argument);
}

// The documented scale is the system's: idle -15, below normal -1, normal 0, above normal 1, highest 2.
int Nearest(int priority) {
    if (priority <= -15) return THREAD_PRIORITY_IDLE;
    if (priority >= 15) return THREAD_PRIORITY_TIME_CRITICAL;
    if (priority < -2) return THREAD_PRIORITY_LOWEST;
    if (priority > 2) return THREAD_PRIORITY_HIGHEST;
    return priority;
}

}  // namespace

Thread* CreateSuspendedThread(unsigned (*entry)(void*), void* argument, unsigned& id, int& error) noexcept {
    Thread* thread = new (std::nothrow) Thread{nullptr};
    StartBlock* start = new (std::nothrow) StartBlock{entry, argument};
    if (thread && start)
        thread->handle = static_cast<HANDLE>(gSystemCalls.startThread(Start, start, id, error));
    else
        error = ERROR_NOT_ENOUGH_MEMORY;
    if (!thread || !thread->handle) {
        delete start;
        delete thread;
        return nullptr;
    }
    return thread;
}

void ResumeThread(Thread* thread) noexcept {
    ::ResumeThread(thread->handle);
}

bool ThreadStillActive(Thread* thread) noexcept {
    return ::WaitForSingleObject(thread->handle, 0) == WAIT_TIMEOUT;
}

void WaitForThread(Thread* thread) noexcept {
    ::WaitForSingleObject(thread->handle, INFINITE);
}

int ThreadPriority(Thread* thread) noexcept {
    if (!ThreadStillActive(thread)) return 0;
    const int priority = ::GetThreadPriority(thread->handle);
    return priority == THREAD_PRIORITY_ERROR_RETURN ? 0 : priority;
}

void SetThreadPriority(Thread* thread, int priority) noexcept {
    if (ThreadStillActive(thread)) ::SetThreadPriority(thread->handle, Nearest(priority));
}

void CloseThread(Thread* thread) noexcept {
    ::CloseHandle(thread->handle);
    delete thread;
}

}  // namespace ZtBase::platform
