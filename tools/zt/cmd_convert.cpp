// zt convert: the values of one input in another form. A conversion that would lose something is refused
// (exit 1, naming the first value that would change) unless --lossy is given.
#include <memory>

#include "zt.h"

namespace zt {

Command AddConvertCommand(CLI::App& zt) {
    struct Options {
        std::string file = "-", output, to, from = "auto";
        bool lossy = false, verbose = false, compact = false;
    };
    auto o = std::make_shared<Options>();
    CLI::App* app =
        zt.add_subcommand("convert", "Write the values of a file in the text, binary or JSON form");
    app->add_option("file", o->file, "The input (standard input: none or -)");
    app->add_option("--to", o->to, "The form to write")
        ->required()
        ->check(CLI::IsMember({"text", "binary", "json"}));
    app->add_option("--from", o->from, "The form of the input")
        ->check(CLI::IsMember({"auto", "text", "binary", "json"}));
    app->add_option("-o,--output", o->output, "Write to this file (complete or not at all)");
    app->add_flag("--lossy", o->lossy, "Convert what the target form cannot hold exactly, with a warning");
    app->add_flag("--compact", o->compact, "Text and JSON: each value on one line");
    app->add_flag("--verbose", o->verbose, "Errors add the library's code and the text read so far");
    return {
        app, [o] {
            const Input in = ReadInput(o->file);
            ReadOptions read;
            read.form = ParseForm(o->from, in);
            read.verbose = o->verbose;
            read.lossy = o->lossy;
            const Form to = o->to == "text" ? Form::kText : o->to == "binary" ? Form::kBinary : Form::kJson;
            Output out(o->output);
            unsigned index = 0;
            ForEachValue(in, read, [&](const ZtBase::CGeneric& value) {
                ++index;
                if (const std::string lost = FindLossy(value, to); !lost.empty()) {
                    const std::string where = in.name + ": value " + std::to_string(index) + ": ";
                    if (!o->lossy)
                        throw Failure{kBadInput, where + lost + " cannot be written exactly in the " +
                                                     FormName(to) + " form (--lossy writes it anyway)"};
                    std::fprintf(stderr, "zt: warning: %s%s is not written exactly in the %s form\n",
                                 where.c_str(), lost.c_str(), FormName(to));
                }
                switch (to) {
                    case Form::kBinary: {
                        ZtBase::CXFile file = ZtBase::gFileSystem.CreateRamFile(ZtBase::XF_BINARY);
                        value >> file;
                        std::string bytes(static_cast<std::size_t>(file.GetFileLength()), '\0');
                        file.Seek(0);
                        if (!bytes.empty()) file.ReadBlock(bytes.data(), static_cast<unsigned>(bytes.size()));
                        out.Write(bytes);
                        break;
                    }
                    case Form::kText:
                        out.Write(FormatValue(value, Layout{false, o->compact}) + "\n");
                        break;
                    case Form::kJson:
                        out.Write(ToJson(value, !o->compact) + "\n");
                        break;
                }
            });
            out.Commit();
            return kOk;
        }};
}

}  // namespace zt
