// Value files: telling the forms apart, decoding text, reading every value with an error that names its
// place, and finding what a conversion would lose.
#include <cmath>
#include <vector>

#include "json_bridge.h"
#include "zt.h"

using namespace ZtBase;

namespace zt {

namespace {

unsigned U32At(const std::string& b, std::size_t at) {
    const auto* p = reinterpret_cast<const unsigned char*>(b.data()) + at;
    return p[0] | unsigned(p[1]) << 8 | unsigned(p[2]) << 16 | unsigned(p[3]) << 24;
}

bool IsUtf8(const std::string& bytes) {
    const auto* s = reinterpret_cast<const unsigned char*>(bytes.data());
    for (std::size_t i = 0, n = bytes.size(); i < n;) {
        const unsigned char c = s[i];
        const unsigned extra = c < 0x80             ? 0
                               : (c & 0xE0) == 0xC0 ? 1
                               : (c & 0xF0) == 0xE0 ? 2
                               : (c & 0xF8) == 0xF0 ? 3
                                                    : 9;
        if (extra == 9 || (extra > 0 && i + extra >= n)) return false;
        for (unsigned k = 1; k <= extra; ++k)
            if ((s[i + k] & 0xC0) != 0x80) return false;
        i += extra + 1;
    }
    return true;
}

// ---- text -----------------------------------------------------------------------------------------------

struct Place {
    unsigned line = 1, column = 1;
};
Place PlaceOf(const CUniStr& text, unsigned position) {
    Place p;
    for (unsigned i = 0; i < position && i < text.Length(); ++i) {
        if (text[i] == '\n') {
            ++p.line;
            p.column = 1;
        } else {
            ++p.column;
        }
    }
    return p;
}

std::string At(const std::string& name, const CUniStr& text, unsigned position) {
    const Place p = PlaceOf(text, position);
    return name + ":" + std::to_string(p.line) + ":" + std::to_string(p.column) + ": ";
}

// What was left open where the text ended: the innermost bracket, string or comment, with its place.
struct Open {
    unsigned position = 0;
    std::string what;  // "" when nothing was open
};
Open WhatWasOpen(const CUniStr& text, unsigned from) {
    std::vector<std::pair<unsigned short, unsigned>> brackets;
    const unsigned n = text.Length();
    for (unsigned i = from; i < n; ++i) {
        const unsigned short c = text[i];
        if (c == '"') {
            const unsigned start = i;
            for (++i; i < n && text[i] != '"'; ++i)
                if (text[i] == '\\') ++i;
            if (i >= n) return {start, "the string is never closed"};
        } else if (c == '/' && i + 1 < n && text[i + 1] == '*') {
            // "*/" closes unless its star follows another star (the opening one excepted).
            const unsigned start = i;
            for (i += 2; i + 1 < n &&
                         !(text[i] == '*' && text[i + 1] == '/' && (i == start + 2 || text[i - 1] != '*'));)
                ++i;
            if (i + 1 >= n) return {start, "the comment is never closed (\"**/\" does not close one)"};
            ++i;
        } else if (c == '/' && i + 1 < n && text[i + 1] == '/') {
            const unsigned start = i;
            while (i < n && text[i] != '\n' && text[i] != '\r') ++i;
            unsigned rest = i;
            while (rest < n && (text[rest] == '\n' || text[rest] == '\r')) ++rest;
            if (rest >= n && brackets.empty())
                return {
                    start,
                    "the text ends in a line comment: the reader needs a value or a /* */ comment after it "
                    "(line breaks alone do not end it)"};
        } else if (c == '(' || c == '[' || c == '{' || c == '<') {
            brackets.emplace_back(c, i);
        } else if ((c == ')' || c == ']' || c == '}' || c == '>') && !brackets.empty()) {
            brackets.pop_back();
        }
    }
    if (brackets.empty()) return {};
    const auto [c, at] = brackets.back();
    return {at, std::string("'") + static_cast<char>(c) + "' is never closed"};
}

// The library's message without its context (the text read so far, which follows " : \""), on one line.
std::string Plain(std::string message) {
    const std::size_t context = message.find(" : \"");
    if (context != std::string::npos) message.resize(context);
    while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) message.pop_back();
    return message;
}

// The library's message with its code and every control character escaped, for --verbose.
std::string Verbose(const CZtException& e) {
    std::string out = " [error " + std::to_string(e.GetErrorCode()) + ": ";
    for (const char c : CUniStr(e.GetErrorString(0)).ToUtf8()) {
        if (c == '\n')
            out += "\\n";
        else if (c == '\r')
            out += "\\r";
        else if (c == '\t')
            out += "\\t";
        else
            out += c;
    }
    return out + "]";
}

void ForEachTextValue(const Input& in, const ReadOptions& options,
                      const std::function<void(const CGeneric&)>& each) {
    const CUniStr text = DecodeText(in.bytes);
    unsigned position = 0;
    while (position < text.Length()) {
        unsigned at = position, stopped = position;
        CGeneric value;
        try {
            value = ReadGenericValue(text, at, stopped);
        } catch (const CZtException& e) {
            std::string message = Plain(CUniStr(e.GetErrorString(0)).ToUtf8());
            unsigned where = stopped > position && stopped <= text.Length() && text[stopped - 1] > 32
                                 ? stopped - 1
                                 : stopped;
            if (message.rfind("Unexpected end", 0) == 0) {
                const Open open = WhatWasOpen(text, position);
                if (!open.what.empty()) {
                    message = open.what;
                    where = open.position;
                }
            } else if (e.GetErrorCode() == static_cast<int>(kErrFileNotFound)) {
                message = "a file value names a file that is not there: " + message;
            }
            throw Failure{kBadInput, At(in.name, text, where) + message +
                                         (options.verbose ? Verbose(e) : std::string())};
        }
        if (value.IsNull() && at >= text.Length()) break;  // only white space and comments were left
        if (at == position) throw Failure{kBadInput, At(in.name, text, at) + "the reader makes no progress"};
        position = at;
        each(value);
    }
}

// ---- binary -----------------------------------------------------------------------------------------------

// Walks one stored value as the loader will read it, so that an unknown kind code or a record cut short is
// reported with its offset instead of being read as null or failing without a place.
class BinaryWalker {
public:
    explicit BinaryWalker(const Input& in) : m_in(in), m_b(in.bytes) {}

