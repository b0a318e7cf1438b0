// The machinery shared by the 8-bit CStr and the 16-bit CUniStr: a one-pointer handle onto a
// reference-counted body drawn from the memory pools, copy on write, and every editing, case and search
// operation that is the same for both widths. Derived is the concrete string class (CRTP), so that
// operations return and accept the caller's own type.
#pragma once

#include <atomic>
#include <cstring>
#include <type_traits>

#include "ztbase/base/handle.h"
#include "ztbase/platform/export.h"
#include "ztbase/strings/chardefs.h"
#include "ztbase/strings/str_types.h"

namespace ZtBase {
namespace detail {

// A string body: three 32-bit header words followed by the characters and a zero terminator, in one
// block from gMemoryPoolManager. The capacity counts characters (terminator included) and is derived
// from the size the pool granted, so the whole block is used.
template <class Ch>
struct StrRep {
    int refCount;
    unsigned length;
    unsigned capacity;

    static constexpr unsigned kHeaderBytes = 12;
    Ch* Chars() noexcept { return reinterpret_cast<Ch*>(reinterpret_cast<char*>(this) + kHeaderBytes); }
    const Ch* Chars() const noexcept {
        return reinterpret_cast<const Ch*>(reinterpret_cast<const char*>(this) + kHeaderBytes);
    }
    // Acquire: a handle that finds itself the only one and then writes in place must see every read that
    // the other handles made before they let go.
    int Shares() const noexcept {
        return std::atomic_ref<int>(const_cast<int&>(refCount)).load(std::memory_order_acquire);
    }
};

ZTBASE_API void* AllocStrBlock(unsigned bytes, unsigned& granted);
ZTBASE_API void FreeStrBlock(void* block) noexcept;

template <class Ch>
struct StrRepTraits {
    static void AddRef(StrRep<Ch>* r) noexcept { LockedIncrement(r->refCount); }
    static void Release(StrRep<Ch>* r) noexcept {
        if (ReleaseWasLast(r->refCount)) FreeStrBlock(r);
    }
};

template <class Ch>
constexpr unsigned UnitLength(const Ch* s) noexcept {
    if (!s) return 0;
    const Ch* p = s;
    while (*p) ++p;
    return static_cast<unsigned>(p - s);
}

template <class Ch, class Derived>
class ZTBASE_API BasicZtStr : public ZtHandle<StrRep<Ch>, StrRepTraits<Ch>> {
    using Handle = ZtHandle<StrRep<Ch>, StrRepTraits<Ch>>;

public:
    using Unit = Ch;
    using Rep = StrRep<Ch>;

    BasicZtStr() noexcept = default;

    // ---- access ---------------------------------------------------------------------------------
    unsigned Length() const noexcept { return m_rep ? m_rep->length : 0; }
    unsigned GetLength() const noexcept { return Length(); }
    unsigned Size() const noexcept { return m_rep ? m_rep->capacity : 0; }
    void Blank() noexcept { this->Release(); }
    // Empties the string. A body this handle holds alone is kept, with its room, for the text that
    // follows (a reader filling one line after another allocates once); a shared body is let go.
    void Clear() noexcept {
        if (m_rep && m_rep->Shares() < 2) {
            m_rep->length = 0;
            m_rep->Chars()[0] = 0;
        } else {
            this->Release();
        }
    }

    // Never a null pointer: a null handle yields a shared, constant empty string.
    operator const Ch*() const noexcept { return m_rep ? m_rep->Chars() : EmptyText(); }
    const Ch* c_str() const noexcept { return *this; }
    const Ch* begin() const noexcept { return *this; }
    const Ch* end() const noexcept { return begin() + Length(); }

    // Out-of-range indexes (negative, or not below the length) read as 0.
    Ch operator[](int i) const noexcept { return i >= 0 ? At(static_cast<unsigned>(i)) : Ch(0); }
    Ch operator[](unsigned i) const noexcept { return At(i); }
    Ch operator[](short i) const noexcept { return operator[](static_cast<int>(i)); }
    Ch operator[](unsigned short i) const noexcept { return At(i); }
    Ch operator[](long i) const noexcept { return i >= 0 && i < long(Length()) ? At(unsigned(i)) : Ch(0); }
    Ch operator[](unsigned long i) const noexcept { return i < Length() ? At(unsigned(i)) : Ch(0); }

    // The n-th character from the end (0 is the last); n is clamped to the first character.
    Ch LastChar(unsigned n = 0) const noexcept {
        const unsigned len = Length();
        if (len == 0) return 0;
        return m_rep->Chars()[len - 1 - (n < len ? n : len - 1)];
    }
    Ch SetChar(unsigned i, Ch c);

    // A string of exactly one character equal to c.
    bool operator==(Ch c) const noexcept { return Length() == 1 && m_rep->Chars()[0] == c; }
    bool operator!=(Ch c) const noexcept { return !operator==(c); }

