#include "Subsystems/ManagementService/Kestrine/ReportAccessInfoUpdater.h"

#include "Common/Components/NamedInstance.h"
#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/ErrorText.h"
#include "Common/ErrorHandling/Operation.h"
#include "Common/Foundation/Strings.h"
#include "Common/Helpers/HostUtils.h"
#include "Common/Helpers/Url.h"
#include "Common/Nodes/Configuration.h"
#include "Common/Nodes/KelNodeLog.h"
#include "Common/Nodes/KelNodesEqual.h"
#include "Subsystems/ManagementService/Common/ReportingSettingsModifySink.h"
#include "Subsystems/ManagementService/Kestrine/AccessRightsItem.h"
#include "Subsystems/ManagementService/Kestrine/AccessRightsTableWriter.h"

#include <mutex>
#include <shared_mutex>

namespace
{

constexpr std::int32_t ConnectionSettingsType = 1;
constexpr std::int32_t ConnectionMode = 1;
constexpr int LocalityAttempts = 3;

// Whether the report server of a connection-settings entry is this computer. May block for a long time.
bool IsLocalSSRS(const KelNodePtr& connectionSettings)
{
    try {
        const std::wstring url = connectionSettings.GetStringOr(L"ReportServerUrl", {});
        return HostUtils::IsLocalHost(ParseUrl(url).host);
    } catch (const HRX& e) {
        LOG_ERR(L"`anonymous-namespace'::IsLocalSSRS" << L" failed: " << e);
        return false;
    }
}

KelNodePtr FindEnabledEntry(const KelNodePtr& connectionSettings)
{
    if (!connectionSettings)
        return {};
    for (const KelNodePtr& entry : connectionSettings.GetChildren()) {
        bool enabled = false;
        if (entry.TryGetBool(L"Enabled", enabled) && enabled)
            return entry;
    }
    return {};
}

} // namespace

CReportAccessInfoUpdater::SettingsSubscription::SettingsSubscription(ComponentPtr<IReportingSettingsManager> manager,
                                                                     IReportingSettingsModifySink* sink)
    : m_manager(std::move(manager))
{
    CheckHResult(m_manager->Subscribe(ConnectionSettingsType, sink, m_handle.Out()));
}

CReportAccessInfoUpdater::SettingsSubscription::~SettingsSubscription()
{
    if (m_manager && m_handle)
        m_manager->Unsubscribe(m_handle.Get());
}

void CReportAccessInfoUpdater::FinalRelease()
{
    Boundary(L"CReportAccessInfoUpdater::FinalRelease", [&] {
        // The old one ends with this block.
        const SettingsSubscription ended = std::move(m_settingsSubscription);
    });
    // A notification that is still running is waited for; later ones find no updater.
    const std::unique_lock cut(m_sinkLink->lock);
    m_sinkLink->updater = nullptr;
}

HRESULT CReportAccessInfoUpdater::Configure(IKelNode* config)
{
    // What this configuration replaces goes when the lock has been released: the old worker's run and a notification in
    // progress, which are waited for, may be waiting for that lock.
    std::unique_ptr<CAsyncAction> replacedWorker;
    SettingsSubscription replacedSubscription;

    return Operation(L"CReportAccessInfoUpdater::Configure", [&] {
        CheckPointer(config);
        const RecursiveMutexLock lock(m_lock);
        const KelNodePtr configNode = KelNodePtr::AddRef(config);
        LOG_DBG(L"Config: " << configNode);
        m_config = configNode;

        std::chrono::seconds updateInterval = m_updateInterval;
        std::chrono::seconds retryInterval = m_retryInterval;
        Configuration::ReadSeconds(m_config, L"UpdateIntervalS", updateInterval);
        m_updateInterval = updateInterval;
        Configuration::ReadSeconds(m_config, L"RetryIntervalS", retryInterval);
        m_retryInterval = retryInterval;
        Configuration::ReadSeconds(m_config, L"ForceUpdateIntervalS", m_forceUpdateInterval);
        m_keepLocalAccounts = Configuration::ReadBool(m_config, L"DontFilterOutLocalAccounts", false);

        const ComponentPtr<IReportingSettingsModifySink> sink = MakeSink();
        m_connectionManager = GetNamedInstance<IDatabaseConnectionManager>(
            Configuration::RequiredString(m_config, L"DatabaseConnectionManager"));
        m_settingsManager = GetNamedInstance<IReportingSettingsManager>(
            Configuration::RequiredString(m_config, L"ReportingSettingsManager"));
        RegisterConfiguredSources();
        AddConfiguredConsumers();

        replacedSubscription = SettingsSubscription(m_settingsManager, sink.Get());
        std::swap(replacedSubscription, m_settingsSubscription);

        auto worker =
            std::make_unique<CAsyncAction>(updateInterval, updateInterval, [this](CAsyncAction&) { UpdateAction(); });
        const MutexLock workerLock(m_workerLock);
        replacedWorker = std::exchange(m_worker, std::move(worker));
    });
}

