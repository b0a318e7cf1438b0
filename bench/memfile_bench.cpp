// A binary memory file against a std::vector<char>: 64 MiB written in 4 KiB blocks, then read back from
// the start in 4 KiB blocks.
#include <benchmark/benchmark.h>
#include <ztbase/files/memory_file.h>

#include <cstring>
#include <vector>

namespace {

constexpr unsigned kBlock = 4096;
constexpr unsigned kTotal = 64u << 20;

std::vector<char> Block() {
    std::vector<char> block(kBlock);
    for (unsigned i = 0; i < kBlock; ++i) block[i] = static_cast<char>(i * 31 + 7);
    return block;
}

void BM_MemFile_Ours(benchmark::State& state) {
    const std::vector<char> block = Block();
    std::vector<char> out(kBlock);
    for (auto _ : state) {
        ZtBase::CXFile f = ZtBase::CreateMemoryFile(ZtBase::XF_BINARY);
        for (unsigned done = 0; done < kTotal; done += kBlock) f.WriteBlock(block.data(), kBlock);
        f.Seek(0);
        unsigned sum = 0;
        while (f.ReadBlock(out.data(), kBlock) == kBlock) sum += static_cast<unsigned char>(out[kBlock - 1]);
        benchmark::DoNotOptimize(sum);
    }
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * kTotal * 2);
}

void BM_MemFile_PeerVector(benchmark::State& state) {
    const std::vector<char> block = Block();
    std::vector<char> out(kBlock);
    for (auto _ : state) {
        std::vector<char> file;
        for (unsigned done = 0; done < kTotal; done += kBlock)
            file.insert(file.end(), block.begin(), block.end());
        unsigned sum = 0;
        for (std::size_t at = 0; at + kBlock <= file.size(); at += kBlock) {
            std::memcpy(out.data(), file.data() + at, kBlock);
            benchmark::DoNotOptimize(out.data());
            sum += static_cast<unsigned char>(out[kBlock - 1]);
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * kTotal * 2);
}

BENCHMARK(BM_MemFile_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MemFile_PeerVector)->Unit(benchmark::kMillisecond);

}  // namespace
