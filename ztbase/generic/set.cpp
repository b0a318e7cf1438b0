#include "ztbase/generic/set.h"

#include <vector>

#include "ztbase/generic/internal/binary_io.h"
#include "ztbase/generic/internal/pretty.h"

namespace ZtBase {

// ---- the body -----------------------------------------------------------------------------------------

CGenericSetRep::CGenericSetRep(const CGenericSetRep& other) : GenericBody(), m_tree(other.m_tree) {}

CGenericSetRep& CGenericSetRep::operator=(const CGenericSetRep& other) {
    m_tree = other.m_tree;
    return *this;
}

CGenericSetRep::~CGenericSetRep() = default;

CBodyBase* CGenericSetRep::Duplicate() const {
    return new CGenericSetRep(*this);
}

void CGenericSetRep::MergeWith(const CGenericSetRep& other) {
    for (const CGeneric& value : other) m_tree.insert(value);
}

void CGenericSetRep::SubtractDuplicates(const CGenericSetRep& other) {
    for (const_iterator it = other.begin(); it != other.end();) {
        // Step past the element before it may go: other can be this very set.
        const CGeneric value = *it;
        ++it;
        m_tree.erase(value);
    }
}

bool CGenericSetRep::SameEqual(const CGenericSetRep& o) const {
    const_iterator a = begin(), b = o.begin();
    for (; a != end() && b != o.end(); ++a, ++b)
        if (!(*a == *b)) return false;
    return a == end() && b == o.end();
}

bool CGenericSetRep::SameLess(const CGenericSetRep& o) const {
    const_iterator a = begin(), b = o.begin();
    for (; a != end() && b != o.end(); ++a, ++b) {
        if (*a < *b) return true;
        if (*b < *a) return false;
    }
    return a == end() && b != o.end();
}

bool CGenericSetRep::SameLessEqual(const CGenericSetRep& o) const {
    const_iterator a = begin(), b = o.begin();
    for (; a != end() && b != o.end(); ++a, ++b) {
        if (*a < *b) return true;
        if (*b < *a) return false;
    }
    return true;  // whichever ran out first
}

void CGenericSetRep::operator>>(CXFile& file) const {
    detail::WriteU32(file, kKind);
    detail::WriteU32(file, GetLength());
    for (const CGeneric& value : *this) value >> file;
}

void CGenericSetRep::operator<<(const CXFile& file) {
    // Every element record begins with its 4-byte kind code.
    const unsigned int count = detail::ReadCount(file, 4);
    for (unsigned int i = 0; i < count; ++i) {
        CGeneric value;
        value << file;
        m_tree.insert(value);
    }
}

void CGenericSetRep::AppendString(CUniStr& out) const {
    out += static_cast<unsigned short>('[');
    bool first = true;
    for (const CGeneric& value : *this) {
        if (!first) out += static_cast<unsigned short>(',');
        first = false;
        value.AppendString(out);
    }
    out += static_cast<unsigned short>(']');
}

CUniStr CGenericSetRep::GetPrettyPrint(unsigned int options) const {
    std::vector<CUniStr> items;
    items.reserve(GetLength());
    for (const CGeneric& value : *this) items.push_back(value.GetPrettyPrint(options));
    return detail::PrettyLayout('[', ']', items);
}

// ---- the handle ---------------------------------------------------------------------------------------

void CGenericSet::Add(const CGeneric& value) {
    Modify();
    m_rep->Add(value);
}

void CGenericSet::Delete(const CGeneric& value) {
    Modify();
    m_rep->Delete(value);
}

void CGenericSet::MergeWith(const CGenericSet& other) {
    if (!other.m_rep) return;
    const CGenericSet keep(other);  // other's body outlives a Modify that lets go of it
    MergeWith(*keep.m_rep);
}

void CGenericSet::MergeWith(const CGenericSetRep& other) {
    Modify();
    m_rep->MergeWith(other);
}

void CGenericSet::SubtractDuplicates(const CGenericSet& other) {
    if (!other.m_rep) return;
    const CGenericSet keep(other);
    SubtractDuplicates(*keep.m_rep);
}

void CGenericSet::SubtractDuplicates(const CGenericSetRep& other) {
    Modify();
    m_rep->SubtractDuplicates(other);
}

CUniStr CGenericSet::GetPrettyPrint(unsigned int options) const {
    return m_rep ? m_rep->GetPrettyPrint(options) : CUniStr(u"[]");
}

unsigned char CGenericSet::operator==(const CGenericSet& other) const {
    if (m_rep == other.m_rep) return 1;
    if (!m_rep || !other.m_rep) return 0;
    return m_rep->operator==(*other.m_rep);
}

CGenericSet MakeSet() {
    return CGenericSet(new CGenericSetRep());
}

}  // namespace ZtBase
