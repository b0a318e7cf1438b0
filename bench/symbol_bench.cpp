// Symbol interning and lookup beside std::unordered_map<std::u16string, unsigned>, on the same texts.
//
// Interning: one timed pass over 1,000,000 texts that nobody has interned before (each run makes its own
// texts, marked with the run number, before the clock starts). Lookup: one timed pass over 1,000,000
// texts that are all interned already, in a shuffled order.
#include <benchmark/benchmark.h>
#include <ztbase/generic/symbol.h>

#include <algorithm>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

using namespace ZtBase;

namespace {

constexpr int kTexts = 1000000;

// Word-like texts of 6 to 14 units: a letter stem, the run number and the item number.
std::vector<std::u16string> MakeTexts(unsigned run, const char* tag) {
    static const char* const stems[] = {"noun", "verb", "Adj", "det", "prep", "conj", "pron", "adv"};
    std::vector<std::u16string> texts;
    texts.reserve(kTexts);
    for (int i = 0; i < kTexts; ++i) {
        std::string t = std::string(stems[i & 7]) + tag + std::to_string(run) + "_" + std::to_string(i >> 3);
        texts.emplace_back(t.begin(), t.end());
    }
    return texts;
}

std::vector<CUniStr> AsUniStr(const std::vector<std::u16string>& texts) {
    std::vector<CUniStr> out;
    out.reserve(texts.size());
    for (const auto& t : texts) out.emplace_back(t.c_str());
    return out;
}

unsigned NextRun() {
    static unsigned run = 0;
    return run++;
}

void BM_SymbolIntern_Ours(benchmark::State& state) {
    const std::vector<CUniStr> texts = AsUniStr(MakeTexts(NextRun(), "i"));
    for (auto _ : state) {
        unsigned sum = 0;
        for (const CUniStr& t : texts) sum += unsigned(CSymbol(t));
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kTexts);
}

void BM_SymbolIntern_PeerUnorderedMap(benchmark::State& state) {
    const std::vector<std::u16string> texts = MakeTexts(NextRun(), "i");
    for (auto _ : state) {
        std::unordered_map<std::u16string, unsigned> table;
        unsigned sum = 0;
        for (const std::u16string& t : texts)
            sum += table.try_emplace(t, unsigned(table.size())).first->second;
        benchmark::DoNotOptimize(sum);
        state.PauseTiming();
        table = {};  // freeing the map is not part of interning
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kTexts);
}

std::vector<std::size_t> ShuffledOrder() {
    std::vector<std::size_t> order(kTexts);
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::shuffle(order.begin(), order.end(), std::mt19937(42));
    return order;
}

void BM_SymbolLookup_Ours(benchmark::State& state) {
    const std::vector<CUniStr> texts = AsUniStr(MakeTexts(NextRun(), "l"));
    for (const CUniStr& t : texts) CSymbol{t};
    const std::vector<std::size_t> order = ShuffledOrder();
    for (auto _ : state) {
        unsigned sum = 0;
        for (std::size_t i : order) sum += unsigned(CSymbol(texts[i]));
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kTexts);
}

void BM_SymbolLookup_PeerUnorderedMap(benchmark::State& state) {
    const std::vector<std::u16string> texts = MakeTexts(NextRun(), "l");
    std::unordered_map<std::u16string, unsigned> table;
    for (const auto& t : texts) table.try_emplace(t, unsigned(table.size()));
    const std::vector<std::size_t> order = ShuffledOrder();
    for (auto _ : state) {
        unsigned sum = 0;
        for (std::size_t i : order) sum += table.find(texts[i])->second;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kTexts);
}

// Equality of two symbols against equality of two texts: what the index buys.
void BM_SymbolEquality_Ours(benchmark::State& state) {
    const CSymbol a("Determiner"), b("Determinex");
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(b);
        benchmark::DoNotOptimize(a == b);
    }
}

void BM_SymbolEquality_PeerU16String(benchmark::State& state) {
    const std::u16string a(u"Determiner"), b(u"Determinex");
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(b);
        benchmark::DoNotOptimize(a == b);
    }
}

}  // namespace

BENCHMARK(BM_SymbolIntern_Ours)->Iterations(1)->Repetitions(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SymbolIntern_PeerUnorderedMap)->Iterations(1)->Repetitions(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SymbolLookup_Ours)->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SymbolLookup_PeerUnorderedMap)->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SymbolEquality_Ours);
BENCHMARK(BM_SymbolEquality_PeerU16String);
