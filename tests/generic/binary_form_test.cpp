// The binary form of every kind: the exact bytes stored, what loading them gives back, and the loader's
// answer to records that are cut short, promise more than the file holds, or nest without end.
#include <gtest/gtest.h>
#include <ztbase/ztbase.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "generic_support.h"

using namespace ZtBase;
using namespace generic_support;

namespace {

// Little-endian records, built the way the format describes them.
struct Record {
    std::vector<unsigned char> bytes;
    Record& u32(unsigned v) {
        for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<unsigned char>(v >> (8 * i)));
        return *this;
    }
    Record& f64(double d) {
        unsigned long long bits;
        std::memcpy(&bits, &d, 8);
        for (int i = 0; i < 8; ++i) bytes.push_back(static_cast<unsigned char>(bits >> (8 * i)));
        return *this;
    }
    Record& units(std::u16string_view text) {  // the byte count, then the 16-bit units
        u32(static_cast<unsigned>(2 * text.size()));
        for (char16_t c : text)
            bytes.push_back(c & 0xFF), bytes.push_back(static_cast<unsigned char>(c >> 8));
        return *this;
    }
    Record& number(double d) { return u32(3).f64(d); }
    Record& symbol(std::u16string_view text) { return u32(1).units(text); }
    Record& string(std::u16string_view text) { return u32(2).units(text); }
};

CGeneric FromText(const char16_t* text) {
    return CGeneric::CreateFromString(CUniStr(text));
}

// Each row: a value (from text), the bytes it stores, and the text of what those bytes load as.
struct Form {
    const char16_t* value;
    Record stored;
    const char16_t* loads;
};

std::vector<Form> Forms() {
    for (const char* name : {"binKeyP", "binKeyQ"}) CSymbol{name};  // fixes the order of the bundle's keys
    return {
        {u"1.5", Record().number(1.5), u"1.5"},
        {u"-2", Record().number(-2), u"-2"},
        {u"\"a\\\"\u4e2d\"", Record().string(u"a\"\u4e2d"), u"\"a\\\"\u4e2d\""},
        {u"\"\"", Record().string(u""), u"\"\""},
        {u"Noun", Record().symbol(u"Noun"), u"Noun"},  // the index is never written
        {u"_x", Record().u32(8), u""},                 // a variable stores its code only and loads as null
        {u"key=2.5", Record().u32(4).symbol(u"key").number(2.5), u"key=2.5"},
        {u"{binKeyP=1,binKeyQ=\"x\"}",
         Record().u32(5).u32(2).symbol(u"binKeyP").number(1).symbol(u"binKeyQ").string(u"x"),
         u"{binKeyP=1,binKeyQ=\"x\"}"},
        {u"{}", Record().u32(5).u32(0), u"{}"},
        {u"[2, 1]", Record().u32(6).u32(2).number(1).number(2), u"[1,2]"},
        {u"[]", Record().u32(6).u32(0), u"[]"},
        {u"(1 2)", Record().u32(7).u32(2).number(1).number(2), u"(1 2)"},
        // A null element is the code 0; a dotted end sets bit 31 of the count and follows the elements.
        {u"(() . 1)", Record().u32(7).u32(0x80000001u).u32(0).number(1), u"(() . 1)"},
        {u"(a . b)", Record().u32(7).u32(0x80000001u).symbol(u"a").symbol(u"b"), u"(a . b)"},
        {u"(x _v)", Record().u32(7).u32(2).symbol(u"x").u32(8), u"(x ())"},
        {u"()", Record(), u""},  // the empty list, like every null value, stores nothing
    };
}

TEST(BinaryForm, EveryKindStoresItsRecordAndLoadsItBack) {
    for (const Form& f : Forms()) {
        SCOPED_TRACE(Utf8(CUniStr(f.value)));
        EXPECT_EQ(Bytes([&] {
                      CXFile file = RamFile();
                      FromText(f.value) >> file;
                      return file;
                  }()),
                  f.stored.bytes);
        if (f.stored.bytes.empty()) continue;
        const CXFile file = FileOf(f.stored.bytes);
        const CGeneric loaded = Load(file);
        EXPECT_EQ(Utf8(loaded.GetString()), Utf8(CUniStr(f.loads)));
        EXPECT_EQ(file.GetFilePosition(), file.GetFileLength()) << "the load read the whole record";
    }
    // Long texts, and values that follow one another in one file.
    const std::u16string longText(5000, u'\u0100');
    CXFile file = RamFile();
    CGenericString(longText.c_str()) >> file;
    CGenericVariable(u"_v") >> file;
    CGeneric(7) >> file;
    EXPECT_EQ(file.GetFileLength(), 8 + 2 * 5000 + 4 + 12);
    file.Seek(0);
    EXPECT_EQ(CUniStr(CGenericString(Load(file))).ToU16(), longText);
    EXPECT_TRUE(Load(file).IsNull());
    EXPECT_EQ(double(CGenericNumber(Load(file))), 7.0) << "the value after a variable follows at once";
    // Numbers keep every bit.
    for (double v : {std::numeric_limits<double>::infinity(), -0.0, 4.9406564584124654e-324, 0.1}) {
        const double back = double(CGenericNumber(StoreAndLoad(CGeneric(v))));
        EXPECT_EQ(std::signbit(back), std::signbit(v));
        EXPECT_EQ(back, v);
    }
    // A stored count of 0 loads as null for a list.
    EXPECT_TRUE(Load(FileOf(Record().u32(7).u32(0).bytes)).IsNull());
}

