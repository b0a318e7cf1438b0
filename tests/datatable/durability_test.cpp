// A writer killed at random instants, a reorganisation that cannot finish, and readers beside a writer.
#include <gtest/gtest.h>
#if !defined(_WIN32)
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#endif
#include <ztbase/datatable/mapped_table.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/log/line_collector.h>
#include <ztbase/platform/internal/system_calls.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <thread>

#include "expect_error.h"
#include "scratch_dir.h"
#include "table_support.h"

using namespace ZtBase;
using table_support::K;

namespace {

using Table = ZtMappedDataTable<char>;
using Contents = std::map<std::u16string, std::string>;

struct Op {
    bool erase;
    std::u16string key;
    std::string value;
};

// Keys of one to three segments from a small pool, so that writes replace, subtrees are deleted and
// indexes grow; values of very different sizes, so that dead space builds up and reorganisations run.
[[maybe_unused]] std::vector<Op> MakeOps(unsigned start, int n) {
    std::mt19937 random(start);
    std::vector<Op> ops;
    for (int i = 0; i < n; ++i) {
        std::u16string key = u"k" + std::u16string(1, static_cast<char16_t>(u'a' + random() % 40));
        for (int depth = random() % 3; depth > 0; --depth)
            key += u"/" + std::u16string(1, static_cast<char16_t>(u'a' + random() % 8));
        const bool erase = random() % 10 == 0;
        ops.push_back(
            Op{erase, key, erase ? "" : std::string(1 + random() % 400, static_cast<char>('a' + i % 26))});
    }
    return ops;
}

bool Under(const std::u16string& prefix, const std::u16string& key) {
    return key == prefix || (key.size() > prefix.size() && key.compare(0, prefix.size(), prefix) == 0 &&
                             key[prefix.size()] == u'/');
}

[[maybe_unused]] void Apply(Contents& c, const Op& op) {
    if (!op.erase) {
        c[op.key] = op.value;
        return;
    }
    for (auto it = c.begin(); it != c.end();) it = Under(op.key, it->first) ? c.erase(it) : std::next(it);
}

Contents Read(Table& t) {
    Contents seen;
    for (auto it = t.GetTableBegin(nullptr); !it.IsEnd(); ++it)
        seen[it.GetKey().ToU16()] = std::string(it.GetBytes(), it.GetSize());
    return seen;
}

#if !defined(_WIN32)
// Writes the ops and reports each one done on the pipe; never returns.
[[noreturn]] void Writer(const std::string& path, const std::vector<Op>& ops, int report) {
    Table t(CUniStr(path.c_str()), 0, 0, '/');
    for (int i = 0; i < static_cast<int>(ops.size()); ++i) {
        const CUniStr key(K(ops[i].key));
        if (ops[i].erase)
            t.Delete(key);
        else
            t.SetRecordBytes(key, ops[i].value.data(), static_cast<unsigned>(ops[i].value.size()));
        if (write(report, &i, sizeof i) != sizeof i) _exit(2);
    }
    _exit(0);
}

TEST(DataTableDurability, AKilledWriterLosesNoAcknowledgedWrite) {
    ScratchDir dir("dt-kill");
    const std::string path = dir / "kill.tbl";
    { Table create(CUniStr(path.c_str()), 0, 3, '/'); }
    Contents reference;
    std::mt19937 random(2024);
    constexpr int kKills = 100, kWrites = 1000;
    int interrupted = 0;
    for (int round = 0; round < kKills; ++round) {
        const std::vector<Op> ops = MakeOps(round, kWrites);
        int channel[2];
        ASSERT_EQ(pipe(channel), 0);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            close(channel[0]);
            Writer(path, ops, channel[1]);
        }
        close(channel[1]);
        // Kill after a random number of acknowledgements, a random moment later.
        const int target = static_cast<int>(random() % kWrites);
        int acknowledged = 0, last;
        while (acknowledged <= target && read(channel[0], &last, sizeof last) == sizeof last) ++acknowledged;
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 200));
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        while (read(channel[0], &last, sizeof last) == sizeof last) ++acknowledged;
        close(channel[0]);

        // Every acknowledged write is there; the one under way may be there or not.
        Contents before = reference;
        for (int i = 0; i < acknowledged; ++i) Apply(before, ops[i]);
        Contents after = before;
        if (acknowledged < kWrites) Apply(after, ops[acknowledged]);
        {
            Table reader(CUniStr(path.c_str()), 1, 0, '/');
            const Contents seen = Read(reader);
            ASSERT_TRUE(seen == before || seen == after) << "round " << round << " after " << acknowledged;
        }
        Table table(CUniStr(path.c_str()), 0, 0, '/');
        interrupted += table.WasInterrupted();
        ASSERT_EQ(table.CheckFile(), 1) << "round " << round;
        reference = Read(table);
        ASSERT_TRUE(reference == before || reference == after);
    }
    // About one kill in ten lands in the middle of a write (the rest in the report between writes).
    EXPECT_GT(interrupted, 0);
}
#endif

