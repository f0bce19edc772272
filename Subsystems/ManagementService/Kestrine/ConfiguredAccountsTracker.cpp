#include "Subsystems/ManagementService/Kestrine/ConfiguredAccountsTracker.h"

#include "Common/Components/NamedInstance.h"
#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/ErrorText.h"
#include "Common/ErrorHandling/Operation.h"
#include "Common/Foundation/ScopeGuard.h"
#include "Common/Nodes/Configuration.h"
#include "Common/Nodes/KelNodeLog.h"
#include "Common/Nodes/KelNodesEqual.h"
#include "Common/Nodes/Subscriptions.h"
#include "Subsystems/ManagementService/Kestrine/AccessRightsItem.h"
#include "Subsystems/ManagementService/Kestrine/AccountResolution.h"
#include "Subsystems/ManagementService/Kestrine/AuthToken.h"
#include "Subsystems/ManagementService/Kestrine/ReportAccessHelpers.h"

#include <algorithm>

namespace
{

constexpr std::int32_t SubscribeOptions = 11;
constexpr std::int64_t WholeSubtree = 0x7FFFFFFF;
constexpr std::int64_t NodeAlone = 0;

// Adds the values of the attribute on the node and, where asked for, on all nodes below it.
template <class Attribute>
void CollectAccounts(const KelNodePtr& node, const Attribute& attribute, std::set<std::wstring>& accounts)
{
    if (attribute.nodeType.empty() || node.GetNodeType() == attribute.nodeType) {
        std::vector<std::wstring> values;
        node.GetStringList(attribute.name.c_str(), values);
        accounts.insert(values.begin(), values.end());
        accounts.erase(std::wstring());
    }
    if (!attribute.recursively)
        return;
    for (const KelNodePtr& child : node.GetChildren())
        CollectAccounts(child, attribute, accounts);
}

} // namespace

void CConfiguredAccountsTracker::FinalRelease()
{
    // The configuration server holds no reference to its sinks: the subscriptions must end before the object does.
    Boundary(L"CConfiguredAccountsTracker::FinalRelease", [&] {
        if (const auto proxy = TryGetNamedInstance<IConfigServerProxy>(ConfigServerProxyName))
            Unsubscribe(*proxy, SubscriptionIds());
    });
}

HRESULT CConfiguredAccountsTracker::Configure(IKelNode* config)
{
    // The old worker goes when the lock has been released: its run, which is waited for, may be waiting for it.
    std::unique_ptr<CAsyncAction> worker;

    return Operation(L"CConfiguredAccountsTracker::Configure", [&] {
        CheckPointer(config);
        const KelNodePtr configNode = KelNodePtr::AddRef(config);
        LOG_DBG(L"Config: " << configNode);
        Settings settings;
        {
            const MutexLock lock(m_lock);
            settings = m_settings;
        }
        settings = ReadSettings(configNode, settings);
        const auto proxy = GetNamedInstance<IConfigServerProxy>(ConfigServerProxyName);

        const std::vector<GUID> replaced = SubscriptionIds();
        std::vector<GUID> added;
        ScopeGuard undo([&] { Unsubscribe(*proxy, added); });
        for (const KelNodePtr& item : Configuration::RequiredChild(configNode, L"TrackingItems").GetChildren()) {
            if (item.GetNodeType() == L"TrackingItem")
                Subscribe(*proxy, item, added);
        }
        // In place before the subscriptions start: the first notification triggers it.
        worker = std::make_unique<CAsyncAction>(settings.updateInterval, settings.updateInterval,
                                                [this](CAsyncAction& action) { UpdateAccessInfo(action); });
        const auto exchange = [&] {
            const MutexLock lock(m_lock);
            std::swap(m_settings, settings);
            std::swap(m_worker, worker);
        };
        exchange();
        ScopeGuard undoExchange([&] {
            exchange();
            TriggerWorker(); // its run has given up if there was one
        });
        Activate(added);
        undoExchange.Disarm();
        undo.Disarm();
        if (worker)
            worker->Stop();
        Unsubscribe(*proxy, replaced);
    });
}

