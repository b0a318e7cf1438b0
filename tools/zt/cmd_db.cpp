// zt db: reads and writes Unicode string databases (mapped data table files) from the shell.
//
// Keys are segments joined by "/", a backslash taking the next character literally. Values and keys are
// UTF-8 on the command line. list and dump write one record a line, the key, a tab and the value, with
// backslash, tab, line feed and carriage return written \\, \t, \n and \r; dump starts with "ZtDbDump 1" and
// is what load reads.
#include <filesystem>
#include <memory>

#include "zt.h"

namespace zt {

namespace {

using ZtBase::CUniStr;
using ZtBase::CUniStrDB;

CUniStr Key(const std::string& utf8) {
    return CUniStr::FromUtf8(utf8);
}

// Opens the table: a missing file is exit 3 for reading (a write makes it), a file that is not a table
// exit 1.
CUniStrDB OpenTable(const std::string& path, bool readOnly) {
    const std::string full = std::filesystem::absolute(path).string();
    if (readOnly && !std::filesystem::exists(full)) throw Failure{kIoError, path + ": no such table"};
    CUniStrDB db;
    try {
        db.Open(CUniStr(full.c_str()), readOnly ? 1 : 0);
    } catch (const ZtBase::CZtException& e) {
        const int code = e.GetErrorCode() == static_cast<int>(ZtBase::kErrDataTable) ? kBadInput : kIoError;
        throw Failure{code, path + ": " + PlainMessage(CUniStr(e.GetErrorString(0)).ToUtf8())};
    }
    return db;
}

std::string ReadFileOf(const ZtBase::CXFile& file) {
    file.Seek(0);
    std::string text(static_cast<std::size_t>(file.GetFileLength()), '\0');
    text.resize(file.ReadBlock(text.data(), static_cast<unsigned>(text.size())));
    return text;
}

void Print(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        throw Failure{kIoError, "standard output: write error"};
}

}  // namespace

Command AddDbCommand(CLI::App& zt) {
    struct Options {
        std::string file, key, value, prefix, dump, out;
    };
    auto o = std::make_shared<Options>();
    CLI::App* app = zt.add_subcommand("db", "Read and write a string database (a mapped data table file)");
    app->add_option("file", o->file, "The table file")->required();
    app->require_subcommand(1);
    CLI::App* get = app->add_subcommand("get", "Print the value stored under KEY");
    get->add_option("key", o->key, "The key, segments joined by /")->required();
    CLI::App* set = app->add_subcommand("set", "Store VALUE under KEY (the file is made when missing)");
    set->add_option("key", o->key, "The key")->required();
    set->add_option("value", o->value, "The value (UTF-8)")->required();
    CLI::App* erase = app->add_subcommand("delete", "Remove KEY and every key under it");
    erase->add_option("key", o->key, "The key")->required();
    CLI::App* list = app->add_subcommand("list", "Print the records at or under PREFIX, sorted by key");
    list->add_option("prefix", o->prefix, "The key under which to list (all when absent)");
    CLI::App* dump = app->add_subcommand("dump", "Write every record as text that load reads back");
    dump->add_option("-o,--output", o->out, "The file to write");
    CLI::App* load = app->add_subcommand("load", "Store every record of a dump (- for standard input)");
    load->add_option("dump", o->dump, "The dump to read")->required();
    CLI::App* check = app->add_subcommand("check", "Check the file's consistency; exit 1 when it fails");
    CLI::App* stats = app->add_subcommand("stats", "Print the counts and sizes of the table");
    return {app, [o, get, set, erase, list, dump, load, check, stats] {
                const std::string& file = o->file;
                if (set->parsed() || erase->parsed() || load->parsed()) {
                    CUniStrDB db = OpenTable(file, false);
                    if (set->parsed()) {
                        db.SetRecord(Key(o->key).c_str(), CUniStr::FromUtf8(o->value));
                        return kOk;
                    }
                    if (erase->parsed()) {
                        if (!db.DeleteCUniStrKey(Key(o->key)))
                            throw Failure{kBadInput, file + ": no key " + o->key};
                        return kOk;
                    }
                    const Input input = ReadInput(o->dump);
                    ZtBase::CXFile in = ZtBase::gFileSystem.CreateRamFile(ZtBase::XF_BINARY);
                    in.WriteBlock(input.bytes.data(), static_cast<unsigned>(input.bytes.size()));
                    in.Seek(0);
                    try {
                        db.Load(in);
                    } catch (const ZtBase::CZtMappedDataTableException& e) {
                        throw Failure{kBadInput, input.name + ": " + CUniStr(e.GetErrorString(0)).ToUtf8()};
                    }
                    return kOk;
                }
                CUniStrDB db = OpenTable(file, true);
                if (get->parsed()) {
                    CUniStr value;
                    if (!db.GetRecord(Key(o->key).c_str(), value))
                        throw Failure{kBadInput, file + ": no key " + o->key};
                    Print(value.ToUtf8() + "\n");
                    return kOk;
                }
                if (list->parsed() || dump->parsed()) {
                    ZtBase::CXFile text = ZtBase::gFileSystem.CreateRamFile(ZtBase::XF_BINARY);
                    if (dump->parsed()) {
                        db.Dump(text, ZtBase::kDumpSorted);
                        Output out(o->out);
                        out.Write(ReadFileOf(text));
                        out.Commit();
                        return kOk;
                    }
                    ZtBase::CXFile values = ZtBase::gFileSystem.CreateRamFile(ZtBase::XF_BINARY);
                    CUniStr prefix = Key(o->prefix), last;
                    db.Dump(text, ZtBase::kDumpSorted | ZtBase::kDumpNoHeader);
                    if (!o->prefix.empty()) {
                        text = ZtBase::gFileSystem.CreateRamFile(ZtBase::XF_BINARY);
                        db.DumpTable(text, values, prefix, last, ZtBase::kDumpSorted);
                        // Key and value lines side by side.
                        const std::string keys = ReadFileOf(text), texts = ReadFileOf(values);
                        std::string lines;
                        for (std::size_t k = 0, v = 0; k < keys.size();) {
                            const std::size_t ke = keys.find('\n', k), ve = texts.find('\n', v);
                            lines += keys.substr(k, ke - k) + "\t" + texts.substr(v, ve - v) + "\n";
                            k = ke + 1;
                            v = ve + 1;
                        }
                        if (lines.empty()) throw Failure{kBadInput, file + ": nothing under " + o->prefix};
                        Print(lines);
                        return kOk;
                    }
                    Print(ReadFileOf(text));
                    return kOk;
                }
                ZtBase::CUniStrDBRep& table = *db.GetRep();
                if (check->parsed()) {
                    if (table.WasInterrupted())
                        std::fprintf(stderr, "zt: %s: a write was interrupted; the next write repairs it\n",
                                     file.c_str());
                    ZtBase::CLineCollector findings;
                    const bool good = table.CheckFile();
                    if (good) {
                        Print("ok\n");
                        return kOk;
                    }
                    std::string found = findings.GetText().ToUtf8();
                    while (!found.empty() && found.back() == '\n') found.pop_back();
                    throw Failure{kBadInput, file + ": " + found};
                }
                (void)stats;
                const ZtBase::STableStatistics s = table.GetStatistics();
                char text[512];
                std::snprintf(text, sizeof text,
                              "records       %u\nentries       %u\nindexes       %u\nbuckets       %llu\n"
                              "longest chain %u\nused          %u\nfile length   %u\ndead          %u\n",
                              s.records, s.entries, s.indexes, s.buckets, s.longestChain, s.used,
                              s.fileLength, s.dead);
                Print(text);
                return kOk;
            }};
}

}  // namespace zt
