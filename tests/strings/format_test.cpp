#include "ztbase/strings/format.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

using namespace ZtBase;

namespace {

using U16 = std::basic_string<char16_t>;

U16 Widen(const std::string& s) {
    U16 w;
    for (unsigned char c : s) w.push_back(c);
    return w;
}

std::vector<unsigned short> WidenFormat(const char* f) {
    std::vector<unsigned short> w;
    for (; *f; ++f) w.push_back(static_cast<unsigned char>(*f));
    w.push_back(0);
    return w;
}

// Formats with the C library, with our 8-bit formatter and with our 16-bit formatter (the same format
// widened), and checks that all three agree, lengths included.
template <class... Args>
void ExpectLikeSnprintf(const char* format, Args... args) {
    char reference[512];
    const int refLength = std::snprintf(reference, sizeof(reference), format, args...);
    ASSERT_GE(refLength, 0) << format;
    ASSERT_LT(refLength, static_cast<int>(sizeof(reference))) << format;

    char narrow[512];
    EXPECT_EQ(FormatText(narrow, sizeof(narrow), format, args...), refLength) << format;
    EXPECT_EQ(std::string(narrow), std::string(reference)) << format;

    unsigned short wide[512];
    const auto wideFormat = WidenFormat(format);
    EXPECT_EQ(FormatText(wide, 512, wideFormat.data(), args...), refLength) << format;
    EXPECT_EQ(U16(reinterpret_cast<const char16_t*>(wide)), Widen(reference)) << format;
}

U16 Wide16(const unsigned short* s) {
    return U16(reinterpret_cast<const char16_t*>(s));
}

}  // namespace

TEST(Format, IntegersMatchTheCLibrary) {
    ExpectLikeSnprintf("%d|%i|%u|%x|%X|%o", -42, 17, 4000000000u, 0xBEEFu, 0xBEEFu, 8u);
    ExpectLikeSnprintf("%d %d %d", 0, INT_MIN, INT_MAX);
    ExpectLikeSnprintf("[%5d][%-5d][%05d][%+d][% d][%+05d][%-+6d|]", 42, 42, -42, 42, 42, 7, 3);
    ExpectLikeSnprintf("[%.0d][%.0x][%#o][%#x][%#X][%#x]", 0, 0u, 8u, 255u, 255u, 0u);
    // '#' with o forces a leading 0 even where the precision asks for no digits. Checked exactly: MinGW's
    // printf prints nothing there.
    char zero[8];
    EXPECT_EQ(FormatText(zero, sizeof zero, "[%#.0o]", 0u), 3);
    EXPECT_STREQ(zero, "[0]");
    ExpectLikeSnprintf("[%.5d][%8.5d][%-8.5x][%08.3d][%.3o]", -12, 12, 0xabu, 5, 8u);
    ExpectLikeSnprintf("[%*d][%-*d][%*d][%.*d][%.*d]", 6, 1, 6, 2, -6, 3, 4, 4, -1, 5);
    ExpectLikeSnprintf("%hhd %hhu %hd %hu %hx", 300, 300, 70000, 70000, 0x12345);
    ExpectLikeSnprintf("%ld %lu %lld %llu %llx", -5000000000L, 5000000000UL, LLONG_MIN, ULLONG_MAX,
                       ULLONG_MAX);
    ExpectLikeSnprintf("%zu %zd %jd %ju %td", static_cast<size_t>(123456789012), static_cast<ptrdiff_t>(-7),
                       static_cast<intmax_t>(INTMAX_MIN), static_cast<uintmax_t>(UINTMAX_MAX),
                       static_cast<ptrdiff_t>(-99));
    ExpectLikeSnprintf("100%% sure, %c%c%c", 'a', 'b', 'c');
    ExpectLikeSnprintf("[%5c][%-3c]", 'x', 'y');
}

TEST(Format, ExplicitWidthModifiersReadTheRightSize) {
    char out[64];
    EXPECT_EQ(FormatText(out, sizeof(out), "%I64d %I64u %I32d %Id", -9000000000LL, 18000000000ULL, -5,
                         static_cast<ptrdiff_t>(-1234567890123LL)),
              std::string("-9000000000 18000000000 -5 -1234567890123").size());
    EXPECT_STREQ(out, "-9000000000 18000000000 -5 -1234567890123");
}

