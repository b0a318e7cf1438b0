// The 8-bit collation of CStr, checked on fixed cases and against a reference comparator written from
// the ordering rules, on random strings.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "ztbase/strings/chardefs.h"
#include "ztbase/strings/str.h"

using namespace ZtBase;

namespace {

// The reference, for strings whose empty form is the null handle. Modes 1-3 map both sides (upper form, base
// letter, sort key) and compare in mode 0. Mode 0: an empty side is less (two empty sides are equal); sort
// keys decide from the first position; when they agree over the common part, equal lengths fall back to the
// ranks, position by position, while different lengths are decided by length alone.
ECompare Reference(std::string a, std::string b, int mode) {
    // A null (here: every empty) side is decided before the mode is looked at.
    if (a.empty() || b.empty()) return a.empty() && b.empty() ? eEqual : (a.empty() ? eLess : eGreater);
    if (mode > 3) return eNoResult;
    auto map = [mode](std::string& s) {
        for (char& ch : s) {
            const CCharDef& d = ICCharacters[static_cast<unsigned char>(ch)];
            if (mode == 1) ch = static_cast<char>(d.upperCase);
            if (mode == 2) ch = static_cast<char>(d.baseLetter);
            if (mode == 3) ch = static_cast<char>(d.sortKey);
        }
    };
    map(a);
    map(b);
    if (a.empty() || b.empty()) return a.empty() && b.empty() ? eEqual : (a.empty() ? eLess : eGreater);
    const size_t common = std::min(a.size(), b.size());
    for (size_t i = 0; i < common; ++i) {
        const unsigned ka = ICCharacters[static_cast<unsigned char>(a[i])].sortKey;
        const unsigned kb = ICCharacters[static_cast<unsigned char>(b[i])].sortKey;
        if (ka != kb) return ka < kb ? eLess : eGreater;
    }
    if (a.size() != b.size()) return a.size() < b.size() ? eLess : eGreater;
    for (size_t i = 0; i < common; ++i) {
        const unsigned ra = ICSortMap[static_cast<unsigned char>(a[i])];
        const unsigned rb = ICSortMap[static_cast<unsigned char>(b[i])];
        if (ra != rb) return ra < rb ? eLess : eGreater;
    }
    return eEqual;
}

ECompare Mirror(ECompare c) {
    return c == eLess ? eGreater : c == eGreater ? eLess : c;
}

TEST(CStrCompare, NullEmptyAndEmptyCStringAreEqualInEveryMode) {
    CStr null;
    CStr empty("x");
    empty.DeleteLastChar(1);
    ASSERT_FALSE(empty.IsNull());
    for (int m = 0; m < 4; ++m) {
        const auto mode = static_cast<ECompareMode>(m);
        EXPECT_EQ(null.Compare(empty, mode), eEqual);
        EXPECT_EQ(empty.Compare(null, mode), eEqual);
        EXPECT_EQ(null.Compare("", mode), eEqual);
        EXPECT_EQ(empty.Compare(static_cast<const char*>(nullptr), mode), eEqual);
        EXPECT_EQ(null.Compare(CStr("a"), mode), eLess);
        EXPECT_EQ(CStr("a").Compare(empty, mode), eGreater);
    }
    EXPECT_TRUE(null == "");
    EXPECT_TRUE(null == empty);
}

TEST(CStrCompare, RanksOnlyBreakTiesBetweenEqualLengths) {
    EXPECT_EQ(CStr("ab").Compare("Ab"), eLess) << "equal keys, lower case ranks first";
    EXPECT_EQ(CStr("Ab").Compare("ab"), eGreater);
    EXPECT_EQ(CStr("Ab").Compare("abc"), eLess) << "decided by length";
    EXPECT_EQ(CStr("abc").Compare("Ab"), eGreater);
    EXPECT_EQ(CStr("AB").Compare("ab"), eGreater);
    EXPECT_EQ(CStr("b").Compare("AZ"), eGreater) << "keys first: B after A";
    EXPECT_EQ(CStr("\xE9").Compare("e"), eGreater) << "é ranks after e";
    EXPECT_EQ(CStr("\xE9").Compare("E"), eLess) << "é ranks before E";
    EXPECT_EQ(CStr("\xE9").Compare("e", eIgnoreDiacritics), eEqual);
    EXPECT_EQ(CStr("\xE9").Compare("e", eIgnoreBoth), eEqual);
    EXPECT_EQ(CStr("\xC9").Compare("e", eIgnoreBoth), eEqual);
    EXPECT_EQ(CStr("\xC9").Compare("e", eIgnoreDiacritics), eGreater) << "case kept in mode 2";
    EXPECT_EQ(CStr("\xE9").Compare("\xC9", eIgnoreCase), eEqual);
    EXPECT_EQ(CStr("abc").Compare("abc"), eEqual);
    EXPECT_EQ(CStr("abc").Compare("abd", static_cast<ECompareMode>(4)), eNoResult);
    EXPECT_EQ(CStr("abc").Compare(CStr("abc"), static_cast<ECompareMode>(200)), eNoResult);
    // Symbols have themselves as keys: Z (0x5A) comes before [ (0x5B), and S caron (0x8A) after both.
    EXPECT_EQ(CStr("z").Compare("["), eLess);
    EXPECT_EQ(CStr("\x8A").Compare("Z"), eGreater) << "S caron sorts among the symbols";
}

TEST(CStrCompare, OperatorsFollowCompareInModeZero) {
    CStr ab("ab"), Ab("Ab");
    EXPECT_TRUE(ab < Ab);
    EXPECT_TRUE(ab <= Ab);
    EXPECT_FALSE(ab > Ab);
    EXPECT_FALSE(ab >= Ab);
    EXPECT_TRUE(ab != Ab);
    EXPECT_FALSE(ab == Ab);
    EXPECT_TRUE(ab == "ab");
    EXPECT_TRUE(Ab > "ab");
    EXPECT_TRUE(Ab >= "Ab");
    EXPECT_TRUE(Ab <= "abc");
}

TEST(CStrCompare, MatchesTheReferenceOnRandomStrings) {
    // Letters with and without accents and in both cases, the odd Š/š/Ÿ/ÿ/ß, digits and a symbol, so
    // that ties on the key are frequent and every rule gets exercised.
    const std::string alphabet = "aAbBeE\xE1\xC1\xE9\xC9\xE4\xC4\x8A\x9A\xFF\x9F\xDFsS\x8C\x9CoO1 [";
    std::mt19937 rng(20240611u);  // fixed rng start value: the run is repeatable
    std::uniform_int_distribution<size_t> pick(0, alphabet.size() - 1);
    std::uniform_int_distribution<int> len(0, 4);
    auto randomText = [&] {
        std::string s;
        for (int n = len(rng); n > 0; --n) s += alphabet[pick(rng)];
        return s;
    };
    int mismatches = 0;
    for (int i = 0; i < 20000 && mismatches < 10; ++i) {
        const std::string a = randomText();
        const std::string b = (i % 4 == 0) ? a : randomText();
        const CStr ca(a.c_str()), cb(b.c_str());
        for (int m = 0; m < 5; ++m) {
            const auto mode = static_cast<ECompareMode>(m);
            const ECompare want = Reference(a, b, m);
            const ECompare got = ca.Compare(cb, mode);
            if (got != want) ++mismatches;
            EXPECT_EQ(got, want) << "mode " << m << " '" << a << "' vs '" << b << "'";
            EXPECT_EQ(ca.Compare(b.c_str(), mode), got);
            EXPECT_EQ(cb.Compare(ca, mode), Mirror(got));
        }
    }
}

}  // namespace
