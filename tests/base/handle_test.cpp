// Handles and bodies, the interlocked counters and the library's arrays.
#include "ztbase/base/handle.h"

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "ztbase/base/arrays.h"
#include "ztbase/base/counters.h"

using namespace ZtBase;

namespace {

// A body that counts how many of its kind are alive, so tests see exactly when one is deleted.
struct CountedBody : CBodyBase {
    static inline std::atomic<int> alive{0};
    int value = 0;
    CountedBody() { ++alive; }
    explicit CountedBody(int v) : value(v) { ++alive; }
    CountedBody(const CountedBody& o) : CBodyBase(o), value(o.value) { ++alive; }
    ~CountedBody() override { --alive; }
    CBodyBase* Duplicate() const override {
        auto* copy = new CountedBody(value);  // a fresh count of 0, as value bodies do
        return copy;
    }
};

using Handle = ZtCowHandle<CountedBody>;

Handle MakeHandle(int v) {
    Handle h;
    h.SetRepTo(new CountedBody(v));
    return h;
}

// ---- interlocked counters ------------------------------------------------------------------------

// The result tells whether the new value is zero, never the value itself; each width wraps around.
template <class T>
void CheckCounter() {
    const struct {
        T start;
        bool increment;
        T after;
        long zero;
    } steps[] = {
        {1, false, 0, 1},
        {2, false, 1, 0},
        {T(-1), true, 0, 1},
        {0, true, 1, 0},
        {0, false, T(-1), 0},
        {std::numeric_limits<T>::max(), true, std::numeric_limits<T>::min(), std::is_unsigned_v<T>},
    };
    for (const auto& s : steps) {
        T c = s.start;
        EXPECT_EQ(s.increment ? LockedIncrement(c) : LockedDecrement(c), s.zero) << +s.start;
        EXPECT_EQ(c, s.after) << +s.start;
    }
}

// Several threads count one counter down to zero: exactly one decrement may see zero, and nothing is lost.
template <class T>
void CountDownTogether(int threads, int perThread) {
    T counter = static_cast<T>(threads * perThread);
    std::atomic<int> zeroReports{0};
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t)
        pool.emplace_back([&] {
            for (int k = 0; k < perThread; ++k) {
                // An increment and a decrement in between keep the counter busy without reaching zero early.
                LockedIncrement(counter);
                LockedDecrement(counter);
                if (LockedDecrement(counter)) ++zeroReports;
            }
        });
    for (auto& th : pool) th.join();
    EXPECT_EQ(counter, T(0));
    EXPECT_EQ(zeroReports.load(), 1);
}

TEST(LockedCounters, ReportAZeroNewValueOnEveryWidthAlsoUnderContention) {
    CheckCounter<int>();
    CheckCounter<unsigned int>();
    CheckCounter<short>();
    CountDownTogether<int>(4, 50000);
    CountDownTogether<unsigned int>(4, 50000);
    CountDownTogether<short>(4, 8000);
}

// ---- handles -------------------------------------------------------------------------------------

TEST(Handle, CopiesShareOneBodyAndTheLastReleaseDeletesIt) {
    const int before = CountedBody::alive;
    {
        Handle null, copyOfNull(null);
        EXPECT_TRUE(copyOfNull.IsNull());
        null.Release();  // harmless, twice
        null.Release();

        Handle a = MakeHandle(5);
        Handle b(a), c;
        c = b;
        EXPECT_EQ(a.GetRep(), c.GetRep());
        EXPECT_EQ(a.GetRep()->GetRefCount(), 3u);
        EXPECT_TRUE(a.GetRep()->HasOtherHandles());
        Handle& alias = a;
        a = alias;  // self-assignment keeps the count
        a = b;      // so does assigning a handle onto the same body
        EXPECT_EQ(a.GetRep()->GetRefCount(), 3u);
        b.Release();
        EXPECT_TRUE(b.IsNull());
        EXPECT_EQ(a.GetRep()->GetRefCount(), 2u);
        EXPECT_EQ(CountedBody::alive, before + 1);
    }
    EXPECT_EQ(CountedBody::alive, before);
}

TEST(Handle, SetRepToAdoptsAFreshBodyAtCountOneAndReleasesTheOld) {
    const int before = CountedBody::alive;
    Handle h;
    auto* fresh = new CountedBody(3);
    EXPECT_EQ(fresh->GetRefCount(), 0u);
    h.SetRepTo(fresh);
    EXPECT_EQ(fresh->GetRefCount(), 1u);
    h.SetRepTo(new CountedBody(4));
    EXPECT_EQ(CountedBody::alive, before + 1) << "the first body went with its only handle";
    h.SetRepTo(nullptr);
    EXPECT_TRUE(h.IsNull());
    EXPECT_EQ(CountedBody::alive, before);
}

