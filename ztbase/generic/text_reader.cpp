#include "ztbase/generic/text_reader.h"

#include <cmath>
#include <utility>
#include <vector>

#include "ztbase/generic/association.h"
#include "ztbase/generic/generic_file.h"
#include "ztbase/generic/internal/generic_errors.h"
#include "ztbase/generic/list.h"
#include "ztbase/generic/scalars.h"
#include "ztbase/generic/set.h"
#include "ztbase/generic/symbol.h"
#include "ztbase/generic/tree_node.h"

namespace ZtBase {

namespace {

constexpr char kUnrecognized[] = "Unrecognized character in Generic stream : \"";
constexpr char kStreamError[] = "Error in generic stream : \"";
constexpr char kUnexpectedEnd[] = "Unexpected end of generic stream : \"";
constexpr char kInvalidNumber[] = "Invalid numeric argument : \"";
constexpr char kTooDeep[] = "Generic stream nested too deeply : \"";
// The bundle's own messages end with a line break and carry no context.
constexpr char kExpectedBrace[] = "Error in generic stream: expected char: {\n";
constexpr char kExpectedEquals[] = "Error in generic stream: expected char: =\n";
constexpr char kExpectedEntry[] = "Error in generic stream: expected chars: white space, }, or /\n";

// An exponent beyond this many decimal digits' worth already gives an infinity or zero.
constexpr unsigned kExponentCap = 100000;

bool IsLetter(unsigned short c) noexcept {
    if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z')) return true;
    if (c < 0x80) return false;
    if (c < 0xC0) return c == 0xAA || c == 0xB5 || c == 0xBA;
    return c != 0xD7 && c != 0xF7;  // 0xC0 to 0xFF but the two signs, and every unit from 0x100 on
}
bool IsDigit(unsigned short c) noexcept {
    return c >= '0' && c <= '9';
}
// What may follow the first unit of a symbol or a variable.
bool IsWordUnit(unsigned short c) noexcept {
    return IsLetter(c) || IsDigit(c) || c == '_' || c == '~';
}
bool IsLineEnd(unsigned short c) noexcept {
    return c == 10 || c == 13;
}

class Reader {
public:
    Reader(const CUniStr& text, unsigned int position)
        : m_text(text), m_s(text.c_str()), m_n(text.Length()), m_pos(position) {}

    unsigned int Position() const noexcept { return m_pos; }

    // The dispatcher: one value, or null when only white space and comments remain.
    CGeneric Value() {
        Nesting nesting(*this);
        for (;;) {
            if (!SkipWhite()) return CGeneric();
            const unsigned short c = m_s[m_pos];
            switch (c) {
                case '(':
                    ++m_pos;
                    return List();
                case '{':
                    return Bundle();
                case '[':
                    return Set();
                case '"':
                    return String();
                case '@':
                    return File();
                case '_':
                    return Variable();
                case '<':
                    ++m_pos;
                    return TreeNode();
                case '/':
                    ++m_pos;
                    Comment();
                    continue;
                default:
                    break;
            }
            if (IsLetter(c)) return SymbolOrAssociation();
            if (IsDigit(c) || c == '.' || c == '+' || c == '-') return Number();
            ++m_pos;
            Fail(kUnrecognized, __LINE__);
        }
    }

private:
    struct Nesting {
        explicit Nesting(Reader& r) : reader(r) {
            if (++reader.m_depth > kMaxGenericNesting) reader.Fail(kTooDeep, __LINE__);
        }
        ~Nesting() { --reader.m_depth; }
        Reader& reader;
    };

    [[noreturn]] void Fail(const char* message, unsigned line) const {
        detail::ThrowStreamError(message, m_text, m_pos, line);
    }
    [[noreturn]] static void FailBundle(const char* message, unsigned line) {
        detail::ThrowGeneric(kErrGenericSyntax, message, line);
    }

    bool AtEnd() const noexcept { return m_pos >= m_n; }
    // Skips units of code 32 or below; true when something is left.
    bool SkipWhite() noexcept {
        while (m_pos < m_n && m_s[m_pos] <= 32) ++m_pos;
        return m_pos < m_n;
    }
    // The next unit, consumed; the end of the text is an unexpected end.
    unsigned short Next() {
        if (m_pos >= m_n) Fail(kUnexpectedEnd, __LINE__);
        return m_s[m_pos++];
    }
    // Skips white space; the end of the text is an unexpected end.
    void SkipWhiteBeforeMore() {
        if (!SkipWhite()) Fail(kUnexpectedEnd, __LINE__);
    }

    // After the "/": a block comment (closed by "*/", where "**/" does not close) or a line comment (up to
    // the line break and every line break after it). The end of the text inside either is an error.
    void Comment() {
        const unsigned short c = Next();
        if (c == '*') {
            bool star = false;
            for (;;) {
                const unsigned short u = Next();
                if (star && u == '/') return;
                star = !star && u == '*';
            }
        }
        if (c != '/') Fail(kStreamError, __LINE__);
        while (!IsLineEnd(Next())) {
        }
        while (IsLineEnd(Next())) {
        }
        --m_pos;
    }

