#include "ztbase/files/file_system.h"

#include "ztbase/files/concat_file.h"
#include "ztbase/files/file_name.h"
#include "ztbase/files/internal/xfile_errors.h"
#include "ztbase/files/mapped_file.h"
#include "ztbase/files/memory_file.h"
#include "ztbase/platform/internal/platform.h"

namespace ZtBase {

namespace {
CStr WithTrailingSeparator(const std::string& directory) {
    CStr text(directory.c_str());
    const char last = text.LastChar();
    if (!text.IsNull() && last != '\\' && last != '/') text += '\\';
    return text;
}
}  // namespace

CXFileSpaceManagerRep::~CXFileSpaceManagerRep() = default;

CXFileSystem::CXFileSystem() {
    m_spaces.push_back(CXFileSpaceManager(new CXWin32FileSpace()));
    m_spaces.push_back(CXFileSpaceManager(new CXSocketFileSpace()));
    m_spaces.push_back(CXFileSpaceManager(new CXThreadToThreadPipeSpace()));
    // Each start-up directory is skipped when the system cannot tell it.
    const std::string program = platform::ProgramPath();
    if (!program.empty()) SetCodePath(eOpenProgramDir, CXFileName(CStr(program.c_str())).GetPath());
    const std::string current = platform::CurrentDirectory();
    if (!current.empty()) SetCodePath(eOpenCurrentDir, WithTrailingSeparator(current));
    const std::string temp = platform::TemporaryDirectory();
    if (!temp.empty()) SetCodePath(eOpenTempDir, WithTrailingSeparator(temp));
}

CXFileSystem::~CXFileSystem() = default;

// Calls action(space, path, completeName) for each space, from the last added, and each directory of
// the code and then the name as given, until it returns true.
template <class Action>
bool CXFileSystem::Search(EOpenCode code, const CStr& name, Action&& action) {
    const int count = m_paths.GetCodePathCount(code);
    for (std::size_t s = m_spaces.size(); s-- > 0;) {
        const CXFileSpaceManager space = m_spaces[s];
        for (int j = 0; j <= count; ++j) {
            const CStr path = j < count ? m_paths.GetCodePathIdx(code, j) : CStr();
            CStr complete(name);
            if (!space.ConstructCompleteFileName(path, complete)) continue;
            if (action(space, path, complete)) return true;
        }
    }
    return false;
}

namespace {
// An open that raises counts as a miss and the search goes on, except when memory ran out: that is no
// answer about the file, and the next space would only hide it.
template <class Open>
bool TryOpen(CXFile& result, const CXFileSpaceManager& space, Open&& open) {
    try {
        result = open();
    } catch (const CMemoryError&) {
        throw;
    } catch (const CZtException&) {
        if (space.GetRep()->ErrorsEndTheSearch()) throw;
        return false;
    }
    return !result.IsNull();
}

[[noreturn]] void NotFound(const CStr& name, unsigned line) {
    detail::ThrowXFile(kErrFileNotFound, "File not found : ", name, line);
}
}  // namespace

template <class Open>
CXFile CXFileSystem::OpenFirst(EOpenCode code, const CStr& name, Open&& open) {
    CXFile result;
    if (!Search(code, name, [&](const CXFileSpaceManager& space, const CStr&, const CStr& complete) {
            return TryOpen(result, space, [&] { return open(space, complete); });
        }))
        NotFound(name, __LINE__);
    return result;
}

CXFile CXFileSystem::OpenExisting(EOpenCode code, const CStr& name, unsigned char buffered, XF_TEXT_MODE mode,
                                  unsigned char readOnly, XF_SHARE_FLAGS share) {
    return OpenFirst(code, name, [&](const CXFileSpaceManager& space, const CStr& complete) {
        return space.OpenExisting(complete, buffered, mode, readOnly, share);
    });
}

CXFile CXFileSystem::Create(EOpenCode code, const CStr& name, unsigned char buffered, XF_TEXT_MODE mode) {
    return OpenFirst(code, name, [&](const CXFileSpaceManager& space, const CStr& complete) {
        return space.Create(complete, buffered, mode);
    });
}

CXFile CXFileSystem::OpenForAppend(EOpenCode code, const CStr& name, unsigned char buffered,
                                   XF_TEXT_MODE mode, XF_SHARE_FLAGS share) {
    return OpenFirst(code, name, [&](const CXFileSpaceManager& space, const CStr& complete) {
        return space.OpenForAppend(complete, buffered, mode, share);
    });
}

unsigned char CXFileSystem::CreateDir(EOpenCode code, const CStr& name) {
    unsigned char made = 0;
    Search(code, name, [&](const CXFileSpaceManager& space, const CStr&, const CStr& complete) {
        made = space.CreateDir(complete);
        return true;
    });
    return made;
}

unsigned char CXFileSystem::Exist(EOpenCode code, const CStr& name) {
    return Search(code, name, [&](const CXFileSpaceManager& space, const CStr&, const CStr& complete) {
        return space.Exist(complete) != 0;
    });
}

// The queries below act on the first place where the name exists.
unsigned char CXFileSystem::IsReadOnly(EOpenCode code, const CStr& name) {
    unsigned char readOnly = 0;
    Search(code, name, [&](const CXFileSpaceManager& space, const CStr&, const CStr& complete) {
        if (!space.Exist(complete)) return false;
        readOnly = space.IsReadOnly(complete);
        return true;
    });
    return readOnly;
}

unsigned char CXFileSystem::Erase(EOpenCode code, const CStr& name) {
    unsigned char erased = 0;
    Search(code, name, [&](const CXFileSpaceManager& space, const CStr&, const CStr& complete) {
        if (!space.Exist(complete)) return false;
        erased = space.Erase(complete);
        return true;
    });
    return erased;
}

// The new name is completed against the same directory as the old one.
unsigned char CXFileSystem::Rename(EOpenCode code, const CStr& oldName, const CStr& newName) {
    unsigned char renamed = 0;
    Search(code, oldName, [&](const CXFileSpaceManager& space, const CStr& path, const CStr& complete) {
        if (!space.Exist(complete)) return false;
        CStr completeNew(newName);
        if (!space.ConstructCompleteFileName(path, completeNew)) return false;
        renamed = space.Rename(complete, completeNew);
        return true;
    });
    return renamed;
}

int CXFileSystem::Size(EOpenCode code, const CStr& name) {
    int size = 0;
    Search(code, name, [&](const CXFileSpaceManager& space, const CStr&, const CStr& complete) {
        if (!space.Exist(complete)) return false;
        size = space.Size(complete);
        return true;
    });
    return size;
}

unsigned char CXFileSystem::Time(EOpenCode code, const CStr& name, unsigned int& low, unsigned int& high) {
    low = high = 0;
    unsigned char found = 0;
    Search(code, name, [&](const CXFileSpaceManager& space, const CStr&, const CStr& complete) {
        if (!space.Exist(complete)) return false;
        found = space.Time(complete, low, high);
        return true;
    });
    return found;
}

// The first place whose directory can be listed answers.
unsigned char CXFileSystem::GetFileList(EOpenCode code, ZtRefArray<CStr>& result, const CStr& pattern,
                                        unsigned char files, unsigned char directories,
                                        unsigned char completeNames) {
    result.clear();
    return Search(code, pattern, [&](const CXFileSpaceManager& space, const CStr&, const CStr& complete) {
        return space.GetFileList(result, complete, files, directories, completeNames) != 0;
    });
}

unsigned char CXFileSystem::FixFileName(EOpenCode code, CStr& name) {
    CStr found;
    if (!Search(code, name, [&](const CXFileSpaceManager& space, const CStr&, const CStr& complete) {
            if (!space.Exist(complete)) return false;
            found = complete;
            return true;
        }))
        return 0;
    name = found;
    return 1;
}

CXFile CXFileSystem::OpenMappedFile(EOpenCode code, const CStr& name, unsigned char readOnly, int size,
                                    XF_TEXT_MODE mode) {
    return OpenFirst(code, name, [&](const CXFileSpaceManager& space, const CStr& complete) {
        return space.OpenMappedFile(complete, readOnly, size, mode);
    });
}

CXFile CXFileSystem::CreateMappedFile(EOpenCode code, const CStr& name, int size, XF_TEXT_MODE mode) {
    return OpenFirst(code, name, [&](const CXFileSpaceManager& space, const CStr& complete) {
        return space.CreateMappedFile(complete, size, mode);
    });
}

void CXFileSystem::AddConcatFile(const CStr& name) {
    AddSpace(CXFileSpaceManager(new CXConcatFile(OpenMappedFile(eOpenProgramDir, name, 1, 0, XF_BINARY))));
}

CXFile CXFileSystem::CreateRamFile(XF_TEXT_MODE mode) {
    return CreateMemoryFile(mode);
}

CXFile CXFileSystem::CreateFixedRAMFile(char* data, unsigned int size, unsigned char readOnly,
                                        XF_TEXT_MODE mode) {
    return CreateMemoryViewFile(data, size, readOnly, mode);
}

}  // namespace ZtBase