CConfiguredAccountsTracker::Settings CConfiguredAccountsTracker::ReadSettings(const KelNodePtr& config,
                                                                              Settings settings)
{
    Configuration::ReadSeconds(config, L"UpdateIntervalS", settings.updateInterval);
    Configuration::ReadSeconds(config, L"ForceRefreshIntervalS", settings.forceRefreshInterval);
    settings.updaterName = Configuration::RequiredString(config, L"ReportAccessInfoUpdater");
    settings.requiredPermission = Configuration::OptionalString(config, L"RequiredContainerPermission");
    settings.resolveUserGroups = Configuration::ReadBool(config, L"ResolveUserGroups", false);
    return settings;
}

void CConfiguredAccountsTracker::Subscribe(IConfigServerProxy& proxy, const KelNodePtr& item, std::vector<GUID>& added)
{
    const std::wstring path = Configuration::RequiredString(item, L"NodePath");
    TrackingItem tracking;
    tracking.attribute.name = Configuration::RequiredString(item, L"Attribute");
    tracking.attribute.nodeType = Configuration::OptionalString(item, L"NodeType");
    tracking.attribute.recursively = Configuration::ReadBool(item, L"Recursively", false);

    const KelNodePtr filter = MakePathFilter(path, false, WholeSubtree);
    if (!tracking.attribute.recursively)
        SetMaxDepth(filter, NodeAlone);
    CheckHResult(
        proxy.Subscribe(filter.Get(), MakeSubscribeRequest(SubscribeOptions).Get(), this, tracking.subscription.Out()));
    const ComponentPtr<IKelModifySubscription> subscription = tracking.subscription;
    ScopeGuard unsubscribe([&] { proxy.Unsubscribe(subscription.Get()); });
    GUID id{};
    CheckHResult(subscription->GetId(&id));
    LOG_DBG(L"New subscription: id=" << GuidText(id) << L" path='" << path << L"' attr='" << tracking.attribute.name
                                     << L"' type='" << tracking.attribute.nodeType << L"' recursive="
                                     << tracking.attribute.recursively);
    {
        const MutexLock lock(m_lock);
        if (!m_trackingItems.try_emplace(id, std::move(tracking)).second)
            ThrowHResult(HResultFromWin32(ERROR_ALREADY_EXISTS));
    }
    unsubscribe.Disarm();
    added.push_back(id);
}

void CConfiguredAccountsTracker::Activate(const std::vector<GUID>& added)
{
    std::vector<GUID> ids = added;
    std::sort(ids.begin(), ids.end(), GuidLess());
    for (const GUID& id : ids) {
        ComponentPtr<IKelModifySubscription> subscription;
        {
            const MutexLock lock(m_lock);
            if (const auto item = m_trackingItems.find(id); item != m_trackingItems.end())
                subscription = item->second.subscription;
        }
        if (subscription) // none: another configuration has come meanwhile
            CheckHResult(subscription->Activate());
    }
}

// Ends subscriptions and forgets what they have collected. The lock is not held while the proxy, which waits for
// notifications in progress, is called.
void CConfiguredAccountsTracker::Unsubscribe(IConfigServerProxy& proxy, const std::vector<GUID>& ids)
{
    for (const GUID& id : ids) {
        ComponentPtr<IKelModifySubscription> subscription;
        {
            const MutexLock lock(m_lock);
            const auto item = m_trackingItems.find(id);
            if (item == m_trackingItems.end())
                continue;
            subscription = std::move(item->second.subscription);
            m_trackingItems.erase(item);
        }
        proxy.Unsubscribe(subscription.Get());
    }
}

std::vector<GUID> CConfiguredAccountsTracker::SubscriptionIds()
{
    const MutexLock lock(m_lock);
    std::vector<GUID> ids;
    for (const auto& [id, item] : m_trackingItems)
        ids.push_back(id);
    return ids;
}

HRESULT CConfiguredAccountsTracker::OnTriggered(IKelModifySubscription* subscription, std::int32_t,
                                                IKelNodeModifyEnum* modifiedNodes)
{
    return Operation(L"CConfiguredAccountsTracker::OnTriggered", [&] {
        CheckPointer(subscription);
        CheckPointer(modifiedNodes);
        GUID id{};
        CheckHResult(subscription->GetId(&id));
        LOG_DBG(L"Subscription triggered: " << GuidText(id));
        {
            const MutexLock lock(m_lock);
            if (!m_trackingItems.contains(id))
                return;
        }
        bool changed = false;
        ForEachModifiedNode(modifiedNodes, [&](const ModifiedNode& record) {
            LOG_DBG(L"ModifyMask: " << record.changesMask);
            changed |= OnDataUpdated(id, record.node);
        });
        if (!changed)
            return;
        LOG_DBG(L"Data updated");
        TriggerWorker();
    });
}

