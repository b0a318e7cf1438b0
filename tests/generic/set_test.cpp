#include <gtest/gtest.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/files/file_system.h>
#include <ztbase/generic/association.h>
#include <ztbase/generic/list.h>
#include <ztbase/generic/scalars.h>
#include <ztbase/generic/set.h>
#include <ztbase/generic/symbol.h>

#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "generic_support.h"

using namespace ZtBase;

namespace {

using namespace generic_support;

int TreeHeight(const CGenericSet& s) {
    return s.GetRep()->GetTree().CheckInvariants();
}

// An independent order for the reference: numbers, then strings (by code unit), then symbols (by number).
using RefKey = std::tuple<int, double, std::u16string, unsigned>;
RefKey KeyOf(const CGeneric& g) {
    switch (g.GetType()) {
        case eGenericNumber:
            return {0, static_cast<double>(static_cast<CGenericNumber>(g)), u"", 0};
        case eGenericString: {
            const CUniStr text = static_cast<CGenericString>(g);
            return {1, 0.0, std::u16string(text.begin(), text.end()), 0};
        }
        default:
            return {2, 0.0, u"", static_cast<unsigned>(static_cast<CSymbol>(g))};
    }
}

CGeneric RandomValue(std::mt19937& rng) {
    const int kind = static_cast<int>(rng() % 3);
    const int n = static_cast<int>(rng() % 150);
    if (kind == 0) return Num(n - 75);
    std::u16string text = u"w";
    for (int i = 0; i <= n % 7; ++i) text += static_cast<char16_t>(u'a' + (n * 7 + i) % 26);
    if (kind == 1) return CGenericString(CUniStr(text.c_str()));
    return CSymbol(CUniStr(text.c_str()));
}

// ---- null, empty and membership -----------------------------------------------------------------------

TEST(GenericSet, ANullSetIsNotAnEmptySet) {
    const CGenericSet null;
    EXPECT_TRUE(null.IsNull());
    EXPECT_EQ(null.GetLength(), 0u);
    EXPECT_FALSE(null.HasElement(Num(1)));
    EXPECT_EQ(Narrow(null.GetPrettyPrint()), "[]");
    EXPECT_EQ(Narrow(null.GetString()), "");
    EXPECT_EQ(null.begin(), null.end());
    EXPECT_EQ(null.begin().GetTree(), nullptr);

    const CGenericSet empty = MakeSet();
    EXPECT_FALSE(empty.IsNull());
    EXPECT_EQ(empty.GetLength(), 0u);
    EXPECT_EQ(Narrow(empty.GetString()), "[]");
    EXPECT_EQ(Narrow(empty.GetPrettyPrint()), "[]");
    EXPECT_FALSE(null == empty);
    EXPECT_TRUE(null == CGenericSet());
    EXPECT_TRUE(empty == MakeSet());

    CGenericSet grown;
    grown.Add(Num(3));  // a write gives a null set a body
    EXPECT_EQ(Narrow(grown.GetString()), "[3]");
    CGenericSet deleted;
    deleted.Delete(Num(3));
    EXPECT_FALSE(deleted.IsNull());
}

TEST(GenericSet, AnEquivalentValueKeepsTheElementAddedFirst) {
    const CGeneric first = Num(1);
    const CGeneric second = Num(1);
    ASSERT_NE(first.GetRep(), second.GetRep());
    CGenericSet s = SetOf({first, Num(2)});
    s.Add(second);
    EXPECT_EQ(s.GetLength(), 2u);
    EXPECT_EQ(s.begin()->GetRep(), first.GetRep());
    // A NaN orders with nothing, so it is equivalent to every number: it is not added beside one.
    s.Add(Num(std::numeric_limits<double>::quiet_NaN()));
    EXPECT_EQ(s.GetLength(), 2u);
    EXPECT_TRUE(s.HasElement(Num(std::numeric_limits<double>::quiet_NaN())));
}

TEST(GenericSet, EqualityComparesElementsWithEqualsNotEquivalence) {
    const CGeneric nan = Num(std::numeric_limits<double>::quiet_NaN());
    const CGenericSet a = SetOf({nan});
    const CGenericSet b = SetOf({Num(std::numeric_limits<double>::quiet_NaN())});
    EXPECT_FALSE(a == b) << "two NaN bodies are not equal";
    EXPECT_TRUE(a == SetOf({nan})) << "the same body matches itself";
    EXPECT_TRUE(SetOf({Num(1), Str(u"x")}) == SetOf({Str(u"x"), Num(1)}));
    EXPECT_FALSE(SetOf({Num(1)}) == SetOf({Num(1), Num(2)}));
    EXPECT_TRUE(SetOf({CGeneric()}) == SetOf({CGeneric()})) << "a null element matches a null element";
}

TEST(GenericSet, ContentsAndOrderMatchAReferenceOnRandomData) {
    std::mt19937 rng(4242u);
    CGenericSet s;
    std::set<RefKey> reference;
    for (int step = 0; step < 3000; ++step) {
        const CGeneric v = RandomValue(rng);
        if (rng() % 3 != 0) {
            s.Add(v);
            reference.insert(KeyOf(v));
        } else {
            s.Delete(v);
            reference.erase(KeyOf(v));
        }
        ASSERT_EQ(s.HasElement(v) != 0, reference.count(KeyOf(v)) == 1);
        if (step % 50 == 0) {
            ASSERT_GT(TreeHeight(s), 0);
        }
    }
    ASSERT_EQ(s.GetLength(), reference.size());
    auto ref = reference.begin();
    CGeneric previous;
    for (const CGeneric& v : s) {
        EXPECT_TRUE(KeyOf(v) == *ref);
        if (!previous.IsNull()) {
            EXPECT_TRUE(previous < v);
        }
        previous = v;
        ++ref;
    }
    // The end position steps back to the first element.
    auto it = s.end();
    ++it;
    EXPECT_TRUE(KeyOf(*it) == *reference.begin());
}

TEST(GenericSet, MixedKindsIterateInTheOrderOfKinds) {
    CAssociationBundle bundle = MakeAssociationBundle();
    bundle.Set(CSymbol("k"), Num(1));
    const CGeneric values[] = {Sym("zed"),
                               Str(u"s"),
                               Num(5),
                               CGenericList(Num(1), CGeneric()),
                               CAssociation(CSymbol("a"), Num(2)),
                               bundle,
                               SetOf({Num(1)}),
                               CGeneric()};
    CGenericSet s;
    for (const CGeneric& v : values) s.Add(v);
    std::vector<int> kinds;
    for (const CGeneric& v : s) kinds.push_back(v.GetType());
    EXPECT_EQ(kinds,
              (std::vector<int>{eGenericNull, eGenericAssociationBundle, eGenericAssociation, eGenericList,
                                eGenericNumber, eGenericSet, eGenericString, eGenericSymbol}));
}

// ---- merging and subtracting --------------------------------------------------------------------------

TEST(GenericSet, MergeAndSubtractAreUnionAndDifference) {
    CGenericSet a = SetOf({Num(1), Num(2), Num(3)});
    const CGenericSet b = SetOf({Num(3), Num(4)});
    a.MergeWith(b);
    EXPECT_EQ(Narrow(a.GetString()), "[1,2,3,4]");
    a.SubtractDuplicates(SetOf({Num(2), Num(4), Num(9)}));
    EXPECT_EQ(Narrow(a.GetString()), "[1,3]");
    EXPECT_EQ(Narrow(b.GetString()), "[3,4]");

    a.SubtractDuplicates(a);
    EXPECT_EQ(a.GetLength(), 0u);
    CGenericSet big;
    for (int i = 0; i < 500; ++i) big.Add(Num(i));
    big.SubtractDuplicates(*big.GetRep());  // the body subtracted from itself
    EXPECT_EQ(big.GetLength(), 0u);
    EXPECT_GT(TreeHeight(big), 0);
    big.Add(Num(1));
    big.MergeWith(big);
    EXPECT_EQ(Narrow(big.GetString()), "[1]");
}

TEST(GenericSet, ANullArgumentChangesNothingAndASharedBodyIsNeverChanged) {
    CGenericSet a = SetOf({Num(1)});
    const CGenericSet alias = a;
    const CGenericSetRep* shared = a.GetRep();
    a.MergeWith(CGenericSet());
    a.SubtractDuplicates(CGenericSet());
    EXPECT_EQ(a.GetRep(), shared) << "no copy is taken for a null argument";
    a.Add(Num(2));
    EXPECT_NE(a.GetRep(), shared);
    EXPECT_EQ(Narrow(alias.GetString()), "[1]");
    EXPECT_EQ(Narrow(a.GetString()), "[1,2]");
    const CGenericSet copy(new CGenericSetRep(*a.GetRep()));
    EXPECT_TRUE(copy == a);
    EXPECT_GT(TreeHeight(copy), 0);
}

// ---- order between sets -------------------------------------------------------------------------------

TEST(GenericSet, OrderIsLexicographicAndLessOrEqualHoldsForAnExtension) {
    const CGeneric one = SetOf({Num(1)});
    const CGeneric oneTwo = SetOf({Num(1), Num(2)});
    EXPECT_TRUE(one < oneTwo);
    EXPECT_FALSE(oneTwo < one);
    EXPECT_TRUE(oneTwo <= one) << "an extension counts as <=";
    EXPECT_TRUE(one <= oneTwo);
    EXPECT_TRUE(one >= oneTwo);
    EXPECT_TRUE(oneTwo >= one);
    EXPECT_TRUE(oneTwo > one);
    EXPECT_FALSE(one > oneTwo);
    const CGeneric two = SetOf({Num(2)});
    EXPECT_TRUE(oneTwo < two);
    EXPECT_TRUE(oneTwo <= two);
    EXPECT_FALSE(two <= oneTwo);
    EXPECT_FALSE(one < SetOf({Num(1)}));
    EXPECT_TRUE(one <= SetOf({Num(1)}));
    EXPECT_TRUE(CGeneric(MakeSet()) < one);
}

// ---- text ---------------------------------------------------------------------------------------------

TEST(GenericSet, TextFormsAndTheSwitchToSeveralLinesAtFiftyCharacters) {
    EXPECT_EQ(Narrow(SetOf({Num(2), Str(u"a b"), Sym("x"), Num(1.5)}).GetString()), "[1.5,2,\"a b\",x]");
    EXPECT_EQ(Narrow(SetOf({Num(2), Num(1)}).GetPrettyPrint()), "[1, 2]");
    // "[" + quoted text + "]": 45 letters make 49 characters, 46 make 50.
    const std::u16string letters45(45, u'a'), letters46(46, u'a');
    const CGenericSet short1 = SetOf({Str(letters45.c_str())});
    EXPECT_EQ(short1.GetPrettyPrint().Length(), 49u);
    const CGenericSet long1 = SetOf({Str(letters46.c_str())});
    EXPECT_EQ(Narrow(long1.GetPrettyPrint()), "[\n\"" + std::string(46, 'a') + "\"\n]\n");
    EXPECT_EQ(Narrow(SetOf({Num(1), Str(u"a\nb")}).GetPrettyPrint()), "[\n1, \n\"a\nb\"\n]\n");
    // A nested set in several lines makes the outer one switch too.
    const CGenericSet nested = SetOf({long1, Num(7)});
    EXPECT_EQ(Narrow(nested.GetPrettyPrint()), "[\n7, \n[\n\"" + std::string(46, 'a') + "\"\n]\n\n]\n");
}

// ---- binary form --------------------------------------------------------------------------------------

TEST(GenericSet, ReadingAddsToTheElementsPresentAndANullSetReadsNothing) {
    CXFile file = StoreAndRewind(SetOf({Num(1), Num(2)}));
    file.Seek(4);  // behind the kind code, where the body's reader starts
    CGenericSet target = SetOf({Num(2), Num(3)});
    target << file;
    EXPECT_EQ(Narrow(target.GetString()), "[1,2,3]");

    file.Seek(4);
    CGenericSet null;
    null << file;
    EXPECT_TRUE(null.IsNull());
    EXPECT_EQ(file.GetFilePosition(), 4);
    CXFile out = gFileSystem.CreateRamFile(XF_BINARY);
    null >> out;
    EXPECT_EQ(out.GetFileLength(), 0);
}

TEST(GenericSet, ANullElementWritesNothingAndTheCountStays) {
    const CGenericSet s = SetOf({CGeneric(), Num(4)});
    CXFile file = StoreAndRewind(s);
    EXPECT_EQ(file.GetFileLength(), 4 + 4 + 4 + 8);
    // The count promises two records; the second read finds the end of the file.
    CGeneric loaded;
    ExpectError([&] { loaded << file; }, 11001, "Read operation failed");
}

}  // namespace
