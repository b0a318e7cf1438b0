// Arbitrary bytes as a data table: the consistency check, lookups of keys of every shape, an iteration
// with the keys it yields looked up again, and the statistics. The bytes are a read-only view of a copy of
// the fuzzer's buffer, so a read outside the table shows as an overflow.
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
    try {
        ZtMappedDataTable<char> table(file, '/');
        table.CheckFile();
        for (const char16_t* key :
             {u"", u"a", u"a/b", u"a\\/b", u"/", u"dog/plural", u"go/past", u"x//y\\"}) {
            unsigned n = 0;
            if (const char* p = table.GetRecordBytes(reinterpret_cast<const unsigned short*>(key), &n)) {
                volatile char sink = n ? p[n - 1] : 0;
                (void)sink;
            }
        }
        unsigned visited = 0;
        for (auto it = table.GetTableBegin(nullptr); !it.IsEnd() && visited < 1000; ++it, ++visited) {
            const CUniStr key = it.GetKey();
            table.GetRecordBytes(key.c_str());
            it.GetSegments();
        }
        table.GetStatistics();
    } catch (const CZtException&) {
        // Not a table: the documented error.
    }
    return 0;
}
