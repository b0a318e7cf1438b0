#include <gtest/gtest.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/files/file_system.h>
#include <ztbase/generic/list.h>
#include <ztbase/generic/scalars.h>
#include <ztbase/generic/symbol.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "generic_support.h"

using namespace ZtBase;

namespace {

using namespace generic_support;

CGenericList ReadList(const char16_t* text) {
    return static_cast<CGenericList>(Read(text));
}
std::string Text(const CGenericList& l) {
    return Utf8(l.GetString());
}

}  // namespace

TEST(GenericList, EmptyListGivesSharedNullsThatNothingChanges) {
    CGenericList empty;
    const CGeneric& car = empty.GetCar();
    const CGeneric& cdr = empty.GetCdr();
    EXPECT_TRUE(car.IsNull());
    EXPECT_TRUE(cdr.IsNull());
    EXPECT_NE(&car, &cdr) << "two distinct process-wide nulls";
    EXPECT_EQ(&CGenericList().GetCar(), &car);
    EXPECT_EQ(&empty.GetFirst(), &car);
    EXPECT_EQ(&empty.GetRest(), &cdr);

    empty.SetCar(CSymbol("a"));
    empty.SetCdr(CGeneric(3));
    EXPECT_EQ(Text(empty), "(a . 3)");
    EXPECT_TRUE(car.IsNull());
    EXPECT_TRUE(cdr.IsNull());
    EXPECT_TRUE(CGenericList().GetCdr().IsNull());

    CGenericList none;
    EXPECT_EQ(none.GetLength(), 0u);
    EXPECT_TRUE(none.GetNth(0).IsNull());
    EXPECT_TRUE(none.GetReverse().IsNull());
    EXPECT_TRUE(none.begin() == none.end());
    EXPECT_EQ(Text(none), "");
    EXPECT_EQ(none.GetDepth(), 0u);
    EXPECT_EQ(none.IncrementDepth(), 0u);
    EXPECT_TRUE(none.IsNull()) << "depth operations do not make a pair";
}

TEST(GenericList, ReadListEqualsBuiltPairs) {
    const CSymbol a("a"), b("b");
    CGenericList built(a, CGenericList(b, CGenericList()));
    EXPECT_TRUE(built.GetCdr().GetType() == eGenericList);
    EXPECT_TRUE(static_cast<CGenericList>(built.GetCdr()).GetCdr().IsNull());
    EXPECT_TRUE(ReadList(u"(a b)") == built);
    EXPECT_TRUE(Read(u"(a b)") == CGeneric(built));
    EXPECT_FALSE(ReadList(u"(a b)") == ReadList(u"(a . b)"));
    EXPECT_FALSE(ReadList(u"(a b)") == ReadList(u"(a b c)"));
    EXPECT_TRUE(ReadList(u"(a (b c) . d)") == ReadList(u"( a ( b c ) . d )"));
    // The two-value constructor keeps a non-list rest as a dotted end.
    EXPECT_EQ(Text(CGenericList(a, CGeneric(b))), "(a . b)");
    EXPECT_EQ(Text(CGenericList(CGeneric(), CGenericList())), "(())");
}

TEST(GenericList, OrderIsLexicographicWithTheNullRestFirst) {
    struct Case {
        const char16_t* less;
        const char16_t* greater;
    } cases[] = {
        {u"(a b)", u"(a c)"},     {u"(a)", u"(a b)"},
        {u"(a b)", u"(b)"},       {u"(() b)", u"(a)"},
        {u"(a . b)", u"(a . c)"}, {u"(a)", u"(a . b)"},
        {u"(1 2)", u"(1 a)"},     {u"((a b) c)", u"((a c))"},
        {u"((a) b)", u"((a b))"}, {u"(1 (2 3) 4)", u"(1 (2 3) 5)"},
    };
    CSymbol("a"), CSymbol("b"), CSymbol("c");  // a < b < c by index
    for (const Case& c : cases) {
        const CGenericList x = ReadList(c.less), y = ReadList(c.greater);
        SCOPED_TRACE(Text(x) + " < " + Text(y));
        EXPECT_TRUE(x < y);
        EXPECT_FALSE(y < x);
        EXPECT_TRUE(x <= y);
        EXPECT_FALSE(y <= x);
        EXPECT_TRUE(y > x);
        EXPECT_TRUE(y >= x);
        EXPECT_FALSE(x >= y);
        EXPECT_TRUE(CGeneric(x) < CGeneric(y));
        EXPECT_FALSE(CGeneric(x) == CGeneric(y));
    }
    const CGenericList p = ReadList(u"(a (b) . c)"), q = ReadList(u"(a (b) . c)");
    EXPECT_TRUE(p == q);
    EXPECT_FALSE(p < q);
    EXPECT_TRUE(p <= q);
    EXPECT_TRUE(p >= q);
    // The empty list is the null value: it sorts before every list. Other kinds follow the kind order.
    EXPECT_TRUE(CGenericList() < p);
    EXPECT_TRUE(CGenericList() == CGenericList());
    EXPECT_TRUE(CGeneric(p) < CGeneric(1)) << "lists sort before numbers";
    EXPECT_TRUE(CGeneric(CSymbol("a")) > CGeneric(p));
    EXPECT_FALSE(CGeneric(p) == Read(u"[a, b, c]"));
}

