// Set membership by unification: a pattern of three features (one a nested bundle) with two variables,
// against a set of 100,000 bundles of ten features; beside the same matching written by hand over
// std::map<std::string, std::string> bundles (the nested bundle's features flattened to "agr.num" keys)
// with a std::unordered_map of bindings. Both sides collect the bindings of every match.
#include <benchmark/benchmark.h>
#include <ztbase/ztbase.h>

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

using namespace ZtBase;

namespace {

constexpr int kBundles = 100000;
const char* const kCats[] = {"N", "V", "A", "D"};
const char* const kNums[] = {"sg", "pl"};
const char* const kTenses[] = {"past", "pres", "fut"};

// Texts built by appending (g++ 12 warns falsely about "literal" + std::string).
std::string Feature(int i, int f) {
    std::string text = "w";
    text += std::to_string((i * 7 + f * 13) % 50);
    return text;
}
std::string Name(int f) {
    std::string text = "f";
    text += std::to_string(f);
    return text;
}

const CGenericSet& Lexicon() {
    static const CGenericSet set = [] {
        CGenericSet s = MakeSet();
        for (int i = 0; i < kBundles; ++i) {
            CAssociationBundle agr = MakeAssociationBundle();
            agr.Set(CSymbol("num"), CSymbol(kNums[i % 2]));
            agr.Set(CSymbol("per"), CGeneric(i % 3 + 1));
            CAssociationBundle b = MakeAssociationBundle();
            b.Set(CSymbol("cat"), CSymbol(kCats[i % 4]));
            b.Set(CSymbol("agr"), agr);
            b.Set(CSymbol("tense"), CSymbol(kTenses[i % 3]));
            b.Set(CSymbol("id"), CGeneric(i));
            for (int f = 0; f < 6; ++f) b.Set(CSymbol(Name(f).c_str()), CSymbol(Feature(i, f).c_str()));
            s.Add(b);
        }
        return s;
    }();
    return set;
}

using Flat = std::map<std::string, std::string>;
const std::vector<Flat>& FlatLexicon() {
    static const std::vector<Flat> bundles = [] {
        std::vector<Flat> v;
        v.reserve(kBundles);
        for (int i = 0; i < kBundles; ++i) {
            Flat b{{"cat", kCats[i % 4]},
                   {"agr.num", kNums[i % 2]},
                   {"agr.per", std::to_string(i % 3 + 1)},
                   {"tense", kTenses[i % 3]},
                   {"id", std::to_string(i)}};
            for (int f = 0; f < 6; ++f) b[Name(f)] = Feature(i, f);
            v.push_back(std::move(b));
        }
        return v;
    }();
    return bundles;
}

void BM_SetMembership_Ours(benchmark::State& state) {
    const CGenericSet& lexicon = Lexicon();
    const CGeneric pattern = CGeneric::CreateFromString(CUniStr(u"{cat = N, agr = {num = _n}, tense = _t}"));
    std::size_t matches = 0;
    for (auto _ : state) {
        ZtArray<CSingleUnificationResult> results;
        TestSetMembership(pattern, lexicon, results, 1);
        matches = results.size();
        benchmark::DoNotOptimize(results.data());
    }
    if (matches != kBundles / 4) state.SkipWithError("wrong number of matches");
    state.SetItemsProcessed(state.iterations() * kBundles);
}

void BM_SetMembership_PeerStdMap(benchmark::State& state) {
    const std::vector<Flat>& lexicon = FlatLexicon();
    const std::vector<std::pair<std::string, std::string>> pattern = {
        {"cat", "N"}, {"agr.num", "_n"}, {"tense", "_t"}};
    std::size_t matches = 0;
    for (auto _ : state) {
        std::vector<std::unordered_map<std::string, std::string>> results;
        for (const Flat& bundle : lexicon) {
            std::unordered_map<std::string, std::string> bindings;
            bool ok = true;
            for (const auto& [key, want] : pattern) {
                const auto found = bundle.find(key);
                if (found == bundle.end()) {
                    ok = false;
                    break;
                }
                if (want[0] == '_') {
                    const auto [at, fresh] = bindings.emplace(want, found->second);
                    if (!fresh && at->second != found->second) ok = false;
                } else if (want != found->second) {
                    ok = false;
                }
                if (!ok) break;
            }
            if (ok) results.push_back(std::move(bindings));
        }
        matches = results.size();
        benchmark::DoNotOptimize(results.data());
    }
    if (matches != kBundles / 4) state.SkipWithError("wrong number of matches");
    state.SetItemsProcessed(state.iterations() * kBundles);
}

}  // namespace

BENCHMARK(BM_SetMembership_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SetMembership_PeerStdMap)->Unit(benchmark::kMillisecond);
