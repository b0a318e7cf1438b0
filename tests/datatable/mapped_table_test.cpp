// The mapped data table: the file layout read and written byte for byte, hashing and primes, lookups,
// the consistency check on damaged files, and the writing side against a reference map.
#include <gtest/gtest.h>
#include <ztbase/datatable/mapped_table.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/log/line_collector.h>

#include <map>
#include <random>
#include <string>

#include "expect_error.h"
#include "scratch_dir.h"
#include "table_support.h"

using namespace ZtBase;
using table_support::FileImage;
using table_support::K;
using table_support::U;

namespace {

using Table = ZtMappedDataTable<char>;

std::string Data(Table& t, const std::u16string& key) {
    unsigned size = 0;
    const char* p = t.GetRecordBytes(K(key), &size);
    if (!p) return "<null>";
    std::string s(p, size);
    t.ReleaseRecord();
    return s;
}

// The classic formulation of the hash, written independently of the library's.
unsigned ReferenceHash(const std::u16string& s) {
    unsigned h = 0;
    for (char16_t c : s) {
        h = (h << 4) + c;
        unsigned g = h & 0xF0000000u;
        if (g) {
            h ^= g >> 24;
            h &= ~g;
        }
    }
    return h;
}

TEST(DataTableHash, PrimesAndHashes) {
    const std::pair<unsigned, unsigned> primes[] = {
        {0, 1},   {1, 1},   {2, 3},     {7, 7},       {8, 11},        {9, 11},
        {24, 29}, {25, 29}, {120, 127}, {1000, 1009}, {65535, 65537}, {4294967290u, 4294967291u}};
    for (auto [n, p] : primes) EXPECT_EQ(CMappedTableBase::FindAPrime(n), p) << n;

    std::mt19937 random(7);
    for (int i = 0; i < 200; ++i) {
        std::u16string s;
        for (int n = random() % 40; n > 0; --n) s += static_cast<char16_t>(1 + random() % 0xFFFE);
        EXPECT_EQ(CMappedTableBase::SimpleHashPJW(K(s)), ReferenceHash(s));
    }
    EXPECT_EQ(CMappedTableBase::SimpleHashPJW(K(u"")), 0u);
}

TEST(DataTableHash, SegmentsEscapesAndPositions) {
    ScratchDir dir("dt-hash");
    Table t(CUniStr((dir / "h.tbl").c_str()), 0, 0, '/');
    struct Case {
        std::u16string key;
        unsigned start;
        std::u16string segment;
        unsigned end;
    } cases[] = {
        {u"a/b", 0, u"a", 1},       {u"a/b", 2, u"b", 3},   {u"/x", 0, u"", 0},
        {u"a\\/b/c", 0, u"a/b", 4}, {u"ab\\", 0, u"ab", 3}, {u"\\\\x", 0, u"\\x", 3},
        {u"", 0, u"", 0},           {u"x\\y", 0, u"xy", 3}, {u"a//b", 2, u"", 2},
    };
    for (const Case& c : cases) {
        unsigned position = c.start;
        CUniStr segment;
        const unsigned h = t.HashPJW(K(c.key), position, segment);
        EXPECT_EQ(segment.ToU16(), c.segment);
        EXPECT_EQ(position, c.end);
        EXPECT_EQ(h, ReferenceHash(c.segment));
    }
}

// A file laid out by hand: root index of 3 buckets holding "a" (data "A", with a sub-index holding "b"),
// "a/b" as one segment, and "nodata" without data.
std::string HandBuiltTable() {
    FileImage f(512);
    const std::u16string a = u"a", b = u"b", slash = u"a/b", none = u"nodata";
    const unsigned root = 32, sub = 56;  // index sizes (4*3+19)&~7 = 24 and (4*1+19)&~7 = 16
    unsigned at = 72;
    const unsigned ra = at;
    at += (f.Record(ra, a, 0, sub, "A") + 7) & ~7u;
    const unsigned rb = at;
    at += (f.Record(rb, b, 0, 0, "B!") + 7) & ~7u;
    const unsigned rs = at;
    at += (f.Record(rs, slash, 0, 0, "S") + 7) & ~7u;
    const unsigned rn = at;
    at += (f.Record(rn, none, 0, 0, "") + 7) & ~7u;
    // Chains: bucket = hash % 3; records sharing a bucket are chained through "next".
    std::vector<unsigned> heads(3, 0);
    for (auto [record, key] : {std::pair{ra, a}, {rs, slash}, {rn, none}}) {
        unsigned& head = heads[ReferenceHash(key) % 3];
        f.Put(record + 4, head);
        head = record;
    }
    f.Index(root, heads, 3);
    f.Index(sub, {rb}, 1);
    f.Header(at, root);
    return f.Bytes();
}

TEST(DataTableFormat, AHandBuiltFileOpensAndAnswers) {
    ScratchDir dir("dt-hand");
    const std::string path = dir / "hand.tbl";
    ScratchDir::WriteBytes(path, HandBuiltTable());
    Table t(CUniStr(path.c_str()), 1, 0, '/');
    EXPECT_EQ(t.CheckFile(), 1);
    EXPECT_EQ(Data(t, u"a"), "A");
    EXPECT_EQ(Data(t, u"a/b"), "B!");
    EXPECT_EQ(Data(t, u"a\\/b"), "S");
    EXPECT_EQ(Data(t, u"nodata"), "<null>");
    EXPECT_EQ(Data(t, u"a/c"), "<null>");
    EXPECT_EQ(Data(t, u"b"), "<null>");
    EXPECT_EQ(Data(t, u"a/b/c"), "<null>");
    EXPECT_EQ(t.GetNumEntries(), 3u);
    std::map<std::string, std::string> seen;
    for (auto it = t.GetTableBegin(nullptr); it != t.GetTableEnd(nullptr); ++it)
        seen[it.GetKey().ToUtf8()] = std::string(it.GetBytes(), it.GetSize());
    EXPECT_EQ(seen, (std::map<std::string, std::string>{{"a", "A"}, {"a/b", "B!"}, {"a\\/b", "S"}}));
    // A read-only table changes no byte, counters included.
    EXPECT_EQ(ScratchDir::ReadBytes(path), HandBuiltTable());
}

TEST(DataTableFormat, WrittenFilesFollowTheLayout) {
    ScratchDir dir("dt-layout");
    const std::string path = dir / "w.tbl";
    {
        Table t(CUniStr(path.c_str()), 0, 5, '/');
        t.SetRecordBytes(u"key", "xyz", 3);
        EXPECT_EQ(Data(t, u"key"), "xyz");  // one use of the root and one of the record
    }
    FileImage f(0);
    f.Bytes() = ScratchDir::ReadBytes(path);
    EXPECT_EQ(f.Bytes().substr(0, 14), std::string("DataTableV1.0", 14));
    EXPECT_EQ(f.Get(20), f.Bytes().size());
    EXPECT_EQ(f.Bytes()[14], 0);  // closed cleanly
    const unsigned root = f.Get(28);
    EXPECT_EQ(root, 32u);
    EXPECT_EQ(f.Get(root), 5u);      // FindAPrime(5)
    EXPECT_EQ(f.Get(root + 4), 1u);  // records
    EXPECT_EQ(f.Get(root + 8), 1u);  // uses
    const unsigned record = f.Get(root + 12 + 4 * (ReferenceHash(u"key") % 5));
    EXPECT_EQ(record, 32u + ((4 * 5 + 19) & ~7u));
    EXPECT_EQ(f.Get(record), 1u);       // uses
    EXPECT_EQ(f.Get(record + 4), 0u);   // next
    EXPECT_EQ(f.Get(record + 8), 0u);   // no sub-index
    EXPECT_EQ(f.Get(record + 12), 3u);  // key length
    const unsigned dataAt = (record + 2 * 3 + 29) & ~7u;
    EXPECT_EQ(f.Get(record + 16), dataAt - record + 3);
    EXPECT_EQ(f.Bytes().substr(record + 20, 8), std::string("k\0e\0y\0\0\0", 8));
    EXPECT_EQ(f.Bytes().substr(dataAt, 3), "xyz");
    EXPECT_EQ(f.Get(24), (dataAt + 3 + 7) & ~7u);
}

TEST(DataTableErrors, MessagesAndCodes) {
    ScratchDir dir("dt-errors");
    const std::string junk = dir / "junk.tbl", missing = dir / "missing.tbl", good = dir / "good.tbl";
    ScratchDir::WriteBytes(junk, std::string(64, 'x'));
    test_support::ExpectError<CZtMappedDataTableException>([&] { Table t(CUniStr(junk.c_str()), 1, 0, '/'); },
                                                           10501, "Not a valid data table : " + junk);
    ScratchDir::WriteBytes(junk, "DataTableV1.0");  // the magic alone: shorter than a header
    test_support::ExpectError<CZtMappedDataTableException>([&] { Table t(CUniStr(junk.c_str()), 0, 0, '/'); },
                                                           10501, "Not a valid data table : " + junk);
    test_support::ExpectError<CZtMappedDataTableException>(
        [&] { Table t(CUniStr(missing.c_str()), 1, 0, '/'); }, 10501, "file not found:" + missing);
    { Table make(CUniStr(good.c_str()), 0, 0, '/'); }
    Table t(CUniStr(good.c_str()), 1, 0, '/');
    const std::string readOnly = "Unable to write to a read-only table";
    test_support::ExpectError<CZtMappedDataTableException>([&] { t.SetRecordBytes(u"a", "x", 1); }, 10502,
                                                           readOnly);
    test_support::ExpectError<CZtMappedDataTableException>([&] { t.Delete(u"a"); }, 10502, readOnly);
    test_support::ExpectError<CZtMappedDataTableException>([&] { t.GetRecordForUpdate(K(u"a")); }, 10502,
                                                           readOnly);
    test_support::ExpectError<CZtMappedDataTableException>([&] { t.GetTableBeginForUpdate(nullptr); }, 10502,
                                                           readOnly);
    test_support::ExpectError<CZtMappedDataTableException>([&] { t.ForceReorganization(0, 0); }, 10502,
                                                           readOnly);
}

// Each damage of the hand-built file, the check's message, and lookups and iteration that still end.
TEST(DataTableErrors, DamagedFilesFailTheCheckAndNeverCrashALookup) {
    struct Damage {
        const char* name;
        void (*apply)(FileImage&);
        const char* message;
    } damages[] = {
        {"length", [](FileImage& f) { f.Put(20, 4096); }, "Invalid file length"},
        {"used past length", [](FileImage& f) { f.Put(24, 600); }, "Invalid file header."},
        {"root past used", [](FileImage& f) { f.Put(28, f.Get(24) + 8); }, "Invalid file header."},
        {"huge buckets", [](FileImage& f) { f.Put(32, 0x40000000); }, "Invalid index"},
        {"zero buckets", [](FileImage& f) { f.Put(32, 0); }, "entry count mismatch"},
        {"count", [](FileImage& f) { f.Put(36, 4); }, "entry count mismatch"},
        {"record past used", [](FileImage& f) { f.Put(56 + 12, 500); }, "Invalid record offset"},
        {"record length", [](FileImage& f) { f.Put(72 + 16, 4000); }, "Invalid record length"},
        {"key past record", [](FileImage& f) { f.Put(72 + 12, 40); }, "Invalid record length"},
        {"overlap", [](FileImage& f) { f.Put(72 + 16, 60); }, "table overwrite error"},
        {"sub-index loop", [](FileImage& f) { f.Put(72 + 8, 32); }, "table overwrite error"},
        {"chain loop", [](FileImage& f) { f.Put(56 + 12, 72); }, "table overwrite error"},
        {"sub-index past used", [](FileImage& f) { f.Put(72 + 8, 508); }, "Invalid index"},
    };
    ScratchDir dir("dt-damage");
    for (const Damage& d : damages) {
        SCOPED_TRACE(d.name);
        FileImage f(0);
        f.Bytes() = HandBuiltTable();
        d.apply(f);
        const std::string path = dir / "damaged.tbl";
        ScratchDir::WriteBytes(path, f.Bytes());
        Table t(CUniStr(path.c_str()), 1, 0, '/');
        {
            CLineCollector lines;
            EXPECT_EQ(t.CheckFile(), 0);
            EXPECT_EQ(lines.GetText().ToUtf8(), std::string(d.message) + "\n");
        }
        for (const char16_t* key : {u"a", u"a/b", u"a\\/b", u"nodata", u"a/b/c", u"zz"}) Data(t, key);
        unsigned visited = 0;
        for (auto it = t.GetTableBegin(nullptr); !it.IsEnd() && visited < 100000; ++it) ++visited;
        EXPECT_LT(visited, 100000u);
        t.GetStatistics();
    }
}

// Random writes, replacements of every size and deletions of whole subtrees, against a map, with the
// check after every batch and a reopen and a reorganisation on the way.
TEST(DataTableWriting, RandomOperationsMatchAReferenceMap) {
    ScratchDir dir("dt-random");
    const CUniStr path((dir / "r.tbl").c_str());
    std::map<std::u16string, std::string> reference;
    std::mt19937 random(11);
    const std::u16string parts[] = {u"a", u"b", u"x\\/y", u"", u"long-segment-name", u"\u00e9\u4e2d"};
    auto randomKey = [&] {
        std::u16string key = parts[random() % 6];
        for (int n = random() % 3; n > 0; --n) key += u"/" + parts[random() % 6];
        return key;
    };
    auto under = [](const std::u16string& key, const std::u16string& k) {
        return k == key || (k.size() > key.size() && k.compare(0, key.size(), key) == 0 &&
                            k[key.size()] == u'/' && (key.empty() || key.back() != u'\\'));
    };
    auto table = std::make_unique<Table>(path, 0, 3, '/');
    for (int batch = 0; batch < 40; ++batch) {
        for (int op = 0; op < 50; ++op) {
            const std::u16string key = randomKey();
            const unsigned kind = random() % 10;
            if (kind < 7) {
                const std::string value(random() % 200 + 1, static_cast<char>('a' + random() % 26));
                table->SetRecordBytes(CUniStr(K(key)), value.data(), static_cast<unsigned>(value.size()));
                reference[key] = value;
            } else {
                bool present = false;
                for (const auto& [k, v] : reference) present |= under(key, k);
                const unsigned char deleted = table->Delete(CUniStr(K(key)));
                if (present) {
                    EXPECT_EQ(deleted, 1) << CUniStr(K(key)).ToUtf8() << " batch " << batch << " op " << op;
                }
                for (auto it = reference.begin(); it != reference.end();)
                    it = under(key, it->first) ? reference.erase(it) : std::next(it);
            }
        }
        ASSERT_EQ(table->CheckFile(), 1) << batch;
        if (batch == 15) {
            table.reset();  // a writable table admits no second open
            table = std::make_unique<Table>(path, 0, 0, '/');
        }
        if (batch == 25) table->ForceReorganization(0, 1);
        ASSERT_EQ(table->CheckFile(), 1) << batch;
        std::map<std::u16string, std::string> seen;
        for (auto it = table->GetTableBegin(nullptr); !it.IsEnd(); ++it)
            seen[it.GetKey().ToU16()] = std::string(it.GetBytes(), it.GetSize());
        ASSERT_EQ(seen, reference) << batch;
        for (const auto& [k, v] : reference) ASSERT_EQ(Data(*table, k), v);
        ASSERT_EQ(table->GetNumEntries(), reference.size());
    }
    // Iteration under a prefix gives exactly the reference's keys at or under it.
    for (const std::u16string prefix : {u"a", u"a/b", u"x\\/y", u"b/"}) {
        std::map<std::u16string, std::string> expected, seen;
        for (const auto& [k, v] : reference)
            if (under(prefix, k)) expected[k] = v;
        for (auto it = table->GetTableBegin(K(prefix)); it != table->GetTableEnd(K(prefix)); ++it)
            seen[it.GetKey().ToU16()] = std::string(it.GetBytes(), it.GetSize());
        EXPECT_EQ(seen, expected);
    }
}

TEST(DataTableWriting, GrowthUpdatesAndCounters) {
    ScratchDir dir("dt-growth");
    const CUniStr path((dir / "g.tbl").c_str());
    Table t(path, 0, 0, '/');
    const unsigned start = t.GetStatistics().fileLength;
    for (unsigned i = 0; i < 3000; ++i) {
        const std::string key = "k" + std::to_string(i), value(100, 'v');
        t.SetRecordBytes(CUniStr(key.c_str()), value.data(), 100);
    }
    const STableStatistics s = t.GetStatistics();
    EXPECT_EQ(s.records, 3000u);
    EXPECT_GT(s.fileLength, start);
    EXPECT_LE(s.longestChain, 12u);  // the root has grown with its records
    EXPECT_GE(s.buckets, 1500u);
    EXPECT_EQ(t.CheckFile(), 1);
    // Writing in place through update access.
    char* p = t.GetRecordBytesForUpdate(K(u"k7"));
    ASSERT_NE(p, nullptr);
    p[0] = 'W';
    t.ReleaseRecordForUpdate();
    EXPECT_EQ(Data(t, u"k7").substr(0, 2), "Wv");
    for (auto it = t.GetTableBeginForUpdate(K(u"k8")); !it.IsEnd(); ++it) it.GetData()[1] = 'U';
    EXPECT_EQ(Data(t, u"k8").substr(0, 3), "vUv");
    // Replacing with data of the same size and of another, and dropping to no data at all.
    t.SetRecordBytes(u"k9", "same", 4);
    t.SetRecordBytes(u"k9", "other size", 10);
    EXPECT_EQ(Data(t, u"k9"), "other size");
    t.SetRecordBytes(u"k9", nullptr, 0);
    EXPECT_EQ(Data(t, u"k9"), "<null>");
    EXPECT_EQ(t.Delete(u"nope"), 0);
    EXPECT_EQ(t.Delete(u"k1"), 1);
    EXPECT_EQ(Data(t, u"k1"), "<null>");
    EXPECT_EQ(t.GetNumEntries(), 2998u);
    // Reorganising keeps every record and removes the dead space.
    t.ForceReorganization(0, 0);
    EXPECT_EQ(t.CheckFile(), 1);
    EXPECT_EQ(t.GetStatistics().dead, 0u);
    EXPECT_EQ(t.GetNumEntries(), 2998u);
    EXPECT_EQ(Data(t, u"k2999"), std::string(100, 'v'));
}

}  // namespace