// The length stops at a null element and at a dotted end; GetNth counts from zero, passes over null
// elements and gives null beyond the last element.
TEST(GenericList, LengthAndNthElement) {
    const struct {
        const char16_t* list;
        unsigned length;
        unsigned n;
        const char* nth;
    } cases[] = {
        {u"(a b c)", 3, 0, "a"}, {u"(a b c)", 3, 2, "c"},         {u"(a b c)", 3, 3, ""},
        {u"(a b c)", 3, 5, ""},  {u"(a . b)", 1, 1, ""},          {u"(a () b)", 1, 2, "b"},
        {u"(() a)", 0, 1, "a"},  {u"((a b c))", 1, 0, "(a b c)"}, {u"(a b . c)", 2, 1, "b"},
    };
    for (const auto& c : cases) {
        const CGenericList list = ReadList(c.list);
        EXPECT_EQ(list.GetLength(), c.length) << Text(list);
        EXPECT_EQ(Text(list.GetNth(c.n)), c.nth) << Text(list) << " element " << c.n;
    }
}

TEST(GenericList, ReverseMakesNewPairsAndLeavesTheListAlone) {
    const CGenericList abc = ReadList(u"(a b c)");
    const CGenericList cba = abc.GetReverse();
    EXPECT_EQ(Text(cba), "(c b a)");
    EXPECT_EQ(Text(abc), "(a b c)");
    EXPECT_EQ(Text(ReadList(u"(a b . c)").GetReverse()), "(b a)");
    EXPECT_EQ(Text(ReadList(u"(a () (b c))").GetReverse()), "((b c) () a)");
    // The values are shared, the pairs are new.
    const CGenericList nested = ReadList(u"((x) y)");
    EXPECT_EQ(nested.GetReverse().GetNth(1).GetRep(), nested.GetCar().GetRep());
}

TEST(GenericList, DepthCounterNeverGoesBelowZeroAndIsNotPartOfTheValue) {
    CGenericList list = ReadList(u"(a b)");
    EXPECT_EQ(list.GetDepth(), 0u);
    EXPECT_EQ(list.DecrementDepth(), 0u);
    EXPECT_EQ(list.IncrementDepth(), 1u);
    EXPECT_EQ(list.IncrementDepth(), 2u);
    CGenericList shared = list;
    EXPECT_EQ(shared.DecrementDepth(), 1u) << "the counter is the pair's, seen through every handle";
    EXPECT_EQ(list.GetDepth(), 1u);
    EXPECT_TRUE(list == ReadList(u"(a b)"));
    // A copy made on write starts at 0.
    shared.SetCar(CSymbol("z"));
    EXPECT_EQ(shared.GetDepth(), 0u);
    EXPECT_EQ(list.GetDepth(), 1u);
}

TEST(GenericList, AppendConcatenatesCopyingThisListAndSharingTheArgument) {
    const CGenericList ab = ReadList(u"(a b)");
    const CGenericList c = ReadList(u"(c)");
    const CGenericList abc = ab.Append(c);
    EXPECT_EQ(Text(abc), "(a b c)");
    EXPECT_EQ(Text(ab), "(a b)");
    EXPECT_NE(abc.GetRep(), ab.GetRep());
    const CGenericList tail = static_cast<CGenericList>(static_cast<CGenericList>(abc.GetCdr()).GetCdr());
    EXPECT_EQ(tail.GetRep(), c.GetRep()) << "the argument's pairs are shared";

    const CGenericList copy = ab.Append(CGeneric(3));
    EXPECT_EQ(Text(copy), "(a b)") << "appending a value that is not a list copies the list";
    EXPECT_NE(copy.GetRep(), ab.GetRep());
    EXPECT_NE(copy.GetCdr().GetRep(), ab.GetCdr().GetRep());

    const CGenericList fromEmpty = CGenericList().Append(c);
    EXPECT_EQ(fromEmpty.GetRep(), c.GetRep()) << "the empty list appended with a list is that list";
    EXPECT_TRUE(CGenericList().Append(CGeneric(3)).IsNull());
    EXPECT_EQ(Text(ReadList(u"(a . x)").Append(c)), "(a c)") << "a dotted end is dropped";
    EXPECT_EQ(Text(ReadList(u"(a () b)").Append(c)), "(a () b c)");
}

