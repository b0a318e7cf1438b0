// The tool's formatter and JSON bridge on random values: what they write reads back equal, in every
// layout; and the conversions that would lose something are the ones found.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

#include "json_bridge.h"
#include "zt.h"

using namespace ZtBase;

namespace {

// Random values of every kind the text form holds, nested up to depth levels.
class RandomValues {
public:
    explicit RandomValues(unsigned start) : m_rng(start) {}

    CGeneric Value(int depth) {
        switch (Pick(depth > 0 ? 10 : 5)) {
            case 0:
                return Number();
            case 1:
                return CSymbol(CUniStr::FromUtf8(Word()));
            case 2:
                return CGenericString(CUniStr::FromUtf8(Text()));
            case 3:
                return CGenericVariable(CUniStr::FromUtf8("_" + Word()));
            case 4:
                return Pick(2) ? CGeneric(CSymbol("True")) : CGeneric(static_cast<double>(Pick(100)));
            case 5:
            case 6:
                return List(depth - 1);
            case 7: {
                CGenericSet set = MakeSet();
                for (unsigned n = Pick(5); n > 0; --n) set.Add(Value(depth - 1));
                return set;
            }
            case 8: {
                CAssociationBundle bundle = MakeAssociationBundle();
                for (unsigned n = Pick(5); n > 0; --n)
                    bundle.Set(CSymbol(CUniStr::FromUtf8(Word())), Pick(6) ? Value(depth - 1) : CGeneric());
                return bundle;
            }
            default:
                return CAssociation(CSymbol(CUniStr::FromUtf8(Word())), Value(depth - 1));
        }
    }

private:
    unsigned Pick(unsigned n) { return static_cast<unsigned>(m_rng() % n); }

    // Numbers whose text form reads back the same (the others are refused before text is written).
    CGeneric Number() {
        for (;;) {
            double d = 0;
            switch (Pick(4)) {
                case 0:
                    d = static_cast<double>(static_cast<int>(Pick(2000000)) - 1000000);
                    break;
                case 1:
                    d = static_cast<double>(Pick(100000)) / 1000.0;
                    break;
                case 2:
                    d = static_cast<double>(Pick(1000)) * 1e+20;
                    break;
                default:
                    d = -static_cast<double>(Pick(1000)) / 1e+20;
                    break;
            }
            const CGeneric value(d);
            if (zt::FindLossy(value, zt::Form::kText).empty()) return value;
        }
    }
    std::string Word() {
        static const char* const kWords[] = {"a", "cat", "N", "agr", "x~1", "\xC3\xA9t\xC3\xA9", "V_2", "S"};
        return kWords[Pick(8)];
    }
    std::string Text() {
        static const char* const kPieces[] = {"a",  " ", "\"", "\\", "\n", "\xE2\x82\xAC",
                                              "q(", "}", "//", "/*"};
        std::string out;
        for (unsigned n = Pick(6); n > 0; --n) out += kPieces[Pick(10)];
        return out;
    }
    CGeneric List(int depth) {
        CGeneric rest = Pick(4) == 0 ? Value(depth) : CGeneric();
        if (rest.GetType() == eGenericList) rest = CGeneric();
        for (unsigned n = 1 + Pick(5); n > 0; --n)
            rest = CGenericList(Pick(8) ? Value(depth) : CGeneric(), rest);
        return rest;
    }

