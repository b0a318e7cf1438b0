#include <gtest/gtest.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/files/file_name.h>
#include <ztbase/files/file_system.h>

#include <filesystem>

#include "expect_error.h"
#include "scratch_dir.h"

using namespace ZtBase;

namespace {

constexpr EOpenCode kCodeA = static_cast<EOpenCode>(3);
constexpr EOpenCode kCodeB = static_cast<EOpenCode>(4);

std::string Text(const CXFile& f) {
    f.Seek(0);
    return f.ReadIntoString().c_str();
}

using test_support::ExpectXFileError;

class FileSystem : public testing::Test {
protected:
    void TearDown() override {
        gFileSystem.ClearCodePath(kCodeA);
        gFileSystem.ClearCodePath(kCodeB);
    }
    ScratchDir dir{"fs"};
};

TEST_F(FileSystem, StartsWithItsSpacesAndTheProgramCurrentAndTemporaryDirectories) {
    const auto& spaces = gFileSystem.GetSpaces();
    ASSERT_EQ(spaces.size(), 3u);
    EXPECT_NE(dynamic_cast<CXWin32FileSpace*>(spaces[0].GetRep()), nullptr);
    EXPECT_NE(dynamic_cast<CXSocketFileSpace*>(spaces[1].GetRep()), nullptr);
    EXPECT_NE(dynamic_cast<CXThreadToThreadPipeSpace*>(spaces[2].GetRep()), nullptr);

    const std::string current = gFileSystem.GetCodePath(eOpenCurrentDir).c_str();
    EXPECT_EQ(std::filesystem::path(current), std::filesystem::current_path() / "");
    EXPECT_TRUE(current.back() == '/' || current.back() == '\\');
    const std::string temp = gFileSystem.GetCodePath(eOpenTempDir).c_str();
    EXPECT_TRUE(temp.back() == '/' || temp.back() == '\\');
    EXPECT_TRUE(std::filesystem::is_directory(temp));
    // The program directory holds this very test program.
    const std::string program =
        CXWin32FileSpace::NativePath(gFileSystem.GetCodePath(eOpenProgramDir)).c_str();
#if defined(_WIN32)
    const std::string self = "files_tests.exe";
#else
    const std::string self = "files_tests";
#endif
    EXPECT_TRUE(std::filesystem::exists(program + self)) << program;
    EXPECT_TRUE(gFileSystem.Exist(eOpenProgramDir, CStr(self.c_str())));
}

TEST_F(FileSystem, SearchTriesEachPathOfTheCodeInTurnAndThenTheNameAsGiven) {
    ScratchDir first("first"), second("second");
    ScratchDir::WriteBytes(second / "only-second.txt", "two");
    ScratchDir::WriteBytes(first / "both.txt", "one");
    ScratchDir::WriteBytes(second / "both.txt", "two");
    gFileSystem.SetCodePath(kCodeA, CStr(first.Dir().c_str()));
    gFileSystem.AddCodePath(kCodeA, CStr(second.Dir().c_str()));
    ASSERT_EQ(gFileSystem.GetCodePathCount(kCodeA), 2);

    CXFile f;
    f.OpenExisting(kCodeA, "both.txt", 1, XF_BINARY, 1, XF_SHARE_READ);
    EXPECT_EQ(Text(f), "one");
    EXPECT_EQ(std::string(f.GetName().c_str()), first / "both.txt")
        << "a disk file is named by its native path";
    f.OpenExisting(kCodeA, "only-second.txt", 1, XF_BINARY, 1, XF_SHARE_READ);
    EXPECT_EQ(Text(f), "two");
    // A complete name is found as given whatever the code's paths.
    ScratchDir::WriteBytes(dir / "elsewhere.txt", "three");
    f.OpenExisting(kCodeA, CStr((dir / "elsewhere.txt").c_str()), 1, XF_BINARY, 1, XF_SHARE_READ);
    EXPECT_EQ(Text(f), "three");
    // A code without paths tries the name as given: relative names are relative to the current directory.
    // Where the scratch folder is on another drive than the current directory, the file is made in the
    // current directory.
    std::string relative = std::filesystem::relative(dir / "elsewhere.txt").string();
    const bool here = relative.empty();
    if (here) {
        relative = "ztbase-relative-" + std::to_string(std::random_device{}()) + ".txt";
        ScratchDir::WriteBytes(relative, "three");
    }
    f.OpenExisting(kCodeB, CStr(relative.c_str()), 1, XF_BINARY, 1, XF_SHARE_READ);
    EXPECT_EQ(Text(f), "three");
    f = CXFile();
    if (here) std::filesystem::remove(relative);
}

TEST_F(FileSystem, NamesFoundNowhereRaiseFileNotFoundAndLeaveTheHandleAlone) {
    gFileSystem.SetCodePath(kCodeA, CStr(dir.Dir().c_str()));
    CXFile f = gFileSystem.CreateRamFile(XF_BINARY);
    const CStr before = f.GetName();
    for (const char* name : {"missing.txt", "a|b", "C:\\x.txt", "\\\\srv\\share\\x", "HTTP://host/p", ""}) {
        ExpectXFileError([&] { f.OpenExisting(kCodeA, name, 1, XF_BINARY, 1, XF_SHARE_READ); }, 11002,
                         std::string("File not found : ") + name);
        EXPECT_TRUE(f.GetName() == before);
    }
    // A space that fails for another reason is a miss too: the file exists but is opened in a refused way.
    ScratchDir::WriteBytes(dir / "x.bin", "x");
    ExpectXFileError([&] { f.OpenExisting(kCodeA, "x.bin", 0, XF_TEXT_CRLF, 1, XF_SHARE_NONE); }, 11002,
                     "File not found : x.bin");
}

TEST_F(FileSystem, SocketAndPipeSpacesRefuseWhatTheirKindsDoNotOffer) {
    CXSocketFileSpace sockets;
    CXThreadToThreadPipeSpace pipes;
    ExpectXFileError([&] { sockets.OpenMappedFile("SOCKET:h:1", 1, 0, XF_BINARY); }, 10009, "Not supported");
    ExpectXFileError([&] { sockets.Erase("SOCKET:h:1"); }, 10009, "Not supported");
    ExpectXFileError([&] { pipes.CreateMappedFile("TTPIPE:p", 10, XF_BINARY); }, 10009,
                     "Not supported for pipes");
    ExpectXFileError([&] { pipes.Rename("TTPIPE:p", "TTPIPE:q"); }, 10009, "Not supported for pipes");
    CStr socketName("SOCKET:h:1"), diskName("a.txt");
    EXPECT_TRUE(sockets.ConstructCompleteFileName(CStr(), socketName));
    EXPECT_FALSE(sockets.ConstructCompleteFileName(CStr(), diskName));
    EXPECT_FALSE(pipes.ConstructCompleteFileName(CStr(), diskName));
    EXPECT_FALSE(sockets.Exist("SOCKET:h:1"));
}

TEST_F(FileSystem, CreateAndAppendGoToTheFirstPathOfTheCode) {
    ScratchDir other("other");
    gFileSystem.SetCodePath(kCodeA, CStr(dir.Dir().c_str()));
    gFileSystem.AddCodePath(kCodeA, CStr(other.Dir().c_str()));
    {
        CXFile f;
        f.Create(kCodeA, "new.txt", 1, XF_TEXT_LF);
        f.WriteLn(CStr("first"));
    }
    EXPECT_EQ(ScratchDir::ReadBytes(dir / "new.txt"), "first\n");
    EXPECT_FALSE(std::filesystem::exists(other / "new.txt"));
    {
        CXFile f;
        f.OpenForAppend(kCodeA, "new.txt", 1, XF_TEXT_LF, XF_SHARE_NONE);
        f.WriteLn(CStr("second"));
    }
    EXPECT_EQ(ScratchDir::ReadBytes(dir / "new.txt"), "first\nsecond\n");
}

TEST_F(FileSystem, QueriesAnswerForPresentFilesAndFalseOrZeroForAbsentOnes) {
    gFileSystem.SetCodePath(kCodeA, CStr(dir.Dir().c_str()));
    ScratchDir::WriteBytes(dir / "data.bin", std::string(1234, 'x'));
    EXPECT_TRUE(gFileSystem.Exist(kCodeA, "data.bin"));
    EXPECT_EQ(gFileSystem.Size(kCodeA, "data.bin"), 1234);
    unsigned low = 0, high = 0;
    EXPECT_TRUE(gFileSystem.Time(kCodeA, "data.bin", low, high));
    // 100-ns units since 1601: any date after 2001 has a high word above 0x01C0_0000.
    EXPECT_GT(high, 0x01C00000u);
    EXPECT_FALSE(gFileSystem.IsReadOnly(kCodeA, "data.bin"));
    CStr fixed("data.bin");
    EXPECT_TRUE(gFileSystem.FixFileName(kCodeA, fixed));
    EXPECT_EQ(std::string(CXWin32FileSpace::NativePath(fixed).c_str()), dir / "data.bin");

    for (const char* absent : {"absent.bin", "a|b", "C:\\absent"}) {
        EXPECT_FALSE(gFileSystem.Exist(kCodeA, absent));
        EXPECT_EQ(gFileSystem.Size(kCodeA, absent), 0);
        EXPECT_FALSE(gFileSystem.Time(kCodeA, absent, low, high));
        EXPECT_EQ(low | high, 0u);
        EXPECT_FALSE(gFileSystem.IsReadOnly(kCodeA, absent));
        EXPECT_FALSE(gFileSystem.Erase(kCodeA, absent));
        EXPECT_FALSE(gFileSystem.Rename(kCodeA, absent, "other"));
        CStr name(absent);
        EXPECT_FALSE(gFileSystem.FixFileName(kCodeA, name));
        EXPECT_TRUE(name == absent);
    }
}

TEST_F(FileSystem, RenameNeverReplacesAndEraseRemoves) {
    gFileSystem.SetCodePath(kCodeA, CStr(dir.Dir().c_str()));
    ScratchDir::WriteBytes(dir / "a.txt", "A");
    ScratchDir::WriteBytes(dir / "b.txt", "B");
    EXPECT_FALSE(gFileSystem.Rename(kCodeA, "a.txt", "b.txt"));
    EXPECT_EQ(ScratchDir::ReadBytes(dir / "b.txt"), "B");
    EXPECT_TRUE(gFileSystem.Rename(kCodeA, "a.txt", "c.txt"));
    EXPECT_EQ(ScratchDir::ReadBytes(dir / "c.txt"), "A");
    EXPECT_FALSE(std::filesystem::exists(dir / "a.txt"));
    EXPECT_TRUE(gFileSystem.Erase(kCodeA, "c.txt"));
    EXPECT_FALSE(std::filesystem::exists(dir / "c.txt"));
}

TEST_F(FileSystem, DirectoriesAndListings) {
    gFileSystem.SetCodePath(kCodeA, CStr(dir.Dir().c_str()));
    EXPECT_TRUE(gFileSystem.CreateDir(kCodeA, "sub"));
    EXPECT_FALSE(gFileSystem.CreateDir(kCodeA, "sub")) << "already there";
    ASSERT_TRUE(std::filesystem::is_directory(dir / "sub"));
    for (const char* n : {"sub/a.txt", "sub/b.txt", "sub/c.log"}) ScratchDir::WriteBytes(dir / n, "x");
    std::filesystem::create_directory(dir / "sub/inner.txt");

    ZtRefArray<CStr> names;
    ASSERT_TRUE(gFileSystem.GetFileList(kCodeA, names, "sub\\*.txt"));
    std::vector<std::string> got;
    for (const CStr& n : names) got.push_back(n.c_str());
    std::sort(got.begin(), got.end());
    EXPECT_EQ(got, (std::vector<std::string>{"a.txt", "b.txt"})) << "files only by default";

    ASSERT_TRUE(gFileSystem.GetFileList(kCodeA, names, "sub/*.txt", 0, 1, 0));
    ASSERT_EQ(names.size(), 1u);
    EXPECT_TRUE(names[0] == "inner.txt");

    ASSERT_TRUE(gFileSystem.GetFileList(kCodeA, names, "sub\\c.*", 1, 0, 1));
    ASSERT_EQ(names.size(), 1u);
    EXPECT_EQ(std::string(CXWin32FileSpace::NativePath(names[0]).c_str()), dir / "sub/c.log");

    EXPECT_FALSE(gFileSystem.GetFileList(kCodeA, names, "nodir\\*.txt"));
    EXPECT_TRUE(names.empty());
}

TEST_F(FileSystem, RamFilesAreNamedByARisingCounter) {
    CXFile a = gFileSystem.CreateRamFile(XF_BINARY), b = gFileSystem.CreateRamFile(XF_UNICODE_LF);
    const std::string na = a.GetName().c_str(), nb = b.GetName().c_str();
    ASSERT_EQ(na.rfind("MemoryFile_", 0), 0u);
    ASSERT_EQ(nb.rfind("MemoryFile_", 0), 0u);
    EXPECT_EQ(std::stoi(nb.substr(11)), std::stoi(na.substr(11)) + 1);
    EXPECT_EQ(b.GetTextMode(), XF_UNICODE_LF);
}

}  // namespace
