// The soak run (scripts/soak.sh): for the minutes given, threads write and read one data table, add tasks
// that log (the log rolls over), while a second process opens the table read-only again and again and
// reads it. At the end the table passes its check and holds every write that was acknowledged, and the
// reader process saw nothing but whole values. Exit 0 when all of that holds.
#include <sys/wait.h>
#include <unistd.h>
#include <ztbase/ztbase.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace ZtBase;
using Table = ZtMappedDataTable<char>;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int kWriters = 3, kReaders = 2, kKeysPerWriter = 400;

std::string KeyText(int writer, int slot) {
    return "w" + std::to_string(writer) + "/k" + std::to_string(slot);
}
// A value names its key and its version and is padded to a length that varies, so that records move,
// dead space builds up and reorganisations run.
std::string ValueFor(const std::string& key, long version) {
    std::string v = key + "#" + std::to_string(version) + "#";
    v.append(static_cast<std::size_t>(version % 300), static_cast<char>('a' + version % 26));
    return v;
}
// Whether a value read under key is one a writer could have stored there.
bool Whole(const std::string& key, const char* bytes, unsigned size) {
    const std::string v(bytes, size);
    const std::size_t hash = v.find('#', key.size() + 1);
    if (v.compare(0, key.size() + 1, key + "#") != 0 || hash == std::string::npos) return false;
    const long version = std::stol(v.substr(key.size() + 1, hash - key.size() - 1));
    return v == ValueFor(key, version);
}

// The second process: opens the table read-only, reads every record and a few keys, until the stop file.
int ReaderProcess(const std::string& path, const std::string& stop) {
    long opens = 0, records = 0;
    while (!std::filesystem::exists(stop)) {
        try {
            Table t(CUniStr(path.c_str()), 1, 0, '/');
            ++opens;
            for (auto it = t.GetTableBegin(nullptr); !it.IsEnd(); ++it) {
                const std::string key = it.GetKey().ToUtf8();
                if (key.find('/') == std::string::npos) continue;  // the writers' parent records
                if (!Whole(key, it.GetBytes(), it.GetSize())) {
                    std::fprintf(stderr, "reader process: a torn value under %s\n", key.c_str());
                    return 1;
                }
                ++records;
            }
        } catch (const CZtException& e) {
            // Opening while the file is being replaced by a reorganisation: try again.
            (void)e;
        }
    }
    std::printf("reader process: %ld opens, %ld records read\n", opens, records);
    std::fflush(stdout);  // the child leaves through _exit, which flushes nothing
    return 0;
}

class LogTask : public CParallelTaskRep {
public:
    explicit LogTask(long n) : m_n(n) {}
    void DoTask() override {
        gLog.printf(eLogInformation,
                    "task %ld: a line long enough to fill the log file towards its roll-over, %s\n", m_n,
                    std::string(400, 'x').c_str());
    }

private:
    long m_n;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s MINUTES DIRECTORY\n", argv[0]);
        return 2;
    }
    const double minutes = std::stod(argv[1]);
    const std::filesystem::path dir = argv[2];
    std::filesystem::create_directories(dir);
    const std::string path = (dir / "soak.tbl").string(), stop = (dir / "stop").string();
    std::filesystem::remove(path);
    std::filesystem::remove(stop);
    { Table create(CUniStr(path.c_str()), 0, 0, '/'); }

    const pid_t reader = fork();
    if (reader == 0) _exit(ReaderProcess(path, stop));

    CXFile logFile = gFileSystem.Create(eOpenProgramDir, CStr((dir / "soak.log").c_str()), 1, XF_BINARY);
    gLog.SetLogFile(logFile);
    gLog.SetDebuggerLogging(0);
    gLog.SetLogLevel(eLogInformation);
    gLog.SetFileLogging(1);

    bool ok = true;
    std::map<std::string, std::string> acknowledged;  // the last value of each key whose write returned
    std::mutex ackLock;
    std::atomic<bool> done{false};
    std::atomic<long> writes{0}, reads{0}, tasks{0}, failures{0};
    {
        Table table(CUniStr(path.c_str()), 0, 0, '/');
        CParallelTaskManager manager(2);
        std::vector<std::thread> threads;
        for (int w = 0; w < kWriters; ++w)
            threads.emplace_back([&, w] {
                std::mt19937 random(static_cast<unsigned>(w) + 1);
                for (long version = 0; !done; ++version) {
                    const std::string key = KeyText(w, static_cast<int>(random() % kKeysPerWriter));
                    const std::string value = ValueFor(key, version);
                    table.SetRecordBytes(CUniStr(key.c_str()), value.data(),
                                         static_cast<unsigned>(value.size()));
                    {
                        std::lock_guard<std::mutex> hold(ackLock);
                        acknowledged[key] = value;
                    }
                    ++writes;
                    if (version % 50 == 0) {
                        CParallelTask task(new LogTask(tasks++));
                        manager.AddTask(task);
                    }
                    if (version % 5000 == 4999) table.ForceReorganization(0, 1);
                    // Writers are preferred by the table's lock: pausing now and then lets the readers in.
                    if (version % 32 == 31) std::this_thread::sleep_for(std::chrono::microseconds(300));
                }
            });
        for (int r = 0; r < kReaders; ++r)
            threads.emplace_back([&, r] {
                std::mt19937 random(100u + static_cast<unsigned>(r));
                while (!done) {
                    const std::string key = KeyText(static_cast<int>(random() % kWriters),
                                                    static_cast<int>(random() % kKeysPerWriter));
                    const CUniStr k(key.c_str());
                    unsigned size = 0;
                    if (const char* bytes = table.GetRecordBytes(k.c_str(), &size)) {
                        if (!Whole(key, bytes, size)) ++failures;
                        table.ReleaseRecord();
                    }
                    ++reads;
                }
            });
        const auto end = Clock::now() + std::chrono::duration<double>(minutes * 60);
        while (Clock::now() < end) std::this_thread::sleep_for(std::chrono::milliseconds(200));
        done = true;
        for (auto& t : threads) t.join();
        manager.WaitForIdle();
    }
    gLog.SetFileLogging(0);
    std::FILE* s = std::fopen(stop.c_str(), "w");
    if (s) std::fclose(s);
    int status = 0;
    waitpid(reader, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "the reader process failed\n");
        ok = false;
    }

    Table check(CUniStr(path.c_str()), 0, 0, '/');
    if (check.CheckFile() != 1) {
        std::fprintf(stderr, "the table fails its check\n");
        ok = false;
    }
    long missing = 0;
    for (const auto& [key, value] : acknowledged) {
        unsigned size = 0;
        const CUniStr k(key.c_str());
        const char* bytes = check.GetRecordBytes(k.c_str(), &size);
        if (!bytes || std::string(bytes, size) != value) ++missing;
        if (bytes) check.ReleaseRecord();
    }
    long logFiles = 0;
    for (const auto& entry : std::filesystem::directory_iterator(dir))
        if (entry.path().filename().string().rfind("soak", 0) == 0 && entry.path().extension() == ".log")
            ++logFiles;
    std::printf(
        "%ld writes, %ld reads, %ld tasks, %ld log files; %zu keys acknowledged, %ld missing, %ld torn "
        "reads\n",
        writes.load(), reads.load(), tasks.load(), logFiles, acknowledged.size(), missing, failures.load());
    ok = ok && missing == 0 && failures == 0;
    std::printf(ok ? "soak: clean\n" : "soak: FAILED\n");
    return ok ? 0 : 1;
}
