#include "ztbase/base/memory_pool.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>

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
    const unsigned classSize = kClassStep * (k + 1);
    {
        std::lock_guard<detail::SpinLock> guard(m_lock);
        if (FreeBlock* b = m_free[k]) {
            m_free[k] = b->next;
            // The next block of this list is handed out a while from now: fetch its link meanwhile, so
            // that popping it does not wait for memory.
            if (b->next) __builtin_prefetch(b->next, 1);
            granted = classSize;
            return b;
        }
    }
    void* p = std::malloc(classSize);
    granted = p ? classSize : 0;
    return p;
}

void CMemoryPool::ReleaseBlock(void* block, unsigned size) {
    if (!block) return;
    if (size == 0 || size > kLargest || gClosing.load(std::memory_order_relaxed)) {
        std::free(block);
        return;
    }
    const unsigned k = (size - 1) / kClassStep;
    FreeBlock* b = static_cast<FreeBlock*>(block);
    std::lock_guard<detail::SpinLock> guard(m_lock);
    b->next = m_free[k];
    m_free[k] = b;
}

void CMemoryPool::ReleaseMemory() {
    FreeBlock* lists[kClassCount];
    {
        std::lock_guard<detail::SpinLock> guard(m_lock);
        std::memcpy(lists, m_free, sizeof lists);
        std::memset(m_free, 0, sizeof m_free);
    }
    for (FreeBlock* head : lists) {
        while (head) {
            FreeBlock* next = head->next;
            std::free(head);
            head = next;
        }
    }
}

unsigned CMemoryPool::CachedBlocks(unsigned sizeClass) const {
    if (sizeClass >= kClassCount) return 0;
    std::lock_guard<detail::SpinLock> guard(m_lock);
    unsigned n = 0;
    for (FreeBlock* b = m_free[sizeClass]; b; b = b->next) ++n;
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
