#include <gtest/gtest.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/files/disk_file.h>
#include <ztbase/strings/blob.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "child_process.h"
#include "expect_error.h"
#include "scratch_dir.h"
#include "system_errors.h"

using namespace ZtBase;

namespace {

constexpr unsigned kWrongState = 10009;
constexpr unsigned kIO = 11001;

using test_support::ExpectError;

std::string ReadAll(const CXFile& f, unsigned max = 1u << 20) {
    std::string out(max, '\0');
    out.resize(f.ReadBlock(out.data(), max));
    return out;
}

void WriteAll(const CXFile& f, const std::string& bytes) {
    ASSERT_EQ(f.WriteBlock(bytes.data(), static_cast<unsigned>(bytes.size())), bytes.size());
}

std::string RandomBytes(std::mt19937& rng, std::size_t n) {
    std::string s(n, '\0');
    for (auto& c : s) c = static_cast<char>(rng() & 0xFF);
    return s;
}

class DiskFile : public testing::Test {
protected:
    std::string Make(const std::string& name, const std::string& bytes) {
        const std::string path = dir / name;
        ScratchDir::WriteBytes(path, bytes);
        return path;
    }
    ScratchDir dir{"disk"};
};

// ---- opening ------------------------------------------------------------------------------------------

TEST_F(DiskFile, BufferedOpenAllowsOnlyExclusiveOrSharedReadOnly) {
    const std::string path = Make("a.txt", "hello");
    const std::string refused = "Invalid combination -- buffered and read/write and not exclusive : " + path;
    for (const auto& [readOnly, share] :
         {std::pair{0, XF_SHARE_READ}, {0, XF_SHARE_READ_WRITE}, {1, XF_SHARE_READ_WRITE}})
        ExpectError<CZtXFileException>([&] { OpenDiskFile(path.c_str(), 1, XF_BINARY, readOnly, share); },
                                       kWrongState, refused);
    CXFile shared = OpenDiskFile(path.c_str(), 1, XF_BINARY, 1, XF_SHARE_READ);
    EXPECT_EQ(ReadAll(shared), "hello");
    EXPECT_EQ(std::string(shared.GetName().c_str()), path);  // the native path
    shared.Release();
    CXFile exclusive = OpenDiskFile(path.c_str(), 1, XF_TEXT_LF, 0, XF_SHARE_NONE);
    EXPECT_EQ(exclusive.GetFileLength(), 5);
    EXPECT_EQ(exclusive.GetTextMode(), XF_TEXT_LF);
}

// Refusals of a combination come before any system call; failures of the system carry its message, the
// unbuffered kind's unlogged.
TEST_F(DiskFile, OpenFailuresCarryTheirMessagesAndClasses) {
    const std::string missing = dir / "missing.bin", nowhere = dir / "no-such-dir/x.bin";
    const char *m = missing.c_str(), *n = nowhere.c_str();
    const struct {
        std::function<void()> open;
        bool logged;
        unsigned code;
        std::string message;
    } cases[] = {
        {[&] { OpenDiskFile(m, 0, XF_TEXT_CRLF, 0, XF_SHARE_NONE); }, true, kWrongState,
         "Invalid combination -- unbuffered and not binary : " + missing},
        {[&] { CreateDiskFile(m, 0, XF_TEXT_LF); }, true, kWrongState,
         "non-binary and unbuffered requested together : " + missing},
        {[&] { AppendDiskFile(m, 0, XF_UNICODE_LF, XF_SHARE_NONE); }, true, kWrongState,
         "non-binary and unbuffered requested together : " + missing},
        {[&] { CreateDiskFile((dir / "mode7").c_str(), 1, static_cast<XF_TEXT_MODE>(7)); }, true, 10005,
         "Invalid CXFile"},
        {[&] { OpenDiskFile(m, 1, XF_BINARY, 1, XF_SHARE_NONE); }, true, kIO,
         "File open failed on file: " + missing +
             "\n    message = " + test_support::SystemMessage(test_support::kErrorNotFound)},
        {[&] { OpenDiskFile(m, 0, XF_BINARY, 1, XF_SHARE_NONE); }, false, kIO,
         "File open failed : " + missing},
        {[&] { CreateDiskFile(n, 1, XF_BINARY); }, true, kIO, "File open failed : " + nowhere},
        {[&] { CreateDiskFile(n, 0, XF_BINARY); }, false, kIO, "File creation failed : " + nowhere},
        {[&] { AppendDiskFile(n, 1, XF_BINARY, XF_SHARE_NONE); }, true, kIO, "File open failed : " + nowhere},
        {[&] { AppendDiskFile(n, 0, XF_BINARY, XF_SHARE_NONE); }, true, kIO, "File open failed : " + nowhere},
    };
    for (const auto& c : cases) {
        if (c.logged)
            ExpectError<CZtXFileException>(c.open, c.code, c.message);
        else
            ExpectError<CZtUnloggedException>(c.open, c.code, c.message);
    }
    EXPECT_FALSE(std::filesystem::exists(missing));  // the refusals did not get as far as the system
    const std::string directory = dir.Dir();         // a directory is not a file
    EXPECT_THROW(OpenDiskFile(directory.c_str(), 0, XF_BINARY, 1, XF_SHARE_NONE), CZtUnloggedException);
}

TEST_F(DiskFile, CreateTruncatesAndAppendOpensAlways) {
    const std::string path = Make("c.bin", "old contents");
    {
        CXFile f = CreateDiskFile(path.c_str(), 1, XF_BINARY);
        EXPECT_EQ(f.GetFileLength(), 0);
        WriteAll(f, "new");
    }
    EXPECT_EQ(ScratchDir::ReadBytes(path), "new");
    const std::string fresh = dir / "fresh.bin";
    {
        CXFile f = AppendDiskFile(fresh.c_str(), 0, XF_BINARY, XF_SHARE_READ_WRITE);
        EXPECT_EQ(f.GetFilePosition(), 0);
        WriteAll(f, "xy");
    }
    EXPECT_EQ(ScratchDir::ReadBytes(fresh), "xy");
}

// ---- share modes between opens of this process ----------------------------------------------------------

TEST_F(DiskFile, ShareModesBetweenOpensOfOneProcess) {
    const std::string path = Make("s.bin", "0123456789");
    const std::string busy = "File open failed on file: " + path +
                             "\n    message = " + test_support::SystemMessage(test_support::kErrorBusy);
    {
        CXFile exclusive = OpenDiskFile(path.c_str(), 1, XF_BINARY, 1, XF_SHARE_NONE);
        ExpectError<CZtXFileException>([&] { OpenDiskFile(path.c_str(), 1, XF_BINARY, 1, XF_SHARE_READ); },
                                       kIO, busy);
        EXPECT_THROW(OpenDiskFile(path.c_str(), 0, XF_BINARY, 1, XF_SHARE_READ_WRITE), CZtUnloggedException);
        // A refused Create must not have emptied the file (read once the exclusive open is gone: Windows
        // lets no one read the file before).
        EXPECT_THROW(CreateDiskFile(path.c_str(), 1, XF_BINARY), CZtXFileException);
    }
    EXPECT_EQ(ScratchDir::ReadBytes(path), "0123456789");
    {
        CXFile reader = OpenDiskFile(path.c_str(), 1, XF_BINARY, 1, XF_SHARE_READ);
        CXFile second = OpenDiskFile(path.c_str(), 1, XF_BINARY, 1, XF_SHARE_READ);  // another reader: fine
        // A writer is not allowed by the readers' share mode, even one that shares everything itself.
        EXPECT_THROW(OpenDiskFile(path.c_str(), 0, XF_BINARY, 0, XF_SHARE_READ_WRITE), CZtUnloggedException);
        EXPECT_THROW(AppendDiskFile(path.c_str(), 1, XF_BINARY, XF_SHARE_READ_WRITE), CZtXFileException);
        // A reader that lets nobody else in is refused while others are open.
        EXPECT_THROW(OpenDiskFile(path.c_str(), 0, XF_BINARY, 1, XF_SHARE_NONE), CZtUnloggedException);
        EXPECT_EQ(ReadAll(second), "0123456789");
    }
    {
        CXFile writer = OpenDiskFile(path.c_str(), 0, XF_BINARY, 0, XF_SHARE_READ_WRITE);
        CXFile other = OpenDiskFile(path.c_str(), 0, XF_BINARY, 0, XF_SHARE_READ_WRITE);
        // A reader that shares only reading does not allow the writers already there.
        EXPECT_THROW(OpenDiskFile(path.c_str(), 1, XF_BINARY, 1, XF_SHARE_READ), CZtXFileException);
        WriteAll(writer, "AB");
        EXPECT_EQ(ReadAll(other), "AB23456789");
    }
    // Every registration is gone with the last close: an exclusive open succeeds again.
    CXFile again = OpenDiskFile(path.c_str(), 1, XF_BINARY, 0, XF_SHARE_NONE);
    EXPECT_EQ(again.GetFileLength(), 10);
}

TEST_F(DiskFile, ShareRegistryUnderConcurrentOpens) {
    const std::string path = Make("conc.bin", "shared");
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 300; ++i) {
                try {
                    CXFile f = OpenDiskFile(path.c_str(), i % 2, XF_BINARY, 1, XF_SHARE_READ);
                    char c = 0;
                    if (f.ReadBlock(&c, 1) != 1 || c != 's') ++failures;
                } catch (const CZtException&) {
                    ++failures;
                }
            }
        });
    }
    for (auto& t : threads) t.join();
    EXPECT_EQ(failures.load(), 0);
    CXFile exclusive = OpenDiskFile(path.c_str(), 0, XF_BINARY, 0, XF_SHARE_NONE);
    EXPECT_EQ(exclusive.GetFileLength(), 6);
}

