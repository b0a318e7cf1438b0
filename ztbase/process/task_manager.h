// Task managers: a fixed pool of worker threads running tasks from one shared queue. CParallelTaskManager
// takes the most recently added task first (last in, first out); CPriorityTaskManager, built the same way
// over CPriorityTaskThread workers, takes the greatest task by the tasks' operator> (a binary max-heap in an
// array). Destroying a manager stops it: tasks not started are dropped, running ones finish, and every
// worker is joined. Adding a task to a manager that is stopping raises 10005.
#pragma once

#include <vector>

#include "ztbase/platform/export.h"
#include "ztbase/process/event.h"
#include "ztbase/process/quick_lock.h"
#include "ztbase/process/task.h"
#include "ztbase/process/thread.h"

namespace ZtBase {

namespace detail {

// The queue with its lock, its events and the counts that tell a worker to wait or the pool that it is
// idle.
class ZTBASE_API TaskQueue {
public:
    enum class Order : unsigned char { kLastInFirstOut, kGreatestFirst };
    explicit TaskQueue(Order order) : m_order(order) {}
    TaskQueue(const TaskQueue&) = delete;
    TaskQueue& operator=(const TaskQueue&) = delete;

    // Queues the task and wakes one waiting worker.
    void Add(const CParallelTask& task);
    // 1 with a task, 2 when the queue is stopping.
    int Take(CParallelTask& task);
    void Stop();
    bool IsIdle(unsigned threads);
    void WaitForIdle(unsigned threads);

private:
    void Push(const CParallelTask& task);
    CParallelTask Pop();

    Order m_order;
    std::vector<CParallelTask> m_tasks;  // a stack, or a max-heap under operator>
    CQuickLock m_lock;
    CZtEvent m_work;
    unsigned m_waiting = 0;
    unsigned m_idleTarget = 0;
    CZtEvent m_idle;
    unsigned char m_stopping = 0;
};

class TaskManagerBase;

// A worker: takes tasks until its queue stops.
class ZTBASE_API TaskWorker : public CZtThreadBase {
public:
    explicit TaskWorker(TaskManagerBase& manager) : m_manager(manager) {}
    unsigned Run() override;

private:
    TaskManagerBase& m_manager;
};

class ZTBASE_API TaskManagerBase {
public:
    TaskManagerBase(const TaskManagerBase&) = delete;
    TaskManagerBase& operator=(const TaskManagerBase&) = delete;

    // Raises 10005 "A task added to a queue that is trying to stop!" once the manager is stopping.
    void AddTask(CParallelTask& task);
    unsigned char IsIdle() { return m_queue.IsIdle(m_threadCount) ? 1 : 0; }
    // Returns when every worker waits for work and the queue is empty.
    void WaitForIdle() { m_queue.WaitForIdle(m_threadCount); }
    // Workers that have entered their loop and not left it (one waiting for work counts).
    unsigned GetActiveThreadCount();
    unsigned GetThreadCount() const noexcept { return m_threadCount; }

protected:
    // threads: 0 as many as processors, -1 processors + 1, else the count itself.
    TaskManagerBase(int threads, TaskQueue::Order order);
    ~TaskManagerBase();
    // Starts the workers; the subclass calls it once its workers can be made.
    template <class Worker>
    void StartWorkers() {
        for (unsigned i = 0; i < m_threadCount; ++i) {
            m_threads.emplace_back(new Worker(*this));
            try {
                m_threads.back().BeginThread();
            } catch (...) {
                m_threads.pop_back();  // the destructor waits for started workers only
                throw;
            }
        }
    }

private:
    friend class TaskWorker;

    TaskQueue m_queue;
    std::vector<CZtThread> m_threads;
    unsigned m_threadCount;
    unsigned m_active = 0;
    CQuickLock m_lock;
    unsigned char m_stopping = 0;
    CZtEvent m_workerFinished;
};

}  // namespace detail

class CParallelTaskManager;
class CPriorityTaskManager;

// The worker of a CParallelTaskManager.
class ZTBASE_API CTaskThread : public detail::TaskWorker {
public:
    using TaskWorker::TaskWorker;
};

// The worker of a CPriorityTaskManager.
class ZTBASE_API CPriorityTaskThread : public detail::TaskWorker {
public:
    using TaskWorker::TaskWorker;
};

class ZTBASE_API CParallelTaskManager : public detail::TaskManagerBase {
public:
    explicit CParallelTaskManager(int threads = 0);
    ~CParallelTaskManager();
};

class ZTBASE_API CPriorityTaskManager : public detail::TaskManagerBase {
public:
    explicit CPriorityTaskManager(int threads = 0);
    ~CPriorityTaskManager();
};

}  // namespace ZtBase
