// Components that must not load, one per build of this file (BROKEN_KIND): without the entry function,
// with an entry that returns null, with an entry that raises, and with a library whose initialisation
// raises.
#include <ztbase/components/component.h>

#include <stdexcept>

#if BROKEN_KIND == 1
extern "C" __attribute__((visibility("default"))) int SomethingElse() {
    return 1;
}
#elif BROKEN_KIND == 2
ZTBASE_COMPONENT_ENTRY GetLibraryClass() {
    return nullptr;
}
#elif BROKEN_KIND == 3
ZTBASE_COMPONENT_ENTRY GetLibraryClass() {
    throw std::runtime_error("cannot start");
}
#elif BROKEN_KIND == 4
namespace {
class Refusing : public ZtBase::CComponentLibrary {
public:
    void InitializeComponent(ZtBase::CComponentManager&) override { throw std::runtime_error("no"); }
};
}  // namespace
ZTBASE_EXPORT_COMPONENT(Refusing)
#endif
