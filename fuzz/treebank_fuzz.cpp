// Arbitrary bytes as treebank text. A tree that reads prints, plainly and pretty, and copies; malformed text
// raises the documented error and leaves the value as it was.
#include <ztbase/ztbase.h>

#include <cstddef>
#include <cstdint>

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace ZtBase;
    const CUniStr text = fuzz::Utf16Text(data, size);
    CGeneric value = CGeneric::CreateFromString(CUniStr(u"kept"));
    const CGeneric before = value;
    try {
        value.SetFromPennTreeString(text);
    } catch (const CZtException&) {
        if (!(value == before)) fuzz::Fail("a failed read changed the value", text);
        return 0;
    }
    try {
        (void)value.GetString();
        (void)value.GetPrettyPrint(0);
    } catch (const CZtException&) {
        // A tree deeper than the printer goes: the documented error.
    }
    const CGeneric copy = value;
    if (!(copy == value)) fuzz::Fail("a tree differs from its copy", text);
    return 0;
}
