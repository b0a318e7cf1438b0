#include "ztbase/process/locks.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "ztbase/errors/exceptions.h"
#include "ztbase/strings/unistr.h"

using namespace ZtBase;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

// Long enough for a thread that is not blocked to get where it is going.
constexpr auto kSettle = 150ms;

bool Finished(std::future<void>& f, std::chrono::milliseconds within = kSettle) {
    return f.wait_for(within) == std::future_status::ready;
}

}  // namespace

// ---- CQuickLock ---------------------------------------------------------------------------------
// TryLock waits for the owner rather than fail, and returns 1; the owner re-enters, and the lock is free
// only after as many unlocks as locks.
TEST(QuickLock, TryLockWaitsAndTheOwnerReenters) {
    CQuickLock lock;
    lock.Lock();
    EXPECT_EQ(lock.TryLock(), 1);
    lock.Lock();
    std::atomic<bool> released{false}, sawRelease{false};
    auto other = std::async(std::launch::async, [&] {
        const unsigned char r = lock.TryLock();
        sawRelease = released.load();
        lock.Unlock();
        return r;
    });
    lock.Unlock();
    lock.Unlock();
    EXPECT_EQ(other.wait_for(kSettle), std::future_status::timeout);  // one level is still held
    released = true;
    lock.Unlock();
    EXPECT_EQ(other.get(), 1);
    EXPECT_TRUE(sawRelease);
}

TEST(QuickLock, GuardsCountersUnderContention) {
    CQuickLock lock;
    long counter = 0;  // plain on purpose: the lock is what keeps it consistent
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 20000; ++i) {
                CGetLock hold(lock);
                ++counter;
            }
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(counter, 8 * 20000);
}

namespace {
struct Counted {
    static inline std::atomic<int> constructions{0};
    Counted() {
        ++constructions;
        std::this_thread::sleep_for(20ms);  // widen the window in which a second construction could start
    }
};
}  // namespace

TEST(SingletonClass, ConstructsOnceUnderConcurrentFirstUse) {
    static SingletonClass<Counted> single;
    std::vector<std::future<Counted*>> users;
    for (int i = 0; i < 8; ++i) users.push_back(std::async(std::launch::async, [] { return &single.Get(); }));
    Counted* first = users[0].get();
    for (std::size_t i = 1; i < users.size(); ++i) EXPECT_EQ(users[i].get(), first);
    EXPECT_EQ(Counted::constructions.load(), 1);
}

TEST(SingletonClass, GuardLocksTheSingleLock) {
    static SingletonClass<CQuickLock> single;
    auto held = std::make_unique<CGetLock>(single);
    auto other = std::async(std::launch::async, [] { CGetLock hold(single); });
    EXPECT_FALSE(Finished(other));
    held.reset();
    EXPECT_TRUE(Finished(other, 5000ms));
}

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

// ---- CZtReadWriteLock ---------------------------------------------------------------------------
TEST(ReadWriteLock, WaitingWriterGoesBeforeLaterReaders) {
    CZtReadWriteLock lock;
    std::atomic<int> inside{0};
    std::promise<void> releaseReaders;
    std::shared_future<void> release = releaseReaders.get_future().share();
    auto reader = [&] {
        CGetReadLock hold(lock);
        ++inside;
        release.wait();
    };
    auto r1 = std::async(std::launch::async, reader);
    auto r2 = std::async(std::launch::async, reader);
    const auto until = Clock::now() + 5s;
    while (inside < 2 && Clock::now() < until) std::this_thread::sleep_for(1ms);
    ASSERT_EQ(inside.load(), 2);  // two readers at once

    std::vector<std::string> order;
    std::mutex orderLock;
    auto note = [&](const char* who) {
        std::lock_guard<std::mutex> g(orderLock);
        order.push_back(who);
    };
    std::promise<void> releaseWriter;
    auto writer = std::async(std::launch::async, [&, done = releaseWriter.get_future().share()] {
        CGetWriteLock hold(lock);
        note("writer");
        done.wait();
    });
    EXPECT_FALSE(Finished(writer));
    // The late reader comes only once the writer is waiting (however slowly the writer's thread starts).
    const auto until1 = Clock::now() + 5s;
    while (lock.GetWaitingWriters() < 1 && Clock::now() < until1) std::this_thread::sleep_for(1ms);
    ASSERT_EQ(lock.GetWaitingWriters(), 1);
    auto late = std::async(std::launch::async, [&] {
        CGetReadLock hold(lock);
        note("late reader");
    });
    EXPECT_FALSE(Finished(late));  // the waiting writer keeps it out

    releaseReaders.set_value();
    r1.get();
    r2.get();
    const auto until2 = Clock::now() + 5s;
    while (Clock::now() < until2) {
        std::lock_guard<std::mutex> g(orderLock);
        if (!order.empty()) break;
    }
    EXPECT_FALSE(Finished(late));  // still out while the writer holds the lock
    releaseWriter.set_value();
    writer.get();
    late.get();
    ASSERT_EQ(order.size(), 2u);
    EXPECT_EQ(order[0], "writer");
    EXPECT_EQ(order[1], "late reader");
}

