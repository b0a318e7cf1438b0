// Failures injected through the platform layer's table of system calls. While a fault object lives,
// its entry of the table is replaced; the real call is put back when it goes.
#pragma once

#include <cerrno>
#include <cstddef>

#include "ztbase/platform/internal/system_calls.h"

namespace test_support {

// The first `budget` bytes written (over every file) reach the disk; then each write fails with error
// (ENOSPC: the disk is full). A write that crosses the budget is cut short at it, as a filling disk does.
class FailWritesAfter {
public:
    explicit FailWritesAfter(long long budget, int error = ENOSPC) {
        s_budget = budget;
        s_error = error;
        s_tripped = false;
        ZtBase::platform::gSystemCalls.write = &Write;
    }
    ~FailWritesAfter() { ZtBase::platform::gSystemCalls.write = ZtBase::platform::kRealSystemCalls.write; }
    FailWritesAfter(const FailWritesAfter&) = delete;
    FailWritesAfter& operator=(const FailWritesAfter&) = delete;

    // Whether a write was refused.
    static bool Tripped() { return s_tripped; }

private:
    static long long Write(int file, const void* buffer, std::size_t count, int& error) {
        if (s_budget <= 0) {
            s_tripped = true;
            error = s_error;
            return -1;
        }
        if (static_cast<long long>(count) > s_budget) count = static_cast<std::size_t>(s_budget);
        const long long done = ZtBase::platform::kRealSystemCalls.write(file, buffer, count, error);
        if (done > 0) s_budget -= done;
        return done;
    }
    static inline long long s_budget = 0;
    static inline int s_error = 0;
    static inline bool s_tripped = false;
};

// Every synchronisation to the disk fails with EIO.
class FailSyncs {
public:
    FailSyncs() { ZtBase::platform::gSystemCalls.sync = &Sync; }
    ~FailSyncs() { ZtBase::platform::gSystemCalls.sync = ZtBase::platform::kRealSystemCalls.sync; }
    FailSyncs(const FailSyncs&) = delete;
    FailSyncs& operator=(const FailSyncs&) = delete;

private:
    static bool Sync(int, int& error) {
        error = EIO;
        return false;
    }
};

}  // namespace test_support
