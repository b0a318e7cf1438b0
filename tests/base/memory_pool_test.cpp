#include <gtest/gtest.h>
#include <ztbase/base/memory_pool.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

using namespace ZtBase;

namespace {

struct Granted {
    void* block;
    unsigned told;
};
Granted Allocate(unsigned size) {
    Granted g{nullptr, 12345};
    g.block = gMemoryPoolManager.AllocateBlock(size, g.told);
    return g;
}

TEST(MemoryPool, GrantedSizesFollowTheSixteenByteClassesAndTheHeader) {
    struct Case {
        unsigned asked, told, whole;
    } cases[] = {
        {1, 8, 16},          // 9 bytes with the header: the 16-byte class
        {8, 8, 16},          // exactly 16 with the header
        {9, 24, 32},         // 17 with the header: the next class
        {0, 8, 16},          // the header alone still needs a block
        {1008, 1016, 1024},  // the largest class
        {1016, 1016, 1024},  // 1,024 with the header: still the largest class
        {1017, 1017, 1025},  // 1,025 with the header bypasses the classes: exactly what was asked
        {100000, 100000, 100008},
    };
    for (const Case& c : cases) {
        Granted g = Allocate(c.asked);
        ASSERT_NE(g.block, nullptr) << c.asked;
        EXPECT_EQ(g.told, c.told) << "asked " << c.asked;
        EXPECT_EQ(CMemoryPoolManager::BlockGrantedSize(g.block), c.whole) << "asked " << c.asked;
        EXPECT_LT(CMemoryPoolManager::BlockPoolIndex(g.block), CMemoryPoolManager::kPoolCount);
        std::memset(g.block, 0xAB, g.told);  // the whole granted size is usable
        gMemoryPoolManager.ReleaseBlock(g.block);
    }
    gMemoryPoolManager.ReleaseBlock(nullptr);  // ignored
}

TEST(MemoryPool, PoolRefusesZeroAndRecyclesBlocksOfItsClass) {
    CMemoryPool pool;
    unsigned granted = 99;
    EXPECT_EQ(pool.AllocateBlock(0, granted), nullptr);
    EXPECT_EQ(granted, 0u);

    void* a = pool.AllocateBlock(40, granted);
    EXPECT_EQ(granted, 48u);
    pool.ReleaseBlock(a, granted);
    EXPECT_EQ(pool.CachedBlocks(2), 1u);
    // Any size of the same class gets the cached block back; another class does not.
    void* other = pool.AllocateBlock(50, granted);
    EXPECT_EQ(granted, 64u);
    EXPECT_NE(other, a);
    void* again = pool.AllocateBlock(33, granted);
    EXPECT_EQ(again, a);
    EXPECT_EQ(granted, 48u);
    EXPECT_EQ(pool.CachedBlocks(2), 0u);

    // Large blocks are never cached.
    void* big = pool.AllocateBlock(5000, granted);
    EXPECT_EQ(granted, 5000u);
    pool.ReleaseBlock(big, granted);
    pool.ReleaseBlock(again, 48);
    pool.ReleaseBlock(other, 64);
    pool.ReleaseBlock(nullptr, 16);
    EXPECT_EQ(pool.CachedBlocks(2), 1u);
    EXPECT_EQ(pool.CachedBlocks(3), 1u);
    pool.ReleaseMemory();
    EXPECT_EQ(pool.CachedBlocks(2), 0u);
    EXPECT_EQ(pool.CachedBlocks(3), 0u);
    EXPECT_EQ(pool.CachedBlocks(64), 0u);
}

// Releasing memory returns wholly free pages only: a page with a block still out keeps its released
// blocks, and the block out stays usable.
TEST(MemoryPool, ReleasingMemoryKeepsPagesStillInUse) {
    CMemoryPool pool;
    unsigned granted = 0;
    auto* kept = static_cast<char*>(pool.AllocateBlock(100, granted));  // class 6
    void* gone = pool.AllocateBlock(100, granted);
    void* other = pool.AllocateBlock(500, granted);  // class 31, its own page
    pool.ReleaseBlock(gone, 112);
    pool.ReleaseBlock(other, 512);
    pool.ReleaseMemory();
    EXPECT_EQ(pool.CachedBlocks(6), 1u);
    EXPECT_EQ(pool.CachedBlocks(31), 0u);
    std::memset(kept, 0x5A, 112);  // still the caller's (the sanitizer build checks it)
    EXPECT_EQ(pool.AllocateBlock(100, granted), gone) << "the released block of the kept page is reused";
    pool.ReleaseBlock(gone, 112);
    pool.ReleaseBlock(kept, 112);
    pool.ReleaseMemory();
    EXPECT_EQ(pool.CachedBlocks(6), 0u);
}

// Released blocks are kept at hand up to a limit and the rest go back to their pages: past the limit
// every block still comes back exactly once, and releasing memory returns those at hand as well.
TEST(MemoryPool, BlocksBeyondThoseAtHandGoBackToTheirPages) {
    CMemoryPool pool;
    unsigned granted = 0;
    constexpr unsigned n = CMemoryPool::kHandLimit + 5;
    std::vector<void*> blocks;
    for (unsigned i = 0; i < n; ++i) blocks.push_back(pool.AllocateBlock(64, granted));  // class 3
    for (void* b : blocks) pool.ReleaseBlock(b, 64);
    EXPECT_EQ(pool.CachedBlocks(3), n);
    std::vector<void*> again;
    for (unsigned i = 0; i < n; ++i) again.push_back(pool.AllocateBlock(60, granted));
    EXPECT_EQ(pool.CachedBlocks(3), 0u);
    std::sort(blocks.begin(), blocks.end());
    std::sort(again.begin(), again.end());
    EXPECT_EQ(again, blocks) << "each released block handed out once";
    for (void* b : again) pool.ReleaseBlock(b, 64);
    pool.ReleaseMemory();
    EXPECT_EQ(pool.CachedBlocks(3), 0u) << "the page, all its blocks back, is freed";
}

TEST(MemoryPool, ABlockReleasedOnAnotherThreadReturnsToItsOwnPool) {
    Granted g = Allocate(200);  // whole block 208: class 12
    const unsigned pool = CMemoryPoolManager::BlockPoolIndex(g.block);
    const unsigned cls = (CMemoryPoolManager::BlockGrantedSize(g.block) - 1) / 16;
    const unsigned before = gMemoryPoolManager.GetPool(pool).CachedBlocks(cls);
    std::thread([&] { gMemoryPoolManager.ReleaseBlock(g.block); }).join();
    EXPECT_EQ(gMemoryPoolManager.GetPool(pool).CachedBlocks(cls), before + 1);
}

TEST(MemoryPoolDeathTest, AfterPreparingForCloseBlocksAreFreedAtOnce) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            Granted g = Allocate(100);
            const unsigned pool = CMemoryPoolManager::BlockPoolIndex(g.block);
            gMemoryPoolManager.PrepareForProgramClose();
            bool ok = CMemoryPoolManager::IsClosing() == 1;
            for (unsigned k = 0; k < CMemoryPool::kClassCount; ++k)
                ok = ok && gMemoryPoolManager.GetPool(pool).CachedBlocks(k) == 0;
            gMemoryPoolManager.ReleaseBlock(g.block);
            for (unsigned k = 0; k < CMemoryPool::kClassCount; ++k)
                ok = ok && gMemoryPoolManager.GetPool(pool).CachedBlocks(k) == 0;
            std::exit(ok ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

// Several threads allocate, fill, check and release blocks of random sizes, some of them released by
// a different thread than the one that allocated them. A block handed out twice shows as a pattern
// overwritten by another thread.
TEST(MemoryPool, ConcurrentUseNeverHandsOutOneBlockTwice) {
    constexpr int kThreads = 4, kRounds = 4000;
    std::atomic<void*> exchange[kThreads] = {};
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            std::mt19937 rng(static_cast<unsigned>(t) * 7919u + 1u);
            std::vector<std::pair<unsigned char*, unsigned>> live;
            for (int r = 0; r < kRounds; ++r) {
                const unsigned size = 1 + rng() % 1500;
                unsigned granted = 0;
                auto* p = static_cast<unsigned char*>(gMemoryPoolManager.AllocateBlock(size, granted));
                if (!p || granted < size) ++failures;
                std::memset(p, t + 1, granted);
                live.emplace_back(p, granted);
                if (live.size() > 32 || rng() % 3 == 0) {
                    auto [q, n] = live[rng() % live.size()];
                    for (unsigned i = 0; i < n; ++i)
                        if (q[i] != t + 1) {
                            ++failures;
                            break;
                        }
                    std::erase(live, std::make_pair(q, n));
                    // Hand every fourth block to the next thread to release.
                    if (r % 4 == 0) q = static_cast<unsigned char*>(exchange[(t + 1) % kThreads].exchange(q));
                    gMemoryPoolManager.ReleaseBlock(q);
                }
            }
            for (auto [q, n] : live) gMemoryPoolManager.ReleaseBlock(q);
        });
    }
    for (auto& th : threads) th.join();
    for (auto& e : exchange) gMemoryPoolManager.ReleaseBlock(e.load());
    EXPECT_EQ(failures.load(), 0);
}

}  // namespace

