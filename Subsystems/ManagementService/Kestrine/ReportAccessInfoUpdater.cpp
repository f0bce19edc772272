#include "Subsystems/ManagementService/Kestrine/ReportAccessInfoUpdater.h"

#include "Common/Components/NamedInstance.h"
#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/ErrorText.h"
#include "Common/ErrorHandling/Operation.h"
#include "Common/Foundation/ScopeGuard.h"
#include "Common/Foundation/Strings.h"
#include "Common/Helpers/HostUtils.h"
#include "Common/Helpers/Url.h"
#include "Common/Nodes/Configuration.h"
#include "Common/Nodes/KelNodeLog.h"
#include "Common/Nodes/KelNodesEqual.h"
#include "Subsystems/ManagementService/Kestrine/AccessChanges.h"
#include "Subsystems/ManagementService/Kestrine/AccessRightsItem.h"
#include "Subsystems/ManagementService/Kestrine/AccessRightsTableWriter.h"

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

KelNodePtr FindRoot(const KelNodePtr& node)
{
    KelNodePtr root = node;
    while (KelNodePtr parent = root ? root.GetParent() : KelNodePtr())
        root = std::move(parent);
    return root;
}

} // namespace

void CReportAccessInfoUpdater::FinalRelease()
{
    // The object stays: a cycle or a notification in progress may be looking at it.
    if (m_subscription)
        m_subscription->End();
}

HRESULT CReportAccessInfoUpdater::Configure(IKelNode* config)
{
    // What this configuration replaces is destroyed when the lock has been released: the old worker's run and a
    // notification in progress, which are waited for, may be waiting for that lock.
    std::unique_ptr<CAsyncAction> replacedWorker;
    std::unique_ptr<Subscription> replacedSubscription;

    return Operation(L"CReportAccessInfoUpdater::Configure", [&] {
        CheckPointer(config);
        const RecursiveMutexLock lock(m_lock);
        const KelNodePtr configNode = KelNodePtr::AddRef(config);
        LOG_DBG(L"Config: " << configNode);
        m_config = configNode;

        // What is stored from here on is in force even when a later step fails: the next cycle writes by it.
        m_previousAccessInfo.Reset();
        for (const auto& source : m_sources)
            source->lastAnswer.Reset();
        ScopeGuard triggering([this] { TriggerWorker(); });

        ReadSettings();
        m_connectionManager = GetNamedInstance<IDatabaseConnectionManager>(
            Configuration::RequiredString(m_config, L"DatabaseConnectionManager"));
        const auto settingsManager = GetNamedInstance<IReportingSettingsManager>(
            Configuration::RequiredString(m_config, L"ReportingSettingsManager"));
        RegisterConfiguredSources();
        AddConfiguredConsumers();
        Subscribe(settingsManager, replacedSubscription);

        auto worker = std::make_unique<CAsyncAction>(m_updateInterval, m_updateInterval,
                                                     [this](CAsyncAction&) { UpdateAction(); });
        const MutexLock workerLock(m_workerLock);
        replacedWorker = std::exchange(m_worker, std::move(worker));
        if (!replacedWorker && !m_connection.entry)
            triggering.Disarm(); // nothing to write yet: the first cycle comes with the interval
    });
}

void CReportAccessInfoUpdater::ReadSettings()
{
    std::chrono::seconds updateInterval = m_updateInterval;
    std::chrono::seconds retryInterval = m_retryInterval;
    updateInterval = Configuration::ReadSeconds(m_config, L"UpdateIntervalS", updateInterval);
    m_updateInterval = updateInterval;
    retryInterval = Configuration::ReadSeconds(m_config, L"RetryIntervalS", retryInterval);
    m_retryInterval = retryInterval;
    m_forceUpdateInterval = Configuration::ReadSeconds(m_config, L"ForceUpdateIntervalS", m_forceUpdateInterval);
    m_keepLocalAccounts = Configuration::ReadBool(m_config, L"DontFilterOutLocalAccounts", false);
    m_sourceGrace = Configuration::ReadSeconds(m_config, L"SourceGraceS", m_sourceGrace);
    m_logChanges = Configuration::ReadBool(m_config, L"LogChanges", false);
}