// Towards other processes an open holds the file as its share mode says, for as long as any open of this
// process remains. A child process of this test program plays the other process, opening the file with a
// given access and share mode.
TEST(DiskFileChild, DISABLED_OpensTheFile) {
    const std::string path = test_support::ChildInput("ZT_CHILD_PATH");
    const bool write = test_support::ChildInput("ZT_CHILD_WRITE") == "1";
    const int share = std::atoi(test_support::ChildInput("ZT_CHILD_SHARE").c_str());
    ASSERT_FALSE(path.empty());
    EXPECT_NO_THROW(OpenDiskFile(path.c_str(), 1, XF_BINARY, !write, static_cast<XF_SHARE_FLAGS>(share)));
}

TEST_F(DiskFile, OtherProcessesSeeTheShareModes) {
    const std::string path = Make("proc.bin", "x");
    auto otherOpens = [&](bool write, XF_SHARE_FLAGS share) {
        return test_support::ChildTestPasses("DiskFileChild.DISABLED_OpensTheFile",
                                             {{"ZT_CHILD_PATH", path},
                                              {"ZT_CHILD_WRITE", write ? "1" : "0"},
                                              {"ZT_CHILD_SHARE", std::to_string(int(share))}});
    };
    {
        CXFile exclusive = OpenDiskFile(path.c_str(), 1, XF_BINARY, 1, XF_SHARE_NONE);
        EXPECT_FALSE(otherOpens(false, XF_SHARE_READ_WRITE));
    }
    EXPECT_TRUE(otherOpens(true, XF_SHARE_NONE));
    {
        CXFile first = OpenDiskFile(path.c_str(), 0, XF_BINARY, 1, XF_SHARE_READ);
        CXFile second = OpenDiskFile(path.c_str(), 0, XF_BINARY, 1, XF_SHARE_READ);
        EXPECT_TRUE(otherOpens(false, XF_SHARE_READ));
        EXPECT_FALSE(otherOpens(true, XF_SHARE_NONE));
        first.Release();  // the file stays held while the second open remains
        EXPECT_FALSE(otherOpens(true, XF_SHARE_NONE));
    }
    EXPECT_TRUE(otherOpens(true, XF_SHARE_NONE));
}

