#include "Host/Program/SiteValues.h"

#include "Platform/Posix/TextFile.h"
#include "Platform/Text.h"

#include <algorithm>

namespace Host
{

namespace
{

Binary ReadHexadecimal(const std::wstring& text)
{
    Binary binary;
    for (std::size_t i = 0; i < text.size(); i += 2)
        binary.bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
    return binary;
}

AttributeValue ReadValue(const JsonCursor& json)
{
    const nlohmann::json& value = json.Value();
    if (value.is_string())
        return json.Text();
    if (value.is_boolean())
        return value.get<bool>();
    if (value.is_array())
        return ReadArray(json, std::mem_fn(&JsonCursor::Text));
    if (value.is_object())
        return ReadHexadecimal(json["binary"].Text());
    if (value.is_null())
        return {};
    const auto number = value.get<std::int64_t>();
    if (std::in_range<std::int32_t>(number))
        return static_cast<std::int32_t>(number);
    return number;
}

std::vector<std::wstring> ReadContainers(const JsonCursor& json)
{
    return ReadArray(json, [](const JsonCursor& guid) { return *ToGuidText(guid.Text()); });
}

} // namespace

AccountBook::AccountBook(const JsonCursor& lines)
{
    for (const JsonCursor& each : lines.Items()) {
        const std::wstring text = each.Text();
        if (text.find_first_of(L"\r\n") != text.npos)
            each.Fail("one line");
        const std::wstring_view line = Trim(text);
        if (line.empty() || line.starts_with(L'#'))
            continue;
        if (const wchar_t* const expected = m_directory.AddLine(line))
            each.Fail(Text::ToUtf8(expected));
        const std::size_t keyword = line.find_first_of(L" \t=");
        const std::size_t separator = line.find(L'=');
        m_lines.push_back({std::wstring(line.substr(0, keyword)),
                           std::wstring(Trim(line.substr(keyword, separator - keyword))),
                           std::wstring(Trim(line.substr(separator + 1)))});
    }
}

std::wstring AccountBook::SidOf(const JsonCursor& nameOrSid) const
{
    const std::wstring text = nameOrSid.Text();
    if (const Account* account = m_directory.FindByName(text))
        return SidText(account->sid);
    Platform::Sid sid;
    if (!Platform::ParseSid(text, sid) || SidText(sid) != text)
        nameOrSid.Fail("the name of an account of /accounts that exists by then, or a SID");
    return text;
}

std::wstring AccountBook::FullName(const std::wstring& name) const
{
    const Account* account = name.find(L'\\') == name.npos ? nullptr : m_directory.FindByName(name);
    return account ? account->domain + L'\\' + account->name : name;
}

void AccountBook::Remove(const JsonCursor& name)
{
    const Account& account = Find(name);
    std::erase_if(m_lines,
                  [&](const Line& line) { return IsAbout(line.name, account) || IsAbout(line.value, account); });
    Load();
}

void AccountBook::Rename(const JsonCursor& name, const JsonCursor& newName)
{
    const Account& account = Find(name);
    for (Line& line : m_lines) {
        for (std::wstring* each : {&line.name, &line.value}) {
            if (IsAbout(*each, account))
                *each = account.domain + L'\\' + newName.Text();
        }
    }
    if (!Load())
        newName.Fail("a plain name that is not taken in its domain");
}

std::string AccountBook::FileText() const
{
    std::wstring text;
    for (const Line& line : m_lines)
        text += line.Text() + L'\n';
    return Text::ToUtf8(text);
}

const Account& AccountBook::Find(const JsonCursor& name) const
{
    const Account* account = m_directory.FindByName(name.Text());
    const bool isOurs = account && std::any_of(m_lines.begin(), m_lines.end(), [&](const Line& line) {
                            return (line.keyword == L"user" || line.keyword == L"group" || line.keyword == L"alias") &&
                                   IsAbout(line.name, *account);
                        });
    if (!isOurs)
        name.Fail("the name of an account of /accounts that exists by then");
    return *account;
}

// Whether every line can be used.
bool AccountBook::Load()
{
    m_directory = AccountDirectory();
    const bool isGood = std::all_of(m_lines.begin(), m_lines.end(),
                                    [this](const Line& line) { return m_directory.AddLine(line.Text()) == nullptr; });
    return isGood;
}

std::vector<Attribute> ReadAttributes(const JsonCursor& json)
{
    std::vector<Attribute> attributes;
    for (const auto& [name, value] : json.Members())
        attributes.push_back({name, ReadValue(value)});
    return attributes;
}

NodeDescription ReadNode(const JsonCursor& json)
{
    return {json["name"].Text(), json["type"].Text(), ReadAttributes(json["attributes"]),
            ReadNamed(json["children"], &ReadNode)};
}

AccessItem ReadAccessItem(const JsonCursor& json)
{
    return {json["account"].Text(), ReadContainers(json["containers"]), json["localOnly"].As(false)};
}

Grant ReadGrant(const JsonCursor& json, const AccountBook& accounts)
{
    return {accounts.SidOf(json["account"]), json["permission"].Text(), ReadContainers(json["containers"])};
}

} // namespace Host
