#include "ztbase/strings/unistr.h"

#include "ztbase/strings/internal/basic_str_impl.h"

namespace ZtBase {

namespace detail {
template class BasicZtStr<unsigned short, CUniStr>;
}  // namespace detail

CUniStr::CUniStr(const unsigned short* text) {
    Assign(text, detail::UnitLength(text));
}
CUniStr::CUniStr(const unsigned short* text, unsigned n) {
    Assign(text, n);
}

CUniStr::CUniStr(const char16_t* text) {
    unsigned len = 0;
    while (text && text[len]) ++len;
    if (len == 0) return;
    m_rep = AllocRep(len + 1);
    for (unsigned i = 0; i <= len; ++i) m_rep->Chars()[i] = text[i];
    m_rep->length = len;
}

bool CUniStr::operator==(const char16_t* o) const noexcept {
    const unsigned n = Length();
    if (!o) return n == 0;
    for (unsigned i = 0; i < n; ++i)
        if (o[i] != m_rep->Chars()[i]) return false;
    return o[n] == 0;
}

// Widening: each byte becomes the unit of the same value.
CUniStr::CUniStr(const char* text, unsigned n) {
    if (!text || n == 0 || text[0] == 0) return;
    unsigned len = 0;
    while (len < n && text[len]) ++len;
    m_rep = AllocRep(len + 1);
    unsigned short* p = m_rep->Chars();
    for (unsigned i = 0; i < len; ++i) p[i] = static_cast<unsigned char>(text[i]);
    p[len] = 0;
    m_rep->length = len;
}
CUniStr::CUniStr(const char* text) : CUniStr(text, detail::UnitLength(text)) {}
CUniStr::CUniStr(const CStr& text) : CUniStr(text.c_str(), text.Length()) {}

CUniStr& CUniStr::operator=(const unsigned short* text) {
    if (text != c_str()) Assign(text, detail::UnitLength(text));
    return *this;
}
CUniStr& CUniStr::operator=(unsigned short c) {
    AssignFill(c, 1);
    return *this;
}
CUniStr& CUniStr::operator=(char c) {
    return *this = static_cast<unsigned short>(static_cast<unsigned char>(c));
}

namespace {
// Code unit order up to the first zero, the order of the runtime's default collation.
ECompare CompareUnits(const unsigned short* a, const unsigned short* b) {
    for (;; ++a, ++b) {
        if (*a != *b) return *a < *b ? eLess : eGreater;
        if (*a == 0) return eEqual;
    }
}
}  // namespace

ECompare CUniStr::Compare(const CUniStr& other, ECompareMode mode) const {
    if (IsNull() || other.IsNull()) {
        if (IsNull() && other.IsNull()) return eEqual;
        if (IsNull()) return other.Length() ? eLess : eEqual;
        return Length() ? eGreater : eEqual;
    }
    if (static_cast<unsigned>(mode) > eIgnoreBoth) return eNoResult;
    if (mode == eExact) return CompareUnits(c_str(), other.c_str());
    return CompareUnits(ForMode(mode).c_str(), other.ForMode(mode).c_str());
}

ECompare CUniStr::Compare(const unsigned short* other, ECompareMode mode) const {
    return ConvertTo8Bit().Compare(CUniStr(other).ConvertTo8Bit(), mode);
}

bool CUniStr::operator==(const CUniStr& o) const noexcept {
    const unsigned n = Length();
    return n == o.Length() && (n == 0 || std::memcmp(c_str(), o.c_str(), n * sizeof(unsigned short)) == 0);
}

bool CUniStr::operator==(const unsigned short* o) const noexcept {
    const unsigned n = Length();
    if (!o) return n == 0;
    for (unsigned i = 0; i < n; ++i)
        if (o[i] != m_rep->Chars()[i]) return false;
    return o[n] == 0;
}

CUniStr CUniStr::IndentText(const CUniStr& indent) const {
    CUniStr out;
    const unsigned len = Length();
    if (len == 0) return out;
    const unsigned ni = indent.Length();
    unsigned lines = 1;
    for (unsigned i = 0; i + 1 < len; ++i) lines += m_rep->Chars()[i] == 10;
    out.AssureNeed(len + lines * ni + 1);
    const unsigned short* p = m_rep->Chars();
    for (unsigned i = 0; i < len; ++i) {
        if (i == 0 || p[i - 1] == 10) out += indent;
        out += p[i];
    }
    return out;
}

CStr CUniStr::ConvertTo8Bit() const {
    CStr out;
    const unsigned len = Length();
    if (len == 0) return out;
    out.Assure(len);
    for (unsigned i = 0; i < len; ++i) out += static_cast<char>(m_rep->Chars()[i] & 0xFF);  // += skips zeros
    return out;
}

CStr CUniStr::ConvertTo8Bit_Safe() const {
    return ConvertTo8Bit();
}

unsigned char CUniStr::ConvertTo8Bit_Safe(CStr& out) const {
    out.Blank();
    const unsigned len = Length();
    if (len == 0) return 1;
    out.Assure(len);
    unsigned char exact = 1;
    for (unsigned i = 0; i < len; ++i) {
        const unsigned short u = m_rep->Chars()[i];
        if (u > 255) {
            out += '.';
            exact = 0;
        } else if (u != 0) {
            out += static_cast<char>(u);
        }
    }
    return exact;
}

unsigned char CUniStr::Convert(short& v, StrFormat f) const {
    return ConvertTo8Bit_Safe().Convert(v, f);
}
unsigned char CUniStr::Convert(unsigned short& v, StrFormat f) const {
    return ConvertTo8Bit_Safe().Convert(v, f);
}
unsigned char CUniStr::Convert(int& v, StrFormat f) const {
    return ConvertTo8Bit_Safe().Convert(v, f);
}
unsigned char CUniStr::Convert(unsigned int& v, StrFormat f) const {
    return ConvertTo8Bit_Safe().Convert(v, f);
}
unsigned char CUniStr::Convert(double& v, StrFormat f) const {
    return ConvertTo8Bit_Safe().Convert(v, f);
}
unsigned char CUniStr::IsNumber() const {
    return ConvertTo8Bit_Safe().IsNumber();
}
unsigned char CUniStr::Hex2Byte(unsigned& v) const {
    return ConvertTo8Bit_Safe().Hex2Byte(v);
}

void AppendUtf8(const unsigned short* p, std::size_t len, std::string& out) {
    out.reserve(out.size() + len);
    for (std::size_t i = 0; i < len; ++i) {
        unsigned cp = p[i];
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < len && p[i + 1] >= 0xDC00 && p[i + 1] <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (p[++i] - 0xDC00);
        } else if (cp >= 0xD800 && cp <= 0xDFFF) {
            cp = 0xFFFD;
        }
        if (cp < 0x80) {
            out += static_cast<char>(cp);
        } else if (cp < 0x800) {
            out += static_cast<char>(0xC0 | (cp >> 6));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            out += static_cast<char>(0xE0 | (cp >> 12));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (cp >> 18));
            out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        }
    }
}