TEST(Format, FloatingPointMatchesTheCLibrary) {
    ExpectLikeSnprintf("%f %e %E %g %G", 3.14159, 12345.678, 0.000123, 1e-5, 1e20);
    ExpectLikeSnprintf("[%10.3f][%-10.2e][%+.4g][% f][%#g][%#.0f][%010.2f]", 2.5, -2.5, 1.0 / 3, 1.5, 2.0,
                       3.0, -1.25);
    ExpectLikeSnprintf("[%*.*f][%.0e][%a][%A]", 12, 4, 1234.5678, 9.99, 1.0, -0.5);
    ExpectLikeSnprintf("%f %f %e", 1e300, -0.0, 5e-324);
    ExpectLikeSnprintf("%Lf %Le", 1.5L, -2.25L);
    // Wider than the internal buffer.
    ExpectLikeSnprintf("%.200f|%300.1f", 1.0 / 7, 2.5);
}

TEST(Format, RandomIntegerConversionsMatchTheCLibrary) {
    std::mt19937_64 rng(20260521u);
    const char* flagsSet[] = {"", "-", "+", " ", "#", "0", "-+", "+0", "#0", "- #", "0 "};
    const char convs[] = {'d', 'i', 'u', 'x', 'X', 'o'};
    for (int round = 0; round < 3000; ++round) {
        std::string f = "<%";
        f += flagsSet[rng() % std::size(flagsSet)];
        if (rng() % 2) f += std::to_string(rng() % 25);
        if (rng() % 2) f += "." + std::to_string(rng() % 22);
        const bool wideValue = rng() % 2;
        if (wideValue) f += "ll";
        const char conv = convs[rng() % std::size(convs)];
        f += conv;
        f += ">";
        const unsigned long long bits = rng() >> (rng() % 64);
        SCOPED_TRACE(f);
#if defined(__MINGW32__)
        // MinGW's printf drops the forced 0 of '#' with o for zero (checked exactly above), and gives '#'
        // with the decimal conversions and ' ' or '+' with the unsigned ones meanings of its own, where
        // the C standard leaves them undefined or without effect.
        const bool hash = f.find('#') != std::string::npos;
        const bool sign = f.find_first_of(" +") != std::string::npos;
        const bool isSigned = conv == 'd' || conv == 'i';
        if ((hash && conv == 'o' && (wideValue ? bits : unsigned(bits)) == 0) ||
            (hash && (isSigned || conv == 'u')) || (sign && !isSigned))
            continue;
#endif
        if (wideValue)
            ExpectLikeSnprintf(f.c_str(), static_cast<long long>(bits));
        else
            ExpectLikeSnprintf(f.c_str(), static_cast<int>(static_cast<unsigned>(bits)));
    }
}

TEST(Format, StringsFollowTheWidthOfTheFormat) {
    const unsigned short wide[] = {'w', 0x00E9, 0x263A, 0};  // "wé☺"
    const char* narrow = "n\xE9";                            // "né" in code page 1252
    unsigned short out16[64];
    // 16-bit format: %s 16-bit, %S 8-bit, %hs 8-bit, %ls and %ws 16-bit.
    EXPECT_EQ(
        FormatText(out16, 64, u"%s|%S|%hs|%ls|%ws|%hS|%lS", wide, narrow, narrow, wide, wide, narrow, wide),
        24);
    EXPECT_EQ(Wide16(out16),
              U16(u"w\u00e9\u263a|n\u00e9|n\u00e9|w\u00e9\u263a|w\u00e9\u263a|n\u00e9|w\u00e9\u263a"));

    // 8-bit format: %s 8-bit, %S 16-bit (units above 255 become '?').
    char out8[64];
    EXPECT_EQ(FormatText(out8, sizeof(out8), "%s|%S|%hs|%ls|%ws", narrow, wide, narrow, wide, wide), 17);
    EXPECT_STREQ(out8, "n\xE9|w\xE9?|n\xE9|w\xE9?|w\xE9?");

    // Width and precision count units.
    EXPECT_EQ(FormatText(out16, 64, u"[%5s][%-4.2s][%.1S]", wide, wide, narrow), 16);
    EXPECT_EQ(Wide16(out16), U16(u"[  w\u00e9\u263a][w\u00e9  ][n]"));

    // Characters: an int giving one unit.
    EXPECT_EQ(FormatText(out16, 64, u"%c%C%hc%lc", 0x263A, 'A', 0x1E9, 0x263A), 4);
    EXPECT_EQ(Wide16(out16), U16(u"\u263aA\u00e9\u263a"));
    EXPECT_EQ(FormatText(out8, sizeof(out8), "%c%C%lc", 'x', 0xE9, 0x263A), 3);
    EXPECT_STREQ(out8, "x\xE9?");
}

