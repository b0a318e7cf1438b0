#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "expect_error.h"
#include "memory_file_test_support.h"

using namespace ZtBase;
using memfile_test::UnitBytes;
using test_support::ExpectError;

namespace {

constexpr char kXFile[] = ".\\xfile";
constexpr char kBlockAlign[] = "A unicode file may only be read as aligned 2-byte.";
constexpr char kCharAlign[] = "unicode files must be aligned";

std::string Stored(const CXFile& f) {
    return MemoryFileInspector::Stored(f);
}

unsigned Write(const CXFile& f, const std::string& bytes) {
    return f.WriteBlock(bytes.data(), static_cast<unsigned>(bytes.size()));
}

std::string Read(const CXFile& f, unsigned count) {
    std::string out(count, '\0');
    out.resize(f.ReadBlock(out.data(), count));
    return out;
}

// ---- names, seeking, lengths ------------------------------------------------------------------------------

TEST(MemoryFile, NamesCountUpAfterThePrefixAndDuplicatesAddDup) {
    CXFile a = CreateMemoryFile(XF_BINARY);
    CXFile b = CreateMemoryFile(XF_UNICODE_LF);
    const std::string na = a.GetName().c_str(), nb = b.GetName().c_str();
    ASSERT_EQ(na.rfind("MemoryFile_", 0), 0u) << na;
    ASSERT_EQ(nb.rfind("MemoryFile_", 0), 0u) << nb;
    EXPECT_EQ(std::stoul(nb.substr(11)), std::stoul(na.substr(11)) + 1);
    EXPECT_EQ(std::string(a.GetDuplicateFile().GetName().c_str()), na + "_dup");
    EXPECT_EQ(std::string(a.GetDuplicateFile().GetDuplicateFile().GetName().c_str()), na + "_dup_dup");
}

// Seeking, translation and page making are also checked at random against a model below; these are the
// extremes and boundaries that random steps rarely reach.
TEST(MemoryFile, SeeksClampWithoutOverflowAndPagesAreMadeAtTheirBoundaries) {
    CXFile f = CreateMemoryFile(XF_BINARY);
    EXPECT_TRUE(f.Eof());
    EXPECT_EQ(MemoryFileInspector::PageCount(f), 0u);
    Write(f, std::string(5000, 'x'));
    f.SeekFromEnd(0x7FFFFFFF);
    EXPECT_EQ(f.GetFilePosition(), 0);
    f.SeekFromEnd(-0x7FFFFFFF - 1);  // no overflow in length - offset
    EXPECT_EQ(f.GetFilePosition(), 5000);
    f.Seek(100);
    f.SeekRelative(0x7FFFFFFF);
    EXPECT_EQ(f.GetFilePosition(), 5000);

    // Exactly one page, then one byte more.
    CXFile g = CreateMemoryFile(XF_BINARY);
    Write(g, std::string(4096, 'a'));
    EXPECT_EQ(MemoryFileInspector::PageCount(g), 1u);
    Write(g, "c");
    EXPECT_EQ(MemoryFileInspector::PageCount(g), 2u);
    // Writing inside overwrites; the rest of a made page reads as zeros once the length reaches it.
    g.Seek(1);
    EXPECT_EQ(Write(g, "ZZ"), 2u);
    EXPECT_EQ(g.GetFileLength(), 4097);
    g.SetFileLength(8192);
    g.Seek(4096);
    EXPECT_EQ(Read(g, 4), std::string("c\0\0\0", 4));
    g.Seek(0);
    EXPECT_EQ(Read(g, 4), "aZZa");
}

TEST(MemoryFile, SetFileLengthOnlySetsTheLength) {
    CXFile f = CreateMemoryFile(XF_BINARY);
    Write(f, std::string(5000, 'q'));
    f.SetFileLength(0);
    EXPECT_EQ(f.GetFilePosition(), 5000) << "the position is not moved";
    EXPECT_TRUE(f.Eof());
    EXPECT_EQ(f.GetChar(), -1);
    f.Seek(0);
    EXPECT_EQ(f.GetFilePosition(), 0);
    EXPECT_TRUE(f.Eof());
    EXPECT_EQ(Read(f, 10), "");
    EXPECT_EQ(MemoryFileInspector::PageCount(f), 2u) << "pages are kept";
    // The old bytes are still in the pages.
    f.SetFileLength(5000);
    f.Seek(4998);
    EXPECT_EQ(Read(f, 5), "qq");

    // A length grown past the last page: reading there is the page array's index error; writing makes
    // the missing pages.
    CXFile g = CreateMemoryFile(XF_BINARY);
    Write(g, "abc");
    g.SetFileLength(10000);
    EXPECT_EQ(MemoryFileInspector::PageCount(g), 1u);
    g.Seek(4096);
    EXPECT_EQ(g.GetFilePosition(), 4096);
    ExpectError<CZtSimpleException>([&] { Read(g, 1); }, 10007, "subscript out of range", ".\\ztbase");
    ExpectError<CZtSimpleException>([&] { g.GetChar(); }, 10007, "subscript out of range", ".\\ztbase");
    g.Seek(9000);
    Write(g, "z");
    EXPECT_EQ(MemoryFileInspector::PageCount(g), 3u);
    EXPECT_EQ(g.GetFileLength(), 10000);
    g.Seek(4096);
    EXPECT_EQ(Read(g, 2), std::string(2, '\0'));
}

// ---- translation, both ways, every mode -------------------------------------------------------------------

struct Translation {
    XF_TEXT_MODE mode;
    std::string written;  // what the caller writes
    std::string stored;   // what the pages then hold
    std::string read;     // what reading the stored bytes delivers
};

std::vector<Translation> Translations() {
    const std::u16string w = u"a\nb\r\n\r\xFF0A\x0A0D";  // units with a high byte are not line ends
    return {
        {XF_BINARY, "a\nb\r\nc\r", "a\nb\r\nc\r", "a\nb\r\nc\r"},
        {XF_TEXT_CRLF, "a\nb\r\nc\r", "a\r\nb\r\r\nc\r", "a\nb\nc"},
        {XF_TEXT_LF, "a\nb\r\nc\r", "a\nb\r\nc\r", "a\nb\r\nc\r"},
        {XF_TEXT_CR, "a\nb\r\nc\r", "a\rb\r\rc\r", "a\nb\n\nc\n"},
        {XF_UNICODE_CRLF, UnitBytes(w), UnitBytes(u"a\r\nb\r\r\n\r\xFF0A\x0A0D"),
         UnitBytes(u"a\nb\n\xFF0A\x0A0D")},
        {XF_UNICODE_LF, UnitBytes(w), UnitBytes(w), UnitBytes(w)},
        {XF_UNICODE_CR, UnitBytes(w), UnitBytes(u"a\rb\r\r\r\xFF0A\x0A0D"),
         UnitBytes(u"a\nb\n\n\n\xFF0A\x0A0D")},
    };
}

TEST(MemoryFile, BlockWritesAndReadsTranslateAsTheModeSays) {
    for (const Translation& t : Translations()) {
        SCOPED_TRACE(testing::Message() << "mode " << t.mode);
        CXFile f = CreateMemoryFile(t.mode);
        EXPECT_EQ(Write(f, t.written), t.written.size()) << "the caller's count is returned";
        EXPECT_EQ(Stored(f), t.stored);
        EXPECT_EQ(f.GetFileLength(), static_cast<int>(t.stored.size()));
        EXPECT_EQ(f.GetFilePosition(), static_cast<int>(t.stored.size()));
        f.Seek(0);
        const std::string back = Read(f, 1000);
        EXPECT_EQ(back, t.read);
        EXPECT_TRUE(f.Eof());
    }
    // The CR LF example: a, CR, LF, b reads as a, LF, b; a CR is consumed only while bytes are wanted.
    CXFile f = CreateMemoryFile(XF_TEXT_CRLF);
    Write(f, "a\nb");
    ASSERT_EQ(Stored(f), "a\r\nb");
    f.Seek(0);
    EXPECT_EQ(Read(f, 1), "a");
    EXPECT_EQ(f.GetFilePosition(), 1);
    EXPECT_EQ(Read(f, 1), "\n");
    EXPECT_EQ(f.GetFilePosition(), 3);
    EXPECT_EQ(Read(f, 5), "b");
    // A file that ends in CR: the CR is consumed and nothing is delivered.
    CXFile g = CreateMemoryFile(XF_TEXT_CRLF);
    Write(g, "\r\r");
    g.Seek(0);
    EXPECT_EQ(Read(g, 4), "");
    EXPECT_EQ(g.GetFilePosition(), 2);
}

TEST(MemoryFile, SixteenBitCharactersAreTwoByteBlocksInEveryMode) {
    for (const Translation& t : Translations()) {
        SCOPED_TRACE(testing::Message() << "mode " << t.mode);
        const std::string even = t.written.size() % 2 ? t.written + "z" : t.written;
        CXFile g = CreateMemoryFile(t.mode);
        for (std::size_t i = 0; i < even.size(); i += 2) {
            const auto u = static_cast<unsigned short>(static_cast<unsigned char>(even[i]) |
                                                       static_cast<unsigned char>(even[i + 1]) << 8);
            EXPECT_EQ(g.UniPutChar(u), u);
        }
        CXFile h = CreateMemoryFile(t.mode);
        Write(h, even);
        EXPECT_EQ(Stored(g), Stored(h));
    }
    // A byte with the sign bit set comes back as 128 to 255; a unit 0xFFFF reads as the end mark.
    CXFile b = CreateMemoryFile(XF_BINARY);
    b.PutChar(static_cast<short>(-23));
    b.Seek(0);
    EXPECT_EQ(b.GetChar(), 0xE9);
    CXFile u = CreateMemoryFile(XF_UNICODE_LF);
    EXPECT_EQ(u.UniPutChar(0xFFFF), 0xFFFF);
    u.Seek(0);
    EXPECT_EQ(u.UniGetChar(), 0xFFFF);
    // UniGetChar needs two delivered bytes: a lone last byte gives the end mark.
    CXFile odd = CreateMemoryFile(XF_TEXT_CRLF);
    Write(odd, "x");
    odd.Seek(0);
    EXPECT_EQ(odd.UniGetChar(), 0xFFFF);
}

// A line end written across a page end: the pair is split between the pages and reads back whole.
TEST(MemoryFile, LineEndsSplitAcrossAPageEnd) {
    const struct {
        XF_TEXT_MODE mode;
        std::size_t before;  // bytes of 'a' written first
        std::string written, storedTail;
        int readFrom;
        unsigned readCount;
        std::string read;
    } cases[] = {
        {XF_TEXT_CRLF, 4095, "\n", "\r\n", 4094, 10, "a\n"},  // CR at 4095, LF at 4096
        {XF_TEXT_CRLF, 4094, "b\nc", "b\r\nc", 4094, 10, "b\nc"},
        {XF_UNICODE_CRLF, 4094, UnitBytes(u"\n"), UnitBytes(u"\r\n"), 4092, 8, "aa" + UnitBytes(u"\n")},
        {XF_UNICODE_CR, 4094, UnitBytes(u"\nz"), UnitBytes(u"\rz"), 4094, 4, UnitBytes(u"\nz")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "mode " << c.mode);
        CXFile f = CreateMemoryFile(c.mode);
        Write(f, std::string(c.before, 'a'));
        EXPECT_EQ(Write(f, c.written), c.written.size());
        EXPECT_EQ(Stored(f).substr(c.before), c.storedTail);
        EXPECT_EQ(MemoryFileInspector::PageCount(f), 2u);
        f.Seek(c.readFrom);
        EXPECT_EQ(Read(f, c.readCount), c.read);
    }
    // PutChar splits it the same way.
    CXFile g = CreateMemoryFile(XF_TEXT_CRLF);
    Write(g, std::string(4095, 'a'));
    g.PutChar('\n');
    EXPECT_EQ(Stored(g).substr(4095), "\r\n");
}

// ---- errors
// --------------------------------------------------------------------------------------------------

TEST(MemoryFile, UnicodeBlocksAndCharactersMustBeAligned) {
    for (XF_TEXT_MODE mode : {XF_UNICODE_CRLF, XF_UNICODE_CR}) {
        SCOPED_TRACE(testing::Message() << "mode " << mode);
        CXFile f = CreateMemoryFile(mode);
        Write(f, UnitBytes(u"abcd"));
        f.Seek(0);
        char buffer[8];
        ExpectError<CZtXFileException>([&] { f.ReadBlock(buffer, 3); }, 11001, kBlockAlign, kXFile);
        EXPECT_EQ(f.GetFilePosition(), 0) << "nothing was read";
        ExpectError<CZtXFileException>([&] { f.WriteBlock("abc", 3); }, 11001, kBlockAlign, kXFile);
        EXPECT_EQ(Stored(f), UnitBytes(u"abcd")) << "nothing was written";
        f.Seek(1);
        ExpectError<CZtXFileException>([&] { f.ReadBlock(buffer, 2); }, 11001, kBlockAlign, kXFile);
        ExpectError<CZtXFileException>([&] { f.WriteBlock("ab", 2); }, 11001, kBlockAlign, kXFile);
        ExpectError<CZtXFileException>([&] { f.UniGetChar(); }, 11001, kBlockAlign, kXFile);
        ExpectError<CZtXFileException>([&] { f.UniPutChar(u'x'); }, 11001, kBlockAlign, kXFile);
        ExpectError<CZtXFileException>([&] { f.GetChar(); }, 11001, kCharAlign, kXFile);
        ExpectError<CZtXFileException>([&] { f.PutChar('x'); }, 11001, kCharAlign, kXFile);
        EXPECT_EQ(f.GetFilePosition(), 1);
        // A zero count at an odd position is still misaligned.
        ExpectError<CZtXFileException>([&] { f.ReadBlock(buffer, 0); }, 11001, kBlockAlign, kXFile);
    }
}

TEST(MemoryFile, ModeFiveBlocksAreRawButItsCharactersMustBeAligned) {
    // Mode 5 has no translation: its block operations copy bytes whatever the alignment.
    CXFile f = CreateMemoryFile(XF_UNICODE_LF);
    EXPECT_EQ(Write(f, "abc"), 3u);
    f.Seek(1);
    EXPECT_EQ(Read(f, 1), "b");
    f.Seek(1);
    ExpectError<CZtXFileException>([&] { f.GetChar(); }, 11001, kCharAlign, kXFile);
    ExpectError<CZtXFileException>([&] { f.PutChar('x'); }, 11001, kCharAlign, kXFile);
    f.Seek(0);
    EXPECT_EQ(f.GetChar(), static_cast<short>('a' | 'b' << 8));
    EXPECT_EQ(f.GetChar(), -1) << "a lone last byte is not a unit";
}

TEST(MemoryFile, ModeAboveSixIsAnInvalidFile) {
    CXFile f = CreateMemoryFile(static_cast<XF_TEXT_MODE>(7));
    char buffer[4];
    for (const auto& op : std::vector<std::function<void()>>{
             [&] { f.ReadBlock(buffer, 2); }, [&] { f.WriteBlock("ab", 2); }, [&] { f.GetChar(); },
             [&] { f.PutChar('a'); }, [&] { f.UniGetChar(); }, [&] { f.UniPutChar(1); }})
        ExpectError<CZtXFileException>(op, 10005, "Invalid CXFile", kXFile);
    // The line operations do nothing and report failure; seeking still works.
    CStr line("x");
    EXPECT_FALSE(f.ReadLn(line));
    EXPECT_EQ(line.Length(), 0u);
    f.WriteLn(CStr("abc"));
    f.UniWrite(0x41);
    EXPECT_EQ(f.GetFileLength(), 0);
    f.Seek(5);
    EXPECT_EQ(f.GetFilePosition(), 0);
}

TEST(MemoryFile, NoViewsAndNoRegionLocks) {
    CXFile f = CreateMemoryFile(XF_BINARY);
    Write(f, "abc");
    EXPECT_EQ(f.CreateMemoryView(0, 3), nullptr);
    EXPECT_FALSE(f.IsLockingSupported());
    ExpectError<CZtXFileException>([&] { f.LockRegion(0, 1); }, 10009, "Locking not supported", kXFile);
    ExpectError<CZtXFileException>([&] { f.UnlockRegion(0); }, 10009, "Locking not supported", kXFile);
    f.Flush();
    EXPECT_EQ(f.GetFilePosition(), 3);
    // A raised error leaves the lock free: the file is still usable from another thread.
    std::thread([&] { EXPECT_EQ(f.GetFileLength(), 3); }).join();
}

// ---- duplication
// --------------------------------------------------------------------------------------------

TEST(MemoryFile, DuplicateIsAnIndependentCopy) {
    for (XF_TEXT_MODE mode : {XF_BINARY, XF_TEXT_CRLF, XF_UNICODE_CR}) {
        CXFile f = CreateMemoryFile(mode);
        Write(f, std::string(6000, 'k'));
        f.SetFileLength(5000);  // the pages past the length are copied too
        f.Seek(1234);
        CXFile d = f.GetDuplicateFile();
        ASSERT_FALSE(d.IsNull());
        EXPECT_NE(d.GetRep(), f.GetRep());
        EXPECT_EQ(d.GetTextMode(), mode);
        EXPECT_EQ(d.GetFilePosition(), 1234);
        EXPECT_EQ(d.GetFileLength(), 5000);
        EXPECT_EQ(MemoryFileInspector::PageCount(d), 2u);
        EXPECT_EQ(Stored(d), Stored(f));

        Write(d, "ZZ");
        EXPECT_EQ(d.GetFilePosition(), 1236);
        EXPECT_EQ(f.GetFilePosition(), 1234);
        EXPECT_EQ(Stored(f), std::string(5000, 'k'));
        f.Seek(0);
        Write(f, std::string(5100, 'm'));
        EXPECT_EQ(d.GetFileLength(), 5000);
        EXPECT_EQ(Stored(d).substr(1230, 8), "kkkkZZkk");
        d.SetFileLength(6000);
        d.Seek(5998);
        EXPECT_EQ(Read(d, 2), "kk") << "bytes past the length were duplicated";
    }
    // An empty file duplicates to an empty file with no pages.
    CXFile e = CreateMemoryFile(XF_BINARY).GetDuplicateFile();
    EXPECT_EQ(e.GetFileLength(), 0);
    EXPECT_EQ(MemoryFileInspector::PageCount(e), 0u);
}

// ---- random operations against a reference model -------------------------------------------------------

// The stored bytes of every page, the position and the length, changed the simple way: byte by byte (unit
// by unit), with the mode's translation.
class Model {
public:
    explicit Model(int mode) : m_mode(mode) {}

