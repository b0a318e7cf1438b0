#include "ztbase/base/memory_pool.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

#include "ztbase/platform/internal/platform.h"

namespace ZtBase {

namespace {
// The pool the calling thread owns, plus one (0: none claimed yet). Constant-initialised with the
// initial-exec model: reaching it costs neither a guard nor a lookup call.
__attribute__((tls_model("initial-exec"))) constinit thread_local unsigned tPool = 0;
// Bit 0: the process is closing. Bit 1: an allocation fault is armed. Either keeps released blocks
// off the hands (one load on the release path, as before there was a fault to arm).
constexpr unsigned kClosingBit = 1, kFaultBit = 2;
std::atomic<unsigned> gState{0};
// The allocations left before the one that fails while a fault is armed.
std::atomic<long long> gFaultCountdown{0};
bool Closing() {
    return gState.load(std::memory_order_relaxed) & kClosingBit;
}
// Whether this allocation is the one an armed fault makes fail (each call counts one allocation).
bool FaultFires() {
    return (gState.load(std::memory_order_relaxed) & kFaultBit) &&
           gFaultCountdown.fetch_sub(1, std::memory_order_relaxed) == 1;
}

struct BlockHeader {
    std::uint32_t granted;
    std::uint32_t pool;
};
static_assert(sizeof(BlockHeader) == CMemoryPoolManager::kHeaderSize);

const BlockHeader* HeaderOf(const void* block) {
    return reinterpret_cast<const BlockHeader*>(static_cast<const char*>(block) - sizeof(BlockHeader));
}
}  // namespace

struct CMemoryPool::Page {
    struct FreeBlock {
        FreeBlock* next;
    };
    FreeBlock* free = nullptr;  // released blocks, most recent first
    Page* prev = nullptr;       // links of the class's list of available pages
    Page* next = nullptr;
    unsigned blockSize = 0;
    unsigned capacity = 0;   // blocks the page holds
    unsigned used = 0;       // blocks handed out and not yet back
    unsigned carved = 0;     // blocks carved in order since the page was last empty
    unsigned highWater = 0;  // the most blocks ever carved: those beyond carved were used before
    bool listed = false;     // on the class's list of available pages

    // The page's first kHeaderBytes hold its header, at an offset that depends on the size class. Pages
    // are aligned to their size, so headers all at the page start would share one set of the processor's
    // first-level cache (its sets repeat every 4 KiB), and with blocks of many classes in use the headers
    // would keep evicting each other: 16 places spread them over 16 sets.
    static constexpr unsigned kHeaderBytes = 1024;  // keeps blocks 16-byte aligned
    static constexpr std::size_t Place(unsigned sizeClass) { return std::size_t{sizeClass % 16} * 64; }
    char* Base() {
        return reinterpret_cast<char*>(reinterpret_cast<std::uintptr_t>(this) &
                                       ~std::uintptr_t{kPageSize - 1});
    }

