// The thread registry: dense indexes kept by swapping with the last, its errors, and the process services.
#include "ztbase/process/process_manager.h"

#include <gtest/gtest.h>

#include <thread>

#include "expect_error.h"

using namespace ZtBase;

namespace {

struct Idle : CZtThreadBase {
    unsigned Run() override { return 0; }
};

TEST(ProcessManager, RemovalSwapsTheLastIntoThePlace) {
    CZtProcessManager manager;
    EXPECT_EQ(manager.GetSystemTimer(), 1.0);  // before the list exists
    CZtThread a(new Idle), b(new Idle), c(new Idle), none;
    manager.AddThread(none);  // ignored
    for (CZtThread* t : {&a, &b, &c}) manager.AddThread(*t);
    EXPECT_EQ(a.GetThreadIndex(), 0u);
    EXPECT_EQ(c.GetThreadIndex(), 2u);
    manager.RemoveThread(a);
    EXPECT_EQ(manager.GetThreadCount(), 2u);
    EXPECT_EQ(c.GetThreadIndex(), 0u);
    EXPECT_EQ(manager.GetThreadIdx(0).Eq(c), 1);
    EXPECT_EQ(a.GetThreadIndex(), 0xFFFFFFFFu);
    manager.RemoveThread(a);  // index -1: nothing
    EXPECT_EQ(manager.GetThreadCount(), 2u);
    test_support::ExpectError([&] { manager.GetThreadIdx(2); }, 10007, "subscript out of range");
    test_support::ExpectError([&] { manager.GetThreadIdx(-1); }, 10007, "subscript out of range");
    a.SetThreadIndex(5);
    test_support::ExpectError([&] { manager.RemoveThread(a); }, 10005, "threading error", ".\\ztprocess");
    manager.RemoveThread(b);
    manager.RemoveThread(c);
    EXPECT_EQ(manager.GetThreadCount(), 0u);
    test_support::ExpectError([&] { manager.RemoveThread(a); }, 10005, "threading error", ".\\ztprocess");
    const double t = manager.GetSystemTimer();
    manager.Sleep(20);
    EXPECT_GE(manager.GetSystemTimer() - t, 0.019);
}

TEST(ProcessManager, ProcessServices) {
    EXPECT_EQ(gZtProcessManager.IsThreadingSupported(), 1);
    EXPECT_GE(gZtProcessManager.GetCPUCount(), 1u);
    EXPECT_EQ(gZtProcessManager.GetCPUCount(), std::thread::hardware_concurrency());
    unsigned other = 0;
    std::thread([&] { other = gZtProcessManager.GetOSThreadId(); }).join();
    EXPECT_NE(other, gZtProcessManager.GetOSThreadId());
    EXPECT_NE(gZtProcessManager.GetOSThreadId(), 0xFFFFFFFFu);
}

}  // namespace
