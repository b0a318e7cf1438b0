#include <gtest/gtest.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/generic/red_black_tree.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <vector>

using namespace ZtBase;

namespace {

using IntTree = RedBlackTree<int>;
using Node = IntTree::Node;

std::vector<int> Contents(const IntTree& tree) {
    std::vector<int> out;
    for (int v : tree) out.push_back(v);
    return out;
}

void ExpectSame(const IntTree& tree, const std::set<int>& reference) {
    ASSERT_GT(tree.CheckInvariants(), 0);
    ASSERT_EQ(tree.size(), reference.size());
    ASSERT_EQ(Contents(tree), std::vector<int>(reference.begin(), reference.end()));
}

const Node* FindNode(const IntTree& tree, int v) {
    return tree.find(v).GetNode();
}

std::string Narrow(const unsigned short* text) {
    std::string out;
    for (; text && *text; ++text) out += static_cast<char>(*text);
    return out;
}

// Counts live values, so that every value a node took is released exactly once.
struct Counted {
    static inline int live = 0;
    int v;
    explicit Counted(int x) : v(x) { ++live; }
    Counted(const Counted& o) : v(o.v) { ++live; }
    Counted& operator=(const Counted&) = default;
    ~Counted() { --live; }
    bool operator<(const Counted& o) const { return v < o.v; }
};

// ---- insertion and removal against a reference ----------------------------------------------------------

TEST(RedBlackTree, EveryInsertionOrderAndEveryRemovalOrderKeepsTheRules) {
    constexpr int n = 300;
    std::vector<int> ascending(n);
    std::iota(ascending.begin(), ascending.end(), 1);
    std::vector<int> descending(ascending.rbegin(), ascending.rend());
    std::vector<int> shuffled = ascending;
    std::mt19937 rng(20240611u);
    std::shuffle(shuffled.begin(), shuffled.end(), rng);
    const std::vector<std::vector<int>> orders = {ascending, descending, shuffled};
    for (const auto& insertOrder : orders) {
        for (const auto& eraseOrder : orders) {
            IntTree tree;
            std::set<int> reference;
            for (int v : insertOrder) {
                ASSERT_TRUE(tree.insert(v).second);
                reference.insert(v);
                ExpectSame(tree, reference);
            }
            for (int v : eraseOrder) {
                ASSERT_TRUE(tree.erase(v));
                reference.erase(v);
                ExpectSame(tree, reference);
            }
            EXPECT_EQ(tree.GetRoot(), nullptr);
        }
    }
}

TEST(RedBlackTree, RandomMixOfInsertsAndErasesMatchesStdSet) {
    std::mt19937 rng(77u);
    std::uniform_int_distribution<int> value(0, 400);
    std::uniform_int_distribution<int> coin(0, 2);
    IntTree tree;
    std::set<int> reference;
    for (int step = 0; step < 6000; ++step) {
        const int v = value(rng);
        if (coin(rng) != 0) {
            const auto [at, inserted] = tree.insert(v);
            EXPECT_EQ(inserted, reference.insert(v).second);
            if (inserted)
                EXPECT_EQ(*at, v);
            else
                EXPECT_TRUE(at == tree.end()) << "a refused duplicate reports the end position";
        } else {
            EXPECT_EQ(tree.erase(v), reference.erase(v) == 1);
        }
        EXPECT_EQ(tree.contains(v), reference.count(v) == 1);
        if (step % 16 == 0) ExpectSame(tree, reference);
    }
    ExpectSame(tree, reference);
}

TEST(RedBlackTree, EveryValueIsReleasedOnceAndDuplicatesAreNotKept) {
    {
        RedBlackTree<Counted> tree;
        for (int i = 0; i < 1000; ++i) tree.insert(Counted(i % 700));
        EXPECT_EQ(tree.size(), 700u);
        EXPECT_EQ(Counted::live, 700);
        for (int i = 0; i < 700; i += 2) tree.erase(Counted(i));
        EXPECT_EQ(Counted::live, 350);
        RedBlackTree<Counted> copy(tree);
        EXPECT_EQ(Counted::live, 700);
        copy = tree;
        EXPECT_EQ(Counted::live, 700);
        EXPECT_GT(copy.CheckInvariants(), 0);
    }
    EXPECT_EQ(Counted::live, 0);
}

TEST(RedBlackTree, ALargeTreeIsFreedWithoutRecursion) {
    IntTree tree;
    for (int i = 0; i < 200000; ++i) tree.insert(i);
    EXPECT_GT(tree.CheckInvariants(), 0);
    EXPECT_EQ(tree.size(), 200000u);
    tree.clear();
    EXPECT_EQ(tree.size(), 0u);
    EXPECT_EQ(tree.begin(), tree.end());
    tree.insert(5);  // usable after clearing
    EXPECT_EQ(Contents(tree), std::vector<int>{5});
}

// ---- shapes that removal must handle ------------------------------------------------------------------

TEST(RedBlackTree, RemovingANodeWhoseSuccessorIsItsRightChildKeepsOtherNodesInPlace) {
    IntTree tree;
    for (int v : {10, 5, 15, 3, 7, 20}) tree.insert(v);
    const Node* five = FindNode(tree, 5);
    const Node* seven = FindNode(tree, 7);
    ASSERT_EQ(five->right, seven);
    ASSERT_EQ(seven->left, nullptr);
    const auto at7 = tree.find(7);
    ASSERT_TRUE(tree.erase(5));
    EXPECT_GT(tree.CheckInvariants(), 0);
    EXPECT_EQ(FindNode(tree, 7), seven) << "values never move between nodes";
    EXPECT_EQ(*at7, 7);
    auto next = at7;
    EXPECT_EQ(*++next, 10);
    EXPECT_EQ(Contents(tree), (std::vector<int>{3, 7, 10, 15, 20}));
    // The root itself with its successor as right child.
    ASSERT_TRUE(tree.erase(10));
    EXPECT_GT(tree.CheckInvariants(), 0);
    EXPECT_EQ(Contents(tree), (std::vector<int>{3, 7, 15, 20}));
}

TEST(RedBlackTree, RemovingANodeWhoseSuccessorLiesDeeperSwapsPositionsNotValues) {
    IntTree tree;
    for (int v : {50, 30, 70, 20, 40, 60, 80, 55, 65}) tree.insert(v);
    const Node* fiftyFive = FindNode(tree, 55);
    ASSERT_NE(FindNode(tree, 70)->right, nullptr);
    ASSERT_TRUE(tree.erase(50));
    EXPECT_GT(tree.CheckInvariants(), 0);
    EXPECT_EQ(FindNode(tree, 55), fiftyFive);
    EXPECT_EQ(tree.GetRoot(), fiftyFive);
    EXPECT_EQ(Contents(tree), (std::vector<int>{20, 30, 40, 55, 60, 65, 70, 80}));
}

TEST(RedBlackTree, RemovingTheRootWithOneChildMakesTheChildABlackRoot) {
    for (int other : {0, 2}) {
        IntTree tree;
        tree.insert(1);
        tree.insert(other);
        const Node* child = FindNode(tree, other);
        ASSERT_EQ(child->colour, IntTree::kRed);
        ASSERT_TRUE(tree.erase(1));
        EXPECT_EQ(tree.GetRoot(), child);
        EXPECT_EQ(child->parent, nullptr);
        EXPECT_EQ(child->colour, IntTree::kBlack);
        EXPECT_EQ(tree.size(), 1u);
        ASSERT_TRUE(tree.erase(other));
        EXPECT_EQ(tree.GetRoot(), nullptr);
        EXPECT_FALSE(tree.erase(other));
    }
}

TEST(RedBlackTree, IncrementingTheEndPositionYieldsTheFirstElement) {
    IntTree tree;
    auto e = tree.end();
    EXPECT_EQ(++e, tree.end()) << "an empty tree has no first element";
    for (int v : {4, 2, 9}) tree.insert(v);
    auto it = tree.begin();
    EXPECT_EQ(*it++, 2);
    EXPECT_EQ(*it++, 4);
    EXPECT_EQ(*it++, 9);
    EXPECT_EQ(it, tree.end());
    ++it;
    ASSERT_NE(it, tree.end());
    EXPECT_EQ(*it, 2);
    EXPECT_EQ(it.GetTree(), &tree);
}

// The repair case where the parent is red, the sibling black, the near nephew red and the far one black:
// the near nephew comes to the top coloured black, and both the parent and the sibling end red (unlike the
// usual colouring, which leaves the top red and its children black).
TEST(RedBlackTree, RedParentWithRedNearNephewLeavesABlackTopWithTwoRedChildren) {
    struct Case {
        std::vector<int> inserts;
        int removed, parent, sibling, nephew;
    };
    // 20B (10B, 40R (30B (-, 35R), 50B)): removing 50 (a right child); and its mirror image.
    const Case cases[] = {{{20, 10, 40, 30, 50, 35}, 50, 40, 30, 35},
                          {{40, 50, 20, 30, 10, 25}, 10, 20, 30, 25}};
    for (const Case& c : cases) {
        IntTree tree;
        for (int v : c.inserts) tree.insert(v);
        const Node* p = FindNode(tree, c.parent);
        const Node* s = FindNode(tree, c.sibling);
        const Node* nephew = FindNode(tree, c.nephew);
        ASSERT_EQ(p->colour, IntTree::kRed);
        ASSERT_EQ(s->colour, IntTree::kBlack);
        ASSERT_EQ(nephew->colour, IntTree::kRed);
        ASSERT_EQ(FindNode(tree, c.removed)->colour, IntTree::kBlack);
        ASSERT_EQ(nephew->parent, s);
        ASSERT_TRUE(tree.erase(c.removed));
        EXPECT_GT(tree.CheckInvariants(), 0);
        EXPECT_EQ(nephew->colour, IntTree::kBlack);
        EXPECT_EQ(p->colour, IntTree::kRed);
        EXPECT_EQ(s->colour, IntTree::kRed);
        EXPECT_EQ(p->parent, nephew);
        EXPECT_EQ(s->parent, nephew);
        EXPECT_EQ(nephew->parent, tree.GetRoot());
    }
}

TEST(RedBlackTree, ABrokenTreeIsReportedWithTheSideOfTheRemovedNode) {
    // A red parent with a red sibling matches no repair case.
    for (const auto& [removed, kept, line] : {std::tuple{10, 30, 751u}, std::tuple{30, 10, 823u}}) {
        IntTree tree;
        for (int v : {20, 10, 30}) tree.insert(v);
        Node* root = tree.GetRoot();
        root->colour = IntTree::kRed;
        const_cast<Node*>(FindNode(tree, removed))->colour = IntTree::kBlack;
        const_cast<Node*>(FindNode(tree, kept))->colour = IntTree::kRed;
        try {
            tree.erase(removed);
            ADD_FAILURE() << "a broken tree was not reported";
        } catch (const CZtSimpleException& e) {
            EXPECT_EQ(e.GetExceptionErrorCode(), 10005u);
            EXPECT_EQ(Narrow(e.GetErrorString(0)), "Bad Algorithm");
            EXPECT_EQ(Narrow(e.GetModuleName()), ".\\ztset");
            EXPECT_EQ(e.GetLineNumber(), line);
        }
        EXPECT_EQ(tree.size(), 3u) << "nothing is removed once the tree is found broken";
        EXPECT_EQ(tree.CheckInvariants(), -1);
    }
}

TEST(RedBlackTree, CheckInvariantsNoticesEachBrokenRule) {
    IntTree tree;
    for (int v : {20, 10, 30, 5}) tree.insert(v);
    ASSERT_EQ(tree.CheckInvariants(), 3);
    Node* five = const_cast<Node*>(FindNode(tree, 5));
    five->colour = IntTree::kBlack;  // unequal black counts
    EXPECT_EQ(tree.CheckInvariants(), -1);
    five->colour = IntTree::kRed;
    const_cast<Node*>(FindNode(tree, 10))->colour = IntTree::kRed;  // a red node with a red child
    EXPECT_EQ(tree.CheckInvariants(), -1);
    const_cast<Node*>(FindNode(tree, 10))->colour = IntTree::kBlack;
    tree.GetRoot()->colour = IntTree::kRed;
    EXPECT_EQ(tree.CheckInvariants(), -1);
    tree.GetRoot()->colour = IntTree::kBlack;
    EXPECT_EQ(tree.CheckInvariants(), 3);
}

}  // namespace
