#include "ztbase/process/task_manager.h"

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
    CGetLock hold(m_lock);
    Push(task);
    if (m_waiting > 0) {
        --m_waiting;
        m_work.SetEvent();
    }
}

int TaskQueue::Take(CParallelTask& task) {
    CGetLock hold(m_lock);
    if (m_stopping) return 2;
    while (m_tasks.empty()) {
        if (++m_waiting == m_idleTarget) m_idle.SetEvent();
        m_lock.Unlock();
        m_work.Wait();
        m_lock.Lock();
        if (m_stopping) return 2;
    }
    task = Pop();
    return 1;
}

// Every waiting worker wakes and finds the queue stopping; the others find it at their next take. Tasks
// not started stay in the queue and go with it.
void TaskQueue::Stop() {
    CGetLock hold(m_lock);
    m_stopping = 1;
    for (; m_waiting > 0; --m_waiting) m_work.SetEvent();
}

bool TaskQueue::IsIdle(unsigned threads) {
    CGetLock hold(m_lock);
    return m_waiting >= threads && m_tasks.empty();
}

void TaskQueue::WaitForIdle(unsigned threads) {
    CGetLock hold(m_lock);
    m_idleTarget = threads;
    while (!(m_waiting >= m_idleTarget && m_tasks.empty())) {
        m_lock.Unlock();
        m_idle.Wait();
        m_lock.Lock();
    }
}

// ---- workers and managers -------------------------------------------------------------------------
unsigned TaskWorker::Run() {
    {
        CGetLock hold(m_manager.m_lock);
        ++m_manager.m_active;
    }
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
    {
        CGetLock hold(m_manager.m_lock);
        --m_manager.m_active;
    }
    m_manager.m_workerFinished.SetEvent();
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
    {
        CGetLock hold(m_lock);
        m_stopping = 1;
    }
    m_queue.Stop();
    if (!m_threads.empty()) m_workerFinished.Wait();
    for (CZtThread& thread : m_threads) {
        thread.WaitForThreadCompletion();
        thread.Release();
    }
}

void TaskManagerBase::AddTask(CParallelTask& task) {
    CGetLock hold(m_lock);
    if (m_stopping)
        throw CZtSimpleException(kErrThreadOrStructure,
                                 CUniStr("A task added to a queue that is trying to stop!"), ".\\ztprocess",
                                 547);
    m_queue.Add(task);
}

unsigned TaskManagerBase::GetActiveThreadCount() {
    CGetLock hold(m_lock);
    return m_active;
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
