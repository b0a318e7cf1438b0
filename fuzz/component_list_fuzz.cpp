// Arbitrary bytes as a component list file, read by the native manager with loading replaced by a record
// of the names asked for: each name is a trimmed, non-empty line of the file.
#include <ztbase/ztbase.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz_support.h"

namespace {
class RecordingManager : public ZtBase::CNativeComponentManager {
public:
    ZtBase::CComponentLibrary* LoadComponent(const ZtBase::CUniStr& name) override {
        const unsigned n = name.Length();
        if (n == 0 || name[0u] == ' ' || name[0u] == '\t' || name[n - 1] == ' ' || name[n - 1] == '\t')
            fuzz::Fail("a list line was not trimmed", name);
        ++asked;
        return nullptr;
    }
    int asked = 0;
};

const std::string& ListPath() {
    static const std::string path =
        (std::filesystem::temp_directory_path() / ("ztbase-fuzz-list-" + std::to_string(::getpid()) + ".txt"))
            .string();
    return path;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    {
        std::ofstream out(ListPath(), std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    RecordingManager manager;
    const int loaded = manager.LoadComponentList(ZtBase::CUniStr(ListPath().c_str()));
    if (loaded != 0) fuzz::Fail("nothing can load, yet the list counts a library", ZtBase::CUniStr());
    return 0;
}
