// Arbitrary bytes as the binary form of values, loaded one after another from a read-only view. Whatever
// loads is stored in a memory file, loaded again and compared: the binary form keeps every double exactly.
#include <ztbase/ztbase.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace ZtBase;
    if (size > 0xFFFFFFFFu) return 0;
    std::vector<char> bytes;
    const CXFile file = fuzz::InputFile(data, size, bytes);
    for (int values = 0; values < 64 && !file.Eof(); ++values) {
        const int before = file.GetFilePosition();
        CGeneric value;
        try {
            value << file;
        } catch (const CZtException&) {
            return 0;  // not a stored value: the documented error
        }
        if (file.GetFilePosition() <= before) break;
        // The null value stores as nothing at all, and so does a null key or value inside an association
        // or a bundle: such a value does not load again.
        if (value.IsNull() || fuzz::HasNullInside(value.GetString())) continue;
        CXFile copy = gFileSystem.CreateRamFile(XF_BINARY);
        value >> copy;
        copy.Seek(0);
        CGeneric again;
        try {
            again << copy;
        } catch (const CZtException&) {
            fuzz::Fail("a stored value does not load again", value.GetString());
        }
        if (copy.GetFilePosition() != copy.GetFileLength())
            fuzz::Fail("loading a stored value leaves bytes unread", value.GetString());
        const CUniStr text = value.GetString();
        // Kinds whose equality is identity (DAGs, tree nodes' children) compare unequal after loading; their
        // text and their stored bytes still must not change.
        bool equal = true;
        try {
            equal = fuzz::HasNaN(text) || again == value;
        } catch (const CZtException&) {
            // a kind without equality
        }
        if (!equal && again.GetString() != text) fuzz::Fail("a value loaded again differs", text);
        CXFile second = gFileSystem.CreateRamFile(XF_BINARY);
        again >> second;
        if (fuzz::Contents(second) != fuzz::Contents(copy)) fuzz::Fail("a value stored again differs", text);
    }
    return 0;
}
