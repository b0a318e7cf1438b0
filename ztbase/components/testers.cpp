// The library's own testers: short checks of the subsystems that depend most on the machine they run on.
#include <atomic>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "ztbase/base/memory_pool.h"
#include "ztbase/components/unit_test.h"
#include "ztbase/datatable/unistr_db.h"
#include "ztbase/files/file_system.h"
#include "ztbase/files/pipe_file.h"
#include "ztbase/platform/internal/platform.h"
#include "ztbase/process/hold_release_flag.h"
#include "ztbase/process/process_manager.h"
#include "ztbase/process/task_manager.h"
#include "ztbase/process/thread.h"
#include "ztbase/strings/number_format.h"

namespace ZtBase::detail {

namespace {

// A failure's message, for the tester to return false with.
bool Fail(CUniStr& message, const std::string& text) {
    message = CUniStr::FromUtf8(text);
    return false;
}

// A name in the temporary directory that no other run uses at the same time.
std::string ScratchName(const char* stem) {
    static std::atomic<unsigned> counter{0};
    return platform::TemporaryDirectory() + "ztbase-selftest-" + std::to_string(platform::CurrentThreadId()) +
           "-" + std::to_string(counter++) + "-" + stem;
}

// ---- data tables: writes, a reopen read-only, every lookup, the consistency check -----------------------
class DataTableTester : public CUnitTesterBase {
public:
    DataTableTester() : CUnitTesterBase("datatable") {}
    unsigned char RunTest(CUniStr& message) override {
        const std::string path = ScratchName("table.zdt");
        const CUniStr file = CUniStr::FromUtf8(path);
        constexpr int kKeys = 2000;
        bool ok = true;
        {
            CUniStrDB db;
            if (!db.Create(file))
                return Fail(message, "cannot create a table in " + platform::TemporaryDirectory());
            for (int i = 0; i < kKeys; ++i)
                db.SetRecord(CUniStr(("word/" + std::to_string(i * 7919 % 10007)).c_str()).c_str(),
                             CUniStr(std::to_string(i).c_str()));
        }
        {
            CUniStrDB db;
            if (!db.Open(file, 1)) ok = Fail(message, "cannot reopen the table read-only");
            for (int i = 0; ok && i < kKeys; ++i) {
                CUniStr value;
                if (!db.GetRecord(CUniStr(("word/" + std::to_string(i * 7919 % 10007)).c_str()).c_str(),
                                  value) ||
                    value.ToUtf8() != std::to_string(i))
                    ok = Fail(message, "record " + std::to_string(i) + " reads back wrong");
            }
            if (ok && !db.GetRep()->CheckFile()) ok = Fail(message, "the table fails its consistency check");
        }
        int error = 0;
        platform::DeletePath(path.c_str(), error);
        if (ok) message = CUniStr("2000 records written, reopened read-only, read back and checked");
        return ok;
    }
};

// ---- tasks: every task runs once, and one worker takes the greatest first -----------------------------
class TaskTester : public CUnitTesterBase {
public:
    TaskTester() : CUnitTesterBase("tasks") {}
    unsigned char RunTest(CUniStr& message) override {
        struct Add : CParallelTaskRep {
            std::atomic<long long>* sum;
            int value;
            Add(std::atomic<long long>* s, int v) : sum(s), value(v) {}
            void DoTask() override { sum->fetch_add(value); }
        };
        std::atomic<long long> sum{0};
        constexpr int kTasks = 20000;
        {
            CParallelTaskManager manager(0);
            for (int i = 1; i <= kTasks; ++i) {
                CParallelTask task(new Add(&sum, i));
                manager.AddTask(task);
            }
            manager.WaitForIdle();
            if (!manager.IsIdle()) return Fail(message, "the manager is not idle after WaitForIdle");
        }
        if (sum != 1LL * kTasks * (kTasks + 1) / 2) return Fail(message, "a task ran twice or not at all");

        struct Ranked : CParallelTaskRep {
            std::vector<int>* order;
            int rank;
            Ranked(std::vector<int>* o, int r) : order(o), rank(r) {}
            void DoTask() override { order->push_back(rank); }
            unsigned char operator>(const CParallelTaskRep& other) const override {
                return rank > static_cast<const Ranked&>(other).rank ? 1 : 0;
            }
        };
        std::vector<int> order;
        {
            CZtHoldReleaseFlag gate;
            CPriorityTaskManager manager(1);
            // The one worker is held inside a first task while the ranked ones queue up behind it.
            struct Hold : CParallelTaskRep {
                CZtHoldReleaseFlag* gate;
                std::atomic<bool>* started;
                Hold(CZtHoldReleaseFlag* g, std::atomic<bool>* s) : gate(g), started(s) {}
                void DoTask() override {
                    *started = true;
                    gate->Wait(0);
                }
            };
            std::atomic<bool> started{false};
            gate.SetGo(0);
            CParallelTask hold(new Hold(&gate, &started));
            manager.AddTask(hold);
            while (!started) gZtProcessManager.Sleep(1);
            for (int rank : {3, 9, 1, 7, 5}) {
                CParallelTask task(new Ranked(&order, rank));
                manager.AddTask(task);
            }
            gate.SetGo(1);
            manager.WaitForIdle();
        }
        if (order != std::vector<int>{9, 7, 5, 3, 1}) return Fail(message, "the priority order is wrong");
        message = CUniStr("20000 tasks on every processor, and a priority order");
        return true;
    }
};

// ---- files: a disk file written, renamed, read back and erased; a pipe between two threads ---------------
class FileTester : public CUnitTesterBase {
public:
    FileTester() : CUnitTesterBase("files") {}
    unsigned char RunTest(CUniStr& message) override {
        const CStr first(ScratchName("a.txt").c_str()), second(ScratchName("b.txt").c_str());
        {
            CXFile f;
            f.Create(first, 1, XF_TEXT_CRLF);
            for (int i = 0; i < 1000; ++i) f.WriteLn(MakeStr(i));
        }
        if (!gFileSystem.Rename(eOpenTempDir, first, second)) return Fail(message, "rename failed");
        int lines = 0;
        {
            CXFile f;
            f.OpenExisting(second, 1, XF_TEXT_CRLF, 1, XF_SHARE_READ);
            CStr line;
            while (f.ReadLn(line))
                if (line == MakeStr(lines)) ++lines;
        }
        gFileSystem.Erase(eOpenTempDir, second);
        if (lines != 1000) return Fail(message, "the file read back wrong");
        if (gFileSystem.Exist(eOpenTempDir, second)) return Fail(message, "erase left the file");

        const CStr pipe(("TTPIPE:" + ScratchName("pipe")).c_str());
        struct Writer : CZtThreadBase {
            CStr name;
            explicit Writer(const CStr& n) : name(n) {}
            unsigned Run() override {
                CXFile f;
                f.Create(name, 1, XF_BINARY);
                std::string block(100000, 'p');
                f.WriteBlock(block.data(), static_cast<unsigned>(block.size()));
                return 0;
            }
        };
        CXFile reader;
        reader.OpenExisting(pipe, 1, XF_BINARY, 1, XF_SHARE_READ);
        CZtThread writer(new Writer(pipe));
        writer.BeginThread();
        std::string got(100001, '\0');
        const unsigned n = reader.ReadBlock(got.data(), 100001);
        writer.WaitForThreadCompletion();
        if (n != 100000) return Fail(message, "the pipe lost bytes");
        message = CUniStr("a disk file written, renamed, read and erased; 100000 bytes through a pipe");
        return true;
    }
};

// ---- pools: blocks of every class from two threads, each filled and checked -----------------------------
class PoolTester : public CUnitTesterBase {
public:
    PoolTester() : CUnitTesterBase("pools") {}
    unsigned char RunTest(CUniStr& message) override {
        std::atomic<bool> ok{true};
        auto work = [&ok](unsigned stream) {
            std::mt19937 random(stream);
            std::vector<std::pair<unsigned char*, unsigned>> blocks;
            for (int round = 0; round < 20000; ++round) {
                if (blocks.size() < 200 && random() % 3 != 0) {
                    const unsigned size = 1 + random() % 2000;
                    unsigned granted = 0;
                    auto* p = static_cast<unsigned char*>(gMemoryPoolManager.AllocateBlock(size, granted));
                    if (!p || granted < size) {
                        ok = false;
                        return;
                    }
                    for (unsigned i = 0; i < size; ++i) p[i] = static_cast<unsigned char>(size + i);
                    blocks.emplace_back(p, size);
                } else if (!blocks.empty()) {
                    const std::size_t k = random() % blocks.size();
                    auto [p, size] = blocks[k];
                    for (unsigned i = 0; i < size; ++i)
                        if (p[i] != static_cast<unsigned char>(size + i)) ok = false;
                    gMemoryPoolManager.ReleaseBlock(p);
                    blocks[k] = blocks.back();
                    blocks.pop_back();
                }
            }
            for (auto [p, size] : blocks) gMemoryPoolManager.ReleaseBlock(p);
        };
        struct Worker : CZtThreadBase {
            std::function<void(unsigned)> work;
            explicit Worker(std::function<void(unsigned)> w) : work(std::move(w)) {}
            unsigned Run() override {
                work(2);
                return 0;
            }
        };
        CZtThread other(new Worker(work));
        other.BeginThread();
        work(1);
        other.WaitForThreadCompletion();
        if (!ok) return Fail(message, "a pool block was refused or overwritten");
        message = CUniStr("blocks of 1 to 2000 bytes from two threads, filled and checked");
        return true;
    }
};

// ---- strings: conversions, comparison modes and numbers ---------------------------------------------
class StringTester : public CUnitTesterBase {
public:
    StringTester() : CUnitTesterBase("strings") {}
    unsigned char RunTest(CUniStr& message) override {
        const CUniStr wide = CUniStr::FromUtf8("Caf\xC3\xA9 na\xC3\xAFve");
        if (CUniStr(wide.ConvertTo8Bit_Safe()).Compare(wide) != eEqual)
            return Fail(message, "8-bit conversion does not round-trip");
        if (CStr("Resume").Compare("R\xE9SUM\xC9", eIgnoreBoth) != eEqual)
            return Fail(message, "comparison ignoring case and accents is wrong");
        if (CStr("a").Compare("B", eIgnoreCase) != eLess)
            return Fail(message, "comparison ignoring case is wrong");
        int value = 0;
        if (!MakeStr(-123456).Convert(value) || value != -123456)
            return Fail(message, "numbers do not round-trip");
        if (MakeStr(255u, 4, eHexadecimal, '0') != "00ff")
            return Fail(message, "hexadecimal formatting is wrong");
        message = CUniStr("conversions, comparison modes and numbers");
        return true;
    }
};

}  // namespace

void RegisterLibraryTesters(CUnitTestManager& manager) {
    static DataTableTester datatable;
    static TaskTester tasks;
    static FileTester files;
    static PoolTester pools;
    static StringTester strings;
    for (CUnitTesterBase* tester :
         std::initializer_list<CUnitTesterBase*>{&datatable, &tasks, &files, &pools, &strings})
        manager.Register(tester);
}

}  // namespace ZtBase::detail