// ---- the buffered kind: positions, modes, windows ------------------------------------------------------

TEST_F(DiskFile, BufferedSeekClampsToTheLength) {
    const std::string path = Make("ten.bin", "0123456789");
    CXFile f = OpenDiskFile(path.c_str(), 1, XF_BINARY, 1, XF_SHARE_NONE);
    const struct {
        void (CXFile::*seek)(int) const;
        int offset, position;
    } seeks[] = {{&CXFile::Seek, 20, 10},
                 {&CXFile::Seek, -3, 0},
                 {&CXFile::SeekFromEnd, 4, 6},
                 {&CXFile::SeekFromEnd, -5, 10},
                 {&CXFile::Seek, 3, 3},
                 {&CXFile::SeekRelative, -10, 0},
                 {&CXFile::SeekRelative, 0x7FFFFFFF, 10}};
    for (const auto& s : seeks) {
        (f.*s.seek)(s.offset);
        EXPECT_EQ(f.GetFilePosition(), s.position) << s.offset;
    }
    EXPECT_TRUE(f.Eof());
    EXPECT_EQ(f.GetChar(), -1);
    f.Seek(9);
    EXPECT_EQ(f.GetChar(), '9');
    EXPECT_EQ(f.GetChar(), -1);
    EXPECT_EQ(f.LockRegion(0, 5), -1);  // not offered by this kind, nothing raised
    f.UnlockRegion(0);
    EXPECT_FALSE(f.IsLockingSupported());
    EXPECT_EQ(f.CreateMemoryView(0, 0), nullptr);
}