    bool Wide() const { return m_mode >= 4; }
    bool BlockMisaligned(unsigned count) const {
        return (m_mode == 4 || m_mode == 6) && ((static_cast<unsigned>(m_pos) | count) & 1u);
    }
    bool CharMisaligned() const { return Wide() && (m_pos & 1); }

    void Seek(long long p) { m_pos = p < 0 ? 0 : static_cast<int>(std::min<long long>(p, m_len)); }
    void SeekFromEnd(int o) { Seek(static_cast<long long>(m_len) - o); }
    void SeekRelative(int o) { Seek(static_cast<long long>(m_pos) + o); }
    void SetLength(int n) { m_len = n; }

    void Write(const std::string& in) {
        if (!Wide()) {
            for (char b : in) {
                if (b == '\n' && m_mode == 1) Put('\r');
                Put(b == '\n' && m_mode == 3 ? '\r' : b);
            }
            return;
        }
        if (m_mode == 5) {
            for (char b : in) Put(b);
            return;
        }
        for (std::size_t i = 0; i < in.size(); i += 2) {
            const bool lf = in[i] == '\n' && in[i + 1] == 0;
            if (lf && m_mode == 4) Put('\r'), Put(0);
            Put(lf && m_mode == 6 ? '\r' : in[i]);
            Put(in[i + 1]);
        }
    }

