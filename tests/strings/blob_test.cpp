#include <gtest/gtest.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/strings/blob.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "expect_error.h"

using namespace ZtBase;

namespace {

constexpr char kRead[] = "Error in CBlobRep index out of bounds";
constexpr char kWrite[] = "Error in VBlobRep index out of bounds";
constexpr char kEmpty[] = "CBlob: empty body";

template <class F>
void ExpectBlobError(F&& f, const char* message) {
    test_support::ExpectError(f, 10007, message, ".\\utilities");
}

CBlob Bytes(const std::string& s) {
    return CBlob(s.data(), static_cast<int>(s.size()));
}
std::string Text(const CBlob& b) {
    return b.IsNull() ? std::string() : std::string(b.GetData(), std::size_t(b.GetBlobSize()));
}
int Capacity(const CBlob& b) {
    return b.GetRep()->capacity;
}
std::u16string Str(const CUniStr& s) {
    return std::u16string(reinterpret_cast<const char16_t*>(s.c_str()), s.Length());
}

TEST(Blob, GetIntAtIsLittleEndianAndChecksEveryByte) {
    CBlob b;
    for (char c : {1, 2, 3, 4}) b.Add(c);
    EXPECT_EQ(b.GetIntAt(0), 0x04030201u);
    ExpectBlobError([&] { b.GetIntAt(1); }, kRead);
    ExpectBlobError([&] { b.GetIntAt(-1); }, kRead);
    b.Add(static_cast<char>(0xFF));
    EXPECT_EQ(b.GetIntAt(1), 0xFF040302u) << "bytes are unsigned";
}

TEST(Blob, ReadsAndWritesCheckTheirIndexWithTheirOwnMessages) {
    const CBlob null;
    ExpectBlobError([&] { null.GetAt(0); }, kEmpty);
    ExpectBlobError([&] { (void)null[0]; }, kEmpty);
    EXPECT_EQ(null.GetBlobSize(), 0);
    EXPECT_EQ(null.GetData(), nullptr);

    CBlob b = Bytes("abc");
    EXPECT_EQ(b.GetAt(2), 'c');
    ExpectBlobError([&] { b.GetAt(3); }, kRead);
    ExpectBlobError([&] { b.GetAt(-1); }, kRead);
    ExpectBlobError([&] { b.SetAt(3, 'x'); }, kWrite);
    ExpectBlobError([&] { b.SetAt(-1, 'x'); }, kWrite);
    ExpectBlobError([&] { b[3] = 'x'; }, kWrite);
    b.SetAt(0, 'z');
    b[1] = 'y';
    EXPECT_EQ(Text(b), "zyc");
}

TEST(Blob, GetStringAtStopsAtAZeroByteAndWidensEachByte) {
    const CBlob b = Bytes(std::string("ab\xE9\0cd", 6));
    EXPECT_EQ(Str(b.GetStringAt(0)), u"ab\u00E9");
    EXPECT_EQ(Str(b.GetStringAt(2)), u"\u00E9");
    EXPECT_EQ(Str(b.GetStringAt(3)), u"");
    EXPECT_EQ(Str(b.GetStringAt(4)), u"cd") << "the end of the blob also ends the text";
    EXPECT_EQ(Str(b.GetStringAt(6)), u"");
    EXPECT_EQ(Str(b.GetStringAt(600)), u"");
    EXPECT_EQ(Str(CBlob().GetStringAt(0)), u"");
}

TEST(Blob, GrowthAddsHalfTheCapacityAndAtLeastFive) {
    CBlob b;
    b.Add('a');
    EXPECT_EQ(Capacity(b), 6) << "1 + 5";
    for (char c : std::string("bcde")) b.Add(c);
    EXPECT_EQ(Capacity(b), 6) << "room for 5 in a buffer of 6";
    b.Add('f');
    EXPECT_EQ(Capacity(b), 11) << "a capacity equal to the need is reallocated: 6 + max(5, 3)";
    EXPECT_EQ(Text(b), "abcdef");

    CBlob c;
    c.AssureCapacity(15);
    ASSERT_EQ(Capacity(c), 20);
    for (int i = 0; i < 19; ++i) c.Add(static_cast<char>('a' + i));
    EXPECT_EQ(Capacity(c), 20);
    c.Add('!');  // needs 20 of a capacity of 20
    EXPECT_EQ(Capacity(c), 30);
    EXPECT_EQ(Text(c), "abcdefghijklmnopqrs!");
    c.AssureCapacity(29);
    EXPECT_EQ(Capacity(c), 30) << "a capacity above the need is kept";

    // A copy is sized by the same rule; an adopted buffer keeps its size as the capacity.
    EXPECT_EQ(Capacity(Bytes("abc")), 8);
    char* owned = static_cast<char*>(std::malloc(4));
    std::memcpy(owned, "wxyz", 4);
    CBlob adopted(owned, 4);
    EXPECT_EQ(adopted.GetData(), owned) << "taken over without a copy";
    EXPECT_EQ(Capacity(adopted), 4);
    EXPECT_EQ(Text(adopted), "wxyz");
}

TEST(Blob, RemoveAtMovesTheTailDownAndClipsAtTheEnd) {
    CBlob b = Bytes("abcde");
    b.RemoveAt(2, 100);
    EXPECT_EQ(Text(b), "ab");
    CBlob c = Bytes("abcde");
    ExpectBlobError([&] { c.RemoveAt(5, 0); }, kRead);
    ExpectBlobError([&] { c.RemoveAt(-1, 1); }, kRead);
    ExpectBlobError([&] { c.RemoveAt(0, -1); }, kRead);
    c.RemoveAt(0, 0);
    EXPECT_EQ(Text(c), "abcde");
    c.RemoveAt(1, 2);
    EXPECT_EQ(Text(c), "ade");
    c.RemoveAt(1, 2);  // exactly to the end
    EXPECT_EQ(Text(c), "a");
    c.RemoveAt(0, 1);
    EXPECT_EQ(c.GetBlobSize(), 0);
    EXPECT_FALSE(c.IsNull());
}

TEST(Blob, SetFromVolatileMemoryBlockAppendsACopy) {
    CBlob b = Bytes("ab");
    char block[] = {'c', 'd', 'e'};
    b.SetFromVolatileMemoryBlock(block, 3);
    block[0] = 'X';
    EXPECT_EQ(Text(b), "abcde") << "appended, not replaced; the caller's buffer is not kept";
    CBlob n;
    n.SetFromVolatileMemoryBlock(block, 2);
    EXPECT_EQ(Text(n), "Xd");
    EXPECT_EQ(Capacity(n), 7) << "the growth rule with the block's size, before the bytes are added";
}

TEST(Blob, InsertAtOverwritesTheByteAtTheIndexAndSkipsTheOneAfterTheInsertion) {
    CBlob b = Bytes("abcde");  // capacity 10: no reallocation below
    b.InsertAt(1, *Bytes("XY").GetRep());
    ASSERT_EQ(b.GetBlobSize(), 7);
    // c, d, e moved two places up; b was overwritten; index 3 kept what the buffer held there (d).
    EXPECT_EQ(Text(b), "aXYdcde");

    CBlob one = Bytes("abc");
    one.InsertAt(1, 'X');
    EXPECT_EQ(Text(one), "aXcc");

    CBlob last = Bytes("abc");
    last.InsertAt(2, *Bytes("Q").GetRep());
    ASSERT_EQ(last.GetBlobSize(), 4);
    EXPECT_EQ(Text(last).substr(0, 3), "abQ") << "nothing moves when inserting at the last byte";

    ExpectBlobError([&] { last.InsertAt(4, 'x'); }, kRead);
    ExpectBlobError([&] { last.InsertAt(-1, 'x'); }, kRead);
    CBlob empty;
    ExpectBlobError([&] { empty.InsertAt(0, 'x'); }, kRead);

    // Inserting a blob into itself reads the bytes as they were.
    CBlob self = Bytes("ab");
    self.InsertAt(0, *self.GetRep());
    ASSERT_EQ(self.GetBlobSize(), 4);
    EXPECT_EQ(self.GetAt(0), 'a');
    EXPECT_EQ(self.GetAt(1), 'b');
    EXPECT_EQ(self.GetAt(3), 'b');
}

TEST(Blob, AppendAddsTheOthersBytesEvenFromItself) {
    CBlob b = Bytes("ab");
    b.Append(*Bytes("cd").GetRep());
    EXPECT_EQ(Text(b), "abcd");
    b.Append(*b.GetRep());
    EXPECT_EQ(Text(b), "abcdabcd");
    CBlob n;
    n.Append(*Bytes("").GetRep());
    EXPECT_FALSE(n.IsNull());
    EXPECT_EQ(n.GetBlobSize(), 0);
}

TEST(Blob, CopiesShareTheBodyUntilOneIsChanged) {
    CBlob a = Bytes("abc");
    CBlob b = a;
    EXPECT_EQ(a.GetRep(), b.GetRep());
    EXPECT_EQ(b.GetAt(0), 'a');
    const CBlob& cb = b;
    EXPECT_EQ(cb[1], 'b');
    EXPECT_EQ(a.GetRep(), b.GetRep()) << "reading does not copy";

    b.SetAt(0, 'z');
    EXPECT_NE(a.GetRep(), b.GetRep());
    EXPECT_EQ(Text(a), "abc");
    EXPECT_EQ(Text(b), "zbc");
    EXPECT_EQ(Capacity(b), 8) << "the copy is sized by the growth rule";

    CBlob c = a;
    c.Add('d');
    c.RemoveAt(0, 1);
    EXPECT_EQ(Text(a), "abc");
    EXPECT_EQ(Text(c), "bcd");

    CBlob d = a;
    d.Reset();
    EXPECT_EQ(d.GetBlobSize(), 0);
    EXPECT_EQ(d.GetData(), nullptr);
    EXPECT_EQ(Capacity(d), 0);
    EXPECT_EQ(Text(a), "abc");

    CBlob e = a;
    e[2] = 'Q';
    EXPECT_EQ(Text(a), "abc");
    EXPECT_EQ(Text(e), "abQ");
}

TEST(Blob, EqualityComparesBytesAndTellsNullFromEmpty) {
    const CBlob null1, null2;
    EXPECT_TRUE(null1 == null2);
    CBlob empty;
    empty.AssureCapacity(1);
    EXPECT_FALSE(null1 == empty);
    EXPECT_FALSE(empty == null1);
    EXPECT_TRUE(Bytes("abc") == Bytes("abc"));
    EXPECT_FALSE(Bytes("abc") == Bytes("abd"));
    EXPECT_FALSE(Bytes("abc") == Bytes("ab"));
    EXPECT_TRUE(Bytes("abc") != Bytes("ab"));
    CBlob grown = Bytes("ab");
    grown.Add('c');
    EXPECT_TRUE(grown == Bytes("abc")) << "capacity does not matter";
}

}  // namespace
