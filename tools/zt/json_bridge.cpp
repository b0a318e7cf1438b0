// Values to and from JSON. nlohmann::json parses and prints; this file only maps the kinds.
#include "json_bridge.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>

using namespace ZtBase;
using Json = nlohmann::json;

namespace zt {

namespace {

std::string Text(const CUniStr& s) {
    return s.ToUtf8();
}
CUniStr Unicode(const std::string& s) {
    return CUniStr::FromUtf8(s);
}

Json ToJsonValue(const CGeneric& value, unsigned depth);

Json ListToJson(const CGeneric& value, unsigned depth) {
    Json elements = Json::array();
    CGeneric rest = value;
    while (rest.GetType() == eGenericList) {  // a loop: lists may be long
        const CGenericList pair = rest;
        elements.push_back(ToJsonValue(pair.GetCar(), depth + 1));
        rest = pair.GetCdr();
    }
    if (rest.IsNull()) return elements;
    return Json{{"$list", std::move(elements)}, {"$rest", ToJsonValue(rest, depth + 1)}};
}

Json ToJsonValue(const CGeneric& value, unsigned depth) {
    switch (value.GetType()) {
        case eGenericNull:
            return nullptr;
        case eGenericNumber:
            return static_cast<double>(static_cast<CGenericNumber>(value));
        case eGenericSymbol:
            return Text(value.GetString());
        case eGenericString:
            return Json{{"$string", Text(static_cast<CUniStr>(static_cast<CGenericString>(value)))}};
        case eGenericVariable:
            return Json{{"$variable", Text(static_cast<CGenericVariable>(value).GetName())}};
        case eGenericFile:
            return Json{{"$file", Text(static_cast<CGenericXFile>(value).GetName())}};
        case eGenericList:
            return ListToJson(value, depth);
        case eGenericSet: {
            Json elements = Json::array();
            for (const CGeneric& v : static_cast<CGenericSet>(value))
                elements.push_back(ToJsonValue(v, depth + 1));
            return Json{{"$set", std::move(elements)}};
        }
        case eGenericAssociation: {
            const CAssociation a = value;
            Json key = a.GetKey().IsNull() ? Json(nullptr) : Json(Text(a.GetKey().GetString()));
            return Json{
                {"$association", Json::array({std::move(key), ToJsonValue(a.GetValue(), depth + 1)})}};
        }
        case eGenericAssociationBundle: {
            Json object = Json::object();
            bool marked = false;
            for (const auto& [key, v] : static_cast<CAssociationBundle>(value)) {
                const std::string name = Text(key.GetString());
                marked = marked || (!name.empty() && name[0] == '$');
                object[name] = ToJsonValue(v, depth + 1);
            }
            return marked ? Json{{"$bundle", std::move(object)}} : object;
        }
        default:
            return nullptr;  // kinds without a JSON form are refused before (FindLossy)
    }
}

class FromJsonMapper {
public:
    FromJsonMapper(const std::string& name, bool lossy) : m_name(name), m_lossy(lossy) {}

    CGeneric Value(const Json& j, unsigned depth) {
        if (depth > kMaxGenericNesting)
            Fail("values nested deeper than " + std::to_string(kMaxGenericNesting));
        switch (j.type()) {
            case Json::value_t::null:
                return CGeneric();
            case Json::value_t::boolean:
                return j.get<bool>() ? trueSymbol : falseSymbol;
            case Json::value_t::number_integer:
            case Json::value_t::number_unsigned: {
                const double d = j.get<double>();
                // The range first: converting a double beyond the integer type's range is undefined (the
                // largest integers round up to 2^64 or 2^63).
                const bool exact =
                    j.is_number_unsigned()
                        ? d < 18446744073709551616.0 &&
                              static_cast<std::uint64_t>(d) == j.get<std::uint64_t>()
                        : d < 9223372036854775808.0 && static_cast<std::int64_t>(d) == j.get<std::int64_t>();
                if (!exact && !m_lossy)
                    Fail("the number " + j.dump() + " is not exact as a double (--lossy takes it)");
                return CGeneric(d);
            }
            case Json::value_t::number_float:
                return CGeneric(j.get<double>());
            case Json::value_t::string:
                return Symbol(j.get<std::string>());
            case Json::value_t::array:
                return List(j, CGeneric(), depth);
            case Json::value_t::object:
                return Object(j, depth);
            default:
                Fail("a JSON value without a value of its kind");
        }
    }

private:
    [[noreturn]] void Fail(const std::string& message) const {
        throw Failure{kBadInput, m_name + ": " + message};
    }

    CGeneric Symbol(const std::string& text) const {
        try {
            return CSymbol(Unicode(text));
        } catch (const CZtException&) {
            Fail("\"" + text + "\" is not a symbol (a text is written {\"$string\": ...})");
        }
    }