    std::string Read(unsigned count) {
        std::string out;
        if (!Wide() || m_mode == 5) {
            while (out.size() < count && m_pos < m_len) {
                const char b = m_pages[static_cast<std::size_t>(m_pos++)];
                if (b == '\r' && m_mode == 1) continue;
                out += b == '\r' && m_mode == 3 ? '\n' : b;
            }
            return out;
        }
        while (out.size() < count && m_len - m_pos >= 2) {
            const char lo = m_pages[static_cast<std::size_t>(m_pos)],
                       hi = m_pages[static_cast<std::size_t>(m_pos) + 1];
            m_pos += 2;
            const bool cr = lo == '\r' && hi == 0;
            if (cr && m_mode == 4) continue;
            out += cr ? '\n' : lo;
            out += hi;
        }
        return out;
    }

    short GetChar() {
        if (!Wide()) {
            const std::string b = Read(1);
            return b.empty() ? short(-1) : static_cast<short>(static_cast<unsigned char>(b[0]));
        }
        for (;;) {
            if (m_len - m_pos < 2) return -1;
            const auto u =
                static_cast<unsigned short>(static_cast<unsigned char>(m_pages[std::size_t(m_pos)]) |
                                            static_cast<unsigned char>(m_pages[std::size_t(m_pos) + 1]) << 8);
            m_pos += 2;
            if (u == 13 && m_mode == 4) continue;
            return static_cast<short>(u == 13 && m_mode == 6 ? 10 : u);
        }
    }

