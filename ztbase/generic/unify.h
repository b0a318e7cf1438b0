// Unification: matching two values that may hold variables, recording the bindings that make them equal.
// Association bundles are feature structures, lists match element by element, atoms (symbols, strings,
// numbers) by equality. The bindings live in a CSingleUnificationResult: named variables, each with the
// level at which it entered the table and its value (null: defined but not bound).
#pragma once

#include "ztbase/base/arrays.h"
#include "ztbase/base/handle.h"
#include "ztbase/generic/association.h"
#include "ztbase/generic/generic.h"
#include "ztbase/generic/scalars.h"
#include "ztbase/generic/set.h"
#include "ztbase/platform/export.h"

namespace ZtBase {

namespace detail {
// The table of a result (its columns as one array of rows), shared between copies until one changes.
struct UnificationTable : CBodyBase {
    struct Row {
        CUniStr name;
        int level;
        CGeneric value;
    };
    std::vector<Row> rows;
    UnificationTable() = default;
    UnificationTable(const UnificationTable& other) : CBodyBase(), rows(other.rows) {}
    CBodyBase* Duplicate() const override { return new (std::nothrow) UnificationTable(*this); }
};
}  // namespace detail

class ZTBASE_API CSingleUnificationResult {
public:
    CSingleUnificationResult() = default;

    // Appends the name with the current level and no value; a name already there is left as it is.
    void DefVariable(const CUniStr& name);
    void DefVariable(const CGenericVariable& variable) { DefVariable(variable.GetName()); }
    // Gives the name its value (appending it when absent). A name that has a value already raises 10004
    // "Attempt to multiply bind a variable!".
    void BindVariable(const CUniStr& name, const CGeneric& value);
    void BindVariable(const CGenericVariable& variable, const CGeneric& value) {
        BindVariable(variable.GetName(), value);
    }
    unsigned char IsVarDefined(const CUniStr& name) const;
    unsigned char IsVarDefined(const CGenericVariable& variable) const {
        return IsVarDefined(variable.GetName());
    }
    // True when the name is in the table, even when its value is null (deliberately: bound here means
    // present); value receives the stored value, or null when the name is absent.
    unsigned char IsVarBound(const CUniStr& name, CGeneric& value) const;
    unsigned char IsVarBound(const CGenericVariable& variable, CGeneric& value) const {
        return IsVarBound(variable.GetName(), value);
    }

    int GetCurrentLevel() const noexcept { return m_level; }
    int IncrementLevel() noexcept { return ++m_level; }
    // The current level becomes level; every variable that entered at level or later loses its value
    // (its name and level stay).
    void ResetToLevel(int level);

    int GetVariableCount() const noexcept;
    // The name or value at i; empty (null) when i is out of range.
    CUniStr GetVariableNameIdx(int i) const;
    CGeneric GetVariableValueIdx(int i) const;

private:
    friend class UnifierAccess;
    int Find(const CUniStr& name) const;
    // The value stored for name, or nullptr when the name is absent (valid until the table changes).
    const CGeneric* Lookup(const CUniStr& name) const;
    detail::UnificationTable& Table();

    ZtCowHandle<detail::UnificationTable> m_table;
    int m_level = 0;
};

// True when a and b unify; the bindings are added to result, also those made before a failure. subsume
// zero asks for equal feature structures; non-zero lets a's bundles subsume b's (features of b that a lacks
// are ignored). A set on either side raises 10004 "Not supported". A variable bound, through its chain,
// to itself (which the documented algorithm never leaves) makes the unification fail instead of loop.
ZTBASE_API unsigned char UnifySimple(const CGeneric& a, const CGeneric& b, CSingleUnificationResult& result,
                                     unsigned char subsume);

// Unifies x with every element of s in ascending order, each with a fresh result, and appends the results
// of the elements that unified. A null x with subsume non-zero is true at once and appends nothing.
ZTBASE_API unsigned char TestSetMembership(CGeneric x, CGenericSet s,
                                           ZtArray<CSingleUnificationResult>& results, unsigned char subsume);

// Inserts into out every element e1 of s1 that b subsumes such that b, with the same bindings, also
// subsumes some element of s2 (one result per e1, kept across the elements of s2). out is not cleared.
ZTBASE_API unsigned char GetSetOfAssociationBundleIntersection(CAssociationBundle b, CGenericSet s1,
                                                               CGenericSet s2, CGenericSet& out);

}  // namespace ZtBase
