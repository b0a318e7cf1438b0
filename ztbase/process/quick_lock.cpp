#include "ztbase/process/quick_lock.h"

#include <atomic>
#include <mutex>

namespace ZtBase {

namespace {

// Unlocks since the library loaded: a statistic only, so relaxed ordering is enough.
std::atomic<unsigned> gUnlockCount{0};

std::recursive_mutex& Section(void* p) {
    return *static_cast<std::recursive_mutex*>(p);
}

}  // namespace

CTLockable::~CTLockable() = default;

// ---- CQuickLock ---------------------------------------------------------------------------------
CQuickLock::CQuickLock() : m_section(new std::recursive_mutex) {}

CQuickLock::~CQuickLock() {
    delete static_cast<std::recursive_mutex*>(m_section);
}

void CQuickLock::Lock() {
    Section(m_section).lock();
}

unsigned char CQuickLock::TryLock() {
    Lock();
    return 1;
}

void CQuickLock::Unlock() {
    Section(m_section).unlock();
    gUnlockCount.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace ZtBase
