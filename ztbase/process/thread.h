// Threads of the library: a reference-counted body, CZtThreadBase, whose subclasses supply Run(), and the
// handle CZtThread that shares it. A started thread is registered with gZtProcessManager before it runs
// (it waits at a start gate until then), leaves the registry when Run returns, and drops its own reference,
// so a thread that nobody else holds frees its body on its own thread at the end. Each thread writes
// "Beginning thread #" and "ending thread #" debug lines with its identifier in hexadecimal.
#pragma once

#include <atomic>

#include "ztbase/base/handle.h"
#include "ztbase/platform/export.h"

namespace ZtBase {

namespace platform {
class Thread;
}

enum ZtThreadPriority { eZtThreadPriorityLow = 0, eZtThreadPriorityNormal = 1, eZtThreadPriorityHigh = 2 };

class ZTBASE_API CZtThreadBase : public CRepBase {
public:
    CZtThreadBase() = default;
    CZtThreadBase(const CZtThreadBase&) = delete;
    CZtThreadBase& operator=(const CZtThreadBase&) = delete;
    // Writes "A thread is being deleted without being cleaned up!" when the thread still runs.
    ~CZtThreadBase() override;

    // The thread's work; its result is the thread's exit code.
    virtual unsigned Run() = 0;

    // Starts the thread. Raises 10005 "Attempt to begin a thread twice!!" for a second start and "Unable to
    // create a new thread" when the system refuses one.
    void BeginThread();
    // 1 (normal) before the start; then the system's priority grouped into 0, 1 and 2.
    ZtThreadPriority GetPriority();
    // 0 idle, 1 normal, 2 above normal; other values and a thread not started change nothing.
    void SetPriority(ZtThreadPriority priority);
    unsigned char IsThreadActive();
    void SetThreadIndex(unsigned index) noexcept { m_index.store(index, std::memory_order_relaxed); }
    unsigned GetThreadIndex() const noexcept { return m_index.load(std::memory_order_relaxed); }
    // Returns once the thread has ended; at once for a thread not started or finished.
    void WaitForThreadCompletion();
    // 0 not started, 1 starting, 2 running, 3 finished.
    unsigned GetState() const noexcept { return m_state.load(std::memory_order_acquire); }
    unsigned GetThreadId() const noexcept { return m_id; }

    // The new thread's body: runs Run, leaves the registry, finishes, drops its reference.
    unsigned ThreadInternalEntryPoint();

private:
    platform::Thread* m_handle = nullptr;
    unsigned m_id = 0;
    std::atomic<unsigned> m_state{0};
    std::atomic<unsigned> m_index{0xFFFFFFFFu};
};

class ZTBASE_API CZtThread : public ZtHandle<CZtThreadBase> {
public:
    CZtThread() noexcept = default;
    explicit CZtThread(CZtThreadBase* body) noexcept : ZtHandle(body) {}

    unsigned char Eq(const CZtThread& other) const noexcept { return m_rep == other.m_rep ? 1 : 0; }
    // Raises 10005 "Begin thread called on a NULL handle" for a null handle.
    void BeginThread() const;
    ZtThreadPriority GetPriority() const { return m_rep ? m_rep->GetPriority() : eZtThreadPriorityNormal; }
    void SetPriority(ZtThreadPriority priority) const {
        if (m_rep) m_rep->SetPriority(priority);
    }
    unsigned char IsThreadActive() const { return m_rep ? m_rep->IsThreadActive() : 0; }
    void SetThreadIndex(unsigned index) const noexcept {
        if (m_rep) m_rep->SetThreadIndex(index);
    }
    unsigned GetThreadIndex() const noexcept { return m_rep ? m_rep->GetThreadIndex() : 0xFFFFFFFFu; }
    void WaitForThreadCompletion() const {
        if (m_rep) m_rep->WaitForThreadCompletion();
    }
};

}  // namespace ZtBase
