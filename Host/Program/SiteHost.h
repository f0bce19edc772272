// A site in operation: the host's components under their names, the module, and its components.
#pragma once

#include "Host/Components/ConfigServerProxy.h"
#include "Host/Components/ReportingSettingsManager.h"
#include "Host/Components/RequestContexts.h"
#include "Host/Components/RoleService.h"
#include "Host/Program/Files.h"
#include "Host/Program/Site.h"
#include "Host/Support/Failure.h"
#include "Interfaces/ComponentsModule.h"
#include "Interfaces/ConfigurableComponent.h"
#include "Interfaces/Halvex.h"
#include "Platform/Modules.h"

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

// Loads the module and unloads it again.
class HostedModule
{
public:
    // Throws Failure when `file` cannot be loaded or is no such module.
    explicit HostedModule(const std::filesystem::path& file);
    // A module that still has live objects stays loaded: they need its code.
    ~HostedModule();
    HostedModule(const HostedModule&) = delete;
    HostedModule& operator=(const HostedModule&) = delete;

    IComponentsModule* operator->() const { return m_object; }
    // Whether the module has live objects.
    bool IsLocked() const;

private:
    Platform::NativeModule m_library;
    IComponentsModule* m_object = nullptr; // is not counted
};

// One thread.
class SiteHost
{
public:
    // Loads the module, creates all of the site's components and then configures them, in their order. Throws Failure,
    // with everything undone.
    SiteHost(const Site& site, ComponentPtr<ReportingDatabase> database, const std::filesystem::path& module,
             std::filesystem::path accountsFile);
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
    // By what has failed, always the same parts of the host in the same order.
    std::vector<std::pair<std::wstring, FailureCount>> Failures() const;
    Activity ActivitySoFar() const;

    // One update cycle, from its beginning to its end.
    HRESULT RunCycle() { return m_updater->UpdateAccessInfo(nullptr, TRUE); }

    const HostedModule& Module() const { return m_module; }

    // Takes all components from their names and releases the module's, the last one first.
    void ReleaseComponents();

private:
    void RegisterHostComponents(const Site& site);
    void Register(const std::wstring& name, IComponentBase* component);
    void StartComponents(const Site& site);
    void PublishSettings();

    const std::filesystem::path m_accountsFile;
    std::vector<NodeDescription> m_entries;
    const ComponentPtr<ConfigServerProxy> m_configServer;
    const ComponentPtr<ReportingSettingsManager> m_settings;
    const ComponentPtr<ReportingDatabase> m_database;
    const ComponentPtr<AuthTokenMgr> m_tokens;
    const ComponentPtr<PermissionsChecker> m_permissions;
    const ComponentPtr<RoleService> m_gate;
    std::map<std::wstring, ComponentPtr<AccessInfoSource>> m_sources;
    const HostedModule m_module;
    std::vector<std::wstring> m_names; // that are registered: the host's components, then the module's
    std::vector<ComponentPtr<IConfigurableComponent>> m_components; // the module's
    ComponentPtr<IAccessInfoUpdater> m_updater;
};

} // namespace Host