    std::mt19937 m_rng;
};

CGeneric ReadBack(const std::string& text) {
    try {
        unsigned at = 0;
        const CUniStr unicode = CUniStr::FromUtf8(text);
        const CGeneric value = ReadGenericValue(unicode, at);
        unsigned end = at;
        EXPECT_TRUE(ReadGenericValue(unicode, end).IsNull()) << "one value in " << text;
        return value;
    } catch (const CZtException& e) {
        ADD_FAILURE() << CUniStr(e.GetErrorString(0)).ToUtf8() << " reading\n" << text;
        return CGeneric();
    }
}

TEST(ToolFormatter, EveryLayoutReadsBackEqual) {
    RandomValues random(20261123u);
    for (int i = 0; i < 3000; ++i) {
        const CGeneric value = random.Value(4);
        for (const zt::Layout layout : {zt::Layout{}, zt::Layout{true, false}, zt::Layout{false, true}}) {
            const std::string text = zt::FormatValue(value, layout);
            ASSERT_TRUE(ReadBack(text) == value) << text;
            if (value.GetString().ToUtf8().find(" \n") == std::string::npos) {  // unless a string holds one
                ASSERT_EQ(text.find(" \n"), std::string::npos) << "no trailing spaces:\n" << text;
            }
            if (layout.compact && value.GetString().ToUtf8().find('\n') == std::string::npos) {
                ASSERT_EQ(text.find('\n'), std::string::npos) << "one line:\n" << text;
            }
        }
    }
}

TEST(ToolFormatter, LongValuesOpenOneElementALineIndentedByFour) {
    const CGeneric value = CGeneric::CreateFromString(CUniStr(
        u"{lexicon = [alpha, beta, gamma, delta, epsilon, zeta, eta, theta, iota, kappa, lambda, mu, nu], "
        u"rule = (S (NP _agr) (VP _agr)), note = \"short\"}"));
    EXPECT_EQ(
        zt::FormatValue(value, {}),
        "{\n"
        "    lexicon = [alpha, beta, gamma, delta, epsilon, zeta, eta, theta, iota, kappa, lambda, mu, nu],\n"
        "    rule = (S (NP _agr) (VP _agr)),\n"
        "    note = \"short\"\n"
        "}");
    const CGeneric sorted = CGeneric::CreateFromString(CUniStr(u"[zeta, \"b\", alpha, 3, {y = 1, x = 2}]"));
    EXPECT_EQ(zt::FormatValue(sorted, {true, false}), "[\"b\", 3, alpha, zeta, {x = 2, y = 1}]");
}

TEST(ToolJson, ValuesRoundTripExactly) {
    RandomValues random(7u);
    for (int i = 0; i < 3000; ++i) {
        const CGeneric value = random.Value(4);
        const std::string json = zt::ToJson(value, i % 2 == 0);
        int seen = 0;
        zt::ForEachJsonValue(zt::Input{"random", json}, [&](const CGeneric& back) {
            ++seen;
            ASSERT_TRUE(back == value) << json;
        });
        ASSERT_EQ(seen, 1) << json;
    }
}

TEST(ToolJson, TheMappingOfEveryKind) {
    const struct {
        const char16_t* text;
        const char* json;
    } cases[] = {
        {u"sym", R"("sym")"},
        {u"\"text\"", R"({"$string":"text"})"},
        {u"2.5", "2.5"},
        {u"_v", R"({"$variable":"_v"})"},
        {u"(a () . b)", R"({"$list":["a",null],"$rest":"b"})"},
        {u"(a b)", R"(["a","b"])"},
        {u"[1, 2]", R"({"$set":[1.0,2.0]})"},
        {u"k = 1", R"({"$association":["k",1.0]})"},
        {u"{k = 1}", R"({"k":1.0})"},
        {u"{}", "{}"},
    };
    for (const auto& c : cases) {
        const CGeneric value = CGeneric::CreateFromString(CUniStr(c.text));
        EXPECT_EQ(zt::ToJson(value, false), c.json) << CUniStr(c.text).ToUtf8();
    }
    CAssociationBundle marked = MakeAssociationBundle();
    marked.Set(CSymbol("$k"), CGeneric(1));
    EXPECT_EQ(zt::ToJson(marked, false), R"({"$bundle":{"$k":1.0}})") << "a key that looks like a member";
    // From JSON only: booleans are the truth symbols; integers a double cannot hold are refused.
    std::vector<std::string> seen;
    zt::ForEachJsonValue(zt::Input{"in", "true false 12 null"}, [&](const CGeneric& v) {
        seen.push_back(v.IsNull() ? "null" : v.GetString().ToUtf8());
    });
    EXPECT_EQ(seen, (std::vector<std::string>{"True", "False", "12", "null"}));
    const auto failure = [](const std::string& json) {
        try {
            zt::ForEachJsonValue(zt::Input{"in.json", json}, [](const CGeneric&) {});
        } catch (const zt::Failure& f) {
            return std::to_string(f.code) + " " + f.message;
        }
        return std::string("no failure");
    };
    EXPECT_EQ(failure("9007199254740993"),
              "1 in.json: the number 9007199254740993 is not exact as a double (--lossy takes it)");
    EXPECT_EQ(failure("\"two words\""),
              "1 in.json: \"two words\" is not a symbol (a text is written {\"$string\": ...})");
    EXPECT_EQ(failure("{\"$other\": 1}"),
              "1 in.json: unknown member \"$other\" (a bundle key starting with \"$\" is written in "
              "{\"$bundle\": ...})");
    EXPECT_EQ(
        failure("[1,\n 2,]"),
        "1 in.json:2:4: syntax error while parsing value - unexpected ']'; expected '[', '{', or a literal");
    // The largest integers round up to 2^64 as doubles: not exact, and found so without overflowing.
    EXPECT_EQ(failure("18446744073709551615"),
              "1 in.json: the number 18446744073709551615 is not exact as a double (--lossy takes it)");
    // Beyond a double's range: refused like bad JSON, never an escaping parser exception.
    EXPECT_EQ(failure("1\n 2e308"), "1 in.json:2:2: number overflow parsing '2e308'");
}

TEST(ToolLossy, WhatEachFormCannotHold) {
    const struct {
        const char16_t* text;
        zt::Form to;
        const char* lost;
    } cases[] = {
        {u"(a _x)", zt::Form::kBinary, "the variable _x"},
        {u"{a = 1, b = }", zt::Form::kBinary, "the key b without a value"},
        {u"k = ", zt::Form::kBinary, "the association k= without a value"},
        {u"(a _x)", zt::Form::kText, ""},
        {u"(a _x)", zt::Form::kJson, ""},
        {u"[1, (2 . 3), {a = b}]", zt::Form::kBinary, ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(zt::FindLossy(CGeneric::CreateFromString(CUniStr(c.text)), c.to), c.lost)
            << CUniStr(c.text).ToUtf8();
    EXPECT_EQ(zt::FindLossy(CGeneric(1.0 / 3), zt::Form::kText), "the number 0.3333333333");
    EXPECT_EQ(zt::FindLossy(CGeneric(0.25), zt::Form::kText), "");
    EXPECT_EQ(zt::FindLossy(CGeneric(std::numeric_limits<double>::infinity()), zt::Form::kJson),
              "the number inf");
    EXPECT_EQ(zt::FindLossy(CSymbol("a(b"), zt::Form::kText), "the symbol a(b");
}

}  // namespace
