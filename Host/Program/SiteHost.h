// A site in operation: the host's components under their names, the module, and its components.
#pragma once

#include "Host/Components/AuthTokenMgr.h"
#include "Host/Components/ConfigServerProxy.h"
#include "Host/Components/ReportingSettingsManager.h"
#include "Host/Components/RequestContexts.h"
#include "Host/Components/RoleService.h"
#include "Host/Program/Files.h"
#include "Host/Program/HostedModule.h"
#include "Host/Program/Site.h"
#include "Host/Support/Failure.h"
#include "Interfaces/Halvex.h"

#include <list>

namespace Host
{

// The interface of the component that is registered as `name`. Throws Failure.
template <class Interface>
ComponentPtr<Interface> GetInstance(const std::wstring& name)
{
    ComponentPtr<Interface> instance;
    if (const HRESULT result = HxGetNamedInstance(name.c_str(), 0, Interface::Iid, instance.OutVoid()); FAILED(result))
        throw Failure{result, L"there is no component '" + name + L"' with the interface asked for"};
    return instance;
}

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

struct SitePlaces
{
    std::filesystem::path module;
    std::filesystem::path accountsFile;
};

// One thread.
class SiteHost
{
public:
    // Loads the module, creates all of the site's components and then configures them, in their order. Throws Failure,
    // with everything undone.
    SiteHost(const Site& site, ComponentPtr<ReportingDatabase> database, const SitePlaces& places);
    ~SiteHost() { ReleaseComponents(); }
    SiteHost(const SiteHost&) = delete;
    SiteHost& operator=(const SiteHost&) = delete;

    // What events act on.
    ConfigServerProxy& ConfigServer() { return *m_configServer; }
    ReportingDatabase& Database() { return *m_database; }
    AuthTokenMgr& Tokens() { return *m_tokens; }
    PermissionsChecker& Permissions() { return *m_permissions; }
    RoleService& Gate() { return *m_gate; }
    AccessInfoSource& Source(const std::wstring& name) { return *m_sources.at(name); }

    // Replaces the connection settings, or enables one of their entries (empty: none).
    void ReplaceSettings(std::vector<NodeDescription> entries);
    void EnableSettings(const std::wstring& entry);
    // The entry that is enabled, or null.
    const NodeDescription* EnabledEntry() const;
    void ReplaceAccounts(const std::string& accounts) { ReplaceFile(m_accountsFile, accounts); }

    // Returns when every notification has been delivered.
    void WaitUntilDelivered();
    // By what has failed; every part of the host in its place.
    std::vector<std::pair<std::wstring, FailureCount>> Failures() const;
    Activity ActivitySoFar() const;

    // One update cycle, from its beginning to its end.
    HRESULT RunCycle() { return m_updater->UpdateAccessInfo(nullptr, TRUE); }

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

    const std::filesystem::path m_accountsFile;
    std::vector<NodeDescription> m_entries;
    const ComponentPtr<ConfigServerProxy> m_configServer;
    const ComponentPtr<ReportingSettingsManager> m_settings;
    const ComponentPtr<ReportingDatabase> m_database;
    const ComponentPtr<RequestContextMgr> m_requestContexts;
    const ComponentPtr<AuthTokenMgr> m_tokens;
    const ComponentPtr<PermissionsChecker> m_permissions;
    const ComponentPtr<RoleService> m_gate;
    const ComponentPtr<ServiceClient> m_serviceClient;
    std::map<std::wstring, ComponentPtr<AccessInfoSource>> m_sources;
    std::list<Registration> m_registrations;
    const HostedModule m_module;
    std::list<ModuleComponent> m_components;
    ComponentPtr<IAccessInfoUpdater> m_updater;
};

} // namespace Host
