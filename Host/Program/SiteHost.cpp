#include "Host/Program/SiteHost.h"

#include "Host/Halvex/Registry.h"
#include "Host/Support/Failure.h"
#include "Host/Support/PathText.h"
#include "Platform/Text.h"

#include <algorithm>

namespace Host
{

namespace
{

void SetEnabled(NodeDescription& entry, bool enabled)
{
    std::erase_if(entry.attributes, [](const Attribute& attribute) { return attribute.name == L"Enabled"; });
    entry.attributes.push_back({L"Enabled", enabled});
}

// Runs a step of starting a component; a failure says which component it was.
template <class Step>
void Start(const SiteComponent& component, const wchar_t* action, const Step& step)
{
    try {
        step();
    } catch (const Failure& failure) {
        throw Failure{failure.result, std::wstring(action) + L" '" + component.name + L"' (" +
                                          Text::FromUtf8(component.moduleClass->name) + L") failed: " +
                                          FailureText(failure.result, failure.text)};
    }
}

} // namespace

Registration::Registration(const std::wstring& name, IComponentBase* component) : m_name(name)
{
    Check(HalvexRegisterInstance(name.c_str(), component));
}

Registration::~Registration()
{
    HalvexUnregisterInstance(m_name.c_str());
}

SiteHost::SiteHost(const Site& site, ComponentPtr<ReportingDatabase> database, const SitePlaces& places)
    : m_accountsFile(places.accountsFile),
      m_entries(site.connectionSettings),
      m_configServer(MakeComponent<ConfigServerProxy>(BuildNode(site.configuration))),
      m_settings(MakeComponent<ReportingSettingsManager>()),
      m_database(std::move(database)),
      m_requestContexts(MakeComponent<RequestContextMgr>()),
      m_tokens(MakeComponent<AuthTokenMgr>(std::chrono::duration<double>(site.tokenLifetime), site.displayNames)),
      m_permissions(MakeComponent<PermissionsChecker>(site.grants)),
      m_gate(MakeComponent<RoleService>(m_database)),
      m_serviceClient(MakeComponent<ServiceClient>(m_gate)),
      m_module(places.module)
{
    RegisterHostComponents(site);
    if (!m_entries.empty())
        PublishSettings();
    try {
        CreateComponents(site);
        ConfigureComponents(site);
    } catch (...) {
        ReleaseComponents();
        throw;
    }
}

void SiteHost::RegisterHostComponents(const Site& site)
{
    m_registrations.emplace_back(ConfigServerProxy::InstanceName, m_configServer.Get());
    m_registrations.emplace_back(RequestContextMgr::InstanceName, m_requestContexts.Get());
    m_registrations.emplace_back(AuthTokenMgr::InstanceName, m_tokens.Get());
    m_registrations.emplace_back(PermissionsChecker::InstanceName, m_permissions.Get());
    m_registrations.emplace_back(ServiceClient::InstanceName, m_serviceClient.Get());
    m_registrations.emplace_back(site.reportingSettingsManager, m_settings.Get());
    m_registrations.emplace_back(site.databaseConnectionManager, m_database.Get());
    for (const SiteSource& source : site.sources) {
        const auto created = MakeComponent<AccessInfoSource>(source.name, source.items);
        m_sources.emplace(source.name, created);
        m_registrations.emplace_back(source.name, created.Get());
    }
}

// All of them have their names before the first one is configured and looks for the others.
void SiteHost::CreateComponents(const Site& site)
{
    for (const SiteComponent& component : site.components) {
        Start(component, L"creating", [&] {
            m_components.emplace_back(component.name, m_module.Create(component.moduleClass->clsid));
            if (component.moduleClass->role == Role::Updater)
                Check(m_components.back().component->QueryInterface(IAccessInfoUpdater::Iid, m_updater.OutVoid()));
        });
    }
}

void SiteHost::ConfigureComponents(const Site& site)
{
    auto created = m_components.begin();
    for (const SiteComponent& component : site.components) {
        Start(component, L"configuring", [&] {
            const NodeHandle config = BuildNode(component.config);
            Check(created->component->Configure(config.Get()));
        });
        ++created;
    }
    WaitUntilDelivered();
}

void SiteHost::ReleaseComponents()
{
    m_updater.Reset();
    while (!m_components.empty())
        m_components.pop_back();
}

void SiteHost::ReplaceSettings(std::vector<NodeDescription> entries)
{
    m_entries = std::move(entries);
    PublishSettings();
}

void SiteHost::EnableSettings(const std::wstring& name)
{
    for (NodeDescription& entry : m_entries)
        SetEnabled(entry, entry.name == name);
    PublishSettings();
}

void SiteHost::PublishSettings()
{
    const NodeHandle settings = CreateNode(L"ConnectionSettings", nullptr);
    for (const NodeDescription& entry : m_entries)
        AddChild(settings.Get(), BuildNode(entry).Get());
    m_settings->SetSettings(settings.Get());
}

const NodeDescription* SiteHost::EnabledEntry() const
{
    const auto isEnabled = [](const Attribute& attribute) {
        return attribute.name == L"Enabled" && std::get<bool>(attribute.value);
    };
    const auto found = std::find_if(m_entries.begin(), m_entries.end(), [&](const NodeDescription& entry) {
        return std::any_of(entry.attributes.begin(), entry.attributes.end(), isEnabled);
    });
    return found == m_entries.end() ? nullptr : &*found;
}

void SiteHost::WaitUntilDelivered()
{
    m_configServer->WaitUntilDelivered();
    m_settings->WaitUntilDelivered();
}

std::vector<std::pair<std::wstring, FailureCount>> SiteHost::Failures() const
{
    std::vector<std::pair<std::wstring, FailureCount>> failures{
        {L"notifications of configuration", m_configServer->Failures()},
        {L"notifications of settings", m_settings->Failures()},
        {L"permissions checker", m_permissions->Faults().Failures()},
        {L"token manager", m_tokens->Faults().Failures()},
        {L"settings gate", m_gate->Faults().Failures()}};
    for (const auto& [name, source] : m_sources)
        failures.emplace_back(L"source", source->Faults().Failures());
    return failures;
}

Activity SiteHost::ActivitySoFar() const
{
    return {m_permissions->Queries(), m_tokens->Minted(), m_gate->Faults().Failures().count};
}

} // namespace Host
