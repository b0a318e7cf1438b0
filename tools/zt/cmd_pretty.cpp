// zt pretty: every value of the inputs in the tool's layout (or the library's own, --library).
#include <memory>

#include "zt.h"

namespace zt {

Command AddPrettyCommand(CLI::App& zt) {
    struct Options {
        std::vector<std::string> files;
        std::string output;
        Layout layout;
        bool library = false, verbose = false;
        std::string from = "auto";
    };
    auto o = std::make_shared<Options>();
    CLI::App* app = zt.add_subcommand("pretty", "Print every value of the files (standard input: none or -)");
    app->add_option("files", o->files, "Value files in the text or binary form");
    app->add_option("-o,--output", o->output, "Write to this file (complete or not at all)");
    app->add_flag("--sorted", o->layout.sorted, "Set elements and bundle keys in the order of their text");
    app->add_flag("--compact", o->layout.compact, "Each value on one line");
    app->add_flag("--library", o->library, "The library's own pretty-print layout");
    app->add_option("--from", o->from, "The form of the input")
        ->check(CLI::IsMember({"auto", "text", "binary", "json"}));
    app->add_flag("--verbose", o->verbose, "Errors add the library's code and the text read so far");
    return {app, [o] {
                Output out(o->output);
                if (o->files.empty()) o->files.push_back("-");
                for (const std::string& path : o->files) {
                    const Input in = ReadInput(path);
                    ReadOptions read;
                    read.form = ParseForm(o->from, in);
                    read.verbose = o->verbose;
                    ForEachValue(in, read, [&](const ZtBase::CGeneric& value) {
                        std::string text =
                            o->library ? value.GetPrettyPrint().ToUtf8() : FormatValue(value, o->layout);
                        if (text.empty() || text.back() != '\n') text += '\n';
                        out.Write(text);
                    });
                }
                out.Commit();
                return kOk;
            }};
}

}  // namespace zt
