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
#include "ztbase/process/locks.h"
#include "ztbase/strings/unistr.h"

using namespace ZtBase;
using namespace process_support;

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
