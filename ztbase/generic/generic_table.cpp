#include "ztbase/generic/generic_table.h"

#include <cmath>
#include <limits>

#include "ztbase/generic/scalars.h"
#include "ztbase/generic/symbol.h"

namespace ZtBase {

namespace {

// The value under column in row, or null.
CGeneric ValueIn(const CAssociationBundle& row, const CUniStr& column) {
    return row.GetValue(CSymbol(column));
}

int Truncated(double d) {
    if (std::isnan(d)) return 0;
    if (d >= static_cast<double>(std::numeric_limits<int>::max())) return std::numeric_limits<int>::max();
    if (d <= static_cast<double>(std::numeric_limits<int>::min())) return std::numeric_limits<int>::min();
    return static_cast<int>(d);
}

// The first row, in set order, for which match is true.
template <class Match>
CGenericRowInTable FirstRow(const CGenericSet& rows, Match&& match) {
    for (const CGeneric& element : rows) {
        const CGenericRowInTable row(element);
        if (!row.IsNull() && match(row)) return row;
    }
    return CGenericRowInTable();
}

// Whether the row's value under column is a string of exactly this text.
bool TextIs(const CGenericRowInTable& row, const CUniStr& column, const CUniStr& text) {
    const CGenericString value = ValueIn(row, column);
    return !value.IsNull() && static_cast<CUniStr>(value) == text;
}

}  // namespace

// ---- rows
// ---------------------------------------------------------------------------------------------------

CGenericRowInTable::CGenericRowInTable(const CGeneric& value) {
    *this = value;
}

CGenericRowInTable& CGenericRowInTable::operator=(const CGeneric& value) {
    const CAssociationBundle bundle = value;
    SetRepTo(bundle.GetRep());
    return *this;
}

int CGenericRowInTable::GetNumericValue(const CUniStr& column) const {
    const CGenericNumber number = ValueIn(*this, column);
    return number.IsNull() ? 0 : Truncated(static_cast<double>(number));
}

CUniStr CGenericRowInTable::GetStringValue(const CUniStr& column) const {
    const CGenericString text = ValueIn(*this, column);
    return text.IsNull() ? CUniStr() : static_cast<CUniStr>(text);
}

// ---- tables
// ---------------------------------------------------------------------------------------------------

CGenericTable::CGenericTable(const CGeneric& value) {
    *this = value;
}

CGenericTable& CGenericTable::operator=(const CGeneric& value) {
    const CGenericSet rows = value;
    SetRepTo(rows.GetRep());
    return *this;
}

void CGenericTable::AddColumn(const CUniStr& name) {
    for (const CUniStr& column : m_columns)
        if (column == name) return;
    m_columns.AddElement(name);
}

void CGenericTable::SetFromString(const CUniStr& text) {
    const CGeneric value = CGeneric::CreateFromString(text);
    if (value.GetType() != eGenericSet) return;
    *this = value;
    TakeColumnsFromRows();
}

void CGenericTable::TakeColumnsFromRows() {
    for (const CGeneric& element : *this) {
        const CAssociationBundle row = element;
        for (const auto& [key, value] : row) AddColumn(CUniStr(static_cast<const unsigned short*>(key)));
    }
}

CGenericRowInTable CGenericTable::operator[](unsigned int i) const {
    for (const CGeneric& element : *this)
        if (i-- == 0) return CGenericRowInTable(element);
    return CGenericRowInTable();
}

CGenericRowInTable CGenericTable::GetRowWhere(const CUniStr& column, int value) const {
    const CGenericNumber wanted(value);
    return FirstRow(*this, [&](const CGenericRowInTable& row) {
        const CGenericNumber number = ValueIn(row, column);
        return !number.IsNull() && number == wanted;
    });
}

CGenericRowInTable CGenericTable::GetRowWhere(const CUniStr& column, const CUniStr& value) const {
    return FirstRow(*this, [&](const CGenericRowInTable& row) { return TextIs(row, column, value); });
}

int CGenericTable::GetNumericValueInRowWhere(const CUniStr& column, const CUniStr& whereColumn,
                                             const CUniStr& whereValue) const {
    return GetRowWhere(whereColumn, whereValue).GetNumericValue(column);
}

void CGenericTable::SetNumericValueInRowWhere(const CUniStr& column, int value, const CUniStr& whereColumn,
                                              const CUniStr& whereValue) {
    CGenericRowInTable row = GetRowWhere(whereColumn, whereValue);
    if (row.IsNull()) return;
    Delete(row);
    row.Set(CSymbol(column), CGeneric(value));  // the row's body is copied first if the set still shares it
    Add(row);
}

}  // namespace ZtBase
