// The tool's layout of the text form: what fits in a line stays on it, the rest opens one element per line
// indented by four spaces; no line ends in a space. Every value reads back as it was.
#include <algorithm>
#include <vector>

#include "zt.h"

using namespace ZtBase;

namespace zt {

namespace {

constexpr std::size_t kWidth = 100;

class Formatter {
public:
    explicit Formatter(const Layout& layout) : m_layout(layout) {}

    // The value on one line, or false once it would be longer than limit.
    bool Compact(const CGeneric& value, std::string& out, std::size_t limit) const {
        switch (value.GetType()) {
            case eGenericNull:
                out += "()";
                break;
            case eGenericList: {
                out += '(';
                CGeneric rest = value;
                bool first = true;
                while (rest.GetType() == eGenericList) {
                    const CGenericList pair = rest;
                    if (!first) out += ' ';
                    first = false;
                    if (!Compact(pair.GetCar(), out, limit)) return false;
                    rest = pair.GetCdr();
                }
                if (!rest.IsNull()) {
                    out += " . ";
                    if (!Compact(rest, out, limit)) return false;
                }
                out += ')';
                break;
            }
            case eGenericSet: {
                out += '[';
                bool first = true;
                for (const CGeneric* element : Elements(value)) {
                    if (!first) out += ", ";
                    first = false;
                    if (!Compact(*element, out, limit)) return false;
                }
                out += ']';
                break;
            }
            case eGenericAssociationBundle: {
                out += '{';
                bool first = true;
                for (const auto& [key, v] : Pairs(value)) {
                    if (!first) out += ", ";
                    first = false;
                    out += key + " = ";
                    if (!Compact(*v, out, limit)) return false;
                }
                out += '}';
                break;
            }
            case eGenericAssociation: {
                const CAssociation a = value;
                out += a.GetKey().GetString().ToUtf8() + " = ";
                if (!Compact(a.GetValue(), out, limit)) return false;
                break;
            }
            case eGenericNumber:
                out += NumberText(static_cast<double>(static_cast<CGenericNumber>(value)));
                break;
            default:
                out += value.GetString().ToUtf8();
                break;
        }
        return out.size() <= limit;
    }

    // The value at the current place of out, whose line began with indent spaces.
    void Pretty(const CGeneric& value, std::size_t indent, std::string& out) const {
        const std::size_t lineStart = out.rfind('\n') == std::string::npos ? 0 : out.rfind('\n') + 1;
        std::string line;
        const std::size_t room = kWidth > out.size() - lineStart ? kWidth - (out.size() - lineStart) : 0;
        if (m_layout.compact || Compact(value, line, room)) {
            if (m_layout.compact) line.clear(), Compact(value, line, std::string::npos);
            out += line;
            return;
        }
        const std::string inner(indent + 4, ' '), outer(indent, ' ');
        switch (value.GetType()) {
            case eGenericList: {
                out += "(\n";
                CGeneric rest = value;
                while (rest.GetType() == eGenericList) {
                    const CGenericList pair = rest;
                    out += inner;
                    Pretty(pair.GetCar(), indent + 4, out);
                    out += '\n';
                    rest = pair.GetCdr();
                }
                if (!rest.IsNull()) {
                    out += inner + ". ";
                    Pretty(rest, indent + 4, out);
                    out += '\n';
                }
                out += outer + ")";
                return;
            }
            case eGenericSet: {
                out += "[\n";
                const std::vector<const CGeneric*> elements = Elements(value);
                for (std::size_t i = 0; i < elements.size(); ++i) {
                    out += inner;
                    Pretty(*elements[i], indent + 4, out);
                    out += i + 1 < elements.size() ? ",\n" : "\n";
                }
                out += outer + "]";
                return;
            }
            case eGenericAssociationBundle: {
                out += "{\n";
                const auto pairs = Pairs(value);
                for (std::size_t i = 0; i < pairs.size(); ++i) {
                    out += inner + pairs[i].first + " = ";
                    Pretty(*pairs[i].second, indent + 4, out);
                    out += i + 1 < pairs.size() ? ",\n" : "\n";
                }
                out += outer + "}";
                return;
            }
            case eGenericAssociation: {
                const CAssociation a = value;
                out += a.GetKey().GetString().ToUtf8() + " = ";
                Pretty(a.GetValue(), indent, out);
                return;
            }
            default:
                Compact(value, out, std::string::npos);
                return;
        }
    }

private:
    std::string Key(const CGeneric& value) const {
        std::string text;
        Compact(value, text, std::string::npos);
        return text;
    }

    std::vector<const CGeneric*> Elements(const CGeneric& value) const {
        std::vector<const CGeneric*> out;
        const CGenericSet set = value;  // shares the body that value keeps alive
        for (const CGeneric& element : set) out.push_back(&element);
        if (m_layout.sorted)
            std::stable_sort(out.begin(), out.end(),
                             [this](const CGeneric* a, const CGeneric* b) { return Key(*a) < Key(*b); });
        return out;
    }

    std::vector<std::pair<std::string, const CGeneric*>> Pairs(const CGeneric& value) const {
        std::vector<std::pair<std::string, const CGeneric*>> out;
        const CAssociationBundle bundle = value;
        for (const auto& [key, v] : bundle) out.emplace_back(key.GetString().ToUtf8(), &v);
        if (m_layout.sorted)
            std::stable_sort(out.begin(), out.end(),
                             [](const auto& a, const auto& b) { return a.first < b.first; });
        return out;
    }

    Layout m_layout;
};

}  // namespace

std::string NumberText(double value) {
    std::string text = FormatNumber(value).ToUtf8();
    const std::size_t e = text.find('e');
    if (e != std::string::npos && text.find('.') == std::string::npos) text.insert(e, ".");
    return text;
}

std::string FormatValue(const CGeneric& value, const Layout& layout) {
    std::string out;
    Formatter(layout).Pretty(value, 0, out);
    return out;
}

}  // namespace zt
