#include "ztbase/strings/number_format.h"

#include <charconv>
#include <cstdio>
#include <type_traits>

namespace ZtBase {

namespace {

// Room for the widest padding (255) plus the longest number text ("%g" of a double, 64-bit decimal).
constexpr unsigned kBufferSize = 256 + 64;

// Writes an integer in decimal or lower-case hexadecimal; returns the end of the text, or nullptr for
// a format other than 0 and 1. Hexadecimal takes the value's unsigned pattern of the same width, so a
// negative value comes out as its two's complement.
template <class T>
char* WriteInteger(char* first, char* last, T value, StrFormat format) {
    switch (format) {
        case eDecimal:
            return std::to_chars(first, last, value).ptr;
        case eHexadecimal:
            return std::to_chars(first, last, static_cast<std::make_unsigned_t<T>>(value), 16).ptr;
        default:
            return nullptr;
    }
}

// Right-justifies the digits in text[0, n) to width by filling before them (before any sign). A zero
// fill character cannot travel through a zero-terminated text, so that case is left to the string's Pad.
template <class Str, class Ch>
Str Finish(const char* text, unsigned n, unsigned char width, Ch fill) {
    const unsigned pad = width > n && fill != 0 ? width - n : 0;
    Ch units[kBufferSize];
    units[0] = 0;
    for (unsigned i = 0; i < pad; ++i) units[i] = fill;
    for (unsigned i = 0; i < n; ++i) units[pad + i] = static_cast<Ch>(static_cast<unsigned char>(text[i]));
    Str s(units, pad + n);
    if (fill == 0 && width > n) s.Pad(width, fill, eRightJustify);
    return s;
}

template <class Str, class Ch, class T>
Str FormatInteger(T value, unsigned char width, StrFormat format, Ch fill) {
    char text[64];
    char* end = WriteInteger(text, text + sizeof text, value, format);
    if (!end) return Str();
    return Finish<Str>(text, static_cast<unsigned>(end - text), width, fill);
}

template <class Str, class Ch>
Str FormatDouble(double value, unsigned char width, Ch fill) {
    char text[64];
    const int n = std::snprintf(text, sizeof text, "%g", value);
    if (n <= 0) return Str();
    return Finish<Str>(text, static_cast<unsigned>(n), width, fill);
}

}  // namespace

CStr MakeStr(short value, unsigned char width, StrFormat format, char fill) {
    return FormatInteger<CStr>(value, width, format, fill);
}
CStr MakeStr(unsigned short value, unsigned char width, StrFormat format, char fill) {
    return FormatInteger<CStr>(value, width, format, fill);
}
CStr MakeStr(int value, unsigned char width, StrFormat format, char fill) {
    return FormatInteger<CStr>(value, width, format, fill);
}
CStr MakeStr(unsigned int value, unsigned char width, StrFormat format, char fill) {
    return FormatInteger<CStr>(value, width, format, fill);
}
CStr MakeStr(long long value, unsigned char width, StrFormat format, char fill) {
    return FormatInteger<CStr>(value, width, format, fill);
}
CStr MakeStr(double value, unsigned char width, StrFormat, char fill) {
    return FormatDouble<CStr>(value, width, fill);
}

CUniStr MakeUniStr(short value, unsigned char width, StrFormat format, unsigned short fill) {
    return FormatInteger<CUniStr>(value, width, format, fill);
}
CUniStr MakeUniStr(unsigned short value, unsigned char width, StrFormat format, unsigned short fill) {
    return FormatInteger<CUniStr>(value, width, format, fill);
}
CUniStr MakeUniStr(int value, unsigned char width, StrFormat format, unsigned short fill) {
    return FormatInteger<CUniStr>(value, width, format, fill);
}
CUniStr MakeUniStr(unsigned int value, unsigned char width, StrFormat format, unsigned short fill) {
    return FormatInteger<CUniStr>(value, width, format, fill);
}
CUniStr MakeUniStr(long long value, unsigned char width, StrFormat format, unsigned short fill) {
    return FormatInteger<CUniStr>(value, width, format, fill);
}
CUniStr MakeUniStr(double value, unsigned char width, StrFormat, unsigned short fill) {
    return FormatDouble<CUniStr>(value, width, fill);
}

CStr CopyFromPascal(const unsigned char* p) {
    if (!p || p[0] == 0) return CStr();
    char text[256];
    unsigned n = 0;
    for (unsigned i = 1; i <= p[0]; ++i)
        if (p[i] != 0) text[n++] = static_cast<char>(p[i]);
    return CStr(text, n);
}

}  // namespace ZtBase
