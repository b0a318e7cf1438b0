// The file value: a generic value that holds an open file (CXFile) and the name it was opened by. Its
// text is "@" followed by the name. Two file values are equal when their names are equal and order by
// their names (the CUniStr order): the open file itself takes no part in comparisons.
//
// Binary form: the kind code 10, then the name (a 32-bit byte count and the 16-bit units). Loading reopens
// the file by that name through gFileSystem in the current-directory search (eOpenCurrentDir), read only,
// sharing reads, buffered, in mode XF_TEXT_LF (8-bit, no line-end translation: the bytes as they are,
// with line reading available). A file that is not found raises 11002 "File not found : " + name.
#pragma once

#include "ztbase/files/xfile.h"
#include "ztbase/generic/generic.h"
#include "ztbase/generic/generic_body.h"
#include "ztbase/platform/export.h"

namespace ZtBase {

// How file values open their file: by name, from the current-directory search, read only, sharing reads.
ZTBASE_API CXFile OpenFileForValue(const CUniStr& name);

class ZTBASE_API CGenericXFileRep : public GenericBody<CGenericXFileRep, eGenericFile> {
public:
    CGenericXFileRep() = default;
    // The file and the name it is known by (the file's own name when none is given).
    explicit CGenericXFileRep(const CXFile& file);
    CGenericXFileRep(const CXFile& file, const CUniStr& name);
    CGenericXFileRep(const CGenericXFileRep&) = delete;
    CGenericXFileRep& operator=(const CGenericXFileRep&) = delete;
    ~CGenericXFileRep() override;

    // A new body sharing the same open file and name.
    CBodyBase* Duplicate() const override;
    void operator<<(const CXFile& file) override;
    void operator>>(CXFile& file) const override;
    CUniStr GetString() const override;
    CUniStr GetPrettyPrint(unsigned int options) const override;

    virtual const CXFile& GetXFile() const { return m_file; }
    virtual CUniStr GetName() const { return m_name; }
    // Replaces the name only; the file stays as it is.
    virtual void SetName(const CUniStr& name) { m_name = name; }

    bool SameEqual(const CGenericXFileRep& o) const { return m_name == o.m_name; }
    bool SameLess(const CGenericXFileRep& o) const { return m_name < o.m_name; }

private:
    CXFile m_file;
    CUniStr m_name;
};

class ZTBASE_API CGenericXFile : public ZtGenericHandle<CGenericXFileRep> {
public:
    CGenericXFile() noexcept = default;
    explicit CGenericXFile(CGenericXFileRep* adopt) : ZtGenericHandle(adopt) {}
    explicit CGenericXFile(const CXFile& file);
    CGenericXFile(const CXFile& file, const CUniStr& name);

    // A blank file and the empty name for a null handle.
    CXFile GetXFile() const;
    CUniStr GetName() const;
    // Copy on write, then replace the name.
    void SetName(const CUniStr& name);

    // By name; the null handle sorts first.
    unsigned char operator==(const CGenericXFile& o) const;
    unsigned char operator!=(const CGenericXFile& o) const { return !(*this == o); }
    unsigned char operator<(const CGenericXFile& o) const;
    unsigned char operator<=(const CGenericXFile& o) const { return !(o < *this); }
    unsigned char operator>(const CGenericXFile& o) const { return o < *this; }
    unsigned char operator>=(const CGenericXFile& o) const { return !(*this < o); }
};

}  // namespace ZtBase