TEST_F(DiskFile, UnbufferedSeekFromEndPassesTheOffsetAsGiven) {
    const std::string path = Make("ten.bin", "0123456789");
    CXFile f = OpenDiskFile(path.c_str(), 0, XF_BINARY, 0, XF_SHARE_NONE);
    f.SeekFromEnd(5);
    EXPECT_EQ(f.GetFilePosition(), 15);  // past the end, unlike the buffered kind
    EXPECT_TRUE(f.Eof());
    f.SeekFromEnd(-4);
    EXPECT_EQ(f.GetFilePosition(), 6);
    f.SeekRelative(2);
    EXPECT_EQ(f.GetChar(), '8');
    ExpectError<CZtXFileException>([&] { f.Seek(-1); }, kIO, "File seek failed : " + path);
    EXPECT_EQ(f.PutChar(300), -1);
    EXPECT_EQ(f.GetFileLength(), 10);
    f.Seek(10);
    EXPECT_EQ(f.PutChar('x'), 'x');
    EXPECT_EQ(f.GetFileLength(), 11);
    f.Seek(10);
    EXPECT_EQ(f.UniGetChar(), 0xFFFF);  // one byte left: no whole unit
}

TEST_F(DiskFile, TranslationInEveryModeBothWays) {
    struct Case {
        XF_TEXT_MODE mode;
        std::string written;   // what the caller gives
        std::string stored;    // the bytes in the file
        std::string readBack;  // what reading in the same mode gives
    };
    const std::string text("a\nb\r\nc\r", 7);
    const std::vector<Case> cases = {
        {XF_BINARY, text, text, text},
        {XF_TEXT_CRLF, text, "a\r\nb\r\r\nc\r", "a\nb\nc"},
        {XF_TEXT_LF, text, text, text},
        {XF_TEXT_CR, text, "a\rb\r\rc\r", "a\nb\n\nc\n"},
        // Unicode modes pass through byte for byte in this kind.
        {XF_UNICODE_CRLF, text, text, text},
        {XF_UNICODE_LF, text, text, text},
        {XF_UNICODE_CR, text, text, text},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.mode);
        const std::string path = dir / ("m" + std::to_string(c.mode));
        {
            CXFile f = CreateDiskFile(path.c_str(), 1, c.mode);
            WriteAll(f, c.written);
        }
        EXPECT_EQ(ScratchDir::ReadBytes(path), c.stored);
        CXFile f = OpenDiskFile(path.c_str(), 1, c.mode, 1, XF_SHARE_READ);
        EXPECT_EQ(ReadAll(f), c.readBack);
        EXPECT_TRUE(f.Eof());
    }
}

