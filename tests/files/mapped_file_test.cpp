// Files over a fixed block: mapped disk files, views of a caller's memory and the subsets containers
// hand out. The block never grows, Seek does not clamp, and short or refused writes are not errors.
#include <gtest/gtest.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/files/file_system.h>
#include <ztbase/files/mapped_file.h>

#include <cerrno>
#include <string>
#include <vector>

#include "expect_error.h"
#include "scratch_dir.h"
#include "ztbase/platform/internal/system_calls.h"

using namespace ZtBase;
using test_support::ExpectError;

namespace {

constexpr unsigned kIO = 11001;
constexpr unsigned kWrongState = 10009;

CXFile View(std::string& bytes, XF_TEXT_MODE mode, unsigned char readOnly = 0) {
    return gFileSystem.CreateFixedRAMFile(bytes.data(), static_cast<unsigned>(bytes.size()), readOnly, mode);
}

std::string ReadAll(const CXFile& f, unsigned count) {
    std::string out(count, '\0');
    out.resize(f.ReadBlock(out.data(), count));
    return out;
}

struct MappedFixture : ::testing::Test {
    ScratchDir dir{"mapped"};
    std::string path = dir / "m.bin";
    void SetUp() override { ScratchDir::WriteBytes(path, std::string(100, 'x')); }
};

}  // namespace

TEST(MemoryView, NamesCountUpAndTheViewsShowTheCallersBytes) {
    std::string a = "abc", b = "de";
    const CXFile fa = View(a, XF_BINARY), fb = View(b, XF_BINARY);
    const std::string na = fa.GetName().c_str(), nb = fb.GetName().c_str();
    ASSERT_EQ(na.rfind("MemoryViewOf_", 0), 0u) << na;
    EXPECT_EQ(std::stoul(nb.substr(13)), std::stoul(na.substr(13)) + 1);
    EXPECT_EQ(fa.GetFileLength(), 3);
    fa.Seek(1);
    EXPECT_EQ(fa.WriteBlock("XYZ", 3), 2u);  // cut at the end, no growth
    EXPECT_EQ(a, "aXY");
}

TEST(MemoryView, ReadingAndWritingTranslateByMode) {
    struct Case {
        XF_TEXT_MODE mode;
        std::string stored, delivered;
    };
    for (const Case& c : {Case{XF_BINARY, "a\r\nb", "a\r\nb"}, Case{XF_TEXT_LF, "a\r\nb", "a\r\nb"},
                          Case{XF_TEXT_CRLF, "a\r\nb\r", "a\nb"}, Case{XF_TEXT_CR, "a\rb\n", "a\nb\n"},
                          Case{XF_UNICODE_CRLF, "a\r\n", "a\r\n"}}) {
        std::string bytes = c.stored;
        const CXFile f = View(bytes, c.mode);
        EXPECT_EQ(ReadAll(f, 100), c.delivered) << c.mode;
        EXPECT_EQ(f.GetFilePosition(), static_cast<int>(c.stored.size()));
        EXPECT_TRUE(f.Eof());
    }
    struct WriteCase {
        XF_TEXT_MODE mode;
        std::size_t size;
        std::string written, stored;
        unsigned taken;
    };
    for (const WriteCase& c :
         {WriteCase{XF_TEXT_CRLF, 5, "a\nb", "a\r\nb.", 3},
          WriteCase{XF_TEXT_CRLF, 2, "a\n", "a.", 1},  // the pair needs two bytes
          WriteCase{XF_TEXT_CRLF, 3, "\n\n", "\r\n.", 1}, WriteCase{XF_TEXT_CR, 3, "a\nb\n", "a\rb", 3}}) {
        std::string bytes(c.size, '.');
        const CXFile f = View(bytes, c.mode);
        EXPECT_EQ(f.WriteBlock(c.written.data(), static_cast<unsigned>(c.written.size())), c.taken);
        EXPECT_EQ(bytes, c.stored) << c.mode << " " << c.size;
    }
}

TEST(MemoryView, SeekDoesNotClampAndNothingIsReadOutsideTheBlock) {
    std::string bytes = "0123456789";
    const CXFile f = View(bytes, XF_BINARY);
    char c = 0;
    for (int position : {-5, 10, 1000, -2147483647}) {
        f.Seek(position);
        EXPECT_EQ(f.GetFilePosition(), position);
        EXPECT_EQ(f.ReadBlock(&c, 1), 0u);
        EXPECT_EQ(f.WriteBlock("z", 1), 0u);
        EXPECT_EQ(f.GetChar(), -1);
        EXPECT_TRUE(f.Eof());
    }
    f.SeekFromEnd(3);
    EXPECT_EQ(f.GetChar(), '7');
    f.SeekRelative(-2);
    EXPECT_EQ(f.GetChar(), '6');
    EXPECT_EQ(bytes, "0123456789");
}

TEST(MemoryView, ReadOnlyTakesNothingAndLengthCannotChange) {
    std::string bytes = "abc";
    const CXFile f = View(bytes, XF_BINARY, 1);
    EXPECT_EQ(f.WriteBlock("x", 1), 0u);
    EXPECT_EQ(f.PutChar('x'), -1);
    EXPECT_EQ(f.UniPutChar(u'x'), 0xFFFF);
    EXPECT_EQ(bytes, "abc");
    ExpectError<CZtXFileException>([&] { f.SetFileLength(1); }, kWrongState,
                                   "not allowed for this file type");
    EXPECT_FALSE(f.IsLockingSupported());
    EXPECT_EQ(f.LockRegion(0, 1), -1);
}

