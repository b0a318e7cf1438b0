#include "ztbase/generic/unify.h"

#include "ztbase/generic/internal/generic_errors.h"
#include "ztbase/generic/list.h"

namespace ZtBase {

// ---- the result ------------------------------------------------------------------------------------------

detail::UnificationTable& CSingleUnificationResult::Table() {
    m_table.Modify();  // a table shared with a copy is copied first
    return *m_table.GetRep();
}

int CSingleUnificationResult::Find(const CUniStr& name) const {
    if (m_table.IsNull()) return -1;
    const auto& names = m_table.GetRep()->names;
    for (std::size_t i = 0; i < names.size(); ++i)
        if (names[i] == name) return static_cast<int>(i);
    return -1;
}

void CSingleUnificationResult::DefVariable(const CUniStr& name) {
    if (Find(name) >= 0) return;
    detail::UnificationTable& t = Table();
    t.names.push_back(name);
    t.levels.push_back(m_level);
    t.values.emplace_back();
}

void CSingleUnificationResult::BindVariable(const CUniStr& name, const CGeneric& value) {
    const int at = Find(name);
    if (at >= 0 && !m_table.GetRep()->values[static_cast<std::size_t>(at)].IsNull())
        detail::ThrowGeneric(kErrNotSupported, "Attempt to multiply bind a variable!", __LINE__);
    detail::UnificationTable& t = Table();
    if (at >= 0) {
        t.values[static_cast<std::size_t>(at)] = value;
        return;
    }
    t.names.push_back(name);
    t.levels.push_back(m_level);
    t.values.push_back(value);
}

unsigned char CSingleUnificationResult::IsVarDefined(const CUniStr& name) const {
    return Find(name) >= 0 ? 1 : 0;
}

unsigned char CSingleUnificationResult::IsVarBound(const CUniStr& name, CGeneric& value) const {
    const int at = Find(name);
    value = at >= 0 ? m_table.GetRep()->values[static_cast<std::size_t>(at)] : CGeneric();
    return at >= 0 ? 1 : 0;
}

void CSingleUnificationResult::ResetToLevel(int level) {
    m_level = level;
    if (m_table.IsNull()) return;
    detail::UnificationTable& t = Table();
    for (std::size_t i = 0; i < t.levels.size(); ++i)
        if (t.levels[i] >= level) t.values[i] = CGeneric();
}

int CSingleUnificationResult::GetVariableCount() const noexcept {
    return m_table.IsNull() ? 0 : static_cast<int>(m_table.GetRep()->names.size());
}

CUniStr CSingleUnificationResult::GetVariableNameIdx(int i) const {
    return i >= 0 && i < GetVariableCount() ? m_table.GetRep()->names[static_cast<std::size_t>(i)] : CUniStr();
}

CGeneric CSingleUnificationResult::GetVariableValueIdx(int i) const {
    return i >= 0 && i < GetVariableCount() ? m_table.GetRep()->values[static_cast<std::size_t>(i)] : CGeneric();
}

// ---- unification -------------------------------------------------------------------------------------------

namespace {

// The kinds unification knows besides variables: no body, symbol, string, number, association, bundle and
// list. Tree nodes, file values and later kinds only ever fail.
bool Unifiable(E_GenericTypes kind) {
    return kind <= eGenericAssociationBundle || kind == eGenericList;
}

class Unifier {
public:
    Unifier(CSingleUnificationResult& result, unsigned char subsume) : m_r(result), m_subsume(subsume) {}

    bool Unify(CGeneric a, CGeneric b) {
        // Lists are walked here pair by pair, so that long lists need no deeper stack.
        for (;;) {
            if (!Dereference(a) || !Dereference(b)) return false;
            const E_GenericTypes ka = a.GetType(), kb = b.GetType();
            if (ka == eGenericSet || kb == eGenericSet)
                detail::ThrowGeneric(kErrNotSupported, "Not supported", __LINE__);
            if (ka != eGenericList || kb != eGenericList) return Other(a, b, ka, kb);
            const CGenericList la = a, lb = b;
            if (!Unify(la.GetCar(), lb.GetCar())) return false;
            a = la.GetCdr();
            b = lb.GetCdr();
        }
    }

private:
    // Replaces a variable by its value while it has one. A variable bound to itself, directly or through
    // others, would make this endless: a chain longer than the table is such a loop, and fails.
    bool Dereference(CGeneric& value) const {
        for (int steps = 0; value.GetType() == eGenericVariable; ++steps) {
            CGeneric bound;
            if (!m_r.IsVarBound(static_cast<CGenericVariable>(value), bound)) return true;
            if (steps > m_r.GetVariableCount()) return false;
            value = bound;
        }
        return true;
    }

    bool Other(const CGeneric& a, const CGeneric& b, E_GenericTypes ka, E_GenericTypes kb) {
        if (ka == eGenericVariable) {
            if (kb != eGenericVariable && !Unifiable(kb)) return false;
            m_r.BindVariable(static_cast<CGenericVariable>(a), b);
            return true;
        }
        if (!Unifiable(ka)) return false;
        if (kb == eGenericVariable) {
            m_r.BindVariable(static_cast<CGenericVariable>(b), a);
            return true;
        }
        if (ka != kb) return false;
        switch (ka) {
            case eGenericNull:
                return true;
            case eGenericAssociation: {
                const CAssociation x = a, y = b;
                return x.GetKey() == y.GetKey() && Unify(x.GetValue(), y.GetValue());
            }
            case eGenericAssociationBundle:
                return m_subsume ? Subsumes(a, b) : SameFeatures(a, b);
            default:
                return a == b;  // symbols, strings and numbers
        }
    }

    // Both bundles in key order, in step: the same keys, values that unify (always without subsumption).
    bool SameFeatures(const CAssociationBundle& a, const CAssociationBundle& b) {
        auto x = a.begin(), y = b.begin();
        for (; x != a.end() && y != b.end(); ++x, ++y)
            if (x->first != y->first || !Unify(x->second, y->second)) return false;
        return x == a.end() && y == b.end();
    }

    // Every feature of a present in b with a value that unifies.
    bool Subsumes(const CAssociationBundle& a, const CAssociationBundle& b) {
        for (const auto& [key, value] : a) {
            const CGeneric other = b.GetValue(key);
            if (other.IsNull() || !Unify(value, other)) return false;
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
    for (const CGeneric& element : s) {
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
