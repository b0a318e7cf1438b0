// CXConcatFile: the file space of a container, one disk file that carries read-only members one after
// another. Layout (little-endian): 52 leading bytes this space does not read, a 16-bit member count at 52,
// then 24-byte entries (a length-prefixed name of at most 15 characters in 16 bytes, the member's offset
// from the start of the file and its size, 32 bits each), then the members' bytes.
//
// Members are visible under the container's own directory: with the container at \d\pack, the member
// a.txt is opened as \d\a.txt. They open as read-only views of the mapped container that keep it alive.
// A directory that runs past the end of the file counts as no members, and a member whose bytes reach
// outside the file is never found: nothing is read outside the mapping.
#pragma once

#include "ztbase/base/arrays.h"
#include "ztbase/files/file_space.h"
#include "ztbase/files/xfile.h"
#include "ztbase/platform/export.h"

namespace ZtBase {

class ZTBASE_API CXConcatFile : public CXFileSpaceManagerRep {
public:
    static constexpr int kLeadSize = 52;
    static constexpr int kEntrySize = 24;
    static constexpr int kNameField = 16;

    // A blank container raises "Cannot open part of a null file : " + its name (10009).
    explicit CXConcatFile(const CXFile& container);
    // Opens the name through the file system as a read-only mapped file (code 0).
    explicit CXConcatFile(const CStr& name);

    // 0 without a view or when the directory does not fit in the file.
    int GetFileCount() const;
    // The name of entry i; empty when i is outside the directory.
    CStr GetFileNameIdx(int i) const;
    // The first entry named like the name's last component, when the name's directory is the container's
    // and the member lies inside the file.
    bool FindFile(const CStr& name, int& offset, int& size) const;
    // Accepts a valid name with a file name and no wildcards, replacing it by its complete form.
    static bool CheckName(CStr& name);
    // The member as a read-only view, or a blank file when there is none.
    CXFile OpenMemberFile(const CStr& name, XF_TEXT_MODE mode) const;

    // Reading operations open members; every writing one refuses (10009).
    CXFile OpenExisting(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode, unsigned char readOnly,
                        XF_SHARE_FLAGS share) override;
    CXFile Create(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode) override;
    CXFile OpenForAppend(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode,
                         XF_SHARE_FLAGS share) override;
    CXFile OpenMappedFile(const CStr& name, unsigned char readOnly, int size, XF_TEXT_MODE mode) override;
    CXFile CreateMappedFile(const CStr& name, int size, XF_TEXT_MODE mode) override;
    unsigned char CreateDir(const CStr& name) override;
    unsigned char Exist(CStr name) override;
    unsigned char IsReadOnly(CStr name) override;
    unsigned char Erase(CStr name) override;
    unsigned char Rename(CStr oldName, CStr newName) override;
    int Size(CStr name) override;
    unsigned char Time(CStr name, unsigned int& low, unsigned int& high) override;
    // The members whose names match the pattern's last component ("*" and "?" as the shell has them) when
    // the pattern's directory is the container's; completeNames prefixes that directory. Members are
    // files: asking for directories only lists nothing.
    unsigned char GetFileList(ZtRefArray<CStr>& result, const CStr& pattern, unsigned char files,
                              unsigned char directories, unsigned char completeNames) override;
    // The name completed against the path as the disk space does, then accepted through CheckName.
    unsigned char ConstructCompleteFileName(const CStr& path, CStr& name) override;

    const CXFile& GetContainer() const noexcept { return m_container; }

private:
    const unsigned char* Entry(int i) const;
    bool MemberBounds(int i, int& offset, int& size) const;

    ZtRefArray<CStr> m_directories;
    CXFile m_container;
    const unsigned char* m_view = nullptr;
    unsigned m_length = 0;
};

}  // namespace ZtBase
