// Log records per second to a file: gLog's file sink against spdlog's basic file sink, the same text.
#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <ztbase/files/file_system.h>
#include <ztbase/log/log.h>

#include <filesystem>
#include <string>

namespace {

std::string TempPath(const char* name) {
    return (std::filesystem::temp_directory_path() / name).string();
}

void BM_LogRecord_Ours(benchmark::State& state) {
    const std::string path = TempPath("ztbase-log-bench.log");
    ZtBase::CXFile file =
        ZtBase::gFileSystem.Create(ZtBase::eOpenTempDir, path.c_str(), 1, ZtBase::XF_BINARY);
    ZtBase::gLog.SetLogFile(file);
    ZtBase::gLog.SetDebuggerLogging(0);
    ZtBase::gLog.SetFileLogging(1);
    int i = 0;
    for (auto _ : state) {
        ++i;
        ZtBase::gLog.printf(ZtBase::eLogError, "request %d finished in %d ms: %s\n", i, i % 97, "ok");
    }
    ZtBase::gLog.SetFileLogging(0);
    state.SetItemsProcessed(state.iterations());
    // The file and every file that roll-over made after it (stem + "_" + time): left behind, thousands of
    // them slowed every later run.
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::temp_directory_path()))
        if (entry.path().filename().string().rfind("ztbase-log-bench", 0) == 0)
            std::filesystem::remove(entry.path());
}

void BM_LogRecord_PeerSpdlog(benchmark::State& state) {
    const std::string path = TempPath("ztbase-spdlog-bench.log");
    // The thread-safe logger, as gLog is thread-safe too.
    auto logger = spdlog::basic_logger_mt("bench", path, true);
    int i = 0;
    for (auto _ : state) {
        ++i;
        logger->error("request {} finished in {} ms: {}", i, i % 97, "ok");
    }
    logger->flush();
    spdlog::drop("bench");
    state.SetItemsProcessed(state.iterations());
    std::filesystem::remove(path);
}

}  // namespace

BENCHMARK(BM_LogRecord_Ours);
BENCHMARK(BM_LogRecord_PeerSpdlog);
