// CGenericBlob: a blob (CBlob, its bytes) as a generic value, so that it can travel inside lists, bundles
// and sets. As a value a blob is opaque: it prints as a marker ("#BLOB#", and "#BLOB n #" pretty-printed
// with its size), is equal to a blob of the same bytes, is in no order (every order comparison of two
// blobs is false), and is not written to streams: its binary form is the kind code 13 alone, and loading
// it reads nothing (an empty blob).
#pragma once

#include "ztbase/generic/generic.h"
#include "ztbase/generic/generic_body.h"
#include "ztbase/platform/export.h"
#include "ztbase/strings/blob.h"

namespace ZtBase {

class ZTBASE_API CGenericBlobRep : public UnorderedGenericBody<CGenericBlobRep, eGenericBlob> {
public:
    CGenericBlobRep() noexcept = default;
    explicit CGenericBlobRep(const CBlob& blob) noexcept : m_blob(blob) {}
    CGenericBlobRep(const CGenericBlobRep&) noexcept = default;
    ~CGenericBlobRep() override;

    CBodyBase* Duplicate() const override;
    void operator<<(const CXFile& file) override;  // reads nothing
    void operator>>(CXFile& file) const override;  // the kind code alone
    CUniStr GetString() const override;
    void AppendString(CUniStr& out) const override;
    CUniStr GetPrettyPrint(unsigned int options) const override;

    const CBlob& GetBlob() const noexcept { return m_blob; }
    void SetBlob(const CBlob& blob) { m_blob = blob; }

    bool SameEqual(const CGenericBlobRep& o) const { return m_blob == o.m_blob; }

private:
    CBlob m_blob;
};

class ZTBASE_API CGenericBlob : public ZtGenericHandle<CGenericBlobRep> {
public:
    CGenericBlob() noexcept = default;
    explicit CGenericBlob(const CBlob& blob);

    CBlob GetBlob() const { return m_rep ? m_rep->GetBlob() : CBlob(); }
    void SetBlob(const CBlob& blob);

    unsigned char operator==(const CGenericBlob& o) const { return GetBlob() == o.GetBlob(); }
    unsigned char operator!=(const CGenericBlob& o) const { return !(*this == o); }
    unsigned char operator<(const CGenericBlob&) const noexcept { return 0; }
    unsigned char operator<=(const CGenericBlob&) const noexcept { return 0; }
    unsigned char operator>(const CGenericBlob&) const noexcept { return 0; }
    unsigned char operator>=(const CGenericBlob&) const noexcept { return 0; }
};

}  // namespace ZtBase
