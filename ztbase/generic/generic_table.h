// Generic tables: a small relational view over values. A table is a set of rows (CGenericTable derives
// from CGenericSet, so rows stay in the set's order and a row equal to another is kept once) and a list
// of column names; a row is an association bundle whose keys are the column names. Searches walk the rows
// in set order and take the first match; a row that is not found is an empty row (no body).
//
// Decisions where the documentation leaves them open:
// - SetFromString adds to the column list every key of every row that is not in it yet (rows in set order,
//   keys in each row's order); AddColumn of a name already in the list changes nothing.
// - A value that is missing, or of another kind than a search compares, never matches: the numeric search
//   skips values that are no numbers and the text search values that are no strings (symbols included).
//   GetNumericValue of such a value is 0 and GetStringValue the empty text.
// - Numbers are truncated towards zero to an int; NaN gives 0 and values beyond the int range its limits.
// - CGenericTable(CGeneric) of a value that is not a set is an empty table (no rows, no columns).
// Column names are symbols: a name that cannot be one (it holds a space) raises 10001, as bundles do.
#pragma once

#include "ztbase/base/arrays.h"
#include "ztbase/generic/association.h"
#include "ztbase/generic/set.h"
#include "ztbase/platform/export.h"

namespace ZtBase {

class ZTBASE_API CGenericRowInTable : public CAssociationBundle {
public:
    CGenericRowInTable() noexcept = default;
    // The value as an association bundle; a value of another kind gives an empty row.
    explicit CGenericRowInTable(const CGeneric& value);
    CGenericRowInTable& operator=(const CGeneric& value);

    int GetNumericValue(const CUniStr& column) const;
    CUniStr GetStringValue(const CUniStr& column) const;
};

class ZTBASE_API CGenericTable : public CGenericSet {
public:
    CGenericTable() noexcept = default;
    explicit CGenericTable(const CGeneric& value);
    CGenericTable& operator=(const CGeneric& value);

    void AddColumn(const CUniStr& name);
    const ZtArray<CUniStr>& GetColumns() const noexcept { return m_columns; }
    // Reads one value from the text; a set becomes the rows (anything else leaves the table as it was).
    void SetFromString(const CUniStr& text);

    // The i-th row in set order from 0; an empty row when i is not below the row count.
    CGenericRowInTable operator[](unsigned int i) const;
    CGenericRowInTable GetRowWhere(const CUniStr& column, int value) const;
    CGenericRowInTable GetRowWhere(const CUniStr& column, const CUniStr& value) const;
    // 0 when no row matches.
    int GetNumericValueInRowWhere(const CUniStr& column, const CUniStr& whereColumn,
                                  const CUniStr& whereValue) const;
    // Takes the row out of the set, sets the column to the number and adds the row again, where it takes its
    // new place (an equal row already there is kept instead). Nothing changes when no row matches.
    void SetNumericValueInRowWhere(const CUniStr& column, int value, const CUniStr& whereColumn,
                                   const CUniStr& whereValue);

private:
    void TakeColumnsFromRows();

    ZtArray<CUniStr> m_columns;
};

}  // namespace ZtBase
