#include "ztbase/generic/unify.h"

#include "ztbase/generic/internal/generic_errors.h"
#include "ztbase/generic/list.h"

namespace ZtBase {

// ---- the result ------------------------------------------------------------------------------------------

detail::UnificationTable& CSingleUnificationResult::Table() {
    if (m_table.IsNull()) {
        m_table.SetRepTo(new detail::UnificationTable);
        m_table.GetRep()->rows.reserve(4);
    }
    m_table.Modify();  // a table shared with a copy is copied first
    return *m_table.GetRep();
}

int CSingleUnificationResult::Find(const CUniStr& name) const {
    if (m_table.IsNull()) return -1;
    const auto& rows = m_table.GetRep()->rows;
    for (std::size_t i = 0; i < rows.size(); ++i)
        if (rows[i].name == name) return static_cast<int>(i);
    return -1;
}

const CGeneric* CSingleUnificationResult::Lookup(const CUniStr& name) const {
    const int at = Find(name);
    return at >= 0 ? &m_table.GetRep()->rows[static_cast<std::size_t>(at)].value : nullptr;
}

void CSingleUnificationResult::DefVariable(const CUniStr& name) {
    if (Find(name) >= 0) return;
    Table().rows.push_back({name, m_level, CGeneric()});
}

void CSingleUnificationResult::BindVariable(const CUniStr& name, const CGeneric& value) {
    const int at = Find(name);
    if (at >= 0 && !m_table.GetRep()->rows[static_cast<std::size_t>(at)].value.IsNull())
        detail::ThrowGeneric(kErrNotSupported, "Attempt to multiply bind a variable!", __LINE__);
    detail::UnificationTable& t = Table();
    if (at >= 0)
        t.rows[static_cast<std::size_t>(at)].value = value;
    else
        t.rows.push_back({name, m_level, value});
}

unsigned char CSingleUnificationResult::IsVarDefined(const CUniStr& name) const {
    return Find(name) >= 0 ? 1 : 0;
}

unsigned char CSingleUnificationResult::IsVarBound(const CUniStr& name, CGeneric& value) const {
    const CGeneric* stored = Lookup(name);
    value = stored ? *stored : CGeneric();
    return stored ? 1 : 0;
}

void CSingleUnificationResult::ResetToLevel(int level) {
    m_level = level;
    if (m_table.IsNull()) return;
    for (auto& row : Table().rows)
        if (row.level >= level) row.value = CGeneric();
}

int CSingleUnificationResult::GetVariableCount() const noexcept {
    return m_table.IsNull() ? 0 : static_cast<int>(m_table.GetRep()->rows.size());
}

CUniStr CSingleUnificationResult::GetVariableNameIdx(int i) const {
    return i >= 0 && i < GetVariableCount() ? m_table.GetRep()->rows[static_cast<std::size_t>(i)].name
                                            : CUniStr();
}

CGeneric CSingleUnificationResult::GetVariableValueIdx(int i) const {
    return i >= 0 && i < GetVariableCount() ? m_table.GetRep()->rows[static_cast<std::size_t>(i)].value
                                            : CGeneric();
}

// The unifier reads stored values in place, without copying handles.
class UnifierAccess {
public:
    static const CGeneric* Lookup(const CSingleUnificationResult& r, const CUniStr& name) {
        return r.Lookup(name);
    }
};

// ---- unification
// -------------------------------------------------------------------------------------------

namespace {

// The kinds unification knows besides variables: no body, symbol, string, number, association, bundle and
// list. Tree nodes, file values and later kinds only ever fail.
bool Unifiable(E_GenericTypes kind) {
    return kind <= eGenericAssociationBundle || kind == eGenericList;
}

// The values are visited through their bodies, so that matching a pattern against many values copies no
// handle (every copy is an interlocked count) until a variable is bound.
class Unifier {
public:
    Unifier(CSingleUnificationResult& result, unsigned char subsume) : m_r(result), m_subsume(subsume) {}

