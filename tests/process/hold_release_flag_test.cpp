#include "ztbase/process/hold_release_flag.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "process_support.h"
#include "ztbase/errors/exceptions.h"
#include "ztbase/strings/unistr.h"

using namespace ZtBase;
using namespace process_support;

// ---- CZtHoldReleaseFlag -------------------------------------------------------------------------
TEST(HoldReleaseFlag, TimedWaitOnAClosedGateThrows10011AfterTheLimit) {
    CZtHoldReleaseFlag gate;
    gate.SetGo(0);
    const auto start = Clock::now();
    try {
        gate.Wait(0.5);
        FAIL() << "no timeout";
    } catch (const CZtSimpleException& e) {
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        EXPECT_GE(seconds, 0.49);
        EXPECT_LT(seconds, 2.0);
        EXPECT_EQ(e.GetErrorCode(), 10011);
        EXPECT_EQ(CUniStr(e.GetErrorString(0)), CUniStr(u"A lock request wait has exceeded timeout limit"));
        EXPECT_EQ(CUniStr(e.GetModuleName()), CUniStr(u".\\ztprocess"));
        EXPECT_EQ(e.GetLineNumber(), 459u);
    }
}

TEST(HoldReleaseFlag, OpenGatePassesAtOnceAndLimitsAreWholeMilliseconds) {
    CZtHoldReleaseFlag gate;  // starts open
    const auto start = Clock::now();
    gate.Wait(0.5);
    gate.SetGo(0);
    gate.SetGo(1);
    gate.Wait(0.001);
    EXPECT_LT(Clock::now() - start, 100ms);
    gate.SetGo(0);
    // 1.9 ms truncates to 1 ms: a real limit, so a closed gate still times out.
    EXPECT_THROW(gate.Wait(0.0019), CZtSimpleException);
}

TEST(HoldReleaseFlag, UnlimitedWaitEndsWhenTheGateOpens) {
    CZtHoldReleaseFlag gate;
    gate.SetGo(0);
    auto waiter = std::async(std::launch::async, [&] { gate.Wait(0); });
    EXPECT_FALSE(Finished(waiter, 300ms));
    // Below one millisecond the limit truncates to 0, which also means no limit.
    auto fraction = std::async(std::launch::async, [&] { gate.Wait(0.0004); });
    EXPECT_FALSE(Finished(fraction));
    gate.SetGo(1);
    EXPECT_TRUE(Finished(waiter, 5000ms));
    EXPECT_TRUE(Finished(fraction, 5000ms));
    waiter.get();
    fraction.get();
}