    std::size_t Value(std::size_t at, unsigned depth, bool nullAllowed) {
        if (depth > kMaxGenericNesting)
            Fail("values nested deeper than " + std::to_string(kMaxGenericNesting), at);
        const unsigned code = Word(at);
        const std::size_t body = at + 4;
        switch (code) {
            case 0:
                if (!nullAllowed) break;
                return body;
            case eGenericSymbol:
            case eGenericString:
            case eGenericFile:
                return Text(body, at);
            case eGenericNumber:
                Need(body, 8, at);
                return body + 8;
            case eGenericAssociation: {
                const std::size_t value = Symbol(body, depth);
                return Value(value, depth + 1, false);
            }
            case eGenericAssociationBundle: {
                const unsigned count = Word(body);
                std::size_t next = body + 4;
                for (unsigned i = 0; i < count; ++i) next = Value(Symbol(next, depth), depth + 1, false);
                return next;
            }
            case eGenericSet: {
                const unsigned count = Word(body);
                std::size_t next = body + 4;
                for (unsigned i = 0; i < count; ++i) next = Value(next, depth + 1, false);
                return next;
            }
            case eGenericList: {
                const unsigned word = Word(body);
                const unsigned count = word & 0x7FFFFFFFu;
                std::size_t next = body + 4;
                for (unsigned i = 0; i < count; ++i) next = Value(next, depth + 1, true);
                return (word & 0x80000000u) ? Value(next, depth + 1, true) : next;
            }
            case eGenericVariable:
            case eGenericTreeNode:
            case eGenericDag:
            case eGenericDagNode:
            case eGenericBlob:  // written as its code alone
                return body;
            default:
                break;
        }
        Fail("unknown kind code " + std::to_string(code), at);
    }

private:
    [[noreturn]] void Fail(const std::string& what, std::size_t at) const {
        throw Failure{kBadInput,
                      m_in.name + ": not a value file: " + what + " at byte " + std::to_string(at)};
    }
    void Need(std::size_t at, std::size_t n, std::size_t value) const {
        if (at > m_b.size() || m_b.size() - at < n) Fail("a value cut short", value);
    }
    unsigned Word(std::size_t at) const {
        Need(at, 4, at);
        return U32At(m_b, at);
    }
    std::size_t Text(std::size_t at, std::size_t value) const {
        const unsigned bytes = Word(at);
        if (bytes % 2) Fail("a text of an odd number of bytes", value);
        Need(at + 4, bytes, value);
        return at + 4 + bytes;
    }
    std::size_t Symbol(std::size_t at, unsigned depth) {
        if (Word(at) != eGenericSymbol) Fail("a key that is not a symbol", at);
        return Value(at, depth + 1, false);
    }