// Values whose stored form loads as the same value, or as what the form cannot carry dropped.
TEST(BinaryForm, StoredValuesLoadAsTheyWere) {
    for (const char* name : {"binKeyK", "binSym"}) CSymbol{name};
    const struct {
        const char16_t* value;
        const char16_t* loads;
    } cases[] = {
        {u"(a b c)", u"(a b c)"},
        {u"(a () b)", u"(a () b)"},
        {u"((a b) c)", u"((a b) c)"},
        {u"(1 (2 . 3) . \"x\")", u"(1 (2 . 3) . \"x\")"},
        {u"((((deep))))", u"((((deep))))"},
        {u"(())", u""},  // a pair of two nulls is what an empty list loads as: null
        {u"([1, 2] {binKeyK=(a . b)} . _v)", u"([1,2] {binKeyK=(a . b)})"},  // a variable has no binary form
        {u"[\"text\", binSym, -3, [9]]", u"[-3,[9],\"text\",binSym]"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(Utf8(CUniStr(c.value)));
        EXPECT_EQ(Utf8(StoreAndLoad(FromText(c.value)).GetString()), Utf8(CUniStr(c.loads)));
    }
}

// Any record cut short fails with the read error, whatever the kind and wherever the cut.
TEST(BinaryForm, EveryRecordCutShortRaisesReadFailed) {
    for (const Form& f : Forms()) {
        for (std::size_t keep = 0; keep < f.stored.bytes.size(); ++keep) {
            SCOPED_TRACE(Utf8(CUniStr(f.value)) + " cut to " + std::to_string(keep) + " bytes");
            // An association whose value is cut away entirely is a whole record: a key without a value.
            if (std::u16string_view(f.value) == u"key=2.5" && keep == 4 + 14) continue;
            std::vector<unsigned char> cut(f.stored.bytes.begin(), f.stored.bytes.begin() + keep);
            ExpectError([&] { Load(FileOf(cut)); }, 11001, "Read operation failed");
        }
    }
}

TEST(BinaryForm, CountsTheFileCannotHoldAreRefusedBeforeAnythingIsRead) {
    const struct {
        const char* what;
        Record bytes;
        unsigned code;
        const char* message;
    } cases[] = {
        {"a string of four gigabytes", Record().u32(2).u32(0xFFFFFFF0u).u32('a'), 11001,
         "Read operation failed"},
        {"a symbol beyond the file", Record().u32(1).u32(0x7FFFFFFEu).u32('x'), 11001,
         "Read operation failed"},
        {"a symbol with a space", Record().symbol(u"a b"), 10001, "Invalid symbol - \"a b\" !"},
        {"a list of 2^31 - 1 elements", Record().u32(7).u32(0x7FFFFFFF).u32(3), 11001,
         "Read operation failed"},
        {"a set of 2^30 elements", Record().u32(6).u32(0x40000000u).u32(3), 11001, "Read operation failed"},
        {"a bundle of three pairs in eight bytes", Record().u32(5).u32(3).u32(1).u32(0), 11001,
         "Read operation failed"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        ExpectError([&] { Load(FileOf(c.bytes.bytes)); }, c.code, c.message);
    }
}

// Loading goes one level of the stack per level of nesting: every nesting kind refuses streams deeper
// than text may nest, with the read error, instead of running out of stack.
TEST(BinaryForm, NestingBeyondTheTextLimitIsRefusedAndBelowItLoads) {
    const auto nested = [](unsigned kind, unsigned levels) {
        Record r;
        for (unsigned i = 0; i < levels; ++i) r.u32(kind).u32(1);
        return r.number(0).bytes;
    };
    for (const unsigned kind : {unsigned(eGenericList), unsigned(eGenericSet)}) {
        SCOPED_TRACE(kind);
        EXPECT_EQ(Load(FileOf(nested(kind, kMaxGenericNesting - 1))).GetType(),
                  static_cast<E_GenericTypes>(kind));
        CGeneric deep;
        ExpectError([&] { deep << FileOf(nested(kind, 200000)); }, 11001, "Read operation failed");
        EXPECT_TRUE(deep.IsNull()) << "a failed load leaves the value null";
    }
}

}  // namespace
