#include "Host/Program/JsonCursor.h"

#include "Platform/Text.h"

#include <set>

namespace Host
{

namespace
{

using nlohmann::json;

std::string Shortened(const std::string& utf8)
{
    constexpr std::size_t longest = 60;
    std::wstring text = Text::FromUtf8(utf8);
    if (text.size() > longest)
        text = text.substr(0, longest) + L"...";
    return Text::ToUtf8(text);
}

// Where a text is being read.
struct Level
{
    bool isArray;
    std::size_t index = 0;
    std::string key = {};
    std::set<std::string> keys = {};
};

std::string PointerTo(const std::vector<Level>& levels)
{
    json::json_pointer way;
    for (const Level& level : levels)
        level.isArray ? way /= level.index : way /= level.key;
    return ShownPointer(way);
}

// Checks what the library has just read: it keeps the last of several values of a key without a word.
bool CheckStep(std::vector<Level>& levels, json::parse_event_t event, const json& parsed)
{
    using Step = json::parse_event_t;
    constexpr std::size_t mostLevels = 500; // more would exhaust the stack of whoever walks the value
    if (event == Step::object_start || event == Step::array_start) {
        if (levels.size() == mostLevels)
            throw InputError(Shortened(PointerTo(levels)) + ": found another level, expected 500 at most");
        levels.push_back({event == Step::array_start});
        return true;
    }
    if (event == Step::object_end || event == Step::array_end)
        levels.pop_back();
    if (event == Step::key)
        levels.back().key = parsed;
    if (parsed.is_string() && parsed.get_ref<const std::string&>().find('\0') != std::string::npos)
        throw InputError(PointerTo(levels) + ": found a zero character, expected a text without");
    if (event == Step::key && !levels.back().keys.insert(parsed).second)
        throw InputError(PointerTo(levels) + ": found this key twice, expected it once");
    if (event != Step::key && !levels.empty())
        ++levels.back().index;
    return true;
}

} // namespace

json ParseJson(const std::string& text)
{
    std::vector<Level> levels;
    try {
        return json::parse(
            text, [&](int, json::parse_event_t event, const json& parsed) { return CheckStep(levels, event, parsed); });
    } catch (const json::parse_error& error) {
        // "[json.exception.parse_error.101] parse error at line 3, column 5: ..."
        const std::string message = error.what();
        throw InputError(message.substr(message.find("line ")));
    } catch (const json::out_of_range&) {
        throw InputError(PointerTo(levels) + ": found a number that is too large, expected one below 1e308");
    }
}

JsonCursor JsonCursor::operator[](const std::string& key) const
{
    static const json null;
    const auto found = m_value.find(key);
    return JsonCursor(found == m_value.end() ? null : *found, m_way / key);
}

std::vector<std::pair<std::wstring, JsonCursor>> JsonCursor::Members() const
{
    std::vector<std::pair<std::wstring, JsonCursor>> members;
    for (const auto& [key, value] : m_value.items())
        members.emplace_back(Text::FromUtf8(key), JsonCursor(value, m_way / key));
    return members;
}

std::vector<JsonCursor> JsonCursor::Items() const
{
    std::vector<JsonCursor> items;
    for (std::size_t i = 0; i < m_value.size(); ++i)
        items.emplace_back(m_value[i], m_way / i);
    return items;
}

std::wstring JsonCursor::Text() const
{
    return m_value.is_null() ? std::wstring() : Text::FromUtf8(m_value.get_ref<const std::string&>());
}

void JsonCursor::Fail(const std::string& expected) const
{
    throw InputError(Pointer() + ": found " + Shortened(m_value.dump()) + ", expected " + expected);
}

} // namespace Host
