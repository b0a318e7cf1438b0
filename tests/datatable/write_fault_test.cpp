// Every system call of a table's writes and reorganisation made to fail in turn: the error is the
// library's, and the table still opens, passes its check and holds every record written before. Not every
// failure reaches the caller: a failed open is retried by the file system's next space, and the sync and
// trim of a table being closed have no caller to tell; what was written before survives them all.
#include <gtest/gtest.h>
#include <ztbase/datatable/mapped_table.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/log/line_collector.h>

#include <string>

#include "allocation_faults.h"
#include "scratch_dir.h"
#include "system_call_faults.h"

using namespace ZtBase;

namespace {

using Table = ZtMappedDataTable<char>;

CUniStr Key(const char* stem, int i) {
    return CUniStr((stem + std::to_string(i)).c_str());
}
std::string Value(int i, std::size_t size) {
    return std::string(size, static_cast<char>('a' + i % 26)) + std::to_string(i);
}

TEST(DataTableWriteFaults, EachFailingCallKeepsTheTableAndItsEarlierRecords) {
    ScratchDir dir("dt-nth-call");
    const std::string path = dir / "t.tbl";
    constexpr int kEarlier = 40, kLater = 60;
    {
        Table t(CUniStr(path.c_str()), 0, 0, '/');
        for (int i = 0; i < kEarlier; ++i) {
            const std::string v = Value(i, 20);
            t.SetRecordBytes(Key("base", i), v.data(), static_cast<unsigned>(v.size()));
        }
    }
    const std::string earlier = ScratchDir::ReadBytes(path);
    CLineCollector quiet;  // the debug lines of repaired files
    int raised = 0;
    const long long calls = test_support::ForEachFailingCall(
        test_support::kFaultAll,
        [&] {
            ScratchDir::WriteBytes(path, earlier);
            Table t(CUniStr(path.c_str()), 0, 0, '/');
            for (int i = 0; i < kLater; ++i) {
                const std::string v = Value(i, 300);  // grows the file several times
                t.SetRecordBytes(Key("new/", i), v.data(), static_cast<unsigned>(v.size()));
            }
            t.Delete(CUniStr("new/3"));
            t.ForceReorganization(0, 0);
        },
        [&](const test_support::FaultOutcome& o) {
            SCOPED_TRACE("call " + std::to_string(o.n) + (o.threw ? ": " + o.message : ""));
            if (o.threw) ++raised;
            Table t(CUniStr(path.c_str()), 0, 0, '/');
            EXPECT_EQ(t.CheckFile(), 1);
            for (int i = 0; i < kEarlier; ++i) {
                unsigned size = 0;
                const char* bytes = t.GetRecordBytes(Key("base", i).c_str(), &size);
                ASSERT_NE(bytes, nullptr) << i;
                EXPECT_EQ(std::string(bytes, size), Value(i, 20));
            }
            if (!o.tripped) {
                EXPECT_EQ(t.GetNumEntries(), unsigned(kEarlier + kLater - 1));
            }
        });
    EXPECT_GE(calls, 10);
    EXPECT_GT(raised, 0);
}

// Writing records with each pool allocation failing in turn: CMemoryError reaches the writer and the table
// keeps passing its check with every earlier record.
TEST(DataTableWriteFaults, RunningOutOfMemoryKeepsTheTableAndItsEarlierRecords) {
    ScratchDir dir("dt-oom");
    const std::string path = dir / "t.tbl";
    {
        Table t(CUniStr(path.c_str()), 0, 0, '/');
        for (int i = 0; i < 20; ++i) {
            const std::string v = Value(i, 20);
            t.SetRecordBytes(Key("base", i), v.data(), static_cast<unsigned>(v.size()));
        }
    }
    int raised = 0;
    const long long allocations = test_support::ForEachFailingAllocation(
        [&] {
            Table t(CUniStr(path.c_str()), 0, 0, '/');
            for (int i = 0; i < 30; ++i) {
                const std::string v = Value(i, 100);
                t.SetRecordBytes(Key("new/", i), v.data(), static_cast<unsigned>(v.size()));
            }
            t.Delete(CUniStr("new"));
            t.ForceReorganization(0, 0);
        },
        [&](long long n, bool reached, bool memoryError) {
            SCOPED_TRACE("allocation " + std::to_string(n));
            EXPECT_EQ(memoryError, reached);
            raised += memoryError;
            Table t(CUniStr(path.c_str()), 1, 0, '/');
            EXPECT_EQ(t.CheckFile(), 1);
            for (int i = 0; i < 20; ++i) {
                unsigned size = 0;
                const char* bytes = t.GetRecordBytes(Key("base", i).c_str(), &size);
                ASSERT_NE(bytes, nullptr) << i;
                EXPECT_EQ(std::string(bytes, size), Value(i, 20));
            }
        });
    EXPECT_GT(allocations, 30);
    EXPECT_EQ(raised, allocations - 1);
}

}  // namespace
