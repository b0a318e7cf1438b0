// Member definitions of BasicZtStr, included by the two translation units that instantiate it
// (str.cpp and unistr.cpp).
#pragma once

#include <algorithm>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "ztbase/base/exception_base.h"
#include "ztbase/strings/basic_str.h"

namespace ZtBase::detail {

template <class Ch>
inline void CopyUnits(Ch* to, const Ch* from, unsigned n) noexcept {
    if (n) std::memmove(to, from, std::size_t(n) * sizeof(Ch));
}

template <class Ch, class D>
typename BasicZtStr<Ch, D>::Rep* BasicZtStr<Ch, D>::AllocRep(unsigned need) {
    if (need > (0xFFFFFFFFu - Rep::kHeaderBytes) / sizeof(Ch)) throw CMemoryError();
    unsigned granted = 0;
    void* block = AllocStrBlock(need * unsigned(sizeof(Ch)) + Rep::kHeaderBytes, granted);
    if (!block) throw CMemoryError();
    Rep* r = static_cast<Rep*>(block);
    r->refCount = 1;
    r->length = 0;
    r->capacity = (granted - Rep::kHeaderBytes) / unsigned(sizeof(Ch));
    r->Chars()[0] = 0;
    return r;
}

template <class Ch, class D>
void BasicZtStr<Ch, D>::AssureNeed(unsigned need) {
    if (!m_rep) {
        m_rep = AllocRep(need);
        return;
    }
    if (m_rep->Shares() < 2 && m_rep->capacity >= need) return;
    if (need > m_rep->capacity) need = 2 * need + (sizeof(Ch) == 1 ? 4 : 5);
    Rep* fresh = AllocRep(need);
    fresh->length = m_rep->length;
    CopyUnits(fresh->Chars(), m_rep->Chars(), m_rep->length + 1);
    this->Release();
    m_rep = fresh;
}

template <class Ch, class D>
void BasicZtStr<Ch, D>::Assign(const Ch* text, unsigned n) {
    this->Release();
    if (!text || n == 0 || text[0] == 0) return;
    // Only the units before the first zero are kept.
    unsigned len = 0;
    while (len < n && text[len]) ++len;
    m_rep = AllocRep(len + 1);
    CopyUnits(m_rep->Chars(), text, len);
    m_rep->Chars()[len] = 0;
    m_rep->length = len;
}

template <class Ch, class D>
void BasicZtStr<Ch, D>::AssignFill(Ch c, unsigned n) {
    this->Release();
    if (c == 0 || n == 0) return;
    m_rep = AllocRep(n + 1);
    std::fill_n(m_rep->Chars(), n, c);
    m_rep->Chars()[n] = 0;
    m_rep->length = n;
}

template <class Ch, class D>
void BasicZtStr<Ch, D>::AppendUnits(const Ch* text, unsigned n) {
    if (n == 0) return;
    const unsigned len = Length();
    AssureNeed(len + n + 1);
    CopyUnits(m_rep->Chars() + len, text, n);
    m_rep->length = len + n;
    m_rep->Chars()[len + n] = 0;
}

template <class Ch, class D>
void BasicZtStr<Ch, D>::AppendChar(Ch c) {
    AppendUnits(&c, 1);
}

template <class Ch, class D>
D& BasicZtStr<Ch, D>::operator+=(const D& other) {
    if (other.Length() == 0) return Self();
    D keep(other);  // the other may be this very string: hold its body while this one changes
    AppendUnits(keep.m_rep->Chars(), keep.m_rep->length);
    return Self();
}

template <class Ch, class D>
Ch BasicZtStr<Ch, D>::SetChar(unsigned i, Ch c) {
    if (i >= Length()) return 0;
    AssureNeed(m_rep->capacity);
    m_rep->Chars()[i] = c;
    return c;
}

template <class Ch, class D>
void BasicZtStr<Ch, D>::Insert(unsigned pos, Ch c) {
    if (c == 0) return;
    const unsigned len = Length();
    pos = std::min(pos, len);
    AssureNeed(len + 2);
    Ch* p = m_rep->Chars();
    CopyUnits(p + pos + 1, p + pos, len - pos + 1);
    p[pos] = c;
    m_rep->length = len + 1;
}

template <class Ch, class D>
void BasicZtStr<Ch, D>::Insert(unsigned pos, const D& text) {
    const unsigned n = text.Length();
    if (n == 0) return;
    D keep(text);
    const unsigned len = Length();
    pos = std::min(pos, len);
    AssureNeed(len + n + 1);
    Ch* p = m_rep->Chars();
    CopyUnits(p + pos + n, p + pos, len - pos + 1);
    CopyUnits(p + pos, keep.m_rep->Chars(), n);
    m_rep->length = len + n;
}

template <class Ch, class D>
void BasicZtStr<Ch, D>::Delete(unsigned pos, unsigned n) {
    const unsigned len = Length();
    if (pos >= len || n == 0) return;
    n = std::min(n, len - pos);
    AssureNeed(m_rep->capacity);
    Ch* p = m_rep->Chars();
    CopyUnits(p + pos, p + pos + n, len - pos - n + 1);
    m_rep->length = len - n;
}

template <class Ch, class D>
void BasicZtStr<Ch, D>::DeleteLastChar(unsigned n) {
    const unsigned len = Length();
    if (len == 0 || n == 0) return;
    n = std::min(n, len);
    AssureNeed(m_rep->capacity);
    m_rep->length = len - n;
    m_rep->Chars()[len - n] = 0;
}

template <class Ch, class D>
D BasicZtStr<Ch, D>::Copy(unsigned start, unsigned n) const {
    D result;
    const unsigned len = Length();
    if (start >= len || n == 0) return result;
    n = std::min(n, len - start);
    result.m_rep = AllocRep(n + 1);
    CopyUnits(result.m_rep->Chars(), m_rep->Chars() + start, n);
    result.m_rep->Chars()[n] = 0;
    result.m_rep->length = n;
    return result;
}

template <class Ch, class D>
void BasicZtStr<Ch, D>::CopySelf(unsigned start, unsigned n) {
    const unsigned len = Length();
    if (start >= len || n == 0) {
        this->Release();
        return;
    }
    n = std::min(n, len - start);
    if (start == 0 && n == len) return;
    if (m_rep->Shares() >= 2) {
        *this = Copy(start, n);
        return;
    }
    Ch* p = m_rep->Chars();
    CopyUnits(p, p + start, n);
    p[n] = 0;
    m_rep->length = n;
}

template <class Ch, class D>
void BasicZtStr<Ch, D>::TrimLeading(Ch c) {
    const unsigned len = Length();
    unsigned k = 0;
    while (k < len && m_rep->Chars()[k] == c) ++k;
    if (k) Delete(0, k);
}

template <class Ch, class D>
void BasicZtStr<Ch, D>::TrimTrailing(Ch c) {
    const unsigned len = Length();
    unsigned k = 0;
    while (k < len && m_rep->Chars()[len - 1 - k] == c) ++k;
    if (k) DeleteLastChar(k);
}

template <class Ch, class D>
void BasicZtStr<Ch, D>::Pad(unsigned width, Ch fill, EJust just) {
    const unsigned len = Length();
    if (width <= len) return;
    const unsigned d = width - len;
    unsigned before = 0;
    if (just == eRightJustify)
        before = d;
    else if (just == eCenter)
        before = d / 2;
    AssureNeed(width + 1);
    Ch* p = m_rep->Chars();
    CopyUnits(p + before, p, len);
    std::fill_n(p, before, fill);
    std::fill_n(p + before + len, d - before, fill);
    p[width] = 0;
    m_rep->length = width;
}

template <class Ch, class D>
void BasicZtStr<Ch, D>::MapAll(unsigned char CCharDef::*field) {
    const unsigned len = Length();
    if (len == 0) return;
    AssureNeed(m_rep->capacity);
    Ch* p = m_rep->Chars();
    for (unsigned i = 0; i < len; ++i) p[i] = MapUnit(p[i], field);
}

template <class Ch, class D>
void BasicZtStr<Ch, D>::FirstUpper() {
    if (Length() == 0) return;
    AssureNeed(m_rep->capacity);
    m_rep->Chars()[0] = MapUnit(m_rep->Chars()[0], &CCharDef::upperCase);
}

template <class Ch, class D>
D BasicZtStr<Ch, D>::Mapped(unsigned char CCharDef::*field) const {
    D copy(Self());
    copy.MapAll(field);
    return copy;
}

template <class Ch, class D>
D BasicZtStr<Ch, D>::ForMode(ECompareMode mode) const {
    switch (mode) {
        case eIgnoreCase:
            return StrUpper();
        case eIgnoreDiacritics:
            return StrStrip();
        case eIgnoreBoth:
            return StrSanitize();
        default:
            return Self();
    }
}

template <class Ch, class D>
D BasicZtStr<Ch, D>::Concat(const Ch* a, unsigned na, const Ch* b, unsigned nb) {
    D result;
    if (na + nb == 0) return result;
    result.m_rep = AllocRep(na + nb + 1);
    Ch* p = result.m_rep->Chars();
    CopyUnits(p, a, na);
    CopyUnits(p + na, b, nb);
    p[na + nb] = 0;
    result.m_rep->length = na + nb;
    return result;
}

// First index at or after from where the pattern occurs, or npos.
template <class Ch>
inline unsigned FindForward(const Ch* text, unsigned len, const Ch* pat, unsigned plen,
                            unsigned from) noexcept {
    if (plen > len || from > len - plen) return ~0u;
    if constexpr (sizeof(Ch) == 1) {
#if defined(__GLIBC__)
        const void* hit = memmem(text + from, len - from, pat, plen);
        return hit ? unsigned(static_cast<const Ch*>(hit) - text) : ~0u;
#else
        // The first byte found with memchr, then the rest compared.
        const Ch* p = text + from;
        const Ch* const stop = text + (len - plen) + 1;
        while (p < stop) {
            p = static_cast<const Ch*>(std::memchr(p, pat[0], std::size_t(stop - p)));
            if (!p) return ~0u;
            if (std::memcmp(p + 1, pat + 1, plen - 1) == 0) return unsigned(p - text);
            ++p;
        }
        return ~0u;
#endif
    } else {
        // Scan for the first unit (eight at a time where the processor allows), then check the rest.
        const Ch first = pat[0], lastUnit = pat[plen - 1];
        const Ch* p = text + from;
        const Ch* const stop = text + (len - plen) + 1;  // one past the last possible start
        while (p < stop) {
#if defined(__SSE2__)
            const __m128i want = _mm_set1_epi16(static_cast<short>(first));
            while (stop - p >= 8) {
                const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
                const int mask = _mm_movemask_epi8(_mm_cmpeq_epi16(units, want));
                if (mask) {
                    p += __builtin_ctz(static_cast<unsigned>(mask)) / 2;
                    break;
                }
                p += 8;
            }
#endif
            while (p < stop && *p != first) ++p;
            if (p == stop) break;
            if (p[plen - 1] == lastUnit &&
                std::memcmp(p + 1, pat + 1, std::size_t(plen > 1 ? plen - 1 : 0) * sizeof(Ch)) == 0)
                return unsigned(p - text);
            ++p;
        }
        return ~0u;
    }
}

template <class Ch, class D>
bool BasicZtStr<Ch, D>::FindExact(const D& pattern, unsigned& pos, unsigned start, unsigned end,
                                  unsigned char forward) const {
    const Ch* text = m_rep->Chars();
    const unsigned len = m_rep->length;
    const Ch* pat = pattern.m_rep->Chars();
    const unsigned plen = pattern.m_rep->length;
    if (forward) {
        const unsigned at = FindForward(text, len, pat, plen, start);
        if (at == ~0u) return false;
        pos = at - start;
        return true;
    }
    // Backward: candidates from the last place the pattern fits in [start, end] down to start.
    if (end < start || end - start + 1 < plen) return false;
    for (unsigned r = end - start + 1 - plen + 1; r-- > 0;) {
        if (std::memcmp(text + start + r, pat, std::size_t(plen) * sizeof(Ch)) == 0) {
            pos = r;
            return true;
        }
    }
    return false;
}

template <class Ch, class D>
bool BasicZtStr<Ch, D>::Find(const D& pattern, unsigned& pos, ECompareMode mode, unsigned start, unsigned end,
                             unsigned char forward) const {
    const unsigned len = Length();
    if (len == 0 || start >= len || pattern.Length() == 0) return false;
    if (end > len - 1) end = len - 1;
    if (mode == eExact) return FindExact(pattern, pos, start, end, forward);
    if (mode > eIgnoreBoth) {
        pos = len;
        return false;
    }
    return ForMode(mode).FindExact(pattern.ForMode(mode), pos, start, end, forward);
}

template <class Ch, class D>
bool BasicZtStr<Ch, D>::Find(Ch c, unsigned& pos, ECompareMode mode, unsigned start) const {
    const unsigned len = Length();
    if (len == 0 || start > len) return false;
    const Ch* text = m_rep->Chars();
    D upper;
    switch (mode) {
        case eExact:
            break;
        case eIgnoreCase:
            upper = StrUpper();
            text = upper.m_rep->Chars();
            c = MapUnit(c, &CCharDef::upperCase);
            break;
        // Only the character is mapped; the string is searched as it stands.
        case eIgnoreDiacritics:
            c = MapUnit(c, &CCharDef::baseLetter);
            break;
        case eIgnoreBoth:
            c = MapUnit(c, &CCharDef::sortKey);
            break;
        default:
            pos = len;
            return false;
    }
    for (unsigned i = start; i < len; ++i) {
        if (text[i] == c) {
            pos = i - start;
            return true;
        }
    }
    return false;
}

template <class Ch, class D>
bool BasicZtStr<Ch, D>::AtStart(const D& pattern, ECompareMode mode) const {
    if (pattern.Length() == 0) return true;
    unsigned pos = 0;
    return Find(pattern, pos, mode, 0) && pos == 0;
}

template <class Ch, class D>
bool BasicZtStr<Ch, D>::AtEnd(const D& pattern, ECompareMode mode) const {
    const unsigned plen = pattern.Length(), len = Length();
    if (plen == 0) return true;
    if (plen > len) return false;
    unsigned pos = 0;
    return Find(pattern, pos, mode, len - plen, len - 1, 0) && pos == 0;
}

template <class Ch, class D>
bool BasicZtStr<Ch, D>::ReplaceAll(const D& find, const D& replace, ECompareMode mode, unsigned start) {
    const D what(find), with(replace);  // either may be this string
    bool replaced = false;
    unsigned pos = 0;
    while (Find(what, pos, mode, start)) {
        const unsigned s = start + pos;
        Delete(s, what.Length());
        Insert(s, with);
        start = s + with.Length();
        replaced = true;
    }
    return replaced;
}

}  // namespace ZtBase::detail
