// Reading values with each pool allocation failing in turn: CMemoryError reaches the caller, the value
// being read into is left as documented (the text reader keeps what it held, the binary loader, which
// lets the old body go first, leaves null), and nothing is leaked (the sanitizer build's leak check).
#include <gtest/gtest.h>
#include <ztbase/files/file_system.h>
#include <ztbase/generic/generic.h>

#include "allocation_faults.h"

using namespace ZtBase;

namespace {

const char16_t* const kText =
    u"({cat=N,agr={num=sg,per=3},words=(\"the\" \"dog\"),feats=[f1,f2,f3],w=1.5,v=_x} "
    u"[a=1,b=(x y . z)] \"a string long enough to need its own block of the pool, more than sixty units\")";

CGeneric Read(const char16_t* text) {
    return CGeneric::CreateFromString(CUniStr(text));
}

TEST(OutOfMemory, ReadingTextRaisesTheMemoryErrorAndKeepsTheValue) {
    const CUniStr expected = Read(kText).GetString();
    CGeneric value = Read(u"old");
    int raised = 0;
    const long long allocations =
        test_support::ForEachFailingAllocation([&] { value.SetFromString(CUniStr(kText)); },
                                               [&](long long n, bool reached, bool memoryError) {
                                                   SCOPED_TRACE("allocation " + std::to_string(n));
                                                   EXPECT_EQ(memoryError, reached);
                                                   if (memoryError) {
                                                       ++raised;
                                                       EXPECT_EQ(value.GetString().ToUtf8(), "old");
                                                   } else {
                                                       EXPECT_EQ(value.GetString(), expected);
                                                       value = Read(u"old");
                                                   }
                                               });
    EXPECT_GT(allocations, 30);
    EXPECT_EQ(raised, allocations - 1);
}

TEST(OutOfMemory, LoadingTheBinaryFormRaisesTheMemoryErrorAndLeavesTheHandleNull) {
    CXFile file = gFileSystem.CreateRamFile(XF_BINARY);
    // Everything but the variable, which has no binary form.
    const CGeneric stored = Read(
        u"({cat=N,agr={num=sg,per=3},words=(\"the\" \"dog\"),feats=[f1,f2,f3],w=1.5} [a=1,b=(x y . z)])");
    stored >> file;
    CGeneric value = Read(u"old");
    int raised = 0;
    const long long allocations = test_support::ForEachFailingAllocation(
        [&] {
            file.Seek(0);
            value << file;
        },
        [&](long long n, bool reached, bool memoryError) {
            SCOPED_TRACE("allocation " + std::to_string(n));
            EXPECT_EQ(memoryError, reached);
            if (memoryError) {
                ++raised;
                // Loading lets the handle's body go before it reads: a failed load leaves it null.
                EXPECT_TRUE(value.IsNull());
            } else {
                EXPECT_TRUE(value == stored);
            }
            value = Read(u"old");
        });
    EXPECT_GT(allocations, 20);
    EXPECT_EQ(raised, allocations - 1);
}

}  // namespace
