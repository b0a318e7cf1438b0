// CXFileName: the parser's states and end states, the prefixed kinds, the names built from the parts,
// extensions, combining with a default path, native paths and bad input.
#include "ztbase/files/file_name.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

using namespace ZtBase;

namespace {

std::string T(const CStr& s) {
    return std::string(s.c_str(), s.Length());
}

std::vector<std::string> Dirs(const CXFileName& f) {
    std::vector<std::string> r;
    for (const CStr& d : f.GetDirectories()) r.push_back(T(d));
    return r;
}

struct ParseCase {
    const char* name;
    bool valid;
    int kind;
    const char* drive;
    bool rooted;
    bool wild;
    std::vector<std::string> dirs;
    const char* file;
    const char* complete;
};

// Checks every part; for invalid names only the flag (the parts are whatever the walk reached).
void ExpectParse(const ParseCase& c) {
    SCOPED_TRACE(std::string("name: ") + c.name);
    CXFileName f{CStr(c.name)};
    ASSERT_EQ(f.IsValid(), c.valid ? 1 : 0);
    if (!c.valid) return;
    EXPECT_EQ(f.GetKind(), c.kind);
    EXPECT_EQ(T(f.GetDrive()), c.drive);
    EXPECT_EQ(f.IsRooted(), c.rooted ? 1 : 0);
    EXPECT_EQ(f.HasWildcards(), c.wild ? 1 : 0);
    EXPECT_EQ(Dirs(f), c.dirs);
    EXPECT_EQ(T(f.GetFileNameWithoutPath()), c.file);
    EXPECT_EQ(T(f.GetCompleteFileName()), c.complete);
}

const ParseCase kValid = {"", false, 0, "", false, false, {}, "", ""};
ParseCase Bad(const char* name) {
    ParseCase c = kValid;
    c.name = name;
    return c;
}

// One or more names for every move of the state machine, in the order of its table.
TEST(CXFileNameParse, EveryMoveOfTheStateMachine) {
    // clang-format off
    const std::vector<ParseCase> cases = {
        // 0 start: separator -> 1; drive letter -> 4; other file letter or meta -> 6; else invalid.
        {"\\a", true, 0, "", true, false, {}, "a", "\\a"},
        {"Cx", true, 0, "", false, false, {}, "Cx", ""},
        {"1abc", true, 0, "", false, false, {}, "1abc", ""},
        {" x", true, 0, "", false, false, {}, " x", ""},
        {"*.txt", true, 0, "", false, true, {}, "*.txt", ""},
        {"?", true, 0, "", false, true, {}, "?", ""},
        Bad("|a"), Bad(":x"), Bad(";"), Bad("\001a"),
        // 1 after one separator: separator -> 2; file letter or meta -> rooted, 6; else invalid.
        {"C:\\data\\x.txt", true, 1, "C:", true, false, {"data"}, "x.txt", "C:\\data\\x.txt"},
        {"\\dir\\a.txt", true, 0, "", true, false, {"dir"}, "a.txt", "\\dir\\a.txt"},
        {"\\*.c", true, 0, "", true, true, {}, "*.c", "\\*.c"},
        Bad("\\|x"), Bad("\\:"),
        // 2 in the server: separator -> 3 unless the server is empty; file letter stays; else invalid.
        {"\\\\srv\\share\\a", true, 2, "\\\\srv\\share", false, false, {}, "a", "\\\\srv\\share\\a"},
        Bad("\\\\\\x"), Bad("\\\\s*v\\share\\a"), Bad("\\\\s:v\\share"),
        // 3 in the share: separator -> kind 2 unless the share is empty; file letter stays; else invalid.
        {"\\\\srv\\share\\d\\e\\f.x", true, 2, "\\\\srv\\share", false, false, {"d", "e"}, "f.x",
         "\\\\srv\\share\\d\\e\\f.x"},
        Bad("\\\\srv\\\\x"), Bad("\\\\srv\\sh?re\\a"), Bad("\\\\srv\\sh|re"),
        // 4 after a first letter: ":" -> kind 1; else the token is cut to the letter and 6 goes on.
        {"C:x", true, 1, "C:", false, false, {}, "x", "C:x"},
        {"ab", true, 0, "", false, false, {}, "ab", ""},
        {"a*", true, 0, "", false, true, {}, "a*", ""},
        {"ab\\c", true, 0, "", false, false, {"ab"}, "c", ""},
        Bad("a\\b"),  // the separator reaches state 6: a one-letter first directory is not accepted
        Bad("a|"),
        // 5 after the drive: separator -> rooted; else not rooted and 6 goes on.
        {"C:\\x", true, 1, "C:", true, false, {}, "x", "C:\\x"},
        {"c:dir\\x", true, 1, "c:", false, false, {"dir"}, "x", "c:dir\\x"},
        {"C:*.c", true, 1, "C:", false, true, {}, "*.c", "C:*.c"},
        Bad("C:|"), Bad("C::"),
        // 6 component start: file letter or meta -> 7; else invalid (two separators in a row).
        {"C:\\?x", true, 1, "C:", true, true, {}, "?x", "C:\\?x"},
        Bad("C:\\\\x"), Bad("dir\\\\x"), Bad("dir\\:x"),
        // 7 in a component: file letters and meta stay; a separator ends a directory unless wildcards
        // were seen; else invalid.
        {"a?c", true, 0, "", false, true, {}, "a?c", ""},
        {"dir\\x*", true, 0, "", false, true, {"dir"}, "x*", ""},
        Bad("dir*\\x"), Bad("\\d?r\\x"), Bad("a|b"), Bad("ab:c"), Bad("a;b"), Bad("a\"b"), Bad("a\x7f"),
    };
    // clang-format on
    for (const ParseCase& c : cases) ExpectParse(c);
}

TEST(CXFileNameParse, EndStates) {
    // clang-format off
    const std::vector<ParseCase> cases = {
        Bad(""),                                                              // 0: empty
        {"\\", true, 0, "", true, true, {}, "*", "\\*"},                      // 1: a lone separator
        Bad("\\\\"), Bad("\\\\srv"),                                          // 2
        {"\\\\srv\\share", true, 2, "\\\\srv\\share", false, true, {}, "*", "\\\\srv\\share\\*"},  // 3
        Bad("\\\\srv\\"),                                                     // 3, token ends in a separator
        {"a", true, 0, "", false, false, {}, "a", ""},                        // 4: a single letter
        {"C:", true, 1, "C:", false, true, {}, "*", "C:*"},                   // 5
        {"C:\\", true, 1, "C:", true, true, {}, "*", "C:\\*"},                // 6
        {"dir\\", true, 0, "", false, true, {"dir"}, "*", ""},                // 6
        {"x.txt", true, 0, "", false, false, {}, "x.txt", ""},                // 7
    };
    // clang-format on
    for (const ParseCase& c : cases) ExpectParse(c);
}

// "/" is a separator wherever a backslash is; the parts and built names use backslashes.
TEST(CXFileNameParse, SlashIsASeparator) {
    // clang-format off
    const std::vector<ParseCase> cases = {
        {"/tmp/work/a.txt", true, 0, "", true, false, {"tmp", "work"}, "a.txt", "\\tmp\\work\\a.txt"},
        {"/", true, 0, "", true, true, {}, "*", "\\*"},
        {"/tmp/", true, 0, "", true, true, {"tmp"}, "*", "\\tmp\\*"},
        {"/a/b", true, 0, "", true, false, {"a"}, "b", "\\a\\b"},
        {"\\tmp/x\\y", true, 0, "", true, false, {"tmp", "x"}, "y", "\\tmp\\x\\y"},
        {"//srv/share/d/a", true, 2, "\\\\srv\\share", false, false, {"d"}, "a", "\\\\srv\\share\\d\\a"},
        {"/\\srv\\share", true, 2, "\\\\srv\\share", false, true, {}, "*", "\\\\srv\\share\\*"},
        {"C:/x/y", true, 1, "C:", true, false, {"x"}, "y", "C:\\x\\y"},
        {"ab/c", true, 0, "", false, false, {"ab"}, "c", ""},
        Bad("///x"), Bad("//srv//x"), Bad("//srv/"), Bad("a/b"), Bad("/tmp//x"), Bad("/t*p/x"),
    };
    // clang-format on
    for (const ParseCase& c : cases) ExpectParse(c);
}

TEST(CXFileNameParse, PrefixedKinds) {
    // clang-format off
    const std::vector<ParseCase> cases = {
        {"HTTP://host/p", true, 4, "http", false, false, {}, "host/p", "http://host/p"},
        {"http://h", true, 4, "http", false, false, {}, "h", "http://h"},
        {"FTP://srv/f|x", true, 5, "ftp", false, false, {}, "srv/f|x", "ftp://srv/f|x"},
        {"SOCKET:host:5000", true, 6, "socket", false, false, {"host"}, "5000", "socket:host:5000"},
        {"socket:host", true, 6, "socket", false, false, {"host"}, "", "socket:host:"},
        {"SOCKET::80", true, 6, "socket", false, false, {""}, "80", "socket::80"},
        {"TTPIPE:work", true, 7, "TTPipe", false, false, {}, "work", ""},
        {"ttpipe:", true, 7, "TTPipe", false, false, {}, "", ""},
    };
    // clang-format on
    for (const ParseCase& c : cases) ExpectParse(c);
    const std::pair<const char*, int> bad[] = {
        {"HTTP:/x", 4}, {"HTTP:", 4}, {"http:x//", 4}, {"FTP:/", 5}, {"FTP:x//y", 5}};
    for (const auto& [name, kind] : bad) {
        CXFileName f{CStr(name)};
        EXPECT_FALSE(f.IsValid()) << name;
        EXPECT_EQ(f.GetKind(), kind) << name;
    }
    // The prefix must be at the very start.
    EXPECT_FALSE(CXFileName(CStr("xHTTP://a")).IsValid());
    EXPECT_EQ(CXFileName(CStr("HTTPx")).GetKind(), 0);
}

TEST(CXFileNameClasses, DriveFileAndMetaLetters) {
    int drive = 0, file = 0, meta = 0;
    for (int b = 0; b < 256; ++b) {
        const char c = static_cast<char>(b);
        drive += CXFileName::IsValidDriveLetter(c);
        file += CXFileName::IsValidFileLetter(c);
        meta += CXFileName::IsValidMetaCharacter(c);
    }
    EXPECT_EQ(drive, 52);
    EXPECT_EQ(meta, 2);
    EXPECT_EQ(file, 256 - 32 - 1 - 14);
    for (char c : std::string("\"&*,/:;<=>?\\^|\x7f\x1f"))
        EXPECT_EQ(CXFileName::IsValidFileLetter(c), 0) << int(c);
    for (char c : std::string(" !#$%'()+-.09@AZ[]_`az{}~\x80\xe9\xff"))
        EXPECT_EQ(CXFileName::IsValidFileLetter(c), 1) << int(static_cast<unsigned char>(c));
    EXPECT_EQ(CXFileName::IsValidDriveLetter('@'), 0);
    EXPECT_EQ(CXFileName::IsValidDriveLetter('['), 0);
    EXPECT_EQ(CXFileName::IsValidDriveLetter('`'), 0);
    EXPECT_EQ(CXFileName::IsValidDriveLetter('{'), 0);
    EXPECT_EQ(CXFileName::IsValidDriveLetter('\xc9'), 0);
    EXPECT_EQ(CXFileName::IsValidMetaCharacter('*'), 1);
    EXPECT_EQ(CXFileName::IsValidMetaCharacter('?'), 1);
}

TEST(CXFileNameParts, PathAndFileNamesAndIndependentCopies) {
    struct Case {
        const char* name;
        const char* path;
        const char* fileName;
    };
    const Case cases[] = {
        {"C:\\data\\x.txt", "C:\\data\\", "x.txt"},
        {"C:x", "C:", "x"},
        {"\\\\srv\\share\\a", "\\\\srv\\share\\", "a"},
        {"/tmp/work/a.txt", "\\tmp\\work\\", "a.txt"},
        {"sub\\a.txt", "", "a.txt"},
        {"a.txt", "", "a.txt"},
        {"HTTP://host/p", "http://", "host/p"},
        {"SOCKET:h:1", "socket:h:", "1"},
        {"TTPIPE:p", "", "p"},
    };
    for (const Case& c : cases) {
        CXFileName f{CStr(c.name)};
        ASSERT_TRUE(f.IsValid()) << c.name;
        EXPECT_EQ(T(f.GetPath()), c.path) << c.name;
        EXPECT_EQ(T(f.GetFileName()), c.fileName) << c.name;
    }
    CXFileName a{CStr("C:\\d\\x.txt")};
    CXFileName b = a;
    b.SetExtension(CStr("bin"));
    b.CombineDefaultPath(CXFileName(CStr("D:\\e\\")));
    EXPECT_EQ(T(a.GetCompleteFileName()), "C:\\d\\x.txt");
    EXPECT_EQ(T(b.GetCompleteFileName()), "C:\\d\\x.bin");
    CXFileName c;
    EXPECT_FALSE(c.IsValid());
    c = a;
    EXPECT_TRUE(c.IsValid());
    EXPECT_EQ(Dirs(c), std::vector<std::string>{"d"});
}

TEST(CXFileNameExtension, GetAndSet) {
    struct Case {
        const char* name;
        const char* ext;
        const char* without;
    };
    const Case cases[] = {
        {"C:\\a\\x.tar.gz", "gz", "x.tar"},
        {"noext", "", "noext"},
        {"dir.d\\file", "", "file"},
        {"a.", "", "a"},
        {".rc", "rc", ""},
        {"\\*.c", "c", "*"},
    };
    for (const Case& c : cases) {
        CXFileName f{CStr(c.name)};
        EXPECT_EQ(T(f.GetExtension()), c.ext) << c.name;
        EXPECT_EQ(T(f.GetFileNameWithoutExtension()), c.without) << c.name;
    }

    CXFileName f{CStr("C:\\a\\x.tar.gz")};
    f.SetExtension(CStr("txt"));
    EXPECT_EQ(T(f.GetCompleteFileName()), "C:\\a\\x.tar.txt");
    f.SetExtension(CStr(".bin"));
    EXPECT_EQ(T(f.GetFileNameWithoutPath()), "x.tar.bin");
    f.SetExtension(CStr());
    EXPECT_EQ(T(f.GetFileNameWithoutPath()), "x.tar");
    f.SetExtension(CStr());
    EXPECT_EQ(T(f.GetFileNameWithoutPath()), "x");
    EXPECT_TRUE(f.IsValid());
    EXPECT_FALSE(f.HasWildcards());

    CXFileName g{CStr("noext")};
    g.SetExtension(CStr("c"));
    EXPECT_EQ(T(g.GetFileName()), "noext.c");
    g.SetExtension(CStr("*"));
    EXPECT_TRUE(g.HasWildcards());
    EXPECT_TRUE(g.IsValid());
    g.SetExtension(CStr("a|b"));
    EXPECT_FALSE(g.IsValid());
}

// A default path completes what the name leaves out: a relative name takes its drive (or root) and
// directories, a rooted one only its drive; names with their own drive or of other kinds keep theirs.
TEST(CXFileNameCombine, TheDefaultSuppliesWhatTheNameLeavesOut) {
    const struct {
        const char* name;
        const char* defaultPath;
        int kind;
        bool rooted;
        const char* complete;
        const char* fileName;
    } cases[] = {
        {"sub\\a.txt", "C:\\base\\x\\", 1, true, "C:\\base\\x\\sub\\a.txt", "a.txt"},
        {"a.txt", "/tmp/work/", 0, true, "\\tmp\\work\\a.txt", "a.txt"},
        {"dd\\a", "\\\\srv\\share\\e", 2, false, "\\\\srv\\share\\dd\\a", "a"},  // e ignored
        {"x", "base\\", 0, false, "", "x"},  // a relative default leaves the name relative
        {"\\etc\\x", "C:\\base\\", 1, true, "C:\\etc\\x", "x"},
        {"/etc/x", "/tmp/work/", 0, true, "\\etc\\x", "x"},
        {"c:x", "C:\\base\\", 1, true, "c:\\base\\x", "x"},  // the same drive in either case
        {"C:x", "D:\\base\\", 1, false, "C:x", "x"},
        {"C:\\a\\x", "C:\\base\\", 1, true, "C:\\a\\x", "x"},
        {"\\\\srv\\share\\a", "C:\\base\\", 2, false, "\\\\srv\\share\\a", "a"},
        {"HTTP://h/p", "C:\\base\\", 4, false, "http://h/p", "h/p"},
        {"FTP://h/p", "C:\\base\\", 5, false, "ftp://h/p", "h/p"},
        {"SOCKET:h:1", "C:\\base\\", 6, false, "socket:h:1", "1"},
        {"TTPIPE:p", "C:\\base\\", 7, false, "", "p"},
        {"sub\\a", "C:\\b*\\x", 0, false, "", "a"},  // an invalid default changes nothing
        {"sub\\a", "HTTP://h/", 0, false, "", "a"},
        {"sub\\a", "", 0, false, "", "a"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " with " + c.defaultPath);
        CXFileName f{CStr(c.name)};
        ASSERT_TRUE(f.IsValid());
        f.CombineDefaultPath(c.defaultPath[0] ? CXFileName(CStr(c.defaultPath)) : CXFileName());
        EXPECT_EQ(f.GetKind(), c.kind);
        EXPECT_EQ(f.IsRooted(), c.rooted ? 1 : 0);
        EXPECT_EQ(T(f.GetCompleteFileName()), c.complete);
        EXPECT_EQ(T(f.GetFileName()), c.fileName);
    }
    CXFileName f{CStr("sub\\a.txt")};
    f.CombineDefaultPath(CXFileName(CStr("C:\\base\\x\\")));
    EXPECT_EQ(Dirs(f), (std::vector<std::string>{"base", "x", "sub"}));
}

TEST(CXFileNameNative, ToAndFromNativePaths) {
    EXPECT_EQ(T(CXFileName::ToNativePath(CStr("\\tmp\\work\\a.txt"))), "/tmp/work/a.txt");
    EXPECT_EQ(T(CXFileName::ToNativePath(CStr("/tmp/*.so"))), "/tmp/*.so");
    EXPECT_EQ(T(CXFileName::ToNativePath(CStr("sub\\a"))), "sub/a");
    for (const char* none : {"C:\\a\\b", "C:a", "\\\\srv\\share\\a", "HTTP://h", "TTPIPE:p", "", "a|b"})
        EXPECT_TRUE(CXFileName::ToNativePath(CStr(none)).IsNull()) << none;
    EXPECT_EQ(T(CXFileName::FromNativePath(CStr("/tmp/work/a.txt"))), "\\tmp\\work\\a.txt");
    EXPECT_EQ(T(CXFileName::ToNativePath(CXFileName::FromNativePath(CStr("/x y/z.c")))), "/x y/z.c");
}

// Checks what must hold of any parse: a valid name's parts use only their allowed characters, and its
// complete name, where it has one, parses back to the same parts.
void CheckParse(const std::string& text) {
    SCOPED_TRACE(testing::PrintToString(text));
    CStr name;
    for (char c : text) name += c;
    CXFileName f(name);
    if (!f.IsValid()) return;
    if (f.GetKind() > 3) return;
    ASSERT_LE(f.GetKind(), 2);
    for (const CStr& d : f.GetDirectories()) {
        ASSERT_GT(d.Length(), 0u);
        for (char c : d) ASSERT_TRUE(CXFileName::IsValidFileLetter(c)) << int(c);
    }
    ASSERT_GT(f.GetFileNameWithoutPath().Length(), 0u);
    bool wild = false;
    for (char c : f.GetFileNameWithoutPath()) {
        wild = wild || CXFileName::IsValidMetaCharacter(c);
        ASSERT_TRUE(CXFileName::IsValidFileLetter(c) || CXFileName::IsValidMetaCharacter(c)) << int(c);
    }
    ASSERT_EQ(f.HasWildcards(), wild ? 1 : 0);
    const CStr complete = f.GetCompleteFileName();
    if (complete.Length() == 0) {
        ASSERT_TRUE(f.GetKind() == 0 && !f.IsRooted());
        return;
    }
    CXFileName again(complete);
    ASSERT_TRUE(again.IsValid()) << T(complete);
    EXPECT_EQ(again.GetKind(), f.GetKind());
    EXPECT_EQ(T(again.GetDrive()), T(f.GetDrive()));
    EXPECT_EQ(again.IsRooted(), f.IsRooted());
    EXPECT_EQ(Dirs(again), Dirs(f));
    EXPECT_EQ(T(again.GetFileNameWithoutPath()), T(f.GetFileNameWithoutPath()));
    EXPECT_EQ(T(again.GetCompleteFileName()), T(complete));
}

TEST(CXFileNameBadInput, RandomBytesNeverBreakTheParser) {
    std::mt19937 rng(20240611u);  // fixed rng start value
    std::uniform_int_distribution<int> len(0, 24), byte(1, 255);
    for (int n = 0; n < 20000; ++n) {
        std::string s(static_cast<std::size_t>(len(rng)), ' ');
        for (char& c : s) c = static_cast<char>(byte(rng));
        CheckParse(s);
        if (HasFatalFailure()) return;
    }
}

TEST(CXFileNameBadInput, RandomNamesFromTheGrammarsAlphabet) {
    // Few characters, so that drives, servers, directories and wildcards all come up often.
    const std::string alphabet = "\\\\//::Cab.*?|x";
    std::mt19937 rng(77u);  // fixed rng start value
    std::uniform_int_distribution<int> len(0, 12);
    std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1);
    int valid = 0;
    for (int n = 0; n < 20000; ++n) {
        std::string s(static_cast<std::size_t>(len(rng)), ' ');
        for (char& c : s) c = alphabet[pick(rng)];
        valid += CXFileName(CStr(s.c_str())).IsValid();
        CheckParse(s);
        if (HasFatalFailure()) return;
    }
    EXPECT_GT(valid, 1000);  // the check above saw many valid names
}

}  // namespace
