#include <gtest/gtest.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/files/file_system.h>
#include <ztbase/generic/association.h>
#include <ztbase/generic/generic_file.h>
#include <ztbase/generic/list.h>
#include <ztbase/generic/scalars.h>
#include <ztbase/generic/set.h>
#include <ztbase/generic/symbol.h>
#include <ztbase/generic/text_reader.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "generic_support.h"
#include "scratch_dir.h"

using namespace ZtBase;

namespace {

using namespace generic_support;

CUniStr U(const std::u16string& s) {
    CUniStr out;
    for (char16_t c : s) out += static_cast<unsigned short>(c);
    return out;
}
CGeneric Read(const std::u16string& text) {
    return CGeneric::CreateFromString(U(text));
}
double Number(const CGeneric& g) {
    return static_cast<double>(static_cast<CGenericNumber>(g));
}

// The reader's error for text: code and message.
struct ReadError {
    unsigned code = 0;
    std::u16string message;
};
ReadError ErrorOf(const std::u16string& text) {
    try {
        Read(text);
    } catch (const CZtSimpleException& e) {
        return {e.GetExceptionErrorCode(), CUniStr(e.GetErrorString(0)).ToU16()};
    }
    return {};
}

// message + context + closing quote, where the context is the text read up to the failure.
std::u16string WithContext(const char16_t* message, const std::u16string& context) {
    return message + context + u"\"";
}

constexpr char16_t kUnrecognized[] = u"Unrecognized character in Generic stream : \"";
constexpr char16_t kStreamError[] = u"Error in generic stream : \"";
constexpr char16_t kUnexpectedEnd[] = u"Unexpected end of generic stream : \"";
constexpr char16_t kInvalidNumber[] = u"Invalid numeric argument : \"";
constexpr char16_t kTooDeep[] = u"Generic stream nested too deeply : \"";

}  // namespace

// ---- errors -------------------------------------------------------------------------------------------

