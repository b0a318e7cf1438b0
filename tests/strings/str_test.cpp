// CStr: construction, access, editing, capacity, copy on write, search, parsing and character sets.
#include "ztbase/strings/str.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ztbase/strings/internal/codepages.h"

using namespace ZtBase;

namespace {

// The exact text of a string, embedded zeros included.
std::string T(const CStr& s) {
    return std::string(s.c_str(), s.Length());
}

// The text of a string made from text after edit has run on it.
template <class F>
std::string After(const char* text, F edit) {
    CStr s(text);
    edit(s);
    return T(s);
}

TEST(CStrConstruction, NullEmptyAndCountedForms) {
    for (const CStr& null : {CStr(static_cast<const char*>(nullptr)), CStr(""), CStr("abc", 0),
                             CStr(static_cast<const char*>(nullptr), 4), CStr('\0', 5)})
        EXPECT_TRUE(null.IsNull());
    EXPECT_EQ(T(CStr('x', 3)), "xxx");
    EXPECT_EQ(T(CStr("abcdef", 3)), "abc");
    EXPECT_EQ(T(CStr("ab\0cd", 5)), "ab") << "an embedded zero shortens the counted form";
    EXPECT_EQ(After("", [](CStr& s) { s = 'q'; }), "q");
    // A null handle is a valid empty string.
    CStr n;
    EXPECT_STREQ(static_cast<const char*>(n), "");
    EXPECT_EQ(n.GetLength(), 0u);
    EXPECT_EQ(n.Size(), 0u);
    EXPECT_EQ(n[0], 0);
    EXPECT_EQ(n.LastChar(), 0);
    n.Blank();
    EXPECT_TRUE(n.IsNull());
}

// A body asks the pool for (characters + terminator) + 12 bytes; the pool adds an 8-byte header and
// rounds up to 16 (up to 1,024 bytes), granting that less 8. Capacity = granted - 12.
TEST(CStrCapacity, FollowsTheSizeThePoolGranted) {
    const std::pair<std::size_t, unsigned> sizes[] = {
        {1, 12},  {11, 12} /* 12 + 12 + 8 = 32 */, {12, 28} /* 33 -> 48 */,
        {27, 28}, {28, 44} /* 49 -> 64 */,         {2000, 2001} /* large blocks are granted as asked */};
    for (const auto& [length, size] : sizes) EXPECT_EQ(CStr(std::string(length, 'a').c_str()).Size(), size);
}

TEST(CStrCapacity, GrowthDoublesTheNeedPlusFour) {
    CStr s(std::string(11, 'a').c_str());
    s += 'b';  // need 13 -> 2*13+4 = 30 characters -> 42 bytes asked -> block 64 -> capacity 44
    EXPECT_EQ(s.Size(), 44u);
    EXPECT_EQ(T(s), std::string(11, 'a') + "b");
    // A shared body that is big enough is copied at the size needed, without growth.
    CStr t(s);
    t += 'c';  // need 14 -> 26 bytes asked -> block 48 -> capacity 28
    EXPECT_EQ(t.Size(), 28u);
    EXPECT_EQ(s.Size(), 44u);
    CStr e;
    e += 'a';
    EXPECT_EQ(e.Size(), 12u) << "no growth factor for a first body";
    CStr f;
    f.Assure(40);  // 41 + 12 + 8 = 61 -> 64
    EXPECT_EQ(f.Size(), 44u);
    EXPECT_EQ(f.Length(), 0u);
}

// Every editing operation unshares a shared body first: the other handles keep the old text.
TEST(CStrCopyOnWrite, CopiesShareAndEditsArePrivate) {
    const CStr a("hello");
    CStr b(a), c;
    c = b;
    EXPECT_EQ(a.GetRep(), c.GetRep());
    EXPECT_EQ(a.GetRep()->refCount, 3);
    b += '!';
    EXPECT_EQ(a.GetRep()->refCount, 2);
    EXPECT_EQ(c.SetChar(0, 'j'), 'j');
    EXPECT_EQ(T(b) + T(c), "hello!jello");
    const auto edited = [&a](auto edit) {
        CStr copy(a);
        edit(copy);
        return T(copy);
    };
    EXPECT_EQ(edited([](CStr& s) { s.Upper(); }), "HELLO");
    EXPECT_EQ(
        edited([](CStr& s) { s.Delete(0, 1), s.Insert(0, 'y'), s.TrimTrailing('o'), s.DeleteLastChar(1); }),
        "yel");
    EXPECT_EQ(edited([](CStr& s) { s.CopySelf(1, 2); }), "el");
    EXPECT_EQ(T(a), "hello");
    EXPECT_EQ(a.GetRep()->refCount, 1);
}

TEST(CStrAccess, OutOfRangeReadsAndWritesNeverFail) {
    CStr s("abc");
    for (const char c :
         {s[-1], s[3], s[static_cast<short>(-1)], s[static_cast<unsigned short>(3)], s[3u], s[0xFFFFFFFFu]})
        EXPECT_EQ(c, 0);
    EXPECT_EQ(s[2], 'c');
    EXPECT_EQ(s.LastChar(0), 'c');
    EXPECT_EQ(s.LastChar(1), 'b');
    EXPECT_EQ(s.LastChar(1000), 'a') << "clamped to the first character";
    for (const char refused : {s.SetChar(3, 'x'), s.SetChar(100, 'x'), CStr().SetChar(0, 'x')})
        EXPECT_EQ(refused, 0);
    EXPECT_EQ(After("abc", [](CStr& s) { s.SetChar(3, 'x'), s.Delete(3, 1), s.Delete(100, 5); }), "abc");
    EXPECT_EQ(After("abc", [](CStr& s) { s.Delete(1, 100); }), "a");
    CStr n;
    n.SetChar(0, 'x');
    n.Delete(0, 1);
    EXPECT_TRUE(n.IsNull());
    // Equality with a character: exactly that one character.
    EXPECT_TRUE(CStr("a") == 'a');
    EXPECT_FALSE(CStr("aa") == 'a' || CStr("b") == 'a');
    EXPECT_TRUE(CStr() != 'a' && CStr("ab") != 'a');
}

TEST(CStrEditing, AppendAndConcatenate) {
    EXPECT_EQ(After("ab", [](CStr& s) { s += '\0'; }), "ab") << "appending the character 0 does nothing";
    EXPECT_EQ(After("ab", [](CStr& s) { s += CStr("cd"), s += CStr(); }), "abcd");
    EXPECT_EQ(T(CStr("x") + CStr("y")) + T(CStr("x") + "yz") + T("w" + CStr("x")), "xyxyzwx");
    EXPECT_EQ(T(CStr("x") + 'q') + T('q' + CStr("x")) + T(CStr() + CStr()), "xqqx");
    // Many appends in a row keep every character.
    CStr many;
    std::string ref;
    for (int i = 0; i < 3000; ++i) {
        const char c = static_cast<char>('a' + i % 26);
        many += c;
        ref += c;
    }
    EXPECT_EQ(T(many), ref);
}

TEST(CStrEditing, InsertDeleteCopyTrim) {
    EXPECT_EQ(After("ac", [](CStr& s) { s.Insert(1, 'b'); }), "abc");
    EXPECT_EQ(After("abc", [](CStr& s) { s.Insert(0, CStr("xy")), s.Insert(s.Length(), CStr("!")); }),
              "xyabc!");
    EXPECT_EQ(After("xyabc", [](CStr& s) { s.Delete(0, 2); }), "abc");
    const CStr s("abc!");
    EXPECT_EQ(T(s.Copy(1, 2)) + "|" + T(s.Copy(1)) + "|" + T(s.Copy(2, 100)), "bc|bc!|c!");
    EXPECT_TRUE(s.Copy(4, 1).IsNull() && s.Copy(100).IsNull() && s.Copy(0, 0).IsNull());
    EXPECT_EQ(After("hello", [](CStr& s) { s.CopySelf(10); }), "");
    EXPECT_EQ(After("hello", [](CStr& s) { s.DeleteLastChar(2); }), "hel");
    EXPECT_EQ(After("hello", [](CStr& s) { s.DeleteLastChar(10); }), "");
    EXPECT_EQ(After("  ab  ", [](CStr& s) { s.Trim(); }), "ab");
    EXPECT_EQ(After("xxaxx", [](CStr& s) { s.TrimLeading('x'); }), "axx");
    EXPECT_EQ(After("xxaxx", [](CStr& s) { s.TrimTrailing('x'); }), "xxa");
    EXPECT_EQ(After("xxx", [](CStr& s) { s.Trim('x'); }), "");
}

TEST(CStrEditing, Pad) {
    const struct {
        const char* text;
        unsigned width;
        char fill;
        EJust just;
        const char* padded;
    } pads[] = {
        {"ab", 5, '*', eCenter, "*ab**"},      {"ab", 5, '*', eRightJustify, "***ab"},
        {"ab", 5, '*', eLeftJustify, "ab***"}, {"ab", 6, '.', eCenter, "..ab.."},
        {"abc", 3, '*', eRightJustify, "abc"}, {"abc", 1, '*', eRightJustify, "abc"},
        {"", 3, '-', eRightJustify, "---"},
    };
    for (const auto& c : pads)
        EXPECT_EQ(After(c.text, [&](CStr& s) { s.Pad(c.width, c.fill, c.just); }), c.padded)
            << c.text << " to " << c.width;
}

TEST(CStrCase, MapsThroughTheCharacterTable) {
    const CStr s("\xE9lan \xDF\xFF");  // élan ß ÿ
    EXPECT_EQ(T(s.StrUpper()), "\xC9LAN \xDF\x9F") << "ß stays, ÿ becomes 0x9F";
    EXPECT_EQ(T(s), "\xE9lan \xDF\xFF") << "the value forms leave the original alone";
    EXPECT_EQ(T(CStr("\xC9T\xC9").StrLower()), "\xE9t\xE9");
    EXPECT_EQ(T(CStr("\xC9t\xE9 \x8C\x9C").StrStrip()), "Ete Oo");
    EXPECT_EQ(T(CStr("\xC9t\xE9 \xDF").StrSanitize()), "ETE S");
    EXPECT_EQ(After("\xE9lan", [](CStr& s) { s.FirstUpper(); }), "\xC9lan");
    EXPECT_EQ(After("abc", [](CStr& s) { s.Lower(), s.Upper(); }), "ABC");
    EXPECT_EQ(After("", [](CStr& s) { s.Upper(), s.FirstUpper(); }), "");
}

// ---- search --------------------------------------------------------------------------------------

// One search: the text, the pattern, the mode, start, end and direction (1 forward, 0 backward), and
// the position found counted from start, or -1 for no hit.
struct FindCase {
    const char* text;
    const char* pattern;
    ECompareMode mode;
    unsigned start, end;
    int forward;
    int found;
};

TEST(CStrFind, PositionsAreCountedFromStartWithinTheBounds) {
    constexpr unsigned kAll = 0xFFFFFFFFu;
    const FindCase cases[] = {
        {"abcab", "b", eExact, 2, kAll, 1, 2},  // index 4, counted from start 2
        {"abcab", "ab", eExact, 0, kAll, 1, 0},
        {"abcab", "ca", eExact, 1, kAll, 1, 1},
        {"abcab", "abc", eExact, 1, kAll, 1, -1},
        {"abcab", "ab", eExact, 1, 2, 1, 2},  // a forward search does not apply the end bound
        // Nothing to search.
        {"", "a", eExact, 0, kAll, 1, -1},
        {"abc", "", eExact, 0, kAll, 1, -1},
        {"abc", "c", eExact, 3, kAll, 1, -1},  // start at the length
        {"abc", "c", eExact, 50, kAll, 1, -1},
        {"abc", "abcd", eExact, 0, kAll, 1, -1},
        // Backward: the last hit that lies wholly within start and end.
        {"abcabc", "bc", eExact, 0, kAll, 0, 4},
        {"abcabc", "bc", eExact, 0, 3, 0, 1},   // the end bound excludes the one at 4
        {"abcabc", "bc", eExact, 2, 5, 0, 2},   // index 4 counted from start 2
        {"abcabc", "bc", eExact, 1, 2, 0, 0},   // exactly the range
        {"abcabc", "bc", eExact, 1, 1, 0, -1},  // the pattern is longer than the range
        {"abcabc", "ab", eExact, 1, 5, 0, 2},   // the one at 0 is before start
        {"abcabc", "ab", eExact, 1, 3, 0, -1},  // the one at 3 would end past end
        {"abcabc", "a", eExact, 0, 2, 0, 0},
        // Pattern modes transform both sides (text: café CAFÉ).
        {"caf\xE9 CAF\xC9", "e", eIgnoreDiacritics, 0, kAll, 1, 3},
        {"caf\xE9 CAF\xC9", "\xC9", eIgnoreDiacritics, 0, kAll, 1, 8},
        {"caf\xE9 CAF\xC9", "F\xC9", eIgnoreCase, 0, kAll, 1, 2},
        {"caf\xE9 CAF\xC9", "fe", eIgnoreBoth, 3, kAll, 1, 4},
        {"caf\xE9 CAF\xC9", "e", eExact, 0, kAll, 1, -1},
    };
    for (const FindCase& c : cases) {
        SCOPED_TRACE(testing::Message() << c.text << " / " << c.pattern << " mode " << c.mode << " from "
                                        << c.start << " to " << c.end << (c.forward ? " forward" : " back"));
        unsigned pos = 99;
        const bool hit = CStr(c.text).Find(CStr(c.pattern), pos, c.mode, c.start, c.end, c.forward != 0);
        EXPECT_EQ(hit, c.found >= 0);
        if (hit) {
            EXPECT_EQ(pos, static_cast<unsigned>(c.found));
        }
    }
    unsigned pos = 0;
    EXPECT_FALSE(CStr("caf").Find(CStr("c"), pos, static_cast<ECompareMode>(4)));
    EXPECT_EQ(pos, 3u) << "an unknown mode reports the length";
}

TEST(CStrFind, OneCharacterModesTwoAndThreeMapOnlyTheCharacter) {
    unsigned pos = 99;
    CStr cafe("caf\xE9");
    EXPECT_FALSE(cafe.Find('e', pos, eIgnoreDiacritics)) << "the string is not stripped";
    EXPECT_FALSE(cafe.Find('\xE9', pos, eIgnoreDiacritics)) << "é is mapped to e, which is not there";
    EXPECT_FALSE(cafe.Find('c', pos, eIgnoreBoth)) << "c is mapped to C, the string keeps its c";
    ASSERT_TRUE(CStr("CAFE").Find('\xE9', pos, eIgnoreBoth));
    EXPECT_EQ(pos, 3u);
    ASSERT_TRUE(CStr("cafe").Find('\xE9', pos, eIgnoreDiacritics));
    EXPECT_EQ(pos, 3u);
    // Mode 1 upper-cases both the string and the character.
    ASSERT_TRUE(cafe.Find('A', pos, eIgnoreCase));
    EXPECT_EQ(pos, 1u);
    ASSERT_TRUE(cafe.Find('\xC9', pos, eIgnoreCase));
    EXPECT_EQ(pos, 3u);
    ASSERT_TRUE(CStr("abcab").Find('b', pos, eExact, 2));
    EXPECT_EQ(pos, 2u) << "counted from start";
    EXPECT_FALSE(CStr("abc").Find('a', pos, eExact, 4));
    EXPECT_FALSE(CStr().Find('a', pos));
    pos = 0;
    EXPECT_FALSE(cafe.Find('c', pos, static_cast<ECompareMode>(9)));
    EXPECT_EQ(pos, 4u);
    // The pattern search with the same one-character text does strip the string.
    EXPECT_TRUE(cafe.In(CStr("e"), eIgnoreDiacritics));
    EXPECT_FALSE(cafe.In('e', eIgnoreDiacritics));
}

TEST(CStrFind, InAtStartAtEnd) {
    CStr s("Hello world");
    EXPECT_TRUE(s.In(CStr("world")));
    EXPECT_FALSE(s.In(CStr("Hello"), eExact, 1));
    EXPECT_TRUE(s.In('w'));
    EXPECT_TRUE(s.AtStart(CStr()));
    EXPECT_TRUE(s.AtStart(CStr("Hell")));
    EXPECT_FALSE(s.AtStart(CStr("ello")));
    EXPECT_TRUE(s.AtStart(CStr("HELLO"), eIgnoreCase));
    EXPECT_TRUE(s.AtEnd(CStr("world")));
    EXPECT_TRUE(s.AtEnd(CStr("d")));
    EXPECT_FALSE(s.AtEnd(CStr("worl")));
    EXPECT_TRUE(s.AtEnd(CStr("WORLD"), eIgnoreCase));
    EXPECT_FALSE(CStr("ab").AtEnd(CStr("xab")));
}

TEST(CStrReplaceAll, ReplacesEveryHitAndContinuesAfterTheReplacement) {
    CStr s("aXbXc");
    EXPECT_TRUE(s.ReplaceAll(CStr("X"), CStr("--")));
    EXPECT_EQ(T(s), "a--b--c");
    CStr grow("aaa");
    EXPECT_TRUE(grow.ReplaceAll(CStr("a"), CStr("aa")));
    EXPECT_EQ(T(grow), "aaaaaa") << "a replacement is not searched again";
    CStr from("a-a-a");
    EXPECT_TRUE(from.ReplaceAll(CStr("a"), CStr("bb"), eExact, 1));
    EXPECT_EQ(T(from), "a-bb-bb") << "hits before start are kept; positions are absolute";
    CStr del("abab");
    EXPECT_TRUE(del.ReplaceAll(CStr("b"), CStr()));
    EXPECT_EQ(T(del), "aa");
    CStr ci("Hello HELLO hello");
    EXPECT_TRUE(ci.ReplaceAll(CStr("hello"), CStr("x"), eIgnoreCase));
    EXPECT_EQ(T(ci), "x x x");
    CStr none("abc");
    CStr before(none);
    EXPECT_FALSE(none.ReplaceAll(CStr("z"), CStr("y")));
    EXPECT_EQ(T(none), "abc");
    EXPECT_EQ(T(before), "abc");
}

// ---- parsing -------------------------------------------------------------------------------------

TEST(CStrConvert, IntegersScanDigitsAndReportNonZero) {
    const struct {
        const char* text;
        bool result;
        int value;
    } ints[] = {
        {"0", false, 0},  // zero converts but reports false
        {" 42x", true, 42},  {"-7", true, -7},  {"+5", true, 5}, {"1 000", true, 1000},
        {"12abc", true, 12}, {"abc", false, 0}, {"", false, 0},
    };
    for (const auto& c : ints) {
        int v = 99;
        EXPECT_EQ(CStr(c.text).Convert(v), c.result) << c.text;
        EXPECT_EQ(v, c.value) << c.text;
    }
    int v = 5;
    EXPECT_FALSE(CStr("12").Convert(v, eHexadecimal)) << "decimal only";
    EXPECT_EQ(v, 0);

    short s = 0;
    EXPECT_TRUE(CStr("70000").Convert(s));
    EXPECT_EQ(s, static_cast<short>(70000 - 65536)) << "truncated to 16 bits";
    unsigned short us = 0;
    EXPECT_TRUE(CStr("65535").Convert(us));
    EXPECT_EQ(us, 65535);
    unsigned int u = 0;
    EXPECT_TRUE(CStr("-1").Convert(u));
    EXPECT_EQ(u, 0xFFFFFFFFu);
    EXPECT_TRUE(CStr("4000000000").Convert(u));
    EXPECT_EQ(u, 4000000000u);

    for (const char* no : {"0", "x1", ""}) EXPECT_FALSE(CStr(no).IsNumber()) << no;
    for (const char* yes : {"-3", " 1 2"}) EXPECT_TRUE(CStr(yes).IsNumber()) << yes;
}

TEST(CStrConvert, DoubleIsAtofOfAnyText) {
    double d = 7;
    EXPECT_TRUE(CStr("2.5").Convert(d));
    EXPECT_DOUBLE_EQ(d, 2.5);
    EXPECT_TRUE(CStr("abc").Convert(d)) << "true whatever the text holds";
    EXPECT_DOUBLE_EQ(d, 0.0);
    EXPECT_TRUE(CStr("-1e3").Convert(d));
    EXPECT_DOUBLE_EQ(d, -1000.0);
    EXPECT_FALSE(CStr().Convert(d));
    EXPECT_FALSE(CStr("1").Convert(d, eHexadecimal));
}

TEST(CStrConvert, Hex2Byte) {
    const struct {
        const char* text;
        bool result;
        unsigned value;
    } cases[] = {
        {"ff", true, 255},
        {"F", true, 15},  // a single character is read as 0F
        {"  a ", true, 10},
        {"abc", true, 0xAB},  // characters after the second are ignored
        {"\xE9"
         "1",
         true, 0xE1},       // é is upper-cased and read as its base letter E
        {"1g", false, 16},  // the first digit counts even when the second is not found
        {"g1", false, 0},
    };
    for (const auto& c : cases) {
        unsigned v = 7;
        EXPECT_EQ(CStr(c.text).Hex2Byte(v), c.result) << c.text;
        EXPECT_EQ(v, c.value) << c.text;
    }
    for (unsigned b = 0; b < 256; ++b) {
        char text[3] = {"0123456789abcdef"[b >> 4], "0123456789ABCDEF"[b & 15], 0};
        unsigned got = 999;
        EXPECT_TRUE(CStr(text).Hex2Byte(got)) << text;
        EXPECT_EQ(got, b) << text;
    }
}

// ---- character sets ------------------------------------------------------------------------------

TEST(CStrCharSet, WindowsAndMacintoshAreTheIdentity) {
    std::string all;
    for (int c = 1; c < 256; ++c) all += static_cast<char>(c);
    CStr s(all.c_str());
    EXPECT_EQ(T(s.StrConvertCharSet(eWindowsCharSet, eMacCharSet)), all);
    EXPECT_EQ(T(s.StrConvertCharSet(eMacCharSet, eWindowsCharSet)), all);
    EXPECT_EQ(T(s.StrConvertCharSet(eDOSCharSet, eDOSCharSet)), all);
    EXPECT_EQ(detail::CharSetTable(eWindowsCharSet, eWindowsCharSet), nullptr);
    EXPECT_EQ(detail::CharSetTable(static_cast<CharSetIdentifier>(3), eDOSCharSet), nullptr);
    EXPECT_EQ(detail::CharSetTable(eDOSCharSet, static_cast<CharSetIdentifier>(-1)), nullptr);
}

TEST(CStrCharSet, DosTablesAreBestFitMaps) {
    const unsigned char* d2w = detail::CharSetTable(eDOSCharSet, eWindowsCharSet);
    const unsigned char* w2d = detail::CharSetTable(eWindowsCharSet, eDOSCharSet);
    const unsigned char* d2m = detail::CharSetTable(eDOSCharSet, eMacCharSet);
    const unsigned char* m2d = detail::CharSetTable(eMacCharSet, eDOSCharSet);
    ASSERT_TRUE(d2w && w2d && d2m && m2d);
    for (int c = 0; c < 128; ++c) {
        if (c != 0x14 && c != 0x15) {
            EXPECT_EQ(d2w[c], c);
        }
        EXPECT_EQ(w2d[c], c);
        EXPECT_EQ(d2m[c], c);
        EXPECT_EQ(m2d[c], c);
    }
    EXPECT_EQ(d2w[0x14], 0xB6) << "pilcrow";
    EXPECT_EQ(d2w[0x15], 0xA7) << "section sign";
    EXPECT_EQ(d2w[0x82], 0xE9) << "e acute";
    EXPECT_EQ(w2d[0xE9], 0x82);
    EXPECT_EQ(d2m[0x82], 0x8E);
    EXPECT_EQ(m2d[0x8E], 0x82);
    EXPECT_EQ(d2w[0x9A], 0xDC) << "U diaeresis";
    EXPECT_EQ(w2d[0x8A], 'S') << "S caron has no DOS form: its base letter";
    // Every character of the Windows upper half from 0xA0 exists in the DOS code page: a round trip.
    for (int c = 0xA0; c < 256; ++c) EXPECT_EQ(d2w[w2d[c]], c) << c;
    CStr s(
        "Gr\x81\xE1"
        "e");  // Grüße in the DOS code page
    s.ConvertCharSet(eDOSCharSet, eWindowsCharSet);
    EXPECT_EQ(T(s),
              "Gr\xFC\xDF"
              "e");
    s.ConvertCharSet(eWindowsCharSet, eDOSCharSet);
    EXPECT_EQ(T(s),
              "Gr\x81\xE1"
              "e");
}

}  // namespace
