#include <gtest/gtest.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/files/file_system.h>
#include <ztbase/generic/scalars.h>
#include <ztbase/generic/symbol.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "generic_support.h"

using namespace ZtBase;

namespace {

using namespace generic_support;

std::u16string U16(const unsigned short* s) {
    return std::u16string(reinterpret_cast<const char16_t*>(s));
}
std::u16string Text(const CSymbol& s) {
    return CUniStr(static_cast<const unsigned short*>(s)).ToU16();
}

// Texts no other test has interned: each call gives a new prefix.
std::string Fresh(const char* stem) {
    static std::atomic<unsigned> counter{0};
    return std::string(stem) + "_" + std::to_string(counter++) + "_symtest";
}

// The binary form of a symbol with the given 8-bit text, written by hand.
std::vector<unsigned char> SymbolBytes(const std::string& text) {
    std::vector<unsigned char> out;
    for (const unsigned word : {1u, static_cast<unsigned>(2 * text.size())})
        for (int i = 0; i < 4; ++i) out.push_back(static_cast<unsigned char>(word >> (8 * i)));
    for (char c : text) out.insert(out.end(), {static_cast<unsigned char>(c), 0});
    return out;
}

}  // namespace

TEST(Symbol, EqualTextsShareAnIndexWhateverTheConstructor) {
    const std::string t = Fresh("abc");
    const CUniStr wide(t.c_str());
    const CSymbol a(t.c_str()), b(wide), c(CStr(t.c_str())), d(wide.c_str()), e(wide.ToU16().c_str());
    EXPECT_NE(unsigned(a), 0u);
    for (const CSymbol* s : {&b, &c, &d, &e}) {
        EXPECT_TRUE(a == *s);
        EXPECT_EQ(unsigned(a), unsigned(*s));
    }
    // Symbols of one text share that text's body: making one allocates nothing once the text is known.
    EXPECT_EQ(a.GetRep(), b.GetRep());
    EXPECT_NE(CSymbol(static_cast<unsigned>(a)).GetRep(), a.GetRep())
        << "a symbol made from an index has its own";
    EXPECT_TRUE(CSymbol("abc") == CSymbol(u"abc"));
    EXPECT_FALSE(CSymbol("abc") == CSymbol("ABC")) << "case matters";
    EXPECT_TRUE(CSymbol("abc") != CSymbol("abC"));
    // 8-bit text is widened byte by byte: bytes above 127 are units 128-255, not negative values.
    EXPECT_TRUE(CSymbol("\xE9t\xE9") == CSymbol(u"\u00e9t\u00e9"));
    EXPECT_EQ(Text(CSymbol("\xE9t\xE9")), u"\u00e9t\u00e9");
    EXPECT_FALSE(CSymbol(u"\u0141") == CSymbol("A")) << "units differ above their low byte";
}

TEST(Symbol, IndexesFollowFirstInterningNotTheAlphabet) {
    const std::string zebra = Fresh("zebra"), apple = Fresh("apple");
    const unsigned before = detail::SymbolTableSize();
    const CSymbol z(zebra.c_str());
    const CSymbol a(apple.c_str());
    EXPECT_EQ(unsigned(z), before);
    EXPECT_EQ(unsigned(a), before + 1);
    EXPECT_TRUE(z < a && z <= a && a > z && a >= z);
    EXPECT_FALSE(a < z);
    EXPECT_TRUE(CGeneric(z) < CGeneric(a));
    EXPECT_TRUE(*z.GetRep() < *a.GetRep());
    // Interning again adds nothing.
    EXPECT_TRUE(CSymbol(apple.c_str()) == a);
    EXPECT_EQ(detail::SymbolTableSize(), before + 2);
}

