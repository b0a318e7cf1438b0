#include "ztbase/process/task_manager.h"

#include <thread>
#include <utility>

#include "ztbase/base/error_codes.h"
#include "ztbase/base/line_sink.h"
#include "ztbase/errors/exceptions.h"
#include "ztbase/process/process_manager.h"

namespace ZtBase {

CParallelTaskRep::~CParallelTaskRep() = default;

unsigned char CParallelTaskRep::operator>(const CParallelTaskRep&) const {
    throw CZtSimpleException(kErrIllegalOperation, CUniStr("Ordering not implemented for this type"),
                             ".\\ztprocess", 570);
}

namespace detail {

// ---- the queue ------------------------------------------------------------------------------------
// Last in, first out: a stack. Greatest first: a binary max-heap in the array (children of i at 2i + 1 and
// 2i + 2), every comparison made with the tasks' operator>.
void TaskQueue::Push(const CParallelTask& task) {
    m_tasks.push_back(task);
    if (m_order == Order::kLastInFirstOut) return;
    for (std::size_t i = m_tasks.size() - 1; i > 0;) {
        const std::size_t parent = (i - 1) / 2;
        if (!(m_tasks[i] > m_tasks[parent])) break;
        std::swap(m_tasks[i], m_tasks[parent]);
        i = parent;
    }
}

CParallelTask TaskQueue::Pop() {
    if (m_order == Order::kLastInFirstOut) {
        CParallelTask task = std::move(m_tasks.back());
        m_tasks.pop_back();
        return task;
    }
    CParallelTask task = std::move(m_tasks.front());
    m_tasks.front() = std::move(m_tasks.back());
    m_tasks.pop_back();
    for (std::size_t i = 0, n = m_tasks.size();;) {
        const std::size_t left = 2 * i + 1, right = left + 1;
        std::size_t greatest = i;
        if (left < n && m_tasks[left] > m_tasks[greatest]) greatest = left;
        if (right < n && m_tasks[right] > m_tasks[greatest]) greatest = right;
        if (greatest == i) break;
        std::swap(m_tasks[i], m_tasks[greatest]);
        i = greatest;
    }
    return task;
}

void TaskQueue::Add(const CParallelTask& task) {
    std::lock_guard<std::mutex> hold(m_lock);
    if (m_stopping.load(std::memory_order_relaxed))
        throw CZtSimpleException(kErrThreadOrStructure,
                                 CUniStr("A task added to a queue that is trying to stop!"), ".\\ztprocess",
                                 547);
    Push(task);
    m_queued.store(m_tasks.size(), std::memory_order_release);
    if (m_sleeping > 0) {
        --m_sleeping;
        m_wake.release();
    }
}

// A worker that runs out of tasks while the producer is still adding finds the next one within a few
// hundred nanoseconds: spinning that long costs less than sleeping and being woken. On a machine with
// more runnable threads than processors the spin yields, so the producer is not kept from running.
void TaskQueue::AwaitWork(std::unique_lock<std::mutex>& hold) {
    ++m_waiting;
    if (m_idleWatchers > 0) m_idle.notify_all();
    hold.unlock();
    for (unsigned spin = 0; spin < 64; ++spin) {
        if (m_queued.load(std::memory_order_acquire) != 0 || m_stopping.load(std::memory_order_acquire))
            break;
        std::this_thread::yield();
    }
    hold.lock();
    if (m_tasks.empty() && !m_stopping.load(std::memory_order_relaxed)) {
        ++m_sleeping;
        hold.unlock();
        m_wake.acquire();
        hold.lock();
    }
    --m_waiting;
}

int TaskQueue::Take(CParallelTask& task) {
    std::unique_lock<std::mutex> hold(m_lock);
    for (;;) {
        if (m_stopping.load(std::memory_order_relaxed)) return 2;
        if (!m_tasks.empty()) break;
        AwaitWork(hold);
    }
    task = Pop();
    m_queued.store(m_tasks.size(), std::memory_order_release);
    return 1;
}

// Every sleeping worker wakes and finds the queue stopping; the others find it at their next take. Tasks
// not started stay in the queue and go with it.
void TaskQueue::Stop() {
    std::lock_guard<std::mutex> hold(m_lock);
    m_stopping.store(true, std::memory_order_release);
    for (; m_sleeping > 0; --m_sleeping) m_wake.release();
}

bool TaskQueue::IsIdle(unsigned threads) {
    std::lock_guard<std::mutex> hold(m_lock);
    return m_waiting >= threads && m_tasks.empty();
}

void TaskQueue::WaitForIdle(unsigned threads) {
    std::unique_lock<std::mutex> hold(m_lock);
    ++m_idleWatchers;
    m_idle.wait(hold, [&] { return m_waiting >= threads && m_tasks.empty(); });
    --m_idleWatchers;
}

// ---- workers and managers -------------------------------------------------------------------------
unsigned TaskWorker::Run() {
    m_manager.m_active.fetch_add(1, std::memory_order_acq_rel);
    CParallelTask task;
    while (m_manager.m_queue.Take(task) == 1) {
        try {
            task.DoTask();
        } catch (...) {
            // A task's failure ends the task, not the worker (a library exception has left its line already).
            DebugWriteLn("A task ended with an exception");
        }
        task.Release();
    }
    m_manager.m_active.fetch_sub(1, std::memory_order_acq_rel);
    return 0;
}

TaskManagerBase::TaskManagerBase(int threads, TaskQueue::Order order)
    : m_queue(order),
      m_threadCount(threads == 0    ? gZtProcessManager.GetCPUCount()
                    : threads == -1 ? gZtProcessManager.GetCPUCount() + 1
                                    : static_cast<unsigned>(threads)) {
    m_threads.reserve(m_threadCount);
}

TaskManagerBase::~TaskManagerBase() {
    m_queue.Stop();
    for (CZtThread& thread : m_threads) {
        thread.WaitForThreadCompletion();
        thread.Release();
    }
}

}  // namespace detail

CParallelTaskManager::CParallelTaskManager(int threads)
    : TaskManagerBase(threads, detail::TaskQueue::Order::kLastInFirstOut) {
    StartWorkers<CTaskThread>();
}
CParallelTaskManager::~CParallelTaskManager() = default;

CPriorityTaskManager::CPriorityTaskManager(int threads)
    : TaskManagerBase(threads, detail::TaskQueue::Order::kGreatestFirst) {
    StartWorkers<CPriorityTaskThread>();
}
CPriorityTaskManager::~CPriorityTaskManager() = default;

}  // namespace ZtBase