// The line operations are the base body's (tested on memory files); on disk, Unicode modes pass through
// byte for byte and PutChar writes the low byte.
TEST_F(DiskFile, CharactersOnDisk) {
    const std::string uni = dir / "uni.txt";
    {
        CXFile f = CreateDiskFile(uni.c_str(), 1, XF_UNICODE_LF);
        f.Write(static_cast<char>(0xE9));  // the unit 0xFFE9, little-endian
        f.UniWriteLn(CUniStr("hi"));
    }
    EXPECT_EQ(ScratchDir::ReadBytes(uni), std::string("\xE9\xFFh\0i\0\n\0", 8));
    {
        CXFile f = OpenDiskFile(uni.c_str(), 1, XF_UNICODE_LF, 1, XF_SHARE_NONE);
        EXPECT_EQ(f.UniGetChar(), 0xFFE9);
        CUniStr line;
        EXPECT_TRUE(f.UniReadLn(line));
        EXPECT_EQ(line.ToUtf8(), "hi");
    }
    const std::string low = dir / "low.bin";
    {
        CXFile f = CreateDiskFile(low.c_str(), 1, XF_BINARY);
        EXPECT_EQ(f.PutChar(0x141), 0x141);  // returns the character given
        EXPECT_EQ(f.UniPutChar(0x20AC), 0x20AC);
    }
    EXPECT_EQ(ScratchDir::ReadBytes(low), "\x41\xAC\x20");
}

TEST_F(DiskFile, TextWritesLeaveTheLengthAsOpened) {
    const std::string path = Make("log.txt", "first\r\n");
    {
        CXFile f = AppendDiskFile(path.c_str(), 1, XF_TEXT_CRLF, XF_SHARE_NONE);
        EXPECT_EQ(f.GetFilePosition(), 7);
        f.WriteLn(CStr("second"));
        EXPECT_EQ(f.GetFilePosition(), 15);
        EXPECT_EQ(f.GetFileLength(), 7);  // deliberately not raised by text-mode writes
        EXPECT_TRUE(f.Eof());
        f.Seek(100);
        EXPECT_EQ(f.GetFilePosition(), 7);  // clamped to the length from the open
        CStr line;
        EXPECT_FALSE(f.ReadLn(line));  // nothing past the length from the open
        f.Seek(0);
        EXPECT_TRUE(f.ReadLn(line));
        EXPECT_STREQ(line.c_str(), "first");
    }
    EXPECT_EQ(ScratchDir::ReadBytes(path), "first\r\nsecond\r\n");
    // Raw writes do raise it.
    CXFile raw = AppendDiskFile(path.c_str(), 1, XF_TEXT_LF, XF_SHARE_NONE);
    raw.WriteLn(CStr("third"));
    EXPECT_EQ(raw.GetFileLength(), 21);
}

TEST_F(DiskFile, LineEndPairNeverStraddlesAWindow) {
    const std::string path = dir / "edge.txt";
    const std::string body(CXFileBuffered::kWindowSize - 1, 'x');
    {
        CXFile f = CreateDiskFile(path.c_str(), 1, XF_TEXT_CRLF);
        WriteAll(f, body + "\n" + "y\n");
        EXPECT_EQ(f.GetFilePosition(), CXFileBuffered::kWindowSize + 1 + 3);
    }
    EXPECT_EQ(ScratchDir::ReadBytes(path), body + "\r\ny\r\n");
    // Reading: the CR is the window's last byte and the LF the next window's first.
    CXFile f = OpenDiskFile(path.c_str(), 1, XF_TEXT_CRLF, 1, XF_SHARE_READ);
    CStr line;
    ASSERT_TRUE(f.ReadLn(line));
    EXPECT_EQ(line.Length(), body.size());
    EXPECT_EQ(f.GetFilePosition(), CXFileBuffered::kWindowSize + 1);
    ASSERT_TRUE(f.ReadLn(line));
    EXPECT_STREQ(line.c_str(), "y");
    f.Seek(CXFileBuffered::kWindowSize - 2);
    char got[3];
    ASSERT_EQ(f.ReadBlock(got, 3), 3u);
    EXPECT_EQ(std::string(got, 3), "x\ny");
    EXPECT_EQ(f.GetFilePosition(), CXFileBuffered::kWindowSize + 2);
}

// ---- the buffered kind against a reference on random data ---------------------------------------------

