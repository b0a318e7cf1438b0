// DAGs of generic values (CDagOfGenerics, CDagNodeGeneric) and their wrappers as values (CGenericDag,
// CGenericDagNode, kind codes 11 and 12). As values, DAGs are equal when they share the representative
// (nodes when they are the same node), are in no order, and are not written to streams: both write the
// kind code 11 alone (a node too, deliberately), and loading reads nothing (a new, empty DAG).
//
// The text of a node and its descendants, GetPrettyPrint(key, depth): "    Root" at depth 0, else depth × 4
// spaces, four spaces, the node's GetImplId and four spaces, then by key: "@feature" shows the feature of
// the value (a bundle) or of each bundle of a list ("(a b ...)", a repeat written " ..."); another
// non-empty key shows the value's first character, the key and its last character; no key shows the
// value's pretty print ("Null" when it is empty). Children follow, one level deeper, under every parent
// they have. The list-of-keys form writes each key's part of the line one after another, separated by a
// space. A null node is "Empty DAG" and CR LF. Printing refuses a DAG deeper than kMaxGenericNesting (a
// cycle made by hand included) with 10002 "DAG nested too deeply".
#pragma once

#include "ztbase/generic/dag.h"
#include "ztbase/generic/generic.h"
#include "ztbase/generic/generic_body.h"
#include "ztbase/generic/list.h"
#include "ztbase/platform/export.h"

namespace ZtBase {

class ZTBASE_API CDagNodeGeneric : public CDagNode<CGeneric> {
public:
    CDagNodeGeneric() noexcept = default;
    CDagNodeGeneric(const CDagNode<CGeneric>& node) : CDagNode<CGeneric>(node) {}
    ~CDagNodeGeneric() override;

    // Computes nothing: an empty list (the operation exists; deliberately kept).
    CGenericList GetAllPaths(const CUniStr& key, unsigned int depth) const;
    CUniStr GetPrettyPrint(const CUniStr& key, unsigned int depth) const;
    CUniStr GetPrettyPrint(const CGenericList& keys, unsigned int depth) const;
};

class ZTBASE_API CDagOfGenerics : public CDag<CGeneric> {
public:
    CDagOfGenerics() = default;
    ~CDagOfGenerics() override;

    void SetBundleFilter(const CGeneric& filter) { m_filter = filter; }
    const CGeneric& GetBundleFilter() const noexcept { return m_filter; }
    CGenericList GetAllPaths(const CUniStr& key) const;
    // A key: the root's text with it. No key: the filter decides (a list: the list form; a string: its
    // text as the key; anything else: no key).
    CUniStr GetPrettyPrint(const CUniStr& key) const;
    CDagNodeGeneric GetRootNode() const { return CDagNodeGeneric(GetRoot()); }

private:
    CGeneric m_filter;
};

class ZTBASE_API CGenericDagRep : public UnorderedGenericBody<CGenericDagRep, eGenericDag> {
public:
    CGenericDagRep() = default;
    explicit CGenericDagRep(const CDagOfGenerics& dag) : m_dag(dag) {}
    CGenericDagRep(const CGenericDagRep&) = default;
    ~CGenericDagRep() override;

    CBodyBase* Duplicate() const override;  // shares the graph: never a deep copy
    void operator<<(const CXFile& file) override;
    void operator>>(CXFile& file) const override;
    CUniStr GetString() const override;
    void AppendString(CUniStr& out) const override;
    CUniStr GetPrettyPrint(unsigned int options) const override;

    const CDagOfGenerics& GetDag() const noexcept { return m_dag; }
    void SetDag(const CDagOfGenerics& dag) { m_dag = dag; }
    bool SameEqual(const CGenericDagRep& o) const { return m_dag == o.m_dag; }

private:
    CDagOfGenerics m_dag;
};

class ZTBASE_API CGenericDagNodeRep : public UnorderedGenericBody<CGenericDagNodeRep, eGenericDagNode> {
public:
    CGenericDagNodeRep() = default;
    explicit CGenericDagNodeRep(const CDagNodeGeneric& node) : m_node(node) {}
    CGenericDagNodeRep(const CGenericDagNodeRep&) = default;
    ~CGenericDagNodeRep() override;

    CBodyBase* Duplicate() const override;
    void operator<<(const CXFile& file) override;
    void operator>>(CXFile& file) const override;  // the DAG's code 11, deliberately
    CUniStr GetString() const override;
    void AppendString(CUniStr& out) const override;
    CUniStr GetPrettyPrint(unsigned int options) const override;

    const CDagNodeGeneric& GetDagNode() const noexcept { return m_node; }
    void SetDagNode(const CDagNodeGeneric& node) { m_node = node; }
    bool SameEqual(const CGenericDagNodeRep& o) const { return m_node == o.m_node; }

private:
    CDagNodeGeneric m_node;
};

class ZTBASE_API CGenericDag : public ZtGenericHandle<CGenericDagRep> {
public:
    CGenericDag() noexcept = default;
    explicit CGenericDag(const CDagOfGenerics& dag);
    CDagOfGenerics GetDag() const { return m_rep ? m_rep->GetDag() : CDagOfGenerics(); }
    void SetDag(const CDagOfGenerics& dag);
};

class ZTBASE_API CGenericDagNode : public ZtGenericHandle<CGenericDagNodeRep> {
public:
    CGenericDagNode() noexcept = default;
    explicit CGenericDagNode(const CDagNodeGeneric& node);
    CDagNodeGeneric GetDagNode() const { return m_rep ? m_rep->GetDagNode() : CDagNodeGeneric(); }
    void SetDagNode(const CDagNodeGeneric& node);
};

}  // namespace ZtBase
