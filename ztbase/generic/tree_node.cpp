#include "ztbase/generic/tree_node.h"

#include <atomic>

#include "ztbase/generic/internal/binary_io.h"
#include "ztbase/generic/internal/generic_errors.h"
#include "ztbase/generic/scalars.h"
#include "ztbase/generic/text_reader.h"

namespace ZtBase {

namespace {

std::atomic<unsigned> gCreated{0};

const CTreeNode& Released(CTreeNode& null) {
    null.Release();  // whatever a caller made it hold before
    return null;
}
CTreeNode& NullChild() {
    static CTreeNode node;
    return node;
}
CTreeNode& NullPrimary() {
    static CTreeNode node;
    return node;
}
CTreeNode& NullSecondary() {
    static CTreeNode node;
    return node;
}

[[noreturn]] void TooDeep(unsigned line) {
    detail::ThrowGeneric(kErrIllegalOperation, "tree nested too deeply", line);
}

void AppendNode(const CTreeNodeRep& node, CUniStr& out, unsigned depth) {
    if (depth > kMaxGenericNesting) TooDeep(__LINE__);
    out += static_cast<unsigned short>('<');
    node.m_type.AppendString(out);
    out += static_cast<unsigned short>(' ');
    if (node.m_bundle.IsNull())
        out += CUniStr(u"{}");
    else
        node.m_bundle.AppendString(out);
    out += static_cast<unsigned short>('>');
    if (node.m_children.empty()) return;
    out += static_cast<unsigned short>('/');
    bool first = true;
    for (const CTreeNode& child : node.m_children) {
        if (!first) out += static_cast<unsigned short>(' ');
        first = false;
        if (child.IsNull())
            out += CUniStr(u"*NULL*");
        else
            AppendNode(*child.GetRep(), out, depth + 1);
    }
    out += static_cast<unsigned short>('\\');
}

CUniStr PrettyNode(const CTreeNodeRep& node, unsigned options, unsigned depth) {
    if (depth > kMaxGenericNesting) TooDeep(__LINE__);
    CAssociationBundle features = node.m_bundle.IsNull() ? MakeAssociationBundle() : node.m_bundle;
    if (node.m_primary >= 0) features.Set(CSymbol("PrimaryChild"), CGeneric(node.m_primary));
    if (!node.m_secondary.empty()) {
        CGenericList indexes;
        for (auto it = node.m_secondary.rbegin(); it != node.m_secondary.rend(); ++it)
            indexes = CGenericList(CGeneric(*it), indexes);
        features.Set(CSymbol("SecondaryChildren"), indexes);
    }
    CUniStr out(u"<");
    out += node.m_type.GetString();
    out += static_cast<unsigned short>(' ');
    out += features.GetPrettyPrint(options);
    out += static_cast<unsigned short>('>');
    if (node.m_children.empty()) return out;
    out += CUniStr(u"/\n");
    const CUniStr indent(u"        ");
    for (const CTreeNode& child : node.m_children) {
        CUniStr text = child.IsNull() ? CUniStr(u"*NULL*") : PrettyNode(*child.GetRep(), options, depth + 1);
        if (text.Length() == 0 || text[text.Length() - 1] != '\n') text += static_cast<unsigned short>('\n');
        out += text.IndentText(indent);
    }
    out += CUniStr(u"\\\n");
    return out;
}

CGenericList TreeToList(const CTreeNodeRep* node, unsigned depth) {
    if (depth > kMaxGenericNesting) TooDeep(__LINE__);
    // Built from its end towards its front.
    CGenericList list;
    if (node) {
        for (auto it = node->m_children.rbegin(); it != node->m_children.rend(); ++it)
            list = CGenericList(TreeToList(it->GetRep(), depth + 1), list);
        list = CGenericList(CGeneric(static_cast<unsigned>(node->m_children.size())), list);
        for (auto it = node->m_secondary.rbegin(); it != node->m_secondary.rend(); ++it)
            list = CGenericList(CGeneric(*it), list);
        list = CGenericList(CGeneric(static_cast<unsigned>(node->m_secondary.size())), list);
        list = CGenericList(CGeneric(node->m_primary), list);
        list = CGenericList(node->m_bundle, list);
        list = CGenericList(node->m_type, list);
    }
    return list;
}

// Reads the layout of TreeToList; false when the list is not in it.
bool ListToTree(const CGeneric& value, CTreeNode& out, unsigned depth) {
    if (depth > kMaxGenericNesting) TooDeep(__LINE__);
    std::vector<CGeneric> items;
    for (CGeneric rest = value; rest.GetType() == eGenericList;
         rest = static_cast<CGenericList>(rest).GetCdr())
        items.push_back(static_cast<CGenericList>(rest).GetCar());
    std::size_t at = 0;
    const auto number = [&](int& n) {
        if (at >= items.size() || items[at].GetType() != eGenericNumber) return false;
        n = static_cast<int>(static_cast<double>(static_cast<CGenericNumber>(items[at++])));
        return true;
    };
    if (items.size() < 5) return false;
    CTreeNode node = MakeTreeNode(static_cast<CSymbol>(items[0]));
    if (items[1].GetType() == eGenericAssociationBundle)
        node.SetBundle(static_cast<CAssociationBundle>(items[1]));
    at = 2;
    int primary = -1, secondaries = 0, children = 0;
    if (!number(primary) || !number(secondaries) || secondaries < 0) return false;
    std::vector<int> secondary(static_cast<std::size_t>(secondaries));
    for (int& index : secondary)
        if (!number(index)) return false;
    if (!number(children) || children < 0 || items.size() - at != static_cast<std::size_t>(children))
        return false;
    for (int i = 0; i < children; ++i) {
        CTreeNode child;
        if (!ListToTree(items[at++], child, depth + 1)) return false;
        node.AddChild(child);
    }
    if (primary >= 0) node.SetPrimary(static_cast<unsigned>(primary));
    for (std::size_t i = 0; i < secondary.size(); ++i) {
        if (secondary[i] < 0) return false;
        node.SetSecondaryIdx(static_cast<unsigned>(i), static_cast<unsigned>(secondary[i]));
    }
    out = node;
    return true;
}

}  // namespace

// ---- the body ---------------------------------------------------------------------------------------------

CTreeNodeRep::CTreeNodeRep() {
    gCreated.fetch_add(1, std::memory_order_relaxed);
}

CTreeNodeRep::CTreeNodeRep(const CTreeNodeRep& other)
    : GenericBody(other),
      m_type(other.m_type),
      m_bundle(other.m_bundle),
      m_children(other.m_children),
      m_primary(other.m_primary),
      m_secondary(other.m_secondary) {
    gCreated.fetch_add(1, std::memory_order_relaxed);
}

CTreeNodeRep::~CTreeNodeRep() {
    // Children this body alone holds give their children to the loop before they go, so that a tree of
    // any depth is released without a level of the stack per level of the tree.
    std::vector<CTreeNode> pending = std::move(m_children);
    while (!pending.empty()) {
        CTreeNode node = std::move(pending.back());
        pending.pop_back();
        if (node.GetRep() && node.GetRep()->GetRefCount() == 1) {
            auto& children = const_cast<CTreeNodeRep*>(node.GetRep())->m_children;
            for (CTreeNode& child : children) pending.push_back(std::move(child));
            children.clear();
        }
    }
}

unsigned CTreeNodeRep::GetCreatedCount() noexcept {
    return gCreated.load(std::memory_order_relaxed);
}

CBodyBase* CTreeNodeRep::Duplicate() const {
    return new (std::nothrow) CTreeNodeRep(*this);
}

void CTreeNodeRep::operator<<(const CXFile&) {}

void CTreeNodeRep::operator>>(CXFile& file) const {
    detail::WriteU32(file, kKind);
}

void CTreeNodeRep::AppendString(CUniStr& out) const {
    AppendNode(*this, out, 0);
}

CUniStr CTreeNodeRep::GetPrettyPrint(unsigned int options) const {
    return PrettyNode(*this, options, 0);
}

bool CTreeNodeRep::SameEqual(const CTreeNodeRep& o) const {
    if (!(m_type == o.m_type) || m_primary != o.m_primary || m_children.size() != o.m_children.size() ||
        m_secondary != o.m_secondary)
        return false;
    if (m_bundle.GetRep() != o.m_bundle.GetRep() && !(m_bundle == CGeneric(o.m_bundle))) return false;
    for (std::size_t i = 0; i < m_children.size(); ++i)
        if (m_children[i].GetRep() != o.m_children[i].GetRep()) return false;
    return true;
}

bool CTreeNodeRep::SameLess(const CTreeNodeRep& o) const {
    const unsigned a = m_type, b = o.m_type;
    if (a != b) return a < b;
    const CGeneric x = m_bundle, y = o.m_bundle;
    if (x < y) return true;
    if (y < x) return false;
    if (m_children.size() != o.m_children.size()) return m_children.size() < o.m_children.size();
    return m_primary < o.m_primary;
}

// ---- the handle
// ---------------------------------------------------------------------------------------------

CTreeNodeRep& CTreeNode::Body() {
    if (!m_rep) SetRepTo(new CTreeNodeRep());
    Modify();
    return *m_rep;
}

CSymbol CTreeNode::GetNodeType() const {
    return m_rep ? m_rep->m_type : CSymbol();
}
void CTreeNode::SetNodeType(const CSymbol& type) {
    Body().m_type = type;
}
CAssociationBundle CTreeNode::GetBundle() const {
    return m_rep ? m_rep->m_bundle : CAssociationBundle();
}
void CTreeNode::SetBundle(const CAssociationBundle& bundle) {
    Body().m_bundle = bundle;
}
CGeneric CTreeNode::GetValue(const CSymbol& feature) const {
    return m_rep ? m_rep->m_bundle.GetValue(feature) : CGeneric();
}
void CTreeNode::SetValue(const CSymbol& feature, const CGeneric& value) {
    CTreeNodeRep& body = Body();
    if (body.m_bundle.IsNull()) body.m_bundle = MakeAssociationBundle();
    body.m_bundle.Set(feature, value);
}

CGeneric CTreeNode::GetEffectiveValue(const CSymbol& feature) const {
    for (const CTreeNodeRep* node = m_rep; node;) {
        CGeneric value = node->m_bundle.GetValue(feature);
        if (!value.IsNull()) return value;
        const int p = node->m_primary;
        node = p >= 0 && static_cast<std::size_t>(p) < node->m_children.size()
                   ? node->m_children[static_cast<std::size_t>(p)].GetRep()
                   : nullptr;
    }
    return CGeneric();
}

CAssociationBundle CTreeNode::GetEffectiveAttributes() const {
    CAssociationBundle out = MakeAssociationBundle();
    for (const CTreeNodeRep* node = m_rep; node;) {
        for (const auto& [key, value] : node->m_bundle)
            if (!out.HasKey(key)) out.Set(key, value);
        const int p = node->m_primary;
        node = p >= 0 && static_cast<std::size_t>(p) < node->m_children.size()
                   ? node->m_children[static_cast<std::size_t>(p)].GetRep()
                   : nullptr;
    }
    return out;
}

unsigned int CTreeNode::GetChildCount() const noexcept {
    return m_rep ? static_cast<unsigned>(m_rep->m_children.size()) : 0;
}

const CTreeNode& CTreeNode::GetChildIdx(unsigned int i) const {
    if (i < GetChildCount()) return m_rep->m_children[i];
    return Released(NullChild());
}

void CTreeNode::SetChildIdx(unsigned int i, const CTreeNode& child) {
    if (i < GetChildCount()) Body().m_children[i] = child;
}

void CTreeNode::InsertChildIdx(unsigned int i, const CTreeNode& child) {
    CTreeNodeRep& body = Body();
    const std::size_t at = std::min<std::size_t>(i, body.m_children.size());
    body.m_children.insert(body.m_children.begin() + static_cast<std::ptrdiff_t>(at), child);
    if (body.m_primary >= static_cast<int>(at)) ++body.m_primary;
    for (unsigned& s : body.m_secondary)
        if (s >= at) ++s;
}

void CTreeNode::DeleteChildIdx(unsigned int i) {
    if (i >= GetChildCount()) return;
    CTreeNodeRep& body = Body();
    body.m_children.erase(body.m_children.begin() + i);
    if (body.m_primary == static_cast<int>(i))
        body.m_primary = -1;
    else if (body.m_primary > static_cast<int>(i))
        --body.m_primary;
    std::vector<unsigned> kept;
    for (unsigned s : body.m_secondary)
        if (s != i) kept.push_back(s > i ? s - 1 : s);
    body.m_secondary = std::move(kept);
}

void CTreeNode::SetPrimary(unsigned int i) {
    const bool valid = i < GetChildCount();
    Body().m_primary = valid ? static_cast<int>(i) : -1;
}

const CTreeNode& CTreeNode::GetPrimary() const {
    const int p = GetPrimaryIndex();
    if (p >= 0 && static_cast<unsigned>(p) < GetChildCount())
        return m_rep->m_children[static_cast<std::size_t>(p)];
    return Released(NullPrimary());
}

unsigned int CTreeNode::GetSecondaryCount() const noexcept {
    return m_rep ? static_cast<unsigned>(m_rep->m_secondary.size()) : 0;
}

int CTreeNode::GetSecondaryIndexIdx(unsigned int i) const noexcept {
    return i < GetSecondaryCount() ? static_cast<int>(m_rep->m_secondary[i]) : -1;
}

const CTreeNode& CTreeNode::GetSecondaryIdx(unsigned int i) const {
    const int child = GetSecondaryIndexIdx(i);
    if (child >= 0 && static_cast<unsigned>(child) < GetChildCount())
        return m_rep->m_children[static_cast<std::size_t>(child)];
    return Released(NullSecondary());
}

void CTreeNode::SetSecondaryIdx(unsigned int i, unsigned int childIndex) {
    const unsigned count = GetSecondaryCount();
    if (i > count || childIndex >= GetChildCount()) return;
    CTreeNodeRep& body = Body();
    if (i == count)
        body.m_secondary.push_back(childIndex);
    else
        body.m_secondary[i] = childIndex;
}

void CTreeNode::SetSecondaryIdx(unsigned int i, const CTreeNode& child) {
    for (unsigned c = 0; c < GetChildCount(); ++c)
        if (m_rep->m_children[c].GetRep() == child.GetRep() && child.GetRep()) return SetSecondaryIdx(i, c);
}

unsigned char CTreeNode::IsSecondary(unsigned int childIndex) const noexcept {
    if (!m_rep) return 0;
    for (unsigned s : m_rep->m_secondary)
        if (s == childIndex) return 1;
    return 0;
}

// ---- scope lists -----------------------------------------------------------------------------------------

namespace {

// The child that one step of a scope list names, or -1.
int StepIndex(const CTreeNode& node, const CGeneric& step) {
    if (step.GetType() == eGenericNumber) {
        const double d = static_cast<double>(static_cast<CGenericNumber>(step));
        return d >= 0 && d < node.GetChildCount() && d == static_cast<unsigned>(d) ? static_cast<int>(d) : -1;
    }
    if (step.GetType() == eGenericSymbol) {
        const CSymbol type = step;
        for (unsigned i = 0; i < node.GetChildCount(); ++i)
            if (node.GetChildIdx(i).GetNodeType() == type) return static_cast<int>(i);
    }
    return -1;
}

std::vector<CGeneric> Steps(const CGenericList& scope) {
    std::vector<CGeneric> steps;
    for (const CGeneric& step : scope) steps.push_back(step);
    return steps;
}

// Applies change to the node at the end of steps, copying the shared bodies on the way back up.
template <class Change>
bool ChangeAt(CTreeNode& node, const std::vector<CGeneric>& steps, std::size_t at, Change&& change) {
    if (node.IsNull()) return false;
    if (at == steps.size()) return change(node);
    const int index = StepIndex(node, steps[at]);
    if (index < 0) return false;
    CTreeNode child = node.GetChildIdx(static_cast<unsigned>(index));
    if (!ChangeAt(child, steps, at + 1, change)) return false;
    node.SetChildIdx(static_cast<unsigned>(index), child);
    return true;
}

}  // namespace

CTreeNode CTreeNode::GetNodeWithScope(const CGenericList& scope) const {
    CTreeNode node = *this;
    for (const CGeneric& step : Steps(scope)) {
        const int index = node.IsNull() ? -1 : StepIndex(node, step);
        if (index < 0) return CTreeNode();
        node = node.GetChildIdx(static_cast<unsigned>(index));
    }
    return node;
}

CGeneric CTreeNode::GetValueWithScope(const CGenericList& scope, const CSymbol& feature) const {
    return GetNodeWithScope(scope).GetValue(feature);
}

unsigned char CTreeNode::SetValueWithScope(const CGenericList& scope, const CSymbol& feature,
                                           const CGeneric& value) {
    return ChangeAt(*this, Steps(scope), 0, [&](CTreeNode& node) {
        node.SetValue(feature, value);
        return true;
    });
}

unsigned char CTreeNode::SetValueWithScopeAndIndexList(const CGenericList& scope,
                                                       const CGenericList& childIndexes,
                                                       const CSymbol& feature, const CGeneric& value) {
    return ChangeAt(*this, Steps(scope), 0, [&](CTreeNode& node) {
        for (const CGeneric& step : childIndexes) {
            const int index = step.GetType() == eGenericNumber ? StepIndex(node, step) : -1;
            if (index < 0) continue;
            CTreeNode child = node.GetChildIdx(static_cast<unsigned>(index));
            child.SetValue(feature, value);
            node.SetChildIdx(static_cast<unsigned>(index), child);
        }
        return true;
    });
}

unsigned char CTreeNode::ReplaceNodeWithScope(const CGenericList& scope, const CTreeNode& replacement) {
    return ChangeAt(*this, Steps(scope), 0, [&](CTreeNode& node) {
        node = replacement;
        return true;
    });
}

void CTreeNode::RebuildReferentsFromAttributes() {
    if (IsNull()) return;
    const auto rebuild = [](CTreeNode& node) {
        const CGeneric primary = node.GetValue(CSymbol("Primary"));
        if (primary.GetType() == eGenericNumber) {
            const double d = static_cast<double>(static_cast<CGenericNumber>(primary));
            node.SetPrimary(d >= 0 ? static_cast<unsigned>(d) : node.GetChildCount());
        }
        const CGeneric referents = node.GetValue(CSymbol("Referents"));
        if (referents.GetType() == eGenericList || referents.IsNull()) {
            CTreeNodeRep& body = node.Body();
            body.m_secondary.clear();
            for (const CGeneric& r : static_cast<CGenericList>(referents)) {
                const int index = r.GetType() == eGenericNumber ? StepIndex(node, r) : -1;
                if (index >= 0) body.m_secondary.push_back(static_cast<unsigned>(index));
            }
        }
    };
    rebuild(*this);
    // Depth first with a path of copies: each child is rebuilt when it is reached, and stored back into its
    // parent (children are copied on write) once its own children are done. No recursion: trees of any
    // depth are walked.
    std::vector<std::pair<CTreeNode, unsigned>> path{{*this, 0}};
    while (!path.empty()) {
        auto& [node, next] = path.back();
        if (next < node.GetChildCount()) {
            CTreeNode child = node.GetChildIdx(next);
            child.SetValue(CSymbol("CurNode"), CGeneric(next));
            rebuild(child);
            ++next;
            path.emplace_back(child, 0);
            continue;
        }
        CTreeNode finished = node;
        path.pop_back();
        if (path.empty()) {
            *this = finished;
        } else {
            auto& [parent, visited] = path.back();
            parent.SetChildIdx(visited - 1, finished);
        }
    }
}

CUniStr CTreeNode::GetPrettyPrint(unsigned int options) const {
    return m_rep ? m_rep->GetPrettyPrint(options) : CUniStr(u"*NULL*");
}

CTreeNode MakeTreeNode(const CSymbol& type) {
    CTreeNode node(new CTreeNodeRep());
    if (!type.IsNull()) node.SetNodeType(type);
    node.SetBundle(MakeAssociationBundle());
    return node;
}

CGenericList ConvertTreeToList(const CTreeNode& node) {
    return TreeToList(node.GetRep(), 0);
}

CTreeNode ConvertListToTree(const CGenericList& list) {
    CTreeNode node;
    if (!ListToTree(list, node, 0)) return CTreeNode();
    return node;
}

}  // namespace ZtBase
