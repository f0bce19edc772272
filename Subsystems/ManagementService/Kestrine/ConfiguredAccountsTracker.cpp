#include "Subsystems/ManagementService/Kestrine/ConfiguredAccountsTracker.h"

#include "Common/Components/NamedInstance.h"
#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/ErrorText.h"
#include "Common/ErrorHandling/Operation.h"
#include "Common/Foundation/ScopeGuard.h"
#include "Common/Nodes/Configuration.h"
#include "Common/Nodes/KelNodeLog.h"
#include "Common/Nodes/KelNodesEqual.h"
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
constexpr std::chrono::seconds ReplacementDelay{30}; // the server's time to report what the new items hold

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
    WatchPtr watch;
    {
        const MutexLock lock(m_lock);
        watch = m_watch;
    }
    End(watch);
}

HRESULT CConfiguredAccountsTracker::Configure(IKelNode* config)
{
    // Destroyed when the lock has been released: its run, which is waited for, may be waiting for it.
    std::unique_ptr<CAsyncAction> replacedWorker;

    return Operation(L"CConfiguredAccountsTracker::Configure", [&] {
        CheckPointer(config);
        const KelNodePtr configNode = KelNodePtr::AddRef(config);
        LOG_DBG(L"Config: " << configNode);
        const auto watch = std::make_shared<Watch>();
        {
            const MutexLock lock(m_lock);
            if (m_watch)
                watch->settings = m_watch->settings;
        }
        ReadSettings(configNode, watch->settings);
        const auto proxy = GetNamedInstance<IConfigServerProxy>(ConfigServerProxyName);
        {
            const MutexLock lock(m_lock);
            m_watches.push_back(watch);
        }
        WatchPtr unwanted = watch;
        const ScopeGuard end([&] { End(unwanted); });
        const std::vector<KelNodePtr> items = Configuration::RequiredChild(configNode, L"TrackingItems").GetChildren();
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (items[i].GetNodeType() == L"TrackingItem")
                Configuration::ReadItem(L"TrackingItems", i, [&] { Subscribe(proxy, items[i], *watch); });
        }
        for (const auto& [id, item] : watch->items)
            item.subscription.Activate();
        unwanted = PutInForce(watch, replacedWorker);
        if (replacedWorker)
            replacedWorker->Stop();
    });
}

// Absent seconds keep the value that `settings` brings.
void CConfiguredAccountsTracker::ReadSettings(const KelNodePtr& config, Settings& settings)
{
    settings.updateInterval = Configuration::ReadSeconds(config, L"UpdateIntervalS", settings.updateInterval);
    settings.forceRefreshInterval =
        Configuration::ReadSeconds(config, L"ForceRefreshIntervalS", settings.forceRefreshInterval);
    settings.updaterName = Configuration::RequiredString(config, L"ReportAccessInfoUpdater");
    settings.requiredPermission = Configuration::OptionalString(config, L"RequiredContainerPermission");
    settings.resolveUserGroups = Configuration::ReadBool(config, L"ResolveUserGroups", false);
}

void CConfiguredAccountsTracker::Subscribe(const ComponentPtr<IConfigServerProxy>& proxy, const KelNodePtr& config,
                                           Watch& watch)
{
    const std::wstring path = Configuration::RequiredString(config, L"NodePath");
    TrackedAttribute attribute;
    attribute.name = Configuration::RequiredString(config, L"Attribute");
    attribute.nodeType = Configuration::OptionalString(config, L"NodeType");
    attribute.recursively = Configuration::ReadBool(config, L"Recursively", false);

    Subscription subscription(proxy, MakePathFilter(path, false, attribute.recursively ? WholeSubtree : NodeAlone),
                              MakeSubscribeRequest(SubscribeOptions), this);
    const GUID id = subscription.Id();
    LOG_DBG(L"New subscription: id=" << GuidText(id) << L" path='" << path << L"' attr='" << attribute.name
                                     << L"' type='" << attribute.nodeType << L"' recursive=" << attribute.recursively);
    TrackingItem item{std::move(subscription), std::move(attribute), {}};
    const MutexLock lock(m_lock);
    if (!watch.items.try_emplace(id, std::move(item)).second)
        ThrowHResult(HResultFromWin32(ERROR_ALREADY_EXISTS));
}

