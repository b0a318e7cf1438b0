// Buffered line reading: CXFileBuffered::ReadLn beside std::getline on std::ifstream, over the same
// ~100 MB text file of lines 0 to 120 bytes long.
#include <benchmark/benchmark.h>
#include <ztbase/files/disk_file.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

using namespace ZtBase;

namespace {

class LinesFile {
public:
    LinesFile() {
        path_ = (std::filesystem::temp_directory_path() /
                 ("ztbase-bench-lines-" + std::to_string(std::random_device{}()) + ".txt"))
                    .string();
        std::mt19937 rng(12345);  // fixed rng start value: the same text every run
        std::ofstream out(path_, std::ios::binary);
        std::string line;
        const std::size_t target = 100u << 20;
        while (size_ < target) {
            const std::size_t n = rng() % 121;
            line.assign(n, ' ');
            for (auto& c : line) c = static_cast<char>('!' + rng() % 90);
            line += '\n';
            out << line;
            size_ += line.size();
            ++lines_;
        }
    }
    ~LinesFile() {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    const std::string& Path() const { return path_; }
    std::size_t Size() const { return size_; }
    std::size_t Lines() const { return lines_; }

private:
    std::string path_;
    std::size_t size_ = 0;
    std::size_t lines_ = 0;
};

const LinesFile& Data() {
    static LinesFile file;
    return file;
}

void BM_ReadLn_Ours(benchmark::State& state) {
    const LinesFile& data = Data();
    for (auto _ : state) {
        CXFile f = OpenDiskFile(data.Path().c_str(), 1, XF_TEXT_LF, 1, XF_SHARE_READ);
        CStr line;
        std::size_t lines = 0, bytes = 0;
        while (f.ReadLn(line)) {
            ++lines;
            bytes += line.Length();
        }
        benchmark::DoNotOptimize(bytes);
        if (lines != data.Lines()) state.SkipWithError("wrong line count");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * data.Size()));
}
BENCHMARK(BM_ReadLn_Ours)->Iterations(3)->Unit(benchmark::kMillisecond);

void BM_ReadLn_PeerGetline(benchmark::State& state) {
    const LinesFile& data = Data();
    for (auto _ : state) {
        std::ifstream in(data.Path(), std::ios::binary);
        std::string line;
        std::size_t lines = 0, bytes = 0;
        while (std::getline(in, line)) {
            ++lines;
            bytes += line.size();
        }
        benchmark::DoNotOptimize(bytes);
        if (lines != data.Lines()) state.SkipWithError("wrong line count");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * data.Size()));
}
BENCHMARK(BM_ReadLn_PeerGetline)->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace
