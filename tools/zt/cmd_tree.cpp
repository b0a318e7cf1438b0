// zt tree: reads treebank text (bracketed trees) and prints each tree: an indented drawing (default), the
// library's tree text form (--text) or its list form (--list).
#include <memory>

#include "zt.h"

using namespace ZtBase;

namespace zt {

namespace {

// One line a node, children indented by four spaces; a word stands beside its tag.
void Draw(const CTreeNode& node, std::size_t depth, std::string& out) {
    if (depth > kMaxGenericNesting) throw Failure{kBadInput, "a tree nested too deeply to draw"};
    out += std::string(4 * depth, ' ');
    out += node.GetNodeType().IsNull() ? std::string("()") : node.GetNodeType().GetString().ToUtf8();
    const CGenericString word = node.GetValue(CSymbol("word"));
    if (!word.IsNull()) out += " " + static_cast<CUniStr>(word).ToUtf8();
    out += '\n';
    for (unsigned i = 0; i < node.GetChildCount(); ++i) Draw(node.GetChildIdx(i), depth + 1, out);
}

}  // namespace

Command AddTreeCommand(CLI::App& zt) {
    struct Options {
        std::vector<std::string> files;
        std::string output;
        bool text = false, list = false;
    };
    auto o = std::make_shared<Options>();
    CLI::App* app =
        zt.add_subcommand("tree", "Read treebank text, (S (NP (DT the) (NN dog)) ...), and print the trees");
    app->add_option("files", o->files, "Treebank files (standard input: none or -)");
    app->add_option("-o,--output", o->output, "Write to this file (complete or not at all)");
    app->add_flag("--text", o->text, "The library's tree text form, <S {}>/...\\");
    app->add_flag("--list", o->list, "The list form of each tree (type bundle primary secondaries children)");
    return {app, [o] {
                if (o->text && o->list) throw Failure{kUsage, "--text and --list exclude each other"};
                if (o->files.empty()) o->files.push_back("-");
                Output out(o->output);
                for (const std::string& path : o->files) {
                    const Input in = ReadInput(path);
                    const CUniStr text = DecodeText(in.bytes);
                    unsigned position = 0, stopped = 0;
                    for (;;) {
                        CTreeNode tree;
                        try {
                            tree = ReadPennTree(text, position, stopped);
                        } catch (const CZtException& e) {
                            throw Failure{kBadInput, PlaceOf(in.name, text, stopped) +
                                                         PlainMessage(CUniStr(e.GetErrorString(0)).ToUtf8())};
                        }
                        if (tree.IsNull()) break;
                        std::string shown;
                        if (o->text)
                            shown = tree.GetString().ToUtf8() + "\n";
                        else if (o->list)
                            shown = ConvertTreeToList(tree).GetString().ToUtf8() + "\n";
                        else
                            Draw(tree, 0, shown);
                        out.Write(shown);
                    }
                }
                out.Commit();
                return kOk;
            }};
}

}  // namespace zt
