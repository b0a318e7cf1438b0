// File spaces: the kinds of storage in which names can be opened (the operating system's files, socket
// end points, thread-to-thread pipes). The file system asks each space to complete a name against a
// search path and then to open, create or query it.
#pragma once

#include "ztbase/base/arrays.h"
#include "ztbase/base/handle.h"
#include "ztbase/files/xfile.h"

namespace ZtBase {

class ZTBASE_API CXFileSpaceManagerRep : public CRepBase {
public:
    ~CXFileSpaceManagerRep() override;

    virtual CXFile OpenExisting(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode,
                                unsigned char readOnly, XF_SHARE_FLAGS share) = 0;
    virtual CXFile Create(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode) = 0;
    virtual CXFile OpenForAppend(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode,
                                 XF_SHARE_FLAGS share) = 0;
    // A mapped file of size bytes (the whole file when size is 0); creating makes the file anew.
    virtual CXFile OpenMappedFile(const CStr& name, unsigned char readOnly, int size, XF_TEXT_MODE mode) = 0;
    virtual CXFile CreateMappedFile(const CStr& name, int size, XF_TEXT_MODE mode) = 0;
    virtual unsigned char CreateDir(const CStr& name) = 0;
    // The queries answer false (or 0) for a name that is absent; they do not raise.
    virtual unsigned char Exist(CStr name) = 0;
    virtual unsigned char IsReadOnly(CStr name) = 0;
    virtual unsigned char Erase(CStr name) = 0;
    virtual unsigned char Rename(CStr oldName, CStr newName) = 0;
    virtual int Size(CStr name) = 0;
    // The time of the last change, in 100-nanosecond intervals since 1601-01-01 UTC, split in two words.
    virtual unsigned char Time(CStr name, unsigned int& low, unsigned int& high) = 0;
    // The names matching pattern (wildcards in its last part): files, directories, and complete names
    // rather than bare file names, as the three switches say.
    virtual unsigned char GetFileList(ZtRefArray<CStr>& result, const CStr& pattern, unsigned char files,
                                      unsigned char directories, unsigned char completeNames) = 0;
    // Completes name against path (a directory of a search path; empty for the name as given). False
    // when the name is not one of this space's.
    virtual unsigned char ConstructCompleteFileName(const CStr& path, CStr& name) = 0;
    // True for spaces whose names no other space can open (pipes, sockets): their open errors end the
    // file system's search and reach the caller instead of counting as a miss.
    virtual unsigned char ErrorsEndTheSearch() { return 0; }
};

class ZTBASE_API CXFileSpaceManager : public ZtHandle<CXFileSpaceManagerRep> {
public:
    CXFileSpaceManager() noexcept = default;
    explicit CXFileSpaceManager(CXFileSpaceManagerRep* body) : ZtHandle(body) {}

