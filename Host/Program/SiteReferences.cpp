#include "Host/Program/SiteReferences.h"

#include "Host/Components/ConfigServerProxy.h"
#include "Platform/Text.h"

#include <algorithm>
#include <map>
#include <set>

namespace Host
{

namespace
{

using Roles = std::map<std::wstring, Role>;

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
    std::set<std::wstring> taken{ConfigServerProxy::InstanceName};
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
        const std::string key = Text::ToUtf8(reference.attribute);
        if (!reference.required && !config.Has(key.c_str()))
            continue;
        const JsonCursor value = config[key.c_str()];
        const bool isList = value.Value().is_array() && !reference.required;
        for (const JsonCursor& each : isList ? value.Items() : std::vector<JsonCursor>{value}) {
            const auto found = roles.find(each.Text());
            if (found == roles.end() || found->second != reference.role)
                each.Fail("the name of " + RoleName(reference.role) + " of this site");
        }
    }
}

// Plays the timeline on names alone.
class TimelineCheck
{
public:
    explicit TimelineCheck(const Site& site)
    {
        AddPaths(site.configuration, {});
        for (const NodeDescription& entry : site.connectionSettings)
            m_entries.insert(entry.name);
        for (const SiteSource& source : site.sources)
            m_sources.insert(source.name);
    }

    void Check(const Event& event, const JsonCursor& json)
    {
        if (const auto* settings = std::get_if<SettingsEvent>(&event.action))
            CheckSettings(*settings, json["settings"]);
        if (const auto* configuration = std::get_if<ConfigurationEvent>(&event.action))
            CheckConfiguration(*configuration, json["configure"]);
        if (const auto* source = std::get_if<SourceEvent>(&event.action)) {
            if (!m_sources.contains(source->name))
                json["source"]["name"].Fail("the name of an entry of /accessInfo");
        }
    }

private:
    void AddPaths(const NodeDescription& node, const std::wstring& parent)
    {
        const std::wstring path = parent + L'\\' + node.name;
        m_paths.insert(path);
        for (const NodeDescription& child : node.children)
            AddPaths(child, path);
    }

    void CheckSettings(const SettingsEvent& event, const JsonCursor& json)
    {
        if (event.enable) {
            if (!event.enable->empty() && !m_entries.contains(*event.enable))
                json["enable"].Fail("null or the name of a connection-settings entry known by then");
            return;
        }
        m_entries.clear();
        for (const NodeDescription& entry : event.entries)
            m_entries.insert(entry.name);
    }

    void CheckConfiguration(const ConfigurationEvent& event, const JsonCursor& json)
    {
        const std::vector<std::wstring> names = SplitNodePath(event.path);
        const std::wstring root = m_paths.begin()->substr(1);
        if (names.empty() || names.front() != root)
            json["path"].Fail("a path that begins with \"\\\\" + Text::ToUtf8(root) + '"');
        const bool known = m_paths.contains(event.path);
        if (event.create) {
            std::wstring path;
            for (const std::wstring& name : names)
                m_paths.insert(path += L'\\' + name);
        } else if (!known) {
            json["path"].Fail("the path of a node that exists by then, or \"create\": true");
        } else if (event.remove) {
            if (names.size() == 1)
                json["path"].Fail("another node than the root to remove");
            std::erase_if(m_paths, [&](const std::wstring& path) {
                return path == event.path || path.starts_with(event.path + L'\\');
            });
        }
    }

    std::set<std::wstring> m_paths; // the root's, being the shortest, comes first
    std::set<std::wstring> m_entries;
    std::set<std::wstring> m_sources;
};

} // namespace

void CheckReferences(const Site& site, const JsonCursor& json)
{
    const Roles roles = CollectRoles(site, json);
    for (std::size_t i = 0; i < site.components.size(); ++i)
        CheckComponent(site.components[i], roles, json["components"].Items()[i]["config"]);
    const auto updaters = std::count_if(site.components.begin(), site.components.end(), [](const SiteComponent& each) {
        return each.moduleClass->role == Role::Updater;
    });
    if (updaters != 1)
        json["components"].Fail("one component of class \"ReportAccessInfoUpdater\" among them");
    TimelineCheck timeline(site);
    const std::vector<JsonCursor> events = json["timeline"].Items();
    for (std::size_t i = 0; i < site.timeline.size(); ++i)
        timeline.Check(site.timeline[i], events[i]);
}

} // namespace Host