TEST_F(DiskFile, RandomReadsWritesAndSeeksMatchAReference) {
    for (int buffered = 1; buffered >= 0; --buffered) {
        SCOPED_TRACE(buffered ? "buffered" : "unbuffered");
        std::mt19937 rng(4242u + unsigned(buffered));
        std::string reference = RandomBytes(rng, 50000);
        const std::string path = Make("random.bin", reference);
        {
            CXFile f = OpenDiskFile(path.c_str(), buffered, XF_BINARY, 0, XF_SHARE_NONE);
            int position = 0;
            for (int step = 0; step < 3000; ++step) {
                const unsigned what = rng() % 40;
                const int length = static_cast<int>(reference.size());
                if (what < 12) {
                    position = static_cast<int>(rng() % unsigned(length + 1));
                    f.Seek(position);
                } else if (what < 24) {
                    const unsigned n = rng() % 20000;
                    std::string got(n, '\0');
                    got.resize(f.ReadBlock(got.data(), n));
                    const std::string want = reference.substr(std::size_t(position), n);
                    ASSERT_EQ(got, want) << "step " << step;
                    position += static_cast<int>(want.size());
                } else if (what < 39) {
                    const std::string bytes = RandomBytes(rng, rng() % 20000);
                    WriteAll(f, bytes);
                    if (std::size_t(position) + bytes.size() > reference.size())
                        reference.resize(std::size_t(position) + bytes.size());
                    reference.replace(std::size_t(position), bytes.size(), bytes);
                    position += static_cast<int>(bytes.size());
                } else {
                    f.Flush();
                }
                ASSERT_EQ(f.GetFilePosition(), position);
                ASSERT_EQ(f.GetFileLength(), static_cast<int>(reference.size()));
            }
        }
        EXPECT_TRUE(ScratchDir::ReadBytes(path) == reference);
    }
}

TEST_F(DiskFile, AppendKeepsEveryExistingByte) {
    std::mt19937 rng(77);
    for (std::size_t size :
         {std::size_t(0), std::size_t(100), std::size_t(8191), std::size_t(8192), std::size_t(20000)}) {
        for (XF_TEXT_MODE mode : {XF_BINARY, XF_TEXT_CRLF}) {
            SCOPED_TRACE(std::to_string(size) + " bytes, mode " + std::to_string(mode));
            const std::string before = RandomBytes(rng, size);
            const std::string path = Make("append.bin", before);
            const std::string added = "tail\nmore";
            {
                CXFile f = AppendDiskFile(path.c_str(), 1, mode, XF_SHARE_NONE);
                EXPECT_EQ(f.GetFilePosition(), static_cast<int>(size));
                WriteAll(f, added);
            }
            const std::string stored = mode == XF_TEXT_CRLF ? "tail\r\nmore" : added;
            EXPECT_TRUE(ScratchDir::ReadBytes(path) == before + stored);
        }
    }
    // A write after a seek into the middle keeps the bytes on both sides.
    const std::string before = RandomBytes(rng, 30000);
    const std::string path = Make("middle.bin", before);
    {
        CXFile f = OpenDiskFile(path.c_str(), 1, XF_BINARY, 0, XF_SHARE_NONE);
        f.Seek(5000);
        WriteAll(f, "ABC");
        f.Seek(12000);
        char c;
        f.ReadBlock(&c, 1);
        f.Seek(12100);  // inside the window just read
        WriteAll(f, "DEF");
        f.Seek(29999);
        WriteAll(f, "GH");
    }
    std::string want = before;
    want.replace(5000, 3, "ABC");
    want.replace(12100, 3, "DEF");
    want.replace(29999, 1, "GH");
    EXPECT_TRUE(ScratchDir::ReadBytes(path) == want);
}

