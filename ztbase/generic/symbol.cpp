#include "ztbase/generic/symbol.h"

#include <atomic>
#include <bit>
#include <cstdint>
#include <mutex>
#include <string>
#include <type_traits>
#include <vector>

#include "ztbase/errors/exceptions.h"
#include "ztbase/generic/internal/binary_io.h"
#include "ztbase/generic/internal/generic_errors.h"

namespace ZtBase {

namespace {

// The symbol table. Records are kept in fixed-size chunks that never move, so the text of a record (a
// CUniStr that is never released or changed) stays where it is for the life of the process. The index
// from text to record is an open-addressing table of slots that doubles when half full, so interning
// costs the same per symbol whether the table holds a thousand texts or millions. (Which texts are
// accepted is decided by the unit test of the hash below; the bucket layout itself is nobody's concern.)
class SymbolTable {
public:
    SymbolTable() {
        m_slots.assign(kInitialSlots, Slot{});
        AppendRecord(CUniStr("*Invalid_Symbol*"), 0);  // record 0 is not entered in the index
    }

    template <class Unit>
    unsigned Intern(const Unit* text, unsigned n, std::uint32_t hash) {
        std::lock_guard<std::mutex> hold(m_lock);
        std::size_t mask = m_slots.size() - 1;
        for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
            Slot& slot = m_slots[i];
            if (!slot.chars) {
                const unsigned index = AppendRecord(MakeText(text, n), hash);
                slot = Slot{Record(index).text.c_str(), hash, index};
                if (2 * (index + 1) > m_slots.size()) Grow();
                return index;
            }
            if (slot.hash == hash && SameText(slot.chars, text, n)) return slot.index;
        }
    }

    // The body shared by the symbols made from a text: interning and handing out the body take one lock
    // and no allocation once the body exists. The table keeps a reference, so the body is never freed.
    CSymbolRep* Body(unsigned index) {
        std::lock_guard<std::mutex> hold(m_lock);
        CSymbolRep*& body = Record(index).body;
        if (!body) {
            body = new CSymbolRep(index);
            body->IncRefCount();
        }
        return body;
    }

    // The record's text, or null for an index beyond the table. Takes no lock: a record is complete
    // before the count that admits it is published, and records never move.
    const CUniStr* Text(unsigned index) const {
        return index < m_count.load(std::memory_order_acquire) ? &Record(index).text : nullptr;
    }

    unsigned Size() const { return m_count.load(std::memory_order_acquire); }

private:
    struct RecordData {
        CUniStr text;
        std::uint32_t word = 0;      // the hash of the text, kept for the record's life
        CSymbolRep* body = nullptr;  // one body for every symbol of this text, made on first use
    };
    struct Slot {
        const unsigned short* chars = nullptr;  // the record's zero-terminated text; null: free slot
        std::uint32_t hash = 0;
        unsigned index = 0;
    };
    // Records live in chunks of doubling size: chunk c holds 4,096 << c records, so 21 chunks cover every
    // 32-bit index and the directory of chunks never moves.
    static constexpr unsigned kFirstChunkBits = 12;
    static constexpr unsigned kChunkCount = 33 - kFirstChunkBits;
    static constexpr std::size_t kInitialSlots = 2048;

    struct Place {
        unsigned chunk;
        std::size_t offset;
    };
    static Place PlaceOf(unsigned index) {
        const std::uint64_t shifted = std::uint64_t{index} + (std::uint64_t{1} << kFirstChunkBits);
        const unsigned top = static_cast<unsigned>(std::bit_width(shifted)) - 1;
        return {top - kFirstChunkBits, static_cast<std::size_t>(shifted - (std::uint64_t{1} << top))};
    }
    RecordData& Record(unsigned index) const {
        const Place p = PlaceOf(index);
        return m_chunks[p.chunk].load(std::memory_order_acquire)[p.offset];
    }

    // Called under the lock. The count is published last, after the record is complete.
    unsigned AppendRecord(CUniStr text, std::uint32_t word) {
        const unsigned index = m_count.load(std::memory_order_relaxed);
        const Place p = PlaceOf(index);
        if (p.offset == 0) {
            const std::size_t size = std::size_t{1} << (p.chunk + kFirstChunkBits);
            m_chunks[p.chunk].store(new RecordData[size], std::memory_order_release);
        }
        RecordData& r = Record(index);
        r.text = std::move(text);
        r.word = word;
        m_count.store(index + 1, std::memory_order_release);
        return index;
    }

    static CUniStr MakeText(const unsigned short* text, unsigned n) { return CUniStr(text, n); }
    static CUniStr MakeText(const char* text, unsigned n) { return CUniStr(text, n); }
    static CUniStr MakeText(const char16_t* text, unsigned) { return CUniStr(text); }

    // Units compare as unsigned values: 8-bit text is widened byte by byte. Key texts hold no zero unit.
    template <class Unit>
    static bool SameText(const unsigned short* stored, const Unit* text, unsigned n) {
        using U = std::make_unsigned_t<Unit>;
        for (unsigned k = 0; k < n; ++k)
            if (stored[k] != static_cast<U>(text[k])) return false;
        return stored[n] == 0;
    }

    void Grow() {
        std::vector<Slot> bigger(2 * m_slots.size());
        const std::size_t mask = bigger.size() - 1;
        for (const Slot& s : m_slots) {
            if (!s.chars) continue;
            std::size_t i = s.hash & mask;
            while (bigger[i].chars) i = (i + 1) & mask;
            bigger[i] = s;
        }
        m_slots.swap(bigger);
    }