// A file left as a kill between linking a record and counting it leaves it: a read-only open says so and
// answers, a writable one repairs the count and the header.
TEST(DataTableDurability, AnInterruptedFileIsRepairedByTheNextWritableOpen) {
    ScratchDir dir("dt-repair");
    const std::string path = dir / "i.tbl";
    {
        Table t(CUniStr(path.c_str()), 0, 0, '/');
        t.SetRecordBytes(u"a", "1", 1);
        t.SetRecordBytes(u"a/b", "2", 1);
    }
    table_support::FileImage f(0);
    f.Bytes() = ScratchDir::ReadBytes(path);
    f.Bytes()[14] = static_cast<char>(0xD1);
    f.Put(32 + 4, 0);                                 // the root's count not yet raised
    f.Put(16, 12345);                                 // a stale dead-byte count
    f.Bytes().resize(f.Bytes().size() + 4096, '\0');  // grown, the header not yet told
    ScratchDir::WriteBytes(path, f.Bytes());
    {
        CLineCollector lines;
        Table reader(CUniStr(path.c_str()), 1, 0, '/');
        EXPECT_EQ(reader.WasInterrupted(), 1);
        EXPECT_EQ(lines.GetText().ToUtf8(),
                  "data table interrupted in the middle of a write, read as it stands : " + path + "\n");
        EXPECT_EQ(Read(reader), (Contents{{u"a", "1"}, {u"a/b", "2"}}));
        EXPECT_EQ(reader.CheckFile(), 0);
    }
    Table t(CUniStr(path.c_str()), 0, 0, '/');
    EXPECT_EQ(t.WasInterrupted(), 1);
    EXPECT_EQ(t.CheckFile(), 1);
    EXPECT_EQ(t.GetStatistics().dead, 0u);
    EXPECT_EQ(ScratchDir::ReadBytes(path)[14], 0);
}

TEST(DataTableDurability, AReorganisationThatCannotFinishLeavesTheOldFile) {
    ScratchDir dir("dt-reorg");
    const std::string path = dir / "r.tbl";
    Table t(CUniStr(path.c_str()), 0, 0, '/');
    for (int i = 0; i < 200; ++i) t.SetRecordBytes(CUniStr(("key" + std::to_string(i)).c_str()), "value", 5);
    const std::string before = ScratchDir::ReadBytes(path);
    platform::gSystemCalls.replace = [](const char*, const char*, int& error) {
        error = 5;
        return false;
    };
    test_support::ExpectError<CZtMappedDataTableException>([&] { t.ForceReorganization(0, 0); }, 10501,
                                                           "Reorg failed!");
    platform::gSystemCalls.replace = platform::kRealSystemCalls.replace;
    EXPECT_EQ(ScratchDir::ReadBytes(path), before);
    EXPECT_FALSE(std::filesystem::exists(path + ".reorg"));
    EXPECT_EQ(t.CheckFile(), 1);
    t.ForceReorganization(0, 0);
    EXPECT_EQ(t.GetNumEntries(), 200u);
}

