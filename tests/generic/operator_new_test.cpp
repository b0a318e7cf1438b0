// Running out of memory in the general heap (operator new, which the library's containers use) while
// reading values: the nth allocation of the program throws, for n = 1, 2, ...; the reader raises
// CMemoryError and the value keeps what it held.
#include <gtest/gtest.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/files/file_system.h>
#include <ztbase/generic/generic.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "allocation_faults.h"

// The replacement pair allocates with malloc and frees with free, which the compiler cannot see through.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

namespace {
std::atomic<long long> gCountdown{0};  // 0: not armed
}  // namespace

void* operator new(std::size_t size) {
    if (gCountdown.load(std::memory_order_relaxed) > 0 && gCountdown.fetch_sub(1) == 1)
        throw std::bad_alloc();
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
// Every form that pairs with these, so that what one allocates the other frees (the sanitizer checks it).
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
    return operator new(size, tag);
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
    std::free(p);
}
void operator delete[](void* p) noexcept {
    std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
    std::free(p);
}

using namespace ZtBase;

namespace {

const test_support::AllocationFault kNew{[](long long n) { gCountdown = n; },
                                         [] { return gCountdown.load() <= 0; }};

TEST(OperatorNewFailure, ReadingTextRaisesTheMemoryErrorAndKeepsTheValue) {
#if defined(_WIN32)
    GTEST_SKIP() << "a program's operator new does not replace the one Ztbase.dll calls on Windows; the pool "
                    "loop runs out of memory there";
#endif
    const CUniStr text(
        u"({cat=N,agr={num=sg,per=3},words=(\"the\" \"dog\"),feats=[f1,f2,f3],w=1.5} [a=1,b=(x . z)])");
    const CUniStr expected = CGeneric::CreateFromString(text).GetString();
    CGeneric value = CGeneric::CreateFromString(CUniStr(u"old"));
    int raised = 0;
    const long long allocations = test_support::ForEachFailingAllocation(
        [&] { value.SetFromString(text); },
        [&](long long n, bool reached, bool memoryError) {
            SCOPED_TRACE("allocation " + std::to_string(n));
            EXPECT_EQ(memoryError, reached);
            raised += memoryError;
            EXPECT_EQ(value.GetString(), memoryError ? CUniStr(u"old") : expected);
            value = CGeneric::CreateFromString(CUniStr(u"old"));
        },
        kNew);
    EXPECT_GT(allocations, 3) << "the reader uses the general heap";
    EXPECT_EQ(raised, allocations - 1);
}

TEST(OperatorNewFailure, LoadingTheBinaryFormRaisesTheMemoryError) {
#if defined(_WIN32)
    GTEST_SKIP() << "a program's operator new does not replace the one Ztbase.dll calls on Windows; the pool "
                    "loop runs out of memory there";
#endif
    const CGeneric stored = CGeneric::CreateFromString(CUniStr(u"((a b c d e f) [1,2] {k=(x y z)})"));
    CXFile file = gFileSystem.CreateRamFile(XF_BINARY);
    stored >> file;
    CGeneric value;
    int raised = 0;
    const long long allocations = test_support::ForEachFailingAllocation(
        [&] {
            file.Seek(0);
            value << file;
        },
        [&](long long n, bool reached, bool memoryError) {
            SCOPED_TRACE("allocation " + std::to_string(n));
            EXPECT_EQ(memoryError, reached);
            raised += memoryError;
            if (!reached) {
                EXPECT_TRUE(value == stored);
            }
        },
        kNew);
    EXPECT_GT(allocations, 3) << "loading lists uses the general heap";
    EXPECT_EQ(raised, allocations - 1);
}

}  // namespace