// The reading fast path must give exactly what the character-by-character algorithm gives.
TEST_F(DiskFile, ReadLnMatchesTheBaseAlgorithmOnRandomText) {
    std::mt19937 rng(2024);
    const char alphabet[] = {'a', 'b', 'z', ' ', '\r', '\n', '\r', '\n', '\0', '\xE9', '\xFF'};
    for (XF_TEXT_MODE mode : {XF_BINARY, XF_TEXT_CRLF, XF_TEXT_LF, XF_TEXT_CR}) {
        for (int round = 0; round < 4; ++round) {
            SCOPED_TRACE("mode " + std::to_string(mode) + " round " + std::to_string(round));
            std::string text;
            const std::size_t size = 1 + rng() % 40000;
            while (text.size() < size) {
                const unsigned kind = rng() % 4;
                if (kind == 0)
                    text.append(rng() % 300, 'q');  // long runs, some across windows
                else
                    text += alphabet[rng() % sizeof alphabet];
            }
            const std::string path = Make("lines.txt", text);
            CXFile fast = OpenDiskFile(path.c_str(), 1, mode, 1, XF_SHARE_READ);
            CXFile slow = OpenDiskFile(path.c_str(), 1, mode, 1, XF_SHARE_READ);
            CXFileRep* reference = slow.GetRep();
            CStr a, b;
            for (int n = 0;; ++n) {
                // Now and then a seek or a single character in between.
                if (rng() % 16 == 0) {
                    const int to = static_cast<int>(rng() % (text.size() + 1));
                    fast.Seek(to);
                    slow.Seek(to);
                } else if (rng() % 16 == 0) {
                    ASSERT_EQ(fast.GetChar(), slow.GetChar());
                }
                const unsigned char ra = fast.ReadLn(a);
                const unsigned char rb = reference->CXFileRep::ReadLn(b);
                ASSERT_EQ(ra, rb) << "line " << n;
                ASSERT_EQ(std::string(a.c_str(), a.Length()), std::string(b.c_str(), b.Length()))
                    << "line " << n;
                ASSERT_EQ(fast.GetFilePosition(), slow.GetFilePosition()) << "line " << n;
                if (!ra) break;
            }
        }
    }
}

TEST_F(DiskFile, ReadLnStopsAtTheLengthEvenWhenTheWindowHoldsMore) {
    // Text writes leave bytes past the length from the open in the window; no reader may see them, and
    // the fast path must agree with the base algorithm on what it does see.
    for (XF_TEXT_MODE mode : {XF_TEXT_CRLF, XF_TEXT_CR}) {
        SCOPED_TRACE(mode);
        std::string lines;
        for (int i = 0; i < 40; ++i) lines += "line " + std::to_string(i) + "\n";
        const std::string original = std::string(100, 'o') + "\n";
        std::vector<std::pair<int, std::string>> results[2];
        for (int which = 0; which < 2; ++which) {
            const std::string path = Make("grow" + std::to_string(which) + ".txt", original);
            CXFile f = OpenDiskFile(path.c_str(), 1, mode, 0, XF_SHARE_NONE);
            f.Seek(90);
            f.Write(CStr(lines.c_str()));
            f.Seek(0);
            CStr line;
            for (;;) {
                const unsigned char more = which == 0 ? f.ReadLn(line) : f.GetRep()->CXFileRep::ReadLn(line);
                results[which].emplace_back(more, std::string(line.c_str(), line.Length()));
                if (!more) break;
            }
            EXPECT_EQ(f.GetFilePosition(), 101);
        }
        EXPECT_EQ(results[0], results[1]);
        // 90 "o" and "line 0", then the start of "line 1" up to the length of 101.
        const std::vector<std::pair<int, std::string>> want = {{1, std::string(90, 'o') + "line 0"},
                                                               {0, mode == XF_TEXT_CRLF ? "lin" : "line"}};
        EXPECT_EQ(results[0], want);
    }
}

// ---- SetFileLength, Flush, destruction ----------------------------------------------------------------

TEST_F(DiskFile, SetFileLengthLeavesPositionAndLengthFields) {
    const std::string path = dir / "cut.bin";
    CXFile f = CreateDiskFile(path.c_str(), 1, XF_BINARY);
    WriteAll(f, std::string(100, 'z'));  // still in the window
    f.SetFileLength(40);                 // the window is written first, then the file is cut
    EXPECT_EQ(std::filesystem::file_size(path), 40u);
    EXPECT_EQ(f.GetFilePosition(), 100);
    EXPECT_EQ(f.GetFileLength(), 100);
    f.Seek(0);
    EXPECT_EQ(ReadAll(f), std::string(40, 'z'));  // the next refill reads the file as it now is
    f.SetFileLength(50000);
    EXPECT_EQ(std::filesystem::file_size(path), 50000u);
    f.Release();

    CXFile u = OpenDiskFile(path.c_str(), 0, XF_BINARY, 0, XF_SHARE_READ_WRITE);
    u.Seek(30);
    u.SetFileLength(10);
    EXPECT_EQ(u.GetFilePosition(), 30);
    EXPECT_EQ(u.GetFileLength(), 10);
}

