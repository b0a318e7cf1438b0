// zt unify: every value of the inputs that unifies with a pattern, with the bindings that make it match.
#include <memory>

#include "zt.h"

using namespace ZtBase;

namespace zt {

Command AddUnifyCommand(CLI::App& zt) {
    struct Options {
        std::string pattern;
        std::vector<std::string> files;
        bool equal = false, count = false, verbose = false;
        std::string from = "auto";
    };
    auto o = std::make_shared<Options>();
    CLI::App* app = zt.add_subcommand(
        "unify", "Print the values that unify with PATTERN, each followed by its bindings as a comment");
    app->add_option("pattern", o->pattern, "A value in the text form, e.g. '{cat = N, agr = {num = _n}}'")
        ->required();
    app->add_option("files", o->files, "Value files (standard input: none or -)");
    app->add_flag("--equal", o->equal,
                  "Bundles must have the same features (default: the pattern's subsume)");
    app->add_flag("-c,--count", o->count, "Print only how many values matched");
    app->add_option("--from", o->from, "The form of the input")
        ->check(CLI::IsMember({"auto", "text", "binary", "json"}));
    app->add_flag("--verbose", o->verbose, "Errors add the library's code and the text read so far");
    return {app, [o] {
                CGeneric pattern;
                ReadOptions patternRead;
                patternRead.verbose = o->verbose;
                unsigned patterns = 0;
                try {
                    ForEachValue(Input{"pattern", o->pattern}, patternRead, [&](const CGeneric& value) {
                        pattern = value;
                        ++patterns;
                    });
                } catch (const Failure& failure) {
                    throw Failure{kUsage, failure.message};
                }
                if (patterns != 1) throw Failure{kUsage, "the pattern must be one value"};
                if (o->files.empty()) o->files.push_back("-");
                unsigned matched = 0;
                Output out("-");
                for (const std::string& path : o->files) {
                    const Input in = ReadInput(path);
                    ReadOptions read;
                    read.form = ParseForm(o->from, in);
                    read.verbose = o->verbose;
                    ForEachValue(in, read, [&](const CGeneric& value) {
                        CSingleUnificationResult bindings;
                        bool unified = false;
                        try {
                            unified = UnifySimple(pattern, value, bindings, o->equal ? 0 : 1);
                        } catch (const CZtException&) {
                            unified = false;  // sets cannot be unified: such a value does not match
                        }
                        if (!unified) return;
                        ++matched;
                        if (o->count) return;
                        std::string line = FormatValue(value, Layout{});
                        if (bindings.GetVariableCount() > 0) {
                            line += " /*";
                            for (int i = 0; i < bindings.GetVariableCount(); ++i)
                                line += std::string(i ? ", " : " ") +
                                        bindings.GetVariableNameIdx(i).ToUtf8() + " = " +
                                        FormatValue(bindings.GetVariableValueIdx(i), Layout{false, true});
                            line += " */";
                        }
                        out.Write(line + "\n");
                    });
                }
                if (o->count) out.Write(std::to_string(matched) + "\n");
                out.Commit();
                return matched > 0 ? kOk : kBadInput;
            }};
}

}  // namespace zt
