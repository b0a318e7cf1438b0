// RedBlackTree<T, Compare>: the ordered tree under sets and association bundles.
//
// The tree holds the root and the element count; absent children are null and count as black leaves.
// Membership is decided by equivalence under Compare (neither value less than the other). Values never
// move between nodes: erasing a node with two children exchanges its position with its successor's,
// so iterators to other elements stay valid.
//
// Nodes come from the memory pools, whose pages keep the nodes of one tree close together. A node may
// also carry a small cached key (ZtTreeKey below) so that comparisons during a descent need not reach
// through the element to its body; the cache is an internal detail that no caller can see, and the order
// stays exactly Compare's.
#pragma once

#include <cstddef>
#include <functional>
#include <new>
#include <utility>

#include "ztbase/base/memory_pool.h"
#include "ztbase/errors/exceptions.h"

namespace ZtBase {

namespace detail {
inline constexpr char kTreeModule[] = ".\\ztset";
// The lines that the tree's errors report.
inline constexpr unsigned kLineInvalidTree = 675;
inline constexpr unsigned kLineBadAlgorithmLeft = 751;
inline constexpr unsigned kLineBadAlgorithmRight = 823;

[[noreturn]] inline void ThrowTreeError(const char* message, unsigned line) {
    throw CZtSimpleException(kErrThreadOrStructure, CUniStr(message), kTreeModule, line);
}
}  // namespace detail

// What a node keeps beside its value to speed up comparisons. The general form keeps nothing and asks
// Compare. A specialisation supplies `Cached`, `Make(value)` (also for every lookup type the tree is
// searched with) and `Less(compare, a, cachedA, b, cachedB)`, which must answer exactly as compare(a, b).
template <class T, class Compare>
struct ZtTreeKey {
    struct Cached {};
    template <class V>
    static Cached Make(const V&) noexcept {
        return {};
    }
    template <class A, class B>
    static bool Less(const Compare& compare, const A& a, const Cached&, const B& b, const Cached&) {
        return compare(a, b);
    }
};

template <class T, class Compare = std::less<T>>
class RedBlackTree {
    using Keys = ZtTreeKey<T, Compare>;
    using Cached = typename Keys::Cached;

public:
    static constexpr unsigned kRed = 0;
    static constexpr unsigned kBlack = 1;

    struct Node {
        Node* left;
        Node* right;
        Node* parent;
        unsigned colour;  // kRed or kBlack
        // Beside the links, so that a descent reads one cache line per node.
        [[no_unique_address]] Cached key;
        T value;
    };

    class const_iterator {
    public:
        using value_type = T;
        using reference = const T&;
        using pointer = const T*;
        using difference_type = std::ptrdiff_t;

        const_iterator() noexcept = default;
        const_iterator(const Node* node, const RedBlackTree* tree) noexcept : m_node(node), m_tree(tree) {}

        const T& operator*() const noexcept { return m_node->value; }
        const T* operator->() const noexcept { return &m_node->value; }
        // What the node keeps of its value for quick comparisons.
        const Cached& CachedKey() const noexcept { return m_node->key; }
        // The end position steps to the first element again (null for an empty tree).
        const_iterator& operator++() noexcept {
            if (!m_node) {
                m_node = m_tree ? Leftmost(m_tree->m_root) : nullptr;
            } else if (m_node->right) {
                m_node = Leftmost(m_node->right);
            } else {
                const Node* n = m_node;
                const Node* p = n->parent;
                while (p && n == p->right) {
                    n = p;
                    p = p->parent;
                }
                m_node = p;
            }
            return *this;
        }
        const_iterator operator++(int) noexcept {
            const_iterator old = *this;
            ++*this;
            return old;
        }
        bool operator==(const const_iterator& o) const noexcept { return m_node == o.m_node; }
        bool operator!=(const const_iterator& o) const noexcept { return m_node != o.m_node; }

        const Node* GetNode() const noexcept { return m_node; }
        const RedBlackTree* GetTree() const noexcept { return m_tree; }

    private:
        const Node* m_node = nullptr;
        const RedBlackTree* m_tree = nullptr;
    };

    RedBlackTree() noexcept = default;
    explicit RedBlackTree(const Compare& compare) : m_compare(compare) {}
    // A copy is rebuilt by inserting every element in ascending order.
    RedBlackTree(const RedBlackTree& other) : m_compare(other.m_compare) { InsertAll(other); }
    RedBlackTree& operator=(const RedBlackTree& other) {
        if (this != &other) {
            clear();
            InsertAll(other);
        }
        return *this;
    }
    ~RedBlackTree() { clear(); }