// Puts a subscription with the manager in force. What another manager has delivered is dropped. A failure leaves
// everything as it was. `replaced` receives the subscription that is not in force.
void CReportAccessInfoUpdater::Subscribe(const ComponentPtr<IReportingSettingsManager>& manager,
                                         std::unique_ptr<Subscription>& replaced)
{
    auto subscription = std::make_unique<Subscription>(manager);
    Connection earlier = m_connection;
    if (m_subscription && m_subscription->Manager() != manager)
        m_connection = {};
    // In force before it begins: the manager may deliver settings inside.
    replaced = std::exchange(m_subscription, std::move(subscription));
    try {
        m_subscription->Begin(
            ConnectionSettingsType,
            [this, from = m_subscription.get()](std::int32_t settingsType, std::int32_t, const KelNodePtr& settings) {
                OnCommonDBSettingsUpdated(*from, settingsType, settings);
            });
    } catch (...) {
        std::swap(m_subscription, replaced);
        m_connection = std::move(earlier);
        throw;
    }
}

void CReportAccessInfoUpdater::RegisterConfiguredSources()
{
    for (const std::wstring& name : Configuration::OptionalStrings(m_config, L"RegisterAccessInfoSources"))
        CheckHResult(RegisterAccessInfoSource(GetNamedInstance<IAccessInfoSource>(name).Get()));
}

void CReportAccessInfoUpdater::AddConfiguredConsumers()
{
    for (const std::wstring& name : Configuration::OptionalStrings(m_config, L"RegisterAccessInfoConsumers"))
        m_consumers.push_back({GetNamedInstance<IAccessInfoConsumer>(name)});
}

HRESULT CReportAccessInfoUpdater::RegisterAccessInfoSource(IAccessInfoSource* source)
{
    return Boundary(L"CReportAccessInfoUpdater::RegisterAccessInfoSource", [&] {
        LOG_DBG(L"RegisterAccessInfoSource: AccessInfoSource=" << Strings::Hex(source));
        CheckPointer(source);
        const RecursiveMutexLock lock(m_lock);
        m_sources.push_back(std::make_shared<Source>(Source{ComponentPtr<IAccessInfoSource>(source), {}, {}}));
    });
}