TEST(Format, NullStringsPrintNullAndPointersZeroPaddedUpperCaseHex) {
    unsigned short out16[32];
    EXPECT_EQ(FormatText(out16, 32, u"%s/%S/%8s", static_cast<const unsigned short*>(nullptr),
                         static_cast<const char*>(nullptr), static_cast<const unsigned short*>(nullptr)),
              22);
    EXPECT_EQ(Wide16(out16), U16(u"(null)/(null)/  (null)"));
    char out8[32];
    EXPECT_EQ(FormatText(out8, sizeof(out8), "%s", static_cast<const char*>(nullptr)), 6);
    EXPECT_STREQ(out8, "(null)");
    int x = 0;
    char expected[64];
    std::snprintf(expected, sizeof(expected), "%0*llX", static_cast<int>(2 * sizeof(void*)),
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(&x)));
    char out[64];
    FormatText(out, sizeof(out), "%p", static_cast<void*>(&x));
    EXPECT_STREQ(out, expected);
    FormatText(out, sizeof(out), "[%p]", nullptr);
    EXPECT_EQ(std::string(out), "[" + std::string(2 * sizeof(void*), '0') + "]");
}

TEST(Format, ResultThatDoesNotFitIsNegative) {
    char out[16];
    std::fill(std::begin(out), std::end(out), '#');
    // Exactly the limit: the length, without a terminator.
    EXPECT_EQ(FormatText(out, 5, "%s%d", "abc", 12), 5);
    EXPECT_EQ(std::string(out, 6), "abc12#");
    // One unit short: negative.
    EXPECT_EQ(FormatText(out, 4, "%s%d", "abc", 12), -1);
    EXPECT_EQ(FormatText(out, 4, "abcde"), -1);
    EXPECT_EQ(FormatText(out, 4, "%8d", 1), -1);
    EXPECT_EQ(FormatText(out, 4, "%.6f", 1.0), -1);
    // Room for the terminator.
    EXPECT_EQ(FormatText(out, 6, "%s%d", "abc", 12), 5);
    EXPECT_STREQ(out, "abc12");
    // Nothing to write fits into nothing.
    EXPECT_EQ(FormatText(static_cast<char*>(nullptr), 0, ""), 0);
    unsigned short out16[4];
    EXPECT_EQ(FormatText(out16, 3, u"%s", reinterpret_cast<const unsigned short*>(u"abcd")), -1);
    // A width no buffer can hold.
    EXPECT_EQ(FormatText(out, sizeof(out), "%2147483647d", 1), -1);
}

TEST(Format, UnknownConversionsAreCopiedAndTakeNoArgument) {
    char out[64];
    EXPECT_EQ(FormatText(out, sizeof(out), "%k|%d|%", 5), 6);
    EXPECT_STREQ(out, "%k|5|%");
    unsigned short out16[64];
    EXPECT_EQ(FormatText(out16, 64, u"a%-5qb%d", 1), 7);
    EXPECT_EQ(Wide16(out16), U16(u"a%-5qb1"));
}

TEST(Format, VaListFormsCanBeCalledTwiceWithOneList) {
    struct Twice {
        static int Call(char* a, char* b, const char* f, ...) {
            va_list args;
            va_start(args, f);
            const int n1 = FormatTextV(a, 32, f, args);
            const int n2 = FormatTextV(b, 32, f, args);  // the list is not consumed
            va_end(args);
            return n1 == n2 ? n1 : -2;
        }
    };
    char a[32], b[32];
    EXPECT_EQ(Twice::Call(a, b, "%d-%s", 7, "x"), 3);
    EXPECT_STREQ(a, "7-x");
    EXPECT_STREQ(b, "7-x");
}
