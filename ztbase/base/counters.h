// Interlocked counters. Each is one atomic read-modify-write; the result is the zero test of the new
// value, derived from the old value that the same operation returned (never a second read). They
// return 1 when the counter became 0, else 0; they do not return the new value.
#pragma once

#include <atomic>

namespace ZtBase {

namespace detail {
// The new value is zero exactly when the old one was -delta; comparing the old value avoids signed
// overflow in the test itself (the atomic operation wraps in two's complement).
template <class T>
inline unsigned char AtomicStepIsZero(T& counter, T delta, T zeroBefore) noexcept {
    return std::atomic_ref<T>(counter).fetch_add(delta, std::memory_order_acq_rel) == zeroBefore ? 1 : 0;
}
}  // namespace detail

// For the holder of one reference letting it go: 1 when it was the last. A count of 1 means the caller
// holds the only reference, so no other thread can reach the counter to change it: the acquire load that
// sees 1 then stands for the decrement, and the body goes without an atomic read-modify-write.
template <class T>
inline unsigned char ReleaseWasLast(T& counter) noexcept {
    if (std::atomic_ref<T>(counter).load(std::memory_order_acquire) == 1) return 1;
    return detail::AtomicStepIsZero(counter, T(-1), T(1));
}

inline unsigned char LockedIncrement(int& c) noexcept {
    return detail::AtomicStepIsZero(c, 1, -1);
}
inline unsigned char LockedDecrement(int& c) noexcept {
    return detail::AtomicStepIsZero(c, -1, 1);
}
inline unsigned char LockedIncrement(unsigned int& c) noexcept {
    return detail::AtomicStepIsZero(c, 1u, ~0u);
}
inline unsigned char LockedDecrement(unsigned int& c) noexcept {
    return detail::AtomicStepIsZero(c, ~0u, 1u);
}
inline unsigned char LockedIncrement(short& c) noexcept {
    return detail::AtomicStepIsZero<short>(c, 1, -1);
}
inline unsigned char LockedDecrement(short& c) noexcept {
    return detail::AtomicStepIsZero<short>(c, -1, 1);
}

}  // namespace ZtBase
