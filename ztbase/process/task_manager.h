// Task managers: a fixed pool of worker threads running tasks from one shared queue. CParallelTaskManager
// takes the most recently added task first (last in, first out); CPriorityTaskManager, built the same way
// over CPriorityTaskThread workers, takes the greatest task by the tasks' operator> (a binary max-heap in an
// array). Destroying a manager stops it: tasks not started are dropped, running ones finish, and every
// worker is joined. Adding a task to a manager that is stopping raises 10005.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <semaphore>
#include <vector>

#include "ztbase/platform/export.h"
#include "ztbase/process/task.h"
#include "ztbase/process/thread.h"

namespace ZtBase {

namespace detail {

#if defined(_WIN32)
// Where the standard semaphore has no futex under it (MinGW's), it can miss a release and leave a worker
// asleep for good; a mutex and a condition variable do its one job there.
class WakeSemaphore {
public:
    explicit WakeSemaphore(unsigned count) : m_count(count) {}
    void release() {
        {
            std::lock_guard<std::mutex> hold(m_mutex);
            ++m_count;
        }
        m_changed.notify_one();
    }
    void acquire() {
        std::unique_lock<std::mutex> hold(m_mutex);
        m_changed.wait(hold, [this] { return m_count > 0; });
        --m_count;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    unsigned m_count = 0;
};
#else
using WakeSemaphore = std::counting_semaphore<>;
#endif

// The queue with its lock, the counts that tell a worker to wait or the pool that it is idle, and the
// stop flag: adding and stopping meet under the one lock, so a task is either queued before the stop or
// refused.
class ZTBASE_API TaskQueue {
public:
    enum class Order : unsigned char { kLastInFirstOut, kGreatestFirst };
    explicit TaskQueue(Order order) : m_order(order) {}
    TaskQueue(const TaskQueue&) = delete;
    TaskQueue& operator=(const TaskQueue&) = delete;

    // Queues the task and wakes one sleeping worker; raises 10005 once the queue is stopping.
    void Add(const CParallelTask& task);
    // 1 with a task, 2 when the queue is stopping.
    int Take(CParallelTask& task);
    void Stop();
    bool IsIdle(unsigned threads);
    void WaitForIdle(unsigned threads);

private:
    void Push(const CParallelTask& task);
    CParallelTask Pop();
    // Called with the lock held by a worker that found no task: counts it as waiting, spins a little
    // for a task to come, then sleeps until one is added or the queue stops. Returns with the lock held.
    void AwaitWork(std::unique_lock<std::mutex>& hold);

    Order m_order;
    std::vector<CParallelTask> m_tasks;  // a stack, or a max-heap under operator>
    std::mutex m_lock;
    std::atomic<std::size_t> m_queued{0};  // m_tasks.size(), for the spin outside the lock
    std::atomic<bool> m_stopping{false};   // written under the lock
    unsigned m_waiting = 0;                // workers without a task (spinning or asleep)
    unsigned m_sleeping = 0;               // workers asleep, not yet woken
    WakeSemaphore m_wake{0};               // one release wakes one sleeping worker
    unsigned m_idleWatchers = 0;
    std::condition_variable m_idle;
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
    void AddTask(CParallelTask& task) { m_queue.Add(task); }
    unsigned char IsIdle() { return m_queue.IsIdle(m_threadCount) ? 1 : 0; }
    // Returns when every worker waits for work and the queue is empty.
    void WaitForIdle() { m_queue.WaitForIdle(m_threadCount); }
    // Workers that have entered their loop and not left it (one waiting for work counts).
    unsigned GetActiveThreadCount() const noexcept { return m_active.load(std::memory_order_acquire); }
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
    std::atomic<unsigned> m_active{0};
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
