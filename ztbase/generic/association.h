// Associations (a symbol key with a generic value, written "key=value") and association bundles (at
// most one value per symbol key, kept in key order: the order of the symbols' numbers, not of their
// texts).
#pragma once

#include <functional>
#include <utility>

#include "ztbase/generic/generic.h"
#include "ztbase/generic/generic_body.h"
#include "ztbase/generic/red_black_tree.h"
#include "ztbase/generic/symbol.h"
#include "ztbase/platform/export.h"

namespace ZtBase {

// The little of a map type that a bundle's tree needs: the pair it stores and the order of pairs by key.
// A key with no body (a null symbol) is never less than anything.
template <class K, class V, class Compare = std::less<K>>
struct ZtMap {
    using key_type = K;
    using mapped_type = V;
    using value_type = std::pair<K, V>;
    struct value_compare {
        bool operator()(const value_type& a, const value_type& b) const { return Less(a.first, b.first); }
        bool operator()(const K& a, const value_type& b) const { return Less(a, b.first); }
        bool operator()(const value_type& a, const K& b) const { return Less(a.first, b); }
        static bool Less(const K& a, const K& b) {
            if constexpr (requires { a.IsNull(); })
                if (a.IsNull() || b.IsNull()) return false;
            return Compare()(a, b);
        }
    };
};

using CAssociationMap = ZtMap<CSymbol, CGeneric, std::less<CSymbol>>;

// A bundle's tree node keeps its key's symbol number, so a descent compares plain integers.
template <>
struct ZtTreeKey<CAssociationMap::value_type, CAssociationMap::value_compare> {
    struct Cached {
        unsigned int index;
        bool present;
    };
    static Cached Make(const CSymbol& key) noexcept {
        return {static_cast<unsigned int>(key), !key.IsNull()};
    }
    static Cached Make(const CAssociationMap::value_type& pair) noexcept { return Make(pair.first); }
    template <class A, class B>
    static bool Less(const CAssociationMap::value_compare&, const A&, const Cached& ka, const B&,
                     const Cached& kb) {
        return ka.present && kb.present && ka.index < kb.index;
    }
};

// ---- associations -------------------------------------------------------------------------------------

class ZTBASE_API CAssociationRep : public GenericBody<CAssociationRep, eGenericAssociation> {
public:
    CAssociationRep() noexcept = default;
    CAssociationRep(const CSymbol& key, const CGeneric& value) : m_key(key), m_value(value) {}
    explicit CAssociationRep(const CSymbol& key) : m_key(key) {}
    CAssociationRep(const CAssociationRep& other)
        : GenericBody(), m_key(other.m_key), m_value(other.m_value) {}
    CAssociationRep& operator=(const CAssociationRep& other);
    ~CAssociationRep() override;

    CBodyBase* Duplicate() const override;
    // Two values: the key (converted to a symbol) and the value.
    void operator<<(const CXFile& file) override;
    // The kind code, the key's record and the value's record (a null one writes nothing).
    void operator>>(CXFile& file) const override;
    // key=value
    void AppendString(CUniStr& out) const override;
    // key=value; a value that is long or spans lines is indented by four spaces, right after the "=".
    CUniStr GetPrettyPrint(unsigned int options) const override;

    const CSymbol& GetKey() const noexcept { return m_key; }
    const CGeneric& GetValue() const noexcept { return m_value; }
    void SetKey(const CSymbol& key) { m_key = key; }
    void SetValue(const CGeneric& value) { m_value = value; }

    // Keys present on both sides decide by their numbers; otherwise the values decide.
    bool SameEqual(const CAssociationRep& o) const;
    bool SameLess(const CAssociationRep& o) const;
    bool SameLessEqual(const CAssociationRep& o) const;
    bool SameGreater(const CAssociationRep& o) const;
    bool SameGreaterEqual(const CAssociationRep& o) const;

private:
    CSymbol m_key;
    CGeneric m_value;
};

class ZTBASE_API CAssociation : public ZtGenericHandle<CAssociationRep> {
public:
    CAssociation() noexcept = default;
    explicit CAssociation(CAssociationRep* adopt) : ZtGenericHandle(adopt) {}
    CAssociation(const CSymbol& key, const CGeneric& value);
    explicit CAssociation(const CSymbol& key);
    CAssociation(const CUniStr& key, const CGeneric& value);
    explicit CAssociation(const CUniStr& key);

    // On a null handle: a reference to one process-wide null symbol (null value), reset on every call.
    const CSymbol& GetKey() const;
    const CGeneric& GetValue() const;
    void SetKey(const CSymbol& key);
    void SetValue(const CGeneric& value);

    // -1 when both keys are present and this one's number is smaller; 0 for the same key body or equal
    // numbers; 1 otherwise, including whenever either key is null (so a null key gives 1 both ways).
    int CompareKeys(const CAssociation& other) const;

