// Small-block memory pools. The manager has 64 pools, each with 64 size classes of 16 bytes up to 1,024
// bytes; larger requests go to malloc. Every block handed out carries an 8-byte header (granted size, pool
// index) so that releasing needs only the pointer. A thread owns one pool from its first request to its
// end and uses it without a lock; a block it releases that another thread's pool gave out goes back to
// that pool through a lock-free list its owner collects. Pool 63 is never owned: threads beyond the 63
// that own pools share it under its lock.
//
// A class's blocks are carved from 16 KiB pages aligned to their size, and each page keeps the list of
// its own released blocks. A pool serves a class from one page until that page is used up, so blocks
// handed out one after another lie close together even after a great many have been released and
// reused; a page whose blocks are all back is carved again from its start.
#pragma once

#include <atomic>

#include "ztbase/base/spin_lock.h"
#include "ztbase/platform/export.h"

namespace ZtBase {

class ZTBASE_API CMemoryPool {
public:
    static constexpr unsigned kClassCount = 64;
    static constexpr unsigned kClassStep = 16;
    static constexpr unsigned kLargest = kClassCount * kClassStep;  // 1,024

    constexpr CMemoryPool() noexcept = default;
    CMemoryPool(const CMemoryPool&) = delete;
    CMemoryPool& operator=(const CMemoryPool&) = delete;

    // Size 0 gives null and granted 0. Up to 1,024 bytes the request is rounded up to its class and
    // served from the free list when it can be; larger requests are passed to malloc unchanged.
    void* AllocateBlock(unsigned size, unsigned& granted);
    // A null pointer is ignored. Blocks of a class size are kept for reuse unless the process is closing;
    // block must have come from this pool with a size of the same class.
    void ReleaseBlock(void* block, unsigned size);
    // Frees every page whose blocks are all back. While the process is closing, the released blocks of
    // pages still in use are given up as well (such a page is freed when its last block comes back).
    void ReleaseMemory();

    // Released blocks of class k that the pool can hand out again (for tests and statistics).
    unsigned CachedBlocks(unsigned sizeClass) const;

    static constexpr unsigned kPageSize = 16 * 1024;

    // ---- the owner's path, for the manager ----
    // A pool that one thread owns is used by that thread without a lock: these two are the operations
    // above without it. Blocks released by other threads come back through PushRemote, a lock-free list
    // that the owner collects (CollectRemote) when it needs a page, so the owner's own path takes no lock
    // and no atomic read-modify-write.
    void* AllocateOwned(unsigned size, unsigned& granted);
    void ReleaseOwned(void* block, unsigned size);
    // The owner's quickest path: a released block of the class kept at hand, or null; and a block put at
    // hand, false when the class has enough at hand (or the process is closing): then ReleaseOwned.
    void* TakeAtHand(unsigned sizeClass) noexcept;
    bool PutAtHand(void* block, unsigned sizeClass) noexcept;
    // Any thread: queues a block of this pool for its owner. The block's first 8 bytes are kept (the
    // manager's header); the link is written after them, so the block must be at least 16 bytes.
    void PushRemote(void* block) noexcept;
    // The owner: releases every queued block.
    void CollectRemote();
    // Ownership: TryOwn succeeds for one thread at a time, until Disown.
    bool TryOwn() noexcept;
    void Disown() noexcept;

    // Released blocks a class keeps at hand before they go back to their pages.
    static constexpr unsigned kHandLimit = 16;

private:
    struct Page;
    // A class's blocks at hand: released blocks handed out again first, without touching their pages
    // (each page keeps its own counts and list, spread over as many pages as there are classes in use).
    // A block at hand is still counted as out by its page.
    struct Hand {
        void* head = nullptr;
        unsigned count = 0;
    };
    void* AllocateFromPage(unsigned sizeClass, unsigned& granted);
    void ReleaseToPage(void* block, unsigned sizeClass);
    void ReturnHands();  // every block at hand goes back to its page
    Page* TakePage(unsigned sizeClass);
    void Unlink(Page* page);
    void FreePage(Page* page);

    alignas(64) Hand m_hand[kClassCount];
    Page* m_current[kClassCount] = {};    // the page each class is served from
    Page* m_available[kClassCount] = {};  // other pages with room, most recently freed first
    // The pool's lock only guards a free-list push or pop, so a spin lock serves better than a
    // re-entrant critical section here; no caller can observe the difference. An owned pool's owner does
    // not take it.
    mutable detail::SpinLock m_lock;
    alignas(64) std::atomic<void*> m_remote{nullptr};  // blocks released by other threads
    std::atomic<bool> m_owned{false};
};

class ZTBASE_API CMemoryPoolManager {
public:
    // Constants as enumerators, not static data members: a program using the library from a DLL may
    // take them by reference, and a constexpr member would need an exported definition for that.
    enum : unsigned {
        kPoolCount = 64,
        kHeaderSize = 8,
        // The pool no thread owns, shared under its lock by threads that find every other pool owned.
        kSharedPool = kPoolCount - 1,
    };

    constexpr CMemoryPoolManager() noexcept = default;
    CMemoryPoolManager(const CMemoryPoolManager&) = delete;
    CMemoryPoolManager& operator=(const CMemoryPoolManager&) = delete;

    // Returns size bytes (or more: granted tells how many are usable), or null with granted 0 when the
    // pool could not allocate. Never throws.
    void* AllocateBlock(unsigned size, unsigned& granted);
    void ReleaseBlock(void* block);
    // Frees the wholly free pages of the calling thread's pool, of the shared pool and of pools no thread
    // owns; a pool another live thread owns is left to it (its pages are settled when it ends and a later
    // thread asks).
    void ReleaseMemory();
    // From here on every released block is freed at once; nothing is cached while the process ends.
    void PrepareForProgramClose();

    // For the library's tests of running out of memory: from now on, the nth allocation of a pool block
    // (counting from 1, large blocks included) fails as an exhausted heap would; n <= 0 disarms. While armed,
    // the calling thread's allocations all take the counted path (nothing is kept at hand), so the fault
    // reaches every allocation site in turn. The countdown left tells whether the nth was reached: it is
    // at most 0 once it was.
    void SetAllocationFault(long long n);
    static long long AllocationFaultCountdown();

    CMemoryPool& GetPool(unsigned index) { return m_pools[index % kPoolCount]; }
    // The header in front of a block handed out by AllocateBlock.
    static unsigned BlockGrantedSize(const void* block);  // whole block, header included
    static unsigned BlockPoolIndex(const void* block);
    static unsigned char IsClosing();

private:
    void* AllocateElsewhere(unsigned size, unsigned& granted);  // all but a block at hand
    void ReleaseElsewhere(void* header, unsigned size, unsigned pool);

    CMemoryPool m_pools[kPoolCount];
};

ZTBASE_API extern CMemoryPoolManager gMemoryPoolManager;

}  // namespace ZtBase
