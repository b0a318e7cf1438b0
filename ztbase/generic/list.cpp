#include "ztbase/generic/list.h"

#include <unordered_map>
#include <utility>
#include <vector>

#include "ztbase/files/internal/xfile_errors.h"
#include "ztbase/generic/internal/binary_io.h"
#include "ztbase/generic/internal/pretty.h"

namespace ZtBase {

namespace {

using Pair = CGenericListRep;

// Lists held as first values nest; loading a stored value follows that nesting by recursion, so a file
// cannot ask for more than this many levels.

constexpr unsigned kDottedFlag = 0x80000000u;

const Pair* AsPair(const CGeneric& value) noexcept {
    return BodyAs<Pair>(value.GetRep());
}

// A pair that only this handle holds: releasing the handle would release the pair and what it holds.
bool IsLastHandleOnPair(const CGeneric& value) noexcept {
    const Pair* pair = AsPair(value);
    return pair && pair->GetRefCount() == 1;
}

}  // namespace

// ---- the pair body ------------------------------------------------------------------------------------

// Releases a pair that node alone holds, and every pair below it that is held only there, without
// recursion: the pairs held as first values are rotated into the chain of rests (the pairs themselves
// serve as the stack), and the chain is then released one pair at a time. Each pair released here has
// neither a first value nor a rest that it alone holds, so its own destructor does nothing more.
void CGenericListRep::ReleaseAlone(CGeneric node) noexcept {
    while (IsLastHandleOnPair(node)) {
        auto* pair = static_cast<Pair*>(node.GetRep());
        if (IsLastHandleOnPair(pair->m_car)) {
            CGeneric left = std::move(pair->m_car);
            auto* leftPair = static_cast<Pair*>(left.GetRep());
            pair->m_car = std::move(leftPair->m_cdr);
            leftPair->m_cdr = std::move(node);
            node = std::move(left);
        } else {
            CGeneric rest = std::move(pair->m_cdr);
            node = std::move(rest);  // releases the pair
        }
    }
}

CGenericListRep::~CGenericListRep() {
    if (IsLastHandleOnPair(m_car)) ReleaseAlone(std::move(m_car));
    if (IsLastHandleOnPair(m_cdr)) ReleaseAlone(std::move(m_cdr));
}

CBodyBase* CGenericListRep::Duplicate() const {
    return new CGenericListRep(m_car, m_cdr);
}

unsigned int CGenericListRep::GetDepth() const {
    return m_depth.load(std::memory_order_relaxed);
}
unsigned int CGenericListRep::IncrementDepth() {
    return m_depth.fetch_add(1, std::memory_order_relaxed) + 1;
}
unsigned int CGenericListRep::DecrementDepth() {
    unsigned int depth = m_depth.load(std::memory_order_relaxed);
    while (depth > 0 && !m_depth.compare_exchange_weak(depth, depth - 1, std::memory_order_relaxed)) {
    }
    return depth > 0 ? depth - 1 : 0;
}

// ---- comparison ---------------------------------------------------------------------------------------

namespace {

enum class Op { kLess, kLessEqual, kGreater, kGreaterEqual };

bool Apply(Op op, const CGeneric& a, const CGeneric& b) {
    switch (op) {
        case Op::kLess:
            return a < b;
        case Op::kLessEqual:
            return a <= b;
        case Op::kGreater:
            return a > b;
        case Op::kGreaterEqual:
            return a >= b;
    }
    return false;
}

// Lexicographic order of two lists, walking rests in a loop and lists held as first values with an
// explicit stack. First values decide by the strict order both ways; when everything before is
// equivalent, the last rests of the two outer lists decide by op itself.
bool CompareLists(const Pair* a, const Pair* b, Op op) {
    std::vector<std::pair<const Pair*, const Pair*>> outer;  // pairs whose rests are still to compare
    for (;;) {
        const Pair* innerA = AsPair(a->GetCar());
        const Pair* innerB = AsPair(b->GetCar());
        if (innerA && innerB && innerA != innerB) {
            outer.emplace_back(a, b);
            a = innerA;
            b = innerB;
            continue;
        }
        if (a->GetCar() < b->GetCar()) return op == Op::kLess || op == Op::kLessEqual;
        if (b->GetCar() < a->GetCar()) return op == Op::kGreater || op == Op::kGreaterEqual;
        // The first values are equivalent: on to the rests, closing finished inner lists.
        for (;;) {
            const Pair* nextA = a->NextPair();
            const Pair* nextB = b->NextPair();
            if (nextA && nextB && nextA != nextB) {
                a = nextA;
                b = nextB;
                break;
            }
            if (outer.empty()) return Apply(op, a->GetCdr(), b->GetCdr());
            if (a->GetCdr() < b->GetCdr()) return op == Op::kLess || op == Op::kLessEqual;
            if (b->GetCdr() < a->GetCdr()) return op == Op::kGreater || op == Op::kGreaterEqual;
            a = outer.back().first;
            b = outer.back().second;
            outer.pop_back();
        }
    }
}

}  // namespace

bool CGenericListRep::SameEqual(const CGenericListRep& o) const {
    std::vector<std::pair<const Pair*, const Pair*>> outer;
    const Pair* a = this;
    const Pair* b = &o;
    for (;;) {
        const Pair* innerA = AsPair(a->m_car);
        const Pair* innerB = AsPair(b->m_car);
        if (innerA && innerB && innerA != innerB) {
            outer.emplace_back(a, b);
            a = innerA;
            b = innerB;
            continue;
        }
        if (!(a->m_car == b->m_car)) return false;
        for (;;) {
            const Pair* nextA = a->NextPair();
            const Pair* nextB = b->NextPair();
            if (nextA && nextB && nextA != nextB) {
                a = nextA;
                b = nextB;
                break;
            }
            if (!(a->m_cdr == b->m_cdr)) return false;
            if (outer.empty()) return true;
            a = outer.back().first;
            b = outer.back().second;
            outer.pop_back();
        }
    }
}

bool CGenericListRep::SameLess(const CGenericListRep& o) const {
    return CompareLists(this, &o, Op::kLess);
}
bool CGenericListRep::SameLessEqual(const CGenericListRep& o) const {
    return CompareLists(this, &o, Op::kLessEqual);
}
bool CGenericListRep::SameGreater(const CGenericListRep& o) const {
    return CompareLists(this, &o, Op::kGreater);
}
bool CGenericListRep::SameGreaterEqual(const CGenericListRep& o) const {
    return CompareLists(this, &o, Op::kGreaterEqual);
}

// ---- text ---------------------------------------------------------------------------------------------

namespace {

// The text of a value that is not a pair, one line or pretty.
CUniStr ValueText(const CGeneric& value, bool pretty, unsigned options) {
    if (value.IsNull()) return CUniStr(u"()");
    return pretty ? value.GetPrettyPrint(options) : value.GetString();
}

// The pretty texts of the values met while one list is printed pretty, made once each: the printer first
// tries a list on one line and then lays it over lines, and a value inside (an association holding a
// list, say) would otherwise be printed for both, and again at every level of nesting, which costs time
// exponential in the depth.
using PrettyTexts = std::unordered_map<const CGenericBodyBase*, CUniStr>;

// The same, remembering the last value's text: long lists often hold one value many times over.
class ElementText {
public:
    ElementText(bool pretty, unsigned options, PrettyTexts* made = nullptr)
        : m_pretty(pretty), m_options(options), m_made(made) {}
    const CUniStr& Of(const CGeneric& value) {
        if (!m_valid || value.GetRep() != m_body) {
            m_body = value.GetRep();
            m_valid = true;
            if (m_made && m_body) {
                auto found = m_made->find(m_body);
                if (found == m_made->end())
                    found = m_made->emplace(m_body, ValueText(value, m_pretty, m_options)).first;
                m_text = found->second;
            } else {
                m_text = ValueText(value, m_pretty, m_options);
            }
        }
        return m_text;
    }

private:
    bool m_pretty;
    unsigned m_options;
    PrettyTexts* m_made;
    bool m_valid = false;
    const CGenericBodyBase* m_body = nullptr;
    CUniStr m_text;
};

// The one-line form of the list starting at first: lists inside are written in place (an explicit
// stack, no recursion). With a limit, writing stops as soon as the text reaches limit units or holds a
// line feed, and the result is then false.
constexpr U16Literal kEmptyList(u"()");

bool WriteOneLine(const Pair* first, bool pretty, unsigned options, unsigned limit, CUniStr& out,
                  PrettyTexts* made = nullptr) {
    std::vector<const Pair*> outer;
    ElementText element(pretty, options, made);
    const Pair* p = first;
    out += static_cast<unsigned short>('(');
    for (;;) {
        if (const Pair* inner = AsPair(p->GetCar())) {
            outer.push_back(p);
            p = inner;
            out += static_cast<unsigned short>('(');
            if (limit && out.Length() >= limit) return false;
            continue;
        }
        if (!pretty) {
            if (p->GetCar().IsNull())
                out.Append(kEmptyList, 2);
            else
                p->GetCar().AppendString(out);
        } else {
            const CUniStr& text = element.Of(p->GetCar());
            out += text;
            if (limit && detail::HasLineFeed(text)) return false;
        }
        if (limit && out.Length() >= limit) return false;
        for (;;) {
            if (const Pair* next = p->NextPair()) {
                p = next;
                out += static_cast<unsigned short>(' ');
                break;
            }
            if (!p->GetCdr().IsNull()) {
                const CUniStr tail = element.Of(p->GetCdr());
                out += u" . ";
                out += tail;
                if (limit && detail::HasLineFeed(tail)) return false;
            }
            out += static_cast<unsigned short>(')');
            if (limit && out.Length() >= limit) return false;
            if (outer.empty()) return true;
            p = outer.back();
            outer.pop_back();
        }
    }
}

constexpr unsigned kPrettyLineLimit = 50;

bool FitsOnOneLine(const Pair* first, unsigned options, PrettyTexts& made) {
    CUniStr probe;
    return WriteOneLine(first, true, options, kPrettyLineLimit, probe, &made);
}

// Indentation stops growing after this many levels, so that the text of a deeply nested list grows with
// its size and not with the square of its depth.
constexpr std::size_t kMaxIndentLevels = detail::kMaxIndent / 4;

void AppendIndent(CUniStr& out, std::size_t levels) {
    static const U16Literal kSpaces(
        u"                                                                                ");
    static_assert(sizeof(kSpaces.text) / sizeof(kSpaces.text[0]) > 4 * kMaxIndentLevels);
    if (levels > kMaxIndentLevels) levels = kMaxIndentLevels;
    out.Append(kSpaces, static_cast<unsigned>(4 * levels));
}

// Appends text, indenting every line after the first; the text's own final line feed is kept and
// nothing is added after it.
void AppendIndented(CUniStr& out, const CUniStr& text, std::size_t levels) {
    const unsigned short* s = text;
    const unsigned n = text.Length();
    unsigned start = 0;
    for (unsigned i = 0; i < n; ++i) {
        if (s[i] == 10 && i + 1 < n) {
            out.Append(s + start, i + 1 - start);
            if (!detail::FullyIndented(text, i + 1)) AppendIndent(out, levels);
            start = i + 1;
        }
    }
    out.Append(s + start, n - start);
}

void EndLine(CUniStr& out) {
    if (out.LastChar() != 10) out += static_cast<unsigned short>('\n');
}

}  // namespace

void CGenericListRep::AppendString(CUniStr& out) const {
    WriteOneLine(this, false, 0, 0, out);
}

CUniStr CGenericListRep::GetPrettyPrint(unsigned int options) const {
    PrettyTexts made;
    {
        CUniStr line;
        if (WriteOneLine(this, true, options, kPrettyLineLimit, line, &made)) return line;
    }
    // One element per line. A list that does not fit on a line opens a frame with its elements indented
    // by four more spaces; a list that fits is written on one line in place. Frames that are laid over
    // lines are always below those written on one line, so the indentation is the depth of the stack.
    struct Frame {
        const Pair* pair;
        bool multi;
    };
    std::vector<Frame> stack;
    CUniStr out;
    auto open = [&](const Pair* p, bool multi) {
        out += static_cast<unsigned short>('(');
        if (multi) out += static_cast<unsigned short>('\n');
        stack.push_back({p, multi});
    };
    open(this, true);
    ElementText element(true, options, &made);
    bool firstInFrame = true;
    for (;;) {
        const Frame& frame = stack.back();
        if (frame.multi)
            AppendIndent(out, stack.size());
        else if (!firstInFrame)
            out += static_cast<unsigned short>(' ');
        const CGeneric& car = frame.pair->GetCar();
        if (const Pair* inner = AsPair(car)) {
            open(inner, frame.multi && !FitsOnOneLine(inner, options, made));
            firstInFrame = true;
            continue;
        }
        if (frame.multi) {
            AppendIndented(out, element.Of(car), stack.size());
            EndLine(out);
        } else {
            out += element.Of(car);
        }
        for (;;) {
            Frame& f = stack.back();
            if (const Pair* next = f.pair->NextPair()) {
                f.pair = next;
                firstInFrame = false;
                break;
            }
            if (!f.pair->GetCdr().IsNull()) {
                const CUniStr tail = element.Of(f.pair->GetCdr());
                if (f.multi) {
                    AppendIndent(out, stack.size());
                    out += u". ";
                    AppendIndented(out, tail, stack.size());
                    EndLine(out);
                } else {
                    out += u" . ";
                    out += tail;
                }
            }
            if (f.multi) AppendIndent(out, stack.size() - 1);
            out += static_cast<unsigned short>(')');
            stack.pop_back();
            if (stack.empty()) return out;
            if (stack.back().multi) EndLine(out);
        }
    }
}

// ---- binary form --------------------------------------------------------------------------------------

void CGenericListRep::operator>>(CXFile& file) const {
    unsigned count = 0;
    const Pair* last = this;
    for (const Pair* p = this; p; p = p->NextPair()) {
        ++count;
        last = p;
    }
    const bool dotted = !last->m_cdr.IsNull();
    if (count >= kDottedFlag) detail::ThrowXFile(kErrIO, "Write operation failed", __LINE__);
    detail::WriteU32(file, kKind);
    detail::WriteU32(file, count | (dotted ? kDottedFlag : 0u));
    for (const Pair* p = this; p; p = p->NextPair()) {
        if (p->m_car.IsNull())
            detail::WriteU32(file, eGenericNull);  // loads back as the null value
        else
            p->m_car >> file;
    }
    if (dotted) last->m_cdr >> file;
}

void CGenericListRep::operator<<(const CXFile& file) {
    const unsigned word = detail::ReadU32(file);
    const bool dotted = (word & kDottedFlag) != 0;
    const unsigned count = word & ~kDottedFlag;
    // Every value takes at least its 4-byte kind code: refuse a count the file cannot hold.
    const long long left = static_cast<long long>(file.GetFileLength()) - file.GetFilePosition();
    if ((static_cast<long long>(count) + (dotted ? 1 : 0)) * 4 > left)
        detail::ThrowXFile(kErrIO, "Read operation failed", __LINE__);

    std::vector<CGeneric> values(count);
    for (CGeneric& value : values) value << file;
    CGeneric rest;
    if (dotted) rest << file;
    // The chain is built from the last element backwards.
    for (unsigned i = count; i > 1; --i) rest = CGeneric(new Pair(std::move(values[i - 1]), std::move(rest)));
    m_car = count > 0 ? std::move(values[0]) : CGeneric();
    m_cdr = std::move(rest);
}

// ---- the handle ---------------------------------------------------------------------------------------

namespace {
const CGeneric& NullCar() {
    static const CGeneric value;
    return value;
}
const CGeneric& NullCdr() {
    static const CGeneric value;
    return value;
}
}  // namespace

CGenericList::~CGenericList() = default;

CGenericList::CGenericList(const CGeneric& car, const CGeneric& cdr) : ZtGenericHandle(new Pair(car, cdr)) {}
CGenericList::CGenericList(const CGeneric& car, const CGenericList& rest)
    : ZtGenericHandle(new Pair(car, CGeneric(rest))) {}

const CGeneric& CGenericList::GetCar() const {
    return m_rep ? m_rep->GetCar() : NullCar();
}
const CGeneric& CGenericList::GetCdr() const {
    return m_rep ? m_rep->GetCdr() : NullCdr();
}

void CGenericList::SetCar(const CGeneric& value) {
    CGeneric keep(value);  // the value may live in the pair about to be copied or changed
    Modify();
    m_rep->SetCar(keep);
}
void CGenericList::SetCdr(const CGeneric& value) {
    CGeneric keep(value);
    Modify();
    m_rep->SetCdr(keep);
}

unsigned int CGenericList::GetDepth() const {
    return m_rep ? m_rep->GetDepth() : 0;
}
unsigned int CGenericList::IncrementDepth() {
    return m_rep ? m_rep->IncrementDepth() : 0;
}
unsigned int CGenericList::DecrementDepth() {
    return m_rep ? m_rep->DecrementDepth() : 0;
}

unsigned int CGenericList::GetLength() const {
    unsigned int n = 0;
    for (const Pair* p = m_rep; p && !p->GetCar().IsNull(); p = p->NextPair()) ++n;
    return n;
}

CGeneric CGenericList::GetNth(unsigned int n) const {
    const Pair* p = m_rep;
    for (; p && n > 0; --n) p = p->NextPair();
    return p ? p->GetCar() : CGeneric();
}

CGenericList CGenericList::GetReverse() const {
    CGeneric reversed;
    for (const Pair* p = m_rep; p; p = p->NextPair())
        reversed = CGeneric(new Pair(p->GetCar(), std::move(reversed)));
    return static_cast<CGenericList>(reversed);
}

CGenericList CGenericList::Append(const CGeneric& tail) const {
    CGenericList rest = static_cast<CGenericList>(tail);
    if (!m_rep) return rest;
    CGenericList head(new Pair(m_rep->GetCar(), CGeneric()));
    Pair* last = head.m_rep;
    for (const Pair* p = m_rep->NextPair(); p; p = p->NextPair()) {
        auto* copy = new Pair(p->GetCar(), CGeneric());
        last->m_cdr = CGeneric(copy);
        last = copy;
    }
    last->m_cdr = CGeneric(rest);
    return head;
}

unsigned char CGenericList::operator==(const CGenericList& o) const {
    if (m_rep == o.m_rep) return 1;
    if (!m_rep || !o.m_rep) return 0;
    return m_rep->SameEqual(*o.m_rep);
}

unsigned char CGenericList::operator<(const CGenericList& o) const {
    if (m_rep == o.m_rep || !o.m_rep) return 0;
    if (!m_rep) return 1;
    return m_rep->SameLess(*o.m_rep);
}

unsigned char CGenericList::operator<=(const CGenericList& o) const {
    if (m_rep == o.m_rep || !m_rep) return 1;
    if (!o.m_rep) return 0;
    return m_rep->SameLessEqual(*o.m_rep);
}

}  // namespace ZtBase
