// zt: the library's values from the command line. One subcommand a file (cmd_*.cpp); what they share is
// in zt.h. Exit codes: 0 success, 1 the input holds an error, 2 wrong usage, 3 a file could not be read or
// written.
#include <ztbase/process/program.h>

#include <csignal>
#include <string>
#include <vector>

#include "zt.h"

#ifndef ZT_VERSION
#define ZT_VERSION "0"
#endif

int main(int argc, char** argv) {
    // A closed pipe is a write error that the commands report (exit 3), not a signal that ends the process.
#ifdef SIGPIPE
    std::signal(SIGPIPE, SIG_IGN);
#endif
    // The bytes zt writes and reads are the files' own: no line-end translation on the standard streams.
    ZtBase::SetStandardStreamsUntranslated();
    CLI::App app{"zt: read, check, pretty-print and convert the library's value files"};
    app.set_version_flag("--version", "zt " ZT_VERSION);
    app.require_subcommand(1);
    // Options are written with dashes everywhere, so that a rooted path ("/data/x.zt") is a path on
    // Windows too.
    app.allow_windows_style_options(false);
    app.footer(
        "Inputs are read from standard input when no file or - is given; output goes to standard output "
        "unless\n"
        "-o names a file. Exit codes: 0 success, 1 the input holds an error, 2 wrong usage, 3 a file could "
        "not be\n"
        "read or written. The text form is described in docs/text-format.md.");
    const zt::Command commands[] = {
        zt::AddPrettyCommand(app), zt::AddCheckCommand(app),     zt::AddConvertCommand(app),
        zt::AddUnifyCommand(app),  zt::AddTreeCommand(app),      zt::AddDbCommand(app),
        zt::AddPackCommand(app),   zt::AddComponentCommand(app), zt::AddSelfTestCommand(app)};
    // The arguments in UTF-8 as zt reads them, whatever code page the system gives main.
    std::vector<std::string> arguments = ZtBase::GetProgramArguments(argc, argv);
    std::vector<char*> pointers;
    for (std::string& a : arguments) pointers.push_back(a.data());
    if (!pointers.empty()) {
        argc = static_cast<int>(pointers.size());
        argv = pointers.data();
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForAllHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        app.exit(e);
        return zt::kUsage;
    }
    for (const zt::Command& command : commands) {
        if (!command.app->parsed()) continue;
        try {
            return command.run();
        } catch (const zt::Failure& failure) {
            return zt::Report(failure);
        } catch (const ZtBase::CZtException& e) {
            return zt::Report(zt::Failure{zt::kIoError, ZtBase::CUniStr(e.GetErrorString(0)).ToUtf8()});
        }
    }
    return zt::kUsage;
}