    unsigned char operator==(const CAssociation& other) const;
    unsigned char operator!=(const CAssociation& other) const { return !(*this == other); }
};

// The text of an association, key=value, appended to out, and its pretty form (shared with the bundle).
void AppendAssociation(CUniStr& out, const CSymbol& key, const CGeneric& value);
CUniStr AssociationPrettyText(const CUniStr& key, const CGeneric& value, unsigned int options);

// ---- association bundles ------------------------------------------------------------------------------

class ZTBASE_API CAssociationBundleRep
    : public GenericBody<CAssociationBundleRep, eGenericAssociationBundle> {
public:
    using Tree = RedBlackTree<CAssociationMap::value_type, CAssociationMap::value_compare>;
    using const_iterator = Tree::const_iterator;

    CAssociationBundleRep() noexcept = default;
    // Copies take the pairs by insertion; the values are shared, not copied.
    CAssociationBundleRep(const CAssociationBundleRep& other);
    CAssociationBundleRep& operator=(const CAssociationBundleRep& other);
    ~CAssociationBundleRep() override;

    CBodyBase* Duplicate() const override;
    // A count, then that many key and value records; a key read again replaces the earlier pair.
    void operator<<(const CXFile& file) override;
    void operator>>(CXFile& file) const override;
    // {a=1,b=2} in key order.
    void AppendString(CUniStr& out) const override;
    // Bit 0 of options set: the pairs in alphabetical order of the keys' texts; clear: in key order.
    CUniStr GetPrettyPrint(unsigned int options) const override;

    // The new value replaces any value the key had. A null key is ignored (the pair is not added).
    void Set(const CAssociation& association);
    void Set(const CSymbol& key, const CGeneric& value);
    // The key present with no value.
    void Set(const CSymbol& key);
    void DeleteKey(const CSymbol& key) { m_tree.erase(key); }
    unsigned char HasKey(const CSymbol& key) const { return m_tree.contains(key) ? 1 : 0; }
    // The stored value, or null when the key is absent.
    CGeneric GetValue(const CSymbol& key) const;
    CGeneric GetValue(const CUniStr& key) const;
    CGeneric GetValue(const unsigned short* key) const;
    CGeneric GetValue(const char* key) const;
    unsigned int GetLength() const noexcept { return m_tree.size(); }
    const_iterator begin() const noexcept { return m_tree.begin(); }
    const_iterator end() const noexcept { return m_tree.end(); }
    // Adds the other's pairs whose keys this bundle lacks; its own values are kept.
    void MergeWith(const CAssociationBundleRep& other);
    // Removes every key the other has, whatever the values; safe when other is this very body.
    void SubtractDuplicates(const CAssociationBundleRep& other);

    const Tree& GetTree() const noexcept { return m_tree; }

    bool SameEqual(const CAssociationBundleRep& o) const;
    bool SameLess(const CAssociationBundleRep& o) const;
    // As SameLess, except that running out together, or the other running out first, gives true.
    bool SameLessEqual(const CAssociationBundleRep& o) const;

private:
    Tree m_tree;
};

class ZTBASE_API CAssociationBundle : public ZtGenericHandle<CAssociationBundleRep> {
public:
    using const_iterator = CAssociationBundleRep::const_iterator;

    CAssociationBundle() noexcept = default;
    explicit CAssociationBundle(CAssociationBundleRep* adopt) : ZtGenericHandle(adopt) {}

    unsigned int GetLength() const noexcept { return m_rep ? m_rep->GetLength() : 0; }
    void Set(const CAssociation& association);
    void Set(const CSymbol& key, const CGeneric& value);
    void Set(const CSymbol& key);
    // Gives a null bundle an empty body first.
    void DeleteKey(const CSymbol& key);
    unsigned char HasKey(const CSymbol& key) const { return m_rep ? m_rep->HasKey(key) : 0; }
    // Null for an absent key or a null bundle (no body is made).
    CGeneric GetValue(const CSymbol& key) const { return m_rep ? m_rep->GetValue(key) : CGeneric(); }
    CGeneric GetValue(const CUniStr& key) const { return m_rep ? m_rep->GetValue(key) : CGeneric(); }
    CGeneric GetValue(const unsigned short* key) const { return m_rep ? m_rep->GetValue(key) : CGeneric(); }
    CGeneric GetValue(const char* key) const { return m_rep ? m_rep->GetValue(key) : CGeneric(); }
    // Makes this bundle's body private first, even for a null argument.
    void MergeWith(const CAssociationBundle& other);
    // A null argument changes nothing.
    void SubtractDuplicates(const CAssociationBundle& other);
    void SubtractDuplicates(const CAssociationBundleRep& other);
    const_iterator begin() const noexcept { return m_rep ? m_rep->begin() : const_iterator(); }
    const_iterator end() const noexcept { return m_rep ? m_rep->end() : const_iterator(); }

    // A null bundle is less than any bundle with a body; > and >= are the negations of <= and <.
    unsigned char operator==(const CGeneric& other) const;
    unsigned char operator!=(const CGeneric& other) const;
    unsigned char operator<(const CGeneric& other) const;
    unsigned char operator<=(const CGeneric& other) const;
    unsigned char operator>(const CGeneric& other) const { return !(*this <= other); }
    unsigned char operator>=(const CGeneric& other) const { return !(*this < other); }
};

// A bundle with a new, empty body.
ZTBASE_API CAssociationBundle MakeAssociationBundle();

}  // namespace ZtBase
