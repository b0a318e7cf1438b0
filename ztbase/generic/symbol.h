// Symbols: interned words. The body holds only the symbol's index in one process-wide table, so equality
// and order cost one integer comparison. Indexes follow the order in which texts were first interned in
// the process (not alphabetical order); index 0 is "*Invalid_Symbol*" and the first interned text gets 1.
//
// A text holding a unit of code 32 or below (space, tab, line break, any control character) cannot be
// interned: 10001 "Invalid symbol - \"<text>\" !". The empty text is a valid symbol.
#pragma once

#include "ztbase/generic/generic.h"
#include "ztbase/generic/generic_body.h"
#include "ztbase/platform/export.h"
#include "ztbase/strings/str.h"
#include "ztbase/strings/unistr.h"

namespace ZtBase {

namespace detail {
// The table behind every symbol, created on first use and never destroyed.
// Index of the text, interning it when it is new.
ZTBASE_API unsigned int InternSymbol(const unsigned short* text, unsigned int length);
// The same for 8-bit text, each byte widened to one unit.
ZTBASE_API unsigned int InternSymbol(const char* text, unsigned int length);
ZTBASE_API unsigned int InternSymbol(const char16_t* text, unsigned int length);
// The text of an index: the empty string for an index beyond the table. The pointer form stays valid
// for the life of the process.
ZTBASE_API CUniStr SymbolText(unsigned int index);
ZTBASE_API const unsigned short* SymbolTextPointer(unsigned int index);
// Appends the text of an index (nothing for an index beyond the table).
ZTBASE_API void AppendSymbolText(CUniStr& out, unsigned int index);
// The number of records in the table (record 0 included).
ZTBASE_API unsigned int SymbolTableSize();
}  // namespace detail

class ZTBASE_API CSymbolRep : public GenericBody<CSymbolRep, eGenericSymbol> {
public:
    CSymbolRep() noexcept = default;
    explicit CSymbolRep(unsigned int index) noexcept : m_index(index) {}
    CSymbolRep(const CSymbolRep&) noexcept = default;
    ~CSymbolRep() override;

    CBodyBase* Duplicate() const override;
    // The text is loaded and interned: the index belongs to the loading process.
    void operator<<(const CXFile& file) override;
    // The kind code, then the text (a 32-bit byte count and the units); the index is never written.
    void operator>>(CXFile& file) const override;
    CUniStr GetString() const override;
    void AppendString(CUniStr& out) const override;
    CUniStr GetPrettyPrint(unsigned int options) const override;

    operator unsigned int() const noexcept { return m_index; }
    operator CUniStr() const { return detail::SymbolText(m_index); }
    operator const unsigned short*() const { return detail::SymbolTextPointer(m_index); }
    unsigned int GetIndex() const noexcept { return m_index; }
    void SetIndex(unsigned int index) noexcept { m_index = index; }

    using GenericBody::operator==;
    using GenericBody::operator!=;
    using GenericBody::operator<;
    using GenericBody::operator<=;
    using GenericBody::operator>;
    using GenericBody::operator>=;
    unsigned char operator==(const CSymbolRep& o) const noexcept { return m_index == o.m_index; }
    unsigned char operator!=(const CSymbolRep& o) const noexcept { return m_index != o.m_index; }
    unsigned char operator<(const CSymbolRep& o) const noexcept { return m_index < o.m_index; }
    unsigned char operator<=(const CSymbolRep& o) const noexcept { return m_index <= o.m_index; }
    unsigned char operator>(const CSymbolRep& o) const noexcept { return m_index > o.m_index; }
    unsigned char operator>=(const CSymbolRep& o) const noexcept { return m_index >= o.m_index; }

    bool SameEqual(const CSymbolRep& o) const noexcept { return m_index == o.m_index; }
    bool SameLess(const CSymbolRep& o) const noexcept { return m_index < o.m_index; }

private:
    unsigned int m_index = 0;
};

class ZTBASE_API CSymbol : public ZtGenericHandle<CSymbolRep> {
public:
    CSymbol() noexcept = default;
    CSymbol(const CUniStr& text);
    CSymbol(const unsigned short* text);
    // The first length units of text (no terminator needed): a reader interns a word where it stands.
    CSymbol(const unsigned short* text, unsigned int length);
    CSymbol(const char16_t* text);
    // 8-bit text is widened byte by byte.
    CSymbol(const char* text);
    CSymbol(const CStr& text);
    // The index as it is, not checked against the table.
    CSymbol(unsigned int index);

    // The index; 0 for a null handle.
    operator unsigned int() const noexcept { return m_rep ? m_rep->GetIndex() : 0u; }
    // The text; the empty string for an index beyond the table.
    operator CUniStr() const { return detail::SymbolText(*this); }
    // The text held in the table, valid for the life of the process.
    operator const unsigned short*() const { return detail::SymbolTextPointer(*this); }

    unsigned char operator==(const CSymbol& o) const noexcept { return Index() == o.Index(); }
    unsigned char operator!=(const CSymbol& o) const noexcept { return Index() != o.Index(); }
    unsigned char operator<(const CSymbol& o) const noexcept { return Index() < o.Index(); }
    unsigned char operator<=(const CSymbol& o) const noexcept { return Index() <= o.Index(); }
    unsigned char operator>(const CSymbol& o) const noexcept { return Index() > o.Index(); }
    unsigned char operator>=(const CSymbol& o) const noexcept { return Index() >= o.Index(); }

    // Loads the text into this handle's body and interns it; a null handle reads nothing.
    using ZtGenericHandle::operator<<;
    using ZtGenericHandle::operator>>;

private:
    unsigned int Index() const noexcept { return m_rep ? m_rep->GetIndex() : 0u; }
};

// "True" and "False", made when the library is loaded.
ZTBASE_API extern CSymbol trueSymbol, falseSymbol;

}  // namespace ZtBase
