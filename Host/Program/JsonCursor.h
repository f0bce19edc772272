// Strict reading of JSON: every complaint says where, what was found and what was expected.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Host
{

// Input of a person's that cannot be used; the text (UTF-8) is for that person.
struct InputError : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// Parses `text`. Throws InputError with line and column for what is no JSON, and for an object that has a key twice.
nlohmann::json ParseJson(const std::string& text);

// A value and the way to it. The operations throw InputError.
class JsonCursor
{
public:
    explicit JsonCursor(const nlohmann::json& value, std::string pointer = {})
        : m_value(value), m_pointer(std::move(pointer))
    {}

    // An object with no other keys than these.
    void CheckKeys(const std::vector<std::string>& known) const;
    // An object of one of several forms. Each is told by its first key, which no other form has, and may have the rest
    // of its keys. Returns the first key.
    std::string FormOf(const std::vector<std::vector<std::string>>& forms) const;
    bool Has(const std::string& key) const { return m_value.contains(key); }
    JsonCursor operator[](const std::string& key) const;
    std::optional<JsonCursor> Find(const std::string& key) const;
    std::vector<std::pair<std::wstring, JsonCursor>> Members() const;
    std::vector<JsonCursor> Items() const;

    const nlohmann::json& Value() const { return m_value; }
    std::wstring Text() const; // any length
    std::wstring Name() const; // not empty
    bool Boolean() const;
    std::int64_t Integer(std::int64_t least, std::int64_t most) const;
    double Number(double least, double most) const;

    [[noreturn]] void Fail(const std::string& expected) const;

private:
    JsonCursor Child(const std::string& key, const nlohmann::json& value) const;

    const nlohmann::json& m_value;
    const std::string m_pointer;
};

} // namespace Host
