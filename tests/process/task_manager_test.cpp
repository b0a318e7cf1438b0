// Task managers: thread counts, the last-in-first-out and greatest-first orders (checked with tasks that
// record when they start), idleness, the orderly stop that drops what was not started, and the errors.
#include "ztbase/process/task_manager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "expect_error.h"
#include "ztbase/process/hold_release_flag.h"
#include "ztbase/process/process_manager.h"

using namespace ZtBase;

namespace {

std::atomic<int> gTaskBodies{0};

// Records its number when it starts; the first task of a test may hold the only worker at a gate.
struct Recorded : CParallelTaskRep {
    Recorded(int n, std::vector<int>* log, std::mutex* m, CZtHoldReleaseFlag* gate = nullptr)
        : number(n), order(log), lock(m), hold(gate) {
        ++gTaskBodies;
    }
    ~Recorded() override { --gTaskBodies; }
    void DoTask() override {
        {
            std::lock_guard<std::mutex> g(*lock);
            order->push_back(number);
        }
        if (hold) hold->Wait(0);
    }
    unsigned char operator>(const CParallelTaskRep& other) const override {
        return number > static_cast<const Recorded&>(other).number ? 1 : 0;
    }
    int number;
    std::vector<int>* order;
    std::mutex* lock;
    CZtHoldReleaseFlag* hold;
};

struct Counter : CParallelTaskRep {
    explicit Counter(std::atomic<int>* c) : count(c) {}
    void DoTask() override { ++*count; }
    std::atomic<int>* count;
};

void Add(detail::TaskManagerBase& m, CParallelTaskRep* body) {
    CParallelTask task(body);
    m.AddTask(task);
}

void WaitUntil(const std::function<bool()>& done) {
    for (int i = 0; i < 10000 && !done(); ++i) gZtProcessManager.Sleep(1);
}

TEST(TaskManager, ThreadCounts) {
    const unsigned cpus = gZtProcessManager.GetCPUCount();
    const std::pair<int, unsigned> cases[] = {{0, cpus}, {-1, cpus + 1}, {3, 3}};
    for (auto [asked, expected] : cases) {
        CParallelTaskManager m(asked);
        EXPECT_EQ(m.GetThreadCount(), expected);
        WaitUntil([&] { return m.GetActiveThreadCount() == expected; });
        EXPECT_EQ(m.GetActiveThreadCount(), expected);
        m.WaitForIdle();
        EXPECT_EQ(m.IsIdle(), 1);
    }
}

// One worker held by a first task; the rest queue up and then run in the manager's order.
template <class Manager>
std::vector<int> RunOrder(const std::vector<int>& numbers) {
    std::vector<int> order;
    std::mutex lock;
    CZtHoldReleaseFlag gate;
    gate.SetGo(0);
    Manager m(1);
    Add(m, new Recorded(-1, &order, &lock, &gate));
    WaitUntil([&] {
        std::lock_guard<std::mutex> g(lock);
        return !order.empty();
    });
    for (int n : numbers) Add(m, new Recorded(n, &order, &lock));
    EXPECT_EQ(m.IsIdle(), 0);
    gate.SetGo(1);
    m.WaitForIdle();
    order.erase(order.begin());
    return order;
}

TEST(TaskManager, LastInFirstOutAndGreatestFirst) {
    EXPECT_EQ(RunOrder<CParallelTaskManager>({1, 2, 3, 4, 5}), (std::vector<int>{5, 4, 3, 2, 1}));
    EXPECT_EQ(RunOrder<CPriorityTaskManager>({3, 1, 4, 1, 5, 9, 2, 6, 5, 3}),
              (std::vector<int>{9, 6, 5, 5, 4, 3, 3, 2, 1, 1}));
    EXPECT_EQ(gTaskBodies.load(), 0);
}

TEST(TaskManager, ManyTasksAndIdleness) {
    std::atomic<int> count{0};
    CParallelTaskManager m(4);
    for (int i = 0; i < 10000; ++i) Add(m, new Counter(&count));
    m.WaitForIdle();
    EXPECT_EQ(count.load(), 10000);
    EXPECT_EQ(m.IsIdle(), 1);
}

// The stop drops the tasks not started and releases every body; a task that adds during the stop is refused.
TEST(TaskManager, StoppingDropsWhatWasNotStartedAndRefusesNewTasks) {
    std::vector<int> order;
    std::mutex lock;
    std::atomic<bool> refused{false}, adding{false};
    std::atomic<int> count{0};
    struct Adder : CParallelTaskRep {
        detail::TaskManagerBase* manager;
        std::atomic<bool>* refused;
        std::atomic<bool>* adding;
        std::atomic<int>* count;
        void DoTask() override {
            *adding = true;
            for (int i = 0; i < 10000 && !*refused; ++i) {
                try {
                    Add(*manager, new Counter(count));
                } catch (const CZtSimpleException& e) {
                    *refused = e.GetExceptionErrorCode() == 10005 && e.GetLineNumber() == 547 &&
                               CUniStr(e.GetErrorString(0)) ==
                                   CUniStr("A task added to a queue that is trying to stop!");
                    return;
                }
                gZtProcessManager.Sleep(1);
            }
        }
    };
    CZtHoldReleaseFlag gate;
    gate.SetGo(0);
    {
        CParallelTaskManager m(1);
        Add(m, new Recorded(-1, &order, &lock, &gate));  // holds the only worker
        WaitUntil([&] {
            std::lock_guard<std::mutex> g(lock);
            return !order.empty();
        });
        for (int i = 0; i < 20; ++i) Add(m, new Recorded(i, &order, &lock));
        auto* adder = new Adder;
        adder->manager = &m;
        adder->refused = &refused;
        adder->adding = &adding;
        adder->count = &count;
        Add(m, adder);  // the last added: the next to run
        gate.SetGo(1);
        WaitUntil([&] { return adding.load(); });
    }  // the tasks queued behind the adder, and those it added, never run
    EXPECT_TRUE(refused.load());
    EXPECT_EQ(order, std::vector<int>{-1});
    EXPECT_EQ(count.load(), 0);
    EXPECT_EQ(gTaskBodies.load(), 0);
}

TEST(TaskManager, OrderingNotImplemented) {
    std::atomic<int> c{0};
    CParallelTask a(new Counter(&c)), b(new Counter(&c));
    test_support::ExpectError([&] { (void)(a > b); }, 10002, "Ordering not implemented for this type",
                              ".\\ztprocess");
}

// Producers add while WaitForIdle races them; then the manager is destroyed while they still add. A task
// holds the stop until every producer has been refused, so none of them outlives the manager.
TEST(TaskManager, ProducersRacingIdleWaitsAndTheStop) {
    std::atomic<int> count{0}, refusedAdds{0};
    auto m = std::make_unique<CParallelTaskManager>(2);
    std::vector<std::thread> producers;
    for (int p = 0; p < 3; ++p)
        producers.emplace_back([&] {
            for (int i = 0; i < 3000; ++i) Add(*m, new Counter(&count));
        });
    for (int i = 0; i < 20; ++i) {
        m->WaitForIdle();
        m->IsIdle();
    }
    for (auto& t : producers) t.join();
    m->WaitForIdle();
    EXPECT_EQ(count.load(), 9000);

    struct Holder : CParallelTaskRep {
        std::atomic<int>* refused;
        void DoTask() override {
            for (int i = 0; i < 10000 && *refused < 3; ++i) gZtProcessManager.Sleep(1);
        }
    };
    auto* holder = new Holder;
    holder->refused = &refusedAdds;
    Add(*m, holder);
    producers.clear();
    detail::TaskManagerBase* manager = m.get();  // the handle is cleared before the manager is destroyed
    for (int p = 0; p < 3; ++p)
        producers.emplace_back([&, manager] {
            for (;;) {
                try {
                    Add(*manager, new Counter(&count));
                } catch (const CZtSimpleException&) {
                    ++refusedAdds;
                    return;
                }
            }
        });
    while (count.load() < 9100) gZtProcessManager.Sleep(1);
    m.reset();
    for (auto& t : producers) t.join();
    EXPECT_EQ(refusedAdds.load(), 3);
}

}  // namespace
