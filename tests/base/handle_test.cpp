// Handles and bodies, the interlocked counters and the library's arrays.
#include "ztbase/base/handle.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
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

template <class T>
void CheckCounterZeroTests() {
    T c = 1;
    EXPECT_EQ(LockedDecrement(c), 1) << "1 -> 0 reports zero";
    EXPECT_EQ(c, T(0));
    c = 2;
    EXPECT_EQ(LockedDecrement(c), 0) << "2 -> 1 does not";
    EXPECT_EQ(c, T(1));
    c = T(-1);
    EXPECT_EQ(LockedIncrement(c), 1) << "-1 (all bits set) -> 0 reports zero";
    EXPECT_EQ(c, T(0));
    c = 0;
    EXPECT_EQ(LockedIncrement(c), 0) << "the result is not the new value";
    EXPECT_EQ(c, T(1));
    c = 0;
    EXPECT_EQ(LockedDecrement(c), 0) << "0 -> -1 (or the largest unsigned value) is not zero";
    EXPECT_EQ(c, T(-1));
}

TEST(LockedCounters, ZeroTestOfTheNewValueOnEveryWidth) {
    CheckCounterZeroTests<int>();
    CheckCounterZeroTests<unsigned int>();
    CheckCounterZeroTests<short>();
}

TEST(LockedCounters, WrapAroundAtTheEdgesOfEachWidth) {
    short s = 32767;
    EXPECT_EQ(LockedIncrement(s), 0);
    EXPECT_EQ(s, -32768);
    int i = 2147483647;
    EXPECT_EQ(LockedIncrement(i), 0);
    EXPECT_EQ(i, -2147483647 - 1);
    unsigned u = 0xFFFFFFFFu;
    EXPECT_EQ(LockedIncrement(u), 1);
    EXPECT_EQ(u, 0u);
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

TEST(LockedCounters, ConcurrentCountDownReportsZeroExactlyOnce) {
    CountDownTogether<int>(4, 50000);
    CountDownTogether<unsigned int>(4, 50000);
    CountDownTogether<short>(4, 8000);
}

// ---- handles -------------------------------------------------------------------------------------

TEST(Handle, CopyOfNullIsNullAndReleasingNullIsHarmless) {
    Handle a;
    Handle b(a);
    EXPECT_TRUE(b.IsNull());
    EXPECT_EQ(b.GetRep(), nullptr);
    b = a;
    EXPECT_TRUE(b.IsNull());
    a.Release();
    a.Release();
    EXPECT_TRUE(a.IsNull());
}

TEST(Handle, CopiesShareOneBodyAndTheLastReleaseDeletesIt) {
    const int before = CountedBody::alive;
    {
        Handle a = MakeHandle(5);
        EXPECT_EQ(a.GetRep()->GetRefCount(), 1u);
        Handle b(a);
        Handle c;
        c = b;
        EXPECT_EQ(a.GetRep(), c.GetRep());
        EXPECT_EQ(a.GetRep()->GetRefCount(), 3u);
        EXPECT_TRUE(a.GetRep()->HasOtherHandles());
        b.Release();
        EXPECT_TRUE(b.IsNull());
        EXPECT_EQ(a.GetRep()->GetRefCount(), 2u);
        EXPECT_EQ(CountedBody::alive, before + 1);
    }
    EXPECT_EQ(CountedBody::alive, before);
}

TEST(Handle, SelfAssignmentKeepsTheCount) {
    Handle a = MakeHandle(1);
    Handle b(a);
    CountedBody* rep = a.GetRep();
    Handle& alias = a;
    a = alias;
    EXPECT_EQ(a.GetRep(), rep);
    EXPECT_EQ(rep->GetRefCount(), 2u);
    // Assigning another handle onto the same body is not self-assignment; the count is the same after.
    a = b;
    EXPECT_EQ(rep->GetRefCount(), 2u);
}

TEST(Handle, SetRepToAdoptsAFreshBodyAtCountOneAndReleasesTheOld) {
    const int before = CountedBody::alive;
    Handle h;
    auto* fresh = new CountedBody(3);
    EXPECT_EQ(fresh->GetRefCount(), 0u);
    h.SetRepTo(fresh);
    EXPECT_EQ(h.GetRep(), fresh);
    EXPECT_EQ(fresh->GetRefCount(), 1u);
    h.SetRepTo(new CountedBody(4));
    EXPECT_EQ(CountedBody::alive, before + 1) << "the first body went with its only handle";
    EXPECT_EQ(h.GetRep()->value, 4);
    h.SetRepTo(nullptr);
    EXPECT_TRUE(h.IsNull());
    EXPECT_EQ(CountedBody::alive, before);
}

TEST(Handle, ModifyOnASharedBodyLeavesTheOtherHandleAlone) {
    Handle a = MakeHandle(7);
    Handle b(a);
    CountedBody* old = a.GetRep();
    b.Modify();
    ASSERT_NE(b.GetRep(), old);
    b.GetRep()->value = 8;
    EXPECT_EQ(a.GetRep()->value, 7);
    EXPECT_EQ(old->GetRefCount(), 1u) << "the old body's count is one lower";
    EXPECT_EQ(b.GetRep()->GetRefCount(), 1u);
    // Sole owner: Modify keeps the body.
    CountedBody* mine = b.GetRep();
    b.Modify();
    EXPECT_EQ(b.GetRep(), mine);
}

TEST(Handle, ModifyOnANullHandleMakesADefaultBody) {
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

TEST(ZtArray, IndexReadsOutsideTheArrayThrowOutOfRange) {
    ZtArray<int> empty;
    EXPECT_THROW(empty[0u], std::out_of_range);
    EXPECT_THROW(empty.GetElementIdx(0), std::out_of_range);
    ZtArray<int> a;
    a.AddElement(4);
    EXPECT_EQ(a[0u], 4);
    EXPECT_THROW(a[1u], std::out_of_range);
    const ZtArray<int>& ca = a;
    EXPECT_THROW(ca.GetElementIdx(1), std::out_of_range);
    EXPECT_THROW(ca[0xFFFFFFFFu], std::out_of_range);
}

TEST(ZtArray, SetAndInsertBeyondTheEndGrowWithZeros) {
    ZtArray<int> a;
    a.SetElementIdx(5, 9);
    ASSERT_EQ(a.GetLength(), 6u);
    for (unsigned i = 0; i < 5; ++i) EXPECT_EQ(a[i], 0);
    EXPECT_EQ(a[5u], 9);
    a.SetElementIdx(2, 3);
    EXPECT_EQ(a[2u], 3);
    EXPECT_EQ(a.GetLength(), 6u);

    ZtArray<int> b;
    b.InsertElement(3, 7);
    ASSERT_EQ(b.GetLength(), 4u);
    EXPECT_EQ(b[0u], 0);
    EXPECT_EQ(b[3u], 7);
    b.InsertElement(4, 8);  // at the length: appends
    EXPECT_EQ(b[4u], 8);
    b.InsertElement(0, 1);  // before the first
    EXPECT_EQ(b[0u], 1);
    EXPECT_EQ(b[4u], 7);
    EXPECT_EQ(b.GetLength(), 6u);
}

TEST(ZtArray, FindDeleteTruncateReset) {
    ZtArray<int> a;
    for (int v : {5, 6, 7, 6, 8}) a.AddElement(v);
    EXPECT_EQ(a.FindValue(6), 1) << "the lower of two equal elements";
    EXPECT_EQ(a.FindValue(42), -1);
    a.DeleteElement(a.GetLength());
    a.Truncate(a.GetLength());
    a.Truncate(100);
    EXPECT_EQ(a.GetLength(), 5u);
    a.DeleteElement(1);
    EXPECT_EQ(a, (ZtArray<int>{5, 7, 6, 8}));
    EXPECT_EQ(a.FindValue(6), 2);
    a.Truncate(2);
    EXPECT_EQ(a, (ZtArray<int>{5, 7}));
    ZtArray<int> copy(a);
    copy.SetElementIdx(0, 1);
    EXPECT_EQ(a[0u], 5) << "an array is a plain value, not shared";
    a.Reset();
    EXPECT_EQ(a.GetLength(), 0u);
}

TEST(CUniqueArray, KeepsEachValueOnceInFirstInsertionOrder) {
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
