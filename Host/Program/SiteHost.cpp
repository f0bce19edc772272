#include "Host/Program/SiteHost.h"

#include "Host/Components/FailureText.h"
#include "Host/Halvex/Registry.h"
#include "Host/Support/Boundary.h"
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

SiteHost::SiteHost(const Site& site, std::shared_ptr<ReportingDatabase> database, const std::filesystem::path& module)
    : m_entries(site.connectionSettings),
      m_configServer(MakeComponent<ConfigServerProxy>(BuildNode(site.configuration))),
      m_settings(MakeComponent<ReportingSettingsManager>()),
      m_connections(MakeComponent<DatabaseConnectionManager>(std::move(database))),
      m_module(module)
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
    m_registrations.emplace_back(site.reportingSettingsManager, m_settings.Get());
    m_registrations.emplace_back(site.databaseConnectionManager, m_connections.Get());
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

void SiteHost::Apply(const SettingsEvent& event)
{
    if (!event.enable)
        m_entries = event.entries;
    for (NodeDescription& entry : m_entries) {
        if (event.enable)
            SetEnabled(entry, entry.name == *event.enable);
    }
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

void SiteHost::Apply(const ConfigurationEvent& event)
{
    if (event.remove)
        m_configServer->RemoveNode(event.path);
    else
        m_configServer->SetAttributes(event.path, event.attributes, event.create);
}

void SiteHost::Apply(const SourceEvent& event)
{
    AccessInfoSource& source = *m_sources.at(event.name);
    if (event.items)
        source.SetItems(*event.items);
    source.AddItems(event.add);
    source.RemoveAccounts(event.remove);
    if (event.failure)
        source.FailWith(*event.failure);
}

void SiteHost::Apply(const DatabaseEvent& event)
{
    if (event.outage)
        m_connections->SetOutOfOrder(*event.outage);
    if (event.failAtStatement)
        m_connections->FailAtStatement(*event.failAtStatement);
}

void SiteHost::WaitUntilDelivered()
{
    m_configServer->WaitUntilDelivered();
    m_settings->WaitUntilDelivered();
}

std::vector<DeliveryFailures> SiteHost::Failures() const
{
    return {m_configServer->Failures(), m_settings->Failures()};
}

HRESULT SiteHost::RunCycle()
{
    return m_updater->UpdateAccessInfo(nullptr, TRUE);
}

} // namespace Host
