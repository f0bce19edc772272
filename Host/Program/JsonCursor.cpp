#include "Host/Program/JsonCursor.h"

#include "Platform/Text.h"

#include <algorithm>
#include <set>
#include <sstream>

namespace Host
{

namespace
{

using nlohmann::json;

std::string Number(double number)
{
    std::ostringstream text;
    text << number;
    return text.str();
}

std::string QuotedList(const std::vector<std::string>& keys)
{
    std::string list;
    for (const std::string& key : keys)
        list += (list.empty() ? "\"" : ", \"") + key + '"';
    return list;
}

std::string EscapedKey(const std::string& key)
{
    std::string escaped;
    for (const char c : key)
        escaped += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    return escaped;
}

// The library keeps the last of several values of a key: this looks at the keys while they are read.
class DuplicateKeyCheck
{
public:
    bool operator()(int, json::parse_event_t event, json& parsed)
    {
        using Event = json::parse_event_t;
        if (event == Event::key) {
            Level& object = m_levels.back();
            object.key = parsed.get<std::string>();
            if (!object.keys.insert(object.key).second)
                throw InputError(Pointer() + ": found this key twice, expected it once");
        } else if (event == Event::object_end || event == Event::array_end) {
            m_levels.pop_back();
        } else {
            if (!m_levels.empty() && m_levels.back().isArray)
                m_levels.back().key = std::to_string(m_levels.back().count++);
            if (event != Event::value)
                m_levels.push_back({event == Event::array_start, 0, {}, {}});
        }
        return true;
    }

private:
    struct Level
    {
        bool isArray;
        std::size_t count;
        std::string key; // or index
        std::set<std::string> keys;
    };

    std::string Pointer() const
    {
        std::string pointer;
        for (const Level& level : m_levels)
            pointer += '/' + EscapedKey(level.key);
        return pointer;
    }

    std::vector<Level> m_levels;
};

} // namespace

json ParseJson(const std::string& text)
{
    try {
        return json::parse(text, DuplicateKeyCheck());
    } catch (const json::parse_error& error) {
        // "[json.exception.parse_error.101] parse error at line 3, column 5: ..."
        const std::string message = error.what();
        const std::size_t place = message.find("line ");
        throw InputError(place == message.npos ? message : message.substr(place));
    }
}

void JsonCursor::CheckKeys(const std::vector<std::string>& known) const
{
    if (!m_value.is_object())
        Fail("an object with " + QuotedList(known));
    for (const auto& [key, value] : m_value.items()) {
        if (std::find(known.begin(), known.end(), key) == known.end())
            throw InputError(m_pointer + "/" + EscapedKey(key) + ": found an unknown key, expected one of " +
                             QuotedList(known));
    }
}

std::string JsonCursor::FormOf(const std::vector<std::vector<std::string>>& forms) const
{
    std::vector<std::string> firstKeys;
    const std::vector<std::string>* found = nullptr;
    bool several = false;
    for (const auto& form : forms) {
        firstKeys.push_back(form.front());
        if (Has(form.front()))
            several = std::exchange(found, &form) != nullptr || several;
    }
    if (!found || several)
        Fail("just one of " + QuotedList(firstKeys));
    CheckKeys(*found);
    return found->front();
}

JsonCursor JsonCursor::Child(const std::string& key, const json& value) const
{
    return JsonCursor(value, m_pointer + '/' + EscapedKey(key));
}

JsonCursor JsonCursor::operator[](const std::string& key) const
{
    const auto found = m_value.find(key);
    if (found == m_value.end())
        throw InputError(m_pointer + '/' + key + ": found nothing, expected this key");
    return Child(key, *found);
}

std::optional<JsonCursor> JsonCursor::Find(const std::string& key) const
{
    return Has(key) ? std::optional<JsonCursor>((*this)[key]) : std::nullopt;
}

std::vector<std::pair<std::wstring, JsonCursor>> JsonCursor::Members() const
{
    if (!m_value.is_object())
        Fail("an object");
    std::vector<std::pair<std::wstring, JsonCursor>> members;
    for (const auto& [key, value] : m_value.items()) {
        const JsonCursor child = Child(key, value);
        if (key.empty() || key.find('\0') != key.npos)
            child.Fail("a key without zero characters that is not empty");
        members.emplace_back(Text::FromUtf8(key), child);
    }
    return members;
}

std::vector<JsonCursor> JsonCursor::Items() const
{
    if (!m_value.is_array())
        Fail("an array");
    std::vector<JsonCursor> items;
    for (std::size_t i = 0; i < m_value.size(); ++i)
        items.push_back(Child(std::to_string(i), m_value[i]));
    return items;
}

std::wstring JsonCursor::Text() const
{
    if (!m_value.is_string())
        Fail("a text");
    const std::string& text = m_value.get_ref<const std::string&>();
    if (text.find('\0') != text.npos)
        Fail("a text without zero characters");
    return Text::FromUtf8(text);
}

std::wstring JsonCursor::Name() const
{
    if (!m_value.is_string() || m_value.get_ref<const std::string&>().empty())
        Fail("a text that is not empty");
    return Text();
}

bool JsonCursor::Boolean() const
{
    if (!m_value.is_boolean())
        Fail("true or false");
    return m_value.get<bool>();
}

std::int64_t JsonCursor::Integer(std::int64_t least, std::int64_t most) const
{
    const bool fits = m_value.is_number_integer() &&
                      (!m_value.is_number_unsigned() || m_value.get<std::uint64_t>() <= INT64_MAX) &&
                      m_value.get<std::int64_t>() >= least && m_value.get<std::int64_t>() <= most;
    if (!fits)
        Fail("a whole number from " + std::to_string(least) + " to " + std::to_string(most));
    return m_value.get<std::int64_t>();
}

double JsonCursor::Number(double least, double most) const
{
    if (!m_value.is_number() || m_value.get<double>() < least || m_value.get<double>() > most)
        Fail("a number from " + Host::Number(least) + " to " + Host::Number(most));
    return m_value.get<double>();
}

void JsonCursor::Fail(const std::string& expected) const
{
    constexpr std::size_t longest = 60;
    std::wstring found = Text::FromUtf8(m_value.dump());
    if (found.size() > longest)
        found = found.substr(0, longest) + L"...";
    throw InputError((m_pointer.empty() ? "/" : m_pointer) + ": found " + Text::ToUtf8(found) + ", expected " +
                     expected);
}

} // namespace Host
