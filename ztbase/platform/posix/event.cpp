// Manual-reset events over a mutex and a condition variable.
#include <chrono>

#include "ztbase/platform/internal/platform.h"

namespace ZtBase::platform {

ManualResetEvent::ManualResetEvent(bool signalled) : m_signalled(signalled) {}

ManualResetEvent::~ManualResetEvent() = default;

// Waiters are woken while the mutex is held: a waiter that then destroys the event (a thread that ends and
// frees itself) cannot do so before this call has finished with it.
void ManualResetEvent::Set() {
    std::lock_guard<std::mutex> hold(m_mutex);
    m_signalled = true;
    m_changed.notify_all();
}

void ManualResetEvent::Reset() {
    std::lock_guard<std::mutex> hold(m_mutex);
    m_signalled = false;
}

void ManualResetEvent::Wait() {
    std::unique_lock<std::mutex> hold(m_mutex);
    m_changed.wait(hold, [this] { return m_signalled; });
}

bool ManualResetEvent::WaitFor(unsigned milliseconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    std::unique_lock<std::mutex> hold(m_mutex);
    return m_changed.wait_until(hold, deadline, [this] { return m_signalled; });
}

}  // namespace ZtBase::platform
