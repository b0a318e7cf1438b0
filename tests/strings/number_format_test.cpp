// Numbers to text: widths, fills, formats, the sign after the padding, and the length-prefixed form.
#include "ztbase/strings/number_format.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <random>
#include <string>

using namespace ZtBase;

namespace {

std::string T(const CStr& s) {
    return std::string(s.c_str(), s.Length());
}
std::u16string U(const CUniStr& s) {
    return std::u16string(reinterpret_cast<const char16_t*>(s.c_str()), s.Length());
}

TEST(MakeStr, WidthAndFill) {
    EXPECT_EQ(T(MakeStr(255, 4, eHexadecimal, ' ')), "  ff");
    EXPECT_EQ(T(MakeStr(7, 2, eDecimal, ' ')), " 7");
    EXPECT_EQ(T(MakeStr(-12, 5, eDecimal, '0')), "00-12") << "padding goes before the sign";
    EXPECT_EQ(T(MakeStr(12345, 3, eDecimal, '0')), "12345") << "never cut";
    EXPECT_EQ(T(MakeStr(42, 0, eDecimal, '*')), "42") << "width 0: no padding";
    EXPECT_EQ(T(MakeStr(0, 0, eDecimal, ' ')), "0");
    EXPECT_EQ(T(MakeStr(1u, 255, eDecimal, '.')), std::string(254, '.') + "1");
    EXPECT_EQ(MakeStr(1, 255, eDecimal, '.').Length(), 255u);
}

TEST(MakeStr, HexadecimalIsLowerCaseTwosComplementAtTheValuesWidth) {
    EXPECT_EQ(T(MakeStr(0xABCDEF, 0, eHexadecimal, ' ')), "abcdef");
    EXPECT_EQ(T(MakeStr(-1, 0, eHexadecimal, ' ')), "ffffffff");
    EXPECT_EQ(T(MakeStr(INT_MIN, 0, eHexadecimal, ' ')), "80000000");
    EXPECT_EQ(T(MakeStr(static_cast<short>(-1), 0, eHexadecimal, ' ')), "ffff");
    EXPECT_EQ(T(MakeStr(static_cast<short>(-2), 6, eHexadecimal, '0')), "00fffe");
    EXPECT_EQ(T(MakeStr(static_cast<unsigned short>(0xBEEF), 0, eHexadecimal, ' ')), "beef");
    EXPECT_EQ(T(MakeStr(0xFFFFFFFFu, 0, eHexadecimal, ' ')), "ffffffff");
    EXPECT_EQ(T(MakeStr(-1LL, 0, eHexadecimal, ' ')), "ffffffffffffffff");
    EXPECT_EQ(T(MakeStr(0x123456789ALL, 0, eHexadecimal, ' ')), "123456789a");
    EXPECT_EQ(T(MakeStr(0, 2, eHexadecimal, '0')), "00");
}

TEST(MakeStr, DecimalLimitsOfEveryType) {
    EXPECT_EQ(T(MakeStr(static_cast<short>(-32768))), "-32768");
    EXPECT_EQ(T(MakeStr(static_cast<short>(-12))), "-12");
    EXPECT_EQ(T(MakeStr(static_cast<unsigned short>(65535))), "65535");
    EXPECT_EQ(T(MakeStr(INT_MIN)), "-2147483648");
    EXPECT_EQ(T(MakeStr(0xFFFFFFFFu)), "4294967295");
    EXPECT_EQ(T(MakeStr(LLONG_MIN)), "-9223372036854775808");
    EXPECT_EQ(T(MakeStr(LLONG_MAX)), "9223372036854775807");
}

TEST(MakeStr, AnyOtherFormatGivesTheNullStringForIntegers) {
    for (int f : {2, 3, -1, 255}) {
        const auto format = static_cast<StrFormat>(f);
        EXPECT_TRUE(MakeStr(static_cast<short>(5), 4, format, ' ').IsNull()) << f;
        EXPECT_TRUE(MakeStr(static_cast<unsigned short>(5), 4, format, ' ').IsNull()) << f;
        EXPECT_TRUE(MakeStr(5, 4, format, ' ').IsNull()) << f;
        EXPECT_TRUE(MakeStr(5u, 4, format, ' ').IsNull()) << f;
        EXPECT_TRUE(MakeStr(5LL, 4, format, ' ').IsNull()) << f;
        EXPECT_TRUE(MakeUniStr(5, 4, format, u' ').IsNull()) << f;
        EXPECT_TRUE(MakeUniStr(5LL, 4, format, u' ').IsNull()) << f;
        // Doubles do not consult the format.
        EXPECT_EQ(T(MakeStr(2.5, 0, format, ' ')), "2.5") << f;
    }
}

TEST(MakeStr, DoublesUseShortestGeneralForm) {
    EXPECT_EQ(T(MakeStr(2.5)), "2.5");
    EXPECT_EQ(T(MakeStr(0.1)), "0.1");
    EXPECT_EQ(T(MakeStr(100000.0)), "100000");
    EXPECT_EQ(T(MakeStr(1000000.0)), "1e+06");
    EXPECT_EQ(T(MakeStr(1.0 / 3.0)), "0.333333");
    EXPECT_EQ(T(MakeStr(-1.5, 6, eHexadecimal, '0')), "00-1.5");
    EXPECT_EQ(T(MakeStr(0.0)), "0");
    std::mt19937 rng(99u);
    std::uniform_real_distribution<double> d(-1e9, 1e9);
    for (int i = 0; i < 200; ++i) {
        const double v = d(rng);
        char want[64];
        std::snprintf(want, sizeof want, "%g", v);
        EXPECT_EQ(T(MakeStr(v)), want);
    }
}

TEST(MakeStr, DecimalRoundTripsThroughConvert) {
    std::mt19937 rng(31u);
    std::uniform_int_distribution<int> any(INT_MIN, INT_MAX);
    for (int i = 0; i < 2000; ++i) {
        const int v = any(rng);
        int back = 0;
        ASSERT_EQ(MakeStr(v).Convert(back), v != 0 ? 1 : 0);
        EXPECT_EQ(back, v);
        // Spaces after the sign are skipped by the parser, so a padded positive value reads back; the
        // padding goes before the sign, though, and a sign after a space ends the scan.
        const int magnitude = v == INT_MIN ? INT_MAX : (v < 0 ? -v : v);
        EXPECT_EQ(MakeStr(magnitude, 15, eDecimal, ' ').Convert(back), magnitude != 0 ? 1 : 0);
        EXPECT_EQ(back, magnitude);
    }
    int padded = 1;
    EXPECT_FALSE(MakeStr(-12, 5, eDecimal, ' ').Convert(padded));
    EXPECT_EQ(padded, 0);
    for (unsigned b = 0; b < 256; ++b) {
        unsigned back = 999;
        EXPECT_TRUE(MakeStr(b, 2, eHexadecimal, '0').Hex2Byte(back));
        EXPECT_EQ(back, b);
    }
}

TEST(MakeUniStr, SameTextWidened) {
    EXPECT_EQ(U(MakeUniStr(255, 4, eHexadecimal, u' ')), u"  ff");
    EXPECT_EQ(U(MakeUniStr(-12, 5, eDecimal, u'0')), u"00-12");
    EXPECT_EQ(U(MakeUniStr(static_cast<short>(-1), 0, eHexadecimal, u' ')), u"ffff");
    EXPECT_EQ(U(MakeUniStr(static_cast<unsigned short>(7), 3, eDecimal, 0x2007)), u"\u2007\u20077");
    EXPECT_EQ(U(MakeUniStr(4000000000u)), u"4000000000");
    EXPECT_EQ(U(MakeUniStr(-1LL, 0, eHexadecimal)), u"ffffffffffffffff");
    EXPECT_EQ(U(MakeUniStr(1e-5, 0, eDecimal)), u"1e-05");
    std::mt19937 rng(5u);
    std::uniform_int_distribution<long long> any(LLONG_MIN, LLONG_MAX);
    for (int i = 0; i < 500; ++i) {
        const long long v = any(rng);
        for (StrFormat f : {eDecimal, eHexadecimal}) {
            const CStr narrow = MakeStr(v, 20, f, '#');
            EXPECT_EQ(U(MakeUniStr(v, 20, f, u'#')), U(CUniStr(narrow)));
        }
    }
}

TEST(CopyFromPascal, CountedBytesWithZerosSkipped) {
    const unsigned char abc[] = {3, 'a', 0, 'b', 'z'};
    EXPECT_EQ(T(CopyFromPascal(abc)), "ab");
    const unsigned char empty[] = {0, 'x'};
    EXPECT_TRUE(CopyFromPascal(empty).IsNull());
    const unsigned char zeros[] = {2, 0, 0};
    EXPECT_EQ(CopyFromPascal(zeros).Length(), 0u);
    unsigned char full[256];
    full[0] = 255;
    std::string want;
    for (int i = 1; i < 256; ++i) {
        full[i] = static_cast<unsigned char>(i);
        want += static_cast<char>(i);
    }
    EXPECT_EQ(T(CopyFromPascal(full)), want);
    EXPECT_TRUE(CopyFromPascal(nullptr).IsNull());
}

}  // namespace