void CConfiguredAccountsTracker::TriggerWorker()
{
    const MutexLock lock(m_lock);
    if (m_worker)
        m_worker->Trigger();
}

// Returns whether the texts that the item collects have changed. A record without node holds none.
bool CConfiguredAccountsTracker::OnDataUpdated(const GUID& id, const KelNodePtr& node)
{
    TRACE_SCOPE(L"CConfiguredAccountsTracker::OnDataUpdated");
    LOG_DBG2(L"Data: " << node);
    TrackedAttribute attribute;
    {
        const MutexLock lock(m_lock);
        const auto item = m_trackingItems.find(id);
        if (item == m_trackingItems.end())
            return false;
        attribute = item->second.attribute;
    }
    std::set<std::wstring> accounts;
    if (node)
        CollectAccounts(node, attribute, accounts);

    const MutexLock lock(m_lock);
    const auto item = m_trackingItems.find(id);
    if (item == m_trackingItems.end() || item->second.accounts == accounts)
        return false;
    item->second.accounts = std::move(accounts);
    return true;
}

HRESULT CConfiguredAccountsTracker::GetAllowedViewers(IKelNode** accessInfo)
{
    return Operation(L"CConfiguredAccountsTracker::GetAllowedViewers", [&] {
        CheckPointer(accessInfo);
        KelNodePtr result = *accessInfo ? KelNodePtr::AddRef(*accessInfo) : AccessRights::MakeList();
        {
            const MutexLock lock(m_lock);
            for (const auto& entry : m_accountRecords) {
                const KelNodePtr& item = entry.second.accessItem;
                if (!item)
                    continue;
                LOG_DBG(L"Adding access info: " << item);
                result.AddChild(item.Clone(KelnWholeTree));
            }
        }
        if (!*accessInfo)
            *accessInfo = result.Detach();
    });
}

HRESULT CConfiguredAccountsTracker::Stop()
{
    const MutexLock lock(m_lock);
    if (m_worker)
        m_worker->Stop();
    return S_OK;
}

HRESULT CConfiguredAccountsTracker::UpdateAccessInfo(const CAsyncAction& run)
{
    constexpr const wchar_t* name = L"CConfiguredAccountsTracker::UpdateAccessInfo";
    DropErrorInfo();
    try {
        TRACE_SCOPE(name);
        Settings settings;
        {
            const MutexLock lock(m_lock);
            settings = m_settings;
        }
        ResolveNames(run);
        const bool recordsChanged = RebuildAccountRecords(run);
        const bool itemsChanged = UpdateAccountRecords(run, settings);
        if (recordsChanged || itemsChanged)
            CheckHResult(GetNamedInstance<IAccessInfoUpdater>(settings.updaterName)->UpdateAccessInfo(nullptr, FALSE));
        return S_OK;
    } catch (const HRX& e) {
        // An abort is no error: it was asked for.
        return FailOperation(name, e, SourceLocation::Current(),
                             e.Code() == E_ABORT ? LogSeverity::Dbg : LogSeverity::Err);
    }
}

// Throws E_ABORT when the run's worker has been stopped or replaced: what it has found out is not wanted any more.
void CConfiguredAccountsTracker::CheckCurrent(const CAsyncAction& run)
{
    if (m_worker.get() != &run || run.IsStopRequested())
        ThrowHResult(E_ABORT);
}

void CConfiguredAccountsTracker::ResolveNames(const CAsyncAction& run)
{
    ResolvedNames names;
    {
        const MutexLock lock(m_lock);
        for (const auto& [id, item] : m_trackingItems) {
            for (const std::wstring& text : item.accounts) {
                const auto known = m_resolvedNames.find(text);
                names.try_emplace(text, known == m_resolvedNames.end() ? CSid() : known->second);
            }
        }
    }
    for (auto& [text, sid] : names) {
        {
            const MutexLock lock(m_lock);
            CheckCurrent(run);
        }
        ResolveAccountSid(text, sid);
    }
    const MutexLock lock(m_lock);
    CheckCurrent(run);
    m_resolvedNames = std::move(names);
}

