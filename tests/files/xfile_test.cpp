#include <gtest/gtest.h>
#include <ztbase/strings/blob.h>

#include <algorithm>
#include <string>
#include <utility>

#include "expect_error.h"
#include "memory_file_test_support.h"

using namespace ZtBase;
using memfile_test::UnitBytes;
using test_support::ExpectError;

namespace {

constexpr XF_TEXT_MODE kAllModes[] = {XF_BINARY,       XF_TEXT_CRLF,  XF_TEXT_LF,   XF_TEXT_CR,
                                      XF_UNICODE_CRLF, XF_UNICODE_LF, XF_UNICODE_CR};

std::string Stored(const CXFile& f) {
    return MemoryFileInspector::Stored(f);
}

void Write(const CXFile& f, const std::string& bytes) {
    f.WriteBlock(bytes.data(), static_cast<unsigned>(bytes.size()));
}

CXFile FileWith(XF_TEXT_MODE mode, const std::string& written) {
    CXFile f = CreateMemoryFile(mode);
    Write(f, written);
    f.Seek(0);
    return f;
}

std::string Str(const CStr& s) {
    return std::string(s.c_str(), s.Length());
}
std::u16string Str(const CUniStr& s) {
    return std::u16string(reinterpret_cast<const char16_t*>(s.c_str()), s.Length());
}

// A body over a byte string that has a memory view and records how the view was asked for.
class ViewFile : public CXFileRep {
public:
    explicit ViewFile(std::string bytes) : CXFileRep(CStr("view"), XF_BINARY), m_bytes(std::move(bytes)) {}
    void Seek(int p) override { m_pos = std::clamp(p, 0, Length()); }
    void SeekFromEnd(int o) override { Seek(Length() - o); }
    void SeekRelative(int o) override { Seek(m_pos + o); }
    int GetFilePosition() override { return m_pos; }
    int GetFileLength() override { return Length(); }
    unsigned int ReadBlock(char* b, unsigned int n) override {
        unsigned k = 0;
        for (; k < n && m_pos < Length(); ++k) b[k] = m_bytes[static_cast<std::size_t>(m_pos++)];
        return k;
    }
    unsigned int WriteBlock(const char*, unsigned int) override { return 0; }
    short PutChar(short) override { return -1; }
    short GetChar() override {
        return m_pos < Length() ? static_cast<unsigned char>(m_bytes[static_cast<std::size_t>(m_pos++)]) : -1;
    }
    unsigned short UniPutChar(unsigned short) override { return 0xFFFF; }
    unsigned short UniGetChar() override { return 0xFFFF; }
    void Flush() override {}
    unsigned char Eof() override { return m_pos >= Length(); }
    char* CreateMemoryView(int offset, int length) override {
        asked = {offset, length};
        return m_bytes.data();
    }
    void SetFileLength(unsigned int) override {}

