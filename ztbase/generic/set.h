// CGenericSet: distinct generic values in ascending order (CGeneric's order: null first, then the order
// of kinds, then each kind's own order). Membership is equivalence under that order; equality of two
// sets compares their elements with ==.
#pragma once

#include <functional>

#include "ztbase/generic/generic.h"
#include "ztbase/generic/generic_body.h"
#include "ztbase/generic/red_black_tree.h"
#include "ztbase/generic/scalars.h"
#include "ztbase/platform/export.h"

namespace ZtBase {

// A set's tree node keeps its element's kind and, for a number, the number itself: comparing two
// numbers, or two values of different kinds, then needs no visit to the bodies. Everything else is
// asked of CGeneric::operator<, so the order is exactly that operator's.
template <>
struct ZtTreeKey<CGeneric, std::less<CGeneric>> {
    struct Cached {
        int kind;
        double number;
    };
    static Cached Make(const CGeneric& value) noexcept {
        const CGenericBodyBase* body = value.GetRep();
        if (!body) return {eGenericNull, 0.0};
        const E_GenericTypes kind = body->GetKind();
        if (kind == eGenericNumber) return {kind, static_cast<const CGenericNumberRep*>(body)->GetValue()};
        return {kind, 0.0};
    }
    static bool Less(const std::less<CGeneric>&, const CGeneric& a, const Cached& ka, const CGeneric& b,
                     const Cached& kb) {
        if (ka.kind == kb.kind) {
            if (ka.kind == eGenericNumber) return ka.number < kb.number;  // the number body's own order
        } else if (ka.kind != eGenericNull && kb.kind != eGenericNull) {
            return KindOrder(static_cast<E_GenericTypes>(ka.kind)) <
                   KindOrder(static_cast<E_GenericTypes>(kb.kind));
        }
        return a < b;
    }
};

class ZTBASE_API CGenericSetRep : public GenericBody<CGenericSetRep, eGenericSet> {
public:
    using Tree = RedBlackTree<CGeneric, std::less<CGeneric>>;
    using const_iterator = Tree::const_iterator;

    CGenericSetRep() noexcept = default;
    // Copies are rebuilt by inserting the elements in ascending order; the elements' bodies are shared.
    CGenericSetRep(const CGenericSetRep& other);
    CGenericSetRep& operator=(const CGenericSetRep& other);
    ~CGenericSetRep() override;

    CBodyBase* Duplicate() const override;
    // Reads a count and that many values, adding each to what the set holds already.
    void operator<<(const CXFile& file) override;
    // The kind code, the count, then each element's own record (a null element writes nothing).
    void operator>>(CXFile& file) const override;
    void AppendString(CUniStr& out) const override;
    CUniStr GetPrettyPrint(unsigned int options) const override;

    // An element equivalent to a present one is not inserted: the present one stays.
    void Add(const CGeneric& value) { m_tree.insert(value); }
    void Delete(const CGeneric& value) { m_tree.erase(value); }
    unsigned char HasElement(const CGeneric& value) const { return m_tree.contains(value) ? 1 : 0; }
    unsigned int GetLength() const noexcept { return m_tree.size(); }
    const_iterator begin() const noexcept { return m_tree.begin(); }
    const_iterator end() const noexcept { return m_tree.end(); }
    void MergeWith(const CGenericSetRep& other);
    // Safe when other is this very body.
    void SubtractDuplicates(const CGenericSetRep& other);

    const Tree& GetTree() const noexcept { return m_tree; }

    // Same-kind order. Elements pair up in ascending order; <= also holds when the other set runs out
    // first (a set whose elements extend the other's counts as <= it).
    bool SameEqual(const CGenericSetRep& o) const;
    bool SameLess(const CGenericSetRep& o) const;
    bool SameLessEqual(const CGenericSetRep& o) const;

private:
    Tree m_tree;
};

class ZTBASE_API CGenericSet : public ZtGenericHandle<CGenericSetRep> {
public:
    using const_iterator = CGenericSetRep::const_iterator;

    CGenericSet() noexcept = default;
    explicit CGenericSet(CGenericSetRep* adopt) : ZtGenericHandle(adopt) {}

    unsigned int GetLength() const noexcept { return m_rep ? m_rep->GetLength() : 0; }
    void Add(const CGeneric& value);
    void Delete(const CGeneric& value);
    unsigned char HasElement(const CGeneric& value) const { return m_rep ? m_rep->HasElement(value) : 0; }
    // A null argument changes nothing.
    void MergeWith(const CGenericSet& other);
    void MergeWith(const CGenericSetRep& other);
    void SubtractDuplicates(const CGenericSet& other);
    void SubtractDuplicates(const CGenericSetRep& other);
    // A null set iterates nothing (both iterators without node and tree).
    const_iterator begin() const noexcept { return m_rep ? m_rep->begin() : const_iterator(); }
    const_iterator end() const noexcept { return m_rep ? m_rep->end() : const_iterator(); }

    // "[]" for a null set.
    CUniStr GetPrettyPrint(unsigned int options = 0) const;

    // Same body (two null sets included) is equal; a null set equals no set with a body.
    unsigned char operator==(const CGenericSet& other) const;
    unsigned char operator!=(const CGenericSet& other) const { return !(*this == other); }
};

// A set with a new, empty body.
ZTBASE_API CGenericSet MakeSet();

}  // namespace ZtBase
