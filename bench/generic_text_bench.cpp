// Reading and writing about 10 MB of text of nested bundles, lists, sets, strings and numbers, against
// nlohmann::json and RapidJSON reading and writing the same structure written as JSON (bundles as objects,
// lists and sets as arrays, symbols as strings).
#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <ztbase/ztbase.h>

#include <initializer_list>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <string_view>

using ZtBase::CGeneric;
using ZtBase::CUniStr;

namespace {

struct Texts {
    std::string generic;  // the library's text form
    std::string json;     // the same structure as JSON
};

void Append(std::string& out, std::initializer_list<std::string_view> parts) {
    for (std::string_view p : parts) out.append(p);
}

// One record: a bundle with symbols, a nested bundle, a list of strings, a set of symbols, numbers.
void AddRecord(Texts& t, std::mt19937& rng, int id) {
    static const char* const kCats[] = {"NP", "VP", "Det", "N", "V", "PP", "Adj"};
    static const char* const kWords[] = {"the", "dog", "barks", "at", "a", "cat", "quickly", "green"};
    const std::string cat = kCats[rng() % 7];
    const std::string per = std::to_string(1 + rng() % 3);
    const std::string number = std::to_string(id);
    const std::string weight = std::to_string((rng() % 100000) / 1000.0);
    std::string gWords, jWords, gFeats, jFeats;
    const int nWords = 2 + static_cast<int>(rng() % 4);
    for (int i = 0; i < nWords; ++i) {
        const std::string_view w = kWords[rng() % 8];
        Append(gWords, {i ? " \"" : "\"", w, "\""});
        Append(jWords, {i ? ",\"" : "\"", w, "\""});
    }
    for (int i = 0; i < 3; ++i) {
        std::string f = "f";
        f += std::to_string(rng() % 20);
        Append(gFeats, {i ? "," : "", f});
        Append(jFeats, {i ? ",\"" : "\"", f, "\""});
    }
    Append(t.generic, {"{cat=", cat, ",id=", number, ",agr={num=sg,per=", per, "},words=(", gWords,
                       "),feats=[", gFeats, "],weight=", weight, "}"});
    Append(t.json, {"{\"cat\":\"", cat, "\",\"id\":", number, ",\"agr\":{\"num\":\"sg\",\"per\":", per,
                    "},\"words\":[", jWords, "],\"feats\":[", jFeats, "],\"weight\":", weight, "}"});
}

const Texts& Data() {
    static const Texts texts = [] {
        Texts t;
        std::mt19937 rng(7);
        t.generic = "(";
        t.json = "[";
        for (int id = 0; t.generic.size() < 10'000'000; ++id) {
            if (id) {
                t.generic += ' ';
                t.json += ',';
            }
            AddRecord(t, rng, id);
        }
        t.generic += ")";
        t.json += "]";
        return t;
    }();
    return texts;
}

void BM_GenericRead_Ours(benchmark::State& state) {
    const CUniStr text = CUniStr::FromUtf8(Data().generic);
    for (auto _ : state) {
        CGeneric value;
        value.SetFromString(text);
        benchmark::DoNotOptimize(value.GetRep());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<long long>(Data().generic.size()));
}
void BM_GenericRead_PeerNlohmann(benchmark::State& state) {
    for (auto _ : state) {
        nlohmann::json value = nlohmann::json::parse(Data().json);
        benchmark::DoNotOptimize(value.size());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<long long>(Data().json.size()));
}
void BM_GenericRead_PeerRapidJson(benchmark::State& state) {
    for (auto _ : state) {
        rapidjson::Document value;
        value.Parse(Data().json.c_str());
        benchmark::DoNotOptimize(value.Size());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<long long>(Data().json.size()));
}

void BM_GenericWrite_Ours(benchmark::State& state) {
    CGeneric value;
    value.SetFromString(CUniStr::FromUtf8(Data().generic));
    for (auto _ : state) {
        CUniStr text = value.GetString();
        benchmark::DoNotOptimize(text.c_str());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<long long>(Data().generic.size()));
}
void BM_GenericWrite_PeerNlohmann(benchmark::State& state) {
    const nlohmann::json value = nlohmann::json::parse(Data().json);
    for (auto _ : state) {
        std::string text = value.dump();
        benchmark::DoNotOptimize(text.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<long long>(Data().json.size()));
}
void BM_GenericWrite_PeerRapidJson(benchmark::State& state) {
    rapidjson::Document value;
    value.Parse(Data().json.c_str());
    for (auto _ : state) {
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        value.Accept(writer);
        benchmark::DoNotOptimize(buffer.GetString());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<long long>(Data().json.size()));
}

}  // namespace

BENCHMARK(BM_GenericRead_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GenericRead_PeerNlohmann)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GenericRead_PeerRapidJson)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GenericWrite_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GenericWrite_PeerNlohmann)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GenericWrite_PeerRapidJson)->Unit(benchmark::kMillisecond);
