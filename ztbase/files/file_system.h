// The file system: the one object, gFileSystem, through which the library opens, creates and queries
// files. It owns the file spaces and, per purpose code, the directories to search; a name is tried in
// each space from the most recently added to the first, and within a space in each directory of the code
// in turn and then as given.
#pragma once

#include "ztbase/base/arrays.h"
#include "ztbase/files/file_space.h"
#include "ztbase/files/path_manager.h"
#include "ztbase/files/xfile.h"

namespace ZtBase {

class ZTBASE_API CXFileSystem {
public:
    // Adds the operating-system, socket and pipe spaces, in that order, and sets the code paths of the
    // program directory (0), the current directory (1) and the temporary directory (5).
    CXFileSystem();
    CXFileSystem(const CXFileSystem&) = delete;
    CXFileSystem& operator=(const CXFileSystem&) = delete;
    ~CXFileSystem();

    // The search: the first space and path that complete the name and open it win; errors of a single
    // space count as misses. When nothing opens: "File not found : " + name (11002).
    CXFile OpenExisting(EOpenCode code, const CStr& name, unsigned char buffered, XF_TEXT_MODE mode,
                        unsigned char readOnly, XF_SHARE_FLAGS share);
    CXFile Create(EOpenCode code, const CStr& name, unsigned char buffered, XF_TEXT_MODE mode);
    CXFile OpenForAppend(EOpenCode code, const CStr& name, unsigned char buffered, XF_TEXT_MODE mode,
                         XF_SHARE_FLAGS share);

    // Queries through the same search: the first place where the name exists answers. They return false
    // (or 0) for absent files and never raise for them. CreateDir makes the directory in the first place
    // that completes the name.
    unsigned char CreateDir(EOpenCode code, const CStr& name);
    unsigned char Exist(EOpenCode code, const CStr& name);
    unsigned char IsReadOnly(EOpenCode code, const CStr& name);
    unsigned char Erase(EOpenCode code, const CStr& name);
    unsigned char Rename(EOpenCode code, const CStr& oldName, const CStr& newName);
    int Size(EOpenCode code, const CStr& name);
    unsigned char Time(EOpenCode code, const CStr& name, unsigned int& low, unsigned int& high);
    unsigned char GetFileList(EOpenCode code, ZtRefArray<CStr>& result, const CStr& pattern,
                              unsigned char files = 1, unsigned char directories = 0,
                              unsigned char completeNames = 0);
    // Replaces name by its complete form in the first place where it exists; false when it exists nowhere.
    unsigned char FixFileName(EOpenCode code, CStr& name);

    void AddCodePath(EOpenCode code, const CStr& paths) { m_paths.AddCodePath(code, paths); }
    void SetCodePath(EOpenCode code, const CStr& paths) { m_paths.SetCodePath(code, paths); }
    void ClearCodePath(EOpenCode code) { m_paths.ClearCodePath(code); }
    CStr GetCodePath(EOpenCode code) const { return m_paths.GetCodePath(code); }
    CStr GetCodePathIdx(EOpenCode code, int idx) const { return m_paths.GetCodePathIdx(code, idx); }
    int GetCodePathCount(EOpenCode code) const { return m_paths.GetCodePathCount(code); }
    CXPathManager& GetPathManager() noexcept { return m_paths; }

    // Mapped files (see CXFileMemoryMapped) through the same search; size 0 maps the whole file.
    CXFile OpenMappedFile(EOpenCode code, const CStr& name, unsigned char readOnly, int size,
                          XF_TEXT_MODE mode);
    CXFile CreateMappedFile(EOpenCode code, const CStr& name, int size, XF_TEXT_MODE mode);

    // Opens the container read-only (code 0) and adds its space last, so that it is searched first.
    void AddConcatFile(const CStr& name);

    // A new, empty memory file named "MemoryFile_" + a counter.
    CXFile CreateRamFile(XF_TEXT_MODE mode);
    // A file over the caller's block, which must outlive it, named "MemoryViewOf_" + a counter.
    CXFile CreateFixedRAMFile(char* data, unsigned int size, unsigned char readOnly, XF_TEXT_MODE mode);

    // The spaces, in the order added (searched from the last).
    const ZtRefArray<CXFileSpaceManager>& GetSpaces() const noexcept { return m_spaces; }
    void AddSpace(const CXFileSpaceManager& space) { m_spaces.push_back(space); }

private:
    template <class Action>
    bool Search(EOpenCode code, const CStr& name, Action&& action);
    // The first file that a space opens through the search (open(space, completeName)); "File not found"
    // when none does.
    template <class Open>
    CXFile OpenFirst(EOpenCode code, const CStr& name, Open&& open);

    ZtRefArray<CXFileSpaceManager> m_spaces;
    CXPathManager m_paths;
};

ZTBASE_API extern CXFileSystem gFileSystem;

}  // namespace ZtBase
