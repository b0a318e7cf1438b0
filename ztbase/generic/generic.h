// CGeneric: the dynamically typed value. A handle over a body derived from CGenericBodyBase whose class
// is the value's kind; each kind also has a typed handle (CSymbol, CGenericNumber, ...) over the same
// body, so a value moves between the typed and the untyped handle without copying.
//
// Equality never crosses kinds. The order is total: the null value first, then values of different
// kinds by a fixed order of kinds (KindOrder below), then each kind's own order.
#pragma once

#include <type_traits>

#include "ztbase/base/handle.h"
#include "ztbase/files/xfile.h"
#include "ztbase/platform/export.h"
#include "ztbase/strings/unistr.h"

namespace ZtBase {

// The kind codes; the same numbers open each value's binary form.
enum E_GenericTypes : int {
    eGenericNull = 0,  // the null value, or a bare body
    eGenericSymbol = 1,
    eGenericString = 2,
    eGenericNumber = 3,
    eGenericAssociation = 4,
    eGenericAssociationBundle = 5,
    eGenericSet = 6,
    eGenericList = 7,
    eGenericVariable = 8,
    eGenericTreeNode = 9,
    eGenericFile = 10,
    eGenericDag = 11,
    eGenericDagNode = 12,
    eGenericBlob = 13,
};

// Where a kind stands in the order between kinds (1 first): the byte-wise order of the body classes'
// names, fixed by this table whatever the compiler's type information says.
ZTBASE_API int KindOrder(E_GenericTypes kind) noexcept;

class CXFile;

class ZTBASE_API CGenericBodyBase : public CBodyBase {
public:
    CGenericBodyBase() noexcept = default;
    CGenericBodyBase(const CGenericBodyBase&) noexcept = default;
    ~CGenericBodyBase() override;

    // A bare body: every comparison throws 10002 "illegal comparison", reading, writing and printing
    // throw 10002 "illegal operation". Each kind overrides them all.
    CBodyBase* Duplicate() const override;
    virtual unsigned char operator==(const CGenericBodyBase& other) const;
    virtual unsigned char operator<(const CGenericBodyBase& other) const;
    virtual unsigned char operator<=(const CGenericBodyBase& other) const;
    virtual unsigned char operator>(const CGenericBodyBase& other) const;
    virtual unsigned char operator>=(const CGenericBodyBase& other) const;
    virtual unsigned char operator!=(const CGenericBodyBase& other) const;
    // Loads the body's binary payload (the kind code has been read already).
    virtual void operator<<(const CXFile& file);
    // Stores the kind code and the payload.
    virtual void operator>>(CXFile& file) const;
    virtual CUniStr GetString() const;
    virtual CUniStr GetPrettyPrint(unsigned int options) const;
    // Appends the GetString text to out, without a string of its own: values inside values write
    // straight into their container's text. The base appends GetString().
    virtual void AppendString(CUniStr& out) const;

    // The body's kind (how a body tells its kind is free: this virtual query answers it).
    virtual E_GenericTypes GetKind() const noexcept { return eGenericNull; }

    // Bodies are small and many: they come from the memory pools.
    static void* operator new(std::size_t size);
    static void operator delete(void* block) noexcept;
    static void* operator new(std::size_t size, const std::nothrow_t&) noexcept;
    static void operator delete(void* block, const std::nothrow_t&) noexcept;
};

template <class Rep>
class ZtGenericHandle;
template <class Rep>
Rep* BodyAs(const CGenericBodyBase* body) noexcept;

class ZTBASE_API CGeneric : public ZtCowHandle<CGenericBodyBase> {
public:
    CGeneric() noexcept = default;
    CGeneric(const CGeneric&) noexcept = default;
    CGeneric(CGeneric&&) noexcept = default;
    CGeneric& operator=(const CGeneric&) noexcept = default;
    CGeneric& operator=(CGeneric&&) noexcept = default;
    // Adopts a body made for it (the count goes to 1).
    explicit CGeneric(CGenericBodyBase* body) : ZtCowHandle(body) {}
    // A number.
    CGeneric(int value);
    CGeneric(unsigned int value);
    CGeneric(double value);
    // The value read from the text (null for text of white space and comments only).
    explicit CGeneric(const CUniStr& text);

