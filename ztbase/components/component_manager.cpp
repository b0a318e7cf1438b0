#include "ztbase/components/component_manager.h"

#include "ztbase/base/line_sink.h"
#include "ztbase/files/file_name.h"
#include "ztbase/files/file_system.h"
#include "ztbase/platform/internal/platform.h"

namespace ZtBase {

// ---- the handle ---------------------------------------------------------------------------------
CComponenentManagerRep::~CComponenentManagerRep() = default;

CComponentManager::CComponentManager(CComponenentManagerRep* rep) noexcept : m_rep(rep) {
    if (m_rep) m_rep->m_owner = this;
}
CComponentManager::~CComponentManager() {
    delete m_rep;
}

CComponentLibrary* CComponentManager::LoadComponent(const CUniStr& name) {
    return m_rep ? m_rep->LoadComponent(name) : nullptr;
}
void CComponentManager::ClosingProgram() {
    if (m_rep) m_rep->ClosingProgram();
}
int CComponentManager::LoadComponentList(const CUniStr& listFile) {
    return m_rep ? m_rep->LoadComponentList(listFile) : 0;
}
int CComponentManager::LoadDirectoryList(const CUniStr& directory, const CUniStr& extension) {
    return m_rep ? m_rep->LoadDirectoryList(directory, extension) : 0;
}
CComponentInterface* CComponentManager::FindNamedInterface(const CUniStr& name) {
    return m_rep ? m_rep->FindNamedInterface(name) : nullptr;
}
CUniStr CComponentManager::FindLibraryPath(const CUniStr& interfaceName) {
    return m_rep ? m_rep->FindLibraryPath(interfaceName) : CUniStr();
}
CUniStr CComponentManager::FindLibraryFileName(const CUniStr& interfaceName) {
    return m_rep ? m_rep->FindLibraryFileName(interfaceName) : CUniStr();
}
unsigned char CComponentManager::HasFunction(const CUniStr& library, const CUniStr& function) const {
    return m_rep ? m_rep->HasFunction(library, function) : 0;
}
CComponentHandle CComponentManager::CreateComponent(const CUniStr& interfaceName) {
    CComponentInterface* found = FindNamedInterface(interfaceName);
    return found ? found->CreateComponent() : CComponentHandle();
}

// ---- the native implementation ------------------------------------------------------------------
namespace {

using Entry = CComponentLibrary* (*)();

// A name as the system takes it: either separator read as the system's own.
std::string NativeName(const CUniStr& name) {
    std::string native = name.ToUtf8();
    for (char& c : native)
        if (c == '\\' || c == '/') c = platform::kNativeSeparator;
    return native;
}

// The places a name is looked for, in order.
std::vector<std::string> Candidates(const std::string& name) {
    std::vector<std::string> names{name};
    const std::size_t slash = name.rfind('/');
    const std::string file = slash == std::string::npos ? name : name.substr(slash + 1);
    if (file.find('.') == std::string::npos) names.push_back(name + "." + platform::LibraryExtension());
    std::vector<std::string> places;
    if (slash == std::string::npos) {
        std::string program = platform::ProgramPath();
        program.erase(program.rfind('/') + 1);
        for (const std::string& n : names) places.push_back(program + n);
    }
    for (const std::string& n : names) places.push_back(n);
    return places;
}

void* OpenByName(const CUniStr& name) {
    std::string error;
    for (const std::string& place : Candidates(NativeName(name)))
        if (void* module = platform::OpenLibrary(place.c_str(), error)) return module;
    return nullptr;
}

// A function looked up as written and, for a stdcall-decorated name ("_Name@N"), undecorated too.
void* FindFunction(void* module, const std::string& name) {
    if (void* found = platform::LibrarySymbol(module, name.c_str())) return found;
    const std::size_t at = name.rfind('@');
    if (name.size() > 1 && name[0] == '_' && at != std::string::npos && at > 1)
        return platform::LibrarySymbol(module, name.substr(1, at - 1).c_str());
    return nullptr;
}

bool IsBaseLibrary(const CStr& file) {
    for (const char* own : {"ztbase.dll", "ztbase.so"}) {
        const unsigned n = static_cast<unsigned>(std::char_traits<char>::length(own));
        if (file.GetLength() >= n &&
            CStr(file.c_str() + file.GetLength() - n).Compare(own, eIgnoreCase) == eEqual)
            return true;
    }
    return false;
}

}  // namespace

CNativeComponentManager::CNativeComponentManager() = default;
CNativeComponentManager::~CNativeComponentManager() = default;

int CNativeComponentManager::FindLoadedUnlocked(const CUniStr& name) const {
    const CStr narrow = name.ConvertTo8Bit_Safe();
    for (std::size_t i = 0; i < m_names.size(); ++i)
        if (m_names[i].ConvertTo8Bit_Safe().Compare(narrow, eIgnoreCase) == eEqual)
            return static_cast<int>(i);
    return -1;
}

CComponentLibrary* CNativeComponentManager::LoadComponent(const CUniStr& name) {
    CGetLock hold(m_lock);
    if (const int i = FindLoadedUnlocked(name); i >= 0) return m_libraries[static_cast<std::size_t>(i)];
    void* module = OpenByName(name);
    if (!module) return nullptr;
    CComponentLibrary* library = nullptr;
    try {
        if (auto entry = reinterpret_cast<Entry>(FindFunction(module, "_GetLibraryClass@0")))
            library = entry();
        if (library && GetOwner()) library->InitializeComponent(*GetOwner());
    } catch (...) {
        DebugWriteLn("A component raised while it was being loaded");
        library = nullptr;
    }
    if (!library) {
        platform::CloseLibrary(module);
        return nullptr;
    }
    m_names.push_back(name);
    m_modules.push_back(module);
    m_libraries.push_back(library);
    return library;
}

void CNativeComponentManager::ClosingProgram() {
    CGetLock hold(m_lock);
    for (CComponentLibrary* library : m_libraries) {
        try {
            library->ClosingProgram();
            for (int i = 0, n = library->GetInterfaceCount(); i < n; ++i) library->GetInterfaceIdx(i);
        } catch (...) {
            DebugWriteLn("A component raised while the program was closing");
        }
    }
    m_libraries.clear();
    m_names.clear();
    m_modules.clear();  // the modules stay loaded: objects they made may outlive this call
}

int CNativeComponentManager::LoadComponentList(const CUniStr& listFile) {
    CXFile file;
    try {
        file.OpenExisting(eOpenCurrentDir, listFile.ConvertTo8Bit_Safe(), 1, XF_TEXT_CRLF, 1, XF_SHARE_READ);
    } catch (const CZtException&) {
        return 0;
    }
    int loaded = 0;
    CUniStr line;
    for (bool more = true; more;) {
        more = file.UniReadLn(line);
        std::u16string text(reinterpret_cast<const char16_t*>(line.c_str()), line.GetLength());
        const std::size_t first = text.find_first_not_of(u" \t");
        if (first == std::u16string::npos) continue;
        text = text.substr(first, text.find_last_not_of(u" \t") - first + 1);
        if (LoadComponent(CUniStr(text.c_str()))) ++loaded;
    }
    return loaded;
}

int CNativeComponentManager::LoadDirectoryList(const CUniStr& directory, const CUniStr& extension) {
    CStr pattern = directory.ConvertTo8Bit_Safe();
    const unsigned n = pattern.GetLength();
    if (n > 0 && pattern.c_str()[n - 1] != '\\' && pattern.c_str()[n - 1] != '/') pattern += "\\";
    pattern += "*.";
    pattern += extension.ConvertTo8Bit_Safe();
    ZtRefArray<CStr> files;
    try {
        gFileSystem.GetFileList(eOpenCurrentDir, files, pattern, 1, 0, 1);
    } catch (const CZtException&) {
        return 0;
    }
    int loaded = 0;
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (IsBaseLibrary(files[i])) continue;
        if (LoadComponent(CUniStr(files[i]))) ++loaded;
    }
    return loaded;
}

