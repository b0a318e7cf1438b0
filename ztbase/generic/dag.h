// DAGs: a rooted directed acyclic graph of nodes that carry values, with ordered children and parents.
// The root is an anchor without a value; the nodes a user sees as tops are the root's children. A CDag is a
// counted handle on the representative (copies share the graph); a CDagNode names one node of it.
//
// Nodes are made by CDag::CreateNode, which appends them to the end of the representative's node list
// (GetImplId numbers nodes by that list, counting only nodes not removed), and linked with SetChildIdx or
// AddToChildren. A removed node stays allocated, with its own lists, until the representative goes.
// Errors are CZtSimpleException 10005 from ".\\ztdagimpl".
#pragma once

#include <new>

#include "ztbase/base/arrays.h"
#include "ztbase/base/handle.h"
#include "ztbase/errors/exceptions.h"

namespace ZtBase {

namespace detail {
inline constexpr char kDagModule[] = ".\\ztdagimpl";
[[noreturn]] inline void ThrowDag(const char* message, unsigned line) {
    throw CZtSimpleException(kErrThreadOrStructure, CUniStr(message), kDagModule, line);
}
}  // namespace detail

template <class T>
class CDagNodeImpl {
public:
    explicit CDagNodeImpl(const T& v = T()) : value(v) {}
    CDagNodeImpl(const CDagNodeImpl&) = delete;
    CDagNodeImpl& operator=(const CDagNodeImpl&) = delete;
    virtual ~CDagNodeImpl() = default;

    T value;
    ZtArray<CDagNodeImpl*> children;
    ZtArray<CDagNodeImpl*> parents;
    unsigned char removed = 0;
    CDagNodeImpl* next = nullptr;
};

template <class T>
class CDagRep : public CRepBase {
public:
    CDagRep() = default;
    CDagRep(const CDagRep&) = delete;
    CDagRep& operator=(const CDagRep&) = delete;
    ~CDagRep() override {
        for (CDagNodeImpl<T>* node = head; node;) {
            CDagNodeImpl<T>* next = node->next;
            delete node;
            node = next;
        }
    }

    CDagNodeImpl<T> root;
    CDagNodeImpl<T>* head = nullptr;  // every node but the root, in the order they were made
    CDagNodeImpl<T>* tail = nullptr;
    unsigned int count = 0;  // the nodes made
};

template <class T>
class CDagNode {
public:
    using Rep = CDagRep<T>;
    using Impl = CDagNodeImpl<T>;

    CDagNode() noexcept = default;
    CDagNode(const ZtHandle<Rep>& dag, Impl* node) : m_dag(dag), m_node(node) {}
    virtual ~CDagNode() = default;
    CDagNode(const CDagNode&) = default;
    CDagNode& operator=(const CDagNode&) = default;

    unsigned char operator==(const CDagNode& o) const noexcept { return m_node == o.m_node; }
    unsigned char operator!=(const CDagNode& o) const noexcept { return m_node != o.m_node; }
    unsigned char IsNull() const noexcept { return m_node == nullptr; }
    Impl* GetImpl() const noexcept { return m_node; }
    const ZtHandle<Rep>& GetDagRep() const noexcept { return m_dag; }

    T GetValue() const { return m_node ? m_node->value : T(); }
    void SetValue(const T& value) { m_node->value = value; }

    unsigned int GetChildCount() const noexcept { return m_node ? m_node->children.GetLength() : 0; }
    CDagNode GetChildIdx(unsigned int i) const {
        if (!m_node) detail::ThrowDag("GetChildIdx() called on an uninitialized DAG", 582);
        return i < m_node->children.GetLength() ? CDagNode(m_dag, m_node->children[i]) : CDagNode();
    }
    // The root is hidden: a node whose only parent is the root has no parents here.
    unsigned int GetParentCount() const noexcept {
        if (!m_node || OnlyUnderRoot()) return 0;
        return m_node->parents.GetLength();
    }
    CDagNode GetParentIdx(unsigned int i) const {
        if (!m_node) detail::ThrowDag("GetParentIdx() called on an uninitialized DAG", 614);
        if (i >= m_node->parents.GetLength()) return CDagNode();
        if (OnlyUnderRoot()) detail::ThrowDag("GetParentIdx() called on a child of the root", 609);
        return CDagNode(m_dag, m_node->parents[i]);
    }

