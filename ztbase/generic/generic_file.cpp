#include "ztbase/generic/generic_file.h"

#include "ztbase/files/file_system.h"
#include "ztbase/generic/internal/binary_io.h"

namespace ZtBase {

CXFile OpenFileForValue(const CUniStr& name) {
    return gFileSystem.OpenExisting(eOpenCurrentDir, CStrFromUniStr(name), 1, XF_TEXT_LF, 1, XF_SHARE_READ);
}

CGenericXFileRep::CGenericXFileRep(const CXFile& file) : m_file(file), m_name(file.GetName()) {}
CGenericXFileRep::CGenericXFileRep(const CXFile& file, const CUniStr& name) : m_file(file), m_name(name) {}
CGenericXFileRep::~CGenericXFileRep() = default;

CBodyBase* CGenericXFileRep::Duplicate() const {
    return new CGenericXFileRep(m_file, m_name);
}

void CGenericXFileRep::operator<<(const CXFile& file) {
    CUniStr name = detail::ReadText(file);
    m_file = OpenFileForValue(name);
    m_name = name;
}

void CGenericXFileRep::operator>>(CXFile& file) const {
    detail::WriteU32(file, kKind);
    detail::WriteText(file, m_name);
}

CUniStr CGenericXFileRep::GetString() const {
    return CUniStr(u"@") + m_name;
}
CUniStr CGenericXFileRep::GetPrettyPrint(unsigned int) const {
    return GetString();
}

CGenericXFile::CGenericXFile(const CXFile& file) : ZtGenericHandle(new CGenericXFileRep(file)) {}
CGenericXFile::CGenericXFile(const CXFile& file, const CUniStr& name)
    : ZtGenericHandle(new CGenericXFileRep(file, name)) {}

CXFile CGenericXFile::GetXFile() const {
    return m_rep ? m_rep->GetXFile() : CXFile();
}
CUniStr CGenericXFile::GetName() const {
    return m_rep ? m_rep->GetName() : CUniStr();
}
void CGenericXFile::SetName(const CUniStr& name) {
    CUniStr keep(name);
    Modify();
    m_rep->SetName(keep);
}

unsigned char CGenericXFile::operator==(const CGenericXFile& o) const {
    if (m_rep == o.m_rep) return 1;
    if (!m_rep || !o.m_rep) return 0;
    return m_rep->SameEqual(*o.m_rep);
}

unsigned char CGenericXFile::operator<(const CGenericXFile& o) const {
    if (m_rep == o.m_rep || !o.m_rep) return 0;
    if (!m_rep) return 1;
    return m_rep->SameLess(*o.m_rep);
}

}  // namespace ZtBase
