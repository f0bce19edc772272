#include "Host/Program/JsonCursor.h"
#include "Platform/Text.h"

#include <algorithm>
#include <regex>
#include <sstream>

namespace Host
{

extern const char SiteSchemaText[]; // the file's, as it was when the program was built

namespace
{

using nlohmann::json;

// Keywords that ask something of the value alone. Each concerns values of its own type only.
struct Rule
{
    const char* keyword;
    bool (*holds)(const json& argument, const json& value);
};

bool IsOfType(const json& type, const json& value)
{
    if (type.is_array())
        return std::any_of(type.begin(), type.end(), [&](const json& each) { return IsOfType(each, value); });
    return type == value.type_name() || (type == "integer" && value.is_number_integer());
}

bool Matches(const json& pattern, const json& value)
{
    return std::regex_search(value.get<std::string>(), std::regex(pattern.get<std::string>()));
}

std::size_t Length(const json& text)
{
    return text.get_ref<const std::string&>().size();
}

// maxLength is checked before pattern, because the library's regular expressions recurse with every character.
constexpr Rule rules[] = {
    {"type", &IsOfType},
    {"enum", [](const json& a, const json& v) { return std::find(a.begin(), a.end(), v) != a.end(); }},
    {"const", [](const json& a, const json& v) { return v == a; }},
    {"minimum",
     [](const json& a, const json& v) { return !v.is_number() || v.get<long double>() >= a.get<long double>(); }},
    {"maximum",
     [](const json& a, const json& v) { return !v.is_number() || v.get<long double>() <= a.get<long double>(); }},
    {"minLength", [](const json& a, const json& v) { return !v.is_string() || Length(v) >= a; }},
    {"maxLength", [](const json& a, const json& v) { return !v.is_string() || Length(v) <= a; }},
    {"pattern", [](const json& a, const json& v) { return !v.is_string() || Matches(a, v); }},
    {"format",
     [](const json& a, const json& v) {
         return a == "guid" && ToGuidText(Text::FromUtf8(v.get<std::string>())).has_value();
     }},
    {"minItems", [](const json& a, const json& v) { return !v.is_array() || v.size() >= a; }},
    {"maxItems", [](const json& a, const json& v) { return !v.is_array() || v.size() <= a; }},
    {"minProperties", [](const json& a, const json& v) { return !v.is_object() || v.size() >= a; }},
};

// Null where the schema says nothing.
const json& Part(const json& schema, const char* keyword)
{
    static const json none;
    const auto found = schema.find(keyword);
    return found == schema.end() ? none : *found;
}

std::string Keys(const json& object)
{
    std::string keys;
    for (const auto& [key, value] : object.items())
        keys += (keys.empty() ? "\"" : ", \"") + key + '"';
    return keys;
}

std::string Expected(const json& schema)
{
    if (schema.contains("description"))
        return schema["description"];
    if (const auto found = schema.find("enum"); found != schema.end()) {
        std::string list;
        for (const json& each : *found)
            list += (list.empty() ? "" : ", ") + each.dump();
        return (found->size() > 1 ? "one of " : "") + list;
    }
    static const std::map<std::string, std::string> types{
        {"object", "an object"}, {"array", "an array"},  {"string", "a text"},         {"boolean", "true or false"},
        {"null", "null"},        {"number", "a number"}, {"integer", "a whole number"}};
    const json& type = Part(schema, "type");
    std::ostringstream text;
    for (const json& each : type.is_string() ? json::array({type}) : type)
        text << (text.tellp() == 0 ? "" : " or ") << types.at(each);
    if (schema.contains("maximum"))
        text << " from " << schema["minimum"] << " to " << schema["maximum"];
    return text.str();
}

// The keywords of JSON Schema of which the site's schema is made. `oneOf` holds the forms of an object: each has a key
// of its own, the first that it requires; one that requires none is for objects without any of these keys.
class Schema
{
public:
    explicit Schema(const std::string& text) : m_root(json::parse(text)) {}

    void Check(const JsonCursor& value) const { Check(m_root, value); }

private:
    void Check(const json& schema, const JsonCursor& cursor) const
    {
        const json& value = cursor.Value();
        if (schema.contains("$ref"))
            Check(Resolve(schema), cursor);
        for (const Rule& rule : rules) {
            if (schema.contains(rule.keyword) && !rule.holds(schema[rule.keyword], value))
                cursor.Fail(Expected(schema));
        }
        if (schema.contains("not") && Holds(schema["not"], cursor))
            cursor.Fail(Expected(schema));
        if (value.is_object())
            CheckObject(schema, cursor);
        if (value.is_array())
            CheckArray(schema, cursor);
        for (const json& each : Part(schema, "allOf"))
            Check(each, cursor);
        if (schema.contains("if") && Holds(schema["if"], cursor))
            Check(schema["then"], cursor);
    }

    void CheckObject(const json& schema, const JsonCursor& object) const
    {
        for (const json& key : Part(schema, "required")) {
            if (!object.Has(key))
                throw InputError(object[key].Pointer() + ": found nothing, expected this key");
        }
        const json& properties = Part(schema, "properties");
        for (const auto& [name, value] : object.Members()) {
            const std::string key = Text::ToUtf8(name);
            const json& names = Part(schema, "propertyNames");
            const json& others = Part(schema, "additionalProperties");
            if (!names.is_null() && !Holds(names, JsonCursor(json(key))))
                throw InputError(value.Pointer() + ": found this key, expected " + Expected(Resolve(names)));
            if (properties.contains(key))
                Check(properties[key], value);
            else if (others.is_object())
                Check(others, value);
            else if (others.is_boolean())
                throw InputError(value.Pointer() + ": found an unknown key, expected one of " + Keys(properties));
        }
        if (schema.contains("oneOf"))
            Check(FormOf(schema["oneOf"], object), object);
    }

    void CheckArray(const json& schema, const JsonCursor& array) const
    {
        const std::vector<JsonCursor> items = array.Items();
        const auto contained = [&](const JsonCursor& item) { return Holds(schema["contains"], item); };
        if (schema.contains("contains") && std::none_of(items.begin(), items.end(), contained))
            array.Fail(Expected(schema));
        if (schema.contains("items")) {
            for (const JsonCursor& item : items)
                Check(schema["items"], item);
        }
    }

    const json& FormOf(const json& forms, const JsonCursor& object) const
    {
        json keys = json::object();
        std::vector<const json*> found;
        const json* bare = nullptr;
        for (const json& each : forms) {
            const json& form = Resolve(each);
            const json& required = Part(form, "required");
            if (required.is_null()) {
                bare = &form;
                continue;
            }
            keys[required[0].get<std::string>()] = nullptr;
            if (object.Has(required[0]))
                found.push_back(&form);
        }
        if (found.size() > 1 || (found.empty() && !bare))
            object.Fail("just one of " + Keys(keys));
        return found.empty() ? *bare : *found[0];
    }

    bool Holds(const json& schema, const JsonCursor& value) const
    {
        try {
            Check(schema, value);
            return true;
        } catch (const InputError&) {
            return false;
        }
    }

    const json& Resolve(const json& schema) const
    {
        static const std::string definitions = "#/definitions/";
        const auto reference = schema.find("$ref");
        return reference == schema.end()
                   ? schema
                   : m_root["definitions"].at(reference->get<std::string>().substr(definitions.size()));
    }

    const json m_root;
};

} // namespace

void CheckShape(const JsonCursor& site)
{
    static const Schema schema(SiteSchemaText);
    schema.Check(site);
}

} // namespace Host
