// The scalar kinds of generic value besides symbols: numbers (one IEEE double), strings (16-bit text)
// and unification variables (a name; bindings live in unification results, never in the variable).
#pragma once

#include "ztbase/generic/generic.h"
#include "ztbase/generic/generic_body.h"
#include "ztbase/platform/export.h"
#include "ztbase/strings/unistr.h"

namespace ZtBase {

// The text of a number: "%.10g" (at most ten significant digits, no trailing zeros) with an exponent of
// at least three digits ("1e+020", "1.5e-007"); infinities and NaN as the C library prints them.
ZTBASE_API CUniStr FormatNumber(double value);
// Appends the same text to out.
ZTBASE_API void AppendNumber(CUniStr& out, double value);

// ---- numbers ------------------------------------------------------------------------------------------

class ZTBASE_API CGenericNumberRep : public GenericBody<CGenericNumberRep, eGenericNumber> {
public:
    CGenericNumberRep() noexcept = default;
    explicit CGenericNumberRep(double value) noexcept : m_value(value) {}
    CGenericNumberRep(const CGenericNumberRep&) noexcept = default;
    ~CGenericNumberRep() override;

    CBodyBase* Duplicate() const override;
    // The payload is the 8-byte double.
    void operator<<(const CXFile& file) override;
    void operator>>(CXFile& file) const override;
    CUniStr GetString() const override;
    void AppendString(CUniStr& out) const override;
    // The same as GetString: the argument is ignored.
    CUniStr GetPrettyPrint(unsigned int options) const override;

    double GetValue() const noexcept { return m_value; }
    void SetValue(double value) noexcept { m_value = value; }
    operator double() const noexcept { return m_value; }
    void operator+=(double v) noexcept { m_value += v; }
    void operator-=(double v) noexcept { m_value -= v; }
    void operator*=(double v) noexcept { m_value *= v; }
    void operator/=(double v) noexcept { m_value /= v; }
    void operator++() noexcept { m_value += 1.0; }
    void operator++(int) noexcept { m_value += 1.0; }
    void operator--() noexcept { m_value -= 1.0; }
    void operator--(int) noexcept { m_value -= 1.0; }

    // IEEE comparisons: a NaN is equal to nothing and orders with nothing.
    bool SameEqual(const CGenericNumberRep& o) const noexcept { return m_value == o.m_value; }
    bool SameLess(const CGenericNumberRep& o) const noexcept { return m_value < o.m_value; }
    bool SameLessEqual(const CGenericNumberRep& o) const noexcept { return m_value <= o.m_value; }
    bool SameGreater(const CGenericNumberRep& o) const noexcept { return m_value > o.m_value; }
    bool SameGreaterEqual(const CGenericNumberRep& o) const noexcept { return m_value >= o.m_value; }

private:
    double m_value = 0.0;
};

// A null number counts as 0.0 wherever it is read (as an operand, a comparison or a double); writing to
// a null number first gives it a body holding 0.0.
class ZTBASE_API CGenericNumber : public ZtGenericHandle<CGenericNumberRep> {
public:
    CGenericNumber() noexcept = default;
    CGenericNumber(double value);
    CGenericNumber(int value);
    // Values of 2^31 and above stay positive.
    CGenericNumber(unsigned int value);

    operator double() const noexcept { return Value(); }

    CGenericNumber& operator+=(const CGenericNumber& o) { return *this += o.Value(); }
    CGenericNumber& operator-=(const CGenericNumber& o) { return *this -= o.Value(); }
    CGenericNumber& operator*=(const CGenericNumber& o) { return *this *= o.Value(); }
    CGenericNumber& operator/=(const CGenericNumber& o) { return *this /= o.Value(); }
    CGenericNumber& operator+=(double v);
    CGenericNumber& operator-=(double v);
    CGenericNumber& operator*=(double v);
    // Division by zero gives an infinity or NaN, never an error.
    CGenericNumber& operator/=(double v);
    CGenericNumber& operator+=(int v) { return *this += static_cast<double>(v); }
    CGenericNumber& operator-=(int v) { return *this -= static_cast<double>(v); }
    CGenericNumber& operator*=(int v) { return *this *= static_cast<double>(v); }
    CGenericNumber& operator/=(int v) { return *this /= static_cast<double>(v); }
    // The postfix forms, like the prefix ones, return this handle already changed: never the old value.
    CGenericNumber& operator++() { return *this += 1.0; }
    CGenericNumber& operator++(int) { return *this += 1.0; }
    CGenericNumber& operator--() { return *this -= 1.0; }
    CGenericNumber& operator--(int) { return *this -= 1.0; }

