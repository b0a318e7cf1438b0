#include "ztbase/strings/str.h"

#include <cstdlib>

#include "ztbase/base/memory_pool.h"
#include "ztbase/strings/internal/basic_str_impl.h"
#include "ztbase/strings/internal/codepages.h"

namespace ZtBase {

namespace detail {
void* AllocStrBlock(unsigned bytes, unsigned& granted) {
    return gMemoryPoolManager.AllocateBlock(bytes, granted);
}
void FreeStrBlock(void* block) noexcept {
    gMemoryPoolManager.ReleaseBlock(block);
}

template class BasicZtStr<char, CStr>;
}  // namespace detail

CStr::CStr(const char* text) {
    Assign(text, detail::UnitLength(text));
}
CStr::CStr(const char* text, unsigned n) {
    Assign(text, n);
}
CStr::CStr(char c, unsigned n) {
    AssignFill(c, n);
}

CStr& CStr::operator=(const char* text) {
    if (text != c_str()) Assign(text, detail::UnitLength(text));
    return *this;
}

CStr& CStr::operator=(char c) {
    AssignFill(c, 1);
    return *this;
}

namespace {
inline unsigned char Key(char c) {
    return ICCharacters[static_cast<unsigned char>(c)].sortKey;
}
inline unsigned char Rank(char c) {
    return ICSortMap[static_cast<unsigned char>(c)];
}

// Mode 0: sort keys position by position; for equal lengths the ranks break a tie, for different
// lengths the longer string wins once the common part agrees.
ECompare CompareExact(const char* a, unsigned na, const char* b, unsigned nb) {
    if (na == 0 || nb == 0) return na == nb ? eEqual : (na == 0 ? eLess : eGreater);
    const unsigned common = na < nb ? na : nb;
    for (unsigned i = 0; i < common; ++i) {
        if (a[i] == b[i]) continue;
        const unsigned char ka = Key(a[i]), kb = Key(b[i]);
        if (ka != kb) return ka < kb ? eLess : eGreater;
    }
    if (na != nb) return na < nb ? eLess : eGreater;
    for (unsigned i = 0; i < na; ++i) {
        const unsigned char ra = Rank(a[i]), rb = Rank(b[i]);
        if (ra != rb) return ra < rb ? eLess : eGreater;
    }
    return eEqual;
}
}  // namespace

ECompare CStr::Compare(const CStr& other, ECompareMode mode) const {
    const unsigned na = Length(), nb = other.Length();
    if (IsNull() || other.IsNull()) {
        if (IsNull() && other.IsNull()) return eEqual;
        if (IsNull()) return nb ? eLess : eEqual;
        return na ? eGreater : eEqual;
    }
    if (static_cast<unsigned>(mode) > eIgnoreBoth) return eNoResult;
    if (mode == eExact) return CompareExact(c_str(), na, other.c_str(), nb);
    const CStr a = ForMode(mode), b = other.ForMode(mode);
    return CompareExact(a.c_str(), a.Length(), b.c_str(), b.Length());
}

ECompare CStr::Compare(const char* other, ECompareMode mode) const {
    return Compare(CStr(other), mode);
}

void CStr::ConvertCharSet(CharSetIdentifier from, CharSetIdentifier to) {
    const unsigned char* table = detail::CharSetTable(from, to);
    if (!table || Length() == 0) return;
    AssureNeed(m_rep->capacity);
    char* p = m_rep->Chars();
    for (unsigned i = 0; i < m_rep->length; ++i)
        p[i] = static_cast<char>(table[static_cast<unsigned char>(p[i])]);
}

CStr CStr::StrConvertCharSet(CharSetIdentifier from, CharSetIdentifier to) const {
    CStr copy(*this);
    copy.ConvertCharSet(from, to);
    return copy;
}

// An optional sign, then digits accumulate; characters at or below the space are skipped and anything
// else ends the scan. ok reports whether parsing was possible at all (decimal format, text present).
long long CStr::ScanInteger(bool& ok) const {
    ok = !IsNull();
    if (!ok) return 0;
    const char* p = c_str();
    bool negative = false;
    if (*p == '-' || *p == '+') negative = *p++ == '-';
    unsigned long long value = 0;
    for (; *p; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if (c >= '0' && c <= '9')
            value = value * 10 + (c - '0');
        else if (c > ' ')
            break;
    }
    return static_cast<long long>(negative ? 0 - value : value);
}

namespace {
template <class T>
unsigned char ConvertInteger(const CStr& s, T& value, StrFormat format,
                             long long (CStr::*scan)(bool&) const) {
    value = 0;
    if (format != eDecimal) return 0;
    bool ok = false;
    const long long v = (s.*scan)(ok);
    if (!ok) return 0;
    value = static_cast<T>(static_cast<unsigned long long>(v));  // truncated to the target width
    return value != 0 ? 1 : 0;
}
}  // namespace

unsigned char CStr::Convert(short& v, StrFormat f) const {
    return ConvertInteger(*this, v, f, &CStr::ScanInteger);
}
unsigned char CStr::Convert(unsigned short& v, StrFormat f) const {
    return ConvertInteger(*this, v, f, &CStr::ScanInteger);
}
unsigned char CStr::Convert(int& v, StrFormat f) const {
    return ConvertInteger(*this, v, f, &CStr::ScanInteger);
}
unsigned char CStr::Convert(unsigned int& v, StrFormat f) const {
    return ConvertInteger(*this, v, f, &CStr::ScanInteger);
}

unsigned char CStr::Convert(double& value, StrFormat format) const {
    value = 0;
    if (format != eDecimal || IsNull()) return 0;
    value = std::atof(c_str());
    return 1;
}

unsigned char CStr::IsNumber() const {
    int value = 0;
    return Convert(value);
}

unsigned char CStr::Hex2Byte(unsigned& value) const {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    value = 0;
    CStr s(*this);
    s.Trim(' ');
    if (s == '0') return 0;  // a lone zero fails
    if (s.Length() == 1) s.Insert(0, '0');
    s.Upper();
    if (s.Length() < 2) return 0;
    auto digit = [](char c) -> int {
        const unsigned char base = ICCharacters[static_cast<unsigned char>(c)].baseLetter;
        for (int i = 0; i < 16; ++i)
            if (static_cast<unsigned char>(kDigits[i]) == base) return i;
        return -1;
    };
    const int hi = digit(s[0u]);
    if (hi < 0) return 0;
    value = 16u * unsigned(hi);
    const int lo = digit(s[1u]);
    if (lo < 0) return 0;
    value += unsigned(lo);
    return 1;
}

CStr operator+(const CStr& a, const CStr& b) {
    return CStr::Concat(a, a.Length(), b, b.Length());
}
CStr operator+(const CStr& a, const char* b) {
    return CStr::Concat(a, a.Length(), b, detail::UnitLength(b));
}
CStr operator+(const char* a, const CStr& b) {
    return CStr::Concat(a, detail::UnitLength(a), b, b.Length());
}
CStr operator+(const CStr& a, char b) {
    return CStr::Concat(a, a.Length(), &b, b ? 1 : 0);
}
CStr operator+(char a, const CStr& b) {
    return CStr::Concat(&a, a ? 1 : 0, b, b.Length());
}

}  // namespace ZtBase
