// Long and deep values: every operation on a list walks its chain of rests in a loop, so a list of ten
// million elements costs no stack; text nested deeper than the reader's limit is refused, and values at
// the limit can be used like any other.
#include <gtest/gtest.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/files/file_system.h>
#include <ztbase/generic/list.h>
#include <ztbase/generic/scalars.h>
#include <ztbase/generic/set.h>
#include <ztbase/generic/symbol.h>
#include <ztbase/generic/text_reader.h>

#include <string>

using namespace ZtBase;

namespace {

// Sanitizers make every allocation several times dearer: the long list is shorter under them.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr unsigned kLongLength = 1000000;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr unsigned kLongLength = 1000000;
#else
constexpr unsigned kLongLength = 10000000;
#endif
#else
constexpr unsigned kLongLength = 10000000;
#endif

CGenericList BuildLongList(unsigned n, const CGeneric& element) {
    CGenericList list;
    for (unsigned i = 0; i < n; ++i) list = CGenericList(element, list);
    return list;
}

}  // namespace

TEST(GenericLongValues, TenMillionElementListLivesWithoutRecursion) {
    const CGeneric one(1);
    {
        const CGenericList list = BuildLongList(kLongLength, one);
        ASSERT_EQ(list.GetLength(), kLongLength);
        EXPECT_TRUE(list.GetNth(kLongLength - 1) == one);
        EXPECT_TRUE(list.GetNth(kLongLength).IsNull());

        // Printing: "(1 1 ... 1)" and one element per line.
        {
            const CUniStr text = list.GetString();
            ASSERT_EQ(text.Length(), 2 * kLongLength + 1);
            EXPECT_EQ(text[0u], '(');
            EXPECT_EQ(text[2 * kLongLength - 1], '1');
            EXPECT_EQ(text[2 * kLongLength], ')');
            const CUniStr pretty = list.GetPrettyPrint();
            EXPECT_EQ(pretty.Length(), 2 + 6 * kLongLength + 1);
            EXPECT_EQ(pretty.Copy(0, 8).ToUtf8(), "(\n    1\n");
        }

        // Store and load through a memory file (kind and count, then per element its kind and double):
        // the loaded list is a copy with pairs and elements of its own.
        CXFile file = gFileSystem.CreateRamFile(XF_BINARY);
        list >> file;
        EXPECT_EQ(static_cast<unsigned>(file.GetFileLength()), 8 + 12 * kLongLength);
        file.Seek(0);
        CGeneric loaded;
        loaded << file;
        file.Release();
        const CGenericList copy = loaded;
        EXPECT_NE(copy.GetRep(), list.GetRep());
        EXPECT_EQ(copy.GetLength(), kLongLength);
        EXPECT_TRUE(copy == list);
        EXPECT_TRUE(loaded == CGeneric(list));
        EXPECT_FALSE(copy < list);
        EXPECT_TRUE(copy <= list);

        // The copy's pairs are its own: change its last pair in place, then compare again.
        const CGenericListRep* last = copy.GetRep();
        while (last->NextPair()) last = last->NextPair();
        const_cast<CGenericListRep*>(last)->SetCar(CGeneric(2));
        EXPECT_TRUE(list < copy);
        EXPECT_TRUE(copy > list);
        EXPECT_FALSE(list == copy);
        const_cast<CGenericListRep*>(last)->SetCar(one);
        const_cast<CGenericListRep*>(last)->SetCdr(CGenericList(one, CGenericList()));
        EXPECT_TRUE(list < copy) << "the shorter list, whose last rest is null, sorts first";
        EXPECT_TRUE(CGeneric(list) <= CGeneric(copy));
    }  // both lists are released here, pair by pair
}

TEST(GenericLongValues, MillionElementListCopiesAndReadsFromText) {
    const CSymbol a("a");
    const CGenericList list = BuildLongList(1000000, a);
    const CGenericList copy = list.Append(CGeneric(3));
    EXPECT_NE(copy.GetCdr().GetRep(), list.GetCdr().GetRep());
    EXPECT_TRUE(copy == list);
    EXPECT_EQ(copy.GetReverse().GetLength(), 1000000u);
    const CUniStr text = list.GetString();
    unsigned pos = 0;
    const CGeneric read = ReadGenericValue(text, pos);
    EXPECT_EQ(pos, text.Length());
    EXPECT_TRUE(read == CGeneric(list));
}

// Refusing deeper nesting is the reader's test; at the limit a value is whole and usable.
TEST(GenericLongValues, NestingAtTheLimitIsUsable) {
    // At the limit: the innermost symbol is the last level allowed.
    const unsigned lists = kMaxGenericNesting - 1;
    CUniStr atLimit;
    atLimit.Assure(2 * lists + 2);
    for (unsigned i = 0; i < lists; ++i) atLimit += static_cast<unsigned short>('(');
    atLimit += static_cast<unsigned short>('x');
    for (unsigned i = 0; i < lists; ++i) atLimit += static_cast<unsigned short>(')');
    {
        const CGeneric deep = CGeneric::CreateFromString(atLimit);
        ASSERT_EQ(deep.GetType(), eGenericList);
        EXPECT_TRUE(deep.GetString() == atLimit);
        const CGeneric again = CGeneric::CreateFromString(deep.GetString());
        EXPECT_TRUE(again == deep);
        EXPECT_FALSE(again < deep);
        EXPECT_TRUE(CGeneric::CreateFromString(deep.GetPrettyPrint()) == deep);

        CXFile file = gFileSystem.CreateRamFile(XF_BINARY);
        deep >> file;
        file.Seek(0);
        CGeneric loaded;
        loaded << file;
        EXPECT_TRUE(loaded == deep);
    }
    // One level more is refused.
    CUniStr overLimit = CUniStr(u"(") + atLimit + CUniStr(u")");
    EXPECT_THROW(CGeneric::CreateFromString(overLimit), CZtSimpleException);

    // A set nested to the limit is read and released as well.
    CUniStr sets;
    for (unsigned i = 0; i < lists; ++i) sets += static_cast<unsigned short>('[');
    sets += static_cast<unsigned short>('1');
    for (unsigned i = 0; i < lists; ++i) sets += static_cast<unsigned short>(']');
    EXPECT_EQ(CGeneric::CreateFromString(sets).GetType(), eGenericSet);
}
