// Running out of memory at each allocation in turn: the pools' fault hook (or a test's own operator new)
// makes the nth allocation fail as an exhausted heap would.
#pragma once

#include <gtest/gtest.h>
#include <ztbase/base/memory_pool.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/strings/unistr.h>

#include <functional>

namespace test_support {

// Which allocations fail: arm(n) makes the nth from now fail (arm(0) disarms), and reached() tells
// whether the nth was reached since.
struct AllocationFault {
    std::function<void(long long n)> arm;
    std::function<bool()> reached;
};

// The pools' allocations, through their fault hook.
inline AllocationFault PoolAllocations() {
    return {[](long long n) { ZtBase::gMemoryPoolManager.SetAllocationFault(n); },
            [] { return ZtBase::CMemoryPoolManager::AllocationFaultCountdown() <= 0; }};
}

// Runs attempt with the nth allocation failing, for n = 1, 2, ... until an attempt makes fewer
// allocations than n, and tells check each time whether the fault was reached and whether the attempt
// raised CMemoryError. Any other exception escapes to the test. Returns the last n.
inline long long ForEachFailingAllocation(
    const std::function<void()>& attempt,
    const std::function<void(long long n, bool reached, bool raised)>& check,
    const AllocationFault& fault = PoolAllocations(), long long limit = 100000) {
    for (long long n = 1; n <= limit; ++n) {
        bool raised = false;
        fault.arm(n);
        try {
            attempt();
        } catch (const ZtBase::CMemoryError&) {
            raised = true;
        } catch (const ZtBase::CZtException& e) {
            fault.arm(0);
            ADD_FAILURE() << "allocation " << n << " raised another error than CMemoryError: "
                          << ZtBase::CUniStr(e.GetErrorString(0)).ToUtf8();
            return n;
        } catch (...) {
            fault.arm(0);
            throw;
        }
        const bool reached = fault.reached();
        fault.arm(0);
        check(n, reached, raised);
        if (!reached) return n;
    }
    ADD_FAILURE() << "still allocating after " << limit;
    return limit;
}

}  // namespace test_support