ComponentPtr<IReportingSettingsModifySink> CReportAccessInfoUpdater::MakeSink()
{
    using Sink = CComponentObject<ManagementService::CReportingSettingsModifySink>;
    Sink* created = nullptr;
    CheckHResult(Sink::CreateInstance(
        &created, [link = m_sinkLink](std::int32_t settingsType, std::int32_t, const KelNodePtr& settings) {
            const std::shared_lock lock(link->lock);
            if (link->updater)
                link->updater->OnCommonDBSettingsUpdated(settingsType, settings);
        }));
    const auto object = ComponentPtr<Sink>::Attach(created);
    ComponentPtr<IReportingSettingsModifySink> sink;
    CheckHResult(object->QueryInterface(IReportingSettingsModifySink::Iid, sink.OutVoid()));
    return sink;
}

void CReportAccessInfoUpdater::RegisterConfiguredSources()
{
    for (const std::wstring& name : Configuration::OptionalStrings(m_config, L"RegisterAccessInfoSources"))
        CheckHResult(RegisterAccessInfoSource(GetNamedInstance<IAccessInfoSource>(name).Get()));
}

void CReportAccessInfoUpdater::AddConfiguredConsumers()
{
    for (const std::wstring& name : Configuration::OptionalStrings(m_config, L"RegisterAccessInfoConsumers"))
        m_consumers.push_back(GetNamedInstance<IAccessInfoConsumer>(name));
}

HRESULT CReportAccessInfoUpdater::RegisterAccessInfoSource(IAccessInfoSource* source)
{
    return Boundary(L"CReportAccessInfoUpdater::RegisterAccessInfoSource", [&] {
        LOG_DBG(L"RegisterAccessInfoSource: AccessInfoSource=" << Strings::Hex(source));
        CheckPointer(source);
        const RecursiveMutexLock lock(m_lock);
        m_sources.emplace_back(source);
    });
}

HRESULT CReportAccessInfoUpdater::UnregisterAccessInfoSource(IAccessInfoSource* source)
{
    // Released when the lock is not held any more: it may be the source's last reference.
    std::vector<ComponentPtr<IAccessInfoSource>> removed;
    return Boundary(L"CReportAccessInfoUpdater::UnregisterAccessInfoSource", [&] {
        LOG_DBG(L"UnregisterAccessInfoSource: AccessInfoSource=" << Strings::Hex(source));
        CheckPointer(source);
        const RecursiveMutexLock lock(m_lock);
        const auto kept = std::stable_partition(m_sources.begin(), m_sources.end(),
                                                [source](const auto& each) { return each.Get() != source; });
        removed.assign(std::make_move_iterator(kept), std::make_move_iterator(m_sources.end()));
        m_sources.erase(kept, m_sources.end());
    });
}

HRESULT CReportAccessInfoUpdater::UpdateAccessInfo(IAccessInfoSource*, BOOL wait)
{
    return Operation(L"CReportAccessInfoUpdater::UpdateAccessInfo", [&] {
        if (!wait) {
            TriggerWorker();
            return;
        }
        {
            const MutexLock lock(m_workerLock);
            if (!m_worker)
                ThrowHResult(HResultFromWin32(ERROR_INVALID_STATE));
        }
        CheckHResult(UpdateAction());
    });
}

HRESULT CReportAccessInfoUpdater::UpdateAction()
{
    const HRESULT hr = Operation(L"CReportAccessInfoUpdater::UpdateAction", [&] { UploadAccessInfo(false); });
    SetWorkerPeriod(hr >= 0 ? m_updateInterval : m_retryInterval);
    return hr;
}

void CReportAccessInfoUpdater::UploadAccessInfo(bool forceFullSync)
{
    TRACE_SCOPE(L"CReportAccessInfoUpdater::UploadAccessInfo");
    LOG_DBG(L"ForceFullSync=" << forceFullSync);
    const RecursiveMutexLock lock(m_lock);
    UpdateLocality();
    if (!m_connectionSettings)
        return;
    KelNodePtr accessInfo = GatherAccessInfo();
    if (IsRewriteRequired(forceFullSync, accessInfo))
        accessInfo = Rewrite(accessInfo);
    m_previousAccessInfo = std::move(accessInfo);
}

