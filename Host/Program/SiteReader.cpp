#include "Host/Components/AuthTokenMgr.h"
#include "Host/Components/ConfigServerProxy.h"
#include "Host/Components/RequestContexts.h"
#include "Host/Components/RoleService.h"
#include "Host/Program/SiteSchema.h"
#include "Host/Program/SiteValues.h"
#include "Host/Program/TimelineReader.h"
#include "Host/ReportingDatabase/ReportingDatabase.h"
#include "Host/Support/PathText.h"
#include "Platform/Text.h"

#include <algorithm>

namespace Host
{

namespace
{

using Roles = std::map<std::wstring, Role>;

SiteSource ReadSource(const JsonCursor& json)
{
    return {json["name"].Text(), ReadArray(json["items"], &ReadAccessItem)};
}

SiteComponent ReadComponent(const JsonCursor& json)
{
    const std::wstring name = json["name"].Text();
    return {name,
            &ModuleClassNamed(json["class"].Value()),
            {name, {}, ReadAttributes(json["config"]), ReadNamed(json["children"], &ReadNode)}};
}

// {"Logger": {"MaxSeverity": "DBG"}} becomes GS_Logger_MaxSeverity=DBG.
std::map<std::wstring, std::wstring> ReadModuleSettings(const JsonCursor& json)
{
    std::map<std::wstring, std::wstring> settings;
    for (const auto& [section, keys] : json.Members()) {
        for (const auto& [key, value] : keys.Members())
            settings[L"GS_" + section + L"_" + key] = value.Value().is_string() ? value.Text()
                                                      : value.Value().is_boolean()
                                                          ? (value.Value() ? L"1" : L"0")
                                                          : std::to_wstring(value.Value().get<std::uint32_t>());
    }
    return settings;
}

std::map<std::wstring, std::wstring> ReadObjectNames(const JsonCursor& json)
{
    std::map<std::wstring, std::wstring> names;
    for (const auto& [guid, name] : json.Members()) {
        if (!names.emplace(*ToGuidText(guid), name.Text()).second)
            name.Fail("each GUID once");
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
        const JsonCursor value = config[reference.attribute];
        for (const JsonCursor& each : value.Value().is_string() ? std::vector{value} : value.Items()) {
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

Site ReadSiteParts(const JsonCursor& json)
{
    const AccountBook accounts(json["accounts"]);
    Site site{json["site"].Text(),
              ReadModuleSettings(json["moduleSettings"]),
              ReadNode(json["configuration"]),
              ReadNamed(json["connectionSettings"], &ReadNode),
              json["names"]["databaseConnectionManager"].Text(),
              json["names"]["reportingSettingsManager"].Text(),
              accounts.FileText(),
              json["tokens"]["lifetimeS"].As(3600.0),
              json["tokens"]["displayNames"].As(true),
              ReadArray(json["grants"], [&](const JsonCursor& each) { return ReadGrant(each, accounts); }),
              ReadNamed(json["accessInfo"], &ReadSource),
              ReadNamed(json["components"], &ReadComponent),
              ReadObjectNames(json["objectNames"]),
              {}};
    CheckReferences(site, json);
    TimelineReader timeline(site, accounts);
    site.timeline = ReadArray(json["timeline"], [&](const JsonCursor& each) { return timeline.Read(each); });
    return site;
}

} // namespace

Site ReadSite(const std::string& text)
{
    const nlohmann::json parsed = ParseJson(text);
    const JsonCursor site(parsed);
    CheckShape(site);
    return ReadSiteParts(site);
}

Site LoadSite(const std::filesystem::path& file)
{
    const std::string text = ReadInputFile(file);
    try {
        return ReadSite(text);
    } catch (const InputError& error) {
        throw InputError(Utf8PathText(file) + ": " + error.what());
    }
}

} // namespace Host
