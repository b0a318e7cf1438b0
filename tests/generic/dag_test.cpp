// DAGs: the root and its hidden parenthood, linking, removal and node numbers, every message, the text
// of a DAG with its keys, and the values that wrap DAGs and nodes.
#include <gtest/gtest.h>
#include <ztbase/generic/generic_dag.h>

#include "generic_support.h"

using namespace ZtBase;
using namespace generic_support;

namespace {

TEST(Dag, RootParentsAndLinks) {
    CDagOfGenerics dag;
    EXPECT_EQ(Utf8(dag.GetPrettyPrint(CUniStr())), "    Root\n");
    CDagNodeGeneric root = dag.GetRootNode();
    CDagNodeGeneric a = dag.CreateNode(Num(1)), b = dag.CreateNode(Num(2));
    root.AddToChildren(a);
    root.AddToChildren(b);
    root.AddToChildren(a);  // already a child: nothing
    EXPECT_EQ(root.GetChildCount(), 2u);
    a.AddToChildren(b);
    EXPECT_EQ(b.GetParentCount(), 2u) << "under the root and under a";
    EXPECT_EQ(a.GetParentCount(), 0u) << "the root alone is hidden";
    ExpectError([&] { a.GetParentIdx(0); }, 10005, "GetParentIdx() called on a child of the root",
                ".\\ztdagimpl");
    EXPECT_TRUE(a.GetParentIdx(1).IsNull()) << "out of range";
    EXPECT_TRUE(b.GetParentIdx(1) == a);
    EXPECT_TRUE(root.GetChildIdx(2).IsNull());
    ExpectError([] { CDagNodeGeneric().GetChildIdx(0); }, 10005,
                "GetChildIdx() called on an uninitialized DAG");
    ExpectError([] { CDagNodeGeneric().GetParentIdx(0); }, 10005,
                "GetParentIdx() called on an uninitialized DAG");
    // Replacing a child leaves the former child with its parent (deliberately); other DAGs are ignored.
    CDagNodeGeneric c = dag.CreateNode(Num(3));
    a.SetChildIdx(0, c);
    EXPECT_TRUE(a.GetChildIdx(0) == c);
    EXPECT_EQ(b.GetParentCount(), 2u);
    CDagOfGenerics other;
    a.AddToChildren(other.CreateNode(Num(9)));
    EXPECT_EQ(a.GetChildCount(), 1u);
    EXPECT_EQ(CDagNodeGeneric().GetChildCount() + CDagNodeGeneric().GetParentCount(), 0u);
}

TEST(Dag, RemovalAndNodeNumbers) {
    CDagOfGenerics dag;
    CDagNodeGeneric root = dag.GetRootNode();
    CDagNodeGeneric n0 = dag.CreateNode(Num(0)), n1 = dag.CreateNode(Num(1)), n2 = dag.CreateNode(Num(2));
    root.AddToChildren(n0);
    n0.AddToChildren(n1);
    n1.AddToChildren(n2);
    EXPECT_EQ(n2.GetImplId(), 2u) << "new nodes go to the end of the list";
    EXPECT_EQ(root.GetImplId(), 99999u);
    CDagNodeGeneric removed = n1;
    removed.Remove();
    EXPECT_TRUE(removed.IsNull());
    EXPECT_EQ(n2.GetImplId(), 1u) << "later numbers drop by one";
    EXPECT_EQ(n1.GetImplId(), 99999u) << "a removed node is not numbered";
    EXPECT_EQ(n0.GetChildCount(), 0u);
    EXPECT_EQ(n2.GetParentCount(), 0u);
    EXPECT_EQ(n1.GetChildCount(), 1u) << "its own lists are kept";
    CDagOfGenerics other;
    EXPECT_EQ(CDagNodeGeneric(CDagNode<CGeneric>(other.GetRootNode().GetDagRep(), n0.GetImpl())).GetImplId(),
              99999u);
    EXPECT_EQ(dag.GetAllPaths(CUniStr()).GetLength(), 0u) << "computes nothing, as documented";
}

TEST(Dag, TextWithKeysAndFilters) {
    CDagOfGenerics dag;
    CDagNodeGeneric root = dag.GetRootNode();
    CDagNodeGeneric noun = dag.CreateNode(Read(u"{cat = N, lex = \"dog\"}"));
    CDagNodeGeneric list = dag.CreateNode(Read(u"({w = a} {w = a} {w = b})"));
    CDagNodeGeneric none = dag.CreateNode(CGeneric());
    root.AddToChildren(noun);
    noun.AddToChildren(list);
    root.AddToChildren(none);
    none.AddToChildren(list);  // shared: printed under both parents
    EXPECT_EQ(Utf8(dag.GetPrettyPrint(CUniStr(u"@lex"))),
              "    Root\n"
              "        0    \"dog\"\n"
              "            1    ( ... ...)\n"  // no element has lex: an empty item, then repeats
              "        2    \n"
              "            1    ( ... ...)\n");
    EXPECT_EQ(
        Utf8(root.GetPrettyPrint(CUniStr(u"@w"), 0)),
        "    Root\n        0    \n            1    (a ... b)\n        2    \n            1    (a ... b)\n");
    EXPECT_EQ(Utf8(noun.GetPrettyPrint(CUniStr(), 1)),
              "        0    {cat=N, lex=\"dog\"}\n            1    ({w=a} {w=a} {w=b})\n")
        << "no key: the value's pretty print";
    EXPECT_EQ(Utf8(none.GetPrettyPrint(CUniStr(u"k"), 1)).substr(0, 17), "        2    Null");
    EXPECT_EQ(Utf8(noun.GetPrettyPrint(CUniStr(u"KEY"), 1)).substr(0, 19), "        0    {KEY}\n")
        << "the text's first character, the key, its last character";
    dag.SetBundleFilter(CGenericString(u"@lex"));
    EXPECT_EQ(Utf8(dag.GetPrettyPrint(CUniStr())), Utf8(dag.GetPrettyPrint(CUniStr(u"@lex"))));
    dag.SetBundleFilter(Read(u"(\"@lex\" \"@cat\")"));
    EXPECT_EQ(Utf8(dag.GetPrettyPrint(CUniStr())).substr(0, 30), "    Root\n        0    \"dog\" N\n");
    EXPECT_EQ(Utf8(CDagNodeGeneric().GetPrettyPrint(CUniStr(), 0)), "Empty DAG\r\n");
}

TEST(Dag, ValuesAreEqualBySharingAndUnordered) {
    CDagOfGenerics one, two;
    const CGeneric a = CGenericDag(one), b = CGenericDag(one), c = CGenericDag(two);
    EXPECT_TRUE(a == b) << "the same representative";
    EXPECT_FALSE(a == c) << "identical content is not enough";
    EXPECT_FALSE(*a.GetRep() < *c.GetRep() || *a.GetRep() <= *c.GetRep() || *a.GetRep() >= *c.GetRep());
    CDagNodeGeneric node = one.CreateNode(Num(5));
    const CGeneric n1 = CGenericDagNode(node), n2 = CGenericDagNode(node);
    EXPECT_TRUE(n1 == n2);
    EXPECT_FALSE(n1 == a);
    std::vector<unsigned char> bytes;
    const CGeneric loadedDag = StoreAndLoad(a, &bytes);
    EXPECT_EQ(bytes, (std::vector<unsigned char>{11, 0, 0, 0}));
    EXPECT_EQ(loadedDag.GetType(), eGenericDag);
    EXPECT_FALSE(loadedDag == a) << "the graph does not survive";
    EXPECT_EQ(StoreAndLoad(n1, &bytes).GetType(), eGenericDag) << "a node writes the DAG's code";
    EXPECT_EQ(bytes, (std::vector<unsigned char>{11, 0, 0, 0}));
    EXPECT_EQ(Text(a), "    Root\n");
}

TEST(Dag, ACycleMadeByHandIsRefusedWhenPrinted) {
    CDagOfGenerics dag;
    CDagNodeGeneric x = dag.CreateNode(Num(1)), y = dag.CreateNode(Num(2));
    dag.GetRootNode().AddToChildren(x);
    x.AddToChildren(y);
    y.AddToChildren(x);
    ExpectError([&] { dag.GetPrettyPrint(CUniStr()); }, 10002, "DAG nested too deeply");
}

}  // namespace
