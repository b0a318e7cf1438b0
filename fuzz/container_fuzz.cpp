// Arbitrary bytes as a container: count and list the members and read every one of them. The bytes are
// a view of the fuzzer's buffer, so a read outside the members shows as an overflow of that buffer.
#include <ztbase/ztbase.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace ZtBase;
    if (size > 0xFFFFFFFFu) return 0;
    std::vector<char> bytes;
    const CXFile container = fuzz::InputFile(data, size, bytes);
    CXConcatFile space{container};
    const CStr directory = CXFileName(container.GetName()).GetPath();
    std::vector<char> buffer;
    for (int i = 0, count = space.GetFileCount(); i < count; ++i) {
        const CStr name = directory + space.GetFileNameIdx(i);
        const CXFile member = space.OpenMemberFile(name, XF_TEXT_CRLF);
        if (member.IsNull()) continue;
        buffer.resize(static_cast<std::size_t>(member.GetFileLength()) * 2 + 1);
        member.ReadBlock(buffer.data(), static_cast<unsigned>(buffer.size()));
        (void)space.Size(name);
    }
    ZtRefArray<CStr> names;
    space.GetFileList(names, directory + CStr("*"), 1, 0, 1);
    return 0;
}
