// zt: the library's values from the command line.
//   zt pretty FILE...                          read every value of the files and pretty-print them
//   zt check FILE...                           report the first error of each file, with line and column
//   zt convert FILE --to binary|text -o OUT    convert between the text and the binary forms
// Exit codes: 0 success, 1 a file holds an error, 2 wrong usage, 3 a file could not be read or written.
#include <ztbase/ztbase.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

using namespace ZtBase;

namespace {

// Exit codes: success, the input holds an error, wrong usage, a file could not be read or written.
constexpr int kOk = 0, kBadInput = 1, kUsage = 2, kIoError = 3;

constexpr char kUsageText[] =
    "usage: zt <command> [arguments]\n"
    "\n"
    "commands:\n"
    "  pretty FILE...                        read every value in the files and pretty-print it\n"
    "  check FILE...                         report the first error of each file (line:column: message)\n"
    "  convert FILE --to binary|text -o OUT  convert a file between the text and the binary form\n"
    "\n"
    "Text files are read as UTF-8 (or UTF-16 with a byte-order mark; other bytes as Latin-1).\n"
    "exit codes: 0 success, 1 a file holds an error, 2 wrong usage, 3 a file could not be read or written\n";

std::string Utf8(const CUniStr& text) {
    return text.ToUtf8();
}
std::string Message(const CZtException& e) {
    return Utf8(CUniStr(e.GetErrorString(0)));
}

// A file's whole contents, through the library's file system.
bool ReadBytes(const std::string& path, std::string& bytes) {
    try {
        CXFile file;
        file.OpenExisting(eOpenCurrentDir, CStr(path.c_str()), 1, XF_BINARY, 1, XF_SHARE_READ);
        bytes.resize(static_cast<std::size_t>(file.GetFileLength()));
        if (!bytes.empty() &&
            file.ReadBlock(bytes.data(), static_cast<unsigned>(bytes.size())) != bytes.size())
            return false;
        return true;
    } catch (const CZtException& e) {
        std::fprintf(stderr, "zt: %s: %s\n", path.c_str(), Message(e).c_str());
        return false;
    }
}

bool IsUtf8(const std::string& bytes) {
    const auto* s = reinterpret_cast<const unsigned char*>(bytes.data());
    for (std::size_t i = 0, n = bytes.size(); i < n;) {
        const unsigned char c = s[i];
        const unsigned extra = c < 0x80             ? 0
                               : (c & 0xE0) == 0xC0 ? 1
                               : (c & 0xF0) == 0xE0 ? 2
                               : (c & 0xF8) == 0xF0 ? 3
                                                    : 9;
        if (extra == 9 || (extra > 0 && i + extra >= n)) return false;
        for (unsigned k = 1; k <= extra; ++k)
            if ((s[i + k] & 0xC0) != 0x80) return false;
        i += extra + 1;
    }
    return true;
}

CUniStr DecodeText(const std::string& bytes) {
    if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF &&
        static_cast<unsigned char>(bytes[1]) == 0xFE) {
        CUniStr text;
        for (std::size_t i = 2; i + 1 < bytes.size(); i += 2)
            text += static_cast<unsigned short>(static_cast<unsigned char>(bytes[i]) |
                                                static_cast<unsigned char>(bytes[i + 1]) << 8);
        return text;
    }
    if (bytes.size() >= 3 && bytes.compare(0, 3, "\xEF\xBB\xBF") == 0)
        return CUniStr::FromUtf8(bytes.substr(3));
    if (IsUtf8(bytes)) return CUniStr::FromUtf8(bytes);
    return CUniStr(bytes.c_str(), static_cast<unsigned>(bytes.size()));
}