    unsigned int size() const noexcept { return m_count; }
    bool empty() const noexcept { return m_count == 0; }
    const_iterator begin() const noexcept { return const_iterator(Leftmost(m_root), this); }
    const_iterator end() const noexcept { return const_iterator(nullptr, this); }

    // The element equivalent to key, or end().
    template <class K>
    const_iterator find(const K& key) const {
        return const_iterator(FindNode(key), this);
    }
    template <class K>
    bool contains(const K& key) const {
        return FindNode(key) != nullptr;
    }

    // Unique insertion: an equivalent element already present stays and the result is (end(), false).
    std::pair<const_iterator, bool> insert(const T& value) { return Insert(NewNode(value)); }
    std::pair<const_iterator, bool> insert(T&& value) { return Insert(NewNode(std::move(value))); }

    // Replaces the value of an equivalent element in its node, or inserts: the outcome of removing the
    // equivalent element and inserting the new one, with one descent. True when a node was added.
    bool insert_or_assign(T&& value) {
        const Cached kv = Keys::Make(value);
        Node* at = m_root;
        Node** link = &m_root;
        while (at) {
            if (Less(value, kv, at->value, at->key)) {
                if (!at->left) {
                    link = &at->left;
                    break;
                }
                at = at->left;
            } else if (Less(at->value, at->key, value, kv)) {
                if (!at->right) {
                    link = &at->right;
                    break;
                }
                at = at->right;
            } else {
                at->value = std::move(value);
                at->key = Keys::Make(at->value);
                return false;
            }
        }
        Node* node = NewNode(std::move(value));
        node->parent = at;
        *link = node;
        ++m_count;
        InsertRepair(node);
        return true;
    }

    // Removes the element equivalent to key; false when there is none.
    template <class K>
    bool erase(const K& key) {
        Node* node = FindNode(key);
        if (!node) return false;
        EraseNode(node);
        return true;
    }
    void erase(const_iterator position) {
        if (position.GetNode()) EraseNode(const_cast<Node*>(position.GetNode()));
    }

    // Frees every node in post-order, without recursion.
    void clear() noexcept {
        Node* n = m_root;
        while (n) {
            if (n->left) {
                n = n->left;
            } else if (n->right) {
                n = n->right;
            } else {
                Node* p = n->parent;
                if (p) (p->left == n ? p->left : p->right) = nullptr;
                FreeNode(n);
                n = p;
            }
        }
        m_root = nullptr;
        m_count = 0;
    }

    // ---- for tests: the shape and the rules of the tree ------------------------------------------------
    Node* GetRoot() const noexcept { return m_root; }
    // The black height (null leaves count as one), or -1 when a rule is broken: a red root, a red node
    // with a red child, unequal black counts, a wrong parent link, elements out of order, a wrong count.
    int CheckInvariants() const {
        if (!m_root) return m_count == 0 ? 1 : -1;
        if (m_root->parent || m_root->colour != kBlack) return -1;
        unsigned seen = 0;
        const int height = CheckSubtree(m_root, seen);
        if (height < 0 || seen != m_count) return -1;
        const Node* previous = nullptr;
        for (const_iterator it = begin(); it != end(); ++it) {
            const Node* n = it.GetNode();
            if (previous && !Less(previous->value, previous->key, n->value, n->key)) return -1;
            previous = n;
        }
        return height;
    }

private:
    // Attaches a new node where the descent ends, or frees it when an equivalent element is present.
    std::pair<const_iterator, bool> Insert(Node* node) {
        if (!m_root) {
            node->colour = kBlack;
            m_root = node;
            ++m_count;
            return {const_iterator(node, this), true};
        }
        Node* at = m_root;
        for (;;) {
            if (Less(node->value, node->key, at->value, at->key)) {
                if (!at->left) {
                    at->left = node;
                    break;
                }
                at = at->left;
            } else if (Less(at->value, at->key, node->value, node->key)) {
                if (!at->right) {
                    at->right = node;
                    break;
                }
                at = at->right;
            } else {
                FreeNode(node);
                return {end(), false};
            }
        }
        node->parent = at;
        ++m_count;
        InsertRepair(node);
        return {const_iterator(node, this), true};
    }

