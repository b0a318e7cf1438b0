// CStr and CUniStr against std::string and std::u16string: appending, copying, searching.
#include <benchmark/benchmark.h>
#include <ztbase/strings/str.h>
#include <ztbase/strings/unistr.h>

#include <random>
#include <string>

using ZtBase::CStr;
using ZtBase::CUniStr;

namespace {
constexpr int kAppends = 10000;
constexpr unsigned kCopyLength = 4096;

void BM_Append8_Ours(benchmark::State& state) {
    for (auto _ : state) {
        CStr s;
        for (int i = 0; i < kAppends; ++i) s += static_cast<char>('a' + (i & 15));
        benchmark::DoNotOptimize(s.c_str());
    }
    state.SetItemsProcessed(state.iterations() * kAppends);
}
void BM_Append8_PeerStd(benchmark::State& state) {
    for (auto _ : state) {
        std::string s;
        for (int i = 0; i < kAppends; ++i) s += static_cast<char>('a' + (i & 15));
        benchmark::DoNotOptimize(s.data());
    }
    state.SetItemsProcessed(state.iterations() * kAppends);
}
void BM_Append16_Ours(benchmark::State& state) {
    for (auto _ : state) {
        CUniStr s;
        for (int i = 0; i < kAppends; ++i) s += static_cast<unsigned short>('a' + (i & 15));
        benchmark::DoNotOptimize(s.c_str());
    }
    state.SetItemsProcessed(state.iterations() * kAppends);
}
void BM_Append16_PeerStd(benchmark::State& state) {
    for (auto _ : state) {
        std::u16string s;
        for (int i = 0; i < kAppends; ++i) s += static_cast<char16_t>('a' + (i & 15));
        benchmark::DoNotOptimize(s.data());
    }
    state.SetItemsProcessed(state.iterations() * kAppends);
}

void BM_Copy8_Ours(benchmark::State& state) {
    const CStr source('x', kCopyLength);
    for (auto _ : state) {
        CStr copy(source);
        benchmark::DoNotOptimize(copy.c_str());
    }
}
void BM_Copy8_PeerStd(benchmark::State& state) {
    const std::string source(kCopyLength, 'x');
    for (auto _ : state) {
        std::string copy(source);
        benchmark::DoNotOptimize(copy.data());
    }
}
void BM_Copy16_Ours(benchmark::State& state) {
    CUniStr source;
    source.Fill('x', kCopyLength);
    for (auto _ : state) {
        CUniStr copy(source);
        benchmark::DoNotOptimize(copy.c_str());
    }
}
void BM_Copy16_PeerStd(benchmark::State& state) {
    const std::u16string source(kCopyLength, u'x');
    for (auto _ : state) {
        std::u16string copy(source);
        benchmark::DoNotOptimize(copy.data());
    }
}

// A 64 KiB text of random lower-case words; the pattern sits near the end.
std::string Haystack() {
    std::mt19937 rng(42);
    std::string s;
    while (s.size() < 65536) {
        const int len = 2 + static_cast<int>(rng() % 8);
        for (int i = 0; i < len; ++i) s += static_cast<char>('a' + rng() % 26);
        s += ' ';
    }
    s += "needle in the haystack";
    return s;
}
const char* const kPattern = "needle in";

void BM_Find8_Ours(benchmark::State& state) {
    const CStr text(Haystack().c_str());
    const CStr pattern(kPattern);
    for (auto _ : state) {
        unsigned pos = 0;
        benchmark::DoNotOptimize(text.Find(pattern, pos));
        benchmark::DoNotOptimize(pos);
    }
    state.SetBytesProcessed(state.iterations() * text.Length());
}
void BM_Find8_PeerStd(benchmark::State& state) {
    const std::string text = Haystack();
    const std::string pattern(kPattern);
    for (auto _ : state) benchmark::DoNotOptimize(text.find(pattern));
    state.SetBytesProcessed(state.iterations() * text.size());
}
void BM_Find16_Ours(benchmark::State& state) {
    const CUniStr text(Haystack().c_str());
    const CUniStr pattern(kPattern);
    for (auto _ : state) {
        unsigned pos = 0;
        benchmark::DoNotOptimize(text.Find(pattern, pos));
        benchmark::DoNotOptimize(pos);
    }
    state.SetBytesProcessed(state.iterations() * text.Length() * 2);
}
void BM_Find16_PeerStd(benchmark::State& state) {
    const std::string narrow = Haystack();
    const std::u16string text(narrow.begin(), narrow.end());
    const std::u16string pattern(kPattern, kPattern + std::char_traits<char>::length(kPattern));
    for (auto _ : state) benchmark::DoNotOptimize(text.find(pattern));
    state.SetBytesProcessed(state.iterations() * text.size() * 2);
}
}  // namespace

BENCHMARK(BM_Append8_Ours);
BENCHMARK(BM_Append8_PeerStd);
BENCHMARK(BM_Append16_Ours);
BENCHMARK(BM_Append16_PeerStd);
BENCHMARK(BM_Copy8_Ours);
BENCHMARK(BM_Copy8_PeerStd);
BENCHMARK(BM_Copy16_Ours);
BENCHMARK(BM_Copy16_PeerStd);
BENCHMARK(BM_Find8_Ours);
BENCHMARK(BM_Find8_PeerStd);
BENCHMARK(BM_Find16_Ours);
BENCHMARK(BM_Find16_PeerStd);