    std::string String(const Json& j, const char* member) const {
        if (!j.is_string()) Fail(std::string("\"") + member + "\" takes a string");
        return j.get<std::string>();
    }

    CGeneric List(const Json& elements, CGeneric rest, unsigned depth) {
        if (!elements.is_array()) Fail("\"$list\" takes an array");
        std::vector<CGeneric> values;
        values.reserve(elements.size());
        for (const Json& e : elements) values.push_back(Value(e, depth + 1));
        for (std::size_t i = values.size(); i > 0; --i) rest = CGenericList(values[i - 1], rest);
        return rest;
    }

    CGeneric Object(const Json& j, unsigned depth) {
        const auto only = [&](const char* member) { return j.size() == 1 && j.contains(member); };
        if (only("$string")) return CGenericString(Unicode(String(j["$string"], "$string")));
        if (only("$variable")) return CGenericVariable(Unicode(String(j["$variable"], "$variable")));
        if (only("$file")) {
            unsigned at = 0;
            try {
                return ReadGenericValue(Unicode("@" + String(j["$file"], "$file")), at);
            } catch (const CZtException& e) {
                Fail(CUniStr(e.GetErrorString(0)).ToUtf8());
            }
        }
        if (only("$set")) {
            if (!j["$set"].is_array()) Fail("\"$set\" takes an array");
            CGenericSet set = MakeSet();
            for (const Json& e : j["$set"]) set.Add(Value(e, depth + 1));
            return set;
        }
        if (only("$association")) {
            const Json& pair = j["$association"];
            if (!pair.is_array() || pair.empty() || pair.size() > 2)
                Fail("\"$association\" takes [key, value]");
            const CGeneric key = pair[0].is_null() ? CGeneric() : Symbol(String(pair[0], "$association"));
            return CAssociation(static_cast<CSymbol>(key),
                                pair.size() > 1 ? Value(pair[1], depth + 1) : CGeneric());
        }
        if (j.size() == 2 && j.contains("$list") && j.contains("$rest"))
            return List(j["$list"], Value(j["$rest"], depth + 1), depth);
        const Json* members = &j;
        if (only("$bundle")) {
            members = &j["$bundle"];
            if (!members->is_object()) Fail("\"$bundle\" takes an object");
        } else {
            for (const auto& [name, v] : j.items())
                if (!name.empty() && name[0] == '$')
                    Fail("unknown member \"" + name +
                         "\" (a bundle key starting with \"$\" is written in {\"$bundle\": ...})");
        }
        CAssociationBundle bundle = MakeAssociationBundle();
        for (const auto& [name, v] : members->items())
            bundle.Set(static_cast<CSymbol>(Symbol(name)), Value(v, depth + 1));
        return bundle;
    }

    const std::string& m_name;
    bool m_lossy;
};

}  // namespace

std::string ToJson(const CGeneric& value, bool pretty) {
    try {
        return ToJsonValue(value, 0).dump(pretty ? 2 : -1);
    } catch (const Json::exception& e) {
        throw Failure{kBadInput, std::string("a value cannot be written as JSON: ") + e.what()};
    }
}

void ForEachJsonValue(const Input& input, const std::function<void(const CGeneric&)>& each, bool lossy) {
    std::istringstream stream(input.bytes);
    FromJsonMapper mapper(input.name, lossy);
    for (;;) {
        stream >> std::ws;
        if (stream.peek() == std::char_traits<char>::eof()) return;
        const auto start = static_cast<std::size_t>(stream.tellg());
        Json j;
        // A failure as "NAME:LINE:COLUMN: message", the place counted over the whole input.
        const auto fail = [&](std::size_t at, std::string message) {
            at = std::min(input.bytes.size(), at);
            std::size_t line = 1, column = 1;
            for (std::size_t i = 0; i < at; ++i) {
                if (input.bytes[i] == '\n') {
                    ++line;
                    column = 1;
                } else {
                    ++column;
                }
            }
            return Failure{kBadInput, input.name + ":" + std::to_string(line) + ":" + std::to_string(column) +
                                          ": " + message};
        };
        try {
            stream >> j;
        } catch (const Json::parse_error& e) {
            std::string message = e.what();
            const std::size_t colon = message.find(": ", message.find("column"));
            if (colon != std::string::npos) message = message.substr(colon + 2);
            throw fail(start + (e.byte > 0 ? e.byte - 1 : 0), message);
        } catch (const Json::out_of_range& e) {
            // A number beyond the range of a double ("2e308"): the parser names it, not its place.
            std::string message = e.what();
            const std::size_t bracket = message.find("] ");
            if (bracket != std::string::npos) message = message.substr(bracket + 2);
            throw fail(start, message);
        }
        each(mapper.Value(j, 0));
    }
}

}  // namespace zt