    // A letter, then letters, digits, "_" and "~".
    CUniStr WordFrom(unsigned start) {
        EndOfWord(start);
        return CUniStr(m_s + start, m_pos - start);
    }
    void EndOfWord(unsigned start) {
        m_pos = start + 1;
        while (m_pos < m_n && IsWordUnit(m_s[m_pos])) ++m_pos;
    }
    // A word interned where it stands in the text, without a string of its own.
    CSymbol SymbolFrom(unsigned start) {
        EndOfWord(start);
        return CSymbol(m_s + start, m_pos - start);
    }

    // After the "<": a label, a bundle, ">", and for a node with children "/", the nodes, "\". No comment
    // stands between these parts: a "/" after the ">" always opens the children.
    CGeneric TreeNode() {
        const Nesting nesting(*this);
        SkipWhiteBeforeMore();
        if (!IsLetter(m_s[m_pos])) {
            ++m_pos;
            Fail(kStreamError, __LINE__);
        }
        CTreeNode node = MakeTreeNode(SymbolFrom(m_pos));
        node.SetBundle(static_cast<CAssociationBundle>(Bundle()));
        SkipWhiteBeforeMore();
        if (Next() != '>') Fail(kStreamError, __LINE__);
        if (!SkipWhite() || m_s[m_pos] != '/') return node;
        ++m_pos;
        for (;;) {
            SkipWhiteBeforeMore();
            const unsigned short c = Next();
            if (c == '\\') return node;
            if (c != '<') Fail(kStreamError, __LINE__);
            node.AddChild(static_cast<CTreeNode>(TreeNode()));
        }
    }

    CGeneric SymbolOrAssociation() {
        CSymbol symbol = SymbolFrom(m_pos);
        if (SkipWhite() && m_s[m_pos] == '=') {
            ++m_pos;
            CGeneric value = Value();
            return CAssociation(symbol, value);
        }
        return symbol;
    }

    CGeneric Variable() {
        if (!SkipWhite() || m_s[m_pos] != '_') {
            if (!AtEnd()) ++m_pos;
            Fail(kStreamError, __LINE__);
        }
        return CGenericVariable(WordFrom(m_pos));
    }

    CGeneric String() {
        if (!SkipWhite() || m_s[m_pos] != '"') {
            if (!AtEnd()) ++m_pos;
            Fail(kStreamError, __LINE__);
        }
        ++m_pos;
        CUniStr text;
        for (;;) {
            unsigned start = m_pos;
            while (m_pos < m_n && m_s[m_pos] != '"' && m_s[m_pos] != '\\') ++m_pos;
            text.Append(m_s + start, m_pos - start);
            const unsigned short c = Next();
            if (c == '"') break;
            text += Next();  // a backslash takes the unit after it as it is
        }
        return CGenericString(text);
    }

    // The number's state machine. An exponent is recognised only after a decimal point; in the exponent
    // sign, units of code 9 or below are passed over and anything else but a sign (a digit too) is an
    // error.
    CGeneric Number() {
        enum class State { kStart, kInteger, kFraction, kExponentSign, kExponentFirst, kExponentDigits };
        using enum State;
        State state = kStart;
        double value = 0, factor = 0.1, sign = 1;
        unsigned exponent = 0;
        int exponentSign = 1;
        bool hasExponent = false;
        bool done = false;
        while (!done && m_pos < m_n) {
            const unsigned short c = m_s[m_pos++];
            const bool digit = IsDigit(c);
            const int d = digit ? c - '0' : 0;
            switch (state) {
                case kStart:
                    if (digit) {
                        value = d;
                        state = kInteger;
                    } else if (c == '.') {
                        state = kFraction;
                    } else if (c == '+') {
                        state = kInteger;
                    } else if (c == '-') {
                        sign = -1;
                        state = kInteger;
                    }
                    break;
                case kInteger:
                    if (digit) {
                        value = value * 10 + d;
                    } else if (c == '.') {
                        state = kFraction;
                    } else {
                        --m_pos;
                        done = true;
                    }
                    break;
                case kFraction:
                    if (digit) {
                        value = value + d * factor;
                        factor = factor * 0.1;
                    } else if (c == 'e' || c == 'E') {
                        state = kExponentSign;
                    } else {
                        --m_pos;
                        done = true;
                    }
                    break;
                case kExponentSign:
                    if (c == '+') {
                        state = kExponentFirst;
                    } else if (c == '-') {
                        exponentSign = -1;
                        state = kExponentFirst;
                    } else if (c > 9) {
                        Fail(kInvalidNumber, __LINE__);
                    }
                    break;
                case kExponentFirst:
                    if (!digit) Fail(kInvalidNumber, __LINE__);
                    exponent = static_cast<unsigned>(d);
                    hasExponent = true;
                    state = kExponentDigits;
                    break;
                case kExponentDigits:
                    if (digit) {
                        exponent = exponent * 10 + static_cast<unsigned>(d);
                        if (exponent > kExponentCap) exponent = kExponentCap;
                    } else {
                        --m_pos;
                        done = true;
                    }
                    break;
            }
        }
        if (state == kExponentSign || state == kExponentFirst) Fail(kInvalidNumber, __LINE__);
        double result = sign * value;
        if (hasExponent) result *= std::pow(10.0, exponentSign * static_cast<double>(exponent));
        return CGenericNumber(result);
    }

