// CUniStr: construction and widening, capacity, copy on write, the binary == against the collating
// Compare, narrowing to 8 bits, indenting, searching and parsing through the narrowed text.
#include "ztbase/strings/unistr.h"

#include <gtest/gtest.h>

#include <string>

#include "ztbase/strings/str.h"

using namespace ZtBase;

namespace {

std::u16string U(const CUniStr& s) {
    return std::u16string(reinterpret_cast<const char16_t*>(s.c_str()), s.Length());
}
std::string T(const CStr& s) {
    return std::string(s.c_str(), s.Length());
}
const unsigned short* W(const char16_t* s) {
    return reinterpret_cast<const unsigned short*>(s);
}

TEST(CUniStrConstruction, FormsAndWidening) {
    EXPECT_TRUE(CUniStr(static_cast<const unsigned short*>(nullptr)).IsNull());
    EXPECT_TRUE(CUniStr(u"").IsNull());
    EXPECT_TRUE(CUniStr(W(u"abc"), 0).IsNull());
    EXPECT_TRUE(CUniStr("").IsNull());
    EXPECT_TRUE(CUniStr(CStr()).IsNull());
    EXPECT_EQ(U(CUniStr(W(u"abcdef"), 2)), u"ab");
    CUniStr z(W(u"ab\0cd"), 5);
    EXPECT_EQ(z.Length(), 2u) << "an embedded zero ends the counted form";
    // Bytes are widened with their value kept: 0xE9 becomes U+00E9, not a sign-extended unit.
    CUniStr wide("caf\xE9\xFF");
    ASSERT_EQ(wide.Length(), 5u);
    EXPECT_EQ(wide[3], 0x00E9);
    EXPECT_EQ(wide[4], 0x00FF);
    EXPECT_EQ(U(CUniStr("abcdef", 3)), u"abc");
    EXPECT_EQ(U(CUniStr(CStr("\x80x"))), u"\u0080x");
    CUniStr f;
    f.Fill(0x263A, 3);
    EXPECT_EQ(U(f), u"\u263A\u263A\u263A");
    f.Fill(0, 3);
    EXPECT_TRUE(f.IsNull());
    CUniStr one;
    one = static_cast<unsigned short>(0x1234);
    EXPECT_EQ(U(one), u"\u1234");
    one = '\xE9';
    EXPECT_EQ(U(one), u"\u00E9");
    CUniStr n;
    ASSERT_NE(static_cast<const unsigned short*>(n), nullptr);
    EXPECT_EQ(static_cast<const unsigned short*>(n)[0], 0);
    EXPECT_EQ(n[-1], 0);
    EXPECT_EQ(CUniStr(u"ab")[2], 0);
    EXPECT_EQ(CUniStr(u"ab")[-1], 0);
    EXPECT_EQ(CUniStr(u"ab").LastChar(9), u'a');
}

// 2n + 12 bytes for n units (terminator included); the pool adds 8 and rounds up to 16 up to 1,024.
TEST(CUniStrCapacity, FollowsTheSizeThePoolGranted) {
    EXPECT_EQ(CUniStr(u"a").Size(), 6u);
    EXPECT_EQ(CUniStr(u"abcde").Size(), 6u);    // 12 + 12 + 8 = 32
    EXPECT_EQ(CUniStr(u"abcdef").Size(), 14u);  // 34 -> 48
    std::u16string big(1000, u'x');
    EXPECT_EQ(CUniStr(big.c_str()).Size(), 1001u) << "large blocks are granted as asked";
}

TEST(CUniStrCapacity, GrowthDoublesTheNeedPlusFive) {
    CUniStr s(u"abcde");
    s += static_cast<unsigned short>('f');  // need 7 -> 19 units -> 50 bytes -> block 64 -> 22 units
    EXPECT_EQ(s.Size(), 22u);
    EXPECT_EQ(U(s), u"abcdef");
    CUniStr t(s);
    t += static_cast<unsigned short>('g');  // shared and big enough: copied at need 8 -> 28 bytes -> 48
    EXPECT_EQ(t.Size(), 14u);
    EXPECT_EQ(U(s), u"abcdef");
    CUniStr e;
    e += static_cast<unsigned short>('a');
    EXPECT_EQ(e.Size(), 6u);
}

TEST(CUniStrCopyOnWrite, CopiesShareAndEditsArePrivate) {
    CUniStr a(u"h\u00E9llo");
    CUniStr b(a);
    EXPECT_EQ(a.GetRep(), b.GetRep());
    b.Upper();
    EXPECT_EQ(U(a), u"h\u00E9llo");
    EXPECT_EQ(U(b), u"H\u00C9LLO");
    CUniStr c(a);
    c.SetChar(0, 0x4E2D);
    EXPECT_EQ(U(a), u"h\u00E9llo");
    EXPECT_EQ(a.GetRep()->refCount, 1);
}

TEST(CUniStrCase, OnlyUnitsBelow256AreMapped) {
    CUniStr s(u"\u00E9\u0161\u0107a\u00FF\u00DF");
    EXPECT_EQ(U(s.StrUpper()), u"\u00C9\u0161\u0107A\u009F\u00DF");
    EXPECT_EQ(U(s.StrStrip()), u"e\u0161\u0107ays");
    EXPECT_EQ(U(s.StrSanitize()), u"E\u0161\u0107AYS");
}

TEST(CUniStrCompare, EqualityIsBinaryWhileCompareCollates) {
    CUniStr lower(u"abc"), upper(u"ABC");
    EXPECT_FALSE(lower == upper);
    EXPECT_EQ(lower.Compare(upper, eIgnoreCase), eEqual);
    EXPECT_EQ(CUniStr(u"\u00E9").Compare(CUniStr(u"e"), eIgnoreDiacritics), eEqual);
    EXPECT_EQ(CUniStr(u"\u00E9").Compare(CUniStr(u"E"), eIgnoreBoth), eEqual);
    EXPECT_EQ(lower.Compare(upper, static_cast<ECompareMode>(4)), eNoResult);

    // Against a C string both sides are narrowed: U+0141 becomes 'A' and U+0100 vanishes, so the
    // ordering calls them equal while the unit-by-unit == does not.
    CUniStr lStroke(u"\u0141");
    const unsigned short* a = W(u"A");
    EXPECT_EQ(lStroke.Compare(a), eEqual);
    EXPECT_FALSE(lStroke < a);
    EXPECT_FALSE(lStroke > a);
    EXPECT_TRUE(lStroke <= a);
    EXPECT_TRUE(lStroke >= a);
    EXPECT_FALSE(lStroke == a);
    EXPECT_TRUE(lStroke != a);
    EXPECT_EQ(CUniStr(u"\u0100A").Compare(W(u"A")), eEqual);
    // ... and follow the 8-bit collation: 'ab' is less than 'Ab' there, as by code unit it is not.
    EXPECT_TRUE(CUniStr(u"ab") < W(u"Ab"));
    EXPECT_TRUE(CUniStr(u"ab") > CUniStr(u"Ab"));
    EXPECT_TRUE(CUniStr(u"ab") != CUniStr(u"Ab"));
    // Null, empty and a null pointer are all equal.
    CUniStr null, empty(u"x");
    empty.DeleteLastChar(1);
    EXPECT_TRUE(null == empty);
    EXPECT_TRUE(null == static_cast<const unsigned short*>(nullptr));
    EXPECT_TRUE(empty == static_cast<const unsigned short*>(nullptr));
    EXPECT_TRUE(null == W(u""));
    for (int mode = 0; mode < 4; ++mode) {
        EXPECT_EQ(null.Compare(empty, static_cast<ECompareMode>(mode)), eEqual);
        EXPECT_EQ(null.Compare(W(u""), static_cast<ECompareMode>(mode)), eEqual);
    }
    EXPECT_EQ(null.Compare(CUniStr(u"a")), eLess);
    EXPECT_EQ(CUniStr(u"a").Compare(empty), eGreater);
}

TEST(CUniStrCompare, OrdersByCodeUnitNotByLocale) {
    EXPECT_EQ(CUniStr(u"\u00E9").Compare(CUniStr(u"z")), eGreater);
    EXPECT_EQ(CUniStr(u"Z").Compare(CUniStr(u"a")), eLess);
    const unsigned short high[] = {0xD800, 0}, priv[] = {0xE000, 0};
    EXPECT_EQ(CUniStr(high).Compare(CUniStr(priv)), eLess) << "a surrogate unit is just a unit";
    EXPECT_EQ(CUniStr(u"\uFFFF").Compare(CUniStr(u"\uFFFE\uFFFF")), eGreater);
    EXPECT_EQ(CUniStr(u"ab").Compare(CUniStr(u"abc")), eLess);
    EXPECT_EQ(CUniStr(u"abc").Compare(CUniStr(u"abc")), eEqual);
}

TEST(CUniStrNarrowing, ValueFormsKeepTheLowByteAndNeverFail) {
    CUniStr s(u"\u0100A");
    EXPECT_EQ(T(s.ConvertTo8Bit()), "A");
    EXPECT_EQ(T(s.ConvertTo8Bit_Safe()), "A");
    EXPECT_EQ(T(CUniStr(u"\u0141\u00E9").ConvertTo8Bit()), "A\xE9");
    CStr out("old");
    EXPECT_FALSE(s.ConvertTo8Bit_Safe(out));
    EXPECT_EQ(T(out), ".A");
    EXPECT_TRUE(CUniStr(u"\u00E9t\u00E9").ConvertTo8Bit_Safe(out));
    EXPECT_EQ(T(out), "\xE9t\xE9");
    EXPECT_TRUE(CUniStr().ConvertTo8Bit_Safe(out));
    EXPECT_EQ(out.Length(), 0u) << "the output is emptied first";
    EXPECT_EQ(T(CStrFromUniStr(CUniStr(u"x\u20ACy"))), "x.y");
    // Round trip of every 8-bit character.
    std::string all;
    for (int c = 1; c < 256; ++c) all += static_cast<char>(c);
    EXPECT_EQ(T(CUniStr(all.c_str()).ConvertTo8Bit()), all);
}

TEST(CUniStrIndent, IndentsEveryLineButAfterAFinalLineFeed) {
    CUniStr two(u"  ");
    EXPECT_EQ(U(CUniStr(u"a\nb\n").IndentText(two)), u"  a\n  b\n");
    EXPECT_EQ(U(CUniStr(u"a\n\nb").IndentText(two)), u"  a\n  \n  b");
    EXPECT_EQ(U(CUniStr(u"\n").IndentText(two)), u"  \n");
    EXPECT_EQ(CUniStr().IndentText(two).Length(), 0u);
    EXPECT_EQ(U(CUniStr(u"ab").IndentText(CUniStr())), u"ab");
}

TEST(CUniStrFind, SameRulesOverUnits) {
    unsigned pos = 99;
    CUniStr s(u"abcab");
    ASSERT_TRUE(s.Find(CUniStr(u"b"), pos, eExact, 2));
    EXPECT_EQ(pos, 2u);
    CUniStr cafe(u"caf\u00E9");
    EXPECT_FALSE(cafe.Find(static_cast<unsigned short>('e'), pos, eIgnoreDiacritics));
    ASSERT_TRUE(cafe.Find(CUniStr(u"e"), pos, eIgnoreDiacritics));
    EXPECT_EQ(pos, 3u);
    ASSERT_TRUE(CUniStr(u"x\u4E2Dy\u4E2D").Find(CUniStr(u"\u4E2D"), pos, eExact, 0, 0xFFFFFFFFu, 0));
    EXPECT_EQ(pos, 3u);
    CUniStr r(u"a\u4E2Da");
    EXPECT_TRUE(r.ReplaceAll(CUniStr(u"a"), CUniStr(u"bc")));
    EXPECT_EQ(U(r), u"bc\u4E2Dbc");
}

TEST(CUniStrConvert, ParsesTheNarrowedText) {
    int v = 5;
    EXPECT_TRUE(CUniStr(u" 42x").Convert(v));
    EXPECT_EQ(v, 42);
    EXPECT_FALSE(CUniStr(u"0").Convert(v));
    EXPECT_EQ(v, 0);
    // The value-returning narrowing keeps low bytes: U+0131 reads as '1', U+0100 vanishes.
    EXPECT_TRUE(CUniStr(u"4\u01312").Convert(v));
    EXPECT_EQ(v, 412);
    EXPECT_TRUE(CUniStr(u"4\u01002").Convert(v));
    EXPECT_EQ(v, 42);
    double d = 0;
    EXPECT_TRUE(CUniStr(u"1.5").Convert(d));
    EXPECT_DOUBLE_EQ(d, 1.5);
    unsigned h = 0;
    EXPECT_TRUE(CUniStr(u"7f").Hex2Byte(h));
    EXPECT_EQ(h, 0x7Fu);
    EXPECT_TRUE(CUniStr(u"-9").IsNumber());
    EXPECT_FALSE(CUniStr(u"0").IsNumber());
}

}  // namespace
