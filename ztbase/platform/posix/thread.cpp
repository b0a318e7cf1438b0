// Threads on POSIX: a detached pthread whose state (identifier, start gate, end) lives in a block shared by
// the handle and the thread, so the handle can be waited on any number of times and outlive the thread.
#include <sys/resource.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "ztbase/platform/internal/platform.h"
#include "ztbase/platform/internal/system_calls.h"

namespace ZtBase::platform {

struct ThreadState {
    std::mutex mutex;
    std::condition_variable changed;
    unsigned (*entry)(void*) = nullptr;
    void* argument = nullptr;
    unsigned id = 0;
    bool known = false;    // id filled by the new thread
    bool resumed = false;  // the start gate is open
    bool finished = false;
};

class Thread {
public:
    std::shared_ptr<ThreadState> state;
};

namespace {

void* Trampoline(void* p) {
    // The thread's own reference keeps the state alive however early the handle is closed.
    std::shared_ptr<ThreadState> state(std::move(*static_cast<std::shared_ptr<ThreadState>*>(p)));
    delete static_cast<std::shared_ptr<ThreadState>*>(p);
    {
        std::unique_lock<std::mutex> hold(state->mutex);
        state->id = CurrentThreadId();
        state->known = true;
        state->changed.notify_all();
        state->changed.wait(hold, [&] { return state->resumed; });
    }
    state->entry(state->argument);
    std::lock_guard<std::mutex> hold(state->mutex);
    state->finished = true;
    state->changed.notify_all();
    return nullptr;
}

// Nice values for the documented priorities, and back.
int NiceOf(int priority) {
    return priority == -15 ? 19 : priority == 1 ? -5 : 0;
}
int PriorityOf(int nice) {
    if (nice >= 10) return -15;
    if (nice > 0) return -1;
    if (nice == 0) return 0;
    return nice >= -5 ? 1 : 2;
}

}  // namespace

void SleepMilliseconds(unsigned milliseconds) noexcept {
    timespec ts{static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000000L};
    while (::nanosleep(&ts, &ts) != 0) {
    }
}

Thread* CreateSuspendedThread(unsigned (*entry)(void*), void* argument, unsigned& id, int& error) noexcept {
    try {
        auto state = std::make_shared<ThreadState>();
        state->entry = entry;
        state->argument = argument;
        auto* forThread = new std::shared_ptr<ThreadState>(state);
        if (!gSystemCalls.startThread(Trampoline, forThread, error)) {
            delete forThread;
            return nullptr;
        }
        std::unique_lock<std::mutex> hold(state->mutex);
        state->changed.wait(hold, [&] { return state->known; });
        id = state->id;
        return new Thread{std::move(state)};
    } catch (...) {
        error = ENOMEM;
        return nullptr;
    }
}

void ResumeThread(Thread* thread) noexcept {
    std::lock_guard<std::mutex> hold(thread->state->mutex);
    thread->state->resumed = true;
    thread->state->changed.notify_all();
}

bool ThreadStillActive(Thread* thread) noexcept {
    std::lock_guard<std::mutex> hold(thread->state->mutex);
    return !thread->state->finished;
}

void WaitForThread(Thread* thread) noexcept {
    std::unique_lock<std::mutex> hold(thread->state->mutex);
    thread->state->changed.wait(hold, [&] { return thread->state->finished; });
}

int ThreadPriority(Thread* thread) noexcept {
    unsigned id;
    {
        std::lock_guard<std::mutex> hold(thread->state->mutex);
        if (thread->state->finished) return 0;
        id = thread->state->id;
    }
    errno = 0;
    const int nice = ::getpriority(PRIO_PROCESS, static_cast<id_t>(id));
    return errno ? 0 : PriorityOf(nice);
}

void SetThreadPriority(Thread* thread, int priority) noexcept {
    std::lock_guard<std::mutex> hold(thread->state->mutex);
    if (!thread->state->finished)
        ::setpriority(PRIO_PROCESS, static_cast<id_t>(thread->state->id), NiceOf(priority));
}

void CloseThread(Thread* thread) noexcept {
    delete thread;
}

}  // namespace ZtBase::platform
