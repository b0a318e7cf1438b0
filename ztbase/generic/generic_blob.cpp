#include "ztbase/generic/generic_blob.h"

#include "ztbase/generic/internal/binary_io.h"
#include "ztbase/strings/number_format.h"

namespace ZtBase {

CGenericBlobRep::~CGenericBlobRep() = default;

CBodyBase* CGenericBlobRep::Duplicate() const {
    return new (std::nothrow) CGenericBlobRep(*this);
}

void CGenericBlobRep::operator<<(const CXFile&) {}

void CGenericBlobRep::operator>>(CXFile& file) const {
    detail::WriteU32(file, kKind);
}

CUniStr CGenericBlobRep::GetString() const {
    return CUniStr("#BLOB#");
}

void CGenericBlobRep::AppendString(CUniStr& out) const {
    out += CUniStr("#BLOB#");
}

CUniStr CGenericBlobRep::GetPrettyPrint(unsigned int) const {
    return CUniStr("#BLOB ") + MakeUniStr(m_blob.GetBlobSize()) + CUniStr(" #");
}

CGenericBlob::CGenericBlob(const CBlob& blob) : ZtGenericHandle(new CGenericBlobRep(blob)) {}

void CGenericBlob::SetBlob(const CBlob& blob) {
    if (!m_rep) SetRepTo(new CGenericBlobRep());
    Modify();
    m_rep->SetBlob(blob);
}

}  // namespace ZtBase
