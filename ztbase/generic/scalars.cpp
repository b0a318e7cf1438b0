#include "ztbase/generic/scalars.h"

#include <cstdio>
#include <cstring>

#include "ztbase/generic/binary_io.h"

namespace ZtBase {

CUniStr FormatNumber(double value) {
    char text[48];
    int n = std::snprintf(text, sizeof text - 2, "%.10g", value);
    if (n < 0) return CUniStr();
    // Pad the exponent to three digits: "1e+20" becomes "1e+020".
    if (char* e = std::strchr(text, 'e'); e && (e[1] == '+' || e[1] == '-')) {
        char* digits = e + 2;
        const std::size_t count = std::strlen(digits);
        if (count < 3) {
            const std::size_t pad = 3 - count;
            std::memmove(digits + pad, digits, count + 1);
            std::memset(digits, '0', pad);
        }
    }
    return CUniStr(text);
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
    out += static_cast<unsigned short>('"');
    for (const unsigned short c : m_text) {
        // Doubling backslashes first and then escaping quotes gives the same text as this single pass.
        if (c == '\\' || c == '"') out += static_cast<unsigned short>('\\');
        out += c;
    }
    out += static_cast<unsigned short>('"');
    return out;
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
CUniStr CGenericVariableRep::GetPrettyPrint(unsigned int) const {
    return m_name;
}

CGenericVariable::CGenericVariable(const CUniStr& name) : ZtGenericHandle(new CGenericVariableRep(name)) {}

void CGenericVariable::SetName(const CUniStr& name) {
    Modify();
    m_rep->SetName(name);
}

}  // namespace ZtBase