TEST(Symbol, TextsWithSpaceOrControlUnitsAreRejected) {
    for (const char16_t* text : {u"a b", u"tab\there", u"line\nbreak", u"cr\r", u"\u0001x", u" "}) {
        try {
            CSymbol{text};
            ADD_FAILURE() << "accepted " << CUniStr(text).ToUtf8();
        } catch (const CZtSimpleException& e) {
            EXPECT_EQ(e.GetExceptionErrorCode(), 10001u);
            EXPECT_EQ(U16(e.GetErrorString(0)), u"Invalid symbol - \"" + std::u16string(text) + u"\" !");
            EXPECT_EQ(U16(e.GetModuleName()), u".\\genericdata");
        }
    }
    const unsigned before = detail::SymbolTableSize();
    EXPECT_THROW(CSymbol(u"ok_then space"), CZtSimpleException);
    EXPECT_EQ(detail::SymbolTableSize(), before) << "a rejected text is not entered";
    // 33 ("!") and everything above is accepted, the empty text too.
    EXPECT_EQ(Text(CSymbol("!")), u"!");
    EXPECT_EQ(Text(CSymbol(u"\u00a0\uffff")), u"\u00a0\uffff");
    const CSymbol empty("");
    EXPECT_NE(unsigned(empty), 0u);
    EXPECT_TRUE(empty == CSymbol(u"") && empty == CSymbol(CUniStr()));
    EXPECT_EQ(Text(empty), u"");
}

TEST(Symbol, IndexZeroAndIndexesBeyondTheTable) {
    EXPECT_EQ(unsigned(CSymbol()), 0u);
    EXPECT_EQ(CUniStr(CSymbol(0u)).ToU16(), u"*Invalid_Symbol*");
    EXPECT_EQ(CSymbol(0u).GetString().ToU16(), u"*Invalid_Symbol*");
    const CSymbol far(4000000000u);
    EXPECT_EQ(unsigned(far), 4000000000u) << "the index is kept unchecked";
    EXPECT_TRUE(CUniStr(far).IsNull() || CUniStr(far).Length() == 0);
    const unsigned short* p = far;
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p[0], 0);
    EXPECT_EQ(far.GetString().Length(), 0u);
    EXPECT_EQ(far.GetPrettyPrint(1).Length(), 0u);
    EXPECT_EQ(CSymbol().GetString().Length(), 0u);
    EXPECT_EQ(CUniStr(CSymbol(detail::SymbolTableSize())).Length(), 0u) << "one past the last record";
    EXPECT_TRUE(CSymbol() == CSymbol(0u)) << "handles compare indexes, a null handle reading 0";
    EXPECT_TRUE(CSymbol(4000000000u) > CSymbol("anything"));
}

TEST(Symbol, TextPointersStayValidWhileTheTableGrows) {
    const std::string t = Fresh("stable");
    const CSymbol s(t.c_str());
    const unsigned short* p = s;
    const std::u16string before = U16(p);
    std::vector<unsigned> indexes;
    const std::string stem = Fresh("grow");
    for (int i = 0; i < 150000; ++i) indexes.push_back(CSymbol((stem + std::to_string(i)).c_str()));
    EXPECT_EQ(static_cast<const unsigned short*>(s), p);
    EXPECT_EQ(U16(p), before);
    // Every text still maps to its index and back after the growth.
    for (int i = 0; i < 150000; i += 997) {
        const std::string text = stem + std::to_string(i);
        EXPECT_EQ(unsigned(CSymbol(text.c_str())), indexes[std::size_t(i)]);
        EXPECT_EQ(CUniStr(CSymbol(indexes[std::size_t(i)])).ToUtf8(), text);
    }
    for (std::size_t i = 1; i < indexes.size(); ++i)
        ASSERT_EQ(indexes[i], indexes[i - 1] + 1) << "dense indexes";
}

TEST(Symbol, MatchesAReferenceMapOnRandomTexts) {
    // Short texts over a small alphabet: many collide in part and many repeat.
    std::mt19937 rng(11);
    const std::string prefix = Fresh("r");
    std::unordered_map<std::string, unsigned> reference;
    unsigned next = detail::SymbolTableSize();
    for (int i = 0; i < 20000; ++i) {
        std::string t = prefix;
        for (unsigned n = rng() % 4; n > 0; --n) t += "abAB~_9"[rng() % 7];
        const unsigned index = CSymbol(t.c_str());
        auto [it, inserted] = reference.try_emplace(t, next);
        if (inserted) ++next;
        ASSERT_EQ(index, it->second) << t;
    }
    EXPECT_EQ(detail::SymbolTableSize(), next);
}

