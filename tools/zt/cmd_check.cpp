// zt check: reads every value of each input and reports the first error of each, or how many values it holds.
#include <algorithm>
#include <memory>

#include "zt.h"

namespace zt {

Command AddCheckCommand(CLI::App& zt) {
    struct Options {
        std::vector<std::string> files;
        bool verbose = false, quiet = false;
        std::string from = "auto";
    };
    auto o = std::make_shared<Options>();
    CLI::App* app =
        zt.add_subcommand("check", "Report the first error of each file (standard input: none or -)");
    app->add_option("files", o->files, "Value files in the text or binary form");
    app->add_option("--from", o->from, "The form of the input")
        ->check(CLI::IsMember({"auto", "text", "binary", "json"}));
    app->add_flag("-q,--quiet", o->quiet, "Print errors only");
    app->add_flag("--verbose", o->verbose, "Errors add the library's code and the text read so far");
    return {app, [o] {
                if (o->files.empty()) o->files.push_back("-");
                int result = kOk;
                for (const std::string& path : o->files) {
                    try {
                        const Input in = ReadInput(path);
                        ReadOptions read;
                        read.form = ParseForm(o->from, in);
                        read.verbose = o->verbose;
                        unsigned count = 0;
                        ForEachValue(in, read, [&](const ZtBase::CGeneric&) { ++count; });
                        if (!o->quiet)
                            std::printf("%s: ok, %u %s value%s\n", in.name.c_str(), count,
                                        FormName(read.form), count == 1 ? "" : "s");
                    } catch (const Failure& failure) {
                        // Every file is checked; the worst failure decides the exit code.
                        result = std::max(result, Report(failure));
                    }
                }
                if (std::fflush(stdout) != 0) throw Failure{kIoError, "standard output: write error"};
                return result;
            }};
}

}  // namespace zt