std::string CUniStr::ToUtf8() const {
    std::string out;
    AppendUtf8(c_str(), Length(), out);
    return out;
}

CUniStr CUniStr::FromUtf8(std::string_view text) {
    CUniStr out;
    if (text.empty()) return out;
    out.AssureNeed(static_cast<unsigned>(text.size()) + 1);
    const auto* s = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t n = text.size();
    for (std::size_t i = 0; i < n;) {
        const unsigned char lead = s[i];
        unsigned cp = lead, extra = 0;
        if (lead >= 0x80) {
            if ((lead & 0xE0) == 0xC0)
                cp = lead & 0x1F, extra = 1;
            else if ((lead & 0xF0) == 0xE0)
                cp = lead & 0x0F, extra = 2;
            else if ((lead & 0xF8) == 0xF0)
                cp = lead & 0x07, extra = 3;
            else
                extra = 4;  // not a lead byte
        }
        bool ok = extra < 4 && i + extra < n;
        for (unsigned k = 1; ok && k <= extra; ++k) {
            ok = (s[i + k] & 0xC0) == 0x80;
            cp = (cp << 6) | (s[i + k] & 0x3F);
        }
        if (!ok || cp > 0x10FFFF) {  // a stray, truncated or out-of-range sequence
            out += static_cast<unsigned short>(0xFFFD);
            ++i;
            continue;
        }
        i += extra + 1;
        if (cp >= 0x10000) {
            cp -= 0x10000;
            out += static_cast<unsigned short>(0xD800 + (cp >> 10));
            out += static_cast<unsigned short>(0xDC00 + (cp & 0x3FF));
        } else {
            out += static_cast<unsigned short>(cp);  // a zero unit is not stored
        }
    }
    return out;
}

CUniStr operator+(const CUniStr& a, const CUniStr& b) {
    return CUniStr::Concat(a, a.Length(), b, b.Length());
}
CUniStr operator+(const CUniStr& a, const unsigned short* b) {
    return CUniStr::Concat(a, a.Length(), b, detail::UnitLength(b));
}
CUniStr operator+(const unsigned short* a, const CUniStr& b) {
    return CUniStr::Concat(a, detail::UnitLength(a), b, b.Length());
}
CUniStr operator+(const CUniStr& a, unsigned short b) {
    return CUniStr::Concat(a, a.Length(), &b, b ? 1 : 0);
}
CUniStr operator+(unsigned short a, const CUniStr& b) {
    return CUniStr::Concat(&a, a ? 1 : 0, b, b.Length());
}

}  // namespace ZtBase
