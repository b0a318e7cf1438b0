// Containers built byte by byte from their layout: members are found under the container's directory,
// open as read-only views that outlive the space, and a directory or member reaching past the end of the
// file is never read.
#include <gtest/gtest.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/files/concat_file.h>
#include <ztbase/files/file_name.h>
#include <ztbase/files/file_system.h>

#include <string>
#include <utility>
#include <vector>

#include "expect_error.h"
#include "scratch_dir.h"

using namespace ZtBase;
using test_support::ExpectError;

namespace {

constexpr unsigned kWrongState = 10009;

struct Member {
    std::string name, bytes;
    long long offset = -1, size = -1;  // overrides for broken entries
};

void Put32(std::string& out, std::size_t at, unsigned v) {
    for (int i = 0; i < 4; ++i) out[at + i] = static_cast<char>(v >> (8 * i));
}

// The lead, the count (or a forced one), the entries, then the members in order.
std::string Container(const std::vector<Member>& members, int forcedCount = -1) {
    const unsigned count = forcedCount >= 0 ? static_cast<unsigned>(forcedCount) : unsigned(members.size());
    std::string out(52, 'L');
    out += static_cast<char>(count & 0xFF);
    out += static_cast<char>(count >> 8);
    std::size_t data = out.size() + 24 * members.size();
    for (const Member& m : members) {
        std::string entry(24, '\0');
        entry[0] = static_cast<char>(m.name.size());
        entry.replace(1, m.name.size(), m.name);
        Put32(entry, 16, m.offset >= 0 ? unsigned(m.offset) : unsigned(data));
        Put32(entry, 20, m.size >= 0 ? unsigned(m.size) : unsigned(m.bytes.size()));
        out += entry;
        data += m.bytes.size();
    }
    for (const Member& m : members) out += m.bytes;
    return out;
}

CStr C(const std::string& s) {
    return CStr(s.c_str());
}

std::string Contents(const CXFile& f) {
    std::string out(static_cast<std::size_t>(f.GetFileLength()), '\0');
    out.resize(f.ReadBlock(out.data(), static_cast<unsigned>(out.size())));
    return out;
}

struct ContainerFixture : ::testing::Test {
    ScratchDir dir{"concat"};
    std::string pack = dir / "pack";
    void Write(const std::string& bytes) { ScratchDir::WriteBytes(pack, bytes); }
};

}  // namespace

TEST_F(ContainerFixture, MembersOpenUnderTheContainersDirectoryBeforeTheDisk) {
    const std::string fifteen = "fifteen-chars.x";
    Write(Container({{"a.txt", "alpha\r\n"}, {fifteen, "15"}, {"empty", ""}}));
    ScratchDir::WriteBytes(dir / "a.txt", "on disk");  // the container hides it
    CXFileSystem fs;
    fs.AddConcatFile(C(pack));
    const CXFile a = fs.OpenExisting(eOpenProgramDir, C(dir / "a.txt"), 1, XF_TEXT_CRLF, 1, XF_SHARE_READ);
    EXPECT_EQ(Contents(a), "alpha\n");
    EXPECT_EQ(a.GetFileLength(), 7);
    EXPECT_EQ(Contents(fs.OpenExisting(eOpenProgramDir, C(dir / fifteen), 1, XF_BINARY, 1, XF_SHARE_READ)),
              "15");
    EXPECT_EQ(fs.Size(eOpenProgramDir, C(dir / "a.txt")), 7);
    EXPECT_EQ(fs.Size(eOpenProgramDir, C(dir / "empty")), 0);
    EXPECT_TRUE(fs.Exist(eOpenProgramDir, C(dir / "empty")));
    EXPECT_TRUE(fs.IsReadOnly(eOpenProgramDir, C(dir / "a.txt")));
    // Another directory is not the container's; a name that is not a member goes on to the disk.
    ExpectError<CZtXFileException>(
        [&] { fs.OpenExisting(eOpenProgramDir, C(dir / "sub/a.txt"), 1, XF_BINARY, 1, XF_SHARE_READ); },
        11002, "File not found : " + dir / "sub/a.txt");
    EXPECT_FALSE(fs.Exist(eOpenProgramDir, C(dir / "b.txt")));
    // Writing is refused by the container and the disk copy is opened instead.
    EXPECT_EQ(Contents(fs.OpenExisting(eOpenProgramDir, C(dir / "a.txt"), 1, XF_BINARY, 0, XF_SHARE_NONE)),
              "on disk");
}

