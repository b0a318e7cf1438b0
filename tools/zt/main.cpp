// zt: the library's values from the command line. One subcommand a file (cmd_*.cpp); what they share is
// in zt.h. Exit codes: 0 success, 1 the input holds an error, 2 wrong usage, 3 a file could not be read or
// written.
#include <csignal>
#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#include <windows.h>
// windows.h first
#include <shellapi.h>

#include <cstdio>
#include <string>
#include <vector>
#endif

#include "zt.h"

#ifndef ZT_VERSION
#define ZT_VERSION "0"
#endif

#if defined(_WIN32)
namespace {
// The arguments as the system holds them (16-bit text), in UTF-8 as zt takes every argument: the 8-bit
// arguments of main are in the system's code page and lose what it cannot hold.
std::vector<std::string> Utf8Arguments() {
    std::vector<std::string> result;
    int count = 0;
    wchar_t** wide = ::CommandLineToArgvW(::GetCommandLineW(), &count);
    if (!wide) return result;
    for (int i = 0; i < count; ++i) {
        const int n = ::WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, nullptr, 0, nullptr, nullptr);
        std::string text(n > 0 ? static_cast<std::size_t>(n) : 1u, '\0');
        if (n > 0) ::WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, text.data(), n, nullptr, nullptr);
        text.resize(text.size() - 1);
        result.push_back(std::move(text));
    }
    ::LocalFree(wide);
    return result;
}
}  // namespace
#endif

int main(int argc, char** argv) {
    // A closed pipe is a write error that the commands report (exit 3), not a signal that ends the process.
#ifdef SIGPIPE
    std::signal(SIGPIPE, SIG_IGN);
#endif
#if defined(_WIN32)
    // The bytes zt writes and reads are the files' own: no line-end translation on the standard streams.
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stdin), _O_BINARY);
#endif
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
#if defined(_WIN32)
    std::vector<std::string> arguments = Utf8Arguments();
    std::vector<char*> pointers;
    for (std::string& a : arguments) pointers.push_back(a.data());
    if (!pointers.empty()) {
        argc = static_cast<int>(pointers.size());
        argv = pointers.data();
    }
#endif
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
