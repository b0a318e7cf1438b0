// Tree nodes (kind code 9): a labelled node of a syntax tree with a feature bundle, ordered children, a
// primary child (the head) and secondary children. Features missing on a node are found down its chain of
// primary children (its effective values).
//
// Text form: "<" label bundle ">" and, for a node with children, "/" the children "\"; written as
// "<S {}>/<NP {}> <VP {}>\". The pretty print adds the features PrimaryChild (when there is a primary
// child) and SecondaryChildren (a list of indexes, when there are any) to the printed bundle and indents
// each child by eight spaces. A tree node has no binary form: it writes its kind code alone and loads as
// null. Trees of any depth are released without deep recursion; printing and converting a tree deeper than
// kMaxGenericNesting levels raises 10002 "tree nested too deeply".
//
// Treebank text (ReadPennTree, CGeneric::SetFromPennTreeString), the bracketed notation of treebank corpora:
//   trees := tree*            tree := "(" label? (word | tree+) ")"
//   label, word := a token: any characters but white space and brackets
// A phrase "(NP (DT the) (NN dog))" becomes a node of type NP with its children; a word "(DT the)" a leaf of
// type DT whose bundle holds the word as the string value of the feature "word". An unlabelled bracket
// around one tree, "( (S ...) )", is dropped (the tree is what it holds); around several it is a node
// without a type. Labels are kept as they stand ("NP-SBJ-1", "-NONE-", "-LRB-"), words too ("*T*-1").
// Malformed text raises 10003 with a message that says what was expected, followed by the text read so
// far (as the generic reader's messages). Treebank labels and words may hold characters that the text
// form's symbols cannot ("NP-SBJ", "."): such a tree prints, but its text does not read back.
#pragma once

#include <vector>

#include "ztbase/generic/association.h"
#include "ztbase/generic/generic.h"
#include "ztbase/generic/generic_body.h"
#include "ztbase/generic/list.h"
#include "ztbase/generic/symbol.h"
#include "ztbase/platform/export.h"

namespace ZtBase {

class CTreeNode;

class ZTBASE_API CTreeNodeRep : public GenericBody<CTreeNodeRep, eGenericTreeNode> {
public:
    CTreeNodeRep();
    CTreeNodeRep(const CTreeNodeRep& other);
    ~CTreeNodeRep() override;  // releases a deep tree with a loop

    CBodyBase* Duplicate() const override;
    void operator<<(const CXFile& file) override;  // reads nothing
    void operator>>(CXFile& file) const override;  // the kind code alone
    void AppendString(CUniStr& out) const override;
    CUniStr GetPrettyPrint(unsigned int options) const override;

    // Equal: the same type, equal bundles, the same primary and secondary indexes and the very same child
    // bodies (children are compared by identity, deliberately).
    bool SameEqual(const CTreeNodeRep& o) const;
    // By the node type's symbol number; then (ties) the bundle, the child count, the primary index.
    bool SameLess(const CTreeNodeRep& o) const;

    // How many tree-node bodies the process has made.
    static unsigned GetCreatedCount() noexcept;

    CSymbol m_type;
    CAssociationBundle m_bundle;
    std::vector<CTreeNode> m_children;
    int m_primary = -1;
    std::vector<unsigned> m_secondary;
};

class ZTBASE_API CTreeNode : public ZtGenericHandle<CTreeNodeRep> {
public:
    CTreeNode() noexcept = default;
    explicit CTreeNode(CTreeNodeRep* adopt) : ZtGenericHandle(adopt) {}

    CSymbol GetNodeType() const;
    void SetNodeType(const CSymbol& type);
    CAssociationBundle GetBundle() const;
    void SetBundle(const CAssociationBundle& bundle);
    CGeneric GetValue(const CSymbol& feature) const;
    void SetValue(const CSymbol& feature, const CGeneric& value);
    // The node's value, or else its primary child's effective value (down the chain); null at its end.
    CGeneric GetEffectiveValue(const CSymbol& feature) const;
    // The node's features together with those of its chain of primary children that it lacks (the
    // nearest node's value wins).
    CAssociationBundle GetEffectiveAttributes() const;

