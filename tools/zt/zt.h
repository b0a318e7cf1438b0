// What the subcommands of zt share: exit codes, failures, reading input and writing output, the forms of
// a value file, reading every value of an input, and the checks for conversions that would lose something.
#pragma once

#include <ztbase/ztbase.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <functional>
#include <string>

namespace zt {

// Exit codes: success, the input holds an error (or nothing matched), wrong usage, a file could not be
// read or written.
constexpr int kOk = 0, kBadInput = 1, kUsage = 2, kIoError = 3;

// A failure that ends the command: the message (one line, already naming the file) and the exit code.
struct Failure {
    int code;
    std::string message;
};

// ---- input and output ------------------------------------------------------------------------------------

// An input's name as messages show it ("-" is standard input) and its bytes.
struct Input {
    std::string name;
    std::string bytes;
};
// Reads a whole file, or standard input for "" and "-". Throws Failure (exit 3) when it cannot.
Input ReadInput(const std::string& path);

// Standard output, or a file written under a temporary name in its directory (through the library's
// buffered disk file, flushed to the disk on Commit) and renamed over the file when Commit is called; a
// file that was not committed is removed, so a failed command leaves nothing behind and the file it was
// to replace as it was. Every write error (a full disk, a closed pipe) throws Failure (exit 3).
class Output {
public:
    explicit Output(const std::string& path);  // "" or "-": standard output
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output();

    void Write(const std::string& bytes);
    void Commit();

private:
    [[noreturn]] void Fail(int error);
    [[noreturn]] void Fail(const ZtBase::CZtException& error);

    std::string m_path, m_temporary;
    std::FILE* m_stdout = nullptr;  // standard output, or null for a file
    ZtBase::CXFile m_file;          // the temporary file, written through the library's disk files
    bool m_committed = false;
};

// ---- value files
// -------------------------------------------------------------------------------------------

enum class Form { kText, kBinary, kJson };
const char* FormName(Form form);
// Text (UTF-8, or UTF-16 with a byte-order mark), or the binary form, told apart by the first bytes.
Form DetectForm(const std::string& bytes);
// The form named by --from: "text", "binary", "json", or "auto" (a name ending in ".json" is JSON, otherwise
// DetectForm decides).
Form ParseForm(const std::string& from, const Input& input);
// The 16-bit text of a text file: UTF-16 (either order) after a byte-order mark, UTF-8, else Latin-1.
ZtBase::CUniStr DecodeText(const std::string& bytes);

struct ReadOptions {
    Form form = Form::kText;  // of the input; DetectForm's answer unless the user named one
    bool verbose = false;     // messages add the library's code and the text read so far
    bool lossy = false;       // JSON numbers that a double cannot hold exactly are taken rounded
};
// Calls each for every value of the input, in order. A syntax error, a binary record that is cut short or
// holds an unknown kind code, or bad JSON throws Failure (exit 1) with "NAME:LINE:COLUMN: message" (text)
// or "NAME: message at byte OFFSET" (binary).
void ForEachValue(const Input& input, const ReadOptions& options,
                  const std::function<void(const ZtBase::CGeneric&)>& each);

// The first part of value that the form cannot carry, described for a message ("the variable _x"), or ""
// when the whole value converts exactly.
std::string FindLossy(const ZtBase::CGeneric& value, Form to);

// The text form of a value written by the tool: nested values indented by four spaces, short values on one
// line, no trailing spaces; sorted orders set elements and bundle keys by their text; compact writes the
// whole value on one line. It reads back to an equal value.
struct Layout {
    bool sorted = false;
    bool compact = false;
};
std::string FormatValue(const ZtBase::CGeneric& value, const Layout& layout);
// A number as the tool writes it: the library's text, with a decimal point before an exponent that has
// none ("1e+020" would read back as 1, the symbol e and 20; "1.e+020" reads back as 1e20).
std::string NumberText(double value);

// "NAME:LINE:COLUMN: " for a position of a text, and a library message without its context.
std::string PlaceOf(const std::string& name, const ZtBase::CUniStr& text, unsigned position);
std::string PlainMessage(std::string message);

// ---- JSON
// ---------------------------------------------------------------------------------------------------

// The JSON text of a value (the mapping is in docs/text-format.md); "" for a value without one.
std::string ToJson(const ZtBase::CGeneric& value, bool pretty);

// ---- subcommands
// --------------------------------------------------------------------------------------------

// A subcommand: its options live in the closure, which runs when the command was the one named.
struct Command {
    CLI::App* app;
    std::function<int()> run;
};
Command AddPrettyCommand(CLI::App& zt);
Command AddCheckCommand(CLI::App& zt);
Command AddConvertCommand(CLI::App& zt);
Command AddUnifyCommand(CLI::App& zt);
Command AddTreeCommand(CLI::App& zt);
Command AddPackCommand(CLI::App& zt);
Command AddDbCommand(CLI::App& zt);
Command AddComponentCommand(CLI::App& zt);
Command AddSelfTestCommand(CLI::App& zt);

// Prints "zt: message" (or the failure's message) on standard error and gives the exit code.
int Report(const Failure& failure);

}  // namespace zt