// Readers of a writable table see, for every key, a value some write stored under it, while a writer
// replaces and deletes.
TEST(DataTableDurability, ReadersBesideAWriter) {
    ScratchDir dir("dt-threads");
    Table t(CUniStr((dir / "t.tbl").c_str()), 0, 0, '/');
    auto valueOf = [](int key, int version) {
        return std::string(1 + (key * 7 + version) % 50, 'a' + key % 26);
    };
    for (int k = 0; k < 64; ++k) {
        const std::string v = valueOf(k, 0);
        t.SetRecordBytes(CUniStr(("k/" + std::to_string(k)).c_str()), v.data(),
                         static_cast<unsigned>(v.size()));
    }
    std::atomic<bool> done{false};
    std::atomic<int> bad{0}, found{0};
    auto reader = [&] {
        std::mt19937 random(std::hash<std::thread::id>{}(std::this_thread::get_id()));
        while (!done.load()) {
            const int k = random() % 64;
            const CUniStr key(("k/" + std::to_string(k)).c_str());
            unsigned size = 0;
            if (const char* p = t.GetRecordBytes(key.c_str(), &size)) {
                const std::string v(p, size);
                t.ReleaseRecord();
                ++found;
                if (v.empty() || v[0] != 'a' + k % 26 || v.find_first_not_of(v[0]) != std::string::npos)
                    ++bad;
            }
        }
    };
    std::thread r1(reader), r2(reader);
    std::mt19937 random(5);
    // The writer goes on until the readers have seen a good many records while it wrote.
    for (int version = 1; version < 3000 || (found.load() < 2000 && version < 1000000); ++version) {
        const int k = random() % 64;
        const CUniStr key(("k/" + std::to_string(k)).c_str());
        if (random() % 8 == 0) {
            t.Delete(key);
        } else {
            const std::string v = valueOf(k, version);
            t.SetRecordBytes(key, v.data(), static_cast<unsigned>(v.size()));
        }
    }
    done = true;
    r1.join();
    r2.join();
    EXPECT_EQ(bad.load(), 0);
    EXPECT_GE(found.load(), 2000);
    EXPECT_EQ(t.CheckFile(), 1);
}

}  // namespace

// Writers on several threads whose writes and deletes build up dead space, so that each of them keeps
// starting reorganisations: the check for one reads the header while another may be replacing the file.
TEST(DataTableDurability, WritersThatReorganiseAtOnce) {
    ScratchDir dir("dt-reorganisers");
    Table t(CUniStr((dir / "w.tbl").c_str()), 0, 0, '/');
    constexpr int kThreads = 3, kOps = 3000;
    std::vector<std::thread> threads;
    for (int w = 0; w < kThreads; ++w)
        threads.emplace_back([&t, w] {
            for (int i = 0; i < kOps; ++i) {
                const CUniStr key(("w" + std::to_string(w) + "/" + std::to_string(i % 20)).c_str());
                if (i % 7 == 6) {
                    t.Delete(key);
                } else {
                    const std::string v(static_cast<std::size_t>(50 + (i * 37) % 900),
                                        static_cast<char>('a' + w));
                    t.SetRecordBytes(key, v.data(), static_cast<unsigned>(v.size()));
                }
            }
        });
    for (auto& th : threads) th.join();
    EXPECT_EQ(t.CheckFile(), 1);
    for (int w = 0; w < kThreads; ++w)
        for (int slot = 0; slot < 20; ++slot) {
            const int last = kOps - 20 + ((slot - (kOps - 20) % 20) + 20) % 20;  // the last op on this slot
            const CUniStr key(("w" + std::to_string(w) + "/" + std::to_string(slot)).c_str());
            unsigned size = 0;
            const char* bytes = t.GetRecordBytes(key.c_str(), &size);
            if (last % 7 == 6) {
                EXPECT_EQ(bytes, nullptr) << w << "/" << slot;
            } else {
                ASSERT_NE(bytes, nullptr) << w << "/" << slot;
                EXPECT_EQ(size, static_cast<unsigned>(50 + (last * 37) % 900));
            }
            if (bytes) t.ReleaseRecord();
        }
}
