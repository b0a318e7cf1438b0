#include <gtest/gtest.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/files/file_system.h>
#include <ztbase/generic/association.h>
#include <ztbase/generic/scalars.h>
#include <ztbase/generic/set.h>
#include <ztbase/generic/symbol.h>

#include <atomic>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "generic_support.h"

using namespace ZtBase;

namespace {

using namespace generic_support;

int TreeHeight(const CAssociationBundle& b) {
    return b.GetRep()->GetTree().CheckInvariants();
}

// ---- associations -------------------------------------------------------------------------------------

TEST(Association, ANullAssociationGivesNullReferencesAndEmptyText) {
    const CAssociation null;
    EXPECT_TRUE(null.GetKey().IsNull());
    EXPECT_TRUE(null.GetValue().IsNull());
    EXPECT_EQ(Narrow(null.GetString()), "");
    EXPECT_EQ(Narrow(null.GetPrettyPrint()), "");
    CAssociation made;
    made.SetValue(Num(4));
    EXPECT_FALSE(made.IsNull());
    EXPECT_TRUE(made.GetKey().IsNull());
    made.SetKey(CSymbol("v"));
    EXPECT_EQ(Narrow(made.GetString()), "v=4");
    const CAssociation alias = made;
    made.SetValue(Num(5));
    EXPECT_EQ(Narrow(alias.GetString()), "v=4") << "a shared body is copied before it changes";
    EXPECT_EQ(Narrow(CAssociation(CUniStr(u"w")).GetString()), "w=");
}

TEST(Association, CompareKeysGivesOneWheneverAKeyIsNull) {
    const CSymbol first = FreshSymbol("ck"), second = FreshSymbol("ck");
    const CAssociation a(first, Num(1)), b(second, Num(1)), keyless(CSymbol(), Num(1));
    EXPECT_EQ(a.CompareKeys(b), -1);
    EXPECT_EQ(b.CompareKeys(a), 1);
    EXPECT_EQ(a.CompareKeys(CAssociation(CSymbol(static_cast<unsigned int>(first)))), 0) << "equal numbers";
    EXPECT_EQ(a.CompareKeys(keyless), 1);
    EXPECT_EQ(keyless.CompareKeys(a), 1);
    EXPECT_EQ(CAssociation().CompareKeys(a), 1);
}

TEST(Association, KeysPresentOnBothSidesDecideTheOrderOtherwiseTheValuesDo) {
    const CSymbol k1 = FreshSymbol("ord"), k2 = FreshSymbol("ord");
    const CGeneric a = CAssociation(k1, Num(9)), b = CAssociation(k2, Num(1));
    EXPECT_TRUE(a < b);
    EXPECT_TRUE(a <= b);
    EXPECT_FALSE(a > b);
    EXPECT_TRUE(b > a);
    EXPECT_TRUE(b >= a);
    const CGeneric sameKeySmall = CAssociation(k1, Num(1));
    EXPECT_TRUE(sameKeySmall < a);
    EXPECT_TRUE(sameKeySmall <= CGeneric(CAssociation(k1, Num(1))));
    EXPECT_FALSE(sameKeySmall < CGeneric(CAssociation(k1, Num(1))));
    // A null key leaves the decision to the values, against any key.
    const CGeneric keyless = CAssociation(CSymbol(), Num(0));
    EXPECT_TRUE(keyless < b);
    EXPECT_TRUE(keyless < a);
    EXPECT_FALSE(a < keyless);
    // Equality: key numbers and values; a null key matches only a null key.
    EXPECT_TRUE(a == CGeneric(CAssociation(k1, Num(9))));
    EXPECT_FALSE(a == CGeneric(CAssociation(k1, Num(8))));
    EXPECT_FALSE(keyless == CGeneric(CAssociation(k1, Num(0))));
    EXPECT_TRUE(keyless == CGeneric(CAssociation(CSymbol(), Num(0))));
    EXPECT_TRUE(CAssociation(k1, Num(9)) == CAssociation(k1, Num(9)));
    EXPECT_FALSE(CAssociation(k1, Num(9)) == CAssociation());
}

TEST(Association, PrettyPrintIndentsALongOrMultiLineValueRightAfterTheEqualsSign) {
    const CSymbol k("k");
    // "k=" and a quoted text: 50 characters stay on one line, 51 are indented.
    const std::u16string t46(46, u'a'), t47(47, u'a');
    EXPECT_EQ(Narrow(CAssociation(k, Str(t46.c_str())).GetPrettyPrint()),
              "k=\"" + std::string(46, 'a') + "\"");
    EXPECT_EQ(Narrow(CAssociation(k, Str(t47.c_str())).GetPrettyPrint()),
              "k=    \"" + std::string(47, 'a') + "\"");
    // A value over several lines: every line is indented, the final line feed is not followed by spaces.
    CGenericSet lines = MakeSet();
    lines.Add(Str(t47.c_str()));
    lines.Add(Num(1));
    EXPECT_EQ(Narrow(CAssociation(k, lines).GetPrettyPrint()),
              "k=    [\n    1, \n    \"" + std::string(47, 'a') + "\"\n    ]\n");
    EXPECT_EQ(Narrow(CAssociation(k, Str(u"x\ny")).GetPrettyPrint()), "k=    \"x\n    y\"");
    EXPECT_EQ(Narrow(CAssociation(k, Str(u"x\ny")).GetString()), "k=\"x\ny\"");
}

// Values nested through associations are indented one step a level until the lines have 80 spaces: the
// text grows with the depth, not with its square.
TEST(Association, IndentationStopsGrowingAtEightySpaces) {
    const CSymbol k("k");
    CGenericSet lines = MakeSet();
    lines.Add(Str(std::u16string(47, u'a').c_str()));
    lines.Add(Num(1));
    CGeneric value = lines;
    std::size_t lastLength = 0, lastGrowth = 0;
    for (int depth = 1; depth <= 60; ++depth) {
        value = CAssociation(k, value);
        const std::string text = Narrow(value.GetPrettyPrint());
        std::size_t widest = 0, at = 0;
        while (at < text.size()) {
            const std::size_t spaces = text.find_first_not_of(' ', at) - at;
            widest = std::max(widest, spaces);
            const std::size_t end = text.find('\n', at);
            if (end == std::string::npos) break;
            at = end + 1;
        }
        EXPECT_EQ(widest, std::min<std::size_t>(4 * depth, 80)) << "depth " << depth;
        if (depth > 25) {
            EXPECT_EQ(text.size() - lastLength, lastGrowth) << "depth " << depth;
        }
        lastGrowth = text.size() - lastLength;
        lastLength = text.size();
    }
}

// ---- bundles: pairs -----------------------------------------------------------------------------------

TEST(AssociationBundle, SetReplacesAndMergeKeepsTheBundlesOwnValue) {
    const CSymbol k = FreshSymbol("k");
    CAssociationBundle b;
    b.Set(k, Num(1));
    b.Set(k, Num(2));
    EXPECT_EQ(b.GetLength(), 1u);
    EXPECT_TRUE(b.GetValue(k) == Num(2));
    CAssociationBundle other = MakeAssociationBundle();
    const CSymbol extra = FreshSymbol("extra");
    other.Set(k, Num(3));
    other.Set(extra, Num(4));
    b.MergeWith(other);
    EXPECT_TRUE(b.GetValue(k) == Num(2));
    EXPECT_TRUE(b.GetValue(extra) == Num(4));
    EXPECT_EQ(b.GetLength(), 2u);
    b.Set(CAssociation(extra, Num(5)));
    EXPECT_TRUE(b.GetValue(extra) == Num(5));
    EXPECT_TRUE(other.GetValue(extra) == Num(4));
}

TEST(AssociationBundle, SubtractRemovesKeysWhateverTheirValues) {
    const CSymbol a = FreshSymbol("a"), b = FreshSymbol("b");
    CAssociationBundle x = MakeAssociationBundle(), y = MakeAssociationBundle();
    x.Set(a, Num(1));
    x.Set(b, Num(2));
    y.Set(a, Str(u"different"));
    x.SubtractDuplicates(y);
    EXPECT_FALSE(x.HasKey(a));
    EXPECT_TRUE(x.HasKey(b));
    x.SubtractDuplicates(CAssociationBundle());
    EXPECT_EQ(x.GetLength(), 1u);
    x.SubtractDuplicates(x);
    EXPECT_EQ(x.GetLength(), 0u);
    EXPECT_EQ(y.GetLength(), 1u);
}

TEST(AssociationBundle, AKeyWithoutAValueIsPresent) {
    const CSymbol k = FreshSymbol("bare");
    CAssociationBundle b;
    b.Set(k);
    EXPECT_TRUE(b.HasKey(k));
    EXPECT_TRUE(b.GetValue(k).IsNull());
    EXPECT_EQ(b.GetLength(), 1u);
    EXPECT_EQ(Narrow(b.GetString()), "{" + Narrow(CUniStr(k)) + "=}");
}

TEST(AssociationBundle, ReadingANullBundleMakesNoBodyButDeletingAndMergingDo) {
    const CSymbol k("k");
    CAssociationBundle null;
    EXPECT_TRUE(null.GetValue(k).IsNull() && null.GetValue(CUniStr(u"k")).IsNull() &&
                null.GetValue("k").IsNull());
    EXPECT_FALSE(null.HasKey(k));
    EXPECT_EQ(null.GetLength(), 0u);
    EXPECT_EQ(null.begin(), null.end());
    EXPECT_EQ(Narrow(null.GetString()) + Narrow(null.GetPrettyPrint()), "");
    EXPECT_TRUE(null.IsNull()) << "reading made no body";
    null.SubtractDuplicates(MakeAssociationBundle());
    EXPECT_FALSE(null.IsNull()) << "subtracting a bundle gives this one a body first";
    CAssociationBundle deleted, merged, subtracted;
    deleted.DeleteKey(k);
    merged.MergeWith(CAssociationBundle());
    subtracted.SubtractDuplicates(CAssociationBundle());
    EXPECT_FALSE(deleted.IsNull());
    EXPECT_FALSE(merged.IsNull());
    EXPECT_TRUE(subtracted.IsNull());
}

TEST(AssociationBundle, GetValueByTextInternsTheText) {
    CAssociationBundle b;
    b.Set(CSymbol("colour"), Str(u"red"));
    EXPECT_TRUE(b.GetValue(CUniStr(u"colour")) == Str(u"red"));
    EXPECT_TRUE(b.GetValue(reinterpret_cast<const unsigned short*>(u"colour")) == Str(u"red"));
    EXPECT_TRUE(b.GetValue("colour") == Str(u"red"));
    EXPECT_TRUE(b.GetValue("Colour").IsNull());
    try {
        b.GetValue("no good");
        ADD_FAILURE() << "a text with a space is no symbol";
    } catch (const CZtSimpleException& e) {
        EXPECT_EQ(e.GetExceptionErrorCode(), 10001u);
    }
}

TEST(AssociationBundle, ContentsAndKeyOrderMatchAMapOnRandomData) {
    std::vector<CSymbol> keys;
    for (int i = 0; i < 120; ++i) keys.push_back(FreshSymbol("rk"));
    std::mt19937 rng(99u);
    CAssociationBundle b;
    std::map<unsigned, int> reference;
    for (int step = 0; step < 4000; ++step) {
        const CSymbol& k = keys[rng() % keys.size()];
        const int v = static_cast<int>(rng() % 1000);
        switch (rng() % 4) {
            case 0:
                b.DeleteKey(k);
                reference.erase(k);
                break;
            case 1:
                b.Set(CAssociation(k, Num(v)));
                reference[k] = v;
                break;
            default:
                b.Set(k, Num(v));
                reference[k] = v;
                break;
        }
        ASSERT_EQ(b.HasKey(k) != 0, reference.count(k) == 1);
        if (step % 64 == 0) {
            ASSERT_GT(TreeHeight(b), 0);
        }
    }
    ASSERT_EQ(b.GetLength(), reference.size());
    auto ref = reference.begin();
    for (const auto& pair : b) {
        EXPECT_EQ(static_cast<unsigned>(pair.first), ref->first);
        EXPECT_EQ(static_cast<double>(static_cast<CGenericNumber>(pair.second)), ref->second);
        ++ref;
    }
    // A copy taken by insertion holds the same pairs.
    const CAssociationBundle copy(static_cast<CAssociationBundleRep*>(b.GetRep()->Duplicate()));
    EXPECT_TRUE(copy == CGeneric(b));
    EXPECT_GT(TreeHeight(copy), 0);
}

// ---- bundles: order -----------------------------------------------------------------------------------

TEST(AssociationBundle, EqualPairsMakeEqualBundles) {
    const CSymbol a = FreshSymbol("eq"), b = FreshSymbol("eq");
    CAssociationBundle x, y;
    x.Set(a, Num(1));
    x.Set(b, Str(u"t"));
    y.Set(b, Str(u"t"));
    y.Set(a, Num(1));
    EXPECT_TRUE(x == CGeneric(y));
    EXPECT_FALSE(x != CGeneric(y));
    y.Set(b, Str(u"u"));
    EXPECT_FALSE(x == CGeneric(y));
}

TEST(AssociationBundle, OrderWalksPairsAndLessOrEqualHoldsForAnExtension) {
    const CSymbol a = FreshSymbol("o"), b = FreshSymbol("o");
    CAssociationBundle one, oneTwo, bigger;
    one.Set(a, Num(1));
    oneTwo.Set(a, Num(1));
    oneTwo.Set(b, Num(2));
    bigger.Set(a, Num(5));
    const CGeneric g1 = one, g12 = oneTwo, gBig = bigger;
    EXPECT_TRUE(g1 < g12);
    EXPECT_FALSE(g12 < g1);
    EXPECT_TRUE(g12 <= g1) << "an extension counts as <=";
    EXPECT_TRUE(g1 <= g12);
    EXPECT_TRUE(g12 < gBig);
    EXPECT_FALSE(gBig <= g12);
    // A smaller key number decides before values do.
    CAssociationBundle byKey;
    byKey.Set(b, Num(0));
    EXPECT_TRUE(g12 < CGeneric(byKey)) << "key a comes before key b";
    // The handle's own rules: a null bundle is the smallest, > and >= negate <= and <.
    const CAssociationBundle null;
    EXPECT_TRUE(null < g1);
    EXPECT_TRUE(null <= g1);
    EXPECT_FALSE(one < CGeneric());
    EXPECT_TRUE(one > CGeneric());
    EXPECT_TRUE(one >= CGeneric());
    EXPECT_FALSE(null > CGeneric()) << "two nulls are the same body";
    EXPECT_TRUE(null >= CGeneric());
    EXPECT_FALSE(one > g12) << "not (one <= oneTwo)";
    EXPECT_FALSE(oneTwo > g1) << "not (oneTwo <= one), which holds deliberately";
    EXPECT_TRUE(oneTwo >= g1);
}

// ---- bundles: text ------------------------------------------------------------------------------------

TEST(AssociationBundle, TextInKeyOrderAndPrettyPrintAlphabeticalOnRequest) {
    EXPECT_EQ(Narrow(MakeAssociationBundle().GetString()), "{}");
    EXPECT_EQ(Narrow(MakeAssociationBundle().GetPrettyPrint()), "{}");
    // Interned first, so "zeta..." has the smaller number.
    const CSymbol z = FreshSymbol("zeta"), a = FreshSymbol("alpha");
    const std::string zt = Narrow(CUniStr(z)), at = Narrow(CUniStr(a));
    CAssociationBundle b;
    b.Set(a, Num(1));
    b.Set(z, Num(2));
    EXPECT_EQ(Narrow(b.GetString()), "{" + zt + "=2," + at + "=1}");
    EXPECT_EQ(Narrow(b.GetPrettyPrint(0)), "{" + zt + "=2, " + at + "=1}");
    EXPECT_EQ(Narrow(b.GetPrettyPrint(1)), "{" + at + "=1, " + zt + "=2}");
    // Past 50 characters: one pair a line.
    b.Set(a, Str(u"a rather long text that needs room"));
    EXPECT_EQ(Narrow(b.GetPrettyPrint(1)),
              "{\n" + at + "=\"a rather long text that needs room\", \n" + zt + "=2\n}\n");
}

TEST(AssociationBundle, LoadingARepeatedKeyKeepsTheLastValueAndKeepsPairsTheStreamDoesNotName) {
    // kind 5, two pairs with the same key.
    CXFile repeated = gFileSystem.CreateRamFile(XF_BINARY);
    const unsigned int head[] = {5, 2};
    repeated.WriteBlock(reinterpret_cast<const char*>(head), sizeof head);
    CSymbol("r") >> repeated;
    Num(1) >> repeated;
    CSymbol("r") >> repeated;
    Num(2) >> repeated;
    repeated.Seek(0);
    CGeneric loaded;
    loaded << repeated;
    const CAssociationBundle got = loaded;
    EXPECT_EQ(got.GetLength(), 1u);
    EXPECT_TRUE(got.GetValue("r") == Num(2));

    // Reading into a bundle keeps the pairs the stream does not name.
    repeated.Seek(4);
    CAssociationBundle target;
    target.Set(CSymbol("keep"), Num(7));
    target.Set(CSymbol("r"), Num(0));
    target << repeated;
    EXPECT_EQ(target.GetLength(), 2u);
    EXPECT_TRUE(target.GetValue("keep") == Num(7));
    EXPECT_TRUE(target.GetValue("r") == Num(2));
}

}  // namespace