TEST(GenericReader, EveryMessageEndsWithTheTextReadSoFar) {
    struct Case {
        std::u16string text;
        const char16_t* message;
        std::u16string context;
    } cases[] = {
        {u"#", kUnrecognized, u"#"},
        {u"(a #)", kUnrecognized, u"(a #"},
        {u"(a , b)", kUnrecognized, u"(a ,"},
        {u"/x", kStreamError, u"/x"},
        {u"(a /- b)", kStreamError, u"(a /-"},
        {u"(a . . b)", kStreamError, u"(a . ."},
        {u"(a . b c)", kStreamError, u"(a . b c"},
        {u"<{}>", kStreamError, u"<{"},
        {u"<NP {} x", kStreamError, u"<NP {} x"},
        {u"[1 2]", kStreamError, u"[1 2"},
        {u"@ x", kStreamError, u"@"},
        {u"\"abc", kUnexpectedEnd, u"\"abc"},
        {u"\"ab\\", kUnexpectedEnd, u"\"ab\\"},
        {u"(a b", kUnexpectedEnd, u"(a b"},
        {u"(a . ", kUnexpectedEnd, u"(a . "},
        {u"/* a **/ 1", kUnexpectedEnd, u"/* a **/ 1"},
        {u"/*", kUnexpectedEnd, u"/*"},
        {u"// note", kUnexpectedEnd, u"// note"},
        {u"// note\r\n\n", kUnexpectedEnd, u"// note\r\n\n"},
        {u"[1,", kUnexpectedEnd, u"[1,"},
        {u"{a=1", kUnexpectedEnd, u"{a=1"},
        {u"1.5e2", kInvalidNumber, u"1.5e2"},
        {u"1.5ex", kInvalidNumber, u"1.5ex"},
        {u"1.5e+x", kInvalidNumber, u"1.5e+x"},
        {u"1.5e", kInvalidNumber, u"1.5e"},
        {u"(1.e+", kInvalidNumber, u"(1.e+"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(U(c.text).ToUtf8());
        const ReadError e = ErrorOf(c.text);
        EXPECT_EQ(e.code, 10003u);
        EXPECT_EQ(U(e.message).ToUtf8(), U(WithContext(c.message, c.context)).ToUtf8());
    }
}

TEST(GenericReader, ContextIsTheHundredUnitsBeforeTheFailure) {
    std::u16string text = u"(";
    for (int i = 0; i < 70; ++i) text += u"a" + std::u16string(1, char16_t(u'0' + i % 10)) + u" ";
    text += u"# and more";
    const std::size_t failedAt = text.find(u'#') + 1;
    const ReadError e = ErrorOf(text);
    EXPECT_EQ(e.code, 10003u);
    EXPECT_EQ(e.message, WithContext(kUnrecognized, text.substr(failedAt - 100, 100)));

    // Exactly 100 units before the failure: the whole text.
    const std::u16string hundred = u"(" + std::u16string(97, u'b') + u" #";
    EXPECT_EQ(ErrorOf(hundred).message, WithContext(kUnrecognized, hundred));
}

TEST(GenericReader, BundleMessagesEndWithALineBreakAndNoContext) {
    const std::u16string expectedEntry = u"Error in generic stream: expected chars: white space, }, or /\n";
    const std::u16string expectedEquals = u"Error in generic stream: expected char: =\n";
    for (const char16_t* text : {u"{1=2}", u"{a=1 b=2}", u"{,}", u"{a=1,,}", u"{a=1 /**/ , b=2}"}) {
        SCOPED_TRACE(U(text).ToUtf8());
        const ReadError e = ErrorOf(text);
        EXPECT_EQ(e.code, 10003u);
        EXPECT_EQ(e.message, expectedEntry);
    }
    for (const char16_t* text : {u"{a 1}", u"{a}", u"{a:1}"}) {
        SCOPED_TRACE(U(text).ToUtf8());
        EXPECT_EQ(ErrorOf(text).message, expectedEquals);
    }
}

TEST(GenericReader, NestingBeyondTheLimitIsRefused) {
    const std::u16string deep(100000, u'(');
    const ReadError e = ErrorOf(deep);
    EXPECT_EQ(e.code, 10003u);
    EXPECT_EQ(
        e.message,
        WithContext(kTooDeep, deep.substr(0, kMaxGenericNesting + 1).substr(kMaxGenericNesting + 1 - 100)));
    EXPECT_EQ(ErrorOf(std::u16string(100000, u'[')).code, 10003u);
    std::u16string associations;
    for (int i = 0; i < 100000; ++i) associations += u"a=";
    EXPECT_EQ(ErrorOf(associations + u"1").code, 10003u);
    std::u16string bundles;
    for (int i = 0; i < 100000; ++i) bundles += u"{a=";
    EXPECT_EQ(ErrorOf(bundles).code, 10003u);
}

// ---- the dispatcher, white space and comments -------------------------------------------------------

TEST(GenericReader, WhiteSpaceAndCommentsAloneReadAsNull) {
    for (const char16_t* text : {u"", u"   ", u"\t\r\n \x01\x1f", u"/* c */", u"  /* a */ /**/ /* * / */ ",
                                 u"// line\n \n/* and */"}) {
        SCOPED_TRACE(U(text).ToUtf8());
        CGeneric g = Read(u"x");
        g.SetFromString(U(text));
        EXPECT_TRUE(g.IsNull());
    }
}

TEST(GenericReader, CommentsStandBeforeValuesAndBetweenElements) {
    EXPECT_EQ(Text(Read(u"/* c */ // line\r\n  (a /* x */ b // y\n c)")), "(a b c)");
    EXPECT_EQ(Text(Read(u"/**/ 7")), "7") << "a star right after the opening one may close";
    EXPECT_EQ(ErrorOf(u"/***/ 7").message, WithContext(kUnexpectedEnd, u"/***/ 7")) << "\"**/\" never closes";
    EXPECT_EQ(Text(Read(u"[ /* c */ 1 /* d */ , // e\n 2 ]")), "[1,2]");
    EXPECT_EQ(Text(Read(u"{ /* c */ a = 1 , /* d */ b = /* e */ 2 }")), "{a=1,b=2}");
    EXPECT_EQ(Text(Read(u"(a . /* t */ b)")), "(a . b)");
    // "**/" does not close a block comment: the scan goes on to the next "*/".
    EXPECT_EQ(Text(Read(u"/* a **/ b */ 5")), "5");
}

TEST(GenericReader, SeveralValuesFromOneText) {
    const CUniStr text = U(u" a 1 \"s\" (x y) _v x = 2 [1] {k=v} /* end */ ");
    unsigned pos = 0;
    std::vector<std::string> seen;
    for (;;) {
        CGeneric g;
        g.SetFromString(text, pos);
        if (g.IsNull()) break;
        seen.push_back(Text(g));
    }
    EXPECT_EQ(seen, (std::vector<std::string>{"a", "1", "\"s\"", "(x y)", "_v", "x=2", "[1]", "{k=v}"}));
    EXPECT_EQ(pos, text.Length());

    unsigned at = 3;
    EXPECT_EQ(Text(ReadGenericValue(U(u"(a) 42"), at)), "42");
    at = 100;
    EXPECT_TRUE(ReadGenericValue(U(u"abc"), at).IsNull()) << "a position behind the end reads nothing";
    EXPECT_EQ(at, 100u);
}

TEST(GenericReader, HandleAndPositionUnchangedWhenTheReaderThrows) {
    CGeneric g(5);
    const CGenericBodyBase* body = g.GetRep();
    unsigned pos = 2;
    EXPECT_THROW(g.SetFromString(U(u"x (a b"), pos), CZtSimpleException);
    EXPECT_EQ(g.GetRep(), body);
    EXPECT_EQ(Number(g), 5.0);
    EXPECT_EQ(pos, 2u);
}

// ---- the kinds ----------------------------------------------------------------------------------------

TEST(GenericReader, SymbolsAndAssociations) {
    EXPECT_EQ(Read(u"x").GetType(), eGenericSymbol);
    const CGeneric assoc = Read(u"x = 3");
    ASSERT_EQ(assoc.GetType(), eGenericAssociation);
    const CAssociation a = assoc;
    EXPECT_TRUE(a.GetKey() == CSymbol("x"));
    EXPECT_EQ(Number(a.GetValue()), 3.0);
    EXPECT_EQ(Text(Read(u"abc_d~e1 rest")), "abc_d~e1");
    EXPECT_EQ(Text(Read(u"a=b=1")), "a=b=1");
    EXPECT_EQ(static_cast<CAssociation>(Read(u"a=b=1")).GetValue().GetType(), eGenericAssociation);

    unsigned pos = 0;
    EXPECT_EQ(Text(ReadGenericValue(U(u"a-b"), pos)), "a");
    EXPECT_EQ(pos, 1u);
    EXPECT_EQ(Number(ReadGenericValue(U(u"a-b"), pos)), -0.0) << "\"-\" alone is a number";

    // Latin-1 letters and every unit from 0x100 on are letters; the multiplication sign is not.
    EXPECT_EQ(Text(Read(u"\u00e9t\u00e9")), "\u00e9t\u00e9");
    EXPECT_EQ(Read(u"\u540d\u524d").GetType(), eGenericSymbol);
    EXPECT_EQ(Text(Read(u"a\u00d7b")), "a");
    EXPECT_EQ(ErrorOf(u"\u00d7").message, WithContext(kUnrecognized, u"\u00d7"));
    EXPECT_EQ(ErrorOf(u"\u00f7").code, 10003u);
}

TEST(GenericReader, NumbersFollowTheDigitByDigitStateMachine) {
    struct Case {
        const char16_t* text;
        double value;
        unsigned end;  // where reading stopped
    } cases[] = {
        {u"3", 3, 1},         {u"1e+020", 1, 1},
        {u"1.5e+2", 150, 6},  {u"1.5E-2", 0.015, 6},
        {u".5", 0.5, 2},      {u"+", 0, 1},
        {u"-.25", -0.25, 4},  {u"12abc", 12, 2},
        {u"1.2.3", 1.2, 3},   {u"1.", 1, 2},
        {u"007", 7, 3},       {u"1.5e\t+2", 150, 7},
        {u"2.e+3)", 2000, 5}, {u"1.0e+400", HUGE_VAL, 8},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(U(c.text).ToUtf8());
        unsigned pos = 0;
        const CGeneric g = ReadGenericValue(U(c.text), pos);
        ASSERT_EQ(g.GetType(), eGenericNumber);
        EXPECT_DOUBLE_EQ(Number(g), c.value);
        EXPECT_EQ(pos, c.end);
    }
    const double minusZero = Number(Read(u"-"));
    EXPECT_EQ(minusZero, 0.0);
    EXPECT_TRUE(std::signbit(minusZero));
    // The printed form of large numbers has an exponent without a decimal point: it reads back short.
    EXPECT_EQ(Text(CGeneric(1e20)), "1e+020");
    EXPECT_EQ(Number(Read(u"1e+020")), 1.0);
    EXPECT_EQ(Text(CGeneric(1.0 / 3)), "0.3333333333");
    EXPECT_NEAR(Number(Read(u"0.3333333333")), 1.0 / 3, 1e-10);
}

TEST(GenericReader, StringsTakeTheUnitAfterABackslashLiterally) {
    const CGenericString s = Read(u"\"a\\\"b\\\\c\\n\"");
    EXPECT_EQ(Utf8(static_cast<CUniStr>(s)), "a\"b\\cn");
    EXPECT_EQ(Utf8(static_cast<CUniStr>(static_cast<CGenericString>(Read(u"\"line\nbreak\"")))),
              "line\nbreak");
    EXPECT_EQ(Read(u"\"\"").GetType(), eGenericString);
    const CGeneric say = CGenericString(CUniStr(u"say \"hi\" \\ bye"));
    EXPECT_EQ(Text(say), "\"say \\\"hi\\\" \\\\ bye\"");
    EXPECT_TRUE(Read(say.GetString().ToU16()) == say);
}

TEST(GenericReader, VariablesKeepTheirUnderscore) {
    EXPECT_EQ(Text(Read(u"_x~1")), "_x~1");
    EXPECT_EQ(Read(u"_x~1").GetType(), eGenericVariable);
    const CUniStr text = U(u"_x-1");
    unsigned pos = 0;
    EXPECT_EQ(Text(ReadGenericValue(text, pos)), "_x");
    EXPECT_EQ(Number(ReadGenericValue(text, pos)), -1.0);
    EXPECT_EQ(Text(Read(u"_")), "_");
    EXPECT_EQ(Text(Read(u"__a_9")), "__a_9");
}

TEST(GenericReader, ListsWithDottedEnds) {
    const CGenericList list = Read(u"(a (b c) . d)");
    EXPECT_EQ(Text(list.GetCar()), "a");
    const CGenericList rest = list.GetCdr();
    EXPECT_EQ(Text(rest.GetCar()), "(b c)");
    EXPECT_EQ(Text(rest.GetCdr()), "d");
    EXPECT_EQ(rest.GetCdr().GetType(), eGenericSymbol);
    EXPECT_EQ(Text(list), "(a (b c) . d)");

    EXPECT_TRUE(Read(u"()").IsNull());
    EXPECT_TRUE(Read(u"(  /* empty */ )").IsNull());
    EXPECT_EQ(Text(Read(u"(a () b)")), "(a () b)");
    EXPECT_EQ(Text(Read(u"(. a)")), "a") << "a dotted end with no element before it is the value itself";
    EXPECT_EQ(Text(Read(u"(a .5)")), "(a . 5)") << "\".\" in a list always starts the dotted end";
    EXPECT_EQ(Text(Read(u"(a . (b))")), "(a b)");
    EXPECT_EQ(Text(Read(u"(\"(\" \")\")")), "(\"(\" \")\")");
}

TEST(GenericReader, SetsAndBundles) {
    const CGeneric empty = Read(u"[]");
    EXPECT_EQ(empty.GetType(), eGenericSet);
    EXPECT_EQ(static_cast<CGenericSet>(empty).GetLength(), 0u);
    EXPECT_EQ(Text(Read(u"[2, 1, 2,]")), "[1,2]");
    EXPECT_EQ(Text(Read(u"[[a], (b . c), d = 1]")), "[d=1,(b . c),[a]]") << "association, list, set by kind";

    const CGeneric none = Read(u"{}");
    EXPECT_EQ(none.GetType(), eGenericAssociationBundle);
    EXPECT_EQ(static_cast<CAssociationBundle>(none).GetLength(), 0u);
    const CAssociationBundle bundle = Read(u"{ first = 1 , second = , third = {x = y} , }");
    EXPECT_EQ(bundle.GetLength(), 3u);
    EXPECT_EQ(Number(bundle.GetValue(CSymbol("first"))), 1.0);
    EXPECT_TRUE(bundle.HasKey(CSymbol("second")));
    EXPECT_TRUE(bundle.GetValue(CSymbol("second")).IsNull());
    EXPECT_EQ(Text(bundle.GetValue(CSymbol("third"))), "{x=y}");
    EXPECT_TRUE(static_cast<CAssociationBundle>(Read(u"{k=}")).HasKey(CSymbol("k")));
    EXPECT_EQ(Text(Read(u"{k=1,k=2}")), "{k=2}") << "a repeated name keeps its last value";
}

TEST(GenericReader, FilesOpenThroughTheFileSystem) {
    ScratchDir dir("reader");
    const std::string path = dir / "value.txt";
    ScratchDir::WriteBytes(path, "contents\n");
    const std::u16string name = CUniStr(path.c_str()).ToU16();

    const CGeneric file = Read(u"@" + name);
    ASSERT_EQ(file.GetType(), eGenericFile);
    const CGenericXFile typed = file;
    EXPECT_EQ(Utf8(typed.GetName()), path);
    EXPECT_EQ(Text(file), "@" + path);
    CStr line;
    EXPECT_TRUE(typed.GetXFile().ReadLn(line));
    EXPECT_EQ(std::string(static_cast<const char*>(line)), "contents");

    // The name ends at white space or a closing bracket.
    const CGenericList list = Read(u"(@" + name + u")");
    EXPECT_EQ(Text(list), "(@" + path + ")");
    EXPECT_TRUE(list.GetCar() == file) << "file values compare by name";
    EXPECT_EQ(Text(Read(u"[@" + name + u"]")), "[@" + path + "]");

    // Store and load reopen the file by its name.
    CXFile ram = gFileSystem.CreateRamFile(XF_BINARY);
    file >> ram;
    ram.Seek(0);
    CGeneric loaded;
    loaded << ram;
    EXPECT_TRUE(loaded == file);
    EXPECT_FALSE(static_cast<CGenericXFile>(loaded).GetXFile().IsNull());

    // A file that is not there is a file error, not a syntax error.
    const std::string missing = dir / "missing.txt";
    const ReadError e = ErrorOf(u"@" + CUniStr(missing.c_str()).ToU16());
    EXPECT_EQ(e.code, 11002u);
    EXPECT_EQ(U(e.message).ToUtf8(), "File not found : " + missing);
}

TEST(GenericReader, TextRoundTripsForEveryKind) {
    // Keys and set elements print in symbol order, which is the order of first use: fix it here.
    for (const char* name : {"rtKeyA", "rtKeyB", "rtKeyC", "rtKeyD"}) CSymbol{name};
    for (const char16_t* text : {u"sym",
                                 u"42",
                                 u"-0.5",
                                 u"1.25e-007",
                                 u"\"q\\\"uote\\\\\"",
                                 u"_var",
                                 u"key=value",
                                 u"k=(1 2)",
                                 u"{}",
                                 u"{rtKeyA=1,rtKeyB=\"two\",rtKeyC=[1,2],rtKeyD=(1 . 2)}",
                                 u"[]",
                                 u"[1,2,3]",
                                 u"[rtKeyC=1,rtKeyD=2]",
                                 u"(a b c)",
                                 u"(a (b c) . d)",
                                 u"(() [] {})",
                                 u"((((x))))",
                                 u"(\"s\" _v 3 . {k=v})",
                                 u"((()))",
                                 u"(1 . 2.5)",
                                 u"(\"x y\" _v [1,2] {k=v} . [3])"}) {
        SCOPED_TRACE(U(text).ToUtf8());
        const CGeneric value = Read(text);
        ASSERT_FALSE(value.IsNull());
        EXPECT_EQ(Text(value), U(text).ToUtf8());
        EXPECT_TRUE(Read(value.GetString().ToU16()) == value);
        EXPECT_TRUE(CGeneric::CreateFromString(value.GetPrettyPrint()) == value);
    }
}

// ---- bad input ----------------------------------------------------------------------------------------

namespace {

// Reads text; anything but a value, 10003 or 11002 fails the test.
void ExpectReadsOrRefuses(const CUniStr& text) {
    try {
        unsigned pos = 0;
        for (int values = 0; values < 50; ++values) {
            const unsigned before = pos;
            CGeneric g = ReadGenericValue(text, pos);
            ASSERT_LE(pos, text.Length());
            if (g.IsNull() && pos == before) break;
            if (pos >= text.Length()) break;
            g.GetString();
            g.GetPrettyPrint();
        }
    } catch (const CZtException& e) {
        const int code = e.GetErrorCode();
        ASSERT_TRUE(code == 10003 || code == 11002) << "code " << code << " for " << text.ToUtf8();
    }
}

}  // namespace

TEST(GenericReader, FuzzRandomUnitsReadOrRaiseSyntaxErrors) {
    std::mt19937 rng(77031u);  // fixed rng start value
    std::uniform_int_distribution<int> length(0, 40), ascii(1, 127), wide(1, 0xFFFF), pick(0, 9);
    for (int i = 0; i < 20000; ++i) {
        CUniStr text;
        const int n = length(rng);
        for (int j = 0; j < n; ++j)
            text += static_cast<unsigned short>(pick(rng) == 0 ? wide(rng) : ascii(rng));
        ExpectReadsOrRefuses(text);
        if (HasFatalFailure()) return;
    }
}

TEST(GenericReader, FuzzTokenSoupsReadOrRaiseSyntaxErrors) {
    static const char16_t* const kTokens[] = {
        u"(",    u")",  u"[",  u"]",  u"{",  u"}",      u",",  u"=",   u".",  u"..",     u"a",
        u"bc~1", u"_v", u"1",  u"-",  u"+",  u"1.5e+2", u"e",  u"1.e", u"\"", u"\"s\"",  u"\\",
        u"/*",   u"*/", u"//", u"\n", u"\r", u"@",      u"<",  u">",   u"#",  u" ",      u"  ",
        u"*",    u"/",  u"x=", u"@)", u"**", u"(.)",    u"{a", u"=}",  u"[,", u"\u00e9", u"\u00d7",
    };
    constexpr int kCount = sizeof(kTokens) / sizeof(kTokens[0]);
    std::mt19937 rng(4242u);  // fixed rng start value
    std::uniform_int_distribution<int> length(0, 30), token(0, kCount - 1);
    int read = 0;
    for (int i = 0; i < 20000; ++i) {
        std::u16string soup;
        const int n = length(rng);
        for (int j = 0; j < n; ++j) soup += kTokens[token(rng)];
        try {
            Read(soup);
            ++read;
        } catch (const CZtException&) {
        }
        ExpectReadsOrRefuses(U(soup));
        if (HasFatalFailure()) return;
    }
    EXPECT_GT(read, 1000) << "the soups are not all refused";
}
