// Unification: the result table, every row of the dispatch, both bundle rules, bindings kept after a
// failure, levels, the two set operations, a variable bound to itself, and long lists.
#include <gtest/gtest.h>
#include <ztbase/generic/unify.h>

#include <set>
#include <string>

#include "generic_support.h"

using namespace ZtBase;
using namespace generic_support;

namespace {

// The bindings of a result as "name=value" in table order; an unbound name shows as "name=".
std::string Bindings(const CSingleUnificationResult& r) {
    std::string out;
    for (int i = 0; i < r.GetVariableCount(); ++i)
        out += (i ? " " : "") + Utf8(r.GetVariableNameIdx(i)) + "=" + Text(r.GetVariableValueIdx(i));
    return out;
}

struct Outcome {
    bool unified;
    std::string bindings;
};
Outcome Unify(const char16_t* a, const char16_t* b, unsigned char subsume) {
    CSingleUnificationResult r;
    const bool unified = UnifySimple(Read(a), Read(b), r, subsume);
    return {unified, Bindings(r)};
}

TEST(Unification, TheDispatchTable) {
    const struct {
        const char16_t *a, *b;
        unsigned char subsume;
        bool unified;
        const char* bindings;
    } cases[] = {
        {u"cat", u"cat", 0, true, ""},
        {u"cat", u"\"cat\"", 0, false, ""},  // same text, other kind
        {u"1.5", u"1.5", 0, true, ""},
        {u"\"a\"", u"\"b\"", 0, false, ""},
        {u"_x", u"3", 0, true, "_x=3"},
        {u"3", u"_x", 0, true, "_x=3"},
        {u"_x", u"_y", 0, true, "_x=_y"},
        {u"_x", u"(a b)", 0, true, "_x=(a b)"},
        {u"()", u"()", 0, true, ""},
        {u"()", u"_x", 0, true, "_x="},  // bound to null
        {u"k = _v", u"k = 2", 0, true, "_v=2"},
        {u"k = 1", u"j = 1", 0, false, ""},
        {u"(a _x c)", u"(a b c)", 0, true, "_x=b"},
        {u"(a b)", u"(a b c)", 0, false, ""},
        {u"(a . _r)", u"(a b c)", 0, true, "_r=(b c)"},
        {u"(_x _x)", u"(1 2)", 0, false, "_x=1"},
        {u"(1 _y)", u"(2 _z)", 0, false, ""},  // the first element fails: the rest is not tried
        {u"cat", u"(cat)", 0, false, ""},
        {u"{}", u"()", 0, false, ""},
        // Bundles: equal features in step (subsume zero) or the first's features present in the second.
        {u"{a = _x}", u"{a = 1, b = 2}", 0, false, "_x=1"},  // bindings made before the failure stay
        {u"{a = _x}", u"{a = 1, b = 2}", 1, true, "_x=1"},
        {u"{a = 1, b = 2}", u"{a = _x}", 0, false, "_x=1"},
        {u"{a = 1, b = 2}", u"{a = _x}", 1, false, "_x=1"},
        {u"{a = {n = _n}, b = _n}", u"{b = sg, a = {n = sg, p = 3}}", 1, true, "_n=sg"},
        {u"{a = {n = _n}, b = _n}", u"{b = pl, a = {n = sg}}", 1, false, "_n=sg"},
        {u"{a = }", u"{a = 1}", 1, false, ""},  // no value against a value: different kinds
        {u"{a = }", u"{a = }", 1, false, ""},   // a feature without a value counts as absent in the second
        {u"{a = }", u"{a = }", 0, true, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(Utf8(CUniStr(c.a)) + " with " + Utf8(CUniStr(c.b)) + (c.subsume ? " (subsume)" : ""));
        const Outcome o = Unify(c.a, c.b, c.subsume);
        EXPECT_EQ(o.unified, c.unified);
        EXPECT_EQ(o.bindings, c.bindings);
    }
}

TEST(Unification, SetsOnEitherSideAreNotSupported) {
    for (const auto& [a, b] : {std::pair{u"[1]", u"1"}, {u"1", u"[1]"}, {u"_x", u"[1]"}}) {
        CSingleUnificationResult r;
        ExpectError([&] { UnifySimple(Read(a), Read(b), r, 0); }, 10004, "Not supported", ".\\genericdata");
    }
}

TEST(Unification, AVariableIsDereferencedAndBoundOnce) {
    CSingleUnificationResult r;
    EXPECT_TRUE(UnifySimple(Read(u"_x"), Read(u"3"), r, 0));
    EXPECT_FALSE(UnifySimple(Read(u"_x"), Read(u"4"), r, 0)) << "_x is 3 now";
    EXPECT_TRUE(UnifySimple(Read(u"_y"), Read(u"_x"), r, 0));
    EXPECT_TRUE(UnifySimple(Read(u"_y"), Read(u"3"), r, 0)) << "_y is _x, which is 3";
    ExpectError([&] { r.BindVariable(CUniStr(u"_x"), Read(u"4")); }, 10004,
                "Attempt to multiply bind a variable!", ".\\genericdata");
    // Tree nodes, files and later kinds fail against a variable instead of binding it.
    EXPECT_FALSE(UnifySimple(Read(u"_z"), CGeneric(new CGenericXFileRep()), r, 0));
    EXPECT_FALSE(r.IsVarDefined(CUniStr(u"_z")));
}

TEST(Unification, AVariableBoundToItselfFailsInsteadOfLooping) {
    CSingleUnificationResult r;
    EXPECT_TRUE(UnifySimple(Read(u"_x"), Read(u"_x"), r, 0)) << "the binding is made, as documented";
    EXPECT_EQ(Bindings(r), "_x=_x");
    EXPECT_FALSE(UnifySimple(Read(u"_x"), Read(u"1"), r, 0));
    CSingleUnificationResult chain;  // _a -> _b -> _a
    chain.BindVariable(CUniStr(u"_a"), Read(u"_b"));
    chain.BindVariable(CUniStr(u"_b"), Read(u"_a"));
    EXPECT_FALSE(UnifySimple(Read(u"(_a)"), Read(u"(1)"), chain, 1));
}

TEST(UnificationResult, TableLevelsAndCopies) {
    CSingleUnificationResult r;
    r.DefVariable(CUniStr(u"_a"));
    r.DefVariable(CUniStr(u"_a"));  // once
    EXPECT_EQ(r.IncrementLevel(), 1);
    r.BindVariable(CUniStr(u"_a"), Read(u"1"));  // a defined name keeps its level (0)
    r.BindVariable(CUniStr(u"_b"), Read(u"2"));  // a new one enters at level 1
    const CSingleUnificationResult copy = r;
    r.ResetToLevel(1);
    EXPECT_EQ(Bindings(r), "_a=1 _b=");
    CGeneric value = Read(u"9");
    EXPECT_TRUE(r.IsVarBound(CUniStr(u"_b"), value)) << "bound means present, even without a value";
    EXPECT_TRUE(value.IsNull());
    EXPECT_TRUE(r.IsVarDefined(CUniStr(u"_b")));
    EXPECT_FALSE(r.IsVarBound(CUniStr(u"_c"), value));
    r.ResetToLevel(0);
    EXPECT_EQ(Bindings(r), "_a= _b=");
    EXPECT_EQ(r.GetCurrentLevel(), 0);
    EXPECT_EQ(Bindings(copy), "_a=1 _b=2") << "a copy keeps its own table";
    EXPECT_EQ(copy.GetCurrentLevel(), 1);
    for (const int i : {-1, 2, 100}) {
        EXPECT_EQ(r.GetVariableNameIdx(i).Length(), 0u);
        EXPECT_TRUE(r.GetVariableValueIdx(i).IsNull());
    }
    EXPECT_EQ(CSingleUnificationResult().GetVariableCount(), 0);
}

TEST(Unification, SetMembershipAndBundleIntersection) {
    const CGenericSet lexicon = Read(u"[{cat = N, num = sg}, {cat = N, num = pl}, {cat = V, num = sg}]");
    ZtArray<CSingleUnificationResult> results;
    EXPECT_TRUE(TestSetMembership(Read(u"{cat = N, num = _n}"), lexicon, results, 1));
    ASSERT_EQ(results.GetLength(), 2u);
    // One result each, in set order (which follows the symbols' numbers: either order of sg and pl).
    std::set<std::string> seen{Bindings(results[0u]), Bindings(results[1u])};
    EXPECT_EQ(seen, (std::set<std::string>{"_n=sg", "_n=pl"}));
    EXPECT_FALSE(TestSetMembership(Read(u"{cat = A}"), lexicon, results, 1));
    EXPECT_TRUE(TestSetMembership(CGeneric(), lexicon, results, 1)) << "null with subsumption: true at once";
    EXPECT_FALSE(TestSetMembership(CGeneric(), lexicon, results, 0));
    EXPECT_EQ(results.GetLength(), 2u) << "only appended to";

    // Elements of s1 that the bundle subsumes together with an element of s2, with the same bindings.
    CGenericSet out = MakeSet();
    EXPECT_TRUE(GetSetOfAssociationBundleIntersection(Read(u"{num = _n}"), lexicon,
                                                      Read(u"[{num = pl, per = 3}]"), out));
    EXPECT_EQ(Text(out), "[{cat=N,num=pl}]");
    EXPECT_FALSE(GetSetOfAssociationBundleIntersection(Read(u"{num = du}"), lexicon, lexicon, out));
}

// A list of a million elements unifies with a copy of itself without exhausting the stack.
TEST(Unification, LongListsUnifyWithoutDeepRecursion) {
    CGenericList list, pattern;
    for (int i = 0; i < 1000000; ++i) {
        list = CGenericList(Num(i % 7), list);
        pattern = CGenericList(i == 999999 ? CGeneric(CGenericVariable(u"_first")) : Num(i % 7), pattern);
    }
    CSingleUnificationResult r;
    EXPECT_TRUE(UnifySimple(pattern, list, r, 0));
    EXPECT_EQ(Bindings(r), "_first=" + Text(list.GetCar()));
}

}  // namespace