// Each live thread owns a pool of its own; threads beyond the 63 owned pools share pool 63. Blocks
// released by other threads go back to their owners, who use them again.
TEST(MemoryPool, LiveThreadsOwnDistinctPoolsAndTheRestShareTheLast) {
    constexpr int kThreads = 80;
    std::vector<unsigned> pools(kThreads);
    std::vector<void*> blocks(kThreads);
    std::atomic<int> arrived{0}, released{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            unsigned granted = 0;
            blocks[t] = gMemoryPoolManager.AllocateBlock(100, granted);
            std::memset(blocks[t], t, 100);
            pools[t] = CMemoryPoolManager::BlockPoolIndex(blocks[t]);
            ++arrived;
            while (arrived < kThreads) std::this_thread::yield();
            // Release the next thread's block: mostly another owner's.
            void* other = blocks[(t + 1) % kThreads];
            EXPECT_EQ(static_cast<unsigned char*>(other)[99], static_cast<unsigned char>((t + 1) % kThreads));
            gMemoryPoolManager.ReleaseBlock(other);
            ++released;
            while (released < kThreads) std::this_thread::yield();
        });
    }
    for (auto& t : threads) t.join();
    std::vector<int> owners(CMemoryPoolManager::kPoolCount, 0);
    for (unsigned p : pools) ++owners[p];
    for (unsigned p = 0; p < CMemoryPoolManager::kSharedPool; ++p) EXPECT_LE(owners[p], 1) << "pool " << p;
    // The main thread owns one pool as well, so at least 80 - 62 threads shared the last one.
    EXPECT_GE(owners[CMemoryPoolManager::kSharedPool], kThreads - 62);
    // The pools of ended threads are free again: a new thread claims one and collects what was released.
    std::thread([] {
        unsigned granted = 0;
        void* b = gMemoryPoolManager.AllocateBlock(100, granted);
        EXPECT_LT(CMemoryPoolManager::BlockPoolIndex(b), CMemoryPoolManager::kSharedPool);
        gMemoryPoolManager.ReleaseBlock(b);
    }).join();
}