// One record for each SID that a text has resolved to. Returns whether records came or went.
bool CConfiguredAccountsTracker::RebuildAccountRecords(const CAsyncAction& run)
{
    const MutexLock lock(m_lock);
    CheckCurrent(run);
    bool changed = false;
    AccountRecords records;
    for (const auto& [text, sid] : m_resolvedNames) {
        if (!sid.IsValid() || records.contains(sid.StringForm()))
            continue;
        const auto known = m_accountRecords.find(sid.StringForm());
        changed |= known == m_accountRecords.end();
        AccountRecord& record = records[sid.StringForm()];
        if (known != m_accountRecords.end())
            record = known->second;
        else
            record.sid = sid;
    }
    changed |= records.size() != m_accountRecords.size();
    m_accountRecords = std::move(records);
    return changed;
}

// Returns whether any access item has changed.
bool CConfiguredAccountsTracker::UpdateAccountRecords(const CAsyncAction& run, const Settings& settings)
{
    bool changed = false;
    MutexLock lock(m_lock);
    CheckCurrent(run);
    // From key to key: while the lock is not held, a configuration that comes and fails may replace the table.
    for (auto entry = m_accountRecords.begin(); entry != m_accountRecords.end();) {
        const std::wstring key = entry->first;
        AccountRecord record = entry->second;
        lock.unlock();
        const bool updated = UpdateAccountAccessItem(record, settings);
        lock.lock();
        CheckCurrent(run);
        entry = m_accountRecords.find(key);
        if (updated && entry != m_accountRecords.end()) {
            const KelNodePtr& before = entry->second.accessItem;
            const KelNodePtr& now = record.accessItem;
            changed = changed || static_cast<bool>(before) != static_cast<bool>(now) ||
                      (before && !KelNodesEqual(before, now, KelCompareAll));
            entry->second = std::move(record);
        }
        entry = m_accountRecords.upper_bound(key);
    }
    return changed;
}

// Renews what is due. Returns whether anything was; what was renewed before a failure stays renewed.
bool CConfiguredAccountsTracker::UpdateAccountAccessItem(AccountRecord& record, const Settings& settings)
{
    bool updated = false;
    try {
        const SteadyTime now = SteadyClock::now();
        if (record.accountName.empty() || now > record.nameLookedUp + settings.forceRefreshInterval) {
            LOG_DBG(L"Updating AccountName for sid='" << record.sid.StringForm() << L"'");
            record.accountName = LookupAccountBySid({}, record.sid, &record.nameUse);
            record.nameLookedUp = now;
            AdjustSidType(record.sid, record.nameUse);
            LOG_DBG(L"Updated: AccountName='" << record.accountName << L"' sid_type=" << record.nameUse);
            updated = true;
        }
        if (record.nameUse != SidTypeUser) {
            LOG_DBG(L"Skipping: sid_type=" << record.nameUse);
            return updated;
        }
        if (!settings.requiredPermission.empty()) {
            const bool tooOld = !record.token || now > record.tokenMinted + settings.forceRefreshInterval;
            if (tooOld || IsAuthTokenExpired(record.token)) {
                record.token = MakeAuthTokenBySid(record.sid, settings.resolveUserGroups);
                record.tokenMinted = now;
            }
        }
        record.accessItem = QueryAccess(record, settings.requiredPermission);
        record.accessQueried = now;
        return true;
    } catch (const HRX& e) {
        LOG_WARN(L"UpdateAccountAccessItem for '" << record.sid.StringForm() << L"'" << L" failed: " << e);
        return updated;
    }
}

KelNodePtr CConfiguredAccountsTracker::QueryAccess(const AccountRecord& record, const std::wstring& permission)
{
    if (permission.empty()) {
        LOG_DBG(L"Granting full access for: '" << record.accountName << L"'");
        return MakeFullAccessItem(record.accountName, record.sid);
    }
    LOG_DBG(L"Querying access for: '" << AuthTokenToString(record.token) << L"'");
    KelNodePtr item = MakeAccessInfoForToken(record.token, permission, record.accountName);
    LOG_DBG2(L"Result access rights info: " << item);
    return item;
}
