#include <gtest/gtest.h>
#include <ztbase/strings/str.h>
#include <ztbase/strings/unistr.h>

#include <thread>
#include <vector>

using namespace ZtBase;

namespace {

// Handles onto one body are copied, written and dropped on several threads at once. The count moves only
// through the interlocked counters, so it ends where it started and every writer works on its own copy.
TEST(StringSharing, CopiesOnManyThreadsKeepTheCountAndTheTextIntact) {
    const CUniStr shared(u"shared body text");
    const CStr shared8("shared 8-bit text");
    constexpr int kThreads = 4, kRounds = 20000;
    std::vector<std::thread> threads;
    std::vector<int> bad(kThreads, 0);
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int r = 0; r < kRounds; ++r) {
                CUniStr a(shared);
                CUniStr b = a;
                CStr c(shared8);
                if (a.GetRep() != shared.GetRep()) ++bad[t];
                if (r % 16 == 0) {
                    b += static_cast<unsigned short>('0' + t);  // unshares b only
                    c.Upper();
                    if (b.Length() != shared.Length() + 1 || b.GetRep() == shared.GetRep()) ++bad[t];
                    if (!(c == "SHARED 8-BIT TEXT")) ++bad[t];
                }
            }
        });
    }
    for (auto& th : threads) th.join();
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(bad[t], 0) << "thread " << t;
    EXPECT_EQ(shared.GetRep()->refCount, 1);
    EXPECT_EQ(shared8.GetRep()->refCount, 1);
    EXPECT_TRUE(shared == u"shared body text");
    EXPECT_TRUE(shared8 == "shared 8-bit text");
}

// Appending or inserting a string into itself reads the old text while the body changes.
TEST(StringSharing, EditsWithTheStringItselfReadTheOldText) {
    CUniStr s(u"ab");
    s += s;
    s += s;
    EXPECT_TRUE(s == u"abababab");
    CStr t("xy");
    t.Insert(1, t);
    EXPECT_TRUE(t == "xxyy");
}

TEST(StringSharing, ClearKeepsAnUnsharedBodyAndLetsASharedOneGo) {
    CStr line("a line of text");
    const SStrRep* body = line.GetRep();
    const unsigned room = line.Size();
    line.Clear();
    EXPECT_EQ(line.GetRep(), body);
    EXPECT_EQ(line.Length(), 0u);
    EXPECT_EQ(line.Size(), room);
    EXPECT_TRUE(line == "");
    line += 'x';
    EXPECT_EQ(line.GetRep(), body) << "the kept room is reused";

    CUniStr shared(u"kept by another handle");
    CUniStr other(shared);
    shared.Clear();
    EXPECT_TRUE(shared.IsNull());
    EXPECT_TRUE(other == u"kept by another handle");
}

}  // namespace
