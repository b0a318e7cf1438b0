// CStr: a copy-on-write string of 8-bit characters (code page 1252). A null handle is a valid empty
// string. Ordering follows the library's own collation: sort keys first, then ranks for equal lengths.
#pragma once

#include "ztbase/strings/basic_str.h"

namespace ZtBase {

class CUniStr;
using SStrRep = detail::StrRep<char>;

class ZTBASE_API CStr : public detail::BasicZtStr<char, CStr> {
    using Base = detail::BasicZtStr<char, CStr>;

public:
    CStr() noexcept = default;
    CStr(const CStr&) noexcept = default;
    CStr(CStr&&) noexcept = default;
    CStr& operator=(const CStr&) noexcept = default;
    CStr& operator=(CStr&&) noexcept = default;
    // A null pointer or empty text gives the null handle.
    CStr(const char* text);
    // n bytes are copied; the length is then that of the zero-terminated text (an embedded zero ends it).
    CStr(const char* text, unsigned n);
    // n copies of c; the character 0 gives the null handle.
    CStr(char c, unsigned n);
    CStr& operator=(const char* text);
    CStr& operator=(char c);

    using Base::operator+=;
    using Base::operator==;
    using Base::operator!=;

    // Makes the body private with room for n characters (the terminator not counted).
    void Assure(unsigned n) { AssureNeed(n + 1); }

    // ---- comparison -----------------------------------------------------------------------------
    ECompare Compare(const CStr& other, ECompareMode mode = eExact) const;
    ECompare Compare(const char* other, ECompareMode mode = eExact) const;
    bool operator<(const CStr& o) const { return Compare(o) == eLess; }
    bool operator>(const CStr& o) const { return Compare(o) == eGreater; }
    bool operator<=(const CStr& o) const { return Compare(o) != eGreater; }
    bool operator>=(const CStr& o) const { return Compare(o) != eLess; }
    bool operator==(const CStr& o) const { return Compare(o) == eEqual; }
    bool operator!=(const CStr& o) const { return Compare(o) != eEqual; }
    bool operator<(const char* o) const { return Compare(o) == eLess; }
    bool operator>(const char* o) const { return Compare(o) == eGreater; }
    bool operator<=(const char* o) const { return Compare(o) != eGreater; }
    bool operator>=(const char* o) const { return Compare(o) != eLess; }
    bool operator==(const char* o) const { return Compare(o) == eEqual; }
    bool operator!=(const char* o) const { return Compare(o) != eEqual; }

    // ---- character sets -------------------------------------------------------------------------
    void ConvertCharSet(CharSetIdentifier from, CharSetIdentifier to);
    CStr StrConvertCharSet(CharSetIdentifier from, CharSetIdentifier to) const;

    // ---- parsing --------------------------------------------------------------------------------
    // Decimal only (format 0). Digits accumulate, characters at or below the space are skipped, any
    // other character ends the scan. Success means a non-zero result: "0" gives 0 and false.
    unsigned char Convert(short& value, StrFormat format = eDecimal) const;
    unsigned char Convert(unsigned short& value, StrFormat format = eDecimal) const;
    unsigned char Convert(int& value, StrFormat format = eDecimal) const;
    unsigned char Convert(unsigned int& value, StrFormat format = eDecimal) const;
    // atof of the text; true for format 0 and a non-null string, whatever the text holds.
    unsigned char Convert(double& value, StrFormat format = eDecimal) const;
    unsigned char IsNumber() const;
    unsigned char Hex2Byte(unsigned& value) const;

private:
    friend Base;
    friend class CUniStr;
    long long ScanInteger(bool& ok) const;
};

ZTBASE_API CStr operator+(const CStr& a, const CStr& b);
ZTBASE_API CStr operator+(const CStr& a, const char* b);
ZTBASE_API CStr operator+(const char* a, const CStr& b);
ZTBASE_API CStr operator+(const CStr& a, char b);
ZTBASE_API CStr operator+(char a, const CStr& b);

}  // namespace ZtBase
