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

// The replacement pair allocates with malloc and frees with free, which the compiler cannot see through.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

namespace {
std::atomic<long long> gCountdown{0};  // 0: not armed
}  // namespace

void* operator new(std::size_t size) {
    if (gCountdown.load(std::memory_order_relaxed) > 0 && gCountdown.fetch_sub(1) == 1) throw std::bad_alloc();
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

using namespace ZtBase;

namespace {

TEST(OperatorNewFailure, ReadingTextRaisesTheMemoryErrorAndKeepsTheValue) {
    const CUniStr text(u"({cat=N,agr={num=sg,per=3},words=(\"the\" \"dog\"),feats=[f1,f2,f3],w=1.5} [a=1,b=(x . z)])");
    const CUniStr expected = CGeneric::CreateFromString(text).GetString();
    CGeneric value = CGeneric::CreateFromString(CUniStr(u"old"));
    long long n = 1;
    int raised = 0;
    for (;; ++n) {
        bool memoryError = false;
        gCountdown = n;
        try {
            value.SetFromString(text);
        } catch (const CMemoryError&) {
            memoryError = true;
        }
        const bool reached = gCountdown.load() <= 0;
        gCountdown = 0;
        SCOPED_TRACE("allocation " + std::to_string(n));
        EXPECT_EQ(memoryError, reached);
        if (memoryError) {
            ++raised;
            EXPECT_EQ(value.GetString().ToUtf8(), "old");
        } else {
            EXPECT_EQ(value.GetString(), expected);
        }
        if (!reached) break;
        value = CGeneric::CreateFromString(CUniStr(u"old"));
    }
    EXPECT_GT(n, 3) << "the reader uses the general heap";
    EXPECT_EQ(raised, n - 1);
}

TEST(OperatorNewFailure, LoadingTheBinaryFormRaisesTheMemoryError) {
    const CGeneric stored = CGeneric::CreateFromString(CUniStr(u"((a b c d e f) [1,2] {k=(x y z)})"));
    CXFile file = gFileSystem.CreateRamFile(XF_BINARY);
    stored >> file;
    long long n = 1;
    int raised = 0;
    for (;; ++n) {
        CGeneric value;
        bool memoryError = false;
        file.Seek(0);
        gCountdown = n;
        try {
            value << file;
        } catch (const CMemoryError&) {
            memoryError = true;
        }
        const bool reached = gCountdown.load() <= 0;
        gCountdown = 0;
        SCOPED_TRACE("allocation " + std::to_string(n));
        EXPECT_EQ(memoryError, reached);
        raised += memoryError;
        if (!reached) {
            EXPECT_TRUE(value == stored);
            break;
        }
    }
    EXPECT_GT(n, 3) << "loading lists uses the general heap";
    EXPECT_EQ(raised, n - 1);
}

}  // namespace
