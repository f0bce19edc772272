#include "Host/Components/AuthTokenMgr.h"
#include "Host/Components/ConfigServerProxy.h"
#include "Host/Components/RequestContexts.h"
#include "Host/Components/RoleService.h"
#include "Host/Program/SiteValues.h"
#include "Host/Program/TimelineReader.h"
#include "Host/ReportingDatabase/GuidText.h"
#include "Host/Support/PathText.h"
#include "Platform/Text.h"

#include <algorithm>
#include <fstream>
#include <sstream>

namespace Host
{

namespace
{

using Roles = std::map<std::wstring, Role>;

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
        names += (names.empty() ? "\"" : ", \"") + each.name + '"';
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

std::string RoleName(Role role)
{
    switch (role) {
    case Role::DatabaseConnectionManager:
        return "the database connection manager";
    case Role::ReportingSettingsManager:
        return "the reporting settings manager";
    case Role::Updater:
        return "an updater";
    case Role::Source:
        return "an access-info source";
    default:
        return "an access-info consumer";
    }
}

// The site's instance names and what stands under them.
Roles CollectRoles(const Site& site, const JsonCursor& json)
{
    Roles roles;
    std::set<std::wstring> taken{ConfigServerProxy::InstanceName, RequestContextMgr::InstanceName,
                                 AuthTokenMgr::InstanceName, PermissionsChecker::InstanceName,
                                 ServiceClient::InstanceName};
    const auto add = [&](const std::wstring& name, Role role, const JsonCursor& place) {
        if (!taken.insert(name).second)
            place.Fail("an instance name that is not taken");
        roles.emplace(name, role);
    };
    add(site.databaseConnectionManager, Role::DatabaseConnectionManager, json["names"]["databaseConnectionManager"]);
    add(site.reportingSettingsManager, Role::ReportingSettingsManager, json["names"]["reportingSettingsManager"]);
    for (std::size_t i = 0; i < site.sources.size(); ++i)
        add(site.sources[i].name, Role::Source, json["accessInfo"].Items()[i]["name"]);
    for (std::size_t i = 0; i < site.components.size(); ++i)
        add(site.components[i].name, site.components[i].moduleClass->role, json["components"].Items()[i]["name"]);
    return roles;
}

void CheckComponent(const SiteComponent& component, const Roles& roles, const JsonCursor& config)
{
    for (const Reference& reference : component.moduleClass->references) {
        if (!reference.required && !config.Has(reference.attribute))
            continue;
        const JsonCursor value = config[reference.attribute];
        const bool isList = value.Value().is_array() && !reference.required;
        for (const JsonCursor& each : isList ? value.Items() : std::vector<JsonCursor>{value}) {
            const auto found = roles.find(each.Text());
            if (found == roles.end() || found->second != reference.role)
                each.Fail("the name of " + RoleName(reference.role) + " of this site");
        }
    }
}

// Checks that instance names differ and that what names a component names one that can serve.
void CheckReferences(const Site& site, const JsonCursor& json)
{
    const Roles roles = CollectRoles(site, json);
    const std::vector<JsonCursor> components = json["components"].Items();
    for (std::size_t i = 0; i < site.components.size(); ++i)
        CheckComponent(site.components[i], roles, components[i]["config"]);
    const auto updaters = std::count_if(site.components.begin(), site.components.end(), [](const SiteComponent& each) {
        return each.moduleClass->role == Role::Updater;
    });
    if (updaters != 1)
        json["components"].Fail("one component of class \"ReportAccessInfoUpdater\" among them");
}

void ReadTokens(const JsonCursor& json, Site& site)
{
    json.CheckKeys({"lifetimeS", "displayNames"});
    if (const auto lifetime = json.Find("lifetimeS"))
        site.tokenLifetime = lifetime->Number(0, 1e6);
    if (const auto names = json.Find("displayNames"))
        site.displayNames = names->Boolean();
}

Site ReadSiteParts(const JsonCursor& json)
{
    json.CheckKeys({"site", "moduleSettings", "configuration", "connectionSettings", "names", "accounts", "tokens",
                    "grants", "accessInfo", "components", "objectNames", "timeline"});
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
    if (const auto accounts = json.Find("accounts"))
        site.accounts = AccountBook(*accounts);
    if (const auto tokens = json.Find("tokens"))
        ReadTokens(*tokens, site);
    if (const auto grants = json.Find("grants"))
        site.grants = ReadArray(*grants, [&](const JsonCursor& each) { return ReadGrant(each, site.accounts); });
    if (const auto sources = json.Find("accessInfo"))
        site.sources = ReadNamed(*sources, ReadSource);
    site.components = ReadNamed(json["components"], ReadComponent);
    if (const auto objects = json.Find("objectNames"))
        site.objectNames = ReadObjectNames(*objects);
    CheckReferences(site, json);
    TimelineReader timeline(site);
    site.timeline = ReadArray(json["timeline"], [&](const JsonCursor& each) { return timeline.Read(each); });
    return site;
}

} // namespace

Site ReadSite(const std::string& text)
{
    const nlohmann::json parsed = ParseJson(text);
    return ReadSiteParts(JsonCursor(parsed));
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
