// Task managers beside oneTBB's task_group on the same work in one run: 1,000,000 empty tasks and
// 1,000,000 tasks of about one microsecond, through as many threads as processors; and starting and
// joining one thread beside std::thread.
#include <benchmark/benchmark.h>
#include <tbb/global_control.h>
#include <tbb/task_group.h>
#include <ztbase/process/process_manager.h>
#include <ztbase/process/task_manager.h>

#include <atomic>
#include <chrono>
#include <thread>

using namespace ZtBase;

namespace {

constexpr int kTasks = 1000000;

// About one microsecond of arithmetic that the compiler cannot drop.
inline void Work(std::atomic<unsigned>& sink, unsigned spins) {
    unsigned x = spins;
    for (unsigned i = 0; i < spins; ++i) x = x * 1664525u + 1013904223u;
    sink.fetch_add(x & 1, std::memory_order_relaxed);
}

unsigned SpinsForOneMicrosecond() {
    static const unsigned spins = [] {
        std::atomic<unsigned> sink{0};
        unsigned n = 100;
        for (;;) {
            const auto t0 = std::chrono::steady_clock::now();
            for (int i = 0; i < 1000; ++i) Work(sink, n);
            const double us =
                std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - t0).count();
            if (us >= 500) return static_cast<unsigned>(n * 1000.0 / us);
            n *= 2;
        }
    }();
    return spins;
}

struct Job : CParallelTaskRep {
    std::atomic<unsigned>* sink;
    unsigned spins;
    Job(std::atomic<unsigned>* s, unsigned n) : sink(s), spins(n) {}
    void DoTask() override {
        if (spins) Work(*sink, spins);
    }
};

void Ours(benchmark::State& state, unsigned spins) {
    std::atomic<unsigned> sink{0};
    CParallelTaskManager manager(0);
    for (auto _ : state) {
        for (int i = 0; i < kTasks; ++i) {
            CParallelTask task(new Job(&sink, spins));
            manager.AddTask(task);
        }
        manager.WaitForIdle();
    }
    state.SetItemsProcessed(state.iterations() * kTasks);
}

void Tbb(benchmark::State& state, unsigned spins) {
    std::atomic<unsigned> sink{0};
    tbb::global_control threads(tbb::global_control::max_allowed_parallelism,
                                gZtProcessManager.GetCPUCount() + 1);
    for (auto _ : state) {
        tbb::task_group group;
        for (int i = 0; i < kTasks; ++i)
            group.run([&sink, spins] {
                if (spins) Work(sink, spins);
            });
        group.wait();
    }
    state.SetItemsProcessed(state.iterations() * kTasks);
}

void BM_EmptyTasks_Ours(benchmark::State& s) {
    Ours(s, 0);
}
void BM_EmptyTasks_PeerTbb(benchmark::State& s) {
    Tbb(s, 0);
}
void BM_MicrosecondTasks_Ours(benchmark::State& s) {
    Ours(s, SpinsForOneMicrosecond());
}
void BM_MicrosecondTasks_PeerTbb(benchmark::State& s) {
    Tbb(s, SpinsForOneMicrosecond());
}
BENCHMARK(BM_EmptyTasks_Ours)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_EmptyTasks_PeerTbb)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_MicrosecondTasks_Ours)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_MicrosecondTasks_PeerTbb)->Unit(benchmark::kMillisecond)->UseRealTime();

struct Nothing : CZtThreadBase {
    unsigned Run() override { return 0; }
};

void BM_StartAndJoinThread_Ours(benchmark::State& state) {
    for (auto _ : state) {
        CZtThread thread(new Nothing);
        thread.BeginThread();
        thread.WaitForThreadCompletion();
    }
}
void BM_StartAndJoinThread_PeerStdThread(benchmark::State& state) {
    for (auto _ : state) std::thread([] {}).join();
}
BENCHMARK(BM_StartAndJoinThread_Ours)->UseRealTime();
BENCHMARK(BM_StartAndJoinThread_PeerStdThread)->UseRealTime();

}  // namespace