    // Typed handles convert both ways, sharing the body.
    template <class Typed, class = decltype(std::declval<const Typed&>().GetRep()->GetKind())>
    CGeneric(const Typed& typed) noexcept : ZtCowHandle(typed.GetRep()) {}
    template <class Typed, class = decltype(std::declval<const Typed&>().GetRep()->GetKind())>
    CGeneric& operator=(const Typed& typed) noexcept {
        if (typed.GetRep() != m_rep) SetRepTo(typed.GetRep());
        return *this;
    }
    // A typed handle on the body when it is of that kind; a null handle otherwise (never an error). Every
    // typed handle (a ZtGenericHandle over its body class) converts this one way.
    template <class Typed, class Body = typename Typed::BodyType,
              class = std::enable_if_t<std::is_base_of_v<ZtGenericHandle<Body>, Typed>>>
    operator Typed() const {
        Typed typed;
        if (Body* body = BodyAs<Body>(m_rep)) typed.SetRepTo(body);
        return typed;
    }

    E_GenericTypes GetType() const noexcept { return m_rep ? m_rep->GetKind() : eGenericNull; }

    // One line; the empty string for the null value.
    CUniStr GetString() const;
    // Appends the same text to out (nothing for the null value).
    void AppendString(CUniStr& out) const {
        if (m_rep) m_rep->AppendString(out);
    }
    // Over several lines where the value is large; the empty string for the null value.
    CUniStr GetPrettyPrint(unsigned int options = 0) const;
    // Reads one value from the text (from position, leaving it just behind the value). The handle is
    // unchanged when the reader throws.
    void SetFromString(const CUniStr& text);
    void SetFromString(const CUniStr& text, unsigned int& position);
    static CGeneric CreateFromString(const CUniStr& text);
    // The tree of treebank text (tree_node.h has the grammar); several trees give a list of them, text
    // without a tree the null value. Malformed text raises 10003 and leaves the value as it was.
    void SetFromPennTreeString(const CUniStr& text);

    unsigned char operator==(const CGeneric& other) const;
    unsigned char operator!=(const CGeneric& other) const { return !(*this == other); }
    unsigned char operator<(const CGeneric& other) const;
    unsigned char operator<=(const CGeneric& other) const;
    unsigned char operator>(const CGeneric& other) const { return other < *this; }
    unsigned char operator>=(const CGeneric& other) const { return other <= *this; }

    // Stores the value (nothing for the null value).
    void operator>>(CXFile& file) const;
    // Loads one value: a kind code, then the kind's payload. Variables and tree nodes have no binary
    // form: their codes, and unknown codes, give the null value and nothing more is read.
    void operator<<(const CXFile& file);
};

// The body of a typed handle of kind Rep, or null when the value is of another kind.
template <class Rep>
Rep* BodyAs(const CGenericBodyBase* body) noexcept {
    return body && body->GetKind() == Rep::kKind ? static_cast<Rep*>(const_cast<CGenericBodyBase*>(body))
                                                 : nullptr;
}

// The handle part every typed handle shares: copy on write over its own body class, printing and the
// binary form. CGeneric converts from any of them.
template <class Rep>
class ZtGenericHandle : public ZtCowHandle<Rep> {
public:
    using ZtCowHandle<Rep>::ZtCowHandle;
    ZtGenericHandle() noexcept = default;
    explicit ZtGenericHandle(Rep* adopt) : ZtCowHandle<Rep>(adopt) {}

    CUniStr GetString() const { return this->m_rep ? this->m_rep->GetString() : CUniStr(); }
    CUniStr GetPrettyPrint(unsigned int options = 0) const {
        return this->m_rep ? this->m_rep->GetPrettyPrint(options) : CUniStr();
    }
    void AppendString(CUniStr& out) const {
        if (this->m_rep) this->m_rep->AppendString(out);
    }
    void operator>>(CXFile& file) const {
        if (this->m_rep) *this->m_rep >> file;
    }
    // Loads into this value's body; a null handle reads nothing (it does not make a body first).
    void operator<<(const CXFile& file) {
        if (!this->m_rep) return;
        this->Modify();
        *this->m_rep << file;
    }
};

}  // namespace ZtBase