    const Input& m_in;
    const std::string& m_b;
};

void ForEachBinaryValue(const Input& in, const std::function<void(const CGeneric&)>& each) {
    BinaryWalker walker(in);
    for (std::size_t at = 0; at < in.bytes.size();) {
        const std::size_t end = walker.Value(at, 0, false);
        CXFile file = gFileSystem.CreateRamFile(XF_BINARY);
        file.WriteBlock(in.bytes.data() + at, static_cast<unsigned>(end - at));
        file.Seek(0);
        CGeneric value;
        try {
            value << file;
        } catch (const CZtException& e) {
            throw Failure{kBadInput,
                          in.name + ": not a value file: " + Plain(CUniStr(e.GetErrorString(0)).ToUtf8()) +
                              " at byte " + std::to_string(at)};
        }
        each(value);
        at = end;
    }
}

// ---- what a conversion loses
// ---------------------------------------------------------------------------------

std::string Describe(const CGeneric& value) {
    std::string text = value.GetString().ToUtf8();
    if (text.size() > 40) text = text.substr(0, 37) + "...";
    return text;
}

bool NumberReadsBack(double d) {
    if (std::isnan(d) || std::isinf(d)) return false;
    unsigned at = 0;
    const CGeneric back = ReadGenericValue(CUniStr::FromUtf8(NumberText(d)), at);
    return back.GetType() == eGenericNumber && static_cast<double>(static_cast<CGenericNumber>(back)) == d;
}

// Whether a symbol's or a variable's text reads back as the same single value.
bool TextReadsBack(const CGeneric& value) {
    try {
        unsigned at = 0;
        const CUniStr text = value.GetString();
        const CGeneric back = ReadGenericValue(text, at);
        return at == text.Length() && back == value;
    } catch (const CZtException&) {
        return false;
    }
}

std::string LossIn(const CGeneric& value, Form to);

std::string LossInChildren(const CGeneric& value, Form to) {
    switch (value.GetType()) {
        case eGenericAssociation: {
            const CAssociation a = value;
            if (std::string lost = LossIn(a.GetKey(), to); !lost.empty()) return lost;
            if (to == Form::kBinary && a.GetValue().IsNull())
                return "the association " + Describe(value) + " without a value";
            return LossIn(a.GetValue(), to);
        }
        case eGenericAssociationBundle:
            for (const auto& [key, v] : static_cast<CAssociationBundle>(value)) {
                if (to == Form::kBinary && v.IsNull())
                    return "the key " + key.GetString().ToUtf8() + " without a value";
                if (std::string lost = LossIn(v, to); !lost.empty()) return lost;
            }
            return {};
        case eGenericSet:
            for (const CGeneric& v : static_cast<CGenericSet>(value)) {
                if (to == Form::kBinary && v.IsNull()) return "a null element of a set";
                if (std::string lost = LossIn(v, to); !lost.empty()) return lost;
            }
            return {};
        case eGenericList: {
            // Walked with a loop: lists may be long.
            CGeneric rest = value;
            while (rest.GetType() == eGenericList) {
                const CGenericList pair = rest;
                if (std::string lost = LossIn(pair.GetCar(), to); !lost.empty()) return lost;
                rest = pair.GetCdr();
            }
            return LossIn(rest, to);
        }
        default:
            return {};
    }
}

std::string LossIn(const CGeneric& value, Form to) {
    switch (value.GetType()) {
        case eGenericNumber: {
            const double d = static_cast<double>(static_cast<CGenericNumber>(value));
            if ((to == Form::kText && !NumberReadsBack(d)) || (to == Form::kJson && !std::isfinite(d)))
                return "the number " + Describe(value);
            return {};
        }
        case eGenericVariable:
            if (to == Form::kBinary) return "the variable " + Describe(value);
            return to == Form::kText && !TextReadsBack(value) ? "the variable " + Describe(value)
                                                              : std::string();
        case eGenericBlob:
            return "a blob";  // its bytes are written nowhere
        case eGenericDag:
        case eGenericDagNode:
            return "a DAG";  // its graph is written nowhere
        case eGenericTreeNode:
            return to == Form::kText ? std::string() : "the tree node " + Describe(value);
        case eGenericSymbol:
            return to == Form::kText && !TextReadsBack(value) ? "the symbol " + Describe(value)
                                                              : std::string();
        default:
            return LossInChildren(value, to);
    }
}

}  // namespace

