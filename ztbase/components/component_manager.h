// The component manager: gComponentManager loads component libraries by name, from a list file or from a
// directory, and finds their interfaces by name. CComponentManager is a handle on its implementation,
// CComponenentManagerRep (the name is spelled so, with the extra syllable); every operation forwards to
// the implementation and gives an empty result (null, 0, an empty string, false) without one.
// CNativeComponentManager is the implementation over the system's shared libraries.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "ztbase/components/component.h"
#include "ztbase/platform/export.h"
#include "ztbase/process/quick_lock.h"

namespace ZtBase {

class ZTBASE_API CComponenentManagerRep {
public:
    virtual ~CComponenentManagerRep();
    virtual CComponentLibrary* LoadComponent(const CUniStr& name) = 0;
    virtual void ClosingProgram() = 0;
    virtual int LoadComponentList(const CUniStr& listFile) = 0;
    virtual int LoadDirectoryList(const CUniStr& directory, const CUniStr& extension) = 0;
    virtual CComponentInterface* FindNamedInterface(const CUniStr& name) = 0;
    virtual CUniStr FindLibraryPath(const CUniStr& interfaceName) = 0;
    virtual CUniStr FindLibraryFileName(const CUniStr& interfaceName) = 0;
    virtual unsigned char HasFunction(const CUniStr& library, const CUniStr& function) const = 0;

    // The handle that owns this implementation (what InitializeComponent is given).
    CComponentManager* GetOwner() const noexcept { return m_owner; }

private:
    friend class CComponentManager;
    CComponentManager* m_owner = nullptr;
};

class ZTBASE_API CComponentManager {
public:
    CComponentManager() noexcept = default;
    // Adopts the implementation (deleted with the manager).
    explicit CComponentManager(CComponenentManagerRep* rep) noexcept;
    CComponentManager(const CComponentManager&) = delete;
    CComponentManager& operator=(const CComponentManager&) = delete;
    ~CComponentManager();

    CComponentLibrary* LoadComponent(const CUniStr& name);
    void ClosingProgram();
    int LoadComponentList(const CUniStr& listFile);
    int LoadDirectoryList(const CUniStr& directory, const CUniStr& extension);
    CComponentInterface* FindNamedInterface(const CUniStr& name);
    CUniStr FindLibraryPath(const CUniStr& interfaceName);
    CUniStr FindLibraryFileName(const CUniStr& interfaceName);
    unsigned char HasFunction(const CUniStr& library, const CUniStr& function) const;
    // The named interface's new component, or an empty handle when no loaded library offers it.
    CComponentHandle CreateComponent(const CUniStr& interfaceName);

    CComponenentManagerRep* GetRep() const noexcept { return m_rep; }

private:
    CComponenentManagerRep* m_rep = nullptr;
};

// Shared libraries through the platform layer.
//
// LoadComponent(name): a name already loaded (both narrowed to 8 bits, compared ignoring case) gives the
// library loaded before. Otherwise the name is tried as a path (backslashes read as "/"); a name without
// a directory is looked for in the program's directory first and then where the system looks, and a name
// without an extension is also tried with the system's one ("so" here). The entry function is looked up
// as "_GetLibraryClass@0" and then undecorated, "GetLibraryClass". A library without it, whose entry
// returns null or raises, or whose InitializeComponent raises, is unloaded and gives null. Loading never
// raises.
//
// LoadComponentList(file): the file is opened through gFileSystem (code 1) as text; each line is trimmed
// of spaces and tabs at both ends, blank lines are skipped, and the rest loaded; the count of libraries
// that loaded is returned (0 when the file cannot be opened).
//
// LoadDirectoryList(directory, extension): every file of directory + "*." + extension, except the base
// library itself (a name ending in "ztbase.dll" or "ztbase.so", ignoring case); the count that loaded.
//
// ClosingProgram: tells each library (ClosingProgram), visits its interfaces, and forgets the libraries;
// the modules stay loaded until the process ends, since objects they made may still be alive.
//
// HasFunction(library, function): whether the library (loaded already, or loaded for the question and
// let go again) exports the function, looked up as for the entry function.
//
// Every operation holds the manager's lock, so threads may load and look up at once.
class ZTBASE_API CNativeComponentManager : public CComponenentManagerRep {
public:
    CNativeComponentManager();
    ~CNativeComponentManager() override;

    CComponentLibrary* LoadComponent(const CUniStr& name) override;
    void ClosingProgram() override;
    int LoadComponentList(const CUniStr& listFile) override;
    int LoadDirectoryList(const CUniStr& directory, const CUniStr& extension) override;
    CComponentInterface* FindNamedInterface(const CUniStr& name) override;
    CUniStr FindLibraryPath(const CUniStr& interfaceName) override;
    CUniStr FindLibraryFileName(const CUniStr& interfaceName) override;
    unsigned char HasFunction(const CUniStr& library, const CUniStr& function) const override;

    // The libraries loaded so far, in load order, with the names they were loaded under.
    std::vector<std::pair<CUniStr, CComponentLibrary*>> GetLoadedLibraries() const;

private:
    int FindLoadedUnlocked(const CUniStr& name) const;
    int FindOfferingUnlocked(const CUniStr& interfaceName);

    std::vector<CUniStr> m_names;                 // as loaded
    std::vector<void*> m_modules;                 // the platform's handles
    std::vector<CComponentLibrary*> m_libraries;  // what each entry function returned
    mutable CQuickLock m_lock;
};

ZTBASE_API extern CComponentManager gComponentManager;

}  // namespace ZtBase