    // After the "(": elements up to ")", and a dotted end after ".". The pairs are made from the last
    // element backwards once all are read.
    CGeneric List() {
        std::vector<CGeneric> elements;
        CGeneric rest;
        for (;;) {
            SkipWhiteBeforeMore();
            const unsigned short c = Next();
            if (c == ')') break;
            if (c == '/') {
                Comment();
                continue;
            }
            if (c == '.') {
                SkipWhiteBeforeMore();
                if (m_s[m_pos] == '.') {
                    ++m_pos;
                    Fail(kStreamError, __LINE__);
                }
                rest = Value();
                SkipWhiteBeforeMore();
                if (Next() != ')') Fail(kStreamError, __LINE__);
                break;
            }
            --m_pos;
            elements.push_back(Value());
        }
        for (std::size_t i = elements.size(); i > 0; --i)
            rest = CGeneric(new CGenericListRep(std::move(elements[i - 1]), std::move(rest)));
        return rest;
    }

    // "[", values separated by ",", "]"; a "," before the "]" is accepted.
    CGeneric Set() {
        if (!SkipWhite() || m_s[m_pos] != '[') {
            if (!AtEnd()) ++m_pos;
            Fail(kStreamError, __LINE__);
        }
        ++m_pos;
        CGenericSet set = MakeSet();
        for (;;) {
            SkipWhiteBeforeMore();
            if (m_s[m_pos] == ']') {
                ++m_pos;
                break;
            }
            if (m_s[m_pos] == '/') {
                ++m_pos;
                Comment();
                continue;
            }
            set.Add(Value());
            unsigned short c;
            for (;;) {
                SkipWhiteBeforeMore();
                c = Next();
                if (c != '/') break;
                Comment();
            }
            if (c == ']') break;
            if (c != ',') Fail(kStreamError, __LINE__);
        }
        return set;
    }

    // "{", entries "name = value" or "name =" separated by ",", "}". An entry not followed by "," can
    // only be followed by "}" (white space and comments aside). The end of the text inside a bundle is an
    // unexpected end.
    CGeneric Bundle() {
        if (!SkipWhite() || m_s[m_pos] != '{') FailBundle(kExpectedBrace, __LINE__);
        ++m_pos;
        CAssociationBundle bundle = MakeAssociationBundle();
        bool entryMayStart = true;
        for (;;) {
            SkipWhiteBeforeMore();
            const unsigned short c = Next();
            if (c == '}') break;
            if (c == '/') {
                Comment();
                continue;
            }
            if (!entryMayStart || !IsLetter(c)) FailBundle(kExpectedEntry, __LINE__);
            CSymbol name = SymbolFrom(m_pos - 1);
            SkipWhiteBeforeMore();
            if (Next() != '=') FailBundle(kExpectedEquals, __LINE__);
            SkipWhiteBeforeMore();
            if (m_s[m_pos] == ',' || m_s[m_pos] == '}')
                bundle.Set(name);
            else
                bundle.Set(name, Value());
            entryMayStart = SkipWhite() && m_s[m_pos] == ',';
            if (entryMayStart) ++m_pos;
        }
        return bundle;
    }

    // "@" and the name up to white space, "]", ")", "}" or the end; the file is opened by that name.
    CGeneric File() {
        ++m_pos;
        const unsigned start = m_pos;
        while (m_pos < m_n && m_s[m_pos] > 32 && m_s[m_pos] != ']' && m_s[m_pos] != ')' && m_s[m_pos] != '}')
            ++m_pos;
        if (m_pos == start) Fail(kStreamError, __LINE__);  // "@" without a name
        const CUniStr name(m_s + start, m_pos - start);
        return CGenericXFile(OpenFileForValue(name), name);
    }

    const CUniStr& m_text;
    const unsigned short* m_s;
    unsigned m_n;
    unsigned m_pos;
    unsigned m_depth = 0;
};

}  // namespace

CGeneric ReadGenericValue(const CUniStr& text, unsigned int& position) {
    unsigned int stoppedAt = position;
    return ReadGenericValue(text, position, stoppedAt);
}

CGeneric ReadGenericValue(const CUniStr& text, unsigned int& position, unsigned int& stoppedAt) {
    Reader reader(text, position);
    try {
        CGeneric value = reader.Value();
        position = stoppedAt = reader.Position();
        return value;
    } catch (...) {
        stoppedAt = reader.Position();
        throw;
    }
}

}  // namespace ZtBase