    static const Node* Leftmost(const Node* n) noexcept {
        if (n)
            while (n->left) n = n->left;
        return n;
    }
    static Node* Leftmost(Node* n) noexcept {
        if (n)
            while (n->left) n = n->left;
        return n;
    }
    static bool IsRed(const Node* n) noexcept { return n && n->colour == kRed; }
    static bool IsBlack(const Node* n) noexcept { return !n || n->colour != kRed; }

    template <class A, class B>
    bool Less(const A& a, const Cached& ka, const B& b, const Cached& kb) const {
        return Keys::Less(m_compare, a, ka, b, kb);
    }

    template <class K>
    Node* FindNode(const K& key) const {
        const Cached kk = Keys::Make(key);
        Node* n = m_root;
        while (n) {
            if (Less(key, kk, n->value, n->key))
                n = n->left;
            else if (Less(n->value, n->key, key, kk))
                n = n->right;
            else
                return n;
        }
        return nullptr;
    }

    template <class V>
    Node* NewNode(V&& value) {
        unsigned granted = 0;
        void* block = gMemoryPoolManager.AllocateBlock(sizeof(Node), granted);
        if (!block) throw CMemoryError();
        Node* n = static_cast<Node*>(block);
        n->left = n->right = n->parent = nullptr;
        n->colour = kRed;
        try {
            new (&n->value) T(std::forward<V>(value));
        } catch (...) {
            gMemoryPoolManager.ReleaseBlock(block);
            throw;
        }
        new (&n->key) Cached(Keys::Make(n->value));
        return n;
    }
    static void FreeNode(Node* n) noexcept {
        n->key.~Cached();
        n->value.~T();
        gMemoryPoolManager.ReleaseBlock(n);
    }

    void InsertAll(const RedBlackTree& other) {
        for (const_iterator it = other.begin(); it != other.end(); ++it) insert(*it);
    }

    // Lifts x's right child into x's place; nothing without that child.
    void RotateLeft(Node* x) noexcept {
        Node* y = x->right;
        if (!y) return;
        x->right = y->left;
        if (y->left) y->left->parent = x;
        ReplaceChild(x, y);
        y->left = x;
        x->parent = y;
    }
    void RotateRight(Node* x) noexcept {
        Node* y = x->left;
        if (!y) return;
        x->left = y->right;
        if (y->right) y->right->parent = x;
        ReplaceChild(x, y);
        y->right = x;
        x->parent = y;
    }
    // y takes x's place under x's parent (or as the root).
    void ReplaceChild(Node* x, Node* y) noexcept {
        Node* p = x->parent;
        if (y) y->parent = p;
        if (!p)
            m_root = y;
        else if (p->left == x)
            p->left = y;
        else
            p->right = y;
    }

    void InsertRepair(Node* x) noexcept {
        while (IsRed(x->parent)) {
            Node* p = x->parent;
            Node* g = p->parent;
            if (!g) break;
            if (p == g->left) {
                Node* u = g->right;
                if (IsRed(u)) {
                    p->colour = kBlack;
                    u->colour = kBlack;
                    g->colour = kRed;
                    if (g == m_root) {
                        g->colour = kBlack;
                        break;
                    }
                    x = g;
                    continue;
                }
                if (x == p->right) {
                    x = p;
                    RotateLeft(x);
                    p = x->parent;
                }
                p->colour = kBlack;
                g->colour = kRed;
                RotateRight(g);
                break;
            }
            Node* u = g->left;
            if (IsRed(u)) {
                p->colour = kBlack;
                u->colour = kBlack;
                g->colour = kRed;
                if (g == m_root) {
                    g->colour = kBlack;
                    break;
                }
                x = g;
                continue;
            }
            if (x == p->left) {
                x = p;
                RotateRight(x);
                p = x->parent;
            }
            p->colour = kBlack;
            g->colour = kRed;
            RotateLeft(g);
            break;
        }
        m_root->colour = kBlack;
    }

    // Exchanges the tree positions (and colours) of z and its successor y, the leftmost node of z's right
    // subtree; the values stay in their nodes.
    void SwapWithSuccessor(Node* z, Node* y) noexcept {
        Node* zl = z->left;
        Node* yr = y->right;
        if (y == z->right) {
            // y comes up into z's place; z becomes y's right child.
            ReplaceChild(z, y);
            y->left = zl;
            zl->parent = y;
            y->right = z;
            z->parent = y;
        } else {
            Node* yp = y->parent;
            Node* zr = z->right;
            ReplaceChild(z, y);
            y->left = zl;
            zl->parent = y;
            y->right = zr;
            zr->parent = y;
            yp->left = z;
            z->parent = yp;
        }
        z->left = nullptr;
        z->right = yr;
        if (yr) yr->parent = z;
        std::swap(z->colour, y->colour);
    }

