#include "ztbase/generic/association.h"

#include <algorithm>
#include <vector>

#include "ztbase/generic/internal/binary_io.h"
#include "ztbase/generic/internal/pretty.h"

namespace ZtBase {

namespace {
constexpr unsigned short kLineFeed = 10;

// Same key body, or both present with the same number; a null key matches only a null key.
bool KeysMatch(const CSymbol& a, const CSymbol& b) {
    if (a.GetRep() == b.GetRep()) return true;
    return !a.IsNull() && !b.IsNull() && static_cast<unsigned int>(a) == static_cast<unsigned int>(b);
}

// -1 / 1 when both keys are present and their numbers differ; 0 otherwise (the values then decide).
int KeyOrder(const CSymbol& a, const CSymbol& b) {
    if (a.IsNull() || b.IsNull()) return 0;
    const unsigned int x = a, y = b;
    return x < y ? -1 : (y < x ? 1 : 0);
}

// Four spaces before the text and after every line feed in it, except one that ends it, up to the
// deepest indentation.
CUniStr Indented(const CUniStr& text) {
    CUniStr out(u"    ");
    const unsigned n = text.Length();
    for (unsigned i = 0; i < n; ++i) {
        const unsigned short c = text[i];
        out += c;
        if (c == kLineFeed && i + 1 < n && !detail::FullyIndented(text, i + 1)) out += u"    ";
    }
    return out;
}

}  // namespace

void AppendAssociation(CUniStr& out, const CSymbol& key, const CGeneric& value) {
    key.AppendString(out);
    out += static_cast<unsigned short>('=');
    value.AppendString(out);
}

CUniStr AssociationPrettyText(const CUniStr& key, const CGeneric& value, unsigned int options) {
    CUniStr text(key);
    text += static_cast<unsigned short>('=');
    const CUniStr shown = value.GetPrettyPrint(options);
    // No line break after "=": an indented value follows it directly.
    if (text.Length() + shown.Length() > 50 || detail::HasLineFeed(shown))
        text += Indented(shown);
    else
        text += shown;
    return text;
}

// ---- the association body -----------------------------------------------------------------------------

CAssociationRep& CAssociationRep::operator=(const CAssociationRep& other) {
    m_key = other.m_key;
    m_value = other.m_value;
    return *this;
}

CAssociationRep::~CAssociationRep() = default;

CBodyBase* CAssociationRep::Duplicate() const {
    return new CAssociationRep(*this);
}

void CAssociationRep::operator<<(const CXFile& file) {
    CGeneric key, value;
    key << file;
    value << file;
    m_key = static_cast<CSymbol>(key);
    m_value = value;
}

void CAssociationRep::operator>>(CXFile& file) const {
    detail::WriteU32(file, kKind);
    m_key >> file;
    m_value >> file;
}

void CAssociationRep::AppendString(CUniStr& out) const {
    AppendAssociation(out, m_key, m_value);
}

CUniStr CAssociationRep::GetPrettyPrint(unsigned int options) const {
    return AssociationPrettyText(m_key.GetString(), m_value, options);
}

bool CAssociationRep::SameEqual(const CAssociationRep& o) const {
    return KeysMatch(m_key, o.m_key) && m_value == o.m_value;
}
bool CAssociationRep::SameLess(const CAssociationRep& o) const {
    const int k = KeyOrder(m_key, o.m_key);
    return k ? k < 0 : m_value < o.m_value;
}
bool CAssociationRep::SameLessEqual(const CAssociationRep& o) const {
    const int k = KeyOrder(m_key, o.m_key);
    return k ? k < 0 : m_value <= o.m_value;
}
bool CAssociationRep::SameGreater(const CAssociationRep& o) const {
    const int k = KeyOrder(m_key, o.m_key);
    return k ? k > 0 : m_value > o.m_value;
}
bool CAssociationRep::SameGreaterEqual(const CAssociationRep& o) const {
    const int k = KeyOrder(m_key, o.m_key);
    return k ? k > 0 : m_value >= o.m_value;
}

// ---- the association handle ---------------------------------------------------------------------------

CAssociation::CAssociation(const CSymbol& key, const CGeneric& value)
    : ZtGenericHandle(new CAssociationRep(key, value)) {}
CAssociation::CAssociation(const CSymbol& key) : ZtGenericHandle(new CAssociationRep(key)) {}
CAssociation::CAssociation(const CUniStr& key, const CGeneric& value) : CAssociation(CSymbol(key), value) {}
CAssociation::CAssociation(const CUniStr& key) : CAssociation(CSymbol(key)) {}

const CSymbol& CAssociation::GetKey() const {
    if (m_rep) return m_rep->GetKey();
    static CSymbol nullKey;
    nullKey.Release();
    return nullKey;
}

const CGeneric& CAssociation::GetValue() const {
    if (m_rep) return m_rep->GetValue();
    static CGeneric nullValue;
    nullValue.Release();
    return nullValue;
}

void CAssociation::SetKey(const CSymbol& key) {
    Modify();
    if (!m_rep) throw CMemoryError();
    m_rep->SetKey(key);
}

void CAssociation::SetValue(const CGeneric& value) {
    Modify();
    if (!m_rep) throw CMemoryError();
    m_rep->SetValue(value);
}

int CAssociation::CompareKeys(const CAssociation& other) const {
    const CSymbol& a = GetKey();
    const CSymbol& b = other.GetKey();
    if (a.GetRep() == b.GetRep()) return 0;
    if (a.IsNull() || b.IsNull()) return 1;
    const unsigned int x = a, y = b;
    if (x < y) return -1;
    return x == y ? 0 : 1;
}

unsigned char CAssociation::operator==(const CAssociation& other) const {
    if (m_rep == other.m_rep) return 1;
    if (!m_rep || !other.m_rep) return 0;
    return m_rep->GetKey() == other.m_rep->GetKey() && m_rep->GetValue() == other.m_rep->GetValue();
}

// ---- the bundle body ----------------------------------------------------------------------------------

CAssociationBundleRep::CAssociationBundleRep(const CAssociationBundleRep& other)
    : GenericBody(), m_tree(other.m_tree) {}

CAssociationBundleRep& CAssociationBundleRep::operator=(const CAssociationBundleRep& other) {
    m_tree = other.m_tree;
    return *this;
}

CAssociationBundleRep::~CAssociationBundleRep() = default;

CBodyBase* CAssociationBundleRep::Duplicate() const {
    return new CAssociationBundleRep(*this);
}

void CAssociationBundleRep::Set(const CAssociation& association) {
    Set(association.GetKey(), association.GetValue());
}

void CAssociationBundleRep::Set(const CSymbol& key, const CGeneric& value) {
    // A null key has no place in the key order (it compares as greater both ways), so it would stand for
    // whichever pair the search met first and replace it. A bundle holds symbols only: a null key, from
    // a caller or from a stored key record that is no symbol, is dropped with its value.
    if (key.IsNull()) return;
    // Replacing the pair in its node has the same outcome as removing it and inserting the new pair,
    // without a second descent and the rebalancing.
    m_tree.insert_or_assign(CAssociationMap::value_type(key, value));
}

void CAssociationBundleRep::Set(const CSymbol& key) {
    Set(key, CGeneric());
}

CGeneric CAssociationBundleRep::GetValue(const CSymbol& key) const {
    const const_iterator at = m_tree.find(key);
    return at != m_tree.end() ? at->second : CGeneric();
}
CGeneric CAssociationBundleRep::GetValue(const CUniStr& key) const {
    return GetValue(CSymbol(key));
}
CGeneric CAssociationBundleRep::GetValue(const unsigned short* key) const {
    return GetValue(CSymbol(key));
}
CGeneric CAssociationBundleRep::GetValue(const char* key) const {
    return GetValue(CSymbol(key));
}

void CAssociationBundleRep::MergeWith(const CAssociationBundleRep& other) {
    for (const auto& pair : other) m_tree.insert(pair);  // an existing key keeps its own value
}

void CAssociationBundleRep::SubtractDuplicates(const CAssociationBundleRep& other) {
    for (const_iterator it = other.begin(); it != other.end();) {
        const CSymbol key = it->first;  // step past the pair before it may go
        ++it;
        m_tree.erase(key);
    }
}

bool CAssociationBundleRep::SameEqual(const CAssociationBundleRep& o) const {
    const_iterator a = begin(), b = o.begin();
    for (; a != end() && b != o.end(); ++a, ++b)
        if (!KeysMatch(a->first, b->first) || !(a->second == b->second)) return false;
    return a == end() && b == o.end();
}

namespace {
// The pairwise walk shared by < and <=: -1 this is less, 1 greater, 0 all pairs tied.
template <class It>
int WalkPairs(It& a, It aEnd, It& b, It bEnd) {
    for (; a != aEnd && b != bEnd; ++a, ++b) {
        const int k = KeyOrder(a->first, b->first);
        if (k) return k;
        if (a->second < b->second) return -1;
        if (b->second < a->second) return 1;
    }
    return 0;
}
}  // namespace

bool CAssociationBundleRep::SameLess(const CAssociationBundleRep& o) const {
    const_iterator a = begin(), b = o.begin();
    const int r = WalkPairs(a, end(), b, o.end());
    if (r) return r < 0;
    return a == end() && b != o.end();
}

bool CAssociationBundleRep::SameLessEqual(const CAssociationBundleRep& o) const {
    const_iterator a = begin(), b = o.begin();
    const int r = WalkPairs(a, end(), b, o.end());
    return r ? r < 0 : true;
}

void CAssociationBundleRep::operator>>(CXFile& file) const {
    detail::WriteU32(file, kKind);
    detail::WriteU32(file, GetLength());
    for (const auto& pair : *this) {
        pair.first >> file;
        pair.second >> file;
    }
}

void CAssociationBundleRep::operator<<(const CXFile& file) {
    // Every pair takes at least two kind codes.
    const unsigned int count = detail::ReadCount(file, 8);
    for (unsigned int i = 0; i < count; ++i) {
        CGeneric key, value;
        key << file;
        value << file;
        Set(static_cast<CSymbol>(key), value);
    }
}

void CAssociationBundleRep::AppendString(CUniStr& out) const {
    out += static_cast<unsigned short>('{');
    bool first = true;
    for (const_iterator it = begin(); it != end(); ++it) {
        if (!first) out += static_cast<unsigned short>(',');
        first = false;
        // The key's text by the number the node keeps: the key's own body need not be visited.
        if (it.CachedKey().present) detail::AppendSymbolText(out, it.CachedKey().index);
        out += static_cast<unsigned short>('=');
        it->second.AppendString(out);
    }
    out += static_cast<unsigned short>('}');
}

CUniStr CAssociationBundleRep::GetPrettyPrint(unsigned int options) const {
    std::vector<CUniStr> items;
    items.reserve(GetLength());
    if (options & 1u) {
        std::vector<CUniStr> keys;
        keys.reserve(GetLength());
        for (const auto& pair : *this) keys.push_back(pair.first.GetString());
        std::sort(keys.begin(), keys.end(), [](const CUniStr& a, const CUniStr& b) { return a < b; });
        for (const CUniStr& key : keys) items.push_back(AssociationPrettyText(key, GetValue(key), options));
    } else {
        for (const auto& pair : *this)
            items.push_back(AssociationPrettyText(pair.first.GetString(), pair.second, options));
    }
    return detail::PrettyLayout('{', '}', items);
}

// ---- the bundle handle --------------------------------------------------------------------------------

void CAssociationBundle::Set(const CAssociation& association) {
    Modify();
    m_rep->Set(association);
}

void CAssociationBundle::Set(const CSymbol& key, const CGeneric& value) {
    Modify();
    m_rep->Set(key, value);
}

void CAssociationBundle::Set(const CSymbol& key) {
    Modify();
    m_rep->Set(key);
}

void CAssociationBundle::DeleteKey(const CSymbol& key) {
    Modify();
    m_rep->DeleteKey(key);
}

void CAssociationBundle::MergeWith(const CAssociationBundle& other) {
    const CAssociationBundle keep(other);  // other's body outlives a Modify that lets go of it
    Modify();
    if (keep.m_rep) m_rep->MergeWith(*keep.m_rep);
}

void CAssociationBundle::SubtractDuplicates(const CAssociationBundle& other) {
    if (!other.m_rep) return;
    const CAssociationBundle keep(other);
    SubtractDuplicates(*keep.m_rep);
}

void CAssociationBundle::SubtractDuplicates(const CAssociationBundleRep& other) {
    Modify();
    m_rep->SubtractDuplicates(other);
}

unsigned char CAssociationBundle::operator==(const CGeneric& other) const {
    if (m_rep == other.GetRep()) return 1;
    if (!m_rep || other.IsNull()) return 0;
    return *m_rep == *other.GetRep();
}

unsigned char CAssociationBundle::operator!=(const CGeneric& other) const {
    if (m_rep == other.GetRep()) return 0;
    if (!m_rep || other.IsNull()) return 1;
    return !(*m_rep == *other.GetRep());
}

unsigned char CAssociationBundle::operator<(const CGeneric& other) const {
    if (m_rep == other.GetRep()) return 0;
    if (!m_rep) return 1;
    if (other.IsNull()) return 0;
    return *m_rep < *other.GetRep();
}

unsigned char CAssociationBundle::operator<=(const CGeneric& other) const {
    if (m_rep == other.GetRep()) return 1;
    if (!m_rep) return 1;
    if (other.IsNull()) return 0;
    return *m_rep <= *other.GetRep();
}

CAssociationBundle MakeAssociationBundle() {
    return CAssociationBundle(new CAssociationBundleRep());
}

}  // namespace ZtBase
