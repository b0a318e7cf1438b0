// CUniStr: a copy-on-write string of 16-bit code units (unsigned short). A null handle is a valid
// empty string. Compare orders by code unit; operator== is a separate, binary comparison; comparisons
// against a C string narrow both sides and follow the 8-bit collation.
#pragma once

#include <string>
#include <string_view>
#include <type_traits>

#include "ztbase/strings/basic_str.h"
#include "ztbase/strings/str.h"

namespace ZtBase {

using SUniStrRep = detail::StrRep<unsigned short>;

class ZTBASE_API CUniStr : public detail::BasicZtStr<unsigned short, CUniStr> {
    using Base = detail::BasicZtStr<unsigned short, CUniStr>;

public:
    CUniStr() noexcept = default;
    CUniStr(const CUniStr&) noexcept = default;
    CUniStr(CUniStr&&) noexcept = default;
    CUniStr& operator=(const CUniStr&) noexcept = default;
    CUniStr& operator=(CUniStr&&) noexcept = default;
    CUniStr(const unsigned short* text);
    CUniStr(const unsigned short* text, unsigned n);
    // Literals: u"text".
    CUniStr(const char16_t* text);
    // 8-bit text is widened byte by byte (0xE9 becomes U+00E9).
    CUniStr(const char* text);
    CUniStr(const char* text, unsigned n);
    CUniStr(const CStr& text);
    CUniStr& operator=(const unsigned short* text);
    CUniStr& operator=(unsigned short c);
    CUniStr& operator=(char c);

    // n copies of c; the unit 0 gives the null handle.
    void Fill(unsigned short c, unsigned n) { AssignFill(c, n); }

    using Base::operator+=;
    using Base::operator==;
    using Base::operator!=;
    CUniStr& operator+=(const char16_t* text) { return *this += CUniStr(text); }

    // Makes the body private with room for n units, the terminator included.
    void Assure(unsigned n) { AssureNeed(n); }

    // ---- comparison -----------------------------------------------------------------------------
    ECompare Compare(const CUniStr& other, ECompareMode mode = eExact) const;
    // Narrows both sides and compares them as 8-bit strings in the given mode.
    ECompare Compare(const unsigned short* other, ECompareMode mode = eExact) const;
    bool operator<(const CUniStr& o) const { return Compare(o) == eLess; }
    bool operator>(const CUniStr& o) const { return Compare(o) == eGreater; }
    bool operator<=(const CUniStr& o) const { return Compare(o) != eGreater; }
    bool operator>=(const CUniStr& o) const { return Compare(o) != eLess; }
    bool operator!=(const CUniStr& o) const { return Compare(o) != eEqual; }
    // Unit by unit; a null handle equals an empty body.
    bool operator==(const CUniStr& o) const noexcept;
    bool operator<(const unsigned short* o) const { return Compare(o) == eLess; }
    bool operator>(const unsigned short* o) const { return Compare(o) == eGreater; }
    bool operator<=(const unsigned short* o) const { return Compare(o) != eGreater; }
    bool operator>=(const unsigned short* o) const { return Compare(o) != eLess; }
    bool operator==(const unsigned short* o) const noexcept;
    bool operator!=(const unsigned short* o) const noexcept { return !operator==(o); }
    bool operator==(const char16_t* o) const noexcept;
    bool operator!=(const char16_t* o) const noexcept { return !operator==(o); }

    // A copy with indent before the first character and after every line feed but a final one.
    CUniStr IndentText(const CUniStr& indent) const;

    // ---- conversions ----------------------------------------------------------------------------
    // The low 8 bits of every unit, skipping units whose low byte is 0. Never fails.
    CStr ConvertTo8Bit() const;
    CStr ConvertTo8Bit_Safe() const;
    // Units above 255 become "." and make the result false; zero units are skipped.
    unsigned char ConvertTo8Bit_Safe(CStr& out) const;
    // The narrowed text parsed as by CStr.
    unsigned char Convert(short& value, StrFormat format = eDecimal) const;
    unsigned char Convert(unsigned short& value, StrFormat format = eDecimal) const;
    unsigned char Convert(int& value, StrFormat format = eDecimal) const;
    unsigned char Convert(unsigned int& value, StrFormat format = eDecimal) const;
    unsigned char Convert(double& value, StrFormat format = eDecimal) const;
    unsigned char IsNumber() const;
    unsigned char Hex2Byte(unsigned& value) const;

    // UTF-16 to and from UTF-8 (unpaired surrogates become U+FFFD), for terminals and tools.
    std::string ToUtf8() const;
    static CUniStr FromUtf8(std::string_view text);
    std::u16string ToU16() const { return std::u16string(begin(), end()); }

private:
    friend Base;
};

ZTBASE_API CUniStr operator+(const CUniStr& a, const CUniStr& b);
ZTBASE_API CUniStr operator+(const CUniStr& a, const unsigned short* b);
ZTBASE_API CUniStr operator+(const unsigned short* a, const CUniStr& b);
ZTBASE_API CUniStr operator+(const CUniStr& a, unsigned short b);
ZTBASE_API CUniStr operator+(unsigned short a, const CUniStr& b);

// A CStr made from 16-bit text: units above 255 become ".".
class ZTBASE_API CStrFromUniStr : public CStr {
public:
    explicit CStrFromUniStr(const CUniStr& text) { text.ConvertTo8Bit_Safe(*this); }
};

// A 16-bit text constant made at compile time from a u"" literal: U16Literal k(u"text"); k.text is
// a const unsigned short* that stays valid for the program's life.
template <std::size_t N>
struct U16Literal {
    unsigned short text[N];
    constexpr U16Literal(const char16_t (&s)[N]) : text{} {
        for (std::size_t i = 0; i < N; ++i) text[i] = s[i];
    }
    constexpr operator const unsigned short*() const { return text; }
};

// Appends the UTF-8 form of n 16-bit units to out; unpaired surrogates become U+FFFD.
ZTBASE_API void AppendUtf8(const unsigned short* units, std::size_t n, std::string& out);

// The length of a zero-terminated 16-bit text.
inline unsigned UniStrLen(const unsigned short* s) noexcept {
    return detail::UnitLength(s);
}

}  // namespace ZtBase