    bool Unify(const CGeneric& first, const CGeneric& second) {
        CGeneric heldA, heldB;  // a value taken from the table, kept while it is looked at
        const CGeneric* a = &first;
        const CGeneric* b = &second;
        // Lists are walked here pair by pair, so that long lists need no deeper stack.
        for (;;) {
            if (!Dereference(a, heldA) || !Dereference(b, heldB)) return false;
            const E_GenericTypes ka = a->GetType(), kb = b->GetType();
            if (ka == eGenericSet || kb == eGenericSet)
                detail::ThrowGeneric(kErrNotSupported, "Not supported", __LINE__);
            if (ka != eGenericList || kb != eGenericList) return Other(*a, *b, ka, kb);
            const auto* la = static_cast<const CGenericListRep*>(a->GetRep());
            const auto* lb = static_cast<const CGenericListRep*>(b->GetRep());
            if (!Unify(la->GetCar(), lb->GetCar())) return false;
            a = &la->GetCdr();
            b = &lb->GetCdr();
        }
    }

private:
    // Follows a variable to its value while it has one. The table may change while the value is in use,
    // so the value is copied into held. A variable bound to itself, directly or through others, would make
    // this endless: a chain longer than the table is such a loop, and fails.
    bool Dereference(const CGeneric*& value, CGeneric& held) const {
        for (int steps = 0; value->GetType() == eGenericVariable; ++steps) {
            const auto* variable = static_cast<const CGenericVariableRep*>(value->GetRep());
            const CGeneric* bound = UnifierAccess::Lookup(m_r, variable->GetName());
            if (!bound) return true;
            if (steps > m_r.GetVariableCount()) return false;
            held = *bound;
            value = &held;
        }
        return true;
    }

    static const CUniStr& NameOf(const CGeneric& variable) {
        return static_cast<const CGenericVariableRep*>(variable.GetRep())->GetName();
    }

    bool Other(const CGeneric& a, const CGeneric& b, E_GenericTypes ka, E_GenericTypes kb) {
        if (ka == eGenericVariable) {
            if (kb != eGenericVariable && !Unifiable(kb)) return false;
            m_r.BindVariable(CUniStr(NameOf(a)), b);
            return true;
        }
        if (!Unifiable(ka)) return false;
        if (kb == eGenericVariable) {
            m_r.BindVariable(CUniStr(NameOf(b)), a);
            return true;
        }
        if (ka != kb) return false;
        switch (ka) {
            case eGenericNull:
                return true;
            case eGenericAssociation: {
                const auto* x = static_cast<const CAssociationRep*>(a.GetRep());
                const auto* y = static_cast<const CAssociationRep*>(b.GetRep());
                return x->GetKey() == y->GetKey() && Unify(x->GetValue(), y->GetValue());
            }
            case eGenericAssociationBundle: {
                const auto& x = static_cast<const CAssociationBundleRep*>(a.GetRep())->GetTree();
                const auto& y = static_cast<const CAssociationBundleRep*>(b.GetRep())->GetTree();
                return m_subsume ? Subsumes(x, y) : SameFeatures(x, y);
            }
            default:
                return a == b;  // symbols, strings and numbers
        }
    }

    using Tree = CAssociationBundleRep::Tree;

    // Both bundles in key order, in step: the same keys, values that unify (always without subsumption).
    bool SameFeatures(const Tree& a, const Tree& b) {
        auto x = a.begin(), y = b.begin();
        for (; x != a.end() && y != b.end(); ++x, ++y)
            if (x->first != y->first || !Unify(x->second, y->second)) return false;
        return x == a.end() && y == b.end();
    }

    // Every feature of a present in b with a value that unifies.
    bool Subsumes(const Tree& a, const Tree& b) {
        for (const auto& [key, value] : a) {
            const auto other = b.find(key);
            if (other == b.end() || other->second.IsNull() || !Unify(value, other->second)) return false;
        }
        return true;
    }

    CSingleUnificationResult& m_r;
    unsigned char m_subsume;
};

}  // namespace

unsigned char UnifySimple(const CGeneric& a, const CGeneric& b, CSingleUnificationResult& result,
                          unsigned char subsume) {
    return Unifier(result, subsume).Unify(a, b) ? 1 : 0;
}

unsigned char TestSetMembership(CGeneric x, CGenericSet s, ZtArray<CSingleUnificationResult>& results,
                                unsigned char subsume) {
    if (x.IsNull() && subsume) return 1;
    bool any = false;
    for (auto it = s.begin(), end = s.end(); it != end;) {
        const CGeneric& element = *it;
        // The next element's body is fetched while this one is matched: walking a large set is bound by
        // memory, not by the comparisons.
        if (++it != end && it->GetRep()) __builtin_prefetch(it->GetRep());
        CSingleUnificationResult r;
        if (UnifySimple(x, element, r, subsume)) {
            results.AddElement(r);
            any = true;
        }
    }
    return any ? 1 : 0;
}

unsigned char GetSetOfAssociationBundleIntersection(CAssociationBundle b, CGenericSet s1, CGenericSet s2,
                                                    CGenericSet& out) {
    bool any = false;
    for (const CGeneric& e1 : s1) {
        CSingleUnificationResult r;
        if (!UnifySimple(b, e1, r, 1)) continue;
        for (const CGeneric& e2 : s2) {
            if (UnifySimple(b, e2, r, 1)) {
                out.Add(e1);
                any = true;
            }
        }
    }
    return any ? 1 : 0;
}

}  // namespace ZtBase
