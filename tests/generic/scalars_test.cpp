#include <gtest/gtest.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/files/file_system.h>
#include <ztbase/generic/association.h>
#include <ztbase/generic/list.h>
#include <ztbase/generic/scalars.h>
#include <ztbase/generic/set.h>
#include <ztbase/generic/symbol.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "generic_support.h"

using namespace ZtBase;

namespace {

using namespace generic_support;

std::u16string U16(const CUniStr& s) {
    return s.ToU16();
}

}  // namespace

// ---- numbers ------------------------------------------------------------------------------------------

TEST(GenericNumber, TextFormIsTenSignificantDigitsWithThreeExponentDigits) {
    const struct {
        double value;
        const char* text;
    } table[] = {
        {3, "3"},
        {0.1, "0.1"},
        {1e20, "1e+020"},
        {1.0 / 3.0, "0.3333333333"},
        {2.0 / 3.0, "0.6666666667"},
        {-2.5, "-2.5"},
        {0, "0"},
        {-0.0, "-0"},
        {1234567890, "1234567890"},
        {12345678901.0, "1.23456789e+010"},
        {9999999999.5, "1e+010"},
        {0.0001, "0.0001"},
        {0.00001, "1e-005"},
        {1.5e-7, "1.5e-007"},
        {1e100, "1e+100"},
        {-1e-300, "-1e-300"},
        {1.7976931348623157e308, "1.797693135e+308"},
        {4.9406564584124654e-324, "4.940656458e-324"},
        {4294967295.0, "4294967295"},
        {std::numeric_limits<double>::infinity(), "inf"},
        {-std::numeric_limits<double>::infinity(), "-inf"},
        {std::numeric_limits<double>::quiet_NaN(), "nan"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(Utf8(FormatNumber(row.value)), row.text) << row.value;
        EXPECT_EQ(Utf8(CGenericNumber(row.value).GetString()), row.text);
        EXPECT_EQ(Utf8(CGeneric(row.value).GetPrettyPrint(7)), row.text) << "the argument is ignored";
    }
    EXPECT_EQ(Utf8(CGenericNumber(3).GetString()), "3");
    EXPECT_EQ(Utf8(CGenericNumber().GetString()), "") << "a null number prints nothing";
}

// The C library's "%.10g" with the exponent widened to three digits is the reference; random bit
// patterns reach subnormals, huge values and the ties that rounding must settle.
std::string ReferenceText(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.10g", value);
    std::string s = text;
    const std::size_t e = s.find('e');
    if (e != std::string::npos)
        while (s.size() - (e + 2) < 3) s.insert(e + 2, 1, '0');
    return s;
}

TEST(GenericNumber, TextMatchesTheCLibraryOnRandomValues) {
    std::mt19937_64 rng(11);
    std::uniform_int_distribution<int> exponent(-30, 30);
    for (int i = 0; i < 200000; ++i) {
        double value;
        if (i % 2) {
            const std::uint64_t bits = rng();
            std::memcpy(&value, &bits, sizeof value);
        } else {
            // Short decimals and halves, where a digit more or less or a wrong tie shows.
            value = static_cast<double>(rng() % 100000000000ull) * std::pow(10.0, exponent(rng)) / 2;
            if (rng() % 2) value = -value;
        }
        if (std::isnan(value)) continue;  // the sign the C library prints for a NaN varies
        ASSERT_EQ(Utf8(FormatNumber(value)), ReferenceText(value)) << std::hexfloat << value;
    }
}

TEST(GenericNumber, ConstructionArithmeticAndCopyOnWrite) {
    EXPECT_EQ(double(CGenericNumber(4294967295u)), 4294967295.0) << "unsigned values stay positive";
    EXPECT_EQ(double(CGenericNumber(0x80000000u)), 2147483648.0);
    EXPECT_EQ(double(CGenericNumber(CGeneric(4294967295u))), 4294967295.0);
    EXPECT_EQ(double(CGenericNumber()), 0.0) << "a null number reads as 0";
    // Arithmetic counts null as 0 and never raises; writing gives a null number a body.
    CGenericNumber n;
    n += CGenericNumber();
    ASSERT_FALSE(n.IsNull());
    n += 2.5;
    n *= 4;
    n -= CGenericNumber(1);
    n /= 2;
    EXPECT_EQ(double(n), 4.5);
    CGenericNumber one(1), zero(0.0), minus(-3);
    one /= CGenericNumber();
    zero /= CGenericNumber();
    minus /= 0;
    EXPECT_EQ(double(one), std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(double(zero)));
    EXPECT_EQ(double(minus), -std::numeric_limits<double>::infinity());
    // The postfix forms return the changed handle, not the old value.
    CGenericNumber p(5);
    CGenericNumber& after = p++;
    EXPECT_EQ(&after, &p);
    EXPECT_EQ(double(after), 6.0);
    EXPECT_EQ(double(CGenericNumber(p--)), 5.0) << "the postfix decrement yields the new value";
    EXPECT_EQ(double(++p), 6.0);
    CGenericNumber null;
    null++;
    EXPECT_EQ(double(null), 1.0);
    // Writes copy a shared body first; an unshared one changes in place.
    CGenericNumber a(10), b = a;
    b += 1;
    EXPECT_EQ(double(a), 10.0);
    EXPECT_EQ(double(b), 11.0);
    CGenericNumberRep* rep = b.GetRep();
    b += 1;
    EXPECT_EQ(b.GetRep(), rep);
}

TEST(GenericNumber, ComparisonsAreIeeeOnHandlesAndBodies) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const CGenericNumber a(nan), b(nan), one(1);
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(a != b);
    EXPECT_FALSE(a < one || a <= one || a > one || a >= one);
    EXPECT_FALSE(one < a || one <= a || one > a || one >= a);
    // Through the untyped handle the body slots decide (two distinct bodies).
    const CGeneric ga(a), gb(b), g1(one);
    EXPECT_FALSE(ga == gb);
    EXPECT_TRUE(ga == ga) << "the same body is equal to itself before any comparison";
    EXPECT_FALSE(ga < g1 || ga <= g1 || g1 <= ga || g1 < ga || ga > g1 || ga >= g1);
    EXPECT_FALSE(*a.GetRep() <= *one.GetRep());
    EXPECT_FALSE(*a.GetRep() >= *one.GetRep());

    EXPECT_TRUE(CGenericNumber(-0.0) == CGenericNumber(0.0));
    EXPECT_TRUE(CGeneric(-0.0) == CGeneric(0.0));
    EXPECT_TRUE(CGeneric(-0.0) <= CGeneric(0.0) && CGeneric(0.0) <= CGeneric(-0.0));
    EXPECT_TRUE(CGenericNumber() == CGenericNumber(0)) << "a null number compares as 0";
    EXPECT_TRUE(CGenericNumber(2) > CGenericNumber(1.5));
    EXPECT_TRUE(CGeneric(1.5) < CGeneric(2));
    EXPECT_TRUE(CGeneric(2) >= CGeneric(2.0));
}

