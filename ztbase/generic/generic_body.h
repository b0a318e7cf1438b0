// The comparison slots written once for every kind. A kind's body derives from GenericBody<Derived, Kind>
// and supplies its order within the kind:
//   bool SameEqual(const Derived&) const;  bool SameLess(const Derived&) const;
// and, where its order is not derived from those two in the usual way (IEEE numbers, the deliberate
// <= of sets and bundles), SameLessEqual / SameGreater / SameGreaterEqual. Against another kind, equality
// is false and the order is the order of kinds.
#pragma once

#include "ztbase/generic/generic.h"

namespace ZtBase {

template <class Derived, E_GenericTypes Kind>
class GenericBody : public CGenericBodyBase {
public:
    static constexpr E_GenericTypes kKind = Kind;

    E_GenericTypes GetKind() const noexcept final { return Kind; }

    // The one-line text, written by AppendString; a kind overrides one of the two (containers write
    // their text in place, scalars that hold it ready hand it over).
    CUniStr GetString() const override {
        CUniStr text;
        this->AppendString(text);
        return text;
    }

    unsigned char operator==(const CGenericBodyBase& other) const override {
        const Derived* o = Same(other);
        return o && Self().SameEqual(*o);
    }
    unsigned char operator!=(const CGenericBodyBase& other) const override { return !(*this == other); }
    unsigned char operator<(const CGenericBodyBase& other) const override {
        const Derived* o = Same(other);
        return o ? Self().SameLess(*o) : KindOrder(Kind) < KindOrder(other.GetKind());
    }
    unsigned char operator<=(const CGenericBodyBase& other) const override {
        const Derived* o = Same(other);
        return o ? Self().SameLessEqual(*o) : KindOrder(Kind) < KindOrder(other.GetKind());
    }
    unsigned char operator>(const CGenericBodyBase& other) const override {
        const Derived* o = Same(other);
        return o ? Self().SameGreater(*o) : KindOrder(Kind) > KindOrder(other.GetKind());
    }
    unsigned char operator>=(const CGenericBodyBase& other) const override {
        const Derived* o = Same(other);
        return o ? Self().SameGreaterEqual(*o) : KindOrder(Kind) > KindOrder(other.GetKind());
    }

    // The usual derivations; a kind replaces the ones its order defines otherwise.
    bool SameLessEqual(const Derived& o) const { return !o.SameLess(Self()); }
    bool SameGreater(const Derived& o) const { return o.SameLess(Self()); }
    bool SameGreaterEqual(const Derived& o) const { return o.SameLessEqual(Self()); }

protected:
    const Derived& Self() const noexcept { return static_cast<const Derived&>(*this); }
    static const Derived* Same(const CGenericBodyBase& other) noexcept {
        return other.GetKind() == Kind ? static_cast<const Derived*>(&other) : nullptr;
    }
};

// The frame of kinds that are in no order (blobs, DAGs, DAG nodes): every order comparison is false, against
// a body of any kind; equality stays the kind's own.
template <class Derived, E_GenericTypes Kind>
class UnorderedGenericBody : public GenericBody<Derived, Kind> {
public:
    unsigned char operator<(const CGenericBodyBase&) const override { return 0; }
    unsigned char operator<=(const CGenericBodyBase&) const override { return 0; }
    unsigned char operator>(const CGenericBodyBase&) const override { return 0; }
    unsigned char operator>=(const CGenericBodyBase&) const override { return 0; }
    bool SameLess(const Derived&) const noexcept { return false; }
};

}  // namespace ZtBase
