// Arbitrary bytes as the zt tool's JSON input. Bad JSON, or JSON that names no value, is refused with the
// tool's failure; every value made prints.
#include <cstddef>
#include <cstdint>
#include <string>

#include "json_bridge.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const zt::Input input{"fuzz", std::string(reinterpret_cast<const char*>(data), size)};
    for (bool lossy : {false, true}) {
        try {
            zt::ForEachJsonValue(
                input, [](const ZtBase::CGeneric& value) { (void)value.GetString(); }, lossy);
        } catch (const zt::Failure&) {
            // refused with a message: the documented outcome
        } catch (const ZtBase::CZtException&) {
            // a value the library refuses (a text that is no symbol)
        }
    }
    return 0;
}