TEST(Handle, ModifyCopiesOnlyASharedBodyAndMakesOneForNull) {
    Handle a = MakeHandle(7);
    Handle b(a);
    CountedBody* old = a.GetRep();
    b.Modify();
    ASSERT_NE(b.GetRep(), old);
    b.GetRep()->value = 8;
    EXPECT_EQ(a.GetRep()->value, 7);
    EXPECT_EQ(old->GetRefCount(), 1u) << "the old body's count is one lower";
    CountedBody* mine = b.GetRep();
    b.Modify();
    EXPECT_EQ(b.GetRep(), mine) << "the sole owner keeps its body";
    Handle h;
    h.Modify();
    ASSERT_FALSE(h.IsNull());
    EXPECT_EQ(h.GetRep()->value, 0);
    EXPECT_EQ(h.GetRep()->GetRefCount(), 1u);
}

TEST(Handle, ConcurrentCopiesAndReleasesDeleteTheBodyOnce) {
    const int before = CountedBody::alive;
    {
        Handle shared = MakeHandle(11);
        std::vector<std::thread> pool;
        for (int t = 0; t < 4; ++t)
            pool.emplace_back([&shared] {
                for (int k = 0; k < 20000; ++k) {
                    Handle copy(shared);
                    Handle other;
                    other = copy;
                }
            });
        for (auto& th : pool) th.join();
        EXPECT_EQ(shared.GetRep()->GetRefCount(), 1u);
        EXPECT_EQ(CountedBody::alive, before + 1);
    }
    EXPECT_EQ(CountedBody::alive, before);
}

// ---- ZtRefArray ----------------------------------------------------------------------------------

TEST(ZtRefArray, DuplicateCopiesTheElementsAndTheCount) {
    ZtHandle<ZtRefArray<int>> h;
    auto* arr = new ZtRefArray<int>{1, 2, 3};
    h.SetRepTo(arr);
    ZtHandle<ZtRefArray<int>> h2(h);
    ASSERT_EQ(arr->GetRefCount(), 2u);
    CBodyBase* dup = arr->Duplicate();
    auto* copy = dynamic_cast<ZtRefArray<int>*>(dup);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->GetRefCount(), 2u) << "the member-wise copy carries the count along";
    EXPECT_EQ(copy->GetLength(), 3u);
    (*copy)[1] = 20;
    EXPECT_EQ((*arr)[1], 2);
    delete dup;
}

// ---- ZtArray and CUniqueArray --------------------------------------------------------------------

TEST(ZtArray, IndexedReadsAreCheckedAndWritesBeyondTheEndGrowWithZeros) {
    ZtArray<int> a;
    EXPECT_THROW(a[0u], std::out_of_range);
    a.SetElementIdx(5, 9);
    EXPECT_EQ(a, (ZtArray<int>{0, 0, 0, 0, 0, 9}));
    EXPECT_THROW(a.GetElementIdx(6), std::out_of_range);
    EXPECT_THROW(std::as_const(a)[0xFFFFFFFFu], std::out_of_range);

    ZtArray<int> b;
    b.InsertElement(3, 7);
    EXPECT_EQ(b, (ZtArray<int>{0, 0, 0, 7}));
    b.InsertElement(4, 8);  // at the length: appends
    b.InsertElement(0, 1);  // before the first
    EXPECT_EQ(b, (ZtArray<int>{1, 0, 0, 0, 7, 8}));
}

TEST(ZtArray, FindDeleteTruncateResetAndUniqueArraysKeepEachValueOnce) {
    ZtArray<int> a{5, 6, 7, 6, 8};
    EXPECT_EQ(a.FindValue(6), 1) << "the lower of two equal elements";
    EXPECT_EQ(a.FindValue(42), -1);
    a.DeleteElement(a.GetLength());  // out of range: ignored
    a.Truncate(100);
    EXPECT_EQ(a.GetLength(), 5u);
    a.DeleteElement(1);
    EXPECT_EQ(a, (ZtArray<int>{5, 7, 6, 8}));
    a.Truncate(2);
    EXPECT_EQ(a, (ZtArray<int>{5, 7}));
    ZtArray<int> copy(a);
    copy.SetElementIdx(0, 1);
    EXPECT_EQ(a[0u], 5) << "an array is a plain value, not shared";
    a.Reset();
    EXPECT_EQ(a.GetLength(), 0u);
    CUniqueArray<int> u;
    for (int v : {3, 1, 3, 2, 1}) u.AddElementUnique(v);
    EXPECT_EQ(u, (CUniqueArray<int>{3, 1, 2}));
    u.RemoveElement(9);
    EXPECT_EQ(u.GetLength(), 3u);
    u.RemoveElement(3);
    EXPECT_EQ(u, (CUniqueArray<int>{1, 2}));
    u.AddElementUnique(3);
    EXPECT_EQ(u, (CUniqueArray<int>{1, 2, 3}));
}

}  // namespace
