#include "ztbase/generic/generic.h"

#include <new>

#include "ztbase/base/memory_pool.h"
#include "ztbase/files/internal/xfile_errors.h"
#include "ztbase/generic/association.h"
#include "ztbase/generic/generic_file.h"
#include "ztbase/generic/internal/binary_io.h"
#include "ztbase/generic/internal/generic_errors.h"
#include "ztbase/generic/internal/kinds.h"
#include "ztbase/generic/list.h"
#include "ztbase/generic/scalars.h"
#include "ztbase/generic/set.h"
#include "ztbase/generic/symbol.h"
#include "ztbase/generic/text_reader.h"

namespace ZtBase {

namespace detail {
void ThrowGeneric(unsigned code, const char* message, unsigned line) {
    throw CZtSimpleException(code, CUniStr(message), kGenericModule, line);
}
void ThrowStreamError(const char* message, const CUniStr& text, unsigned position, unsigned line) {
    const unsigned end = position < text.Length() ? position : text.Length();
    const unsigned start = end > 100 ? end - 100 : 0;
    CUniStr full(message);
    full += text.Copy(start, end - start);
    full += static_cast<unsigned short>('"');
    throw CZtSimpleException(kErrGenericSyntax, full, kGenericModule, line);
}
}  // namespace detail

// ---- the bare body ------------------------------------------------------------------------------------

namespace {
[[noreturn]] void IllegalComparison(unsigned line) {
    detail::ThrowGeneric(kErrIllegalOperation, "illegal comparison", line);
}
[[noreturn]] void IllegalOperation(unsigned line) {
    detail::ThrowGeneric(kErrIllegalOperation, "illegal operation", line);
}
}  // namespace

CGenericBodyBase::~CGenericBodyBase() = default;

void* CGenericBodyBase::operator new(std::size_t size, const std::nothrow_t&) noexcept {
    unsigned granted = 0;
    return size > 0xFFFFFFF0u ? nullptr
                              : gMemoryPoolManager.AllocateBlock(static_cast<unsigned>(size), granted);
}
void* CGenericBodyBase::operator new(std::size_t size) {
    void* block = operator new(size, std::nothrow);
    if (!block) throw CMemoryError();
    return block;
}
void CGenericBodyBase::operator delete(void* block) noexcept {
    gMemoryPoolManager.ReleaseBlock(block);
}
void CGenericBodyBase::operator delete(void* block, const std::nothrow_t&) noexcept {
    gMemoryPoolManager.ReleaseBlock(block);
}
CBodyBase* CGenericBodyBase::Duplicate() const {
    return new CGenericBodyBase();
}
unsigned char CGenericBodyBase::operator==(const CGenericBodyBase&) const {
    IllegalComparison(__LINE__);
}
unsigned char CGenericBodyBase::operator<(const CGenericBodyBase&) const {
    IllegalComparison(__LINE__);
}
unsigned char CGenericBodyBase::operator<=(const CGenericBodyBase&) const {
    IllegalComparison(__LINE__);
}
unsigned char CGenericBodyBase::operator>(const CGenericBodyBase&) const {
    IllegalComparison(__LINE__);
}
unsigned char CGenericBodyBase::operator>=(const CGenericBodyBase&) const {
    IllegalComparison(__LINE__);
}
unsigned char CGenericBodyBase::operator!=(const CGenericBodyBase&) const {
    IllegalComparison(__LINE__);
}
void CGenericBodyBase::operator<<(const CXFile&) {
    IllegalOperation(__LINE__);
}
void CGenericBodyBase::operator>>(CXFile&) const {
    IllegalOperation(__LINE__);
}
CUniStr CGenericBodyBase::GetString() const {
    IllegalOperation(__LINE__);
}
CUniStr CGenericBodyBase::GetPrettyPrint(unsigned int) const {
    IllegalOperation(__LINE__);
}
void CGenericBodyBase::AppendString(CUniStr& out) const {
    out += GetString();
}

// ---- the handle ---------------------------------------------------------------------------------------

CGeneric::CGeneric(int value) : CGeneric(static_cast<double>(value)) {}
CGeneric::CGeneric(unsigned int value) : CGeneric(static_cast<double>(value)) {}
CGeneric::CGeneric(double value) {
    *this = CGenericNumber(value);
}
CGeneric::CGeneric(const CUniStr& text) {
    SetFromString(text);
}

CUniStr CGeneric::GetString() const {
    return m_rep ? m_rep->GetString() : CUniStr();
}
CUniStr CGeneric::GetPrettyPrint(unsigned int options) const {
    return m_rep ? m_rep->GetPrettyPrint(options) : CUniStr();
}

void CGeneric::SetFromString(const CUniStr& text) {
    unsigned int position = 0;
    SetFromString(text, position);
}

void CGeneric::SetFromString(const CUniStr& text, unsigned int& position) {
    unsigned int at = position;
    CGeneric value;
    try {
        value = ReadGenericValue(text, at);  // this handle is left alone when the reader throws
    } catch (const std::bad_alloc&) {
        // The general heap ran out (the reader's own containers): told as the pools tell it.
        throw CMemoryError();
    }
    *this = std::move(value);
    position = at;
}

CGeneric CGeneric::CreateFromString(const CUniStr& text) {
    CGeneric value;
    value.SetFromString(text);
    return value;
}

unsigned char CGeneric::operator==(const CGeneric& other) const {
    if (m_rep == other.m_rep) return 1;
    if (!m_rep || !other.m_rep || m_rep->GetKind() != other.m_rep->GetKind()) return 0;
    return *m_rep == *other.m_rep;
}

unsigned char CGeneric::operator<(const CGeneric& other) const {
    if (m_rep == other.m_rep) return 0;
    if (!m_rep) return 1;
    if (!other.m_rep) return 0;
    const E_GenericTypes a = m_rep->GetKind(), b = other.m_rep->GetKind();
    if (a != b) return KindOrder(a) < KindOrder(b);
    return *m_rep < *other.m_rep;
}

unsigned char CGeneric::operator<=(const CGeneric& other) const {
    if (m_rep == other.m_rep) return 1;
    if (!m_rep) return 1;
    if (!other.m_rep) return 0;
    const E_GenericTypes a = m_rep->GetKind(), b = other.m_rep->GetKind();
    if (a != b) return KindOrder(a) < KindOrder(b);
    return *m_rep <= *other.m_rep;
}

void CGeneric::operator>>(CXFile& file) const {
    if (m_rep) *m_rep >> file;
}

namespace {
// Values nest in a stream as deep as its bytes say; each level of loading is a level of the stack, so
// loading refuses what text would refuse too (deeper than kMaxGenericNesting).
thread_local unsigned tLoadNesting = 0;
struct LoadNesting {
    LoadNesting() {
        if (tLoadNesting >= kMaxGenericNesting) detail::ThrowXFile(kErrIO, "Read operation failed", __LINE__);
        ++tLoadNesting;
    }
    ~LoadNesting() { --tLoadNesting; }
    LoadNesting(const LoadNesting&) = delete;
    LoadNesting& operator=(const LoadNesting&) = delete;
};
}  // namespace

void CGeneric::operator<<(const CXFile& file) {
    Release();
    const LoadNesting nesting;
    CGeneric loaded;
    // Variables and tree nodes have no binary form and DAGs and blobs none here: like unknown codes,
    // they give the null value and nothing more is read.
    const detail::GenericKind& kind = detail::KindRow(detail::ReadU32(file));
    if (!kind.makeForLoading) return;
    loaded = CGeneric(kind.makeForLoading());
    try {
        *loaded.m_rep << file;  // a failed load leaves this handle null
    } catch (const std::bad_alloc&) {
        throw CMemoryError();  // the general heap (a list's elements are gathered in an array first)
    }
    // A list of no elements loads as the empty list, which is the null value.
    if (auto* list = BodyAs<CGenericListRep>(loaded.m_rep);
        list && list->GetCar().IsNull() && list->GetCdr().IsNull())
        return;
    *this = std::move(loaded);
}

}  // namespace ZtBase