TEST(Symbol, BodiesCompareByIndex) {
    const CSymbol a(Fresh("first").c_str()), b(Fresh("second").c_str());
    const CSymbolRep &ra = *a.GetRep(), &rb = *b.GetRep();
    EXPECT_TRUE(ra < rb && ra <= rb && rb > ra && rb >= ra && ra != rb && !(ra == rb));
    EXPECT_EQ(unsigned(ra), unsigned(a));
    EXPECT_EQ(CUniStr(ra).ToU16(), Text(a));
    const CGeneric same{CSymbol(unsigned(a))};
    EXPECT_TRUE(same == CGeneric(a)) << "two bodies with one index are equal";
    EXPECT_EQ(same.GetType(), eGenericSymbol);
    EXPECT_EQ(CSymbol(same).GetRep(), same.GetRep()) << "the typed handle shares the body";
    EXPECT_TRUE(CSymbol(CGeneric(CGenericString(u"t"))).IsNull());
}

// A text first seen in a file (stored by some other process) is interned when loaded.
TEST(Symbol, LoadingInternsANewTextAndTheTruthSymbolsExist) {
    const std::string t = Fresh("loaded");
    const unsigned next = detail::SymbolTableSize();
    const CGeneric loaded = Load(FileOf(SymbolBytes(t)));
    EXPECT_EQ(unsigned(CSymbol(loaded)), next);
    EXPECT_TRUE(CSymbol(loaded) == CSymbol(t.c_str()));
    EXPECT_EQ(loaded.GetString().ToUtf8(), t);
    EXPECT_EQ(Text(trueSymbol), u"True");
    EXPECT_EQ(Text(falseSymbol), u"False");
    EXPECT_TRUE(trueSymbol == CSymbol("True"));
    EXPECT_TRUE(trueSymbol != falseSymbol);
}

TEST(Symbol, ConcurrentInterningAgreesOnEveryIndex) {
    constexpr int kThreads = 8, kTexts = 20000;
    const std::string stem = Fresh("mt");
    std::vector<std::string> texts;
    for (int i = 0; i < kTexts; ++i) texts.push_back(stem + std::to_string(i));
    std::vector<std::vector<unsigned>> seen(kThreads, std::vector<unsigned>(kTexts));
    const unsigned before = detail::SymbolTableSize();
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            // Each thread takes the texts in its own order; all overlap.
            std::vector<int> order(kTexts);
            for (int i = 0; i < kTexts; ++i) order[std::size_t(i)] = i;
            std::shuffle(order.begin(), order.end(), std::mt19937(unsigned(t) + 1));
            ++ready;
            while (ready.load() < kThreads) std::this_thread::yield();
            for (int i : order) {
                const CSymbol s(texts[std::size_t(i)].c_str());
                seen[std::size_t(t)][std::size_t(i)] = s;
                if (i % 64 == 0) (void)s.GetString();  // readers of the table run alongside the writers
            }
        });
    // Texts are read without the table's lock: the newest record must always be complete.
    std::atomic<bool> done{false};
    std::atomic<int> torn{0};
    std::thread reader([&] {
        while (!done.load()) {
            const unsigned n = detail::SymbolTableSize();
            if (n > before && detail::SymbolText(n - 1).ToUtf8().rfind(stem, 0) != 0) ++torn;
        }
    });
    for (auto& th : threads) th.join();
    done = true;
    reader.join();
    EXPECT_EQ(torn.load(), 0);
    std::set<unsigned> distinct;
    for (int i = 0; i < kTexts; ++i) {
        for (int t = 1; t < kThreads; ++t)
            ASSERT_EQ(seen[std::size_t(t)][std::size_t(i)], seen[0][std::size_t(i)]);
        distinct.insert(seen[0][std::size_t(i)]);
        ASSERT_EQ(CUniStr(CSymbol(seen[0][std::size_t(i)])).ToUtf8(), texts[std::size_t(i)]);
    }
    ASSERT_EQ(distinct.size(), std::size_t(kTexts)) << "one index per text";
    EXPECT_EQ(*distinct.begin(), before);
    EXPECT_EQ(*distinct.rbegin(), before + kTexts - 1) << "indexes are dense";
    EXPECT_EQ(detail::SymbolTableSize(), before + kTexts);
}
