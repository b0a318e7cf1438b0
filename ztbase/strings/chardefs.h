// Character definitions and collation for 8-bit text in the Windows code page 1252: ICCharacters gives
// each code its case forms, base letter, diacritic mark and sort key; ICSortMap gives each code its
// rank in the collation sequence. Both tables are built at compile time from the rules below and are
// therefore complete before any code of the library runs.
#pragma once

#include <array>

#include "ztbase/platform/export.h"

namespace ZtBase {

struct CCharDef {
    unsigned char lowerCase;
    unsigned char upperCase;
    unsigned char character;
    unsigned char baseLetter;  // the letter without its diacritic, case kept
    unsigned char diacritic;   // a printable mark naming the diacritic, a space for none
    unsigned char sortKey;     // the base letter in upper case
    unsigned char isUpper;
    unsigned char isVowel;
    unsigned char lowerCase2;  // equal to lowerCase in every record
};

ZTBASE_API extern const CCharDef ICCharacters[256];
ZTBASE_API extern unsigned char ICSortMap[256];

// Field accessors for one byte.
inline unsigned char CharBase(unsigned char c) {
    return ICCharacters[c].baseLetter;
}
inline unsigned char CharUpper(unsigned char c) {
    return ICCharacters[c].upperCase;
}
inline unsigned char CharLower(unsigned char c) {
    return ICCharacters[c].lowerCase;
}
inline unsigned char CharSortKey(unsigned char c) {
    return ICCharacters[c].sortKey;
}

namespace detail {

// The collation sequence after the codes 0x00-0x40: the letters, alphabet by alphabet.
inline constexpr unsigned char kLetterSequence[] =
    "a\xE1\xE0\xE2\xE3\xE4\xE5"
    "A\xC1\xC0\xC2\xC3\xC4\xC5"
    "\xE6\xC6"
    "bBcC\xE7\xC7"
    "dD\xFE\xDE\xF0\xD0"
    "e\xE9\xE8\xEA\xEB"
    "E\xC9\xC8\xCA\xCB"
    "fFgGhH"
    "i\xED\xEC\xEE\xEF"
    "I\xCD\xCC\xCE\xCF"
    "jJkKlLmMnN\xF1\xD1"
    "o\xF3\xF2\xF4\xF5\xF6"
    "O\xD3\xD2\xD4\xD5\xD6"
    "\xF8\xD8\x9C\x8C"
    "pPqQrRs\xDFStT"
    "u\xFA\xF9\xFB\xFC"
    "U\xDA\xD9\xDB\xDC"
    "vVwWxXy\xFDY\xDDzZ";

constexpr std::array<unsigned char, 256> BuildCollationSequence() {
    std::array<unsigned char, 256> seq{};
    unsigned n = 0;
    for (unsigned c = 0x00; c <= 0x40; ++c) seq[n++] = static_cast<unsigned char>(c);
    for (unsigned i = 0; i + 1 < sizeof kLetterSequence; ++i) seq[n++] = kLetterSequence[i];
    for (unsigned c = 0x5B; c <= 0x60; ++c) seq[n++] = static_cast<unsigned char>(c);
    for (unsigned c = 0x7B; c <= 0xBF; ++c)
        if (c != 0x8C && c != 0x9C) seq[n++] = static_cast<unsigned char>(c);
    seq[n++] = 0xD7;
    seq[n++] = 0xF7;
    seq[n++] = 0xFF;
    return seq;
}
inline constexpr std::array<unsigned char, 256> kCollationSequence = BuildCollationSequence();

// Rank of a code: its first position in the collation sequence.
constexpr unsigned char CollationRank(unsigned c) {
    for (unsigned p = 0; p < 256; ++p)
        if (kCollationSequence[p] == c) return static_cast<unsigned char>(p);
    return 0;
}

// Diacritic mark and unaccented letter of the accented letters 0xC0-0xFF, upper-case half (0xC0-0xDF);
// the lower-case half 0xE0-0xFF uses the same entries with the base letter in lower case.
inline constexpr char kAccentMarks[] = "`/^~\"oe,`/^\"`/^\"-~`/^~\"x|`/^\"/|s";
inline constexpr char kAccentBases[] = "AAAAAAACEEEEIIIIDNOOOOOxOUUUUYDS";

constexpr bool IsVowelLetter(unsigned char c) {
    switch (c | 0x20) {
        case 'a':
        case 'e':
        case 'i':
        case 'o':
        case 'u':
            return true;
        default:
            return false;
    }
}

constexpr CCharDef MakeCharDef(unsigned c) {
    const auto u = static_cast<unsigned char>(c);
    CCharDef d{u, u, u, u, ' ', u, 0, 0, u};
    if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z')) {
        d.lowerCase = d.lowerCase2 = static_cast<unsigned char>(c | 0x20);
        d.upperCase = static_cast<unsigned char>(c & ~0x20u);
        d.sortKey = d.upperCase;
        d.isUpper = c <= 'Z';
        d.isVowel = IsVowelLetter(u);
    } else if (c >= 0xC0 && c != 0xD7 && c != 0xF7) {
        const unsigned i = c & 0x1F;
        const bool upper = c < 0xE0;
        d.lowerCase = d.lowerCase2 = static_cast<unsigned char>(c | 0x20);
        d.upperCase = static_cast<unsigned char>(c & ~0x20u);
        d.diacritic = static_cast<unsigned char>(kAccentMarks[i]);
        d.sortKey = static_cast<unsigned char>(kAccentBases[i]);
        d.baseLetter = upper ? d.sortKey : static_cast<unsigned char>(d.sortKey | 0x20);
        d.isUpper = c <= 0xDE;
        // Vowels: the accented a, e, i, o, u with ae and capital O slash; small o slash is not one.
        d.isVowel = (IsVowelLetter(d.sortKey) && c != 0xF8) || i == 0x06;
        if (c == 0xDF) {  // sharp s: its own upper form
            d.lowerCase = d.lowerCase2 = d.upperCase = 0xDF;
            d.baseLetter = 's';
            d.isUpper = 0;
        } else if (c == 0xFF) {  // y diaeresis (index 31 of the table above is sharp s): upper form 0x9F
            d.upperCase = 0x9F;
            d.baseLetter = 'y';
            d.sortKey = 'Y';
            d.diacritic = '"';
        }
    } else if (c == 0x8A || c == 0x9A) {  // S and s caron: a case pair that is otherwise no letter
        d.lowerCase = d.lowerCase2 = 0x9A;
        d.upperCase = 0x8A;
    } else if (c == 0x8C || c == 0x9C) {  // OE ligature
        d.lowerCase = d.lowerCase2 = 0x9C;
        d.upperCase = 0x8C;
        d.baseLetter = c == 0x8C ? 'O' : 'o';
        d.sortKey = 'O';
        d.diacritic = 'e';
        d.isUpper = c == 0x8C;
        d.isVowel = 1;
    } else if (c == 0x9F) {  // capital Y diaeresis
        d.lowerCase = d.lowerCase2 = 0xFF;
        d.baseLetter = d.sortKey = 'Y';
        d.diacritic = '"';
        d.isUpper = 1;
    }
    return d;
}

}  // namespace detail
}  // namespace ZtBase