    std::mutex m_lock;
    std::vector<Slot> m_slots;
    std::atomic<RecordData*> m_chunks[kChunkCount] =
        {};  // never freed: the table lives as long as the process
    std::atomic<unsigned> m_count{0};
};

// Made on first use and never deleted: static objects that hold symbols may still use it while the
// process is being torn down.
SymbolTable& Table() {
    static SymbolTable* const table = new SymbolTable();
    return *table;
}

CUniStr MakeKey(const unsigned short* text, unsigned n) {
    return CUniStr(text, n);
}
CUniStr MakeKey(const char* text, unsigned n) {
    return CUniStr(text, n);
}
CUniStr MakeKey(const char16_t* text, unsigned n) {
    CUniStr s;
    for (unsigned k = 0; k < n; ++k) s += static_cast<unsigned short>(text[k]);
    return s;
}

[[noreturn]] void RejectText(const CUniStr& text, unsigned line) {
    CUniStr message("Invalid symbol - \"");
    message += text;
    message += u"\" !";
    throw CZtSimpleException(kErrInvalidGeneric, message, detail::kGenericModule, line);
}

// Accepts only texts without units of code 32 or below, and hashes them (FNV-1a over the units, then a
// final mix so that the low bits that choose the slot depend on every unit).
template <class Unit>
std::uint32_t HashText(const Unit* text, unsigned n) {
    using U = std::make_unsigned_t<Unit>;
    std::uint32_t h = 2166136261u;
    for (unsigned k = 0; k < n; ++k) {
        const unsigned c = static_cast<U>(text[k]);
        if (c <= 32) RejectText(MakeKey(text, n), __LINE__);
        h = (h ^ c) * 16777619u;
    }
    h ^= h >> 16;
    h *= 0x85ebca6bu;
    h ^= h >> 13;
    h *= 0xc2b2ae35u;
    h ^= h >> 16;
    return h;
}

}  // namespace

namespace detail {

unsigned int InternSymbol(const unsigned short* text, unsigned int length) {
    if (!text) length = 0;
    return Table().Intern(text, length, HashText(text, length));
}

unsigned int InternSymbol(const char* text, unsigned int length) {
    if (!text) length = 0;
    return Table().Intern(text, length, HashText(text, length));
}

unsigned int InternSymbol(const char16_t* text, unsigned int length) {
    if (!text) length = 0;
    return Table().Intern(text, length, HashText(text, length));
}

CUniStr SymbolText(unsigned int index) {
    const CUniStr* text = Table().Text(index);
    return text ? *text : CUniStr();
}

const unsigned short* SymbolTextPointer(unsigned int index) {
    static constexpr unsigned short kEmpty[1] = {0};
    const CUniStr* text = Table().Text(index);
    return text ? text->c_str() : kEmpty;
}

void AppendSymbolText(CUniStr& out, unsigned int index) {
    if (const CUniStr* text = Table().Text(index)) out.Append(text->c_str(), text->Length());
}

unsigned int SymbolTableSize() {
    return Table().Size();
}

}  // namespace detail

// ---- the body -----------------------------------------------------------------------------------------

CSymbolRep::~CSymbolRep() = default;

CBodyBase* CSymbolRep::Duplicate() const {
    return new CSymbolRep(m_index);
}

void CSymbolRep::operator<<(const CXFile& file) {
    const CUniStr text = detail::ReadText(file);
    m_index = detail::InternSymbol(text.c_str(), text.Length());
}

void CSymbolRep::operator>>(CXFile& file) const {
    detail::WriteU32(file, kKind);
    detail::WriteText(file, detail::SymbolText(m_index));
}

CUniStr CSymbolRep::GetString() const {
    return detail::SymbolText(m_index);
}
void CSymbolRep::AppendString(CUniStr& out) const {
    detail::AppendSymbolText(out, m_index);
}
CUniStr CSymbolRep::GetPrettyPrint(unsigned int) const {
    return detail::SymbolText(m_index);
}

// ---- the handle ---------------------------------------------------------------------------------------

namespace {
unsigned NarrowLength(const char* text, unsigned limit) {
    unsigned n = 0;
    while (n < limit && text[n]) ++n;
    return n;
}
}  // namespace

// Symbols made from a text share that text's one body (a body is never changed in place, so no caller
// can tell); a symbol made from a bare index gets a body of its own.
CSymbol::CSymbol(const CUniStr& text) {
    SetRepTo(Table().Body(detail::InternSymbol(text.c_str(), text.Length())));
}
CSymbol::CSymbol(const unsigned short* text) {
    SetRepTo(Table().Body(detail::InternSymbol(text, UniStrLen(text))));
}
CSymbol::CSymbol(const unsigned short* text, unsigned int length) {
    SetRepTo(Table().Body(detail::InternSymbol(text, length)));
}
CSymbol::CSymbol(const char16_t* text) {
    SetRepTo(Table().Body(
        detail::InternSymbol(text, text ? unsigned(std::char_traits<char16_t>::length(text)) : 0u)));
}
CSymbol::CSymbol(const char* text) {
    SetRepTo(Table().Body(detail::InternSymbol(text, text ? NarrowLength(text, ~0u) : 0u)));
}
CSymbol::CSymbol(const CStr& text) {
    SetRepTo(Table().Body(detail::InternSymbol(text.c_str(), NarrowLength(text.c_str(), text.Length()))));
}
CSymbol::CSymbol(unsigned int index) : ZtGenericHandle(new CSymbolRep(index)) {}

}  // namespace ZtBase
