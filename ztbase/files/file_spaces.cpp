#include <string>
#include <vector>

#include "ztbase/files/disk_file.h"
#include "ztbase/files/file_name.h"
#include "ztbase/files/file_space.h"
#include "ztbase/files/internal/xfile_errors.h"
#include "ztbase/files/mapped_file.h"
#include "ztbase/platform/internal/platform.h"

namespace ZtBase {

// ---- the operating system's files -------------------------------------------------------------------

namespace {
// Names without a drive are native everywhere; names with a drive or a server where the system has them.
bool HasNativeForm(const CXFileName& parsed) {
    if (!parsed.IsValid()) return false;
    const auto kind = static_cast<EFileNameKind>(parsed.GetKind());
    return kind == eFileNameNoDrive ||
           (platform::kNativeDrives && (kind == eFileNameDrive || kind == eFileNameNetwork));
}
}  // namespace

CStr CXWin32FileSpace::NativePath(const CStr& name) {
    if (!HasNativeForm(CXFileName(name))) return CStr();
    CStr native(name);
    if (platform::kNativeSeparator == '/')
        native.ReplaceAll(CStr("\\"), CStr("/"));
    else
        native.ReplaceAll(CStr("/"), CStr("\\"));
    return native;
}

unsigned char CXWin32FileSpace::ConstructCompleteFileName(const CStr& path, CStr& name) {
    const CXFileName directory(path);
    CXFileName parsed(name);
    if (!directory.IsValid() || !parsed.IsValid()) return parsed.IsValid();
    parsed.CombineDefaultPath(directory);
    const CStr complete = parsed.GetCompleteFileName();
    if (complete.IsNull()) return 0;
    name = complete;
    return 1;
}

namespace {
// A name without a native path cannot be opened here; the search takes that as a miss.
CStr NativeOrRefuse(const CStr& name, unsigned line) {
    CStr native = CXWin32FileSpace::NativePath(name);
    if (native.IsNull()) detail::ThrowXFileUnlogged(kErrIO, "File open failed : ", name, line);
    return native;
}
}  // namespace

CXFile CXWin32FileSpace::OpenExisting(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode,
                                      unsigned char readOnly, XF_SHARE_FLAGS share) {
    return OpenDiskFile(NativeOrRefuse(name, __LINE__), buffered, mode, readOnly, share);
}

CXFile CXWin32FileSpace::Create(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode) {
    return CreateDiskFile(NativeOrRefuse(name, __LINE__), buffered, mode);
}

CXFile CXWin32FileSpace::OpenForAppend(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode,
                                       XF_SHARE_FLAGS share) {
    return AppendDiskFile(NativeOrRefuse(name, __LINE__), buffered, mode, share);
}

CXFile CXWin32FileSpace::OpenMappedFile(const CStr& name, unsigned char readOnly, int size,
                                        XF_TEXT_MODE mode) {
    return OpenMappedDiskFile(NativeOrRefuse(name, __LINE__), readOnly, size, mode, false);
}

CXFile CXWin32FileSpace::CreateMappedFile(const CStr& name, int size, XF_TEXT_MODE mode) {
    return OpenMappedDiskFile(NativeOrRefuse(name, __LINE__), 0, size, mode, true);
}

unsigned char CXWin32FileSpace::CreateDir(const CStr& name) {
    const CStr native = NativePath(name);
    int error = 0;
    return !native.IsNull() && platform::MakeDirectory(native, error) ? 1 : 0;
}

unsigned char CXWin32FileSpace::Exist(CStr name) {
    const CStr native = NativePath(name);
    return !native.IsNull() && platform::StatPath(native).exists ? 1 : 0;
}

unsigned char CXWin32FileSpace::IsReadOnly(CStr name) {
    const CStr native = NativePath(name);
    if (native.IsNull()) return 0;
    const platform::FileInfo info = platform::StatPath(native);
    return info.exists && info.readOnly ? 1 : 0;
}

unsigned char CXWin32FileSpace::Erase(CStr name) {
    const CStr native = NativePath(name);
    if (native.IsNull() || !platform::StatPath(native).exists) return 0;
    int error = 0;
    if (!platform::DeletePath(native, error))
        detail::ThrowXFile(kErrIO, "Delete file failed:", name, __LINE__);
    return 1;
}

unsigned char CXWin32FileSpace::Rename(CStr oldName, CStr newName) {
    const CStr from = NativePath(oldName), to = NativePath(newName);
    int error = 0;
    return !from.IsNull() && !to.IsNull() && platform::MovePath(from, to, error) ? 1 : 0;
}

int CXWin32FileSpace::Size(CStr name) {
    const CStr native = NativePath(name);
    if (native.IsNull()) return 0;
    const platform::FileInfo info = platform::StatPath(native);
    if (!info.exists) return 0;
    return info.size > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<int>(info.size);
}

unsigned char CXWin32FileSpace::Time(CStr name, unsigned int& low, unsigned int& high) {
    low = high = 0;
    const CStr native = NativePath(name);
    if (native.IsNull()) return 0;
    const platform::FileInfo info = platform::StatPath(native);
    if (!info.exists) return 0;
    low = static_cast<unsigned int>(info.modified & 0xFFFFFFFFu);
    high = static_cast<unsigned int>(info.modified >> 32);
    return 1;
}

unsigned char CXWin32FileSpace::GetFileList(ZtRefArray<CStr>& result, const CStr& pattern,
                                            unsigned char files, unsigned char directories,
                                            unsigned char completeNames) {
    const CXFileName parsed(pattern);
    if (!HasNativeForm(parsed)) return 0;
    // The directory part, in the library's form and as a native path (the current directory for a bare
    // pattern), and the last part's pattern.
    CStr directory = parsed.GetKind() == eFileNameNoDrive ? CStr() : parsed.GetDrive();
    if (parsed.IsRooted() || parsed.GetKind() == eFileNameNetwork) directory += '\\';
    for (const CStr& d : parsed.GetDirectories()) directory += d + '\\';
    const CStr nativeDirectory = directory.IsNull() ? CStr(".") : NativePath(directory);
    if (nativeDirectory.IsNull()) return 0;
    const platform::ListWhat what = files && directories ? platform::ListWhat::kBoth
                                    : directories        ? platform::ListWhat::kDirectories
                                                         : platform::ListWhat::kFiles;
    if (!files && !directories) return platform::StatPath(nativeDirectory).directory ? 1 : 0;
    std::vector<std::string> names;
    if (!platform::ListDirectory(nativeDirectory, parsed.GetFileNameWithoutPath(), what, names)) return 0;
    for (const std::string& n : names)
        result.push_back(completeNames ? directory + n.c_str() : CStr(n.c_str()));
    return 1;
}

// ---- sockets and pipes: refused until their files exist -----------------------------------------------

CXSocketFileSpace::CXSocketFileSpace() : CXRefusingFileSpace(eFileNameSocket, "Not supported") {}
CXThreadToThreadPipeSpace::CXThreadToThreadPipeSpace()
    : CXRefusingFileSpace(eFileNamePipe, "Not supported for pipes") {}

void CXRefusingFileSpace::Refuse(unsigned line) const {
    detail::ThrowXFile(kErrWrongState, m_refusal, line);
}

unsigned char CXRefusingFileSpace::ConstructCompleteFileName(const CStr&, CStr& name) {
    const CXFileName parsed(name);
    return parsed.IsValid() && parsed.GetKind() == m_kind ? 1 : 0;
}
CXFile CXRefusingFileSpace::OpenExisting(const CStr&, unsigned char, XF_TEXT_MODE, unsigned char,
                                         XF_SHARE_FLAGS) {
    Refuse(__LINE__);
}
CXFile CXRefusingFileSpace::Create(const CStr&, unsigned char, XF_TEXT_MODE) {
    Refuse(__LINE__);
}
CXFile CXRefusingFileSpace::OpenForAppend(const CStr&, unsigned char, XF_TEXT_MODE, XF_SHARE_FLAGS) {
    Refuse(__LINE__);
}
CXFile CXRefusingFileSpace::OpenMappedFile(const CStr&, unsigned char, int, XF_TEXT_MODE) {
    Refuse(__LINE__);
}
CXFile CXRefusingFileSpace::CreateMappedFile(const CStr&, int, XF_TEXT_MODE) {
    Refuse(__LINE__);
}
unsigned char CXRefusingFileSpace::CreateDir(const CStr&) {
    Refuse(__LINE__);
}
unsigned char CXRefusingFileSpace::Exist(CStr) {
    return 0;
}
unsigned char CXRefusingFileSpace::IsReadOnly(CStr) {
    return 0;
}
unsigned char CXRefusingFileSpace::Erase(CStr) {
    Refuse(__LINE__);
}
unsigned char CXRefusingFileSpace::Rename(CStr, CStr) {
    Refuse(__LINE__);
}
int CXRefusingFileSpace::Size(CStr) {
    return 0;
}
unsigned char CXRefusingFileSpace::Time(CStr, unsigned int& low, unsigned int& high) {
    low = high = 0;
    return 0;
}
unsigned char CXRefusingFileSpace::GetFileList(ZtRefArray<CStr>&, const CStr&, unsigned char, unsigned char,
                                               unsigned char) {
    Refuse(__LINE__);
}

}  // namespace ZtBase