TEST(GenericNumber, OrderMatchesDoublesOnRandomValues) {
    std::mt19937 rng(77);
    std::uniform_real_distribution<double> dist(-1e6, 1e6);
    std::vector<double> values;
    for (int i = 0; i < 500; ++i) values.push_back(i % 5 == 0 ? std::floor(dist(rng) / 1e5) : dist(rng));
    std::vector<CGeneric> generic(values.begin(), values.end());
    std::sort(values.begin(), values.end());
    std::sort(generic.begin(), generic.end(), [](const CGeneric& x, const CGeneric& y) { return x < y; });
    for (std::size_t i = 0; i < values.size(); ++i) ASSERT_EQ(double(CGenericNumber(generic[i])), values[i]);
    for (std::size_t i = 0; i + 1 < values.size(); ++i) {
        EXPECT_EQ(bool(generic[i] <= generic[i + 1]), values[i] <= values[i + 1]);
        EXPECT_EQ(bool(generic[i + 1] > generic[i]), values[i + 1] > values[i]);
        EXPECT_EQ(bool(generic[i] == generic[i + 1]), values[i] == values[i + 1]);
    }
}

// ---- strings ------------------------------------------------------------------------------------------

TEST(GenericString, TextFormQuotesAndEscapesBackslashThenQuote) {
    const struct {
        const char16_t* text;
        const char16_t* printed;
    } table[] = {
        {u"say \"hi\" \\ bye", u"\"say \\\"hi\\\" \\\\ bye\""},
        {u"", u"\"\""},
        {u"\\\"", u"\"\\\\\\\"\""},
        {u"\\\\", u"\"\\\\\\\\\""},
        {u"line\nbreak\ttab\r", u"\"line\nbreak\ttab\r\""},
        {u"\u00e9t\u00e9 \u4e2d", u"\"\u00e9t\u00e9 \u4e2d\""},
    };
    for (const auto& row : table) {
        const CGenericString s(row.text);
        EXPECT_EQ(U16(s.GetString()), row.printed) << Utf8(CUniStr(row.text));
        EXPECT_EQ(U16(CGeneric(s).GetPrettyPrint(3)), row.printed);
        EXPECT_EQ(U16(CUniStr(s)), row.text) << "the value itself is unescaped";
    }
    EXPECT_EQ(U16(CGenericString().GetString()), u"") << "a null string prints nothing";
}

