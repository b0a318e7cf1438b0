// Built against an installed copy of the library, once through its CMake package and once through
// pkg-config: everything public must be reachable from the umbrella header.
#include <ztbase/ztbase.h>

int main() {
    ZtBase::CStr a("Ab"), b("abc");
    ZtBase::CUniStr w(u"caf\u00e9");
    unsigned pos = 0;
    const bool found = w.Find(ZtBase::CUniStr(u"e"), pos, ZtBase::eIgnoreDiacritics) && pos == 3;
    int code = 0;
    try {
        ZtBase::ThrowArrayBoundsException();
    } catch (const ZtBase::CZtException& e) {
        code = e.GetErrorCode();
    }
    return a < b && found && code == 10007 ? 0 : 1;
}
