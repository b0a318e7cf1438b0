// Arbitrary bytes as the text form of values, read one value after another. Every value read is written,
// read back and written again: the second reading equals the first and the two texts are the same
// (numbers print with ten significant digits, so the text, not the first value, is the fixed point).
// Numbers whose text does not read back as a number ("5e-008", "inf"), null values inside
// other values ("(a=)", "[,x]") and file values are left out: their documented forms do not read back.
// Where a kind has no equality, comparing raises its documented error, which ends the input.
#include <ztbase/ztbase.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace ZtBase;
    const CUniStr text = fuzz::Utf16Text(data, size);
    // A file value ("@name") opens its file when read: a socket name would reach for the network.
    if (fuzz::Contains(text, "socket:")) return 0;
    unsigned position = 0;
    for (int values = 0; values < 64 && position < text.Length(); ++values) {
        CGeneric value;
        const unsigned before = position;
        try {
            value.SetFromString(text, position);
        } catch (const CZtException&) {
            return 0;  // malformed text: the documented error
        }
        if (position <= before) break;
        const CUniStr written = value.GetString();
        if (fuzz::HasUnreadableNumber(written) || fuzz::HasNullInside(written)) continue;
        unsigned at = 0;
        if (written.Find(static_cast<unsigned short>('@'), at)) continue;  // a file opened twice differs
        CGeneric again;
        try {
            again.SetFromString(written);
        } catch (const CZtException&) {
            fuzz::Fail("a value's own text does not read back", written);
        }
        const CUniStr rewritten = again.GetString();
        if (rewritten != written) fuzz::Fail("the text of a value read back differs", written);
        // Tree nodes compare their children by identity, so a tree read again equals the first only when
        // it has no children (a node with children prints "/" before them).
        if (!fuzz::HasNumber(written) && !written.Find(CUniStr(u"/<"), at)) {
            bool equal = false;
            try {
                equal = again == value;
            } catch (const CZtException&) {
                return 0;
            }
            if (!equal) fuzz::Fail("a value read back differs", written);
        }
        (void)value.GetPrettyPrint(0);
        (void)value.GetPrettyPrint(1);
    }
    return 0;
}