TEST(MemoryView, SubsetKeepsItsOwnerAlive) {
    std::string bytes = "0123456789";
    CXFile owner = View(bytes, XF_BINARY);
    const CXFile member(new CXFileSubsetOfMemoryMappedFile("m", bytes.data() + 2, 4, XF_BINARY, 1, owner));
    EXPECT_EQ(owner.GetRep()->GetRefCount(), 2);
    owner.Blank();
    EXPECT_EQ(ReadAll(member, 10), "2345");
}

TEST_F(MappedFixture, WritesAreCutAtTheEndAndReachTheFile) {
    {
        const CXFile f = gFileSystem.OpenMappedFile(eOpenCurrentDir, CStr(path.c_str()), 0, 0,
                                                    XF_BINARY);  // 0: the whole file
        EXPECT_EQ(f.GetFileLength(), 100);
        f.Seek(90);
        EXPECT_EQ(f.WriteBlock(std::string(30, 'w').data(), 30), 10u);
        EXPECT_EQ(f.GetFilePosition(), 100);
        f.Flush();
    }
    EXPECT_EQ(ScratchDir::ReadBytes(path), std::string(90, 'x') + std::string(10, 'w'));
}

TEST_F(MappedFixture, MemoryViewBounds) {
    const CXFile f = gFileSystem.OpenMappedFile(eOpenCurrentDir, CStr(path.c_str()), 1, 0, XF_BINARY);
    char* start = f.CreateMemoryView(0, 0);
    ASSERT_NE(start, nullptr);
    EXPECT_EQ(start[99], 'x');
    CXFileRep* body = f.GetRep();
    EXPECT_EQ(body->CreateMemoryView(0, 0), start);
    EXPECT_EQ(body->CreateMemoryView(80, 20), start + 80);
    EXPECT_EQ(body->CreateMemoryView(90, 20), nullptr);
    EXPECT_EQ(body->CreateMemoryView(-1, 1), nullptr);
    EXPECT_EQ(body->CreateMemoryView(2147483647, 2147483647), nullptr);
}

TEST_F(MappedFixture, LineFeedThatDoesNotFitAsAPairWritesNothing) {
    const CXFile f = gFileSystem.OpenMappedFile(eOpenCurrentDir, CStr(path.c_str()), 0, 0, XF_TEXT_CRLF);
    f.Seek(99);
    EXPECT_EQ(f.WriteBlock("\n", 1), 0u);
    EXPECT_EQ(f.PutChar('\n'), -1);
    EXPECT_EQ(f.GetFilePosition(), 99);
}

TEST_F(MappedFixture, SetFileLengthRemapsAndReadOnlyRefuses) {
    {
        const CXFile f = gFileSystem.OpenMappedFile(eOpenCurrentDir, CStr(path.c_str()), 0, 0, XF_BINARY);
        f.SetFileLength(5000);
        EXPECT_EQ(f.GetFileLength(), 5000);
        f.Seek(4999);
        EXPECT_EQ(f.PutChar('e'), 'e');
        f.SetFileLength(50);
        EXPECT_EQ(ReadAll(f, 100), "");  // the position 5000 lies past the new end
        f.Seek(0);
        EXPECT_EQ(ReadAll(f, 100), std::string(50, 'x'));
    }
    EXPECT_EQ(ScratchDir::ReadBytes(path), std::string(50, 'x'));
    const CXFile r = gFileSystem.OpenMappedFile(eOpenCurrentDir, CStr(path.c_str()), 1, 0, XF_BINARY);
    ExpectError<CZtXFileException>([&] { r.SetFileLength(10); }, kWrongState,
                                   "cannot modify a read-only file");
    EXPECT_EQ(r.GetFileLength(), 50);
}

TEST_F(MappedFixture, CreatingWithASizeExtendsAReadOnlyLongerMapIsRefused) {
    const std::string made = dir / "new.bin";
    {
        const CXFile f = gFileSystem.CreateMappedFile(eOpenCurrentDir, CStr(made.c_str()), 4096, XF_BINARY);
        EXPECT_EQ(f.GetFileLength(), 4096);
        EXPECT_EQ(f.WriteBlock("hello", 5), 5u);
    }
    EXPECT_EQ(ScratchDir::ReadBytes(made).substr(0, 5), "hello");
    EXPECT_EQ(ScratchDir::ReadBytes(made).size(), 4096u);
    // A read-only map longer than the file would fault on the missing pages: the open is a miss.
    ExpectError<CZtXFileException>(
        [&] { gFileSystem.OpenMappedFile(eOpenCurrentDir, CStr(path.c_str()), 1, 200, XF_BINARY); }, 11002,
        "File not found : " + path);
}

TEST_F(MappedFixture, ConstructionFailuresNameTheFile) {
    const CStr name(path.c_str());
    ExpectError<CZtXFileException>([&] { CXFileMemoryMapped(name, -1, XF_BINARY, 1, 0); }, kWrongState,
                                   "Invalid initialization of CXFileMemoryMapped : " + path);
    const std::string empty = dir / "empty.bin";
    ScratchDir::WriteBytes(empty, "");
    try {
        OpenMappedDiskFile(CStr(empty.c_str()), 1, 0, XF_BINARY, false);
        ADD_FAILURE() << "an empty file was mapped";
    } catch (const CZtXFileException& e) {
        EXPECT_EQ(e.GetExceptionErrorCode(), kIO);
        EXPECT_EQ(test_support::MessageOf(e).rfind("Unable to create file mapping for " + empty + " : ", 0),
                  0u);
    }
    auto& calls = platform::gSystemCalls;
    calls.map = [](int, std::size_t, bool, int& error) -> void* {
        error = ENOMEM;
        return nullptr;
    };
    ExpectError<CZtXFileException>([&] { OpenMappedDiskFile(name, 1, 0, XF_BINARY, false); }, kIO,
                                   "MapViewOfFile failed : " + path);
    calls.map = platform::kRealSystemCalls.map;
}
