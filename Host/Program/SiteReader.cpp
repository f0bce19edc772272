#include "Host/Components/ConfigServerProxy.h"
#include "Host/Components/RequestContexts.h"
#include "Host/Components/RoleService.h"
#include "Host/Program/SiteValues.h"
#include "Host/Support/PathText.h"
#include "Interfaces/ComponentsModule.h"

#include <algorithm>

namespace Host
{

namespace
{

constexpr char ConnectionManagerRole[] = "the database connection manager";
constexpr char SettingsManagerRole[] = "the reporting settings manager";
constexpr char UpdaterRole[] = "an updater";
constexpr char SourceRole[] = "an access-info source";
constexpr char ConsumerRole[] = "an access-info consumer";

// The schema of site files lists the names.
const ModuleClass Classes[] = {
    {"ReportAccessInfoUpdater", KestrineClasses::ReportAccessInfoUpdater, UpdaterRole},
    {"RBACUsageTracker", KestrineClasses::RBACUsageTracker, SourceRole},
    {"PrepareReportAccessService", KestrineClasses::PrepareReportAccessService, SourceRole},
    {"ConfiguredAccountsTracker", KestrineClasses::ConfiguredAccountsTracker, SourceRole},
    {"SSRSRolesUpdater", KestrineClasses::SSRSRolesUpdater, ConsumerRole},
};

// Attributes of components' configurations that name other components, and the role that these need.
constexpr std::pair<const char*, std::string_view> References[] = {
    {"DatabaseConnectionManager", ConnectionManagerRole},
    {"ReportingSettingsManager", SettingsManagerRole},
    {"RegisterAccessInfoSources", SourceRole},
    {"RegisterAccessInfoConsumers", ConsumerRole},
    {"ReportAccessInfoUpdater", UpdaterRole},
};

SiteSource ReadSource(const JsonCursor& json)
{
    return {json["name"].Text(), ReadArray(json["items"], &ReadAccessItem)};
}

SiteComponent ReadComponent(const JsonCursor& json)
{
    const std::wstring name = json["name"].Text();
    const auto* const moduleClass = std::find_if(std::begin(Classes), std::end(Classes),
                                                 [&](auto& each) { return each.name == json["class"].Value(); });
    return {name, moduleClass, {name, {}, ReadAttributes(json["config"]), ReadNamed(json["children"], &ReadNode)}};
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

// Checks that instance names differ and that what names a component names one that can serve.
void CheckReferences(const Site& site, const JsonCursor& json)
{
    std::map<std::wstring, std::string> roles{{ConfigServerProxy::InstanceName, {}},
                                              {RequestContextMgr::InstanceName, {}},
                                              {AuthTokenMgr::InstanceName, {}},
                                              {PermissionsChecker::InstanceName, {}},
                                              {RoleService::InstanceName, {}}};
    const auto add = [&](const JsonCursor& name, const std::string& role) {
        if (!roles.emplace(name.Text(), role).second)
            name.Fail("an instance name that is not taken");
    };
    const std::vector<JsonCursor> components = json["components"].Items();
    add(json["names"]["databaseConnectionManager"], ConnectionManagerRole);
    add(json["names"]["reportingSettingsManager"], SettingsManagerRole);
    for (const JsonCursor& source : json["accessInfo"].Items())
        add(source["name"], SourceRole);
    for (std::size_t i = 0; i < components.size(); ++i)
        add(components[i]["name"], site.components[i].moduleClass->role);

    for (const JsonCursor& component : components) {
        for (const auto& [attribute, role] : References) {
            const JsonCursor value = component["config"][attribute];
            for (const JsonCursor& name : value.Value().is_string() ? std::vector{value} : value.Items()) {
                const auto found = roles.find(name.Text());
                if (found == roles.end() || found->second != role)
                    name.Fail("the name of " + std::string(role) + " of this site");
            }
        }
    }
    const auto updaters = std::count_if(site.components.begin(), site.components.end(), [](const SiteComponent& each) {
        return each.moduleClass->role == UpdaterRole;
    });
    if (updaters != 1)
        json["components"].Fail("one component of class \"ReportAccessInfoUpdater\" among them");
}

} // namespace

Site ReadSite(const std::string& text)
{
    const nlohmann::json parsed = ParseJson(text);
    const JsonCursor json(parsed);
    CheckShape(json);
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
    site.timeline = ReadTimeline(json["timeline"], site, accounts);
    return site;
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
