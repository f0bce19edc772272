#include "Host/Program/SiteValues.h"

#include "Host/ReportingDatabase/ReportingDatabase.h"

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
        return ReadArray(json, &TextOf);
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

std::wstring ReadSid(const JsonCursor& json, const AccountBook& accounts)
{
    const std::optional<std::wstring> sid = accounts.SidOf(json.Text());
    if (!sid)
        json.Fail("the name of an account of /accounts that exists by then, or a SID");
    return *sid;
}

Grant ReadGrant(const JsonCursor& json, const AccountBook& accounts)
{
    return {ReadSid(json["account"], accounts), json["permission"].Text(), ReadContainers(json["containers"])};
}

} // namespace Host
