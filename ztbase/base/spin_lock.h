// A small test-and-test-and-set lock for very short critical sections (a free-list push or pop). It is
// constant-initialised, so objects that hold one are usable before any constructor has run.
#pragma once

#include <atomic>
#include <thread>

namespace ZtBase::detail {

class SpinLock {
public:
    constexpr SpinLock() noexcept = default;
    SpinLock(const SpinLock&) = delete;
    SpinLock& operator=(const SpinLock&) = delete;

    void lock() noexcept {
        for (unsigned spins = 0; m_held.exchange(true, std::memory_order_acquire);) {
            while (m_held.load(std::memory_order_relaxed)) {
                if (++spins < 64) {
#if defined(__x86_64__) || defined(__i386__)
                    __builtin_ia32_pause();
#endif
                } else {
                    std::this_thread::yield();
                }
            }
        }
    }
    void unlock() noexcept {
        m_held.store(false, std::memory_order_release);
    }

private:
    std::atomic<bool> m_held{false};
};

}  // namespace ZtBase::detail
