#include "Host/Program/JsonCursor.h"

#include "Platform/Text.h"

#include <set>

namespace Host
{

namespace
{

using nlohmann::json;

std::string EscapedKey(const std::string& key)
{
    std::string escaped;
    for (const char c : key)
        escaped += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    return escaped;
}

std::string Shortened(const std::string& utf8)
{
    constexpr std::size_t longest = 60;
    std::wstring text = Text::FromUtf8(utf8);
    if (text.size() > longest)
        text = text.substr(0, longest) + L"...";
    return Text::ToUtf8(text);
}

// Walks through a text before values are made of it, because of several values of a key the library keeps the last.
class TextCheck final : public json::json_sax_t
{
public:
    bool null() override { return Next(); }
    bool boolean(bool) override { return Next(); }
    bool number_integer(json::number_integer_t) override { return Next(); }
    bool number_unsigned(json::number_unsigned_t) override { return Next(); }
    bool number_float(json::number_float_t, const std::string&) override { return Next(); }
    bool binary(json::binary_t&) override { return Next(); }
    bool string(std::string& text) override
    {
        CheckText(text);
        return Next();
    }
    bool start_object(std::size_t) override { return Enter(false); }
    bool start_array(std::size_t) override { return Enter(true); }
    bool end_object() override { return Leave(); }
    bool end_array() override { return Leave(); }
    bool key(std::string& key) override
    {
        Level& object = m_levels.back();
        object.key = key;
        CheckText(key);
        if (!object.keys.insert(key).second)
            throw InputError(Pointer() + ": found this key twice, expected it once");
        return true;
    }
    bool parse_error(std::size_t, const std::string&, const json::exception& error) override
    {
        // "[json.exception.parse_error.101] parse error at line 3, column 5: ..."
        const std::string message = error.what();
        const std::size_t place = message.find("line ");
        if (place == message.npos)
            throw InputError(Pointer() + ": found a number that is too large, expected one below 1e308");
        throw InputError(message.substr(place));
    }

private:
    struct Level
    {
        bool isArray;
        std::size_t index;
        std::string key;
        std::set<std::string> keys;
    };

    bool Enter(bool isArray)
    {
        constexpr std::size_t mostLevels = 500; // more would exhaust the stack of whoever walks the value
        if (m_levels.size() == mostLevels)
            throw InputError(Shortened(Pointer()) + ": found another level, expected 500 at most");
        m_levels.push_back({isArray, 0, {}, {}});
        return true;
    }

    bool Leave()
    {
        m_levels.pop_back();
        return Next();
    }

    bool Next()
    {
        if (!m_levels.empty())
            ++m_levels.back().index;
        return true;
    }

    void CheckText(const std::string& text) const
    {
        if (text.find('\0') != text.npos)
            throw InputError(Pointer() + ": found a zero character, expected a text without");
    }

    std::string Pointer() const
    {
        std::string pointer;
        for (const Level& level : m_levels)
            pointer += '/' + (level.isArray ? std::to_string(level.index) : EscapedKey(level.key));
        return pointer.empty() ? "/" : pointer;
    }

    std::vector<Level> m_levels;
};

} // namespace

json ParseJson(const std::string& text)
{
    TextCheck check;
    json::sax_parse(text, &check);
    return json::parse(text);
}

JsonCursor JsonCursor::operator[](const std::string& key) const
{
    static const json null;
    const auto found = m_value.find(key);
    return JsonCursor(found == m_value.end() ? null : *found, m_pointer + '/' + EscapedKey(key));
}

std::vector<std::pair<std::wstring, JsonCursor>> JsonCursor::Members() const
{
    std::vector<std::pair<std::wstring, JsonCursor>> members;
    for (const auto& [key, value] : m_value.items())
        members.emplace_back(Text::FromUtf8(key), JsonCursor(value, m_pointer + '/' + EscapedKey(key)));
    return members;
}

std::vector<JsonCursor> JsonCursor::Items() const
{
    std::vector<JsonCursor> items;
    for (std::size_t i = 0; i < m_value.size(); ++i)
        items.emplace_back(m_value[i], m_pointer + '/' + std::to_string(i));
    return items;
}

std::wstring JsonCursor::Text() const
{
    return m_value.is_null() ? std::wstring() : Text::FromUtf8(m_value.get_ref<const std::string&>());
}

void JsonCursor::Fail(const std::string& expected) const
{
    throw InputError((m_pointer.empty() ? "/" : m_pointer) + ": found " + Shortened(m_value.dump()) + ", expected " +
                     expected);
}

} // namespace Host
