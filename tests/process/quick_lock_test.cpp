#include "ztbase/process/quick_lock.h"

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
