// Memory pool allocate + release of 8 to 1,024-byte blocks against malloc/free.
#include <benchmark/benchmark.h>
#include <ztbase/base/memory_pool.h>

#include <cstdlib>
#include <random>
#include <vector>

namespace {
constexpr int kBatch = 256;

std::vector<unsigned> Sizes(int thread) {
    std::mt19937 rng(1234u + static_cast<unsigned>(thread));
    std::uniform_int_distribution<unsigned> size(8, 1024);
    std::vector<unsigned> v(kBatch);
    for (auto& s : v) s = size(rng);
    return v;
}

// A batch of blocks of random sizes is allocated, touched and released, in that order.
void BM_PoolAlloc_Ours(benchmark::State& state) {
    const auto sizes = Sizes(state.thread_index());
    std::vector<void*> blocks(kBatch);
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i) {
            unsigned granted;
            blocks[i] = ZtBase::gMemoryPoolManager.AllocateBlock(sizes[i], granted);
            *static_cast<char*>(blocks[i]) = 1;
        }
        for (int i = 0; i < kBatch; ++i) ZtBase::gMemoryPoolManager.ReleaseBlock(blocks[i]);
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

void BM_PoolAlloc_PeerMalloc(benchmark::State& state) {
    const auto sizes = Sizes(state.thread_index());
    std::vector<void*> blocks(kBatch);
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i) {
            blocks[i] = std::malloc(sizes[i]);
            *static_cast<char*>(blocks[i]) = 1;
        }
        for (int i = 0; i < kBatch; ++i) std::free(blocks[i]);
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

// One block at a time: the allocate/release round trip a short-lived string body makes.
void BM_PoolRoundTrip_Ours(benchmark::State& state) {
    const auto sizes = Sizes(state.thread_index());
    unsigned i = 0;
    for (auto _ : state) {
        unsigned granted;
        void* p = ZtBase::gMemoryPoolManager.AllocateBlock(sizes[i++ % kBatch], granted);
        benchmark::DoNotOptimize(p);
        ZtBase::gMemoryPoolManager.ReleaseBlock(p);
    }
}

void BM_PoolRoundTrip_PeerMalloc(benchmark::State& state) {
    const auto sizes = Sizes(state.thread_index());
    unsigned i = 0;
    for (auto _ : state) {
        void* p = std::malloc(sizes[i++ % kBatch]);
        benchmark::DoNotOptimize(p);
        std::free(p);
    }
}
}  // namespace

BENCHMARK(BM_PoolAlloc_Ours)->Threads(1)->Threads(2);
BENCHMARK(BM_PoolAlloc_PeerMalloc)->Threads(1)->Threads(2);
BENCHMARK(BM_PoolRoundTrip_Ours)->Threads(1)->Threads(2);
BENCHMARK(BM_PoolRoundTrip_PeerMalloc)->Threads(1)->Threads(2);