    // Only between nodes of one representative (otherwise nothing): i == the count appends child unless it
    // is a child already, i below it replaces child i (the former child keeps this node as a parent,
    // deliberately); child gets this node as a parent unless it has it.
    void SetChildIdx(unsigned int i, const CDagNode& child) {
        if (!m_node || !child.m_node || m_dag.GetRep() != child.m_dag.GetRep()) return;
        ZtArray<Impl*>& children = m_node->children;
        if (i == children.GetLength()) {
            if (children.FindValue(child.m_node) < 0) children.AddElement(child.m_node);
        } else if (i < children.GetLength()) {
            children[i] = child.m_node;
        } else {
            return;
        }
        if (child.m_node->parents.FindValue(m_node) < 0) child.m_node->parents.AddElement(m_node);
    }
    void AddToChildren(const CDagNode& child) { SetChildIdx(GetChildCount(), child); }

    // Unlinks the node from its parents and children, marks it removed and makes this reference null.
    void Remove() {
        if (!m_node) return;
        for (Impl* child : m_node->children) Erase(child->parents, m_node);
        for (Impl* parent : m_node->parents) Erase(parent->children, m_node);
        m_node->removed = 1;
        m_node = nullptr;
    }

    // The node's 0-based place in the node list among the nodes not removed; 99999 when it is not there
    // (the root, a removed node, a node of another DAG).
    unsigned int GetImplId() const noexcept {
        if (!m_node || m_node->removed || !m_dag.GetRep()) return 99999;
        unsigned id = 0;
        for (const Impl* node = m_dag.GetRep()->head; node; node = node->next) {
            if (node == m_node) return id;
            if (!node->removed) ++id;
        }
        return 99999;
    }

protected:
    bool OnlyUnderRoot() const noexcept {
        return m_node->parents.GetLength() == 1 && m_dag.GetRep() &&
               m_node->parents[0u] == &m_dag.GetRep()->root;
    }
    static void Erase(ZtArray<Impl*>& list, Impl* node) {
        const int at = list.FindValue(node);
        if (at >= 0) list.DeleteElement(static_cast<unsigned>(at));
    }

    ZtHandle<Rep> m_dag;
    Impl* m_node = nullptr;
};

template <class T>
class CDag {
public:
    using Rep = CDagRep<T>;

    CDag() {
        Rep* rep = new (std::nothrow) Rep();
        if (!rep) detail::ThrowDag("Could not create representative for a DAG", 65);
        m_rep.SetRepTo(rep);
    }
    virtual ~CDag() = default;
    CDag(const CDag&) = default;
    CDag& operator=(const CDag&) = default;

    CDagNode<T> GetRoot() const {
        return m_rep.GetRep() ? CDagNode<T>(m_rep, &m_rep.GetRep()->root) : CDagNode<T>();
    }
    // Same representative.
    unsigned char operator==(const CDag& o) const noexcept { return m_rep.GetRep() == o.m_rep.GetRep(); }
    void Release() { m_rep.Release(); }

    // A new node with the value, at the end of the node list, linked to nothing.
    CDagNode<T> CreateNode(const T& value) {
        Rep* rep = m_rep.GetRep();
        auto* node = new CDagNodeImpl<T>(value);
        (rep->tail ? rep->tail->next : rep->head) = node;
        rep->tail = node;
        ++rep->count;
        return CDagNode<T>(m_rep, node);
    }

protected:
    ZtHandle<Rep> m_rep;
};

}  // namespace ZtBase
