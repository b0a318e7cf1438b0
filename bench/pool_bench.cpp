// Memory pool allocate + release of 8 to 1,024-byte blocks against glibc's malloc/free and, when it is
// installed, mimalloc's mi_malloc/mi_free.
#include <benchmark/benchmark.h>
#include <ztbase/base/memory_pool.h>

#include <cstdlib>
#ifdef ZT_HAVE_MIMALLOC
#include <mimalloc.h>
#endif
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

#ifdef ZT_HAVE_MIMALLOC
void BM_PoolAlloc_PeerMimalloc(benchmark::State& state) {
    const auto sizes = Sizes(state.thread_index());
    std::vector<void*> blocks(kBatch);
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i) {
            blocks[i] = mi_malloc(sizes[i]);
            *static_cast<char*>(blocks[i]) = 1;
        }
        for (int i = 0; i < kBatch; ++i) mi_free(blocks[i]);
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}
void BM_PoolRoundTrip_PeerMimalloc(benchmark::State& state) {
    const auto sizes = Sizes(state.thread_index());
    unsigned i = 0;
    for (auto _ : state) {
        void* p = mi_malloc(sizes[i++ % kBatch]);
        benchmark::DoNotOptimize(p);
        mi_free(p);
    }
}
BENCHMARK(BM_PoolAlloc_PeerMimalloc)->Threads(1)->Threads(2);
BENCHMARK(BM_PoolRoundTrip_PeerMimalloc)->Threads(1)->Threads(2);
#endif
BENCHMARK(BM_PoolAlloc_Ours)->Threads(1)->Threads(2);
BENCHMARK(BM_PoolAlloc_PeerMalloc)->Threads(1)->Threads(2);
BENCHMARK(BM_PoolRoundTrip_Ours)->Threads(1)->Threads(2);
BENCHMARK(BM_PoolRoundTrip_PeerMalloc)->Threads(1)->Threads(2);
