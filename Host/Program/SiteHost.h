// A site in operation: the host's components under their names, the module, and its components.
#pragma once

#include "Host/Components/AccessInfoSource.h"
#include "Host/Components/ConfigServerProxy.h"
#include "Host/Components/DatabaseConnectionManager.h"
#include "Host/Components/ReportingSettingsManager.h"
#include "Host/Program/HostedModule.h"
#include "Host/Program/Site.h"

#include <list>

namespace Host
{

// Holds a component under a name of the component library.
class Registration
{
public:
    // Throws Failure.
    Registration(const std::wstring& name, IComponentBase* component);
    ~Registration();
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

private:
    const std::wstring m_name;
};

// One thread.
class SiteHost
{
public:
    // Loads the module, creates all of the site's components and then configures them, in their order. Throws Failure,
    // with everything undone.
    SiteHost(const Site& site, std::shared_ptr<ReportingDatabase> database, const std::filesystem::path& module);
    ~SiteHost() { ReleaseComponents(); }
    SiteHost(const SiteHost&) = delete;
    SiteHost& operator=(const SiteHost&) = delete;

    // What events do; they throw Failure.
    void Apply(const SettingsEvent& event);
    void Apply(const ConfigurationEvent& event);
    void Apply(const SourceEvent& event);
    void Apply(const DatabaseEvent& event);

    // The connection-settings entry that is enabled, or null.
    const NodeDescription* EnabledEntry() const;

    // Returns when every notification has been delivered.
    void WaitUntilDelivered();
    // Of the configuration server and of the reporting settings manager.
    std::vector<DeliveryFailures> Failures() const;

    // One update cycle, from its beginning to its end.
    HRESULT RunCycle();

    const HostedModule& Module() const { return m_module; }

    // Takes the module's components from their names and releases them, the last one first.
    void ReleaseComponents();

private:
    struct ModuleComponent
    {
        ModuleComponent(const std::wstring& name, ComponentPtr<IConfigurableComponent> created)
            : component(std::move(created)), registration(name, component.Get())
        {}

        ComponentPtr<IConfigurableComponent> component;
        Registration registration;
    };

    void RegisterHostComponents(const Site& site);
    void PublishSettings();
    void CreateComponents(const Site& site);
    void ConfigureComponents(const Site& site);

    std::vector<NodeDescription> m_entries;
    const ComponentPtr<ConfigServerProxy> m_configServer;
    const ComponentPtr<ReportingSettingsManager> m_settings;
    const ComponentPtr<DatabaseConnectionManager> m_connections;
    std::map<std::wstring, ComponentPtr<AccessInfoSource>> m_sources;
    std::list<Registration> m_registrations;
    const HostedModule m_module;
    std::list<ModuleComponent> m_components;
    ComponentPtr<IAccessInfoUpdater> m_updater;
};

} // namespace Host
