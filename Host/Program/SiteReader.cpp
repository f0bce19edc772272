#include "Host/Components/ConfigServerProxy.h"
#include "Host/Program/JsonCursor.h"
#include "Host/Program/Site.h"
#include "Host/Program/SiteReferences.h"
#include "Host/ReportingDatabase/GuidText.h"
#include "Host/Support/PathText.h"
#include "Platform/Text.h"

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

namespace Host
{

namespace
{

constexpr double LongestWait = 3600;

// Reads an array of things with names that differ.
template <class Read>
auto ReadNamed(const JsonCursor& array, const Read& read)
{
    std::vector<decltype(read(array))> things;
    std::set<std::wstring> names;
    for (const JsonCursor& item : array.Items()) {
        things.push_back(read(item));
        if (!names.insert(things.back().name).second)
            item["name"].Fail("a name that is not taken");
    }
    return things;
}

template <class Read>
auto ReadArray(const JsonCursor& array, const Read& read)
{
    std::vector<decltype(read(array))> things;
    for (const JsonCursor& item : array.Items())
        things.push_back(read(item));
    return things;
}

std::wstring ReadName(const JsonCursor& json)
{
    return json.Name();
}

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

std::vector<Attribute> ReadAttributes(const JsonCursor& json)
{
    std::vector<Attribute> attributes;
    for (const auto& [name, value] : json.Members())
        attributes.push_back({name, ReadValue(value)});
    return attributes;
}

std::wstring ReadNodeName(const JsonCursor& json)
{
    std::wstring name = json.Name();
    if (name.find(L'\\') != name.npos)
        json.Fail("a name without backslash");
    return name;
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
        const std::string key = Text::ToUtf8(attribute.name);
        if (key == "Enabled")
            json["attributes"][key.c_str()].Boolean();
        else if (key == "ReportServerUrl" || key == "ReportServerUserName")
            json["attributes"][key.c_str()].Text();
    }
    return entry;
}

std::wstring ReadGuid(const JsonCursor& json)
{
    const std::optional<std::wstring> guid = ToGuidText(json.Text());
    if (!guid)
        json.Fail("a GUID such as \"6F9619FF-8B86-D011-B42D-00C04FC964FF\"");
    return *guid;
}

AccessItem ReadAccessItem(const JsonCursor& json)
{
    json.CheckKeys({"account", "containers", "localOnly"});
    AccessItem item;
    item.account = json["account"].Name();
    if (const auto containers = json.Find("containers")) {
        item.containers = ReadArray(*containers, ReadGuid);
        if (item.containers.empty())
            containers->Fail("at least one GUID, or no \"containers\" for every object");
    }
    if (const auto localOnly = json.Find("localOnly"))
        item.localOnly = localOnly->Boolean();
    return item;
}

SiteSource ReadSource(const JsonCursor& json)
{
    json.CheckKeys({"name", "items"});
    return {json["name"].Name(), ReadArray(json["items"], ReadAccessItem)};
}

const ModuleClass& ReadClass(const JsonCursor& json)
{
    std::string names;
    for (const ModuleClass& each : ModuleClasses()) {
        if (json.Value() == each.name)
            return each;
        names += (names.empty() ? "\"" : ", \"") + std::string(each.name) + '"';
    }
    json.Fail("one of " + names);
}

SiteComponent ReadComponent(const JsonCursor& json)
{
    json.CheckKeys({"name", "class", "config", "children"});
    SiteComponent component{json["name"].Name(), &ReadClass(json["class"]), {}};
    component.config.name = component.name;
    component.config.attributes = ReadAttributes(json["config"]);
    if (const auto children = json.Find("children"))
        component.config.children = ReadNamed(*children, ReadNode);
    return component;
}

// {"Logger": {"MaxSeverity": "DBG"}} becomes GS_Logger_MaxSeverity=DBG.
std::map<std::wstring, std::wstring> ReadModuleSettings(const JsonCursor& json)
{
    std::map<std::wstring, std::wstring> settings;
    for (const auto& [section, keys] : json.Members()) {
        for (const auto& [key, value] : keys.Members()) {
            if (section == L"General" && key == L"DataDirectoryPath")
                value.Fail("other settings: this one is the option --data");
            const std::wstring text = value.Value().is_boolean()  ? (value.Boolean() ? L"1" : L"0")
                                      : value.Value().is_number() ? std::to_wstring(value.Integer(0, UINT32_MAX))
                                                                  : value.Text();
            settings[L"GS_" + section + L"_" + key] = text;
        }
    }
    return settings;
}

std::map<std::wstring, std::wstring> ReadObjectNames(const JsonCursor& json)
{
    std::map<std::wstring, std::wstring> names;
    for (const auto& [guid, name] : json.Members()) {
        const std::optional<std::wstring> text = ToGuidText(guid);
        if (!text || !names.emplace(*text, name.Name()).second)
            name.Fail("a GUID as key, and each once");
    }
    return names;
}

SettingsEvent ReadSettingsEvent(const JsonCursor& json)
{
    json.CheckKeys({"entries", "enable"});
    if (json.Has("entries") == json.Has("enable"))
        json.Fail("either \"entries\" or \"enable\"");
    if (const auto entries = json.Find("entries"))
        return {ReadNamed(*entries, ReadConnectionSettings), std::nullopt};
    const JsonCursor enable = json["enable"];
    return {{}, enable.Value().is_null() ? std::wstring() : enable.Name()};
}

ConfigurationEvent ReadConfigurationEvent(const JsonCursor& json)
{
    json.CheckKeys({"path", "set", "create", "remove"});
    if (json.Has("set") == json.Has("remove"))
        json.Fail("either \"set\" or \"remove\"");
    ConfigurationEvent event{json["path"].Name(), {}, false, false};
    if (const auto set = json.Find("set"))
        event.attributes = ReadAttributes(*set);
    if (const auto create = json.Find("create"))
        event.create = create->Boolean();
    if (const auto remove = json.Find("remove")) {
        if (!remove->Boolean() || event.create)
            json.Fail("\"remove\": true alone");
        event.remove = true;
    }
    return event;
}

SourceEvent ReadSourceEvent(const JsonCursor& json)
{
    json.CheckKeys({"name", "items", "add", "remove", "fail", "recover"});
    SourceEvent event;
    event.name = json["name"].Name();
    if (json.Value().size() != 2)
        json.Fail("\"name\" and one of \"items\", \"add\", \"remove\", \"fail\", \"recover\"");
    if (const auto items = json.Find("items"))
        event.items = ReadArray(*items, ReadAccessItem);
    if (const auto add = json.Find("add"))
        event.add = ReadArray(*add, ReadAccessItem);
    if (const auto remove = json.Find("remove"))
        event.remove = ReadArray(*remove, ReadName);
    if (const auto fail = json.Find("fail"))
        event.failure = fail->Name();
    if (const auto recover = json.Find("recover")) {
        if (!recover->Boolean())
            recover->Fail("true");
        event.failure = L"";
    }
    return event;
}

DatabaseEvent ReadDatabaseEvent(const JsonCursor& json)
{
    json.CheckKeys({"outage", "failAtStatement"});
    DatabaseEvent event;
    if (const auto outage = json.Find("outage"))
        event.outage = outage->Boolean();
    if (const auto fail = json.Find("failAtStatement"))
        event.failAtStatement = static_cast<std::uint64_t>(fail->Integer(0, INT32_MAX));
    if (!event.outage && !event.failAtStatement)
        json.Fail("\"outage\" or \"failAtStatement\" or both");
    return event;
}

WaitEvent ReadWaitEvent(const JsonCursor& json)
{
    json.CheckKeys({"seconds"});
    return {json["seconds"].Number(0, LongestWait)};
}

Event ReadEvent(const JsonCursor& json)
{
    json.CheckKeys({"say", "settings", "configure", "source", "database", "wait", "cycle"});
    const std::size_t actions = json.Value().size() - json.Has("say") - json.Has("cycle");
    Event event{json["say"].Name(), {}, true};
    if (const auto cycle = json.Find("cycle"))
        event.cycle = cycle->Boolean();
    if (actions > 1 || (actions == 0 && !json.Has("cycle")))
        json.Fail("one of \"settings\", \"configure\", \"source\", \"database\", \"wait\", or \"cycle\" alone");
    if (const auto settings = json.Find("settings"))
        event.action = ReadSettingsEvent(*settings);
    if (const auto configure = json.Find("configure"))
        event.action = ReadConfigurationEvent(*configure);
    if (const auto source = json.Find("source"))
        event.action = ReadSourceEvent(*source);
    if (const auto database = json.Find("database"))
        event.action = ReadDatabaseEvent(*database);
    if (const auto wait = json.Find("wait"))
        event.action = ReadWaitEvent(*wait);
    return event;
}

Site ReadSiteParts(const JsonCursor& json)
{
    json.CheckKeys({"site", "moduleSettings", "configuration", "connectionSettings", "names", "accessInfo",
                    "components", "objectNames", "timeline"});
    Site site;
    site.title = json["site"].Name();
    if (const auto settings = json.Find("moduleSettings"))
        site.moduleSettings = ReadModuleSettings(*settings);
    site.configuration = ReadNode(json["configuration"]);
    if (const auto entries = json.Find("connectionSettings"))
        site.connectionSettings = ReadNamed(*entries, ReadConnectionSettings);
    const JsonCursor names = json["names"];
    names.CheckKeys({"databaseConnectionManager", "reportingSettingsManager"});
    site.databaseConnectionManager = names["databaseConnectionManager"].Name();
    site.reportingSettingsManager = names["reportingSettingsManager"].Name();
    if (const auto sources = json.Find("accessInfo"))
        site.sources = ReadNamed(*sources, ReadSource);
    site.components = ReadNamed(json["components"], ReadComponent);
    if (const auto objects = json.Find("objectNames"))
        site.objectNames = ReadObjectNames(*objects);
    site.timeline = ReadArray(json["timeline"], ReadEvent);
    return site;
}

} // namespace

Site ReadSite(const std::string& text)
{
    const nlohmann::json parsed = ParseJson(text);
    const JsonCursor json(parsed);
    Site site = ReadSiteParts(json);
    CheckReferences(site, json);
    return site;
}

Site LoadSite(const std::filesystem::path& file)
{
    const std::string name = Text::ToUtf8(PathText(file));
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    if (!stream || !(text << stream.rdbuf()))
        throw InputError(name + ": cannot be read, expected a site file");
    try {
        return ReadSite(text.str());
    } catch (const InputError& error) {
        throw InputError(name + ": " + error.what());
    }
}

} // namespace Host
