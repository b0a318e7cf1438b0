// The handle/body frame. A handle is one pointer onto a reference-counted body; copying shares the
// body, the last release deletes it, and a handle about to change a shared body first takes a private
// copy (Modify). ZtHandle holds the sharing rules once; ZtCowHandle adds copy on write for bodies
// derived from CBodyBase. Bodies that are not CRepBase objects (string bodies from the memory pool)
// plug in through their own traits.
#pragma once

#include <new>
#include <utility>

#include "ztbase/base/counters.h"
#include "ztbase/base/exception_base.h"
#include "ztbase/platform/export.h"

namespace ZtBase {

// Reference count of a body. The copy constructor and assignment copy the count like any other field;
// ZtRefArray::Duplicate relies on that, and callers that duplicate set the count as they need.
class ZTBASE_API CRepBase {
public:
    CRepBase() noexcept : m_refCount(0) {}
    CRepBase(const CRepBase&) noexcept = default;
    CRepBase& operator=(const CRepBase&) noexcept = default;
    virtual ~CRepBase();

    void IncRefCount() noexcept { LockedIncrement(m_refCount); }
    unsigned char DecAndCompareToZeroRefCount() noexcept { return LockedDecrement(m_refCount); }
    // A handle letting its reference go: 1 when it was the last (the count is then left as it was).
    unsigned char ReleaseWasLast() noexcept { return ZtBase::ReleaseWasLast(m_refCount); }
    unsigned char HasOtherHandles() const noexcept { return GetRefCount() != 1 ? 1 : 0; }
    unsigned int GetRefCount() const noexcept {
        return std::atomic_ref<unsigned int>(const_cast<unsigned int&>(m_refCount))
            .load(std::memory_order_acquire);
    }

private:
    unsigned int m_refCount;
};

class ZTBASE_API CBodyBase : public CRepBase {
public:
    CBodyBase() noexcept = default;
    CBodyBase(const CBodyBase&) noexcept = default;
    CBodyBase& operator=(const CBodyBase&) noexcept = default;
    ~CBodyBase() override;
    // A deep copy of this body, allocated on the heap.
    virtual CBodyBase* Duplicate() const = 0;
};

// How a handle shares and frees a CRepBase body.
template <class Body>
struct ZtRepTraits {
    static void AddRef(Body* b) noexcept { b->IncRefCount(); }
    static void Release(Body* b) noexcept {
        if (b->ReleaseWasLast()) delete b;
    }
};

template <class Body, class Traits = ZtRepTraits<Body>>
class ZtHandle {
public:
    using BodyType = Body;

    ZtHandle() noexcept : m_rep(nullptr) {}
    ZtHandle(const ZtHandle& other) noexcept : m_rep(other.m_rep) {
        if (m_rep) Traits::AddRef(m_rep);
    }
    ZtHandle(ZtHandle&& other) noexcept : m_rep(std::exchange(other.m_rep, nullptr)) {}
    ~ZtHandle() { Release(); }

    // Self-assignment is recognised by the handle object, not the body. The new body is taken before
    // the old one is let go, so assigning from a handle that lives inside the old body is safe.
    ZtHandle& operator=(const ZtHandle& other) noexcept {
        if (this != &other) SetRepTo(other.m_rep);
        return *this;
    }
    ZtHandle& operator=(ZtHandle&& other) noexcept {
        if (this != &other) {
            Body* old = std::exchange(m_rep, std::exchange(other.m_rep, nullptr));
            if (old) Traits::Release(old);
        }
        return *this;
    }

    // Drops this handle's reference; the body is deleted when it was the last. The handle becomes null.
    void Release() noexcept {
        if (Body* old = std::exchange(m_rep, nullptr)) Traits::Release(old);
    }
    // Adopts a body made elsewhere (a fresh body with count 0 ends at 1).
    void SetRepTo(Body* body) noexcept {
        if (body) Traits::AddRef(body);
        Body* old = std::exchange(m_rep, body);
        if (old) Traits::Release(old);
    }
    unsigned char IsNull() const noexcept { return m_rep == nullptr ? 1 : 0; }
    Body* GetRep() const noexcept { return m_rep; }

protected:
    explicit ZtHandle(Body* adopt) noexcept : m_rep(adopt) {
        if (m_rep) Traits::AddRef(m_rep);
    }
    Body* m_rep;
};

// Copy on write for bodies derived from CBodyBase. DefaultBody is what a null handle gets on its first
// write (a bare body for CGeneric, a zero number for CGenericNumber, ...).
template <class Body, class DefaultBody = Body>
class ZtCowHandle : public ZtHandle<Body> {
public:
    using ZtHandle<Body>::ZtHandle;

    void Modify() {
        if (!this->m_rep) {
            Body* fresh = new (std::nothrow) DefaultBody();
            if (!fresh) throw CMemoryError();
            if (fresh->GetRefCount() == 0) fresh->IncRefCount();
            this->m_rep = fresh;
            return;
        }
        if (this->m_rep->GetRefCount() == 1) return;
        CBodyBase* copy = this->m_rep->Duplicate();
        if (!copy) throw CMemoryError();
        copy->IncRefCount();
        this->Release();
        this->m_rep = static_cast<Body*>(copy);
    }

protected:
    using ZtHandle<Body>::m_rep;
};

}  // namespace ZtBase
