// CBlob: a growable buffer of bytes behind a copy-on-write handle.
#pragma once

#include "ztbase/base/handle.h"
#include "ztbase/platform/export.h"
#include "ztbase/strings/unistr.h"

namespace ZtBase {

class ZTBASE_API CBlobRep : public CBodyBase {
public:
    CBlobRep() noexcept = default;
    CBlobRep(const CBlobRep&) = delete;
    CBlobRep& operator=(const CBlobRep&) = delete;
    ~CBlobRep() override;
    CBodyBase* Duplicate() const override;

    // Makes room for need bytes. A buffer whose capacity is strictly greater than need is kept (so one
    // whose capacity equals need is reallocated); otherwise the new capacity is need + max(5, capacity/2).
    void Grow(int need);

    char* data = nullptr;
    int size = 0;
    int capacity = 0;
};

class ZTBASE_API CBlob : public ZtCowHandle<CBlobRep> {
public:
    CBlob() noexcept = default;
    // Takes over the buffer (allocated with malloc) without copying: size and capacity are n.
    CBlob(char* adopt, int n);
    // A copy of the n bytes.
    CBlob(const char* bytes, int n);

    int GetBlobSize() const noexcept { return m_rep ? m_rep->size : 0; }
    char* GetData() const noexcept { return m_rep ? m_rep->data : nullptr; }

    // Reads check the index: 10007 "CBlob: empty body" on a null blob, "Error in CBlobRep index out of
    // bounds" outside the bytes in use.
    char GetAt(int i) const;
    char operator[](int i) const { return GetAt(i); }
    char& operator[](int i);
    // 10007 "Error in VBlobRep index out of bounds" outside the bytes in use.
    void SetAt(int i, char c);
    int Add(char c);
    void Append(const CBlobRep& other);
    // The byte at i is overwritten and the byte at i + n keeps what the buffer held there.
    void InsertAt(int i, const CBlobRep& other);
    void InsertAt(int i, char c);
    void RemoveAt(int i, int n);
    void Reset();
    void AssureCapacity(int n);
    // Appends the n bytes (the blob is not emptied first).
    void SetFromVolatileMemoryBlock(const char* bytes, int n);
    // Bytes i..i+3, little-endian, each read with GetAt.
    unsigned int GetIntAt(int i) const;
    // The bytes from i up to the first zero byte, each widened to one 16-bit unit.
    CUniStr GetStringAt(int i) const;
    bool operator==(const CBlob& other) const;
    bool operator!=(const CBlob& other) const { return !(*this == other); }
};

}  // namespace ZtBase
