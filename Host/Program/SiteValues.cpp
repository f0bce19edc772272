#include "Host/Program/SiteValues.h"

#include "Host/ReportingDatabase/GuidText.h"
#include "Platform/Text.h"

namespace Host
{

namespace
{

Binary ReadHexadecimal(const JsonCursor& json)
{
    constexpr std::wstring_view digits = L"0123456789abcdef0123456789ABCDEF";
    const std::wstring text = json.Text();
    if (text.size() % 2 != 0 || text.find_first_not_of(digits) != text.npos)
        json.Fail("pairs of hexadecimal digits");
    Binary binary;
    for (std::size_t i = 0; i < text.size(); i += 2)
        binary.bytes += static_cast<char>(digits.find(text[i]) % 16 * 16 + digits.find(text[i + 1]) % 16);
    return binary;
}

AttributeValue ReadValue(const JsonCursor& json)
{
    const nlohmann::json& value = json.Value();
    if (value.is_null())
        return {};
    if (value.is_string())
        return json.Text();
    if (value.is_boolean())
        return json.Boolean();
    if (value.is_number_integer()) {
        const std::int64_t number = json.Integer(INT64_MIN, INT64_MAX);
        if (std::in_range<std::int32_t>(number))
            return static_cast<std::int32_t>(number);
        return number;
    }
    if (value.is_array())
        return ReadArray(json, [](const JsonCursor& item) { return item.Text(); });
    if (value.is_object() && value.contains("binary")) {
        json.CheckKeys({"binary"});
        return ReadHexadecimal(json["binary"]);
    }
    json.Fail("a text, a whole number, true, false, null, an array of texts or {\"binary\": \"...\"}");
}

std::wstring ReadNodeName(const JsonCursor& json)
{
    std::wstring name = json.Name();
    if (name.find(L'\\') != name.npos)
        json.Fail("a name without backslash");
    return name;
}

// Empty: every object.
std::vector<std::wstring> ReadContainers(const JsonCursor& json)
{
    if (!json.Has("containers"))
        return {};
    std::vector<std::wstring> containers = ReadArray(json["containers"], ReadGuid);
    if (containers.empty())
        json["containers"].Fail("at least one GUID, or no \"containers\" for every object");
    return containers;
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
    json.CheckKeys({"name", "type", "attributes", "children"});
    NodeDescription node;
    node.name = ReadNodeName(json["name"]);
    if (const auto type = json.Find("type"))
        node.type = type->Text();
    if (const auto attributes = json.Find("attributes"))
        node.attributes = ReadAttributes(*attributes);
    if (const auto children = json.Find("children"))
        node.children = ReadNamed(*children, ReadNode);
    return node;
}

NodeDescription ReadConnectionSettings(const JsonCursor& json)
{
    NodeDescription entry = ReadNode(json);
    for (const Attribute& attribute : entry.attributes) {
        const JsonCursor value = json["attributes"][Text::ToUtf8(attribute.name)];
        if (attribute.name == L"Enabled")
            value.Boolean();
        else if (attribute.name == L"ReportServerUrl" || attribute.name == L"ReportServerUserName")
            value.Text();
    }
    return entry;
}

AccessItem ReadAccessItem(const JsonCursor& json)
{
    json.CheckKeys({"account", "containers", "localOnly"});
    AccessItem item;
    item.account = json["account"].Name();
    item.containers = ReadContainers(json);
    if (const auto localOnly = json.Find("localOnly"))
        item.localOnly = localOnly->Boolean();
    return item;
}

std::wstring ReadGuid(const JsonCursor& json)
{
    const std::optional<std::wstring> guid = ToGuidText(json.Text());
    if (!guid)
        json.Fail("a GUID such as \"6F9619FF-8B86-D011-B42D-00C04FC964FF\"");
    return *guid;
}

std::wstring ReadSid(const JsonCursor& json, const AccountBook& accounts)
{
    const std::optional<std::wstring> sid = accounts.SidOf(json.Name());
    if (!sid)
        json.Fail("the name of an account of /accounts that exists by then, or a SID");
    return *sid;
}

Grant ReadGrant(const JsonCursor& json, const AccountBook& accounts)
{
    json.CheckKeys({"account", "permission", "containers"});
    return {ReadSid(json["account"], accounts), json["permission"].Name(), ReadContainers(json)};
}

} // namespace Host
