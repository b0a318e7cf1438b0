// The character definition table and the collation ranks, checked record by record against the rules
// restated here independently.
#include "ztbase/strings/chardefs.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

using namespace ZtBase;

namespace {

struct Expected {
    unsigned char lower, upper, base, mark, key, isUpper, isVowel;
};

// The accented letters 0xC0-0xDF: unaccented letter (upper case), mark, and whether the capital and
// the small form are vowels.
struct Accented {
    char base;
    char mark;
    bool capitalVowel;
    bool smallVowel;
};
// clang-format off
constexpr Accented kAccented[32] = {
    {'A', '`', 1, 1},  {'A', '/', 1, 1},  {'A', '^', 1, 1},  {'A', '~', 1, 1},   // À Á Â Ã
    {'A', '"', 1, 1},  {'A', 'o', 1, 1},  {'A', 'e', 1, 1},  {'C', ',', 0, 0},   // Ä Å Æ Ç
    {'E', '`', 1, 1},  {'E', '/', 1, 1},  {'E', '^', 1, 1},  {'E', '"', 1, 1},   // È É Ê Ë
    {'I', '`', 1, 1},  {'I', '/', 1, 1},  {'I', '^', 1, 1},  {'I', '"', 1, 1},   // Ì Í Î Ï
    {'D', '-', 0, 0},  {'N', '~', 0, 0},  {'O', '`', 1, 1},  {'O', '/', 1, 1},   // Ð Ñ Ò Ó
    {'O', '^', 1, 1},  {'O', '~', 1, 1},  {'O', '"', 1, 1},  {0, 0, 0, 0},       // Ô Õ Ö (× ÷)
    {'O', '|', 1, 0},  {'U', '`', 1, 1},  {'U', '/', 1, 1},  {'U', '^', 1, 1},   // Ø/ø U
    {'U', '"', 1, 1},  {'Y', '/', 0, 0},  {'D', '|', 0, 0},  {0, 0, 0, 0},       // Ü Ý Þ (ß, ÿ)
};
// clang-format on

Expected Plain(unsigned c) {
    const auto u = static_cast<unsigned char>(c);
    return {u, u, u, ' ', u, 0, 0};
}

Expected Rule(unsigned c) {
    const std::string vowels = "AEIOUaeiou";
    if (c >= 'A' && c <= 'Z')
        return {static_cast<unsigned char>(c + 32),
                static_cast<unsigned char>(c),
                static_cast<unsigned char>(c),
                ' ',
                static_cast<unsigned char>(c),
                1,
                vowels.find(char(c)) != std::string::npos};
    if (c >= 'a' && c <= 'z')
        return {static_cast<unsigned char>(c),
                static_cast<unsigned char>(c - 32),
                static_cast<unsigned char>(c),
                ' ',
                static_cast<unsigned char>(c - 32),
                0,
                vowels.find(char(c)) != std::string::npos};
    switch (c) {
        case 0x8A:
            return {0x9A, 0x8A, 0x8A, ' ', 0x8A, 0, 0};  // Š: a case pair, otherwise no letter
        case 0x9A:
            return {0x9A, 0x8A, 0x9A, ' ', 0x9A, 0, 0};
        case 0x8C:
            return {0x9C, 0x8C, 'O', 'e', 'O', 1, 1};  // Œ
        case 0x9C:
            return {0x9C, 0x8C, 'o', 'e', 'O', 0, 1};  // œ
        case 0x9F:
            return {0xFF, 0x9F, 'Y', '"', 'Y', 1, 0};  // Ÿ
        case 0xD7:
        case 0xF7:
            return Plain(c);  // × ÷
        case 0xDF:
            return {0xDF, 0xDF, 's', 's', 'S', 0, 0};  // ß: its own upper form, not upper
        case 0xFF:
            return {0xFF, 0x9F, 'y', '"', 'Y', 0, 0};  // ÿ
        default:
            break;
    }
    if (c >= 0xC0 && c <= 0xDE) {
        const Accented& a = kAccented[c - 0xC0];
        return {static_cast<unsigned char>(c + 0x20),
                static_cast<unsigned char>(c),
                static_cast<unsigned char>(a.base),
                static_cast<unsigned char>(a.mark),
                static_cast<unsigned char>(a.base),
                1,
                a.capitalVowel};
    }
    if (c >= 0xE0 && c <= 0xFE) {
        const Accented& a = kAccented[c - 0xE0];
        return {static_cast<unsigned char>(c),
                static_cast<unsigned char>(c - 0x20),
                static_cast<unsigned char>(a.base + 32),
                static_cast<unsigned char>(a.mark),
                static_cast<unsigned char>(a.base),
                0,
                a.smallVowel};
    }
    return Plain(c);
}

TEST(CharacterTable, EveryRecordFollowsTheRules) {
    for (unsigned c = 0; c < 256; ++c) {
        const CCharDef& d = ICCharacters[c];
        const Expected e = Rule(c);
        SCOPED_TRACE(testing::Message() << "code 0x" << std::hex << c);
        EXPECT_EQ(d.character, c);
        EXPECT_EQ(d.lowerCase, e.lower);
        EXPECT_EQ(d.upperCase, e.upper);
        EXPECT_EQ(d.baseLetter, e.base);
        EXPECT_EQ(d.diacritic, e.mark);
        EXPECT_EQ(d.sortKey, e.key);
        EXPECT_EQ(d.isUpper, e.isUpper);
        EXPECT_EQ(d.isVowel, e.isVowel);
        EXPECT_EQ(d.lowerCase2, d.lowerCase);
    }
}

TEST(CharacterTable, NamedExceptions) {
    EXPECT_EQ(ICCharacters[0xDF].isUpper, 0) << "ß";
    EXPECT_EQ(ICCharacters[0xDF].upperCase, 0xDF);
    EXPECT_EQ(ICCharacters[0xF8].isVowel, 0) << "ø";
    EXPECT_EQ(ICCharacters[0xD8].isVowel, 1) << "Ø";
    for (unsigned c : {0xE7, 0xC7, 0xF1, 0xD1, 0xFD, 0xDD, 0xFF, 0x9F, 0xF0, 0xD0, 0xFE, 0xDE})
        EXPECT_EQ(ICCharacters[c].isVowel, 0) << std::hex << c;
    for (unsigned c : {0xE6, 0xC6, 0x8C, 0x9C}) EXPECT_EQ(ICCharacters[c].isVowel, 1) << std::hex << c;
    EXPECT_EQ(ICCharacters[unsigned('Y')].isVowel + ICCharacters[unsigned('y')].isVowel, 0);
    for (unsigned c : {0x8E, 0x9E}) {  // Ž ž are no letters here
        EXPECT_EQ(ICCharacters[c].upperCase, c);
        EXPECT_EQ(ICCharacters[c].lowerCase, c);
        EXPECT_EQ(ICCharacters[c].sortKey, c);
    }
    for (unsigned c : {0xE9u, 0xC9u, unsigned('e'), unsigned('E')}) EXPECT_EQ(CharSortKey(c), 'E');
    const std::pair<unsigned, unsigned> bases[] = {{0xC9, 'E'}, {0xE9, 'e'}, {0xFE, 'd'}, {0xDE, 'D'}};
    for (const auto& [c, base] : bases) EXPECT_EQ(CharBase(c), base) << std::hex << c;
    EXPECT_EQ(CharUpper(0xDF), 0xDF);
    EXPECT_EQ(CharUpper(0xFF), 0x9F);
    EXPECT_EQ(CharLower(0x9F), 0xFF);
}

// The collation sequence, restated: codes 0x00-0x40, the letters, then the remaining symbols.
std::vector<unsigned> CollationSequence() {
    const std::u8string letters =
        u8"aáàâãäåAÁÀÂÃÄÅæÆbBcCçÇdDþÞðÐeéèêëEÉÈÊËfFgGhHiíìîïIÍÌÎÏjJkKlLmMnNñÑoóòôõöOÓÒÔÕÖøØœŒ"
        u8"pPqQrRsßStTuúùûüUÚÙÛÜvVwWxXyýYÝzZ";
    std::vector<unsigned> seq;
    for (unsigned c = 0; c <= 0x40; ++c) seq.push_back(c);
    for (size_t i = 0; i < letters.size();) {  // decode UTF-8 to code points
        unsigned cp = letters[i];
        int extra = cp >= 0xE0 ? 2 : cp >= 0xC0 ? 1 : 0;
        if (extra) cp &= extra == 2 ? 0x0F : 0x1F;
        for (int k = 1; k <= extra; ++k) cp = (cp << 6) | (letters[i + k] & 0x3F);
        i += 1 + extra;
        seq.push_back(cp == 0x153 ? 0x9C : cp == 0x152 ? 0x8C : cp);  // œ Œ sit at 0x9C 0x8C
    }
    for (unsigned c = 0x5B; c <= 0x60; ++c) seq.push_back(c);
    for (unsigned c = 0x7B; c <= 0x7F; ++c) seq.push_back(c);
    for (unsigned c = 0x80; c <= 0xBF; ++c)
        if (c != 0x8C && c != 0x9C) seq.push_back(c);
    seq.push_back(0xD7);
    seq.push_back(0xF7);
    seq.push_back(0xFF);
    return seq;
}

TEST(SortMap, RanksAreThePositionsInTheCollationSequence) {
    const std::vector<unsigned> seq = CollationSequence();
    ASSERT_EQ(seq.size(), 256u);
    ASSERT_EQ(std::set<unsigned>(seq.begin(), seq.end()).size(), 256u) << "every code exactly once";
    for (unsigned p = 0; p < 256; ++p) EXPECT_EQ(ICSortMap[seq[p]], p) << "code 0x" << std::hex << seq[p];
    EXPECT_EQ(ICSortMap[unsigned('a')], 65);
    EXPECT_EQ(ICSortMap[unsigned('A')], 72);
    EXPECT_EQ(ICSortMap[0xFF], 255);
    EXPECT_LT(ICSortMap[unsigned('z')], ICSortMap[unsigned('[')]);
    EXPECT_GT(ICSortMap[0x8A], ICSortMap[unsigned('Z')]) << "Š sorts among the symbols";
}

}  // namespace