    unsigned char operator==(const CGenericNumber& o) const noexcept { return Value() == o.Value(); }
    unsigned char operator!=(const CGenericNumber& o) const noexcept { return Value() != o.Value(); }
    unsigned char operator<(const CGenericNumber& o) const noexcept { return Value() < o.Value(); }
    unsigned char operator<=(const CGenericNumber& o) const noexcept { return Value() <= o.Value(); }
    unsigned char operator>(const CGenericNumber& o) const noexcept { return Value() > o.Value(); }
    unsigned char operator>=(const CGenericNumber& o) const noexcept { return Value() >= o.Value(); }

private:
    double Value() const noexcept { return m_rep ? m_rep->GetValue() : 0.0; }
};

// ---- strings ------------------------------------------------------------------------------------------

class ZTBASE_API CGenericStringRep : public GenericBody<CGenericStringRep, eGenericString> {
public:
    CGenericStringRep() noexcept = default;
    explicit CGenericStringRep(const CUniStr& text) noexcept : m_text(text) {}
    CGenericStringRep(const CGenericStringRep&) noexcept = default;
    ~CGenericStringRep() override;

    CBodyBase* Duplicate() const override;
    // The payload is a 32-bit byte count (twice the units) and the units.
    void operator<<(const CXFile& file) override;
    void operator>>(CXFile& file) const override;
    // The text in double quotes, each backslash and double quote preceded by a backslash; nothing else
    // (line breaks, control characters) is escaped.
    CUniStr GetString() const override;
    void AppendString(CUniStr& out) const override;
    CUniStr GetPrettyPrint(unsigned int options) const override;

    void SetVal(const CUniStr& text) { m_text = text; }
    const CUniStr& GetVal() const noexcept { return m_text; }
    operator CUniStr() const { return m_text; }
    operator const unsigned short*() const noexcept { return m_text; }

    bool SameEqual(const CGenericStringRep& o) const noexcept { return m_text == o.m_text; }
    bool SameLess(const CGenericStringRep& o) const { return m_text < o.m_text; }

private:
    CUniStr m_text;
};

// A null string reads as the empty text.
class ZTBASE_API CGenericString : public ZtGenericHandle<CGenericStringRep> {
public:
    CGenericString() noexcept = default;
    CGenericString(const CUniStr& text);
    CGenericString(const unsigned short* text);
    CGenericString(const char16_t* text) : CGenericString(CUniStr(text)) {}

    void SetVal(const CUniStr& text);
    operator CUniStr() const { return Text(); }
    operator const unsigned short*() const noexcept { return Text(); }

    // The order of the texts unit by unit.
    unsigned char operator==(const CGenericString& o) const noexcept { return Text() == o.Text(); }
    unsigned char operator!=(const CGenericString& o) const noexcept { return !(Text() == o.Text()); }
    unsigned char operator<(const CGenericString& o) const { return Text() < o.Text(); }
    unsigned char operator<=(const CGenericString& o) const { return Text() <= o.Text(); }
    unsigned char operator>(const CGenericString& o) const { return Text() > o.Text(); }
    unsigned char operator>=(const CGenericString& o) const { return Text() >= o.Text(); }

private:
    const CUniStr& Text() const noexcept;
};

// ---- variables ----------------------------------------------------------------------------------------

class ZTBASE_API CGenericVariableRep : public GenericBody<CGenericVariableRep, eGenericVariable> {
public:
    CGenericVariableRep() noexcept = default;
    explicit CGenericVariableRep(const CUniStr& name) noexcept : m_name(name) {}
    CGenericVariableRep(const CGenericVariableRep&) noexcept = default;
    ~CGenericVariableRep() override;

    CBodyBase* Duplicate() const override;
    // A variable has no binary form: storing writes the kind code alone (which loads back as the null
    // value) and loading reads nothing.
    void operator<<(const CXFile& file) override;
    void operator>>(CXFile& file) const override;
    // The name, unchanged (with its leading "_" when it has one).
    CUniStr GetString() const override;
    void AppendString(CUniStr& out) const override;
    CUniStr GetPrettyPrint(unsigned int options) const override;

    const CUniStr& GetName() const noexcept { return m_name; }
    void SetName(const CUniStr& name) { m_name = name; }

    bool SameEqual(const CGenericVariableRep& o) const noexcept { return m_name == o.m_name; }
    bool SameLess(const CGenericVariableRep& o) const { return m_name < o.m_name; }

private:
    CUniStr m_name;
};

class ZTBASE_API CGenericVariable : public ZtGenericHandle<CGenericVariableRep> {
public:
    CGenericVariable() noexcept = default;
    CGenericVariable(const CUniStr& name);
    CGenericVariable(const char16_t* name) : CGenericVariable(CUniStr(name)) {}

    // The empty name for a null variable.
    CUniStr GetName() const { return m_rep ? m_rep->GetName() : CUniStr(); }
    void SetName(const CUniStr& name);
};

}  // namespace ZtBase