// Returns the watch that is replaced, if any.
CConfiguredAccountsTracker::WatchPtr
CConfiguredAccountsTracker::PutInForce(const WatchPtr& watch, std::unique_ptr<CAsyncAction>& replacedWorker)
{
    const Settings& settings = watch->settings;
    const MutexLock lock(m_lock);
    std::chrono::seconds firstDelay = settings.updateInterval;
    if (m_worker && (firstDelay == firstDelay.zero() || firstDelay > ReplacementDelay))
        firstDelay = ReplacementDelay;
    replacedWorker = std::make_unique<CAsyncAction>(
        settings.updateInterval, firstDelay, [this](CAsyncAction& action) { UpdateAccessInfo(action); },
        m_worker.get());
    std::swap(m_worker, replacedWorker);
    if (m_watch) {
        const bool otherGroups = m_watch->settings.resolveUserGroups != settings.resolveUserGroups;
        const bool otherPermission = m_watch->settings.requiredPermission != settings.requiredPermission;
        for (auto& [sid, record] : m_accountRecords) {
            if (otherGroups)
                record.token.Reset();
            record.outdated = record.outdated || otherGroups || otherPermission;
        }
    }
    if (std::any_of(watch->items.begin(), watch->items.end(), [](const auto& i) { return !i.second.accounts.empty(); }))
        m_worker->Trigger();
    return std::exchange(m_watch, watch);
}

// Forgets the watch, which may be none, and ends its subscriptions. The lock is not held while the server, which waits
// for notifications in progress, is called.
void CConfiguredAccountsTracker::End(const WatchPtr& watch)
{
    if (!watch)
        return;
    {
        const MutexLock lock(m_lock);
        std::erase(m_watches, watch);
    }
    for (auto& [id, item] : watch->items)
        item.subscription.End();
}

// The newest item that a notification belongs to, with its watch; null when there is none. A server may use identifiers
// again after a restart.
std::pair<CConfiguredAccountsTracker::WatchPtr, CConfiguredAccountsTracker::TrackingItem*>
CConfiguredAccountsTracker::FindItem(const IKelModifySubscription* subscription, const GUID& id)
{
    const MutexLock lock(m_lock);
    std::pair<WatchPtr, TrackingItem*> same;
    std::pair<WatchPtr, TrackingItem*> sameId;
    for (const WatchPtr& watch : m_watches) {
        for (auto& [itemId, item] : watch->items) {
            if (item.subscription.Is(subscription))
                same = {watch, &item};
            else if (itemId == id)
                sameId = {watch, &item};
        }
    }
    return same.second ? same : sameId;
}

HRESULT CConfiguredAccountsTracker::OnTriggered(IKelModifySubscription* subscription, std::int32_t,
                                                IKelNodeModifyEnum* modifiedNodes)
{
    const ComponentPtr<IModifySubscriptionSink> self(this); // may be the last reference when the call ends
    return Operation(L"CConfiguredAccountsTracker::OnTriggered", [&] {
        CheckPointer(subscription);
        CheckPointer(modifiedNodes);
        GUID id{};
        CheckHResult(subscription->GetId(&id));
        LOG_DBG(L"Subscription triggered: " << GuidText(id));
        const auto [watch, item] = FindItem(subscription, id);
        if (!item)
            return;
        bool changed = false;
        ForEachModifiedNode(modifiedNodes, [&, item = item](const ModifiedNode& record) {
            LOG_DBG(L"ModifyMask: " << record.changesMask);
            changed |= OnDataUpdated(*item, record.node);
        });
        if (!changed)
            return;
        LOG_DBG(L"Data updated");
        const MutexLock lock(m_lock);
        if (watch == m_watch) // what a coming configuration collects counts when it is put in force
            m_worker->Trigger();
    });
}

