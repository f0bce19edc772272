#include "Host/Program/SiteHost.h"

#include "Host/Halvex/Registry.h"
#include "Host/Support/PathText.h"

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

HostedModule::HostedModule(const std::filesystem::path& file)
{
    const std::wstring path = PathText(std::filesystem::absolute(file));
    if (const HRESULT hr = Platform::NativeModule::Load(path, m_library); FAILED(hr))
        throw Failure{hr, L"cannot load the module '" + path + L"' (error " + std::to_wstring(hr & 0xFFFF) + L")"};
    const auto getModuleObject =
        reinterpret_cast<GetComponentsModuleObjectFunction>(m_library.Find("GetComponentsModuleObject"));
    void* object = nullptr;
    if (!getModuleObject || FAILED(getModuleObject(&object)))
        throw Failure{E_NOINTERFACE, L"'" + path + L"' is no component module"};
    m_object = static_cast<IComponentsModule*>(object);
    Check(m_object->Initialize());
}

HostedModule::~HostedModule()
{
    if (m_object && IsLocked())
        m_library.KeepLoaded();
}

bool HostedModule::IsLocked() const
{
    BOOL locked = TRUE;
    return FAILED(m_object->IsLocked(&locked)) || locked;
}

SiteHost::SiteHost(const Site& site, ComponentPtr<ReportingDatabase> database, const std::filesystem::path& module,
                   std::filesystem::path accountsFile)
    : m_accountsFile(std::move(accountsFile)),
      m_entries(site.connectionSettings),
      m_configServer(MakeComponent<ConfigServerProxy>(NodeHandle::Build(site.configuration))),
      m_settings(MakeComponent<ReportingSettingsManager>()),
      m_database(std::move(database)),
      m_tokens(MakeComponent<AuthTokenMgr>(std::chrono::duration<double>(site.tokenLifetime), site.displayNames)),
      m_permissions(MakeComponent<PermissionsChecker>()),
      m_gate(MakeComponent<RoleService>(m_database)),
      m_module(module)
{
    try {
        RegisterHostComponents(site);
        if (!m_entries.empty())
            PublishSettings();
        StartComponents(site);
    } catch (...) {
        ReleaseComponents();
        throw;
    }
}

void SiteHost::RegisterHostComponents(const Site& site)
{
    for (const Grant& grant : site.grants)
        m_permissions->Add(grant);
    Register(ConfigServerProxy::InstanceName, m_configServer.Get());
    Register(RequestContextMgr::InstanceName, MakeComponent<RequestContextMgr>()->Base());
    Register(AuthTokenMgr::InstanceName, m_tokens.Get());
    Register(PermissionsChecker::InstanceName, m_permissions.Get());
    Register(RoleService::InstanceName, m_gate->Base());
    Register(site.reportingSettingsManager, m_settings.Get());
    Register(site.databaseConnectionManager, m_database.Get());
    for (const SiteSource& source : site.sources) {
        const auto created = MakeComponent<AccessInfoSource>(source.name, source.items);
        m_sources.emplace(source.name, created);
        Register(source.name, created.Get());
    }
}

void SiteHost::Register(const std::wstring& name, IComponentBase* component)
{
    Check(HalvexRegisterInstance(name.c_str(), component));
    m_names.push_back(name);
}

// All of them have their names before the first one is configured and looks for the others.
void SiteHost::StartComponents(const Site& site)
{
    for (const SiteComponent& component : site.components) {
        Start(component, L"creating", [&] {
            ComponentPtr<IConfigurableComponent> created;
            Check(
                m_module->CreateInstance(component.moduleClass->clsid, IConfigurableComponent::Iid, created.OutVoid()));
            Register(component.name, created.Get());
            m_components.push_back(created);
            if (component.moduleClass->clsid == KestrineClasses::ReportAccessInfoUpdater)
                Check(created->QueryInterface(IAccessInfoUpdater::Iid, m_updater.OutVoid()));
        });
    }
    for (std::size_t i = 0; i < site.components.size(); ++i) {
        Start(site.components[i], L"configuring",
              [&] { Check(m_components[i]->Configure(NodeHandle::Build(site.components[i].config).Get())); });
    }
    WaitUntilDelivered();
}

void SiteHost::ReleaseComponents()
{
    m_updater.Reset();
    for (; !m_names.empty(); m_names.pop_back()) {
        HalvexUnregisterInstance(m_names.back().c_str());
        if (!m_components.empty())
            m_components.pop_back();
    }
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
    const NodeHandle settings = NodeHandle::Create(L"ConnectionSettings", nullptr);
    for (const NodeDescription& entry : m_entries)
        settings.AddChild(NodeHandle::Build(entry));
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
