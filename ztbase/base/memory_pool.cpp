#include "ztbase/base/memory_pool.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

namespace ZtBase {

namespace {
// Which pool serves a request only spreads load; no caller can see it. Each thread takes a group of
// kPoolsPerThread consecutive pools (the groups dealt out in turn to new threads) and visits the pools
// of its group round-robin with a counter of its own. Threads therefore rarely share a pool's cache
// lines, let alone contend for its lock, and no counter is written by two threads. A block still goes
// back to the pool named in its header, whichever thread releases it.
constexpr unsigned kPoolsPerThread = CMemoryPoolManager::kPoolsPerThread;
std::atomic<unsigned> gNextGroup{0};
// Constant-initialised with the initial-exec model: reaching them costs neither a guard nor a lookup call.
__attribute__((tls_model("initial-exec"))) constinit thread_local unsigned tGroupBase = 0;  // 0: none yet
__attribute__((tls_model("initial-exec"))) constinit thread_local unsigned tAllocationCounter = 0;

unsigned NextPoolIndex() noexcept {
    unsigned base = tGroupBase;
    if (base == 0) {
        base = 1 + gNextGroup.fetch_add(1, std::memory_order_relaxed) %
                       (CMemoryPoolManager::kPoolCount / kPoolsPerThread) * kPoolsPerThread;
        tGroupBase = base;
    }
    return base - 1 + tAllocationCounter++ % kPoolsPerThread;
}
std::atomic<bool> gClosing{false};

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

    static constexpr unsigned kHeaderBytes = 64;  // keeps blocks 16-byte aligned

    static Page* Of(void* block) {
        return reinterpret_cast<Page*>(reinterpret_cast<std::uintptr_t>(block) &
                                       ~std::uintptr_t{kPageSize - 1});
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
        char* b = reinterpret_cast<char*>(this) + kHeaderBytes + std::size_t{carved} * blockSize;
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
    static_assert(sizeof(Page) <= Page::kHeaderBytes);
    void* raw = std::aligned_alloc(kPageSize, kPageSize);
    if (!raw) return nullptr;
    Page* p = new (raw) Page;
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
    p->~Page();
    std::free(p);
}

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
    const unsigned k = (size - 1) / kClassStep;
    std::lock_guard<detail::SpinLock> guard(m_lock);
    Page* page = m_current[k];
    if (!page || !page->HasRoom()) {
        // A used-up page leaves no trace: it joins the list again when one of its blocks comes back.
        page = TakePage(k);
        if (!page) {
            granted = 0;
            return nullptr;
        }
        m_current[k] = page;
    }
    granted = page->blockSize;
    return page->Take();
}

void CMemoryPool::ReleaseBlock(void* block, unsigned size) {
    if (!block) return;
    if (size == 0 || size > kLargest) {
        std::free(block);
        return;
    }
    Page* page = Page::Of(block);
    std::lock_guard<detail::SpinLock> guard(m_lock);
    --page->used;
    if (gClosing.load(std::memory_order_relaxed)) {
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
    const unsigned k = (size - 1) / kClassStep;
    if (!page->listed && m_current[k] != page) {
        page->next = m_available[k];
        if (page->next) page->next->prev = page;
        m_available[k] = page;
        page->listed = true;
    }
}

void CMemoryPool::ReleaseMemory() {
    const bool closing = gClosing.load(std::memory_order_relaxed);
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
    unsigned n = 0;
    if (const Page* p = m_current[sizeClass]) n += p->Cached();
    for (const Page* p = m_available[sizeClass]; p; p = p->next) n += p->Cached();
    return n;
}

void* CMemoryPoolManager::AllocateBlock(unsigned size, unsigned& granted) {
    const unsigned index = NextPoolIndex();
    unsigned poolGranted = 0;
    // A request so large that the header does not fit in 32 bits cannot be served.
    if (size > ~0u - kHeaderSize) {
        granted = 0;
        return nullptr;
    }
    void* raw = m_pools[index].AllocateBlock(size + kHeaderSize, poolGranted);
    if (!raw) {
        granted = 0;
        return nullptr;
    }
    BlockHeader* h = static_cast<BlockHeader*>(raw);
    h->granted = poolGranted;
    h->pool = index;
    granted = poolGranted - kHeaderSize;
    return h + 1;
}

void CMemoryPoolManager::ReleaseBlock(void* block) {
    if (!block) return;
    const BlockHeader* h = HeaderOf(block);
    m_pools[h->pool % kPoolCount].ReleaseBlock(const_cast<BlockHeader*>(h), h->granted);
}

void CMemoryPoolManager::ReleaseMemory() {
    for (CMemoryPool& pool : m_pools) pool.ReleaseMemory();
}

void CMemoryPoolManager::PrepareForProgramClose() {
    for (CMemoryPool& pool : m_pools) {
        gClosing.store(true, std::memory_order_relaxed);
        pool.ReleaseMemory();
    }
}

unsigned CMemoryPoolManager::BlockGrantedSize(const void* block) {
    return block ? HeaderOf(block)->granted : 0;
}
unsigned CMemoryPoolManager::BlockPoolIndex(const void* block) {
    return block ? HeaderOf(block)->pool : 0;
}
unsigned char CMemoryPoolManager::IsClosing() {
    return gClosing.load(std::memory_order_relaxed) ? 1 : 0;
}

}  // namespace ZtBase
