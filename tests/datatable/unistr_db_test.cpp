// The Unicode string database: its handle, lookups, keys under keys, and the dump read back.
#include <gtest/gtest.h>
#include <ztbase/datatable/unistr_db.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/files/file_system.h>

#include <map>
#include <string>

#include "scratch_dir.h"
#include "table_support.h"

using namespace ZtBase;
using table_support::K;

namespace {

std::string Get(const CUniStrDB& db, const std::u16string& key) {
    CUniStr value(u"<unchanged>");
    if (!db.GetRecord(K(key), value)) return "<none>";
    return value.ToUtf8();
}

std::string DumpOf(const CUniStrDB& db, unsigned option) {
    CXFile out = gFileSystem.CreateRamFile(XF_BINARY);
    db.Dump(out, option);
    out.Seek(0);
    std::string text(static_cast<std::size_t>(out.GetFileLength()), '\0');
    out.ReadBlock(text.data(), static_cast<unsigned>(text.size()));
    return text;
}

TEST(UniStrDB, HandleRecordsAndKeys) {
    ScratchDir dir("udb");
    const CUniStr name((dir / "u.db").c_str());
    CUniStrDB none;
    CUniStr value(u"kept");
    EXPECT_EQ(none.GetRecord(K(u"a"), value), 0);
    EXPECT_EQ(none.SetRecord(K(u"a"), u"x"), 0);
    EXPECT_EQ(none.HasKey(u"a"), 0);
    EXPECT_EQ(value.ToUtf8(), "kept");

    CUniStrDB db;
    ASSERT_EQ(db.Create(name), 1);
    EXPECT_EQ(db.GetFileName(), name);
    db.SetRecord(K(u"verb/go/past"), u"went");
    db.SetRecord(K(u"verb/go"), u"");
    db.SetRecord(K(u"verb/be/past"), u"was\u00a0were");
    db.SetRecord(K(u"a\\/b"), u"slash");
    EXPECT_EQ(Get(db, u"verb/go/past"), "went");
    EXPECT_EQ(Get(db, u"verb/go"), "");     // the empty text is a value
    EXPECT_EQ(Get(db, u"verb"), "<none>");  // a record without data
    EXPECT_EQ(Get(db, u"verb/be/future"), "<none>");
    EXPECT_EQ(Get(db, u"a\\/b"), "slash");
    EXPECT_EQ(Get(db, u"a/b"), "<none>");
    EXPECT_EQ(db.HasKey(u"verb"), 1);  // records under it, none at it
    EXPECT_EQ(db.HasKey(u"verb/be"), 1);
    EXPECT_EQ(db.HasKey(u"noun"), 0);
    const ZtRefArray<CUniStr> sub = db.GetSubKeys(u"verb");
    ASSERT_EQ(sub.size(), 2u);
    EXPECT_EQ(sub[0].ToUtf8(), "be");
    EXPECT_EQ(sub[1].ToUtf8(), "go");
    const ZtRefArray<CUniStr> top = db.GetSubKeys(u"");
    ASSERT_EQ(top.size(), 2u);
    EXPECT_EQ(top[0].ToUtf8(), "a/b");
    EXPECT_EQ(top[1].ToUtf8(), "verb");

    CUniStrDB copy = db;
    EXPECT_EQ(copy.Eq(db), 1);
    EXPECT_EQ(copy.DeleteCUniStrKey(u"verb/go"), 1);  // the key and what is under it
    EXPECT_EQ(Get(db, u"verb/go/past"), "<none>");
    EXPECT_EQ(db.DeleteCUniStrKey(u"verb/go"), 0);
    CUniStrDB other;
    EXPECT_EQ(other.Eq(db), 0);

    // Create replaces an existing file with an empty table.
    db.Release();
    copy.Release();
    ASSERT_EQ(db.Create(name), 1);
    EXPECT_EQ(Get(db, u"verb/be/past"), "<none>");
    EXPECT_EQ(db.HasKey(u""), 0);
}

TEST(UniStrDB, DumpReadsBackIntoAnEqualTable) {
    ScratchDir dir("udb-dump");
    CUniStrDB db;
    ASSERT_EQ(db.Create(CUniStr((dir / "a.db").c_str())), 1);
    const std::map<std::u16string, std::u16string> records = {
        {u"plain", u"value"},      {u"tab\there", u"line\nfeed\rreturn"},
        {u"back\\\\slash", u"\\"}, {u"seg\\/ment/child", u"\U0001F600 and \u4e2d"},
        {u"empty", u""},           {u"", u"the empty key"},
    };
    for (const auto& [k, v] : records) db.SetRecord(K(k), CUniStr(K(v)));
    const std::string dump = DumpOf(db, kDumpSorted);
    EXPECT_EQ(dump,
              "ZtDbDump 1\n"
              "\tthe empty key\n"
              "back\\\\\\\\slash\t\\\\\n"
              "empty\t\n"
              "plain\tvalue\n"
              "seg\\\\/ment/child\t\xF0\x9F\x98\x80 and \xE4\xB8\xAD\n"
              "tab\\there\tline\\nfeed\\rreturn\n");

    CUniStrDB copy;
    ASSERT_EQ(copy.Create(CUniStr((dir / "b.db").c_str())), 1);
    CXFile in = gFileSystem.CreateRamFile(XF_BINARY);
    in.WriteBlock(dump.data(), static_cast<unsigned>(dump.size()));
    in.Seek(0);
    EXPECT_EQ(copy.Load(in), records.size());
    for (const auto& [k, v] : records) EXPECT_EQ(Get(copy, k), CUniStr(K(v)).ToUtf8());
    EXPECT_EQ(DumpOf(copy, kDumpSorted), dump);

    // DumpTable: parallel key and value lines under a prefix, and the last key.
    CXFile keys = gFileSystem.CreateRamFile(XF_BINARY), values = gFileSystem.CreateRamFile(XF_BINARY);
    CUniStr prefix(u"seg\\/ment"), last;
    db.DumpTable(keys, values, prefix, last, kDumpSorted);
    EXPECT_EQ(last.ToUtf8(), "seg\\/ment/child");
    EXPECT_EQ(keys.GetFileLength(), static_cast<int>(std::string("seg\\\\/ment/child\n").size()));

    // Malformed dumps name their line; the lines before it are stored.
    struct Bad {
        std::string text;
        std::string message;
    } bad[] = {
        {"not a dump\n", "Invalid dump line 1"},
        {"ZtDbDump 1\nok\tyes\nno tab here\n", "Invalid dump line 3"},
        {"ZtDbDump 1\n\\q\tx\n", "Invalid dump line 2"},
        {"ZtDbDump 1\nk\tends in \\\n", "Invalid dump line 2"},
        {"", "Invalid dump line 1"},
    };
    for (const Bad& b : bad) {
        CXFile f = gFileSystem.CreateRamFile(XF_BINARY);
        if (!b.text.empty()) f.WriteBlock(b.text.data(), static_cast<unsigned>(b.text.size()));
        f.Seek(0);
        try {
            copy.Load(f);
            ADD_FAILURE() << b.text;
        } catch (const CZtMappedDataTableException& e) {
            EXPECT_EQ(CUniStr(e.GetErrorString(0)).ToUtf8(), b.message);
            EXPECT_EQ(e.GetExceptionErrorCode(), 10501u);
        }
    }
    EXPECT_EQ(Get(copy, u"ok"), "yes");
}

}  // namespace