// Returns whether the texts that the item collects have changed. A record without node holds none.
bool CConfiguredAccountsTracker::OnDataUpdated(TrackingItem& item, const KelNodePtr& node)
{
    TRACE_SCOPE(L"CConfiguredAccountsTracker::OnDataUpdated");
    LOG_DBG2(L"Data: " << node);
    std::set<std::wstring> accounts;
    if (node)
        CollectAccounts(node, item.attribute, accounts);

    const MutexLock lock(m_lock);
    if (item.accounts == accounts)
        return false;
    item.accounts = std::move(accounts);
    return true;
}

HRESULT CConfiguredAccountsTracker::GetAllowedViewers(IKelNode** accessInfo)
{
    return Operation(L"CConfiguredAccountsTracker::GetAllowedViewers", [&] {
        AccessRights::HandOut(accessInfo, [&](const KelNodePtr& list) {
            const MutexLock lock(m_lock);
            for (const auto& entry : m_accountRecords) {
                const KelNodePtr& item = entry.second.accessItem;
                if (!item)
                    continue;
                LOG_DBG(L"Adding access info: " << item);
                list.AddChild(item.Clone(KelnWholeTree));
            }
        });
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
    const auto update = [&] {
        WatchPtr watch;
        {
            const MutexLock lock(m_lock);
            CheckCurrent(run);
            watch = m_watch;
        }
        ResolveNames(run);
        RebuildAccountRecords(run);
        UpdateAccountRecords(run, watch->settings);
        {
            const MutexLock lock(m_lock);
            CheckCurrent(run);
            if (!std::exchange(m_changed, false))
                return;
        }
        CheckHResult(
            GetNamedInstance<IAccessInfoUpdater>(watch->settings.updaterName)->UpdateAccessInfo(nullptr, FALSE));
    };
    return Operation(L"CConfiguredAccountsTracker::UpdateAccessInfo", update, LogSeverity::Dbg);
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
        for (const auto& [id, item] : m_watch->items) {
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

// One record for each SID that a text has resolved to.
void CConfiguredAccountsTracker::RebuildAccountRecords(const CAsyncAction& run)
{
    const MutexLock lock(m_lock);
    CheckCurrent(run);
    AccountRecords records;
    for (const auto& [text, sid] : m_resolvedNames) {
        if (!sid.IsValid() || records.contains(sid.StringForm()))
            continue;
        const auto known = m_accountRecords.find(sid.StringForm());
        m_changed |= known == m_accountRecords.end();
        AccountRecord& record = records[sid.StringForm()];
        if (known != m_accountRecords.end())
            record = known->second;
        else
            record.sid = sid;
    }
    m_changed |= records.size() != m_accountRecords.size();
    m_accountRecords = std::move(records);
}

void CConfiguredAccountsTracker::UpdateAccountRecords(const CAsyncAction& run, const Settings& settings)
{
    MutexLock lock(m_lock);
    CheckCurrent(run);
    // From key to key: the lock does not guard an iterator while it is not held.
    for (auto entry = m_accountRecords.begin(); entry != m_accountRecords.end();) {
        const std::wstring key = entry->first;
        AccountRecord record = entry->second;
        lock.unlock();
        const bool updated = UpdateAccountAccessItem(record, settings);
        lock.lock();
        CheckCurrent(run);
        entry = m_accountRecords.find(key);
        if (updated && entry != m_accountRecords.end()) {
            m_changed = m_changed || !KelNodesEqualOrNone(entry->second.accessItem, record.accessItem, KelCompareAll);
            entry->second = std::move(record);
        }
        entry = m_accountRecords.upper_bound(key);
    }
}

// Renews what is due. Returns whether anything was; what was renewed before a failure stays renewed. A failure costs
// the item only when it was granted under settings that have been replaced.
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
            LOG_DBG(L"Updated: AccountName='" << record.accountName << L"' sid_type="
                                              << static_cast<int>(record.nameUse));
            updated = true;
        }
        if (record.nameUse != Platform::AccountType::User) {
            LOG_DBG(L"Skipping: sid_type=" << static_cast<int>(record.nameUse));
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
        record.outdated = false;
        return true;
    } catch (const HRX& e) {
        LOG_WARN(L"UpdateAccountAccessItem for '" << record.sid.StringForm() << L"' failed: " << e);
        if (!std::exchange(record.outdated, false))
            return updated;
        record.accessItem.Reset();
        return true;
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