TEST(GenericList, SettersCopyOnWrite) {
    CGenericList list = ReadList(u"(a b)");
    const CGenericList shared = list;
    list.SetCar(CSymbol("z"));
    EXPECT_EQ(Text(list), "(z b)");
    EXPECT_EQ(Text(shared), "(a b)");
    EXPECT_EQ(list.GetCdr().GetRep(), shared.GetCdr().GetRep()) << "only the first pair is copied";
    list.SetRest(CGeneric());
    EXPECT_EQ(Text(list), "(z)");
    list.SetFirst(list);  // a value taken from the list itself
    EXPECT_EQ(Text(list), "((z))");
}

TEST(GenericList, IteratorVisitsEveryPairButNotTheDottedEnd) {
    const CGenericList list = ReadList(u"(a () (b) . c)");
    std::vector<std::string> seen;
    for (const CGeneric& g : list) seen.push_back(Text(g));
    EXPECT_EQ(seen, (std::vector<std::string>{"a", "", "(b)"}));
    EXPECT_EQ(std::distance(list.begin(), list.end()), 3);
    auto it = list.begin();
    EXPECT_EQ(Text(*it++), "a");
    EXPECT_TRUE(it->IsNull());
}

TEST(GenericList, PrettyPrintBreaksLongListsAndReadsBack) {
    const CGeneric shortList = Read(u"(a (b c) . d)");
    EXPECT_EQ(Utf8(shortList.GetPrettyPrint()), "(a (b c) . d)");
    const CGeneric longList = Read(
        u"(alpha beta (gamma delta) (epsilon (zeta eta theta iota kappa lambda mu nu xi omicron pi rho) "
        u"sigma) "
        u"{tau=upsilon} . phi)");
    const std::string pretty = Utf8(longList.GetPrettyPrint());
    EXPECT_EQ(pretty,
              "(\n"
              "    alpha\n"
              "    beta\n"
              "    (gamma delta)\n"
              "    (\n"
              "        epsilon\n"
              "        (\n"
              "            zeta\n"
              "            eta\n"
              "            theta\n"
              "            iota\n"
              "            kappa\n"
              "            lambda\n"
              "            mu\n"
              "            nu\n"
              "            xi\n"
              "            omicron\n"
              "            pi\n"
              "            rho\n"
              "        )\n"
              "        sigma\n"
              "    )\n"
              "    {tau=upsilon}\n"
              "    . phi\n"
              ")");
    EXPECT_TRUE(CGeneric::CreateFromString(longList.GetPrettyPrint()) == longList);
}

namespace {

// A random list of lists of small numbers, and the same as vectors: an empty inner list is a null
// element, which sorts first exactly as the empty vector does.
struct RandomList {
    CGeneric value;
    std::vector<std::vector<int>> reference;
};

RandomList MakeRandomList(std::mt19937& rng) {
    RandomList out;
    std::uniform_int_distribution<int> length(0, 4), inner(0, 2), number(0, 2);
    const int n = length(rng);
    for (int i = 0; i < n; ++i) {
        std::vector<int> element;
        const int m = inner(rng);
        for (int j = 0; j < m; ++j) element.push_back(number(rng));
        out.reference.push_back(element);
    }
    CGeneric list;
    for (auto e = out.reference.rbegin(); e != out.reference.rend(); ++e) {
        CGeneric sub;
        for (auto x = e->rbegin(); x != e->rend(); ++x) sub = CGenericList(CGeneric(*x), sub);
        list = CGenericList(sub, list);
    }
    out.value = list;
    return out;
}

}  // namespace

TEST(GenericList, OrderMatchesLexicographicReferenceOnRandomLists) {
    std::mt19937 rng(20240611u);  // fixed rng start value
    std::vector<RandomList> lists;
    for (int i = 0; i < 300; ++i) lists.push_back(MakeRandomList(rng));
    for (const RandomList& x : lists) {
        for (const RandomList& y : lists) {
            const CGenericList a = static_cast<CGenericList>(x.value), b = static_cast<CGenericList>(y.value);
            ASSERT_EQ(bool(x.value < y.value), x.reference < y.reference)
                << Text(x.value) << " " << Text(y.value);
            ASSERT_EQ(bool(x.value <= y.value), x.reference <= y.reference);
            ASSERT_EQ(bool(x.value == y.value), x.reference == y.reference);
            ASSERT_EQ(bool(a > b), x.reference > y.reference);
            ASSERT_EQ(bool(a >= b), x.reference >= y.reference);
        }
    }
    std::vector<RandomList> sorted = lists;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const RandomList& p, const RandomList& q) { return p.value < q.value; });
    for (std::size_t i = 1; i < sorted.size(); ++i) EXPECT_LE(sorted[i - 1].reference, sorted[i].reference);
}
