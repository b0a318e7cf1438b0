// A sample component with two interfaces (sample_component.h says what they do). It shows the whole of
// what a component needs: a library class that registers its interfaces, the interfaces that create the
// bodies, and the one export of the entry function.
#include "sample_component.h"

#include <atomic>

namespace {

using namespace ZtBase;

class GreeterBody : public sample::Greeter {
public:
    CUniStr Greet(const CUniStr& who) const override { return CUniStr("Hello, ") + who + CUniStr("!"); }
};

class CounterBody : public sample::Counter {
public:
    int Next() override { return ++m_count; }

private:
    int m_count = 0;
};

class CounterContextBody : public sample::CounterContext {
public:
    explicit CounterContextBody(int serial) : m_serial(serial) {}
    int Serial() const override { return m_serial; }

private:
    int m_serial;
};

class GreeterInterface : public CComponentInterface {
public:
    CUniStr GetInterfaceName() const override { return CUniStr("Sample.Greeter"); }
    CComponentHandle CreateComponent() override { return CComponentHandle(new GreeterBody); }
};

class CounterInterface : public CComponentInterface {
public:
    CUniStr GetInterfaceName() const override { return CUniStr("Sample.Counter"); }
    CComponentHandle CreateComponent() override { return CComponentHandle(new CounterBody); }
    CAPIContext CreateContext() override { return CAPIContext(new CounterContextBody(++m_contexts)); }

private:
    std::atomic<int> m_contexts{0};
};

// The library object: its interfaces are members, so they live as long as the component is loaded.
class SampleLibrary : public CComponentLibrary {
public:
    SampleLibrary() : CComponentLibrary(CUniStr("Sample component")) {
        m_greeter.Register(this);
        m_counter.Register(this);
    }

private:
    GreeterInterface m_greeter;
    CounterInterface m_counter;
};

}  // namespace

ZTBASE_EXPORT_COMPONENT(SampleLibrary)