// Finds out, with the lock released, whether the report server is this computer, unless that is known or of no
// interest.
void CReportAccessInfoUpdater::UpdateLocality()
{
    for (int attempt = 0; attempt < LocalityAttempts; ++attempt) {
        if (m_keepLocalAccounts || m_localityKnown || !m_connectionSettings)
            return;
        LOG_DBG(L"Updating IsLocalSSRS status");
        const KelNodePtr entry = m_connectionSettings;
        bool isLocal = false;
        {
            const RecursiveMutexUnlock unlocked(m_lock);
            isLocal = IsLocalSSRS(entry);
        }
        if (m_connectionSettings == entry) {
            LOG_DBG(L"IsLocalSSRS=" << isLocal);
            m_reportServerIsLocal = isLocal;
            m_localityKnown = true;
        }
    }
}

KelNodePtr CReportAccessInfoUpdater::GatherAccessInfo()
{
    KelNodePtr gathered = AccessRights::MakeList();
    // A copy: a source may register and unregister while it is asked.
    const std::vector<ComponentPtr<IAccessInfoSource>> sources = m_sources;
    for (const ComponentPtr<IAccessInfoSource>& source : sources) {
        KelNodePtr answer;
        HRESULT hr = source->GetAllowedViewers(answer.Out());
        if (hr >= 0 && !answer)
            hr = E_POINTER;
        if (const HRES result = RecordHResult(hr); result.Failed()) {
            LOG_WARN(L"Unable to query access info source=" << Strings::Hex(source.Get()) << L" failed: " << result);
            continue;
        }
        const std::uint64_t count = answer.GetChildCount();
        for (std::uint64_t i = 0; i < count; ++i)
            gathered.AddChild(answer.GetChildByIndex(i, true).Clone(KelnWholeTree));
    }
    return gathered;
}

bool CReportAccessInfoUpdater::IsRewriteRequired(bool forceFullSync, const KelNodePtr& accessInfo)
{
    if (forceFullSync || !m_previousAccessInfo)
        return true;
    if (m_forceUpdateInterval.count() != 0 && SteadyClock::now() - m_lastTableWrite > m_forceUpdateInterval)
        return true;
    if (KelNodesEqual(accessInfo, m_previousAccessInfo, KelIgnoreIdentity)) {
        LOG_DBG(L"Updating access rights table is not required");
        return false;
    }
    LOG_DBG(L"Updating access rights table required");
    return true;
}

// Tells the consumers and writes the table; returns the list that was written.
KelNodePtr CReportAccessInfoUpdater::Rewrite(const KelNodePtr& accessInfo)
{
    LOG_DBG(L"Processing AccessRights: " << accessInfo);
    KelNodePtr written = accessInfo;
    if (!m_keepLocalAccounts && !m_reportServerIsLocal) {
        LOG_DBG(L"Removing local-only account items");
        written = RemoveLocalOnlyItems(accessInfo);
    }
    for (const ComponentPtr<IAccessInfoConsumer>& consumer : m_consumers)
        CheckHResult(consumer->OnAccessInfoUpdated(written.Get()));
    LOG_DBG(L"Populating access rights table");
    ComponentPtr<IDatabaseConnection> connection;
    CheckHResult(m_connectionManager->OpenConnection(m_connectionSettings.Get(), ConnectionMode, connection.Out()));
    WriteAccessRights(connection, m_config, written);
    m_lastTableWrite = SteadyClock::now();
    return written;
}

void CReportAccessInfoUpdater::OnCommonDBSettingsUpdated(std::int32_t settingsType,
                                                         const KelNodePtr& connectionSettings)
{
    TRACE_SCOPE(L"CReportAccessInfoUpdater::OnCommonDBSettingsUpdated");
    LOG_DBG(L"SettingsType=" << settingsType);
    LOG_DBG(L"ConnectionSettings=" << connectionSettings);
    const RecursiveMutexLock lock(m_lock);
    const KelNodePtr chosen = FindEnabledEntry(connectionSettings);
    const bool bothNone = !chosen && !m_connectionSettings;
    if (bothNone || (chosen && m_connectionSettings && KelNodesEqual(m_connectionSettings, chosen, KelCompareAll)))
        return;
    m_connectionSettings = chosen;
    m_previousAccessInfo.Reset();
    m_reportServerIsLocal = false;
    m_localityKnown = false;
    for (const ComponentPtr<IAccessInfoConsumer>& consumer : m_consumers)
        CheckHResult(consumer->OnReportingSettingsUpdated(chosen.Get()));
    TriggerWorker();
}

void CReportAccessInfoUpdater::TriggerWorker()
{
    const MutexLock lock(m_workerLock);
    if (m_worker)
        m_worker->Trigger();
}

void CReportAccessInfoUpdater::SetWorkerPeriod(std::chrono::seconds period)
{
    const MutexLock lock(m_workerLock);
    if (m_worker)
        m_worker->SetPeriod(period);
}
