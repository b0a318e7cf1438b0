// Sets and bundles beside the standard containers a C++ programmer would otherwise use: a set of
// 1,000,000 numbers against std::set<double>, and a bundle keyed by symbols against
// std::map<unsigned, CGeneric> keyed by the symbols' numbers. The values (and symbols) are made before
// timing on both sides: what is measured is the container.
#include <benchmark/benchmark.h>
#include <ztbase/generic/association.h>
#include <ztbase/generic/scalars.h>
#include <ztbase/generic/set.h>
#include <ztbase/generic/symbol.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

using namespace ZtBase;

namespace {

constexpr int kSetSize = 1000000;
constexpr int kBundleSize = 100000;

// Distinct numbers in random order (a fixed rng start value, so every run sees the same data).
const std::vector<double>& Doubles() {
    static const std::vector<double> values = [] {
        std::vector<double> v(kSetSize);
        for (int i = 0; i < kSetSize; ++i) v[i] = i * 0.5 - 1000.0;
        std::shuffle(v.begin(), v.end(), std::mt19937(12345u));
        return v;
    }();
    return values;
}
const std::vector<CGeneric>& Numbers() {
    static const std::vector<CGeneric> values = [] {
        std::vector<CGeneric> v;
        v.reserve(kSetSize);
        for (double d : Doubles()) v.emplace_back(d);
        return v;
    }();
    return values;
}
// The same values looked up in another random order.
template <class T>
std::vector<T> Reordered(const std::vector<T>& values) {
    std::vector<T> v = values;
    std::shuffle(v.begin(), v.end(), std::mt19937(777u));
    return v;
}

CGenericSet BuildSet() {
    CGenericSet s = MakeSet();
    for (const CGeneric& g : Numbers()) s.Add(g);
    return s;
}
std::set<double> BuildStdSet() {
    return std::set<double>(Doubles().begin(), Doubles().end());
}

// ---- sets ---------------------------------------------------------------------------------------------

void BM_SetInsert_Ours(benchmark::State& state) {
    const auto& values = Numbers();
    for (auto _ : state) {
        CGenericSet s = MakeSet();
        for (const CGeneric& g : values) s.Add(g);
        benchmark::DoNotOptimize(s.GetLength());
        state.PauseTiming();
        s.Release();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kSetSize);
}
void BM_SetInsert_PeerStdSet(benchmark::State& state) {
    const auto& values = Doubles();
    for (auto _ : state) {
        std::set<double> s;
        for (double d : values) s.insert(d);
        benchmark::DoNotOptimize(s.size());
        state.PauseTiming();
        s.clear();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kSetSize);
}

void BM_SetFind_Ours(benchmark::State& state) {
    const CGenericSet s = BuildSet();
    const std::vector<CGeneric> keys = Reordered(Numbers());
    for (auto _ : state) {
        unsigned found = 0;
        for (const CGeneric& g : keys) found += s.HasElement(g);
        benchmark::DoNotOptimize(found);
    }
    state.SetItemsProcessed(state.iterations() * kSetSize);
}
void BM_SetFind_PeerStdSet(benchmark::State& state) {
    const std::set<double> s = BuildStdSet();
    const std::vector<double> keys = Reordered(Doubles());
    for (auto _ : state) {
        unsigned found = 0;
        for (double d : keys) found += s.count(d) ? 1u : 0u;
        benchmark::DoNotOptimize(found);
    }
    state.SetItemsProcessed(state.iterations() * kSetSize);
}

void BM_SetErase_Ours(benchmark::State& state) {
    const std::vector<CGeneric> keys = Reordered(Numbers());
    for (auto _ : state) {
        state.PauseTiming();
        CGenericSet s = BuildSet();
        state.ResumeTiming();
        for (const CGeneric& g : keys) s.Delete(g);
        benchmark::DoNotOptimize(s.GetLength());
    }
    state.SetItemsProcessed(state.iterations() * kSetSize);
}
void BM_SetErase_PeerStdSet(benchmark::State& state) {
    const std::vector<double> keys = Reordered(Doubles());
    for (auto _ : state) {
        state.PauseTiming();
        std::set<double> s = BuildStdSet();
        state.ResumeTiming();
        for (double d : keys) s.erase(d);
        benchmark::DoNotOptimize(s.size());
    }
    state.SetItemsProcessed(state.iterations() * kSetSize);
}

void BM_SetIterate_Ours(benchmark::State& state) {
    const CGenericSet s = BuildSet();
    for (auto _ : state) {
        std::size_t n = 0;
        for (const CGeneric& g : s) n += g.GetRep() != nullptr;
        benchmark::DoNotOptimize(n);
    }
    state.SetItemsProcessed(state.iterations() * kSetSize);
}
void BM_SetIterate_PeerStdSet(benchmark::State& state) {
    const std::set<double> s = BuildStdSet();
    for (auto _ : state) {
        std::size_t n = 0;
        for (double d : s) n += d == d;
        benchmark::DoNotOptimize(n);
    }
    state.SetItemsProcessed(state.iterations() * kSetSize);
}

// ---- bundles ------------------------------------------------------------------------------------------

struct BundleData {
    std::vector<CSymbol> keys;
    std::vector<unsigned> indexes;
    std::vector<CGeneric> values;
};
const BundleData& Bundle() {
    static const BundleData data = [] {
        BundleData d;
        for (int i = 0; i < kBundleSize; ++i) {
            d.keys.emplace_back(("feature_" + std::to_string(i)).c_str());
            d.values.emplace_back(static_cast<double>(i));
        }
        std::shuffle(d.keys.begin(), d.keys.end(), std::mt19937(4711u));
        for (const CSymbol& k : d.keys) d.indexes.push_back(k);
        return d;
    }();
    return data;
}

void BM_BundleSet_Ours(benchmark::State& state) {
    const BundleData& d = Bundle();
    for (auto _ : state) {
        CAssociationBundle b = MakeAssociationBundle();
        for (int i = 0; i < kBundleSize; ++i) b.Set(d.keys[i], d.values[i]);
        for (int i = 0; i < kBundleSize; ++i) b.Set(d.keys[i], d.values[kBundleSize - 1 - i]);  // replacing
        benchmark::DoNotOptimize(b.GetLength());
        state.PauseTiming();
        b.Release();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * 2 * kBundleSize);
}
void BM_BundleSet_PeerStdMap(benchmark::State& state) {
    const BundleData& d = Bundle();
    for (auto _ : state) {
        std::map<unsigned, CGeneric> m;
        for (int i = 0; i < kBundleSize; ++i) m[d.indexes[i]] = d.values[i];
        for (int i = 0; i < kBundleSize; ++i) m[d.indexes[i]] = d.values[kBundleSize - 1 - i];
        benchmark::DoNotOptimize(m.size());
        state.PauseTiming();
        m.clear();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * 2 * kBundleSize);
}

void BM_BundleGetValue_Ours(benchmark::State& state) {
    const BundleData& d = Bundle();
    CAssociationBundle b = MakeAssociationBundle();
    for (int i = 0; i < kBundleSize; ++i) b.Set(d.keys[i], d.values[i]);
    const std::vector<CSymbol> keys = Reordered(d.keys);
    for (auto _ : state) {
        std::size_t n = 0;
        for (const CSymbol& k : keys) n += b.GetValue(k).GetType();
        benchmark::DoNotOptimize(n);
    }
    state.SetItemsProcessed(state.iterations() * kBundleSize);
}
void BM_BundleGetValue_PeerStdMap(benchmark::State& state) {
    const BundleData& d = Bundle();
    std::map<unsigned, CGeneric> m;
    for (int i = 0; i < kBundleSize; ++i) m[d.indexes[i]] = d.values[i];
    const std::vector<unsigned> keys = Reordered(d.indexes);
    for (auto _ : state) {
        std::size_t n = 0;
        for (unsigned k : keys) {
            const auto at = m.find(k);
            const CGeneric value = at != m.end() ? at->second : CGeneric();
            n += value.GetType();
        }
        benchmark::DoNotOptimize(n);
    }
    state.SetItemsProcessed(state.iterations() * kBundleSize);
}

}  // namespace

BENCHMARK(BM_SetInsert_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SetInsert_PeerStdSet)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SetFind_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SetFind_PeerStdSet)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SetErase_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SetErase_PeerStdSet)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SetIterate_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SetIterate_PeerStdSet)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BundleSet_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BundleSet_PeerStdMap)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BundleGetValue_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BundleGetValue_PeerStdMap)->Unit(benchmark::kMillisecond);