// A null key has no place in the key order: setting it, directly or by loading a stored key record that is
// no symbol, changes nothing, and every other pair stays.
TEST(AssociationBundle, ANullKeyIsDroppedAndReplacesNoPair) {
    CAssociationBundle b;
    b.Set(CSymbol("nkCat"), CGeneric(CGenericNumber(1)));
    b.Set(CSymbol("nkLex"), CGeneric(CGenericNumber(2)));
    b.Set(CSymbol(), CGeneric(CGenericNumber(3)));
    EXPECT_EQ(b.GetLength(), 2u);
    EXPECT_EQ(Narrow(CGeneric(b).GetString()), "{nkCat=1,nkLex=2}");
    // Stored with a key record of an unknown kind code in the middle: that pair alone is lost.
    CXFile file = gFileSystem.CreateRamFile(XF_BINARY);
    CGeneric(b) >> file;
    const char unknownPair[] = {'\x7f', 0, 0, 0,
                                0,      0, 0, 0};  // an unknown kind (read as null) and a null value
    CXFile stored = gFileSystem.CreateRamFile(XF_BINARY);
    std::string bytes(static_cast<std::size_t>(file.GetFileLength()), '\0');
    file.Seek(0);
    file.ReadBlock(bytes.data(), static_cast<unsigned>(bytes.size()));
    bytes[4] = 3;  // three pairs
    stored.WriteBlock(bytes.data(), static_cast<unsigned>(bytes.size()));
    stored.WriteBlock(unknownPair, sizeof unknownPair);
    stored.Seek(0);
    CGeneric loaded;
    loaded << stored;
    EXPECT_EQ(Narrow(loaded.GetString()), "{nkCat=1,nkLex=2}");
}
