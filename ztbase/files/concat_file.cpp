#include "ztbase/files/concat_file.h"

#include "ztbase/files/file_name.h"
#include "ztbase/files/file_system.h"
#include "ztbase/files/internal/xfile_errors.h"
#include "ztbase/files/mapped_file.h"
#include "ztbase/platform/internal/platform.h"

namespace ZtBase {

namespace {

unsigned ReadLittle32(const unsigned char* p) {
    return unsigned(p[0]) | unsigned(p[1]) << 8 | unsigned(p[2]) << 16 | unsigned(p[3]) << 24;
}

[[noreturn]] void Refuse(const char* message, const CStr& name, unsigned line) {
    detail::ThrowXFile(kErrWrongState, message, name, line);
}

}  // namespace

CXConcatFile::CXConcatFile(const CXFile& container) : m_container(container) {
    if (container.IsNull()) Refuse("Cannot open part of a null file : ", container.GetName(), __LINE__);
    m_directories.push_back(CXFileName(container.GetName()).GetPath());
    m_view = reinterpret_cast<const unsigned char*>(container.GetRep()->CreateMemoryView(0, 0));
    const int length = container.GetFileLength();
    m_length = m_view && length > 0 ? static_cast<unsigned>(length) : 0;
}

CXConcatFile::CXConcatFile(const CStr& name)
    : CXConcatFile(gFileSystem.OpenMappedFile(eOpenProgramDir, name, 1, 0, XF_BINARY)) {}

int CXConcatFile::GetFileCount() const {
    if (!m_view || m_length < kLeadSize + 2u) return 0;
    const unsigned count = unsigned(m_view[kLeadSize]) | unsigned(m_view[kLeadSize + 1]) << 8;
    return kLeadSize + 2u + count * kEntrySize <= m_length ? static_cast<int>(count) : 0;
}

const unsigned char* CXConcatFile::Entry(int i) const {
    if (i < 0 || i >= GetFileCount()) return nullptr;
    return m_view + kLeadSize + 2 + i * kEntrySize;
}

CStr CXConcatFile::GetFileNameIdx(int i) const {
    const unsigned char* entry = Entry(i);
    if (!entry) return CStr();
    const unsigned length = entry[0] < kNameField ? entry[0] : kNameField - 1;
    return CStr(reinterpret_cast<const char*>(entry + 1), length);
}

bool CXConcatFile::MemberBounds(int i, int& offset, int& size) const {
    const unsigned char* entry = Entry(i);
    if (!entry) return false;
    const unsigned long long start = ReadLittle32(entry + kNameField);
    const unsigned long long length = ReadLittle32(entry + kNameField + 4);
    if (start + length > m_length || length > 0x7FFFFFFFu) return false;
    offset = static_cast<int>(start);
    size = static_cast<int>(length);
    return true;
}

bool CXConcatFile::FindFile(const CStr& name, int& offset, int& size) const {
    if (!m_view) return false;
    const CXFileName parsed(name);
    const CStr path = parsed.GetPath();
    bool inDirectory = false;
    for (const CStr& directory : m_directories)
        inDirectory = inDirectory || path.Compare(directory) == eEqual;
    if (!inDirectory) return false;
    const CStr& fileName = parsed.GetFileName();
    const int count = GetFileCount();
    for (int i = 0; i < count; ++i)
        if (GetFileNameIdx(i).Compare(fileName) == eEqual) return MemberBounds(i, offset, size);
    return false;
}

bool CXConcatFile::CheckName(CStr& name) {
    const CXFileName parsed(name);
    if (!parsed.IsValid() || parsed.GetFileName().Length() == 0 || parsed.HasWildcards()) return false;
    const CStr complete = parsed.GetCompleteFileName();
    if (complete.Length() == 0) return false;
    name = complete;
    return true;
}

CXFile CXConcatFile::OpenMemberFile(const CStr& name, XF_TEXT_MODE mode) const {
    int offset = 0, size = 0;
    if (!FindFile(name, offset, size)) return CXFile();
    char* data = const_cast<char*>(reinterpret_cast<const char*>(m_view)) + offset;
    return CXFile(
        new CXFileSubsetOfMemoryMappedFile(name, data, static_cast<unsigned>(size), mode, 1, m_container));
}

CXFile CXConcatFile::OpenExisting(const CStr& name, unsigned char, XF_TEXT_MODE mode, unsigned char readOnly,
                                  XF_SHARE_FLAGS) {
    if (!readOnly) Refuse("Cannot open a concat for write : ", name, __LINE__);
    return OpenMemberFile(name, mode);
}
CXFile CXConcatFile::OpenMappedFile(const CStr& name, unsigned char readOnly, int, XF_TEXT_MODE mode) {
    if (!readOnly) Refuse("Cannot write to a new concat file : ", name, __LINE__);
    return OpenMemberFile(name, mode);
}
CXFile CXConcatFile::Create(const CStr& name, unsigned char, XF_TEXT_MODE) {
    Refuse("Cannot create a new concat file : ", name, __LINE__);
}
CXFile CXConcatFile::OpenForAppend(const CStr& name, unsigned char, XF_TEXT_MODE, XF_SHARE_FLAGS) {
    Refuse("Cannot write to a new concat file : ", name, __LINE__);
}
CXFile CXConcatFile::CreateMappedFile(const CStr& name, int, XF_TEXT_MODE) {
    Refuse("Cannot write to a concat file : ", name, __LINE__);
}
unsigned char CXConcatFile::CreateDir(const CStr&) {
    return 0;
}
unsigned char CXConcatFile::Exist(CStr name) {
    int offset = 0, size = 0;
    return FindFile(name, offset, size) ? 1 : 0;
}
unsigned char CXConcatFile::IsReadOnly(CStr) {
    return 1;
}
unsigned char CXConcatFile::Erase(CStr) {
    return 0;
}
unsigned char CXConcatFile::Rename(CStr, CStr) {
    return 0;
}
int CXConcatFile::Size(CStr name) {
    int offset = 0, size = 0;
    return FindFile(name, offset, size) ? size : 0;
}
unsigned char CXConcatFile::Time(CStr, unsigned int&, unsigned int&) {
    return 0;
}

unsigned char CXConcatFile::GetFileList(ZtRefArray<CStr>& result, const CStr& pattern, unsigned char files,
                                        unsigned char, unsigned char completeNames) {
    if (!files) return 0;
    const CXFileName parsed(pattern);
    if (!parsed.IsValid() || parsed.GetPath().Compare(m_directories[0]) != eEqual) return 0;
    const CStr wanted = parsed.GetFileName();
    bool any = false;
    for (int i = 0, count = GetFileCount(); i < count; ++i) {
        const CStr member = GetFileNameIdx(i);
        int offset = 0, size = 0;
        if (!platform::MatchesPattern(wanted.c_str(), member.c_str()) || !MemberBounds(i, offset, size))
            continue;
        result.push_back(completeNames ? m_directories[0] + member : member);
        any = true;
    }
    return any ? 1 : 0;
}

unsigned char CXConcatFile::ConstructCompleteFileName(const CStr& path, CStr& name) {
    CXFileName parsed(name);
    const CXFileName directory(path);
    if (parsed.IsValid() && directory.IsValid()) parsed.CombineDefaultPath(directory);
    CStr complete = parsed.GetCompleteFileName();
    if (!CheckName(complete)) return 0;
    name = complete;
    return 1;
}

}  // namespace ZtBase
