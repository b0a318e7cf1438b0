// Arbitrary bytes as a file name. Parsing never raises; a valid name with a complete form parses from that
// form into the same parts, and the name's other views (path, extension) stay within the name.
#include <ztbase/ztbase.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz_support.h"

namespace {
std::string Parts(const ZtBase::CXFileName& n) {
    std::string s = std::to_string(n.GetKind()) + "|" + n.GetDrive().c_str() + "|" +
                    std::to_string(n.IsRooted()) + "|" + std::to_string(n.HasWildcards()) + "|";
    for (unsigned i = 0; i < n.GetDirectories().GetLength(); ++i) {
        s += n.GetDirectories()[i].c_str();
        s += '\\';
    }
    return s + "|" + n.GetFileName().c_str();
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace ZtBase;
    std::string bytes(reinterpret_cast<const char*>(data), size);
    bytes.erase(bytes.find('\0') == std::string::npos ? bytes.size() : bytes.find('\0'));
    const CXFileName name{CStr(bytes.c_str())};
    const CStr complete = name.GetCompleteFileName();
    (void)name.GetPath();
    (void)name.GetExtension();
    (void)name.GetFileNameWithoutExtension();
    if (!name.IsValid() || complete.Length() == 0) return 0;
    const CXFileName again{complete};
    if (!again.IsValid()) fuzz::Fail("a complete name is not valid", CUniStr(complete.c_str()));
    if (Parts(again) != Parts(name))
        fuzz::Fail(
            ("the complete name parses into other parts: " + Parts(name) + " / " + Parts(again)).c_str(),
            CUniStr(complete.c_str()));
    if (again.GetCompleteFileName() != complete)
        fuzz::Fail("the complete name of a complete name differs", CUniStr(complete.c_str()));
    CXFileName combined = name;
    combined.CombineDefaultPath(CXFileName(CStr("C:\\base\\dir\\x.txt")));
    (void)combined.GetCompleteFileName();
    return 0;
}
