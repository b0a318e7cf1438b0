// Threads: the start gate and the registry, states, self-release, the debug lines, priorities and errors.
#include <gtest/gtest.h>

#include <atomic>
#include <regex>
#include <string>

#include "expect_error.h"
#include "ztbase/log/line_collector.h"
#include "ztbase/platform/internal/system_calls.h"
#include "ztbase/process/hold_release_flag.h"
#include "ztbase/process/process_manager.h"

using namespace ZtBase;

namespace {

std::atomic<int> gDeleted{0};

// Runs until its gate opens, noting what it saw of itself while it ran.
class GatedThread : public CZtThreadBase {
public:
    GatedThread() { gate.SetGo(0); }
    ~GatedThread() override { ++gDeleted; }
    unsigned Run() override {
        indexWhileRunning = GetThreadIndex();
        stateWhileRunning = GetState();
        registered = gZtProcessManager.GetThreadCount() > 0 &&
                     gZtProcessManager.GetThreadIdx(static_cast<int>(GetThreadIndex())).GetRep() == this;
        gate.Wait(0);
        return 7;
    }
    CZtHoldReleaseFlag gate;
    std::atomic<unsigned> indexWhileRunning{0xFFFFFFFFu}, stateWhileRunning{0};
    std::atomic<bool> registered{false};
};

TEST(Thread, RunsRegisteredThenLeavesAndFinishes) {
    auto* body = new GatedThread;
    CZtThread thread(body);
    EXPECT_EQ(thread.GetPriority(), eZtThreadPriorityNormal);  // not started
    thread.WaitForThreadCompletion();                          // not started: returns at once
    const unsigned before = gZtProcessManager.GetThreadCount();
    thread.BeginThread();
    EXPECT_EQ(thread.IsThreadActive(), 1);
    test_support::ExpectError([&] { thread.BeginThread(); }, 10005, "Attempt to begin a thread twice!!",
                              ".\\ztprocess");
    body->gate.SetGo(1);
    thread.WaitForThreadCompletion();
    EXPECT_EQ(body->stateWhileRunning.load(), 2u);
    EXPECT_TRUE(body->registered.load());  // registered before Run began
    EXPECT_EQ(body->GetState(), 3u);
    EXPECT_EQ(thread.GetThreadIndex(), 0xFFFFFFFFu);
    EXPECT_EQ(gZtProcessManager.GetThreadCount(), before);
    thread.WaitForThreadCompletion();  // finished: returns at once
}

TEST(Thread, ReleasedByItsCreatorItFreesItselfAtTheEnd) {
    CLineCollector lines;
    const int deleted = gDeleted;
    auto* body = new GatedThread;
    {
        CZtThread thread(body);
        thread.BeginThread();
    }  // the creator's handle is gone; the registry holds the body
    body->gate.SetGo(1);
    // Until the thread has written its last line: after that it touches nothing of the library's.
    for (int i = 0; i < 5000 && lines.GetText().ToUtf8().find("ending thread") == std::string::npos; ++i)
        gZtProcessManager.Sleep(1);
    EXPECT_EQ(gDeleted, deleted + 1);
    EXPECT_EQ(lines.GetText().ToUtf8().find("deleted without"), std::string::npos);
}

TEST(Thread, WritesItsBeginningAndEndingLines) {
    CLineCollector lines;
    auto* body = new GatedThread;
    CZtThread thread(body);
    thread.BeginThread();
    body->gate.SetGo(1);
    thread.WaitForThreadCompletion();
    for (int i = 0; i < 5000 && lines.GetText().ToUtf8().find("ending") == std::string::npos; ++i)
        gZtProcessManager.Sleep(1);
    const std::string text = lines.GetText().ToUtf8();
    std::smatch m;
    ASSERT_TRUE(
        std::regex_match(text, m, std::regex("Beginning thread #([0-9a-f]+)\nending thread #([0-9a-f]+)\n")))
        << text;
    EXPECT_EQ(m[1], m[2]);
    EXPECT_NE(m[1].str()[0], '0');  // no padding
}

TEST(Thread, PrioritiesReadBackAsSet) {
    auto* body = new GatedThread;
    CZtThread thread(body);
    thread.BeginThread();
    thread.SetPriority(eZtThreadPriorityLow);
    EXPECT_EQ(thread.GetPriority(), eZtThreadPriorityLow);
    thread.SetPriority(eZtThreadPriorityNormal);
    EXPECT_EQ(thread.GetPriority(), eZtThreadPriorityNormal);
    thread.SetPriority(eZtThreadPriorityHigh);  // a raise the system may refuse without privilege
    const ZtThreadPriority high = thread.GetPriority();
    EXPECT_TRUE(high == eZtThreadPriorityHigh || high == eZtThreadPriorityNormal);
    thread.SetPriority(static_cast<ZtThreadPriority>(7));  // changes nothing
    EXPECT_EQ(thread.GetPriority(), high);
    body->gate.SetGo(1);
    thread.WaitForThreadCompletion();
}

TEST(Thread, NullHandlesAndRefusedStarts) {
    CZtThread none;
    test_support::ExpectError([&] { none.BeginThread(); }, 10005, "Begin thread called on a NULL handle",
                              ".\\ztprocess");
    EXPECT_EQ(none.IsThreadActive(), 0);
    EXPECT_EQ(none.GetPriority(), eZtThreadPriorityNormal);
    none.WaitForThreadCompletion();

#if defined(_WIN32)
    platform::gSystemCalls.startThread = [](unsigned(__stdcall*)(void*), void*, unsigned&,
                                            int& error) -> void* {
        error = 8;  // not enough memory
        return nullptr;
    };
#else
    platform::gSystemCalls.startThread = [](void* (*)(void*), void*, int& error) {
        error = 11;  // no resources for another thread
        return false;
    };
#endif
    CZtThread refused(new GatedThread);
    test_support::ExpectError([&] { refused.BeginThread(); }, 10005, "Unable to create a new thread",
                              ".\\ztprocess");
    platform::gSystemCalls.startThread = platform::kRealSystemCalls.startThread;
    EXPECT_EQ(refused.IsThreadActive(), 0);
    refused.WaitForThreadCompletion();  // no thread: returns at once
}

// Many threads started and released by their creators at once all run and all free themselves.
TEST(Thread, ManyStartedAndReleasedAtOnce) {
    struct Counting : CZtThreadBase {
        std::atomic<int>* ran;
        explicit Counting(std::atomic<int>* r) : ran(r) {}
        unsigned Run() override {
            ++*ran;
            return 0;
        }
    };
    std::atomic<int> ran{0};
    CLineCollector lines;
    // Until every thread has written its last line: after that it touches nothing of the library's.
    auto ended = [&] {
        const std::string text = lines.GetText().ToUtf8();
        int n = 0;
        for (std::size_t at = text.find("ending thread"); at != std::string::npos;
             at = text.find("ending thread", at + 1))
            ++n;
        return n;
    };
    for (int i = 0; i < 64; ++i) CZtThread(new Counting(&ran)).BeginThread();
    for (int i = 0; i < 10000 && ended() < 64; ++i) gZtProcessManager.Sleep(1);
    EXPECT_EQ(ran.load(), 64);
    EXPECT_EQ(gZtProcessManager.GetThreadCount(), 0u);
}

}  // namespace
