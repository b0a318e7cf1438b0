// zt pack: writes, lists and extracts containers, the files whose members the library opens in place.
//
// A container written here starts with its identification: "ZtPack 1" (8 bytes), the whole file's length
// (32-bit, little-endian) and zeros up to byte 52. Then come the member count (16-bit), one 24-byte entry
// per member (its name with a length byte first, at most 15 characters, in 16 bytes; its offset and size,
// 32-bit) and the members' bytes in the order given. A member is named by its file's last component.
#include <filesystem>
#include <memory>
#include <set>

#include "zt.h"

namespace zt {

namespace {

constexpr char kMagic[] = "ZtPack 1";
constexpr std::size_t kLead = ZtBase::CXConcatFile::kLeadSize, kEntry = ZtBase::CXConcatFile::kEntrySize;
constexpr std::size_t kMaxName = ZtBase::CXConcatFile::kNameField - 1;

void Put(std::string& out, std::size_t at, unsigned long long value, int bytes) {
    for (int i = 0; i < bytes; ++i) out[at + i] = static_cast<char>(value >> (8 * i));
}

// Taken as a 64-bit count, so that the test means the same where sizes are 32 bits.
bool LongerThan4GiB(unsigned long long size) {
    return size > 0xFFFFFFFFull;
}

std::string Pack(const std::vector<std::string>& files) {
    if (files.size() > 0xFFFF) throw Failure{kUsage, "a container holds at most 65535 members"};
    std::vector<Input> members;
    std::set<std::string> names;
    for (const std::string& path : files) {
        const std::string name = std::filesystem::path(path).filename().string();
        if (name.empty() || name.size() > kMaxName)
            throw Failure{kUsage, path + ": a member's name has 1 to 15 characters"};
        if (!names.insert(name).second) throw Failure{kUsage, path + ": a second member named " + name};
        members.push_back(ReadInput(path));
        members.back().name = name;
    }
    std::string out(kLead + 2 + kEntry * members.size(), '\0');
    std::copy(kMagic, kMagic + 8, out.begin());
    Put(out, kLead, members.size(), 2);
    for (std::size_t i = 0; i < members.size(); ++i) {
        const std::size_t entry = kLead + 2 + kEntry * i;
        out[entry] = static_cast<char>(members[i].name.size());
        out.replace(entry + 1, members[i].name.size(), members[i].name);
        Put(out, entry + 16, out.size(), 4);
        Put(out, entry + 20, members[i].bytes.size(), 4);
        out += members[i].bytes;
        if (LongerThan4GiB(out.size())) throw Failure{kUsage, "a container is at most 4 GiB"};
    }
    Put(out, 8, out.size(), 4);
    return out;
}

// The container's space; a file that cannot be opened or mapped is exit 3.
std::unique_ptr<ZtBase::CXConcatFile> OpenPack(const std::string& path) {
    const std::string full = std::filesystem::absolute(path).string();
    try {
        return std::make_unique<ZtBase::CXConcatFile>(ZtBase::CStr(full.c_str()));
    } catch (const ZtBase::CZtException&) {
        throw Failure{kIoError, path + ": cannot open the container"};
    }
}

}  // namespace

Command AddPackCommand(CLI::App& zt) {
    struct Options {
        std::string out, pack, member;
        std::vector<std::string> files;
    };
    auto o = std::make_shared<Options>();
    CLI::App* app = zt.add_subcommand("pack", "Write, list and extract containers of read-only files");
    app->require_subcommand(1);
    CLI::App* create = app->add_subcommand("create", "Write the files into a new container OUT");
    create->add_option("out", o->out, "The container to write")->required();
    create->add_option("files", o->files, "The members, named by their last component")->required();
    CLI::App* list = app->add_subcommand("list", "Print each member's name and size");
    list->add_option("pack", o->pack, "The container")->required();
    CLI::App* extract = app->add_subcommand("extract", "Write one member to standard output or -o");
    extract->add_option("pack", o->pack, "The container")->required();
    extract->add_option("member", o->member, "The member's name")->required();
    extract->add_option("-o,--output", o->out, "The file to write");
    return {app, [o, create, list] {
                if (create->parsed()) {
                    Output out(o->out);
                    out.Write(Pack(o->files));
                    out.Commit();
                    return kOk;
                }
                const auto space = OpenPack(o->pack);
                // Members are named under the container's directory.
                const ZtBase::CStr directory = ZtBase::CXFileName(space->GetContainer().GetName()).GetPath();
                if (list->parsed()) {
                    for (int i = 0, count = space->GetFileCount(); i < count; ++i) {
                        const ZtBase::CStr name = space->GetFileNameIdx(i);
                        std::printf("%-15s %d\n", name.c_str(), space->Size(directory + name));
                    }
                    if (std::fflush(stdout) != 0) throw Failure{kIoError, "standard output: write error"};
                    return kOk;
                }
                const ZtBase::CXFile member =
                    space->OpenMemberFile(directory + ZtBase::CStr(o->member.c_str()), ZtBase::XF_BINARY);
                if (member.IsNull()) throw Failure{kBadInput, o->pack + ": no member named " + o->member};
                std::string bytes(static_cast<std::size_t>(member.GetFileLength()), '\0');
                bytes.resize(member.ReadBlock(bytes.data(), static_cast<unsigned>(bytes.size())));
                Output out(o->out);
                out.Write(bytes);
                out.Commit();
                return kOk;
            }};
}

}  // namespace zt
