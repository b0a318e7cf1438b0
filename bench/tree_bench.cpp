// Trees, reported without a peer: reading 10 MB of treebank text into trees (bytes per second), and the
// list form of a 100,000-node tree there and back.
#include <benchmark/benchmark.h>
#include <ztbase/ztbase.h>

#include <string>

using namespace ZtBase;

namespace {

// Sentences of treebank text, about 10 MB in all.
const CUniStr& TreebankText() {
    static const CUniStr text = [] {
        const std::u16string sentence =
            u"( (S (NP-SBJ (DT the) (JJ old) (NN dog)) (VP (VBZ sees) (NP (DT a) (NN cat)) "
            u"(PP (IN in) (NP (DT the) (NN garden)))) (. .)) )\n";
        std::u16string all;
        while (all.size() * 2 < 10u * 1024 * 1024) all += sentence;
        return CUniStr(all.c_str());
    }();
    return text;
}

void BM_TreebankRead(benchmark::State& state) {
    const CUniStr& text = TreebankText();
    std::size_t trees = 0;
    for (auto _ : state) {
        unsigned position = 0, stopped = 0;
        trees = 0;
        while (!ReadPennTree(text, position, stopped).IsNull()) ++trees;
    }
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * text.Length() * 2);
    state.counters["trees"] = static_cast<double>(trees);
}

// A tree of 100,000 nodes: a root with 1,000 phrases of 99 words each.
CTreeNode BigTree() {
    CTreeNode root = MakeTreeNode(CSymbol("S"));
    for (int p = 0; p < 1000; ++p) {
        CTreeNode phrase = MakeTreeNode(CSymbol("NP"));
        for (int w = 0; w < 99; ++w) {
            CTreeNode word = MakeTreeNode(CSymbol("NN"));
            word.SetValue(CSymbol("word"), CGenericString(u"dog"));
            phrase.AddChild(word);
        }
        phrase.SetPrimary(0);
        root.AddChild(phrase);
    }
    return root;
}

void BM_TreeToListAndBack(benchmark::State& state) {
    const CTreeNode tree = BigTree();
    for (auto _ : state) {
        const CTreeNode back = ConvertListToTree(ConvertTreeToList(tree));
        benchmark::DoNotOptimize(back.GetRep());
    }
    state.SetItemsProcessed(state.iterations() * 100000);
}

}  // namespace

BENCHMARK(BM_TreebankRead)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TreeToListAndBack)->Unit(benchmark::kMillisecond);
