#include <gtest/gtest.h>
#include <ztbase/ztbase.h>

#include <vector>

using namespace ZtBase;

namespace {

// A stream in which each level is a one-element value of the given kind holding the next level, ending
// in a number.
CXFile NestedStream(unsigned kind, unsigned levels) {
    std::vector<unsigned char> bytes;
    auto put = [&](unsigned v) {
        for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<unsigned char>(v >> (8 * i)));
    };
    for (unsigned i = 0; i < levels; ++i) {
        put(kind);
        put(1);
    }
    put(eGenericNumber);
    for (int i = 0; i < 8; ++i) bytes.push_back(0);
    CXFile file = gFileSystem.CreateRamFile(XF_BINARY);
    file.WriteBlock(reinterpret_cast<const char*>(bytes.data()), static_cast<unsigned>(bytes.size()));
    file.Seek(0);
    return file;
}

// Loading goes one level of the stack per level of nesting: every kind refuses streams deeper than text
// may nest, with the loader's read error, instead of running out of stack.
TEST(BinaryNesting, EveryNestingKindIsRefusedBeyondTheLimitAndLoadsBelowIt) {
    for (const unsigned kind : {unsigned(eGenericList), unsigned(eGenericSet)}) {
        CGeneric shallow;
        shallow << NestedStream(kind, kMaxGenericNesting - 1);
        EXPECT_EQ(shallow.GetType(), static_cast<E_GenericTypes>(kind));

        CGeneric deep;
        try {
            deep << NestedStream(kind, 200000);
            ADD_FAILURE() << "kind " << kind << " loaded 200,000 levels";
        } catch (const CZtXFileException& e) {
            EXPECT_EQ(e.GetErrorCode(), 11001);
            EXPECT_TRUE(CUniStr(e.GetErrorString(0)) == u"Read operation failed");
        }
        EXPECT_TRUE(deep.IsNull()) << "a failed load leaves the value null";
    }
}

}  // namespace