    static Page* Of(void* block, unsigned sizeClass) {
        return reinterpret_cast<Page*>(
            (reinterpret_cast<std::uintptr_t>(block) & ~std::uintptr_t{kPageSize - 1}) + Place(sizeClass));
    }
    bool HasRoom() const { return free || carved < capacity; }
    void* Take() {
        ++used;
        if (FreeBlock* b = free) {
            free = b->next;
            // The next block of this list is handed out a while from now: fetch its link meanwhile, so
            // that taking it does not wait for memory.
            if (free) __builtin_prefetch(free, 1);
            return b;
        }
        char* b = Base() + kHeaderBytes + std::size_t{carved} * blockSize;
        if (++carved > highWater) highWater = carved;
        return b;
    }
    // Forgets the released blocks: the page is carved again from its start, in order.
    void Restart() {
        free = nullptr;
        carved = 0;
    }
    unsigned Cached() const {
        unsigned n = highWater - carved;
        for (const FreeBlock* b = free; b; b = b->next) ++n;
        return n;
    }
};

CMemoryPool::Page* CMemoryPool::TakePage(unsigned k) {
    if (Page* p = m_available[k]) {
        Unlink(p);
        return p;
    }
    static_assert(sizeof(Page) <= 64 && Page::Place(CMemoryPool::kClassCount - 1) + 64 <= Page::kHeaderBytes);
    void* raw = platform::AllocateAligned(kPageSize, kPageSize);
    if (!raw) return nullptr;
    Page* p = new (static_cast<char*>(raw) + Page::Place(k)) Page;
    p->blockSize = kClassStep * (k + 1);
    p->capacity = (kPageSize - Page::kHeaderBytes) / p->blockSize;
    return p;
}

void CMemoryPool::Unlink(Page* p) {
    const unsigned k = p->blockSize / kClassStep - 1;
    (p->prev ? p->prev->next : m_available[k]) = p->next;
    if (p->next) p->next->prev = p->prev;
    p->prev = p->next = nullptr;
    p->listed = false;
}

void CMemoryPool::FreePage(Page* p) {
    const unsigned k = p->blockSize / kClassStep - 1;
    if (p->listed) Unlink(p);
    if (m_current[k] == p) m_current[k] = nullptr;
    char* base = p->Base();
    p->~Page();
    platform::FreeAligned(base);
}

// The link of a queued block sits after the manager's 8-byte header, which stays readable.
namespace {
std::atomic<void*>& RemoteLink(void* block) {
    return *reinterpret_cast<std::atomic<void*>*>(static_cast<char*>(block) + 8);
}
}  // namespace

// ---- the owner's path ---------------------------------------------------------------------------
namespace {
void*& HandLink(void* block) {
    return *static_cast<void**>(block);
}
}  // namespace

__attribute__((always_inline)) inline void* CMemoryPool::TakeAtHand(unsigned k) noexcept {
    Hand& hand = m_hand[k];
    void* b = hand.head;
    if (b) {
        hand.head = HandLink(b);
        --hand.count;
    }
    return b;
}

__attribute__((always_inline)) inline bool CMemoryPool::PutAtHand(void* block, unsigned k) noexcept {
    Hand& hand = m_hand[k];
    if (hand.count >= kHandLimit || gState.load(std::memory_order_relaxed)) return false;
    HandLink(block) = hand.head;
    hand.head = block;
    ++hand.count;
    return true;
}

__attribute__((always_inline)) inline void* CMemoryPool::AllocateOwned(unsigned size, unsigned& granted) {
    const unsigned k = (size - 1) / kClassStep;
    if (void* b = TakeAtHand(k)) [[likely]] {
        granted = kClassStep * (k + 1);
        return b;
    }
    return AllocateFromPage(k, granted);
}

__attribute__((always_inline)) inline void CMemoryPool::ReleaseOwned(void* block, unsigned size) {
    const unsigned k = (size - 1) / kClassStep;
    if (!PutAtHand(block, k)) ReleaseToPage(block, k);
}

void* CMemoryPool::AllocateFromPage(unsigned k, unsigned& granted) {
    Page* page = m_current[k];
    if (!page || !page->HasRoom()) {
        // A used-up page leaves no trace: it joins the list again when one of its blocks comes back.
        // Blocks other threads gave back may make room first.
        CollectRemote();
        page = m_current[k];
        if (!page || !page->HasRoom()) {
            page = TakePage(k);
            if (!page) {
                granted = 0;
                return nullptr;
            }
            m_current[k] = page;
        }
    }
    granted = page->blockSize;
    return page->Take();
}

void CMemoryPool::ReleaseToPage(void* block, unsigned k) {
    Page* page = Page::Of(block, k);
    --page->used;
    if (Closing()) {
        if (page->used == 0) FreePage(page);
        return;
    }
    if (page->used == 0) {
        page->Restart();
    } else {
        auto* b = static_cast<Page::FreeBlock*>(block);
        b->next = page->free;
        page->free = b;
    }
    if (!page->listed && m_current[k] != page) {
        page->next = m_available[k];
        if (page->next) page->next->prev = page;
        m_available[k] = page;
        page->listed = true;
    }
}

void CMemoryPool::ReturnHands() {
    for (unsigned k = 0; k < kClassCount; ++k) {
        for (void* b = m_hand[k].head; b;) {
            void* next = HandLink(b);
            ReleaseToPage(b, k);
            b = next;
        }
        m_hand[k] = Hand{};
    }
}

// ---- the locked path: the owner's operations under the pool's lock ----------------------------------
void* CMemoryPool::AllocateBlock(unsigned size, unsigned& granted) {
    if (size == 0) {
        granted = 0;
        return nullptr;
    }
    if (size > kLargest) {
        void* p = std::malloc(size);
        granted = p ? size : 0;
        return p;
    }
    std::lock_guard<detail::SpinLock> guard(m_lock);
    return AllocateOwned(size, granted);
}

void CMemoryPool::ReleaseBlock(void* block, unsigned size) {
    if (!block) return;
    if (size == 0 || size > kLargest) {
        std::free(block);
        return;
    }
    std::lock_guard<detail::SpinLock> guard(m_lock);
    ReleaseOwned(block, size);
}

void CMemoryPool::ReleaseMemory() {
    const bool closing = Closing();
    // A page with no block out is freed; while closing, a page still in use gives up what it has left
    // and is freed when its last block comes back.
    auto settle = [&](Page* p) {
        if (p->used == 0) {
            FreePage(p);
        } else if (closing) {
            p->Restart();
            p->carved = p->highWater = p->capacity;
            if (p->listed) Unlink(p);
        }
    };
    std::lock_guard<detail::SpinLock> guard(m_lock);
    ReturnHands();
    for (unsigned k = 0; k < kClassCount; ++k) {
        if (Page* p = m_current[k]) settle(p);
        for (Page* p = m_available[k]; p;) {
            Page* next = p->next;
            settle(p);
            p = next;
        }
    }
}

unsigned CMemoryPool::CachedBlocks(unsigned sizeClass) const {
    if (sizeClass >= kClassCount) return 0;
    std::lock_guard<detail::SpinLock> guard(m_lock);
    unsigned n = m_hand[sizeClass].count;
    if (const Page* p = m_current[sizeClass]) n += p->Cached();
    for (const Page* p = m_available[sizeClass]; p; p = p->next) n += p->Cached();
    // Blocks other threads released and the owner has not collected yet (exact while nobody uses the pool).
    for (void* b = m_remote.load(std::memory_order_acquire); b;
         b = RemoteLink(b).load(std::memory_order_relaxed))
        if ((*static_cast<const std::uint32_t*>(b) - 1) / kClassStep == sizeClass) ++n;
    return n;
}

void CMemoryPool::PushRemote(void* block) noexcept {
    void* head = m_remote.load(std::memory_order_relaxed);
    do {
        RemoteLink(block).store(head, std::memory_order_relaxed);
    } while (
        !m_remote.compare_exchange_weak(head, block, std::memory_order_release, std::memory_order_relaxed));
}

void CMemoryPool::CollectRemote() {
    if (!m_remote.load(std::memory_order_relaxed)) return;
    for (void* b = m_remote.exchange(nullptr, std::memory_order_acquire); b;) {
        void* next = RemoteLink(b).load(std::memory_order_relaxed);
        ReleaseToPage(b, (*static_cast<const std::uint32_t*>(b) - 1) / kClassStep);  // the header's size
        b = next;
    }
}

bool CMemoryPool::TryOwn() noexcept {
    bool expected = false;
    return m_owned.compare_exchange_strong(expected, true, std::memory_order_acquire,
                                           std::memory_order_relaxed);
}

void CMemoryPool::Disown() noexcept {
    m_owned.store(false, std::memory_order_release);
}

// ---- the manager ------------------------------------------------------------------------------------
namespace {

constexpr unsigned kShared = CMemoryPoolManager::kSharedPool;
constexpr unsigned kGaveUp = ~0u;  // tPool once the thread's pool has been given back at its end

// Gives the thread's pool back when the thread ends; what the thread releases after that goes back
// through the owners' lists, and what it allocates comes from the shared pool.
struct PoolClaim {
    CMemoryPool* pool = nullptr;
    ~PoolClaim() {
        if (pool) pool->Disown();
        tPool = kGaveUp;
    }
};

// The calling thread's pool index: claims a free pool on the first call (collecting what other threads
// released into it meanwhile), or the shared pool when every other pool is owned.
unsigned ClaimPool(CMemoryPoolManager& manager) {
    if (tPool == kGaveUp) return kShared;
    static thread_local PoolClaim claim;
    for (unsigned i = 0; i < kShared; ++i) {
        CMemoryPool& pool = manager.GetPool(i);
        if (pool.TryOwn()) {
            claim.pool = &pool;
            tPool = i + 1;
            pool.CollectRemote();
            return i;
        }
    }
    tPool = kShared + 1;
    return kShared;
}

}  // namespace

namespace {
void* Stamp(void* raw, unsigned whole, unsigned pool) {
    BlockHeader* h = static_cast<BlockHeader*>(raw);
    h->granted = whole;
    h->pool = pool;
    return h + 1;
}
}  // namespace

// The common case inline: the thread's own pool has a block of the class at hand.
void* CMemoryPoolManager::AllocateBlock(unsigned size, unsigned& granted) {
    const unsigned index = tPool - 1;
    if (__builtin_expect(index < kShared && size <= CMemoryPool::kLargest - kHeaderSize, 1)) {
        const unsigned k = (size + kHeaderSize - 1) / CMemoryPool::kClassStep;
        if (void* raw = m_pools[index].TakeAtHand(k)) [[likely]] {
            const unsigned whole = CMemoryPool::kClassStep * (k + 1);
            granted = whole - kHeaderSize;
            return Stamp(raw, whole, index);
        }
    }
    return AllocateElsewhere(size, granted);
}

__attribute__((noinline)) void* CMemoryPoolManager::AllocateElsewhere(unsigned size, unsigned& granted) {
    if (FaultFires()) {
        granted = 0;
        return nullptr;
    }
    // A request so large that the header does not fit in 32 bits cannot be served.
    if (size > ~0u - kHeaderSize) {
        granted = 0;
        return nullptr;
    }
    const unsigned whole = size + kHeaderSize;
    unsigned index = tPool - 1;
    if (index >= kShared) index = index == kShared ? kShared : ClaimPool(*this);
    void* raw;
    unsigned poolGranted = 0;
    if (whole > CMemoryPool::kLargest) {
        raw = std::malloc(whole);
        poolGranted = raw ? whole : 0;
    } else if (index != kShared) {
        raw = m_pools[index].AllocateOwned(whole, poolGranted);
    } else {
        raw = m_pools[kShared].AllocateBlock(whole, poolGranted);
    }
    if (!raw) {
        granted = 0;
        return nullptr;
    }
    granted = poolGranted - kHeaderSize;
    return Stamp(raw, poolGranted, index);
}

void CMemoryPoolManager::ReleaseBlock(void* block) {
    if (!block) return;
    BlockHeader* h = const_cast<BlockHeader*>(HeaderOf(block));
    const unsigned size = h->granted, pool = h->pool % kPoolCount;
    if (__builtin_expect(pool + 1 == tPool && pool != kShared && size - 1 < CMemoryPool::kLargest, 1) &&
        m_pools[pool].PutAtHand(h, (size - 1) / CMemoryPool::kClassStep)) [[likely]]
        return;
    ReleaseElsewhere(h, size, pool);
}

__attribute__((noinline)) void CMemoryPoolManager::ReleaseElsewhere(void* h, unsigned size, unsigned pool) {
    if (size > CMemoryPool::kLargest) {
        std::free(h);
    } else if (pool + 1 == tPool && pool != kShared) {
        m_pools[pool].ReleaseOwned(h, size);
    } else if (pool == kShared) {
        m_pools[kShared].ReleaseBlock(h, size);
    } else {
        m_pools[pool].PushRemote(h);
    }
}

void CMemoryPoolManager::ReleaseMemory() {
    const unsigned own = tPool - 1;
    for (unsigned i = 0; i < kPoolCount; ++i) {
        CMemoryPool& pool = m_pools[i];
        if (i == kShared) {
            pool.ReleaseMemory();
        } else if (i == own) {
            pool.CollectRemote();
            pool.ReleaseMemory();
        } else if (pool.TryOwn()) {  // no thread owns it: settle it now
            pool.CollectRemote();
            pool.ReleaseMemory();
            pool.Disown();
        }
    }
}

void CMemoryPoolManager::PrepareForProgramClose() {
    gState.fetch_or(kClosingBit, std::memory_order_relaxed);
    ReleaseMemory();
}

void CMemoryPoolManager::SetAllocationFault(long long n) {
    if (n <= 0) {
        gState.fetch_and(~kFaultBit, std::memory_order_relaxed);
        return;
    }
    gFaultCountdown.store(n, std::memory_order_relaxed);
    gState.fetch_or(kFaultBit, std::memory_order_relaxed);
    // Every allocation of the calling thread must reach the counted path: the blocks at hand go back to
    // their pages, and none is put at hand while the fault is armed.
    const unsigned own = tPool - 1;
    if (own < kShared) m_pools[own].ReleaseMemory();
}

long long CMemoryPoolManager::AllocationFaultCountdown() {
    return gFaultCountdown.load(std::memory_order_relaxed);
}

unsigned CMemoryPoolManager::BlockGrantedSize(const void* block) {
    return block ? HeaderOf(block)->granted : 0;
}
unsigned CMemoryPoolManager::BlockPoolIndex(const void* block) {
    return block ? HeaderOf(block)->pool : 0;
}
unsigned char CMemoryPoolManager::IsClosing() {
    return Closing() ? 1 : 0;
}

}  // namespace ZtBase