TEST_F(DiskFile, ReadOnlyFilesRefuseWrites) {
    const std::string path = Make("ro.bin", "data");
    for (int buffered = 0; buffered < 2; ++buffered) {
        CXFile f = OpenDiskFile(path.c_str(), buffered, XF_BINARY, 1, XF_SHARE_NONE);
        ExpectError<CZtXFileException>([&] { f.WriteBlock("x", 1); }, kWrongState,
                                       "Attempted to write to a read-only file : " + path);
        ExpectError<CZtXFileException>([&] { f.PutChar('x'); }, kWrongState,
                                       "Attempted to write to a read-only file : " + path);
        ExpectError<CZtXFileException>([&] { f.SetFileLength(1); }, kWrongState,
                                       "Cannot modify a read-only file!");
        f.Flush();  // nothing to write, no sync on a read-only file
        EXPECT_EQ(ReadAll(f), "data");
    }
    EXPECT_EQ(ScratchDir::ReadBytes(path), "data");
}

// What is on the disk while the file is open is looked at where the system lets another open read a file
// held for exclusive use (not on Windows).
TEST_F(DiskFile, DestructionWritesTheDirtyWindow) {
    const std::string path = dir / "dtor.bin";
    CXFile f = CreateDiskFile(path.c_str(), 1, XF_BINARY);
    const bool look = test_support::kExclusiveFilesReadable;
    WriteAll(f, "pending");
    if (look) {
        EXPECT_EQ(ScratchDir::ReadBytes(path), "");
    }
    f.Flush();
    if (look) {
        EXPECT_EQ(ScratchDir::ReadBytes(path), "pending");
    }
    WriteAll(f, "+more");
    CXFile copy = f;
    f.Release();  // another handle still holds the body
    if (look) {
        EXPECT_EQ(ScratchDir::ReadBytes(path), "pending");
    }
    copy.Release();
    EXPECT_EQ(ScratchDir::ReadBytes(path), "pending+more");
}

// ---- region locks -------------------------------------------------------------------------------------

TEST_F(DiskFile, RegionLockIdsAreReusedAndLocksExcludeOtherOpens) {
    const std::string path = Make("locks.bin", std::string(1000, '.'));
    CXFile a = OpenDiskFile(path.c_str(), 0, XF_BINARY, 0, XF_SHARE_READ_WRITE);
    CXFile b = OpenDiskFile(path.c_str(), 0, XF_BINARY, 0, XF_SHARE_READ_WRITE);
    EXPECT_TRUE(a.IsLockingSupported());
    EXPECT_EQ(a.LockRegion(0, 10), 0);
    EXPECT_EQ(a.LockRegion(100, 10), 1);
    EXPECT_EQ(a.LockRegion(200, 10), 2);
    const std::string refused = "Error returned for lock file : " + path;
    ExpectError<CZtUnloggedException>([&] { b.LockRegion(105, 50); }, kIO, refused);
    ExpectError<CZtUnloggedException>([&] { a.LockRegion(5, 1); }, kIO,
                                      refused);  // this open holds it already
    EXPECT_EQ(b.LockRegion(10, 90), 0);          // adjacent, not overlapping
    a.UnlockRegion(0);
    a.UnlockRegion(0);   // free id: ignored
    a.UnlockRegion(17);  // unknown id: ignored
    a.UnlockRegion(-1);
    EXPECT_EQ(a.LockRegion(300, 5), 0);  // the first free slot again
    EXPECT_EQ(a.LockRegion(400, 5), 3);
    a.UnlockRegion(1);
    EXPECT_EQ(b.LockRegion(100, 10), 1);  // released for others
    // Locks go with the open.
    b.Release();
    EXPECT_EQ(a.LockRegion(10, 90), 1);
    // A read-only open can lock too.
    CXFile r = OpenDiskFile(path.c_str(), 0, XF_BINARY, 1, XF_SHARE_READ_WRITE);
    EXPECT_EQ(r.LockRegion(600, 10), 0);
    ExpectError<CZtUnloggedException>([&] { a.LockRegion(605, 1); }, kIO, refused);
}

}  // namespace