    std::pair<int, int> asked{-1, -1};

private:
    int Length() const { return static_cast<int>(m_bytes.size()); }
    std::string m_bytes;
    int m_pos = 0;
};

// ---- reading lines
// ------------------------------------------------------------------------------------------

TEST(XFile, LastLineWithoutLineFeedIsReturnedWithFalse) {
    for (XF_TEXT_MODE mode : kAllModes) {
        SCOPED_TRACE(testing::Message() << "mode " << mode);
        CXFile f = CreateMemoryFile(mode);
        f.WriteLn(CStr("first"));
        f.WriteLn();
        f.Write(CStr("last"));
        f.Seek(0);
        CStr line;
        EXPECT_TRUE(f.ReadLn(line));
        EXPECT_EQ(Str(line), "first");
        EXPECT_TRUE(f.ReadLn(line));
        EXPECT_EQ(Str(line), "");
        EXPECT_FALSE(f.ReadLn(line));
        EXPECT_EQ(Str(line), "last") << "the text read before the end is kept";
        EXPECT_FALSE(f.ReadLn(line));
        EXPECT_EQ(Str(line), "");

        CXFile g = CreateMemoryFile(mode);
        g.UniWriteLn(CUniStr(u"first"));
        g.UniWrite(CUniStr(u"last"));
        g.Seek(0);
        CUniStr wide;
        EXPECT_TRUE(g.UniReadLn(wide));
        EXPECT_EQ(Str(wide), u"first");
        EXPECT_FALSE(g.UniReadLn(wide));
        EXPECT_EQ(Str(wide), u"last");
    }
}

// Lines read from what was written through the body (which translates it as its mode says): the result
// of each call and the line it gave. ReadLn leaves line ends to the body and shows a unit with a high
// byte as "."; UniReadLn reads units in binary mode and one unit per byte in the 8-bit text modes.
TEST(XFile, ReadLnAndUniReadLnInEveryMode) {
    using Lines = std::vector<std::pair<bool, std::string>>;
    using WideLines = std::vector<std::pair<bool, std::u16string>>;
    const std::string highUnits = UnitBytes(u"a\u20ACb\u00E9\u0100\n");
    const struct {
        XF_TEXT_MODE mode;
        std::string written;
        Lines lines;
        WideLines wide;
    } cases[] = {
        {XF_BINARY, "ab\r\ncd", {{1, "ab\r"}, {0, "cd"}}, {}},          // binary keeps the CR
        {XF_TEXT_CRLF, "ab\n", {{1, "ab"}, {0, ""}}, {}},               // stored as CR LF, the CR dropped
        {XF_TEXT_CR, "ab\ncd\n", {{1, "ab"}, {1, "cd"}, {0, ""}}, {}},  // a stored CR ends the line
        {XF_TEXT_LF, "\xE9\xFF\n", {{1, "\xE9\xFF"}}, {}},              // bytes 128 to 255 kept as they are
        {XF_UNICODE_CRLF, UnitBytes(u"ab\ncd"), {{1, "ab"}, {0, "cd"}}, {}},
        {XF_UNICODE_CRLF, highUnits, {{1, "a.b\xE9."}}, {{1, u"a\u20ACb\u00E9\u0100"}}},
        {XF_UNICODE_LF, highUnits, {{1, "a.b\xE9."}}, {{1, u"a\u20ACb\u00E9\u0100"}}},
        {XF_UNICODE_CR, highUnits, {{1, "a.b\xE9."}}, {{1, u"a\u20ACb\u00E9\u0100"}}},
        {XF_BINARY, UnitBytes(u"ab\ncd"), {}, {{1, u"ab"}, {0, u"cd"}}},
        {XF_BINARY, "ab\n", {}, {{0, u"\x6261"}}},  // one unit 0x6261 and a lone byte: no line end
        {XF_TEXT_CRLF, "x\xE9\n", {}, {{1, u"x\u00E9"}}},
        {XF_TEXT_LF, "x\xE9\n", {}, {{1, u"x\u00E9"}}},
        {XF_TEXT_CR, "x\xE9\n", {}, {{1, u"x\u00E9"}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "mode " << c.mode << ": " << testing::PrintToString(c.written));
        CXFile f = FileWith(c.mode, c.written);
        CStr line;
        for (const auto& [more, text] : c.lines) {
            EXPECT_EQ(f.ReadLn(line) != 0, more);
            EXPECT_EQ(Str(line), text);
        }
        f.Seek(0);
        CUniStr wide;
        for (const auto& [more, text] : c.wide) {
            EXPECT_EQ(f.UniReadLn(wide) != 0, more);
            EXPECT_EQ(Str(wide), text);
        }
    }
}

// ---- writing
// ------------------------------------------------------------------------------------------------

// What each writing operation stores, mode by mode. Write(char) widens with sign extension in the Unicode
// modes, Write(text) widens each byte to one unit without it; a unit with a high byte becomes "." in the
// 8-bit text modes.
TEST(XFile, EachWritingOperationStoresTheModesForm) {
    struct Row {
        XF_TEXT_MODE mode;
        std::string writeLn, uniWriteLn, textLn, uniTextLn, chars, units, text, uniText;
    };
    const auto W = [](std::u16string_view units) { return UnitBytes(units); };
    const Row rows[] = {
        {XF_BINARY, "\n", W(u"\n"), "hi\n", W(u"hi\n"),
         "\xE9"
         "A",
         W(u"\u20AC\u00E9"), "a\xE9\n", W(u"a\u00E9\n")},
        {XF_TEXT_CRLF, "\r\n", "\r\n", "hi\r\n", "hi\r\n",
         "\xE9"
         "A",
         ".\xE9", "a\xE9\r\n", "a\xE9\r\n"},
        {XF_TEXT_LF, "\n", "\n", "hi\n", "hi\n",
         "\xE9"
         "A",
         ".\xE9", "a\xE9\n", "a\xE9\n"},
        {XF_TEXT_CR, "\r", "\r", "hi\r", "hi\r",
         "\xE9"
         "A",
         ".\xE9", "a\xE9\r", "a\xE9\r"},
        {XF_UNICODE_CRLF, W(u"\r\n"), W(u"\r\n"), W(u"hi\r\n"), W(u"hi\r\n"),
         W(u"\xFFE9"
           u"A"),
         W(u"\u20AC\u00E9"), W(u"a\u00E9\r\n"), W(u"a\u00E9\r\n")},
        {XF_UNICODE_LF, W(u"\n"), W(u"\n"), W(u"hi\n"), W(u"hi\n"),
         W(u"\xFFE9"
           u"A"),
         W(u"\u20AC\u00E9"), W(u"a\u00E9\n"), W(u"a\u00E9\n")},
        {XF_UNICODE_CR, W(u"\r"), W(u"\r"), W(u"hi\r"), W(u"hi\r"),
         W(u"\xFFE9"
           u"A"),
         W(u"\u20AC\u00E9"), W(u"a\u00E9\r"), W(u"a\u00E9\r")},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(testing::Message() << "mode " << r.mode);
        const auto stored = [&](auto write) {
            CXFile f = CreateMemoryFile(r.mode);
            write(f);
            return Stored(f);
        };
        EXPECT_EQ(stored([](CXFile& f) { f.WriteLn(); }), r.writeLn);
        EXPECT_EQ(stored([](CXFile& f) { f.UniWriteLn(); }), r.uniWriteLn);
        EXPECT_EQ(stored([](CXFile& f) { f.WriteLn(CStr("hi")); }), r.textLn);
        EXPECT_EQ(stored([](CXFile& f) { f.UniWriteLn(CUniStr(u"hi")); }), r.uniTextLn);
        EXPECT_EQ(stored([](CXFile& f) { f.Write(static_cast<char>(0xE9)), f.Write('A'); }), r.chars);
        EXPECT_EQ(stored([](CXFile& f) {
                      f.UniWrite(static_cast<unsigned short>(0x20AC)),
                          f.UniWrite(static_cast<unsigned short>(0x00E9));
                  }),
                  r.units);
        EXPECT_EQ(stored([](CXFile& f) { f.Write(CStr("a\xE9\n")), f.Write(CStr()), f.UniWrite(CUniStr()); }),
                  r.text);
        EXPECT_EQ(stored([](CXFile& f) { f.UniWrite(CUniStr(u"a\u00E9\n")); }), r.uniText);
    }
    CXFile f = CreateMemoryFile(XF_UNICODE_CRLF);
    f.Write('\n');
    EXPECT_EQ(Stored(f), UnitBytes(u"\r\n")) << "a line feed character is translated like a line end";
}

// ---- whole files and strings
// --------------------------------------------------------------------------------

TEST(XFile, GetWholeFileSizesTheBlobByTheFileLength) {
    CBlob blob(static_cast<const char*>("old"), 3);
    CXFile empty = CreateMemoryFile(XF_TEXT_CRLF);
    empty.GetWholeFile(blob);
    EXPECT_TRUE(blob.IsNull()) << "an empty file leaves the blob blank";

    CXFile bin = FileWith(XF_BINARY, std::string("ab\0c\r\n", 6));
    bin.SeekFromEnd(1);
    bin.GetWholeFile(blob);
    ASSERT_EQ(blob.GetBlobSize(), 6);
    EXPECT_EQ(std::string(blob.GetData(), 6), std::string("ab\0c\r\n", 6));
    EXPECT_EQ(bin.GetFilePosition(), 6) << "read from the start";

    // Mode 1: ten stored bytes, eight delivered; the blob's length is still ten.
    CXFile text = FileWith(XF_TEXT_CRLF, "abc\ndef\n");
    ASSERT_EQ(text.GetFileLength(), 10);
    text.GetWholeFile(blob);
    ASSERT_EQ(blob.GetBlobSize(), 10);
    EXPECT_EQ(std::string(blob.GetData(), 8), "abc\ndef\n");

    CXFile wide = FileWith(XF_UNICODE_CRLF, UnitBytes(u"ab\n"));
    ASSERT_EQ(wide.GetFileLength(), 8);
    wide.GetWholeFile(blob);
    ASSERT_EQ(blob.GetBlobSize(), 8);
    EXPECT_EQ(std::string(blob.GetData(), 6), UnitBytes(u"ab\n"));

    CXFile cr = FileWith(XF_UNICODE_CR, UnitBytes(u"ab\n"));
    cr.GetWholeFile(blob);
    ASSERT_EQ(blob.GetBlobSize(), 6);
    EXPECT_EQ(std::string(blob.GetData(), 6), UnitBytes(u"ab\n"));
}

TEST(XFile, ReadIntoStringStopsAtAZeroWithoutAView) {
    CXFile f = FileWith(XF_BINARY, std::string("abc\0def", 7));
    f.Seek(1);
    EXPECT_EQ(Str(f.ReadIntoString()), "bc");
    EXPECT_EQ(f.GetFilePosition(), 4) << "just past the zero byte";
    EXPECT_EQ(Str(f.ReadIntoString()), "def");
    EXPECT_EQ(f.GetFilePosition(), 7);
    EXPECT_EQ(Str(f.ReadIntoString()), "");

    CXFile t = FileWith(XF_TEXT_CRLF, "a\nb");
    EXPECT_EQ(Str(t.ReadIntoString()), "a\nb") << "read through the body's translation";

    CXFile w = FileWith(XF_UNICODE_LF, UnitBytes(std::u16string(u"a\u20AC\0z", 4)));
    EXPECT_EQ(Str(w.ReadIntoStringW()), u"a\u20AC");
    EXPECT_EQ(w.GetFilePosition(), 6);
    EXPECT_EQ(Str(w.ReadIntoStringW()), u"z");
    EXPECT_EQ(Str(w.ReadIntoStringW()), u"");
}

TEST(XFile, WithAViewReadIntoStringReadsFromThePositionAndEndsAtTheEnd) {
    auto* body = new ViewFile(std::string("hello\0world", 11));
    CXFile f(body);
    f.Seek(2);
    EXPECT_EQ(Str(f.ReadIntoString()), "llo");
    EXPECT_EQ(body->asked, std::make_pair(0, 0));
    EXPECT_EQ(f.GetFilePosition(), 11) << "the position goes to the end, not past the zero";

    auto* wideBody = new ViewFile(UnitBytes(std::u16string(u"ab\0c", 4)) + "x");
    CXFile w(wideBody);
    w.Seek(2);
    EXPECT_EQ(Str(w.ReadIntoStringW()), u"b");
    EXPECT_EQ(w.GetFilePosition(), 9);
    w.Seek(6);
    EXPECT_EQ(Str(w.ReadIntoStringW()), u"c") << "at most (length - position) / 2 units";
    EXPECT_EQ(Str(w.ReadIntoStringW()), u"");
}

TEST(XFile, CreateMemoryViewAlwaysAsksForTheWholeFile) {
    auto* body = new ViewFile("abcdef");
    CXFile f(body);
    char* view = f.CreateMemoryView(100, 5);
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(body->asked, std::make_pair(0, 0));
    EXPECT_EQ(view[0], 'a');
    EXPECT_EQ(CreateMemoryFile(XF_BINARY).CreateMemoryView(0, 0), nullptr);

    // The base body refuses duplication and region locks.
    ExpectError<CZtXFileException>([&] { f.GetDuplicateFile(); }, 10009, "Invalid call for this type of file",
                                   ".\\xfile");
    ExpectError<CZtXFileException>([&] { f.LockRegion(0, 1); }, 10009, "Locking not supported", ".\\xfile");
    EXPECT_FALSE(f.IsLockingSupported());
}

TEST(XFile, HandlesOnOneBodyShareItsPosition) {
    CXFile a = CreateMemoryFile(XF_BINARY);
    CXFile b = a;
    EXPECT_EQ(a.GetRep(), b.GetRep());
    Write(a, "abc");
    EXPECT_EQ(b.GetFilePosition(), 3);
    a.Release();
    EXPECT_TRUE(a.IsNull());
    EXPECT_EQ(b.GetFileLength(), 3);
    b.Blank();
    EXPECT_TRUE(b.IsNull());
}

// ---- a blank handle
// -----------------------------------------------------------------------------------------

TEST(XFile, BlankHandleAnswersEveryCallWithoutRaising) {
    const CXFile f;
    const auto everyCall = [&f] {
        char buffer[4] = {'k', 'k', 'k', 'k'};
        EXPECT_EQ(f.GetFilePosition(), 0);
        EXPECT_EQ(f.GetFileLength(), 0);
        EXPECT_EQ(f.ReadBlock(buffer, 4), 0u);
        EXPECT_EQ(buffer[0], 'k');
        EXPECT_EQ(f.WriteBlock(buffer, 4), 0u);
        EXPECT_EQ(f.LockRegion(0, 10), 0);
        EXPECT_EQ(f.CreateMemoryView(0, 0), nullptr);
        CStr line;
        EXPECT_FALSE(f.ReadLn(line));
        CUniStr wide;
        EXPECT_FALSE(f.UniReadLn(wide));
        EXPECT_FALSE(f.IsLockingSupported());
        EXPECT_TRUE(f.Eof());
        EXPECT_EQ(f.GetChar(), -1);
        EXPECT_EQ(f.PutChar('a'), -1);
        EXPECT_EQ(f.UniGetChar(), 0xFFFF);
        EXPECT_EQ(f.UniPutChar(u'a'), 0xFFFF);
        EXPECT_EQ(f.GetName().Length(), 0u);
        EXPECT_EQ(f.GetTextMode(), XF_BINARY);
        EXPECT_TRUE(f.GetDuplicateFile().IsNull());
        EXPECT_EQ(f.ReadIntoString().Length(), 0u);
        EXPECT_EQ(f.ReadIntoStringW().Length(), 0u);

        f.Seek(5);
        f.SeekFromEnd(5);
        f.SeekRelative(5);
        f.Write('a');
        f.Write(CStr("abc"));
        f.WriteLn();
        f.WriteLn(CStr("abc"));
        f.UniWrite(static_cast<unsigned short>(0x20AC));
        f.UniWrite(CUniStr(u"abc"));
        f.UniWriteLn();
        f.UniWriteLn(CUniStr(u"abc"));
        f.Flush();
        f.UnlockRegion(1);
        f.SetFileLength(10);
        CBlob blob(static_cast<const char*>("xy"), 2);
        f.GetWholeFile(blob);
        EXPECT_EQ(blob.GetBlobSize(), 2) << "nothing happens to the blob";
        EXPECT_EQ(f.GetFileLength(), 0);
    };
    EXPECT_NO_THROW(everyCall());
    CXFile g;
    g.Release();
    g.Blank();
    EXPECT_TRUE(g.IsNull());
}

}  // namespace