TEST(GenericString, SetValCopiesASharedBodyAndConversionsGiveTheText) {
    CGenericString a(u"first");
    CGenericString b = a;
    b.SetVal(u"second");
    EXPECT_EQ(U16(CUniStr(a)), u"first");
    EXPECT_EQ(U16(CUniStr(b)), u"second");
    const unsigned short* p = b;
    EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t*>(p)), u"second");
    CGenericString null;
    EXPECT_EQ(U16(CUniStr(null)), u"");
    EXPECT_NE(static_cast<const unsigned short*>(null), nullptr);
    null.SetVal(u"x");
    EXPECT_EQ(U16(CUniStr(null)), u"x");
    const unsigned short raw[] = {'r', 'a', 'w', 0};
    EXPECT_EQ(U16(CUniStr(CGenericString(raw))), u"raw");
}

TEST(GenericString, OrderIsByCodeUnitMatchingU16StringOnRandomTexts) {
    EXPECT_TRUE(CGenericString(u"B") < CGenericString(u"a"));
    EXPECT_TRUE(CGenericString(u"z") < CGenericString(u"\u00e9"));
    EXPECT_TRUE(CGenericString(u"ab") < CGenericString(u"abc"));
    EXPECT_TRUE(CGenericString() == CGenericString(u"")) << "a null string is the empty text";
    EXPECT_TRUE(CGenericString(u"x") != CGenericString(u"X"));

    std::mt19937 rng(5);
    std::vector<std::u16string> texts;
    const char16_t alphabet[] = u"aAbB\u00e9\u4e2d\\\" ";
    for (int i = 0; i < 400; ++i) {
        std::u16string t;
        for (unsigned n = rng() % 5; n > 0; --n) t += alphabet[rng() % 9];
        texts.push_back(t);
    }
    std::vector<CGeneric> generic;
    for (const auto& t : texts) generic.emplace_back(CGenericString(t.c_str()));
    std::sort(texts.begin(), texts.end());
    std::stable_sort(generic.begin(), generic.end(),
                     [](const CGeneric& x, const CGeneric& y) { return x < y; });
    for (std::size_t i = 0; i < texts.size(); ++i)
        ASSERT_EQ(U16(CUniStr(CGenericString(generic[i]))), texts[i]);
    for (std::size_t i = 0; i + 1 < texts.size(); ++i) {
        EXPECT_EQ(bool(generic[i] == generic[i + 1]), texts[i] == texts[i + 1]);
        EXPECT_TRUE(generic[i] <= generic[i + 1]);
        EXPECT_EQ(bool(generic[i + 1] > generic[i]), texts[i + 1] > texts[i]);
    }
}

// ---- variables ----------------------------------------------------------------------------------------

