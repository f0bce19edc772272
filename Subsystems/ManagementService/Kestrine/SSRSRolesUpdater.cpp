#include "Subsystems/ManagementService/Kestrine/SSRSRolesUpdater.h"

#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/ErrorText.h"
#include "Common/ErrorHandling/Operation.h"
#include "Common/Nodes/Configuration.h"
#include "Common/Nodes/KelNodeLog.h"
#include "Common/Nodes/KelNodesEqual.h"
#include "Subsystems/ManagementService/Kestrine/AccessRightsItem.h"
#include "Subsystems/ManagementService/Kestrine/SettingsGate.h"

#include <algorithm>

HRESULT CSSRSRolesUpdater::Configure(IKelNode* config)
{
    // Destroyed when the lock has been released: its run, which is waited for, may be waiting for it.
    std::unique_ptr<CAsyncAction> replacedWorker;

    return Operation(L"CSSRSRolesUpdater::Configure", [&] {
        const RecursiveMutexLock lock(m_lock);
        CheckPointer(config);
        const KelNodePtr configNode = KelNodePtr::AddRef(config);
        m_updateInterval = Configuration::ReadSeconds(configNode, L"UpdateIntervalS", m_updateInterval);
        m_retryInterval = Configuration::ReadSeconds(configNode, L"RetryIntervalS", m_retryInterval);
        auto worker = std::make_unique<CAsyncAction>(
            m_updateInterval, m_updateInterval, [this](CAsyncAction& action) { UpdateAction(action); }, m_worker.get());
        replacedWorker = std::exchange(m_worker, std::move(worker));
        if (replacedWorker) {
            replacedWorker->Stop(); // its run gives up before its next account
            m_worker->Trigger();    // and what it has left is taken up
        }
    });
}

HRESULT CSSRSRolesUpdater::OnReportingSettingsUpdated(IKelNode* settings)
{
    return Operation(L"CSSRSRolesUpdater::OnReportingSettingsUpdated", [&] {
        const RecursiveMutexLock lock(m_lock);
        const KelNodePtr settingsNode = KelNodePtr::AddRef(settings);
        LOG_DBG(L"Reporting settings: " << settingsNode);
        if (UpdateRequestTemplate(settingsNode)) {
            LOG_DBG(L"Resetting processed data");
            m_accounts.clear();
        }
    });
}

bool CSSRSRolesUpdater::UpdateRequestTemplate(const KelNodePtr& settings)
{
    KelNodePtr made = MakeRequestTemplate(settings);
    const RecursiveMutexLock lock(m_lock);
    const bool changed = !KelNodesEqualOrNone(made, m_requestTemplate, KelCompareAll);
    if (changed)
        m_requestTemplate = std::move(made);
    return changed;
}

HRESULT CSSRSRolesUpdater::OnAccessInfoUpdated(IKelNode* accessInfo)
{
    return Operation(L"CSSRSRolesUpdater::OnAccessInfoUpdated", [&] {
        const RecursiveMutexLock lock(m_lock);
        const KelNodePtr list = KelNodePtr::AddRef(accessInfo);
        const std::uint64_t count = list ? list.GetChildCount() : 0;
        bool added = false;
        for (std::uint64_t i = 0; i < count; ++i) {
            std::wstring name;
            list.GetChildByIndex(i, true).TryGetString(AccessRights::LogonName, name);
            if (name.empty() || m_accounts.contains(name))
                continue;
            m_accounts.emplace(name, std::make_shared<AccountRecord>(name));
            LOG_DBG(L"Adding item to process: '" << name << L"'");
            added = true;
        }
        if (added && m_worker)
            m_worker->Trigger();
    });
}

// Throws E_ABORT when the worker has been replaced or is to stop. A replaced one may be destroyed already: the service
// may have configured this component during the last request.
void CSSRSRolesUpdater::CheckCurrent(const CAsyncAction& action)
{
    const RecursiveMutexLock lock(m_lock);
    if (m_worker.get() != &action || action.IsStopRequested())
        ThrowHResult(E_ABORT);
}

// Throws HRX: E_ABORT when a stop is requested, the host's failure when there is no service to send to.
void CSSRSRolesUpdater::UpdateAction(CAsyncAction& action)
{
    TRACE_SCOPE(L"CSSRSRolesUpdater::UpdateAction");
    ComponentPtr<IRequestService> proxy;
    for (const AccountPtr& record : CollectUnprocessed()) {
        CheckCurrent(action);
        if (!proxy)
            proxy = CreateSettingsGateProxy();
        ProcessAccount(*proxy, *record);
    }
}

// The oldest attempts first, before them the accounts without one.
std::vector<CSSRSRolesUpdater::AccountPtr> CSSRSRolesUpdater::CollectUnprocessed()
{
    std::vector<std::pair<SteadyTime, AccountPtr>> unprocessed;
    {
        const RecursiveMutexLock lock(m_lock);
        for (const auto& entry : m_accounts) {
            if (!entry.second->processed)
                unprocessed.emplace_back(entry.second->lastAttempt, entry.second);
        }
    }
    std::sort(unprocessed.begin(), unprocessed.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<AccountPtr> records;
    records.reserve(unprocessed.size());
    for (auto& entry : unprocessed)
        records.push_back(std::move(entry.second));
    return records;
}

void CSSRSRolesUpdater::ProcessAccount(IRequestService& proxy, AccountRecord& record)
{
    try {
        const TraceScope scope(LogSeverity::Dbg, LogSeverity::Dbg, L"Processing account '" + record.name + L"'",
                               SourceLocation::Current());
        const KelNodePtr requestTemplate = TemplateIfDue(record);
        if (!requestTemplate)
            return;
        RequestRole(proxy, requestTemplate, record.name);
        record.processed = true;
        record.lastAttempt = SteadyClock::now();
    } catch (const HRX& e) {
        LOG_WARN(L"Adding 'Browser' role for account '" << record.name << L"' failed: " << e);
        record.processed = false;
        record.lastAttempt = SteadyClock::now();
    }
}

// The request template when the record is to be handled now; empty, with the reason in the log, when it is not.
KelNodePtr CSSRSRolesUpdater::TemplateIfDue(const AccountRecord& record)
{
    const RecursiveMutexLock lock(m_lock);
    if (!m_requestTemplate) {
        LOG_DBG(L"skipping - no SSRS settings");
        return {};
    }
    if (const auto known = m_accounts.find(record.name); known != m_accounts.end() && known->second.get() != &record) {
        LOG_DBG(L"skipping - obsolete");
        return {};
    }
    const auto elapsed = SteadyClock::now() - record.lastAttempt.load();
    if (elapsed < m_retryInterval) {
        const auto rest = std::chrono::duration_cast<std::chrono::seconds>(m_retryInterval - elapsed).count();
        LOG_DBG(L"skipping - time to retry (s): " << rest);
        return {};
    }
    return m_requestTemplate;
}