HRESULT CReportAccessInfoUpdater::UnregisterAccessInfoSource(IAccessInfoSource* source)
{
    // Released when the lock is not held any more: it may be the source's last reference.
    std::vector<std::shared_ptr<Source>> removed;
    return Boundary(L"CReportAccessInfoUpdater::UnregisterAccessInfoSource", [&] {
        LOG_DBG(L"UnregisterAccessInfoSource: AccessInfoSource=" << Strings::Hex(source));
        CheckPointer(source);
        const RecursiveMutexLock lock(m_lock);
        const auto kept = std::stable_partition(m_sources.begin(), m_sources.end(),
                                                [source](const auto& each) { return each->component.Get() != source; });
        removed.assign(std::make_move_iterator(kept), std::make_move_iterator(m_sources.end()));
        m_sources.erase(kept, m_sources.end());
        for (const auto& each : removed) // which may be being asked
            each->lastAnswer.Reset();
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
    if (hr < 0)
        NoteFailedCycle();
    SetWorkerPeriod(hr >= 0 ? m_updateInterval : m_retryInterval);
    return hr;
}

void CReportAccessInfoUpdater::UploadAccessInfo(bool forceFullSync)
{
    TRACE_SCOPE(L"CReportAccessInfoUpdater::UploadAccessInfo");
    LOG_DBG(L"ForceFullSync=" << forceFullSync);
    const RecursiveMutexLock lock(m_lock);
    UpdateLocality();
    TellSettingsWhereDue();
    if (!m_connection.entry)
        return;
    KelNodePtr accessInfo = GatherAccessInfo();
    if (IsRewriteRequired(forceFullSync, accessInfo))
        accessInfo = Rewrite(accessInfo);
    m_previousAccessInfo = std::move(accessInfo);
    NoteGoodCycle();
}

// Finds out, with the lock released, whether the report server is this computer, unless that is known or of no
// interest.
void CReportAccessInfoUpdater::UpdateLocality()
{
    for (int attempt = 0; attempt < LocalityAttempts; ++attempt) {
        if (m_keepLocalAccounts || m_connection.isLocal || !m_connection.entry)
            return;
        LOG_DBG(L"Updating IsLocalSSRS status");
        const KelNodePtr entry = m_connection.entry;
        bool isLocal = false;
        {
            const RecursiveMutexUnlock unlocked(m_lock);
            isLocal = IsLocalSSRS(entry);
        }
        if (m_connection.entry == entry) {
            LOG_DBG(L"IsLocalSSRS=" << isLocal);
            m_connection.isLocal = isLocal;
        }
    }
}

KelNodePtr CReportAccessInfoUpdater::GatherAccessInfo()
{
    KelNodePtr gathered = AccessRights::MakeList();
    // A copy: a source may register and unregister while it is asked.
    const std::vector<std::shared_ptr<Source>> sources = m_sources;
    for (const auto& source : sources) {
        const KelNodePtr answer = AskSource(*source);
        const std::uint64_t count = answer ? answer.GetChildCount() : 0;
        for (std::uint64_t i = 0; i < count; ++i)
            gathered.AddChild(answer.GetChildByIndex(i, true).Clone(KelnWholeTree));
    }
    return gathered;
}

// The source's answer, or what stands in for it; none where nothing does.
KelNodePtr CReportAccessInfoUpdater::AskSource(Source& source)
{
    KelNodePtr answer;
    HRESULT hr = source.component->GetAllowedViewers(answer.Out());
    if (hr >= 0 && !answer)
        hr = E_POINTER;
    if (const HRES result = RecordHResult(hr); result.Failed()) {
        LOG_WARN(L"Unable to query access info source=" << Strings::Hex(source.component.Get()) << L" failed: "
                                                        << result);
        return StandInFor(source);
    }
    if (m_sourceGrace != m_sourceGrace.zero()) {
        source.lastAnswer = answer;
        source.answered = Moment::Now();
    }
    return answer;
}

// The last good answer of a source that has failed, unless it is older than the grace.
KelNodePtr CReportAccessInfoUpdater::StandInFor(Source& source)
{
    if (source.lastAnswer && SteadyClock::now() - source.answered.steady > m_sourceGrace)
        source.lastAnswer.Reset();
    if (source.lastAnswer)
        LOG_WARN(L"The answer of " << LocalTimeText(source.answered.wallClock) << L" stands in for access info source="
                                   << Strings::Hex(source.component.Get()));
    return source.lastAnswer;
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

// Passes the list to the consumers and writes the table; returns the list that was written.
KelNodePtr CReportAccessInfoUpdater::Rewrite(const KelNodePtr& accessInfo)
{
    LOG_DBG(L"Processing AccessRights: " << accessInfo);
    KelNodePtr written = accessInfo;
    if (!m_keepLocalAccounts && !m_connection.isLocal.value_or(false)) {
        LOG_DBG(L"Removing local-only account items");
        written = RemoveLocalOnlyItems(accessInfo);
    }
    for (const Consumer& each : m_consumers)
        CheckHResult(each.consumer->OnAccessInfoUpdated(written.Get()));
    LOG_DBG(L"Populating access rights table");
    ComponentPtr<IDatabaseConnection> connection;
    CheckHResult(m_connectionManager->OpenConnection(m_connection.entry.Get(), ConnectionMode, connection.Out()));
    CheckPointer(connection.Get());
    const std::size_t rows = WriteAccessRights(connection, m_config, written);
    m_lastTableWrite = SteadyClock::now();
    if (m_logChanges)
        LogRewrite(written, rows);
    return written;
}

void CReportAccessInfoUpdater::LogRewrite(const KelNodePtr& written, std::size_t rows)
{
    if (const KelNodePtr previous = m_previousAccessInfo)
        LOG_INFO(L"Access rights changed: " << DescribeAccessChanges(previous, written));
    else
        LOG_INFO(L"Access rights written: " << rows << (rows == 1 ? L" row" : L" rows"));
}

void CReportAccessInfoUpdater::NoteGoodCycle()
{
    const unsigned failed = m_health.failedCycles;
    if (m_logChanges && failed != 0) {
        const auto failing = std::chrono::floor<std::chrono::seconds>(SteadyClock::now() - m_health.firstFailure);
        LOG_INFO(L"Access rights table is up to date again after "
                 << failed << (failed == 1 ? L" failed cycle, " : L" failed cycles, ") << failing.count() << L" s");
    }
    m_health = {};
    m_health.lastGood = Moment::Now();
}

// Says once when the table has become old: no cycle has succeeded for three update intervals.
void CReportAccessInfoUpdater::NoteFailedCycle()
{
    const RecursiveMutexLock lock(m_lock);
    const SteadyTime now = SteadyClock::now();
    if (m_health.failedCycles++ == 0)
        m_health.firstFailure = now;
    const std::chrono::seconds interval = m_updateInterval;
    if (!m_logChanges || m_health.outOfDateTold || interval == interval.zero() ||
        (now - m_health.lastGood.steady) / 3 < interval)
        return;
    m_health.outOfDateTold = true;
    if (const std::uint64_t lastGood = m_health.lastGood.wallClock; lastGood != 0)
        LOG_WARN(L"Access rights table is out of date: no cycle has succeeded since " << LocalTimeText(lastGood));
    else
        LOG_WARN(L"Access rights table is out of date: no cycle has succeeded yet");
}

void CReportAccessInfoUpdater::OnCommonDBSettingsUpdated(const Subscription& from, std::int32_t settingsType,
                                                         const KelNodePtr& connectionSettings)
{
    TRACE_SCOPE(L"CReportAccessInfoUpdater::OnCommonDBSettingsUpdated");
    LOG_DBG(L"SettingsType=" << settingsType);
    LOG_DBG(L"ConnectionSettings=" << connectionSettings);
    const RecursiveMutexLock lock(m_lock);
    if (&from != m_subscription.get())
        return; // a late notification of a subscription that has been replaced
    const KelNodePtr chosen = FindEnabledEntry(connectionSettings);
    if (KelNodesEqualOrNone(m_connection.entry, chosen, KelCompareAll))
        return;
    m_connection = {chosen, FindRoot(chosen), {}};
    m_previousAccessInfo.Reset();
    for (std::size_t i = 0; i < m_consumers.size(); ++i)
        CheckHResult(TellSettings(i));
    TriggerWorker();
}

// Passes the entry in use to one consumer and notes whether it has accepted it.
HRESULT CReportAccessInfoUpdater::TellSettings(std::size_t consumer)
{
    // Copies: the consumer may configure this component, which adds consumers.
    const KelNodePtr entry = m_connection.entry;
    const ComponentPtr<IAccessInfoConsumer> told = m_consumers[consumer].consumer;
    m_consumers[consumer].told.reset();
    const HRESULT hr = told->OnReportingSettingsUpdated(entry.Get());
    if (hr >= 0)
        m_consumers[consumer].told = entry;
    return hr;
}

// Passes the entry in use to consumers that refused it, that were added since, or whose settings were dropped. One that
// refuses again does not keep revocations from the table.
void CReportAccessInfoUpdater::TellSettingsWhereDue()
{
    for (std::size_t i = 0; i < m_consumers.size(); ++i) {
        if (m_consumers[i].told == m_connection.entry)
            continue;
        const void* consumer = m_consumers[i].consumer.Get();
        if (const HRES result = RecordHResult(TellSettings(i)); result.Failed())
            LOG_WARN(L"Unable to update reporting settings of access info consumer=" << Strings::Hex(consumer)
                                                                                     << L" failed: " << result);
    }
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
