#include "ztbase/base/memory_pool.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace ZtBase {

namespace {
// The allocation counter only spreads load over the pools. Each thread keeps its own, starting where
// the previous thread's start left off, so that two threads do not fight over one counter's cache line
// on every allocation; on one thread the requests still visit the pools in turn.
std::atomic<unsigned> gNextThreadStart{0};
// initial-exec: a fixed offset from the thread pointer instead of a call per access.
__attribute__((tls_model("initial-exec"))) thread_local unsigned tAllocationCounter = gNextThreadStart.fetch_add(CMemoryPoolManager::kPoolCount / 2 + 1,
                                                                       std::memory_order_relaxed);
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
    const unsigned index = tAllocationCounter++ % kPoolCount;
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

unsigned CMemoryPoolManager::BlockGrantedSize(const void* block) { return block ? HeaderOf(block)->granted : 0; }
unsigned CMemoryPoolManager::BlockPoolIndex(const void* block) { return block ? HeaderOf(block)->pool : 0; }
unsigned char CMemoryPoolManager::IsClosing() { return gClosing.load(std::memory_order_relaxed) ? 1 : 0; }

}  // namespace ZtBase
