// Generic tables: rows in set order, both searches, updates that move a row, and the decisions the
// header records (columns from the rows, values of another kind never matching).
#include <gtest/gtest.h>
#include <ztbase/generic/generic_table.h>

#include <limits>

#include "generic_support.h"

using namespace ZtBase;
using namespace generic_support;

namespace {

CGenericTable Table(const char16_t* text) {
    CGenericTable table;
    table.SetFromString(CUniStr(text));
    return table;
}

TEST(GenericTable, RowsInSetOrderAndEmptyRowsForWhatIsNotThere) {
    const CGenericTable table =
        Table(u"[{id = 2, name = \"b\"}, {id = 1, name = \"a\"}, {id = 1, name = \"a\"}]");
    EXPECT_EQ(table.GetLength(), 2u) << "equal rows are one row";
    EXPECT_EQ(table[0].GetNumericValue(CUniStr(u"id")), 1);
    EXPECT_EQ(table[1].GetStringValue(CUniStr(u"name")).ToUtf8(), "b");
    EXPECT_TRUE(table[2].IsNull());
    EXPECT_TRUE(CGenericTable()[0].IsNull());
    EXPECT_TRUE(table.GetRowWhere(CUniStr(u"nowhere"), 1).IsNull());
    ASSERT_EQ(table.GetColumns().GetLength(), 2u) << "the columns come from the rows";
    EXPECT_TRUE(table.GetColumns()[0u] == CUniStr(u"id") || table.GetColumns()[1u] == CUniStr(u"id"));
}

TEST(GenericTable, SearchesCompareNumbersAndTextsOnly) {
    const CGenericTable table = Table(u"[{n = \"5\", k = x}, {n = 5.9, k = \"y\"}, {n = 5, k = z}]");
    // "5" is a string: it converts to a null number and is skipped; 5.9 is not 5.
    EXPECT_EQ(table.GetRowWhere(CUniStr(u"n"), 5).GetValue(CSymbol("k")).GetString().ToUtf8(), "z");
    EXPECT_EQ(Text(table.GetRowWhere(CUniStr(u"n"), CUniStr(u"5")).GetValue(CSymbol("k"))), "x");
    EXPECT_TRUE(table.GetRowWhere(CUniStr(u"k"), CUniStr(u"z")).IsNull()) << "the symbol z is no string";
    EXPECT_EQ(table.GetRowWhere(CUniStr(u"k"), CUniStr(u"y")).GetNumericValue(CUniStr(u"n")), 5)
        << "truncated";
    EXPECT_EQ(table.GetRowWhere(CUniStr(u"k"), CUniStr(u"y")).GetStringValue(CUniStr(u"n")).Length(), 0u);
    EXPECT_EQ(table.GetNumericValueInRowWhere(CUniStr(u"n"), CUniStr(u"k"), CUniStr(u"y")), 5);
    EXPECT_EQ(table.GetNumericValueInRowWhere(CUniStr(u"n"), CUniStr(u"k"), CUniStr(u"none")), 0);
    ExpectError([&] { table.GetRowWhere(CUniStr(u"two words"), 1); }, 10001,
                "Invalid symbol - \"two words\" !");
}

TEST(GenericTable, AnUpdatedRowTakesItsNewPlace) {
    CGenericTable table = Table(u"[{rank = 1, who = \"x\"}, {rank = 2, who = \"y\"}]");
    const CGenericTable before = table;
    EXPECT_EQ(table[0].GetStringValue(CUniStr(u"who")).ToUtf8(), "x");
    table.SetNumericValueInRowWhere(CUniStr(u"rank"), 3, CUniStr(u"who"), CUniStr(u"x"));
    EXPECT_EQ(table[0].GetStringValue(CUniStr(u"who")).ToUtf8(), "y");
    EXPECT_EQ(table[1].GetNumericValue(CUniStr(u"rank")), 3);
    EXPECT_EQ(table.GetLength(), 2u);
    EXPECT_EQ(before[0].GetNumericValue(CUniStr(u"rank")), 1) << "a copy keeps its rows";
    table.SetNumericValueInRowWhere(CUniStr(u"rank"), 9, CUniStr(u"who"), CUniStr(u"nobody"));
    EXPECT_EQ(Text(table), "[{rank=2,who=\"y\"},{rank=3,who=\"x\"}]");
    // An update that makes a row equal to another leaves one of them.
    table.SetNumericValueInRowWhere(CUniStr(u"rank"), 2, CUniStr(u"who"), CUniStr(u"x"));
    table.SetNumericValueInRowWhere(CUniStr(u"rank"), 2, CUniStr(u"who"), CUniStr(u"y"));
    EXPECT_EQ(table.GetLength(), 2u);
}

TEST(GenericTable, ColumnsAndConversions) {
    CGenericTable table(Read(u"{not = a, set = b}"));
    EXPECT_EQ(table.GetLength(), 0u) << "a value that is no set: no rows";
    table.AddColumn(CUniStr(u"a"));
    table.AddColumn(CUniStr(u"a"));
    EXPECT_EQ(table.GetColumns().GetLength(), 1u);
    table.SetFromString(CUniStr(u"(not a set)"));
    EXPECT_EQ(table.GetLength(), 0u) << "text that is no set leaves the table as it was";
    const CGenericTable fromSet = Read(u"[{a = 1}]");
    EXPECT_EQ(fromSet[0].GetNumericValue(CUniStr(u"a")), 1);
    EXPECT_TRUE(CGenericRowInTable(Read(u"[1]")).IsNull()) << "a row of another kind is empty";
    EXPECT_EQ(CGenericRowInTable(Read(u"{a = word}")).GetNumericValue(CUniStr(u"a")), 0) << "no number";
    CAssociationBundle odd = MakeAssociationBundle();
    odd.Set(CSymbol("nan"), Num(std::numeric_limits<double>::quiet_NaN()));
    odd.Set(CSymbol("big"), Num(1e20));
    odd.Set(CSymbol("low"), Num(-2.7));
    const CGenericRowInTable row(odd);
    EXPECT_EQ(row.GetNumericValue(CUniStr(u"nan")), 0);
    EXPECT_EQ(row.GetNumericValue(CUniStr(u"big")), std::numeric_limits<int>::max());
    EXPECT_EQ(row.GetNumericValue(CUniStr(u"low")), -2) << "towards zero";
}

}  // namespace