    // ---- editing --------------------------------------------------------------------------------
    // Appending the character 0 does nothing.
    Derived& operator+=(Ch c) {
        if (c != 0) {
            // The plain fields first and the count last: the count's acquire load orders only what follows
            // it. The length is stored before the characters, which may alias it (a char store can).
            Rep* r = m_rep;
            if (r) {
                const unsigned len = r->length;
                if (len + 2 <= r->capacity && r->Shares() < 2) {
                    r->length = len + 1;
                    Ch* p = r->Chars() + len;
                    p[0] = c;
                    p[1] = 0;
                    return Self();
                }
            }
            AppendChar(c);  // by value: taking c's address here would keep it in memory in callers' loops
        }
        return Self();
    }
    Derived& operator+=(const Derived& other);
    Derived& operator+=(const Ch* text) {
        AppendUnits(text, UnitLength(text));
        return Self();
    }
    // Appends n units of text (which may hold no zero unit).
    Derived& Append(const Ch* text, unsigned n) {
        Rep* r = m_rep;
        if (r && r->Shares() < 2 && n < r->capacity - r->length) {
            Ch* p = r->Chars() + r->length;
            // Most appended pieces are a few units long: copied in place rather than by a call.
            if (n <= 8) {
                for (unsigned i = 0; i < n; ++i) p[i] = text[i];
            } else {
                std::memcpy(p, text, n * sizeof(Ch));
            }
            p[n] = 0;
            r->length += n;
        } else {
            AppendUnits(text, n);
        }
        return Self();
    }

    // Opens a gap at pos and copies in; a position past the end appends.
    void Insert(unsigned pos, Ch c);
    void Insert(unsigned pos, const Derived& text);
    // Nothing when pos is not below the length; n is clamped to what follows pos.
    void Delete(unsigned pos, unsigned n);
    void DeleteLastChar(unsigned n = 1);

    // At most n characters from start; null when start is not below the length or nothing remains.
    Derived Copy(unsigned start, unsigned n = 0xFFFFFFFFu) const;
    void CopySelf(unsigned start, unsigned n = 0xFFFFFFFFu);

    void TrimLeading(Ch c = Ch(' '));
    void TrimTrailing(Ch c = Ch(' '));
    void Trim(Ch c = Ch(' ')) {
        TrimTrailing(c);
        TrimLeading(c);
    }
    void Pad(unsigned width, Ch fill = Ch(' '), EJust just = eRightJustify);

    // Case and diacritics through the character table (16-bit text: units below 256 only).
    void Upper() { MapAll(&CCharDef::upperCase); }
    void Lower() { MapAll(&CCharDef::lowerCase); }
    void Strip() { MapAll(&CCharDef::baseLetter); }
    void Sanitize() { MapAll(&CCharDef::sortKey); }
    void FirstUpper();
    Derived StrUpper() const { return Mapped(&CCharDef::upperCase); }
    Derived StrLower() const { return Mapped(&CCharDef::lowerCase); }
    Derived StrStrip() const { return Mapped(&CCharDef::baseLetter); }
    Derived StrSanitize() const { return Mapped(&CCharDef::sortKey); }

    // ---- search ---------------------------------------------------------------------------------
    // pos is counted from start. Forward searches ignore end; backward ones look in [start, end].
    bool Find(const Derived& pattern, unsigned& pos, ECompareMode mode = eExact, unsigned start = 0,
              unsigned end = 0xFFFFFFFFu, unsigned char forward = 1) const;
    // Modes 2 and 3 map only the character, not the string searched.
    bool Find(Ch c, unsigned& pos, ECompareMode mode = eExact, unsigned start = 0) const;
    bool In(const Derived& pattern, ECompareMode mode = eExact, unsigned start = 0) const {
        unsigned pos;
        return Find(pattern, pos, mode, start);
    }
    bool In(Ch c, ECompareMode mode = eExact, unsigned start = 0) const {
        unsigned pos;
        return Find(c, pos, mode, start);
    }
    bool AtStart(const Derived& pattern, ECompareMode mode = eExact) const;
    bool AtEnd(const Derived& pattern, ECompareMode mode = eExact) const;
    bool ReplaceAll(const Derived& find, const Derived& replace, ECompareMode mode = eExact,
                    unsigned start = 0);

    // ---- storage --------------------------------------------------------------------------------
    // A fresh body able to hold need characters (terminator included): length 0, count 1.
    static Rep* AllocRep(unsigned need);
    static void FreeRep(Rep* rep) noexcept { FreeStrBlock(rep); }
    // A new string of exactly the two texts one after the other.
    static Derived Concat(const Ch* a, unsigned na, const Ch* b, unsigned nb);

protected:
    using Handle::m_rep;

    Derived& Self() noexcept { return static_cast<Derived&>(*this); }
    const Derived& Self() const noexcept { return static_cast<const Derived&>(*this); }
    static const Ch* EmptyText() noexcept {
        static constexpr Ch empty[1] = {0};
        return empty;
    }
    Ch At(unsigned i) const noexcept { return m_rep && i < m_rep->length ? m_rep->Chars()[i] : Ch(0); }

    void Assign(const Ch* text, unsigned n);  // n units, the length then taken up to the first zero
    void AssignFill(Ch c, unsigned n);
    // Makes the body private and able to hold need characters, terminator included. A body that must
    // grow is allocated at twice the need plus a small constant.
    void AssureNeed(unsigned need);
    void AppendUnits(const Ch* text, unsigned n);
    void AppendChar(Ch c);
    void MapAll(unsigned char CCharDef::*field);
    Derived Mapped(unsigned char CCharDef::*field) const;
    Derived ForMode(ECompareMode mode) const;
    bool FindExact(const Derived& pattern, unsigned& pos, unsigned start, unsigned end,
                   unsigned char forward) const;

    static Ch MapUnit(Ch c, unsigned char CCharDef::*field) noexcept {
        const auto u = static_cast<std::make_unsigned_t<Ch>>(c);
        return u < 256 ? static_cast<Ch>(ICCharacters[u].*field) : c;
    }
};

}  // namespace detail
}  // namespace ZtBase
