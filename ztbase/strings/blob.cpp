#include "ztbase/strings/blob.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "ztbase/errors/exceptions.h"

namespace ZtBase {

namespace {
constexpr char kModule[] = ".\\utilities";

[[noreturn]] void ThrowBlob(const char16_t* message, unsigned line) {
    throw CZtSimpleException(kErrIndexRange, CUniStr(message), kModule, line);
}
[[noreturn]] void ReadOutOfBounds(unsigned line) {
    ThrowBlob(u"Error in CBlobRep index out of bounds", line);
}
[[noreturn]] void WriteOutOfBounds(unsigned line) {
    ThrowBlob(u"Error in VBlobRep index out of bounds", line);
}

// A handle on a body that a handle already shares (it may be the body about to be changed), so that it
// outlives the change; a body no handle holds is left alone.
CBlob Hold(const CBlobRep& body) {
    CBlob keep;
    if (body.GetRefCount() > 0) keep.SetRepTo(const_cast<CBlobRep*>(&body));
    return keep;
}
}  // namespace

CBlobRep::~CBlobRep() {
    std::free(data);
}

void CBlobRep::Grow(int need) {
    if (data && capacity > need) return;
    const long long wanted = static_cast<long long>(need) + std::max(5, capacity / 2);
    char* fresh =
        wanted > 0x7FFFFFFF ? nullptr : static_cast<char*>(std::malloc(static_cast<std::size_t>(wanted)));
    if (!fresh) {
        std::free(data);
        data = nullptr;
        size = capacity = 0;
        throw CMemoryError();
    }
    if (size > 0) std::memcpy(fresh, data, static_cast<std::size_t>(size));
    std::free(data);
    data = fresh;
    capacity = static_cast<int>(wanted);
}

CBodyBase* CBlobRep::Duplicate() const {
    auto* copy = new (std::nothrow) CBlobRep();
    if (!copy) throw CMemoryError();
    try {
        copy->Grow(size);
    } catch (...) {
        delete copy;
        throw;
    }
    if (size > 0) std::memcpy(copy->data, data, static_cast<std::size_t>(size));
    copy->size = size;
    return copy;
}

CBlob::CBlob(char* adopt, int n) {
    auto* rep = new (std::nothrow) CBlobRep();
    if (!rep) {
        std::free(adopt);  // the buffer was handed over: it is not leaked
        throw CMemoryError();
    }
    rep->data = adopt;
    rep->size = rep->capacity = n;
    SetRepTo(rep);
}

CBlob::CBlob(const char* bytes, int n) {
    auto* rep = new (std::nothrow) CBlobRep();
    if (!rep) throw CMemoryError();
    SetRepTo(rep);
    if (n > 0) {
        rep->Grow(n);
        std::memcpy(rep->data, bytes, static_cast<std::size_t>(n));
        rep->size = n;
    }
}

char CBlob::GetAt(int i) const {
    if (!m_rep) ThrowBlob(u"CBlob: empty body", __LINE__);
    if (i < 0 || i >= m_rep->size) ReadOutOfBounds(__LINE__);
    return m_rep->data[i];
}

char& CBlob::operator[](int i) {
    Modify();
    if (i < 0 || i >= m_rep->size) WriteOutOfBounds(__LINE__);
    return m_rep->data[i];
}

void CBlob::SetAt(int i, char c) {
    (*this)[i] = c;
}

int CBlob::Add(char c) {
    Modify();
    m_rep->Grow(m_rep->size + 1);
    m_rep->data[m_rep->size] = c;
    return m_rep->size++;
}

void CBlob::Append(const CBlobRep& other) {
    const int n = other.size;
    const CBlob keep = Hold(other);
    Modify();
    m_rep->Grow(m_rep->size + n);
    if (n > 0) std::memcpy(m_rep->data + m_rep->size, other.data, static_cast<std::size_t>(n));
    m_rep->size += n;
}

void CBlob::InsertAt(int i, const CBlobRep& other) {
    const int n = other.size;
    const CBlob keep = Hold(other);
    Modify();
    if (i < 0 || i >= m_rep->size) ReadOutOfBounds(__LINE__);
    m_rep->Grow(m_rep->size + n);
    char* d = m_rep->data;
    for (int k = m_rep->size - 1; k >= i + 1; --k) d[k + n] = d[k];
    m_rep->size += n;
    if (n > 0)
        std::memmove(d + i, (keep.IsNull() ? &other : keep.GetRep())->data, static_cast<std::size_t>(n));
}

void CBlob::InsertAt(int i, char c) {
    const CBlob one(static_cast<const char*>(&c), 1);  // a copy: the char* form would adopt the address
    InsertAt(i, *one.GetRep());
}

void CBlob::RemoveAt(int i, int n) {
    Modify();
    if (i < 0 || i >= m_rep->size || n < 0) ReadOutOfBounds(__LINE__);
    if (n == 0) return;
    char* d = m_rep->data;
    for (int k = i + n; k < m_rep->size; ++k) d[k - n] = d[k];
    m_rep->size = static_cast<long long>(i) + n > m_rep->size ? i : m_rep->size - n;
}

void CBlob::Reset() {
    Modify();
    std::free(m_rep->data);
    m_rep->data = nullptr;
    m_rep->size = m_rep->capacity = 0;
}

void CBlob::AssureCapacity(int n) {
    Modify();
    m_rep->Grow(n);
}

void CBlob::SetFromVolatileMemoryBlock(const char* bytes, int n) {
    Modify();
    m_rep->Grow(n);
    for (int k = 0; k < n; ++k) Add(bytes[k]);
}

unsigned int CBlob::GetIntAt(int i) const {
    unsigned int v = 0;
    for (int k = 3; k >= 0; --k) v = (v << 8) | static_cast<unsigned char>(GetAt(i + k));
    return v;
}

CUniStr CBlob::GetStringAt(int i) const {
    CUniStr out;
    if (!m_rep || i < 0) return out;
    for (int k = i; k < m_rep->size && m_rep->data[k] != 0; ++k)
        out += static_cast<unsigned short>(static_cast<unsigned char>(m_rep->data[k]));
    return out;
}

bool CBlob::operator==(const CBlob& other) const {
    if (!m_rep) return other.IsNull();
    if (other.IsNull()) return false;
    const CBlobRep* o = other.GetRep();
    return m_rep->size == o->size &&
           (m_rep->size == 0 ||
            std::memcmp(m_rep->data, o->data, static_cast<std::size_t>(m_rep->size)) == 0);
}

}  // namespace ZtBase
