// The sample component's bodies as its clients see them. A client loads the component (by name, list file
// or directory), creates a component through an interface name and uses the body through these classes:
//
//     CComponentHandle h = gComponentManager.CreateComponent("Sample.Greeter");
//     auto* greeter = static_cast<sample::Greeter*>(h.GetComponentBody());
//     greeter->Greet("world");   // "Hello, world!"
//
// The interfaces:
//   "Sample.Greeter"  a Greeter, whose Greet(who) is "Hello, " + who + "!"
//   "Sample.Counter"  a Counter, whose Next() gives 1, 2, 3, ... (each counter on its own); its
//                     CreateContext gives a context that counts the contexts made so far
#pragma once

#include <ztbase/components/component.h>

namespace sample {

class Greeter : public ZtBase::CComponentBodyBase {
public:
    virtual ZtBase::CUniStr Greet(const ZtBase::CUniStr& who) const = 0;
};

class Counter : public ZtBase::CComponentBodyBase {
public:
    virtual int Next() = 0;
};

class CounterContext : public ZtBase::CAPIContextRep {
public:
    virtual int Serial() const = 0;  // 1 for the first context made, 2 for the next, ...
};

}  // namespace sample
