#include "ztbase/process/event.h"

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

// ---- CZtEvent -----------------------------------------------------------------------------------
TEST(ZtEvent, ThreeSignalsLetThreeWaitsPassAndBlockTheFourth) {
    CZtEvent event;
    event.SetEvent();
    event.SetEvent();
    event.SetEvent();
    auto three = std::async(std::launch::async, [&] {
        event.Wait();
        event.Wait();
        event.Wait();
    });
    ASSERT_TRUE(Finished(three, 5000ms));
    auto fourth = std::async(std::launch::async, [&] { event.Wait(); });
    EXPECT_FALSE(Finished(fourth));
    event.SetEvent();
    EXPECT_TRUE(Finished(fourth, 5000ms));
}

TEST(ZtEvent, EachSignalReleasesExactlyOneOfManyWaiters) {
    CZtEvent event;
    std::atomic<int> passed{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 6; ++i)
        waiters.emplace_back([&] {
            event.Wait();
            ++passed;
        });
    std::this_thread::sleep_for(50ms);
    for (int i = 0; i < 4; ++i) event.SetEvent();
    const auto until = Clock::now() + 5s;
    while (passed < 4 && Clock::now() < until) std::this_thread::sleep_for(1ms);
    std::this_thread::sleep_for(kSettle);
    EXPECT_EQ(passed.load(), 4);
    event.SetEvent();
    event.SetEvent();
    for (auto& t : waiters) t.join();
    EXPECT_EQ(passed.load(), 6);
}

TEST(ZtEvent, SignalsAndWaitsBalanceUnderStress) {
    CZtEvent event;
    constexpr int kProducers = 4, kConsumers = 4, kEach = 2000;
    std::vector<std::thread> threads;
    for (int i = 0; i < kConsumers; ++i)
        threads.emplace_back([&] {
            for (int k = 0; k < kProducers * kEach / kConsumers; ++k) event.Wait();
        });
    for (int i = 0; i < kProducers; ++i)
        threads.emplace_back([&] {
            for (int k = 0; k < kEach; ++k) event.SetEvent();
        });
    for (auto& t : threads) t.join();  // a lost signal would hang here
    // Nothing is left over: the next wait blocks.
    auto extra = std::async(std::launch::async, [&] { event.Wait(); });
    EXPECT_FALSE(Finished(extra));
    event.SetEvent();
    EXPECT_TRUE(Finished(extra, 5000ms));
}