    void PutChar(short c) {
        if (!Wide()) {
            Write(std::string(1, static_cast<char>(c)));
            return;
        }
        const auto u = static_cast<unsigned short>(c);
        std::string unit{static_cast<char>(u & 0xFF), static_cast<char>(u >> 8)};
        if (m_mode == 5 || u != 10) {
            Put(unit[0]), Put(unit[1]);
            return;
        }
        Write(unit);
    }

    int Position() const { return m_pos; }
    int Length() const { return m_len; }
    // The bytes that pages exist for.
    int PageBytes() const { return static_cast<int>(m_pages.size()); }
    std::string Stored() const { return m_pages.substr(0, static_cast<std::size_t>(m_len)); }

private:
    void Put(char b) {
        if (static_cast<std::size_t>(m_pos) >= m_pages.size())
            m_pages.resize((static_cast<std::size_t>(m_pos) / 4096 + 1) * 4096, '\0');
        m_pages[static_cast<std::size_t>(m_pos++)] = b;
        m_len = std::max(m_len, m_pos);
    }

    int m_mode;
    std::string m_pages;
    int m_pos = 0;
    int m_len = 0;
};

std::string RandomText(std::mt19937& rng, std::size_t n, bool wide) {
    std::string out(n, '\0');
    for (char& b : out) {
        const unsigned r = rng() % 100;
        b = r < 15 ? '\n' : r < 25 ? '\r' : r < 30 ? '\0' : static_cast<char>(rng() % 256);
    }
    if (wide)  // mostly line-end units and plain units, some with a high byte
        for (std::size_t i = 1; i < n; i += 2)
            if (rng() % 4 != 0) out[i] = 0;
    return out;
}

TEST(MemoryFile, RandomOperationsMatchAReferenceModelInEveryMode) {
    std::mt19937 rng(20240611u);  // fixed rng start value: the run is repeatable
    for (int mode = 0; mode <= 6; ++mode) {
        SCOPED_TRACE(testing::Message() << "mode " << mode);
        CXFile f = CreateMemoryFile(static_cast<XF_TEXT_MODE>(mode));
        Model m(mode);
        const bool wide = mode >= 4;
        for (int step = 0; step < 2500; ++step) {
            const unsigned op = rng() % 100;
            const auto size = [&] {
                const unsigned r = rng() % 10;
                unsigned n = r < 5 ? rng() % 16 : r < 9 ? rng() % 600 : rng() % 9000;
                if (wide && rng() % 8 != 0) n &= ~1u;  // mostly aligned counts
                return n;
            };
            if (op < 30) {
                const std::string data = RandomText(rng, size(), wide);
                if (m.BlockMisaligned(static_cast<unsigned>(data.size()))) {
                    EXPECT_THROW(Write(f, data), CZtXFileException);
                } else {
                    EXPECT_EQ(Write(f, data), data.size());
                    m.Write(data);
                }
            } else if (op < 55) {
                const unsigned n = size();
                if (m.BlockMisaligned(n)) {
                    EXPECT_THROW(Read(f, n), CZtXFileException);
                } else {
                    ASSERT_EQ(Read(f, n), m.Read(n)) << "step " << step;
                }
            } else if (op < 62) {
                const int p = static_cast<int>(rng() % static_cast<unsigned>(m.Length() + 40)) - 20;
                f.Seek(p);
                m.Seek(p);
            } else if (op < 67) {
                const int o = static_cast<int>(rng() % 200) - 100;
                f.SeekFromEnd(o);
                m.SeekFromEnd(o);
            } else if (op < 72) {
                const int o = static_cast<int>(rng() % 2000) - 1000;
                f.SeekRelative(o);
                m.SeekRelative(o);
            } else if (op < 80) {
                if (m.CharMisaligned()) {
                    EXPECT_THROW(f.GetChar(), CZtXFileException);
                } else {
                    ASSERT_EQ(f.GetChar(), m.GetChar()) << "step " << step;
                }
            } else if (op < 87) {
                const std::string c = RandomText(rng, 2, wide);
                const auto value = static_cast<short>(static_cast<unsigned char>(c[0]) |
                                                      (wide ? static_cast<unsigned char>(c[1]) << 8 : 0));
                if (m.CharMisaligned()) {
                    EXPECT_THROW(f.PutChar(value), CZtXFileException);
                } else {
                    EXPECT_EQ(f.PutChar(value), value);
                    m.PutChar(value);
                }
            } else if (op < 93) {
                if (m.BlockMisaligned(2)) {
                    EXPECT_THROW(f.UniGetChar(), CZtXFileException);
                } else {
                    const std::string two = m.Read(2);
                    const unsigned short expected =
                        two.size() == 2 ? static_cast<unsigned short>(static_cast<unsigned char>(two[0]) |
                                                                      static_cast<unsigned char>(two[1]) << 8)
                                        : 0xFFFF;
                    ASSERT_EQ(f.UniGetChar(), expected) << "step " << step;
                }
            } else if (op < 97) {
                // Within the pages that exist (or none at all).
                const int n = static_cast<int>(rng() % static_cast<unsigned>(m.PageBytes() + 1));
                f.SetFileLength(static_cast<unsigned>(n));
                m.SetLength(n);
            } else {
                f = f.GetDuplicateFile();
            }
            ASSERT_EQ(f.GetFilePosition(), m.Position()) << "step " << step;
            ASSERT_EQ(f.GetFileLength(), m.Length()) << "step " << step;
            ASSERT_EQ(static_cast<bool>(f.Eof()), m.Position() >= m.Length()) << "step " << step;
            if (step % 50 == 0) {
                ASSERT_EQ(Stored(f), m.Stored()) << "step " << step;
                ASSERT_EQ(MemoryFileInspector::PageCount(f) * 4096, static_cast<std::size_t>(m.PageBytes()));
            }
        }
        EXPECT_EQ(Stored(f), m.Stored());
    }
}

// ---- several threads on one file
// ----------------------------------------------------------------------------

TEST(MemoryFile, ConcurrentBlockWritesLandWholeAtDistinctOffsets) {
    // Each thread writes records with WriteBlock only: every write takes the shared position whole, so the
    // records lie side by side, none torn or lost, each thread's in its own order.
    constexpr int kThreads = 4, kRecords = 600,
                  kSize = 100;  // 100 does not divide 4096: records straddle pages
    for (XF_TEXT_MODE mode : {XF_BINARY, XF_TEXT_CRLF}) {
        SCOPED_TRACE(testing::Message() << "mode " << mode);
        CXFile f = CreateMemoryFile(mode);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([&f, t, mode] {
                for (int r = 0; r < kRecords; ++r) {
                    std::string rec(kSize, static_cast<char>('A' + (t * 7 + r) % 26));
                    rec[0] = static_cast<char>('0' + t);
                    rec[1] = static_cast<char>(0x40 | (r & 0x3F));  // never CR or LF
                    rec[2] = static_cast<char>(0x40 | (r >> 6));
                    if (mode == XF_TEXT_CRLF) rec[kSize - 1] = '\n';
                    f.WriteBlock(rec.data(), kSize);
                }
            });
        for (auto& th : threads) th.join();

        const int stored = mode == XF_TEXT_CRLF ? kSize + 1 : kSize;
        ASSERT_EQ(f.GetFileLength(), kThreads * kRecords * stored);
        const std::string all = Stored(f);
        std::vector<int> next(kThreads, 0);
        for (int k = 0; k < kThreads * kRecords; ++k) {
            const std::string rec =
                all.substr(static_cast<std::size_t>(k * stored), static_cast<std::size_t>(stored));
            const int t = rec[0] - '0';
            ASSERT_TRUE(t >= 0 && t < kThreads) << "record " << k;
            const int r = (rec[1] & 0x3F) | (rec[2] & 0x3F) << 6;
            ASSERT_EQ(r, next[static_cast<std::size_t>(t)]++) << "record " << k << " of thread " << t;
            const char fill = static_cast<char>('A' + (t * 7 + r) % 26);
            const std::string end = mode == XF_TEXT_CRLF ? "\r\n" : std::string(1, fill);
            ASSERT_EQ(rec.substr(3, static_cast<std::size_t>(stored) - 3 - end.size()),
                      std::string(static_cast<std::size_t>(stored) - 3 - end.size(), fill))
                << "record " << k;
            ASSERT_EQ(rec.substr(rec.size() - end.size()), end);
        }
        for (int t = 0; t < kThreads; ++t) EXPECT_EQ(next[static_cast<std::size_t>(t)], kRecords);
    }
}

TEST(MemoryFile, ConcurrentReadersNeverSeeTornRecords) {
    // 4-byte records whose bytes are all equal. Writers overwrite random records, readers read random ones,
    // a third kind duplicates the whole file; every operation moves the shared position by 0 or 4, so all
    // accesses stay on record boundaries whatever the interleaving.
    constexpr int kRecords = 2048;  // two pages
    CXFile f = CreateMemoryFile(XF_BINARY);
    Write(f, std::string(kRecords * 4, '\0'));
    std::atomic<int> torn{0}, reads{0};
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t)
        threads.emplace_back([&, t] {
            std::mt19937 rng(100u + static_cast<unsigned>(t));  // fixed rng start value per thread
            for (int i = 0; i < 20000; ++i) {
                const char v = static_cast<char>(rng());
                const char rec[4] = {v, v, v, v};
                f.Seek(static_cast<int>(rng() % kRecords) * 4);
                f.WriteBlock(rec, 4);
            }
        });
    for (int t = 0; t < 2; ++t)
        threads.emplace_back([&, t] {
            std::mt19937 rng(200u + static_cast<unsigned>(t));
            // At least some reads each, however the threads happen to be scheduled.
            for (int mine = 0; !stop.load() || mine < 500; ++mine) {
                f.Seek(static_cast<int>(rng() % kRecords) * 4);
                char rec[4];
                const unsigned n = f.ReadBlock(rec, 4);
                if (n == 4) {
                    reads.fetch_add(1);
                    if (rec[0] != rec[1] || rec[1] != rec[2] || rec[2] != rec[3]) torn.fetch_add(1);
                } else if (n != 0) {
                    torn.fetch_add(1);
                }
            }
        });
    threads.emplace_back([&] {
        while (!stop.load()) {
            const std::string copy = Stored(f.GetDuplicateFile());
            if (copy.size() % 4 != 0) torn.fetch_add(1);
            for (std::size_t k = 0; k + 3 < copy.size(); k += 4)
                if (copy[k] != copy[k + 1] || copy[k + 1] != copy[k + 2] || copy[k + 2] != copy[k + 3])
                    torn.fetch_add(1);
        }
    });
    threads[0].join();
    threads[1].join();
    stop.store(true);
    for (std::size_t t = 2; t < threads.size(); ++t) threads[t].join();
    EXPECT_EQ(torn.load(), 0);
    EXPECT_GT(reads.load(), 0);
    EXPECT_EQ(f.GetFileLength() % 4, 0);
}

TEST(MemoryFile, FilesMadeOnSeveralThreadsGetDistinctNames) {
    constexpr int kThreads = 4, kEach = 200;
    std::vector<std::vector<std::string>> names(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&names, t] {
            for (int i = 0; i < kEach; ++i)
                names[static_cast<std::size_t>(t)].push_back(CreateMemoryFile(XF_BINARY).GetName().c_str());
        });
    for (auto& th : threads) th.join();
    std::vector<std::string> all;
    for (auto& v : names) all.insert(all.end(), v.begin(), v.end());
    std::sort(all.begin(), all.end());
    EXPECT_EQ(std::unique(all.begin(), all.end()), all.end());
    EXPECT_EQ(all.size(), static_cast<std::size_t>(kThreads * kEach));
}

}  // namespace