    CXFile OpenExisting(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode, unsigned char readOnly,
                        XF_SHARE_FLAGS share) const {
        return m_rep->OpenExisting(name, buffered, mode, readOnly, share);
    }
    CXFile Create(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode) const {
        return m_rep->Create(name, buffered, mode);
    }
    CXFile OpenForAppend(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode,
                         XF_SHARE_FLAGS share) const {
        return m_rep->OpenForAppend(name, buffered, mode, share);
    }
    CXFile OpenMappedFile(const CStr& name, unsigned char readOnly, int size, XF_TEXT_MODE mode) const {
        return m_rep->OpenMappedFile(name, readOnly, size, mode);
    }
    CXFile CreateMappedFile(const CStr& name, int size, XF_TEXT_MODE mode) const {
        return m_rep->CreateMappedFile(name, size, mode);
    }
    unsigned char CreateDir(const CStr& name) const { return m_rep->CreateDir(name); }
    unsigned char Exist(const CStr& name) const { return m_rep->Exist(name); }
    unsigned char IsReadOnly(const CStr& name) const { return m_rep->IsReadOnly(name); }
    unsigned char Erase(const CStr& name) const { return m_rep->Erase(name); }
    unsigned char Rename(const CStr& oldName, const CStr& newName) const {
        return m_rep->Rename(oldName, newName);
    }
    int Size(const CStr& name) const { return m_rep->Size(name); }
    unsigned char Time(const CStr& name, unsigned int& low, unsigned int& high) const {
        return m_rep->Time(name, low, high);
    }
    unsigned char GetFileList(ZtRefArray<CStr>& result, const CStr& pattern, unsigned char files,
                              unsigned char directories, unsigned char completeNames) const {
        return m_rep->GetFileList(result, pattern, files, directories, completeNames);
    }
    unsigned char ConstructCompleteFileName(const CStr& path, CStr& name) const {
        return m_rep->ConstructCompleteFileName(path, name);
    }
};

// The operating system's files. Names are completed with the file-name rules and turned into native
// paths at the system boundary (backslashes become "/"); drive and network names have no native meaning
// here and are not found.
class ZTBASE_API CXWin32FileSpace : public CXFileSpaceManagerRep {
public:
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
    // A failed deletion of an existing file raises "Delete file failed:" + name; an absent file gives false.
    unsigned char Erase(CStr name) override;
    // Never replaces an existing file.
    unsigned char Rename(CStr oldName, CStr newName) override;
    int Size(CStr name) override;
    unsigned char Time(CStr name, unsigned int& low, unsigned int& high) override;
    unsigned char GetFileList(ZtRefArray<CStr>& result, const CStr& pattern, unsigned char files,
                              unsigned char directories, unsigned char completeNames) override;
    unsigned char ConstructCompleteFileName(const CStr& path, CStr& name) override;

    // The native path of a name of this space, or an empty string when it has none.
    static CStr NativePath(const CStr& name);
};

// A space that recognises one prefixed kind of name, so that the search never hands such names to the
// disk, and refuses the operations its kind does not offer with its message (10009); its queries answer
// false or 0.
class ZTBASE_API CXRefusingFileSpace : public CXFileSpaceManagerRep {
public:
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
    unsigned char GetFileList(ZtRefArray<CStr>& result, const CStr& pattern, unsigned char files,
                              unsigned char directories, unsigned char completeNames) override;
    // Only names of the space's kind belong here; they are complete as they stand.
    unsigned char ConstructCompleteFileName(const CStr& path, CStr& name) override;
    unsigned char ErrorsEndTheSearch() override { return 1; }

protected:
    CXRefusingFileSpace(int kind, const char* refusal) : m_kind(kind), m_refusal(refusal) {}

private:
    [[noreturn]] void Refuse(unsigned line) const;
    int m_kind;
    const char* m_refusal;
};

// Socket end points ("SOCKET:host:port"): every open connects a TCP client stream (socket_file.h). The
// other operations are refused with "Not supported".
class ZTBASE_API CXSocketFileSpace : public CXRefusingFileSpace {
public:
    CXSocketFileSpace();
    CXFile OpenExisting(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode, unsigned char readOnly,
                        XF_SHARE_FLAGS share) override;
    CXFile Create(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode) override;
    CXFile OpenForAppend(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode,
                         XF_SHARE_FLAGS share) override;

    // How long a connection, a read or a write may wait before it fails (process-wide; 30,000 ms unless
    // set). At least 1.
    static void SetTimeoutMilliseconds(int milliseconds) noexcept;
    static int GetTimeoutMilliseconds() noexcept;
};

// Thread-to-thread pipes ("TTPIPE:name"; pipe_file.h says which end each open gets). Exist answers
// whether a pipe of the name is open, Size how many bytes wait in it; the other operations are refused
// with "Not supported for pipes".
class ZTBASE_API CXThreadToThreadPipeSpace : public CXRefusingFileSpace {
public:
    CXThreadToThreadPipeSpace();
    CXFile OpenExisting(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode, unsigned char readOnly,
                        XF_SHARE_FLAGS share) override;
    CXFile Create(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode) override;
    CXFile OpenForAppend(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode,
                         XF_SHARE_FLAGS share) override;
    unsigned char Exist(CStr name) override;
    int Size(CStr name) override;
};

}  // namespace ZtBase
