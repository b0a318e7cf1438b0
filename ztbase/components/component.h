// Component libraries: the classes a component (a shared library loaded at run time) is made of. A
// component defines one CComponentLibrary subclass, registers its interfaces with it (each a
// CComponentInterface under a name) and exports its entry function with ZTBASE_EXPORT_COMPONENT.
// Interfaces create component bodies (CComponentBodyBase, reached through CComponentHandle) and,
// optionally, per-caller contexts (CAPIContext).
#pragma once

#include <utility>
#include <vector>

#include "ztbase/base/handle.h"
#include "ztbase/platform/export.h"
#include "ztbase/strings/unistr.h"

namespace ZtBase {

class CComponentManager;
class CComponentInterface;

// The base of component bodies; a component's own classes derive from it.
class ZTBASE_API CComponentBodyBase : public CRepBase {
public:
    ~CComponentBodyBase() override;
};

class ZTBASE_API CComponentHandle : public ZtHandle<CComponentBodyBase> {
public:
    CComponentHandle() noexcept = default;
    explicit CComponentHandle(CComponentBodyBase* body) noexcept : ZtHandle(body) {}
    CComponentBodyBase* GetComponentBody() const noexcept { return m_rep; }
};

// A per-caller context an interface may make.
class ZTBASE_API CAPIContextRep : public CRepBase {
public:
    ~CAPIContextRep() override;
};

class ZTBASE_API CAPIContext : public ZtHandle<CAPIContextRep> {
public:
    CAPIContext() noexcept = default;
    explicit CAPIContext(CAPIContextRep* body) noexcept : ZtHandle(body) {}
    unsigned char Eq(const CAPIContext& other) const noexcept { return m_rep == other.m_rep ? 1 : 0; }
};

class CComponentLibrary;

// A named service of a component.
class ZTBASE_API CComponentInterface {
public:
    virtual ~CComponentInterface();
    // The name under which the interface is registered and found.
    virtual CUniStr GetInterfaceName() const = 0;
    // Makes a new component body and returns the handle on it (an empty handle when it cannot).
    virtual CComponentHandle CreateComponent() = 0;
    // A context for one caller; the default is an empty context.
    virtual CAPIContext CreateContext();
    // Adds this interface to the library under its name.
    void Register(CComponentLibrary* library);
};

// The object a component's entry function returns. The defaults: initialisation and closing do nothing,
// the interfaces are those added with AddComponent, found by name exactly (case counts), the first of a
// name winning. The library does not own its interfaces: the component keeps them alive (usually as
// members of its library object) for as long as it is loaded.
class ZTBASE_API CComponentLibrary {
public:
    explicit CComponentLibrary(const CUniStr& name = CUniStr()) : m_name(name) {}
    CComponentLibrary(const CComponentLibrary&) = delete;
    CComponentLibrary& operator=(const CComponentLibrary&) = delete;
    virtual ~CComponentLibrary();

    // Called once when the library has been loaded, before it is counted as loaded; raising refuses the
    // load.
    virtual void InitializeComponent(CComponentManager& manager);
    virtual void ClosingProgram();
    virtual CUniStr GetComponentName() const;
    virtual int GetInterfaceCount();
    // Null outside 0 .. count - 1.
    virtual CComponentInterface* GetInterfaceIdx(int index);
    virtual CComponentInterface* GetInterface(const CUniStr& name);

    void AddComponent(const CUniStr& name, CComponentInterface* component);

private:
    CUniStr m_name;
    std::vector<std::pair<CUniStr, CComponentInterface*>> m_interfaces;
};

}  // namespace ZtBase

// Exports a component's entry function, which returns the one LibraryClass object of the component (made
// on the first call). The function is the C function GetLibraryClass; on 32-bit Windows its stdcall form
// is exported as "_GetLibraryClass@0". Use it once, at namespace scope, in one source file of the
// component.
#if defined(_WIN32)
#define ZTBASE_COMPONENT_ENTRY extern "C" __declspec(dllexport)::ZtBase::CComponentLibrary* __stdcall
#else
#define ZTBASE_COMPONENT_ENTRY extern "C" __attribute__((visibility("default"))) ::ZtBase::CComponentLibrary*
#endif
// GCC exports a 32-bit stdcall function without the C prefix ("GetLibraryClass@0"); a linker directive
// adds the export under the documented name as well.
#if defined(_WIN32) && !defined(_WIN64) && defined(__GNUC__)
#define ZTBASE_COMPONENT_ENTRY_NAME                                              \
    [[gnu::section(".drectve"), gnu::used]] static const char kZtEntryExport[] = \
        " -export:\"_GetLibraryClass@0\"=GetLibraryClass@0 ";
#else
#define ZTBASE_COMPONENT_ENTRY_NAME
#endif
#define ZTBASE_EXPORT_COMPONENT(LibraryClass)  \
    ZTBASE_COMPONENT_ENTRY_NAME                \
    ZTBASE_COMPONENT_ENTRY GetLibraryClass() { \
        static LibraryClass library;           \
        return &library;                       \
    }