TEST(ReadWriteLock, WriterReentersAndReadsAndMustReleaseEachTime) {
    CZtReadWriteLock lock;
    lock.GetWriteLock();
    lock.GetWriteLock();
    lock.GetReadLock();
    auto other = std::async(std::launch::async, [&] { CGetWriteLock hold(lock); });
    lock.ReleaseReadLock();
    lock.ReleaseWriteLock();
    EXPECT_FALSE(Finished(other));  // one write level is still held
    lock.ReleaseWriteLock();
    EXPECT_TRUE(Finished(other, 5000ms));
    // Afterwards the lock is free for readers of other threads.
    auto reader = std::async(std::launch::async, [&] { CGetReadLock hold(lock); });
    EXPECT_TRUE(Finished(reader, 5000ms));
}

TEST(ReadWriteLock, AReaderAskingForTheWriteLockWaitsForItself) {
    CZtReadWriteLock lock;
    std::promise<void> hasRead;
    std::atomic<bool> wrote{false};
    auto t = std::async(std::launch::async, [&] {
        lock.GetReadLock();
        hasRead.set_value();
        lock.GetWriteLock();  // never an upgrade: waits until readers reaches 0
        wrote = true;
        lock.ReleaseWriteLock();
    });
    hasRead.get_future().wait();
    EXPECT_FALSE(Finished(t, 300ms));
    EXPECT_FALSE(wrote);
    lock.ReleaseReadLock();  // read locks are not owned: any thread may give this one back
    EXPECT_TRUE(Finished(t, 5000ms));
    EXPECT_TRUE(wrote);
}

TEST(ReadWriteLock, ExclusionHoldsUnderStress) {
    CZtReadWriteLock lock;
    std::atomic<int> readers{0}, writers{0}, violations{0};
    long long shared = 0;  // written only under the write lock, read under the read lock
    std::atomic<long long> writes{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&, t] {
            std::mt19937 rng(1234u + static_cast<unsigned>(t));
            for (int i = 0; i < 3000; ++i) {
                const unsigned pick = rng() % 10;
                if (pick < 7) {
                    CGetReadLock hold(lock);
                    ++readers;
                    if (writers != 0) ++violations;
                    volatile long long seen = shared;
                    (void)seen;
                    --readers;
                } else if (pick < 9) {
                    CGetWriteLock hold(lock);
                    if (++writers != 1 || readers != 0) ++violations;
                    ++shared;
                    ++writes;
                    --writers;
                } else {
                    // Nested: write, write again, read while writing.
                    CGetWriteLock outer(lock);
                    if (++writers != 1 || readers != 0) ++violations;
                    {
                        CGetWriteLock inner(lock);
                        CGetReadLock read(lock);
                        shared += 2;
                        writes += 2;
                    }
                    --writers;
                }
            }
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(violations.load(), 0);
    EXPECT_EQ(shared, writes.load());
    // Fully released: a writer gets in at once.
    auto last = std::async(std::launch::async, [&] { CGetWriteLock hold(lock); });
    EXPECT_TRUE(Finished(last, 5000ms));
}

TEST(Locks, CopiesAreFreshObjects) {
    CZtEvent a;
    a.SetEvent();
    CZtEvent b(a);  // a copy carries no signals
    auto w = std::async(std::launch::async, [&] { b.Wait(); });
    EXPECT_FALSE(Finished(w));
    b.SetEvent();
    EXPECT_TRUE(Finished(w, 5000ms));
    a.Wait();  // the original kept its own

    CZtHoldReleaseFlag closed;
    closed.SetGo(0);
    CZtHoldReleaseFlag copy(closed);  // a copy starts open
    copy.Wait(0.05);
}
