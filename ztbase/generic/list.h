// Lists: chains of pairs, each holding a first value (the car) and a rest (the cdr). The rest is normally
// another pair or null (the end); any other value makes a dotted end, written "(a . b)". The empty list is
// a null CGenericList (no pair at all), and a list of n values is n pairs, the last with a null rest.
//
// Long lists are ordinary: building, copying, comparing, printing, storing, loading and releasing walk
// along the chain of rests in a loop, so the length of a list never costs stack.
#pragma once

#include <atomic>
#include <cstddef>
#include <iterator>

#include "ztbase/generic/generic.h"
#include "ztbase/generic/generic_body.h"
#include "ztbase/platform/export.h"

namespace ZtBase {

class ZTBASE_API CGenericListRep : public GenericBody<CGenericListRep, eGenericList> {
public:
    CGenericListRep() noexcept = default;
    CGenericListRep(CGeneric car, CGeneric cdr) noexcept : m_car(std::move(car)), m_cdr(std::move(cdr)) {}
    CGenericListRep(const CGenericListRep&) = delete;
    CGenericListRep& operator=(const CGenericListRep&) = delete;
    // Releases the chain of rests pair by pair (and lists held as first values the same way).
    ~CGenericListRep() override;

    // A new pair sharing the same first value and rest (only this pair is new); depth 0.
    CBodyBase* Duplicate() const override;
    // Binary form: a 32-bit count word, then that many values (a null value is stored as the kind code 0,
    // which loads back as null). When bit 31 of the count word is set the list has a dotted end: its value
    // follows the elements. Loading replaces this pair's contents.
    void operator<<(const CXFile& file) override;
    void operator>>(CXFile& file) const override;
    // "(", the elements separated by a space, " . " and the rest before ")" for a dotted end; a null
    // element is written "()".
    void AppendString(CUniStr& out) const override;
    // The same tokens; a list whose one-line form reaches 50 characters or holds a line feed is written
    // with one element per line, each indented by four spaces more than the list (up to 20 levels).
    CUniStr GetPrettyPrint(unsigned int options) const override;

    virtual const CGeneric& GetCar() const { return m_car; }
    virtual const CGeneric& GetCdr() const { return m_cdr; }
    virtual const CGeneric& GetFirst() const { return m_car; }
    virtual const CGeneric& GetRest() const { return m_cdr; }
    virtual void SetCar(const CGeneric& value) { m_car = value; }
    virtual void SetCdr(const CGeneric& value) { m_cdr = value; }
    virtual void SetFirst(const CGeneric& value) { m_car = value; }
    virtual void SetRest(const CGeneric& value) { m_cdr = value; }
    // The depth counter is bookkeeping for callers walking nested lists, not part of the value: it is
    // changed in place (atomically) and takes no part in comparisons or copies.
    virtual unsigned int GetDepth() const;
    virtual unsigned int IncrementDepth();
    // Leaves 0 at 0.
    virtual unsigned int DecrementDepth();

    // Lexicographic: the first values decide, then the rests (a null rest sorts first). <=, >, >= use
    // the strict order on the first values and their own comparison on the last rests.
    bool SameEqual(const CGenericListRep& o) const;
    bool SameLess(const CGenericListRep& o) const;
    bool SameLessEqual(const CGenericListRep& o) const;
    bool SameGreater(const CGenericListRep& o) const;
    bool SameGreaterEqual(const CGenericListRep& o) const;

    // The pair the rest is, or null when the rest is not a pair.
    const CGenericListRep* NextPair() const noexcept { return BodyAs<CGenericListRep>(m_cdr.GetRep()); }

private:
    friend class CGenericList;
    static void ReleaseAlone(CGeneric node) noexcept;

    CGeneric m_car;
    CGeneric m_cdr;
    std::atomic<unsigned int> m_depth{0};
};

class ZTBASE_API CGenericList : public ZtGenericHandle<CGenericListRep> {
public:
    CGenericList() noexcept = default;
    CGenericList(const CGenericList&) noexcept = default;
    CGenericList(CGenericList&&) noexcept = default;
    CGenericList& operator=(const CGenericList&) noexcept = default;
    CGenericList& operator=(CGenericList&&) noexcept = default;
    virtual ~CGenericList();
    // Adopts a body made for it.
    explicit CGenericList(CGenericListRep* adopt) : ZtGenericHandle(adopt) {}
    // A new pair sharing the two values.
    CGenericList(const CGeneric& car, const CGeneric& cdr);
    // A new pair whose rest shares rest's pair (null when rest is empty).
    CGenericList(const CGeneric& car, const CGenericList& rest);

    // On the empty list: references to two process-wide null values that nothing changes.
    const CGeneric& GetCar() const;
    const CGeneric& GetCdr() const;
    const CGeneric& GetFirst() const { return GetCar(); }
    const CGeneric& GetRest() const { return GetCdr(); }
    // Copy on write, then replace (the empty list gets a pair of two nulls first).
    void SetCar(const CGeneric& value);
    void SetCdr(const CGeneric& value);
    void SetFirst(const CGeneric& value) { SetCar(value); }
    void SetRest(const CGeneric& value) { SetCdr(value); }

    // The pair's depth counter; on the empty list they do nothing and give 0.
    unsigned int GetDepth() const;
    virtual unsigned int IncrementDepth();
    virtual unsigned int DecrementDepth();

    // The number of pairs up to the first null element or the end; a dotted end is not counted.
    unsigned int GetLength() const;
    // The value at position n (from 0); null at or beyond the end, or past a dotted end.
    CGeneric GetNth(unsigned int n) const;
    // A new list of the same values in reverse order (a dotted end is dropped).
    CGenericList GetReverse() const;
    // Concatenation: the pairs of this list are copied, the argument's (taken as a list) are shared. An
    // argument that is not a list counts as the empty list, so the result is then a copy of this list; on
    // the empty list the result is the argument itself. A dotted end of this list is dropped.
    CGenericList Append(const CGeneric& tail) const;

    // Forward iteration over the first values of the pairs, dotted end excluded.
    class const_iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = CGeneric;
        using difference_type = std::ptrdiff_t;
        using pointer = const CGeneric*;
        using reference = const CGeneric&;

        const_iterator() noexcept = default;
        explicit const_iterator(const CGenericListRep* pair) noexcept : m_pair(pair) {}
        reference operator*() const noexcept { return m_pair->m_car; }
        pointer operator->() const noexcept { return &m_pair->m_car; }
        const_iterator& operator++() noexcept {
            m_pair = m_pair->NextPair();
            return *this;
        }
        const_iterator operator++(int) noexcept {
            const_iterator old = *this;
            ++*this;
            return old;
        }
        bool operator==(const const_iterator& o) const noexcept { return m_pair == o.m_pair; }
        bool operator!=(const const_iterator& o) const noexcept { return m_pair != o.m_pair; }

    private:
        const CGenericListRep* m_pair = nullptr;
    };
    const_iterator begin() const noexcept { return const_iterator(m_rep); }
    const_iterator end() const noexcept { return const_iterator(); }

    // The rules of CGeneric: the same pair (or both empty) is equal, the empty list sorts first.
    unsigned char operator==(const CGenericList& o) const;
    unsigned char operator!=(const CGenericList& o) const { return !(*this == o); }
    unsigned char operator<(const CGenericList& o) const;
    unsigned char operator<=(const CGenericList& o) const;
    unsigned char operator>(const CGenericList& o) const { return o < *this; }
    unsigned char operator>=(const CGenericList& o) const { return o <= *this; }
};

}  // namespace ZtBase
