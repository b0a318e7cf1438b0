// Running out of memory at each allocation in turn: the pools' fault hook makes the nth pool allocation
// fail as an exhausted heap would.
#pragma once

#include <gtest/gtest.h>
#include <ztbase/base/memory_pool.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/strings/unistr.h>

#include <functional>

namespace test_support {

// Runs attempt with the nth pool allocation failing, for n = 1, 2, ... until an attempt makes fewer
// allocations than n, and tells check each time whether the fault was reached and whether the attempt
// raised CMemoryError. Any other exception escapes to the test. Returns the last n.
inline long long ForEachFailingAllocation(
    const std::function<void()>& attempt,
    const std::function<void(long long n, bool reached, bool raised)>& check, long long limit = 100000) {
    using ZtBase::CMemoryPoolManager;
    for (long long n = 1; n <= limit; ++n) {
        bool raised = false;
        ZtBase::gMemoryPoolManager.SetAllocationFault(n);
        try {
            attempt();
        } catch (const ZtBase::CMemoryError&) {
            raised = true;
        } catch (const ZtBase::CZtException& e) {
            ZtBase::gMemoryPoolManager.SetAllocationFault(0);
            ADD_FAILURE() << "allocation " << n << " raised another error than CMemoryError: "
                          << ZtBase::CUniStr(e.GetErrorString(0)).ToUtf8();
            return n;
        } catch (...) {
            ZtBase::gMemoryPoolManager.SetAllocationFault(0);
            throw;
        }
        const bool reached = CMemoryPoolManager::AllocationFaultCountdown() <= 0;
        ZtBase::gMemoryPoolManager.SetAllocationFault(0);
        check(n, reached, raised);
        if (!reached) return n;
    }
    ADD_FAILURE() << "still allocating after " << limit;
    return limit;
}

}  // namespace test_support