    unsigned int GetChildCount() const noexcept;
    // Child i; beyond the last, a process-wide null node (released again before every return).
    const CTreeNode& GetChildIdx(unsigned int i) const;
    void SetChildIdx(unsigned int i, const CTreeNode& child);     // beyond the last: nothing
    void InsertChildIdx(unsigned int i, const CTreeNode& child);  // beyond the last: appended
    void AddChild(const CTreeNode& child) { InsertChildIdx(GetChildCount(), child); }
    // Removes child i; the primary and secondary indexes that pointed behind it move with their children,
    // those that pointed at it go.
    void DeleteChildIdx(unsigned int i);

    // An index not below the child count sets -1 (no primary child).
    void SetPrimary(unsigned int i);
    int GetPrimaryIndex() const noexcept { return m_rep ? m_rep->m_primary : -1; }
    const CTreeNode& GetPrimary() const;  // a second null node when there is none
    unsigned char IsPrimary(unsigned int i) const noexcept {
        return GetPrimaryIndex() == static_cast<int>(i);
    }

    unsigned int GetSecondaryCount() const noexcept;
    int GetSecondaryIndexIdx(unsigned int i) const noexcept;  // -1 out of range
    const CTreeNode& GetSecondaryIdx(unsigned int i) const;   // a third null node out of range
    // Sets the i-th secondary entry (i == the count appends; beyond it, nothing), by child index or by the
    // child itself (a node that is not a child sets nothing).
    void SetSecondaryIdx(unsigned int i, unsigned int childIndex);
    void SetSecondaryIdx(unsigned int i, const CTreeNode& child);
    unsigned char IsSecondary(unsigned int childIndex) const noexcept;

    // ---- descendants addressed by a scope list ----
    // A scope list walks down from this node, one element a step: a number is a child index, a symbol the
    // first child of that node type; the empty list is this node. Values are the addressed node's own.
    CTreeNode GetNodeWithScope(const CGenericList& scope) const;  // null when a step finds no child
    CGeneric GetValueWithScope(const CGenericList& scope, const CSymbol& feature) const;
    // The changes copy every shared body on the path, so that other holders of those nodes see nothing;
    // they return whether the scope addressed a node.
    unsigned char SetValueWithScope(const CGenericList& scope, const CSymbol& feature, const CGeneric& value);
    // Sets the feature on the children (given by index) of the addressed node.
    unsigned char SetValueWithScopeAndIndexList(const CGenericList& scope, const CGenericList& childIndexes,
                                                const CSymbol& feature, const CGeneric& value);
    // Puts node in the place of the addressed descendant (the empty scope replaces this node).
    unsigned char ReplaceNodeWithScope(const CGenericList& scope, const CTreeNode& node);
    // Over the whole tree: a node's "Primary" feature (a child index) becomes its primary child and its
    // "Referents" feature (a list of child indexes) its secondary children; every child gets "CurNode", its
    // index under its parent. Indexes out of range are left out.
    void RebuildReferentsFromAttributes();

    // The comparisons of the bodies, with the null rules of CGeneric.
    unsigned char operator==(const CGeneric& o) const { return CGeneric(*this) == o; }
    unsigned char operator!=(const CGeneric& o) const { return CGeneric(*this) != o; }
    unsigned char operator<(const CGeneric& o) const { return CGeneric(*this) < o; }
    unsigned char operator<=(const CGeneric& o) const { return CGeneric(*this) <= o; }
    unsigned char operator>(const CGeneric& o) const { return CGeneric(*this) > o; }
    unsigned char operator>=(const CGeneric& o) const { return CGeneric(*this) >= o; }

    // "*NULL*" for a null node.
    CUniStr GetPrettyPrint(unsigned int options = 0) const;
    CUniStr GetDebugString() const { return GetPrettyPrint(0); }

private:
    CTreeNodeRep& Body();
};

// A node of this type with an empty bundle.
ZTBASE_API CTreeNode MakeTreeNode(const CSymbol& type = CSymbol());
// The flat list (type bundle primary k secondary... n child-lists...) and back; ConvertListToTree of a list
// not in that layout gives a null node.
ZTBASE_API CGenericList ConvertTreeToList(const CTreeNode& node);
ZTBASE_API CTreeNode ConvertListToTree(const CGenericList& list);

// Reads the next tree of treebank text from position (null when only white space is left) and leaves
// position behind it; stoppedAt tells where reading stopped when it throws.
ZTBASE_API CTreeNode ReadPennTree(const CUniStr& text, unsigned int& position, unsigned int& stoppedAt);

}  // namespace ZtBase