int CNativeComponentManager::FindOfferingUnlocked(const CUniStr& interfaceName) {
    for (std::size_t i = 0; i < m_libraries.size(); ++i)
        if (m_libraries[i]->GetInterface(interfaceName)) return static_cast<int>(i);
    return -1;
}

CComponentInterface* CNativeComponentManager::FindNamedInterface(const CUniStr& name) {
    CGetLock hold(m_lock);
    const int i = FindOfferingUnlocked(name);
    return i < 0 ? nullptr : m_libraries[static_cast<std::size_t>(i)]->GetInterface(name);
}

CUniStr CNativeComponentManager::FindLibraryPath(const CUniStr& interfaceName) {
    CGetLock hold(m_lock);
    const int i = FindOfferingUnlocked(interfaceName);
    if (i < 0) return CUniStr();
    return CUniStr(CXFileName(m_names[static_cast<std::size_t>(i)].ConvertTo8Bit_Safe()).GetPath());
}

CUniStr CNativeComponentManager::FindLibraryFileName(const CUniStr& interfaceName) {
    CGetLock hold(m_lock);
    const int i = FindOfferingUnlocked(interfaceName);
    if (i < 0) return CUniStr();
    return CUniStr(
        CXFileName(m_names[static_cast<std::size_t>(i)].ConvertTo8Bit_Safe()).GetFileNameWithoutPath());
}

std::vector<std::pair<CUniStr, CComponentLibrary*>> CNativeComponentManager::GetLoadedLibraries() const {
    CGetLock hold(m_lock);
    std::vector<std::pair<CUniStr, CComponentLibrary*>> loaded;
    for (std::size_t i = 0; i < m_libraries.size(); ++i) loaded.emplace_back(m_names[i], m_libraries[i]);
    return loaded;
}

unsigned char CNativeComponentManager::HasFunction(const CUniStr& library, const CUniStr& function) const {
    const std::string name = function.ToUtf8();
    {
        CGetLock hold(m_lock);
        if (const int i = FindLoadedUnlocked(library); i >= 0)
            return FindFunction(m_modules[static_cast<std::size_t>(i)], name) ? 1 : 0;
    }
    void* module = OpenByName(library);
    if (!module) return 0;
    const bool found = FindFunction(module, name) != nullptr;
    platform::CloseLibrary(module);
    return found ? 1 : 0;
}

}  // namespace ZtBase