TEST_F(ContainerFixture, EveryWriteIsRefusedWithItsMessage) {
    Write(Container({{"a.txt", "alpha"}}));
    CXConcatFile space{gFileSystem.OpenMappedFile(eOpenProgramDir, C(pack), 1, 0, XF_BINARY)};
    const CStr name = C(dir / "a.txt");
    const std::string n = dir / "a.txt";
    ExpectError<CZtXFileException>([&] { space.OpenExisting(name, 1, XF_BINARY, 0, XF_SHARE_NONE); },
                                   kWrongState, "Cannot open a concat for write : " + n);
    ExpectError<CZtXFileException>([&] { space.OpenMappedFile(name, 0, 0, XF_BINARY); }, kWrongState,
                                   "Cannot write to a new concat file : " + n);
    ExpectError<CZtXFileException>([&] { space.Create(name, 1, XF_BINARY); }, kWrongState,
                                   "Cannot create a new concat file : " + n);
    ExpectError<CZtXFileException>([&] { space.OpenForAppend(name, 1, XF_BINARY, XF_SHARE_NONE); },
                                   kWrongState, "Cannot write to a new concat file : " + n);
    ExpectError<CZtXFileException>([&] { space.CreateMappedFile(name, 0, XF_BINARY); }, kWrongState,
                                   "Cannot write to a concat file : " + n);
    ExpectError<CZtXFileException>([&] { CXConcatFile{CXFile()}; }, kWrongState,
                                   "Cannot open part of a null file : ");
    EXPECT_FALSE(space.Erase(name));
    EXPECT_FALSE(space.Rename(name, C(dir / "b")));
    EXPECT_FALSE(space.CreateDir(C(dir / "d")));
}

TEST_F(ContainerFixture, MembersOutliveTheSpaceAndAreReadOnly) {
    Write(Container({{"m", "member bytes"}}));
    CXFile member;
    {
        CXConcatFile space{C(pack)};
        member = space.OpenMemberFile(C(dir / "m"), XF_BINARY);
        EXPECT_TRUE(space.OpenMemberFile(C(dir / "n"), XF_BINARY).IsNull());
    }
    EXPECT_EQ(member.GetName(), C(dir / "m"));
    EXPECT_EQ(member.WriteBlock("X", 1), 0u);
    EXPECT_EQ(Contents(member), "member bytes");
}

TEST_F(ContainerFixture, EntriesAndDirectoryOutsideTheFileAreNeverRead) {
    struct Case {
        const char* what;
        std::string bytes;
        int count;
        std::vector<std::pair<std::string, bool>> found;
    };
    const Case cases[] = {
        {"shorter than the lead", std::string(53, 'L'), 0, {}},
        {"directory past the end", Container({{"a", "x"}}, 2), 0, {{"a", false}}},
        {"count of 65535", Container({{"a", "x"}}, 65535), 0, {{"a", false}}},
        {"member past the end",
         Container({{"a", "x", 50, 100}, {"b", "yy"}}),
         2,
         {{"a", false}, {"b", true}}},
        {"offset wraps 32 bits", Container({{"a", "x", 0xFFFFFFF0LL, 0x20}}), 1, {{"a", false}}},
        {"member ending at the last byte", Container({{"a", "x", 78, 1}}), 1, {{"a", true}}},
        {"a 15-character name", Container({{std::string(15, 'n'), "x"}}), 1, {{std::string(15, 'n'), true}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Write(c.bytes);
        CXConcatFile space{C(pack)};
        EXPECT_EQ(space.GetFileCount(), c.count);
        EXPECT_EQ(space.GetFileNameIdx(c.count), CStr());
        EXPECT_EQ(space.GetFileNameIdx(-1), CStr());
        for (const auto& [name, found] : c.found) {
            EXPECT_EQ(space.Exist(C(dir / name)), found ? 1 : 0) << name;
            const CXFile f = space.OpenMemberFile(C(dir / name), XF_BINARY);
            EXPECT_EQ(f.IsNull(), !found);
            if (found) {
                EXPECT_EQ(f.GetFileLength(), space.Size(C(dir / name)));
            }
        }
    }
}

TEST_F(ContainerFixture, ListingMatchesMemberNames) {
    Write(Container({{"a.txt", "1"}, {"b.txt", "2"}, {"c.dat", "3"}}));
    CXConcatFile space{C(pack)};
    ZtRefArray<CStr> names;
    EXPECT_TRUE(space.GetFileList(names, C(dir / "*.txt"), 1, 0, 0));
    ASSERT_EQ(names.size(), 2u);
    EXPECT_EQ(names[0], CStr("a.txt"));
    EXPECT_EQ(names[1], CStr("b.txt"));
    ZtRefArray<CStr> complete;
    EXPECT_TRUE(space.GetFileList(complete, C(dir / "c*"), 1, 0, 1));
    ASSERT_EQ(complete.size(), 1u);
    EXPECT_EQ(CXFileName(complete[0]).GetFileName(), CStr("c.dat"));
    ZtRefArray<CStr> none;
    EXPECT_FALSE(space.GetFileList(none, C(dir / "*"), 0, 1, 0));
    EXPECT_FALSE(space.GetFileList(none, C(dir.Dir() + "sub/*"), 1, 0, 0));
}