    void Splice(Node* z, Node* c) noexcept { ReplaceChild(z, c); }

    void EraseNode(Node* z) {
        if (z->left && z->right) SwapWithSuccessor(z, Leftmost(z->right));
        Node* c = z->left ? z->left : z->right;
        if (z == m_root) {
            m_root = c;
            if (c) {
                c->parent = nullptr;
                c->colour = kBlack;
            }
        } else if (z->colour == kRed) {
            Splice(z, c);
        } else if (IsBlack(c)) {
            RemovalRepair(z);
            Splice(z, c);
        } else {
            Splice(z, c);
            c->colour = kBlack;
        }
        FreeNode(z);
        --m_count;
    }

    // Repairs the tree around the black node x that is about to be removed (x carries an extra black).
    // The cases are tried in a fixed order; when the tree holds a red parent with a red sibling no case
    // applies and the tree is reported broken.
    void RemovalRepair(Node* x) {
        for (;;) {
            if (!x || x->colour == kRed)
                detail::ThrowTreeError("Invalid Red Black Tree.", detail::kLineInvalidTree);
            if (x == m_root) return;
            Node* p = x->parent;
            const bool right = x == p->right;
            Node* s = right ? p->left : p->right;
            const unsigned badLine = right ? detail::kLineBadAlgorithmRight : detail::kLineBadAlgorithmLeft;
            if (!s) detail::ThrowTreeError("Bad Algorithm", badLine);
            Node* nearN = right ? s->right : s->left;
            Node* farN = right ? s->left : s->right;
            // Rotations named as for x a right child; a left child mirrors them.
            auto rotateTowardX = [&](Node* at) { right ? RotateRight(at) : RotateLeft(at); };
            auto rotateAwayFromX = [&](Node* at) { right ? RotateLeft(at) : RotateRight(at); };
            const bool pRed = IsRed(p), sRed = IsRed(s);
            if (!pRed && sRed) {
                rotateTowardX(p);
                s->colour = kBlack;
                p->colour = kRed;
                continue;
            }
            if (pRed && !sRed && IsBlack(nearN) && IsBlack(farN)) {
                p->colour = kBlack;
                s->colour = kRed;
                return;
            }
            if (pRed && !sRed && IsRed(nearN) && IsBlack(farN)) {
                rotateAwayFromX(s);
                rotateTowardX(p);
                // Deliberately not the textbook colouring: the new top is black and both of its
                // children red; the black heights stay equal all the same.
                nearN->colour = kBlack;
                p->colour = kRed;
                s->colour = kRed;
                return;
            }
            if (!pRed && !sRed && IsRed(nearN) && IsBlack(farN)) {
                rotateAwayFromX(s);
                rotateTowardX(p);
                p->colour = kBlack;
                nearN->colour = kBlack;
                s->colour = kBlack;
                return;
            }
            if (!sRed && IsRed(farN)) {
                rotateTowardX(p);
                s->colour = p->colour;
                p->colour = kBlack;
                farN->colour = kBlack;
                return;
            }
            if (!pRed && !sRed) {
                s->colour = kRed;
                x = p;
                continue;
            }
            detail::ThrowTreeError("Bad Algorithm", badLine);
        }
    }

    int CheckSubtree(const Node* n, unsigned& seen) const {
        if (!n) return 1;
        ++seen;
        if (n->left && n->left->parent != n) return -1;
        if (n->right && n->right->parent != n) return -1;
        if (n->colour == kRed && (IsRed(n->left) || IsRed(n->right))) return -1;
        if (n->colour != kRed && n->colour != kBlack) return -1;
        const int l = CheckSubtree(n->left, seen);
        const int r = CheckSubtree(n->right, seen);
        if (l < 0 || r < 0 || l != r) return -1;
        return l + (n->colour == kBlack ? 1 : 0);
    }

    Node* m_root = nullptr;
    unsigned int m_count = 0;
    [[no_unique_address]] Compare m_compare{};
};

}  // namespace ZtBase
