#include "ztbase/generic/generic_dag.h"

#include "ztbase/generic/association.h"
#include "ztbase/generic/internal/binary_io.h"
#include "ztbase/generic/internal/generic_errors.h"
#include "ztbase/generic/scalars.h"
#include "ztbase/generic/text_reader.h"
#include "ztbase/strings/number_format.h"

namespace ZtBase {

namespace {

// The part of a node's line that one key gives (see generic_dag.h).
CUniStr KeyPart(const CGeneric& value, const CUniStr& key) {
    CUniStr out;
    if (key.Length() > 0 && key[0] == '@') {
        const CUniStr feature = key.Copy(1);
        if (value.GetType() == eGenericList) {
            out += static_cast<unsigned short>('(');
            CUniStr previous;
            bool any = false;
            for (const CGeneric& element : static_cast<CGenericList>(value)) {
                const CUniStr item = static_cast<CAssociationBundle>(element).GetValue(feature).GetString();
                if (any && item == previous) {
                    out += CUniStr(" ...");
                } else {
                    if (any) out += static_cast<unsigned short>(' ');
                    out += item;
                }
                previous = item;
                any = true;
            }
            out += static_cast<unsigned short>(')');
        } else if (value.GetType() == eGenericAssociationBundle) {
            out += static_cast<CAssociationBundle>(value).GetValue(feature).GetString();
        } else {
            out += value.GetString();
        }
        return out;
    }
    const CUniStr text = value.GetPrettyPrint(0);
    if (text.Length() == 0) return CUniStr("Null");
    if (key.Length() == 0) return text;
    out += text[0u];
    out += key;
    out += text[text.Length() - 1];
    return out;
}

template <class Keys>
void NodeText(const CDagNodeGeneric& node, const Keys& keys, unsigned depth, CUniStr& out) {
    if (depth > kMaxGenericNesting)
        detail::ThrowGeneric(kErrIllegalOperation, "DAG nested too deeply", __LINE__);
    if (depth == 0) {
        out += CUniStr("    Root");
    } else {
        out += CUniStr(std::string(4 * depth + 4, ' ').c_str());
        out += MakeUniStr(node.GetImplId());
        out += CUniStr("    ");
        const CGeneric value = node.GetValue();
        bool first = true;
        for (const CUniStr& key : keys) {
            if (!first) out += static_cast<unsigned short>(' ');
            first = false;
            out += KeyPart(value, key);
        }
    }
    out += static_cast<unsigned short>('\n');
    for (unsigned i = 0; i < node.GetChildCount(); ++i)
        NodeText(CDagNodeGeneric(node.GetChildIdx(i)), keys, depth + 1, out);
}

std::vector<CUniStr> KeysOf(const CGenericList& list) {
    std::vector<CUniStr> keys;
    for (const CGeneric& element : list)
        keys.push_back(element.GetType() == eGenericString
                           ? static_cast<CUniStr>(static_cast<CGenericString>(element))
                           : element.GetString());
    if (keys.empty()) keys.emplace_back();
    return keys;
}

CUniStr EmptyDag() {
    return CUniStr("Empty DAG\r\n");
}

}  // namespace

// ---- the DAG of generic values ----------------------------------------------------------------------------

CDagNodeGeneric::~CDagNodeGeneric() = default;

CGenericList CDagNodeGeneric::GetAllPaths(const CUniStr&, unsigned int) const {
    return CGenericList();
}

CUniStr CDagNodeGeneric::GetPrettyPrint(const CUniStr& key, unsigned int depth) const {
    if (IsNull()) return EmptyDag();
    CUniStr out;
    NodeText(*this, std::vector<CUniStr>{key}, depth, out);
    return out;
}

CUniStr CDagNodeGeneric::GetPrettyPrint(const CGenericList& keys, unsigned int depth) const {
    if (IsNull()) return EmptyDag();
    CUniStr out;
    NodeText(*this, KeysOf(keys), depth, out);
    return out;
}

CDagOfGenerics::~CDagOfGenerics() = default;

CGenericList CDagOfGenerics::GetAllPaths(const CUniStr& key) const {
    return GetRootNode().GetAllPaths(key, 0);
}

CUniStr CDagOfGenerics::GetPrettyPrint(const CUniStr& key) const {
    const CDagNodeGeneric root = GetRootNode();
    if (key.Length() > 0) return root.GetPrettyPrint(key, 0);
    if (m_filter.GetType() == eGenericList)
        return root.GetPrettyPrint(static_cast<CGenericList>(m_filter), 0);
    if (m_filter.GetType() == eGenericString)
        return root.GetPrettyPrint(static_cast<CUniStr>(static_cast<CGenericString>(m_filter)), 0);
    return root.GetPrettyPrint(CUniStr(), 0);
}

// ---- the values -------------------------------------------------------------------------------------------

CGenericDagRep::~CGenericDagRep() = default;
CBodyBase* CGenericDagRep::Duplicate() const {
    return new (std::nothrow) CGenericDagRep(*this);
}
void CGenericDagRep::operator<<(const CXFile&) {}
void CGenericDagRep::operator>>(CXFile& file) const {
    detail::WriteU32(file, eGenericDag);
}
CUniStr CGenericDagRep::GetString() const {
    return m_dag.GetPrettyPrint(CUniStr());
}
void CGenericDagRep::AppendString(CUniStr& out) const {
    out += GetString();
}
CUniStr CGenericDagRep::GetPrettyPrint(unsigned int) const {
    return GetString();
}

CGenericDagNodeRep::~CGenericDagNodeRep() = default;
CBodyBase* CGenericDagNodeRep::Duplicate() const {
    return new (std::nothrow) CGenericDagNodeRep(*this);
}
void CGenericDagNodeRep::operator<<(const CXFile&) {}
void CGenericDagNodeRep::operator>>(CXFile& file) const {
    detail::WriteU32(file, eGenericDag);
}
CUniStr CGenericDagNodeRep::GetString() const {
    return m_node.GetPrettyPrint(CUniStr(), 0);
}
void CGenericDagNodeRep::AppendString(CUniStr& out) const {
    out += GetString();
}
CUniStr CGenericDagNodeRep::GetPrettyPrint(unsigned int) const {
    return GetString();
}

CGenericDag::CGenericDag(const CDagOfGenerics& dag) : ZtGenericHandle(new CGenericDagRep(dag)) {}
void CGenericDag::SetDag(const CDagOfGenerics& dag) {
    if (!m_rep) SetRepTo(new CGenericDagRep());
    Modify();
    m_rep->SetDag(dag);
}

CGenericDagNode::CGenericDagNode(const CDagNodeGeneric& node)
    : ZtGenericHandle(new CGenericDagNodeRep(node)) {}
void CGenericDagNode::SetDagNode(const CDagNodeGeneric& node) {
    if (!m_rep) SetRepTo(new CGenericDagNodeRep());
    Modify();
    m_rep->SetDagNode(node);
}

}  // namespace ZtBase