TEST(GenericVariable, NameIsItsTextAndSetNameCopiesASharedBody) {
    CGenericVariable v(u"_x~1");
    EXPECT_EQ(U16(v.GetString()), u"_x~1");
    EXPECT_EQ(U16(v.GetPrettyPrint(2)), u"_x~1");
    EXPECT_EQ(U16(CGenericVariable(u"noUnderscore").GetString()), u"noUnderscore") << "printed unchanged";
    CGenericVariable w = v;
    w.SetName(u"_y");
    EXPECT_EQ(U16(v.GetName()), u"_x~1");
    EXPECT_EQ(U16(w.GetName()), u"_y");
    CGenericVariable null;
    EXPECT_EQ(U16(null.GetName()), u"");
    null.SetName(u"_z");
    EXPECT_EQ(U16(CGeneric(null).GetString()), u"_z");
    EXPECT_TRUE(CGeneric(CGenericVariable(u"_a")) == CGeneric(CGenericVariable(u"_a")));
    EXPECT_TRUE(CGeneric(CGenericVariable(u"_a")) < CGeneric(CGenericVariable(u"_b")));
    EXPECT_FALSE(CGeneric(CGenericVariable(u"_a")) == CGeneric(CGenericString(u"_a")));
}

// ---- across kinds -------------------------------------------------------------------------------------

// Values of different kinds are never equal and order by the table of kinds, whatever they hold; the
// handles and the bodies apply the same rule.
TEST(GenericKinds, KindsNeverEqualAndOrderByTheTableOfKinds) {
    CAssociationBundle bundle = MakeAssociationBundle();
    bundle.Set(CSymbol("k"), Num(1));
    const CGeneric nan(std::numeric_limits<double>::quiet_NaN());
    const std::vector<CGeneric> ordered = {CGeneric(),
                                           bundle,
                                           CAssociation(CSymbol("a"), Num(2)),
                                           CGenericList(Num(1), CGeneric()),
                                           nan,
                                           SetOf({Num(1)}),
                                           Str(u"3"),
                                           CGenericVariable(u"_3"),
                                           Sym("three_scalars")};
    for (std::size_t i = 0; i < ordered.size(); ++i)
        for (std::size_t j = 0; j < ordered.size(); ++j) {
            SCOPED_TRACE(testing::Message() << i << " against " << j);
            const CGeneric &x = ordered[i], &y = ordered[j];
            EXPECT_EQ(bool(x == y), i == j);  // one body is equal to itself, a NaN too
            EXPECT_EQ(bool(x != y), i != j);
            if (i == j) continue;
            EXPECT_EQ(bool(x < y), i < j);
            EXPECT_EQ(bool(x <= y), i < j);
            EXPECT_EQ(bool(x > y), i > j);
            EXPECT_EQ(bool(x >= y), i > j);
            if (i == 0 || j == 0) continue;  // a null value has no body
            const CGenericBodyBase &bx = *x.GetRep(), &by = *y.GetRep();
            EXPECT_EQ(bool(bx < by), i < j);
            EXPECT_EQ(bool(bx <= by), i < j);
            EXPECT_EQ(bool(bx > by), i > j);
            EXPECT_FALSE(bool(bx == by));
        }
    EXPECT_FALSE(Sym("three_scalars") == Str(u"three_scalars")) << "the same text, another kind";
}

// The order between kinds is the byte order of the body classes' names, tree nodes (CTreeNodeRep) last.
TEST(GenericKinds, TheOrderOfKindsIsThatOfTheirBodyNames) {
    const int expected[] = {4, 13, 10, 8, 2, 1, 9, 7, 11, 14, 12, 6, 5, 3};
    for (int code = 0; code < 14; ++code)
        EXPECT_EQ(KindOrder(static_cast<E_GenericTypes>(code)), expected[code]) << "code " << code;
    EXPECT_EQ(KindOrder(static_cast<E_GenericTypes>(99)), 4) << "an unknown code ranks as the bare body";
}

TEST(GenericScalars, ConversionToAnotherKindIsANullHandle) {
    const CGeneric g(3);
    EXPECT_TRUE(CGenericString(g).IsNull());
    EXPECT_TRUE(CGenericVariable(g).IsNull());
    EXPECT_TRUE(CSymbol(g).IsNull());
    EXPECT_EQ(g.GetType(), eGenericNumber);
    const CGeneric s(CGenericString(u"t")), v(CGenericVariable(u"_v"));
    EXPECT_EQ(s.GetType(), eGenericString);
    EXPECT_EQ(v.GetType(), eGenericVariable);
    EXPECT_TRUE(CGenericNumber(s).IsNull());
    EXPECT_EQ(CGenericString(s).GetRep(), s.GetRep()) << "the typed handle shares the body";
    EXPECT_EQ(U16(CGenericVariable(v).GetName()), u"_v");
}