// Line and column (from 1) of a position in the text.
std::string Where(const CUniStr& text, unsigned position) {
    unsigned line = 1, column = 1;
    for (unsigned i = 0; i < position && i < text.Length(); ++i) {
        if (text[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
    return std::to_string(line) + ":" + std::to_string(column);
}

// Reads the values of a text one after another. On a reader error, reports it with its place and returns
// false.
template <class Each>
bool ReadValues(const std::string& path, const CUniStr& text, Each&& each) {
    unsigned position = 0;
    while (position < text.Length()) {
        unsigned at = position, stopped = position;
        CGeneric value;
        try {
            value = ReadGenericValue(text, at, stopped);
        } catch (const CZtException& e) {
            // Point at the last character the reader took (the offending one), or at the end.
            at = stopped > position && stopped <= text.Length() && text[stopped - 1] > 32 ? stopped - 1
                                                                                          : stopped;
            std::string message = Message(e);
            while (!message.empty() && message.back() == '\n') message.pop_back();
            std::fprintf(stderr, "%s:%s: error %d: %s\n", path.c_str(), Where(text, at).c_str(),
                         e.GetErrorCode(), message.c_str());
            return false;
        }
        if (value.IsNull() && at >= text.Length()) break;  // only white space and comments were left
        if (at == position) {
            std::fprintf(stderr, "%s:%s: error: no progress\n", path.c_str(), Where(text, at).c_str());
            return false;
        }
        position = at;
        each(value);
    }
    return true;
}

int Pretty(const std::vector<std::string>& files) {
    int result = kOk;
    for (const std::string& path : files) {
        std::string bytes;
        if (!ReadBytes(path, bytes)) {
            result = kIoError;
            continue;
        }
        const bool ok = ReadValues(path, DecodeText(bytes), [](const CGeneric& value) {
            std::string out = Utf8(value.GetPrettyPrint());
            if (out.empty() || out.back() != '\n') out += '\n';
            std::fwrite(out.data(), 1, out.size(), stdout);
        });
        if (!ok && result == kOk) result = kBadInput;
    }
    return result;
}

int Check(const std::vector<std::string>& files) {
    int result = kOk;
    for (const std::string& path : files) {
        std::string bytes;
        if (!ReadBytes(path, bytes)) {
            result = kIoError;
            continue;
        }
        unsigned count = 0;
        if (ReadValues(path, DecodeText(bytes), [&](const CGeneric&) { ++count; }))
            std::printf("%s: ok, %u value%s\n", path.c_str(), count, count == 1 ? "" : "s");
        else if (result == kOk)
            result = kBadInput;
    }
    return result;
}

int Convert(const std::string& input, const std::string& to, const std::string& output) {
    std::string bytes;
    if (!ReadBytes(input, bytes)) return kIoError;
    try {
        CXFile out;
        out.Create(eOpenCurrentDir, CStr(output.c_str()), 1, XF_BINARY);
        if (to == "binary") {
            bool ok = ReadValues(input, DecodeText(bytes), [&](const CGeneric& value) { value >> out; });
            out.Flush();
            return ok ? kOk : kBadInput;
        }
        // Binary to text: values one after another until the end of the file, each on its own lines.
        CXFile in = gFileSystem.CreateRamFile(XF_BINARY);
        in.WriteBlock(bytes.data(), static_cast<unsigned>(bytes.size()));
        in.Seek(0);
        while (!in.Eof()) {
            CGeneric value;
            const int before = in.GetFilePosition();
            try {
                value << in;
            } catch (const CZtException& e) {
                std::fprintf(stderr, "%s: byte %d: error %d: %s\n", input.c_str(), before, e.GetErrorCode(),
                             Message(e).c_str());
                return kBadInput;
            }
            std::string text = Utf8(value.GetPrettyPrint());
            if (text.empty() || text.back() != '\n') text += '\n';
            out.WriteBlock(text.data(), static_cast<unsigned>(text.size()));
        }
        out.Flush();
        return kOk;
    } catch (const CZtException& e) {
        std::fprintf(stderr, "zt: %s: %s\n", output.c_str(), Message(e).c_str());
        return kIoError;
    }
}

int Usage(const char* problem) {
    if (problem) std::fprintf(stderr, "zt: %s\n\n", problem);
    std::fputs(kUsageText, problem ? stderr : stdout);
    return problem ? kUsage : kOk;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty()) return Usage("no command given");
    const std::string command = args[0];
    if (command == "--help" || command == "-h" || command == "help") return Usage(nullptr);
    std::vector<std::string> rest(args.begin() + 1, args.end());
    for (const std::string& a : rest)
        if (a == "--help" || a == "-h") return Usage(nullptr);
    if (command == "pretty" || command == "check") {
        if (rest.empty()) return Usage(("'" + command + "' needs at least one file").c_str());
        return command == "pretty" ? Pretty(rest) : Check(rest);
    }
    if (command == "convert") {
        std::string input, to, output;
        for (std::size_t i = 0; i < rest.size(); ++i) {
            if (rest[i] == "--to" && i + 1 < rest.size())
                to = rest[++i];
            else if (rest[i] == "-o" && i + 1 < rest.size())
                output = rest[++i];
            else if (input.empty() && rest[i][0] != '-')
                input = rest[i];
            else
                return Usage(("unexpected argument '" + rest[i] + "'").c_str());
        }
        if (input.empty() || output.empty()) return Usage("'convert' needs FILE and -o OUT");
        if (to != "binary" && to != "text") return Usage("'--to' must be 'binary' or 'text'");
        return Convert(input, to, output);
    }
    return Usage(("unknown command '" + command + "'").c_str());
}