std::string PlaceOf(const std::string& name, const CUniStr& text, unsigned position) {
    return At(name, text, position);
}
std::string PlainMessage(std::string message) {
    return Plain(std::move(message));
}

const char* FormName(Form form) {
    return form == Form::kText ? "text" : form == Form::kBinary ? "binary" : "json";
}

Form DetectForm(const std::string& bytes) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    if (bytes.size() >= 2 && ((byte(0) == 0xFF && byte(1) == 0xFE) || (byte(0) == 0xFE && byte(1) == 0xFF)))
        return Form::kText;
    if (bytes.size() >= 3 && bytes.compare(0, 3, "\xEF\xBB\xBF") == 0) return Form::kText;
    if (bytes.size() >= 4 && U32At(bytes, 0) <= eGenericBlob) return Form::kBinary;
    // A zero byte never stands in text.
    return bytes.find('\0') != std::string::npos ? Form::kBinary : Form::kText;
}

Form ParseForm(const std::string& from, const Input& input) {
    if (from == "text") return Form::kText;
    if (from == "binary") return Form::kBinary;
    const bool jsonName = input.name.size() > 5 && input.name.compare(input.name.size() - 5, 5, ".json") == 0;
    if (from == "json" || jsonName) return Form::kJson;
    return DetectForm(input.bytes);
}

CUniStr DecodeText(const std::string& bytes) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    if (bytes.size() >= 2 && ((byte(0) == 0xFF && byte(1) == 0xFE) || (byte(0) == 0xFE && byte(1) == 0xFF))) {
        const bool little = byte(0) == 0xFF;
        CUniStr text;
        for (std::size_t i = 2; i + 1 < bytes.size(); i += 2)
            text +=
                static_cast<unsigned short>(little ? byte(i) | byte(i + 1) << 8 : byte(i) << 8 | byte(i + 1));
        return text;
    }
    if (bytes.size() >= 3 && bytes.compare(0, 3, "\xEF\xBB\xBF") == 0)
        return CUniStr::FromUtf8(bytes.substr(3));
    if (IsUtf8(bytes)) return CUniStr::FromUtf8(bytes);
    return CUniStr(bytes.c_str(), static_cast<unsigned>(bytes.size()));
}

void ForEachValue(const Input& input, const ReadOptions& options,
                  const std::function<void(const CGeneric&)>& each) {
    switch (options.form) {
        case Form::kText:
            return ForEachTextValue(input, options, each);
        case Form::kBinary:
            return ForEachBinaryValue(input, each);
        case Form::kJson:
            return ForEachJsonValue(input, each, options.lossy);
    }
}

std::string FindLossy(const CGeneric& value, Form to) {
    return LossIn(value, to);
}

}  // namespace zt
