// What the process tests share: how long a thread that is not blocked needs to get where it is going.
#pragma once

#include <chrono>
#include <future>

namespace process_support {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Long enough for a thread that is not blocked to get where it is going.
constexpr auto kSettle = 150ms;

inline bool Finished(std::future<void>& f, std::chrono::milliseconds within = kSettle) {
    return f.wait_for(within) == std::future_status::ready;
}

}  // namespace process_support
