// Reading of JSON with complaints that say where, what was found and what was expected.
#pragma once

#include "Host/Program/Files.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

namespace Host
{

// Parses `text`. Throws InputError with the place for what is no JSON, an object that has a key twice, a number that is
// too large, a text with a zero character, and values nested more than 500 levels deep.
nlohmann::json ParseJson(const std::string& text);

// As messages say it: "/" for the whole.
inline std::string ShownPointer(const nlohmann::json::json_pointer& way)
{
    return way.empty() ? "/" : way.to_string();
}

// A value and the way to it. Values are read as the kind that the schema has found them to be.
class JsonCursor
{
public:
    using Way = nlohmann::json::json_pointer;

    explicit JsonCursor(const nlohmann::json& value, Way way = Way()) : m_value(value), m_way(std::move(way)) {}

    bool Has(const std::string& key) const { return m_value.contains(key); }
    // Null where there is no such key; null has no members and no items, and is an empty text.
    JsonCursor operator[](const std::string& key) const;
    std::vector<std::pair<std::wstring, JsonCursor>> Members() const;
    std::vector<JsonCursor> Items() const;

    const nlohmann::json& Value() const { return m_value; }
    std::string Pointer() const { return ShownPointer(m_way); }
    std::wstring Text() const;
    // The value, or `null` for a null.
    template <class T>
    T As(T null) const
    {
        return m_value.is_null() ? null : m_value.get<T>();
    }

    // Throws InputError.
    [[noreturn]] void Fail(const std::string& expected) const;

private:
    const nlohmann::json& m_value;
    const Way m_way;
};

// Throws InputError for the first place at which a site has another shape than Samples/site.schema.json says: keys,
// types, ranges, enumerations. What the schema calls a description is what was expected there.
void CheckShape(const JsonCursor& site);

} // namespace Host
