#include "ztbase/generic/scalars.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "ztbase/generic/internal/binary_io.h"

namespace ZtBase {

namespace {
// The "%.10g" text of value with its exponent padded to three digits; returns its length.
unsigned FormatNumberText(double value, char (&text)[48]) {
    // Whole numbers of up to ten digits print as their digits under "%.10g": the common case, made
    // without the formatter.
    if (value > -1e10 && value < 1e10 && value == static_cast<double>(static_cast<long long>(value)) &&
        !(value == 0 && std::signbit(value))) {
        const auto r = std::to_chars(text, text + sizeof text - 1, static_cast<long long>(value));
        *r.ptr = 0;
        return static_cast<unsigned>(r.ptr - text);
    }
    // Ten significant digits, correctly rounded, in printf's "%g" style (std::to_chars is defined as
    // that; it spares the C library's arbitrary-precision arithmetic).
    const auto r = std::to_chars(text, text + sizeof text - 2, value, std::chars_format::general, 10);
    *r.ptr = 0;
    // Pad the exponent to three digits: "1e+20" becomes "1e+020".
    char* end = r.ptr;
    if (char* e = static_cast<char*>(std::memchr(text, 'e', static_cast<std::size_t>(end - text)))) {
        char* digits = e + 2;
        const std::size_t count = static_cast<std::size_t>(end - digits);
        if (count < 3) {
            const std::size_t pad = 3 - count;
            std::memmove(digits + pad, digits, count + 1);
            std::memset(digits, '0', pad);
            end += pad;
        }
    }
    return static_cast<unsigned>(end - text);
}
}  // namespace

CUniStr FormatNumber(double value) {
    CUniStr out;
    AppendNumber(out, value);
    return out;
}

void AppendNumber(CUniStr& out, double value) {
    char text[48];
    const unsigned n = FormatNumberText(value, text);
    unsigned short units[48];
    for (unsigned i = 0; i < n; ++i) units[i] = static_cast<unsigned char>(text[i]);
    out.Append(units, n);
}

// ---- numbers ------------------------------------------------------------------------------------------

CGenericNumberRep::~CGenericNumberRep() = default;
CBodyBase* CGenericNumberRep::Duplicate() const {
    return new CGenericNumberRep(m_value);
}
void CGenericNumberRep::operator<<(const CXFile& file) {
    m_value = detail::ReadDouble(file);
}
void CGenericNumberRep::operator>>(CXFile& file) const {
    detail::WriteU32(file, kKind);
    detail::WriteDouble(file, m_value);
}
CUniStr CGenericNumberRep::GetString() const {
    return FormatNumber(m_value);
}
void CGenericNumberRep::AppendString(CUniStr& out) const {
    AppendNumber(out, m_value);
}
CUniStr CGenericNumberRep::GetPrettyPrint(unsigned int) const {
    return FormatNumber(m_value);
}

CGenericNumber::CGenericNumber(double value) : ZtGenericHandle(new CGenericNumberRep(value)) {}
CGenericNumber::CGenericNumber(int value) : CGenericNumber(static_cast<double>(value)) {}
CGenericNumber::CGenericNumber(unsigned int value) : CGenericNumber(static_cast<double>(value)) {}

CGenericNumber& CGenericNumber::operator+=(double v) {
    Modify();
    *m_rep += v;
    return *this;
}
CGenericNumber& CGenericNumber::operator-=(double v) {
    Modify();
    *m_rep -= v;
    return *this;
}
CGenericNumber& CGenericNumber::operator*=(double v) {
    Modify();
    *m_rep *= v;
    return *this;
}
CGenericNumber& CGenericNumber::operator/=(double v) {
    Modify();
    *m_rep /= v;
    return *this;
}

// ---- strings ------------------------------------------------------------------------------------------

CGenericStringRep::~CGenericStringRep() = default;
CBodyBase* CGenericStringRep::Duplicate() const {
    return new CGenericStringRep(m_text);
}
void CGenericStringRep::operator<<(const CXFile& file) {
    m_text = detail::ReadText(file);
}
void CGenericStringRep::operator>>(CXFile& file) const {
    detail::WriteU32(file, kKind);
    detail::WriteText(file, m_text);
}

CUniStr CGenericStringRep::GetString() const {
    const unsigned n = m_text.Length();
    CUniStr out;
    out.Assure(n + n / 8 + 3);
    AppendString(out);
    return out;
}

void CGenericStringRep::AppendString(CUniStr& out) const {
    out += static_cast<unsigned short>('"');
    // Runs without a backslash or a double quote are copied whole; each of those two gets a backslash
    // before it (doubling backslashes, then escaping quotes, gives the same text as this single pass).
    const unsigned short* s = m_text.c_str();
    const unsigned n = m_text.Length();
    unsigned start = 0;
    for (unsigned i = 0; i < n; ++i) {
        if (s[i] != '\\' && s[i] != '"') continue;
        out.Append(s + start, i - start);
        out += static_cast<unsigned short>('\\');
        start = i;
    }
    out.Append(s + start, n - start);
    out += static_cast<unsigned short>('"');
}
CUniStr CGenericStringRep::GetPrettyPrint(unsigned int) const {
    return GetString();
}

CGenericString::CGenericString(const CUniStr& text) : ZtGenericHandle(new CGenericStringRep(text)) {}
CGenericString::CGenericString(const unsigned short* text) : CGenericString(CUniStr(text)) {}

void CGenericString::SetVal(const CUniStr& text) {
    Modify();
    m_rep->SetVal(text);
}

const CUniStr& CGenericString::Text() const noexcept {
    static const CUniStr empty;
    return m_rep ? m_rep->GetVal() : empty;
}

// ---- variables ----------------------------------------------------------------------------------------

CGenericVariableRep::~CGenericVariableRep() = default;
CBodyBase* CGenericVariableRep::Duplicate() const {
    return new CGenericVariableRep(m_name);
}
void CGenericVariableRep::operator<<(const CXFile&) {}
void CGenericVariableRep::operator>>(CXFile& file) const {
    detail::WriteU32(file, kKind);
}
CUniStr CGenericVariableRep::GetString() const {
    return m_name;
}
void CGenericVariableRep::AppendString(CUniStr& out) const {
    out += m_name;
}
CUniStr CGenericVariableRep::GetPrettyPrint(unsigned int) const {
    return m_name;
}

CGenericVariable::CGenericVariable(const CUniStr& name) : ZtGenericHandle(new CGenericVariableRep(name)) {}

void CGenericVariable::SetName(const CUniStr& name) {
    Modify();
    m_rep->SetName(name);
}

}  // namespace ZtBase
