#include "Subsystems/ManagementService/Kestrine/RBACUsageTracker.h"

#include "Common/Components/NamedInstance.h"
#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/ErrorText.h"
#include "Common/ErrorHandling/Operation.h"
#include "Common/Foundation/ScopeGuard.h"
#include "Common/Nodes/Configuration.h"
#include "Common/Nodes/KelNodeLog.h"
#include "Common/Nodes/KelNodesEqual.h"
#include "Subsystems/ManagementService/Kestrine/AccessRightsItem.h"

namespace
{

constexpr std::int32_t StatusSubscribeOptions = 3;
constexpr std::int64_t StatusNodeOnly = 0;

// Stands for every account and every object.
KelNodePtr MakeWildcardItem()
{
    KelNodePtr item = AccessRights::MakeItem();
    item.SetEmpty(AccessRights::LogonName);
    return item;
}

} // namespace

void CRBACUsageTracker::FinalRelease()
{
    // The configuration server holds no reference to its sinks: the subscription must end before the object does.
    WatchPtr watch;
    {
        const MutexLock lock(m_lock);
        watch = m_watch;
    }
    End(watch);
}

HRESULT CRBACUsageTracker::Configure(IKelNode* config)
{
    return Operation(L"CRBACUsageTracker::Configure", [&] {
        CheckPointer(config);
        const KelNodePtr configNode = KelNodePtr::AddRef(config);
        LOG_DBG(L"Config: " << configNode);
        const auto watch = std::make_shared<Watch>();
        watch->updaterName = Configuration::RequiredString(configNode, L"ReportAccessInfoUpdater");
        watch->statusNodePath = Configuration::RequiredString(configNode, L"RBACStatusNodePath");
        watch->inUseAttribute = Configuration::RequiredString(configNode, L"RBACIsInUseAttribute");

        const auto proxy = GetNamedInstance<IConfigServerProxy>(ConfigServerProxyName);
        {
            // Known before the subscription is made: the first notification may come at once.
            const MutexLock lock(m_lock);
            m_watches.push_back(watch);
        }
        WatchPtr unwanted = watch;
        const ScopeGuard end([&] { End(unwanted); });
        Subscription subscription(proxy, MakePathFilter(watch->statusNodePath, false, StatusNodeOnly),
                                  MakeSubscribeRequest(StatusSubscribeOptions), this);
        {
            const MutexLock lock(m_lock);
            watch->subscription = std::move(subscription);
        }
        watch->subscription.Activate();
        bool changed = false;
        unwanted = PutInForce(watch, changed);
        if (!changed)
            return;
        try {
            AskForUpdate(*watch);
        } catch (const HRX& e) {
            LOG_WARN(L"UpdateAccessInfo failed: " << e); // the configuration stands nevertheless
        }
    });
}

// Returns the watch that is replaced, if any. `changed`: what the new one has reported is not what was known before.
CRBACUsageTracker::WatchPtr CRBACUsageTracker::PutInForce(const WatchPtr& watch, bool& changed)
{
    const MutexLock lock(m_lock);
    if (m_watch) {
        watch->replacedInfo = m_watch->KnownInfo() ? m_watch->KnownInfo() : AccessRights::MakeList();
        changed = watch->accessInfo && !KelNodesEqual(watch->accessInfo, watch->replacedInfo, KelIgnoreIdentity);
    }
    return std::exchange(m_watch, watch);
}

// Forgets the watch, which may be none, and ends its subscription. The lock is not held while the server, which waits
// for notifications in progress, is called.
void CRBACUsageTracker::End(const WatchPtr& watch)
{
    if (!watch)
        return;
    {
        const MutexLock lock(m_lock);
        std::erase(m_watches, watch);
    }
    watch->subscription.End();
}

// The newest watch that a notification can belong to; none when its own has been replaced. A server may use identifiers
// again after a restart, and may notify before it has handed out the subscription.
CRBACUsageTracker::WatchPtr CRBACUsageTracker::FindWatch(const IKelModifySubscription* subscription, const GUID& id)
{
    const MutexLock lock(m_lock);
    WatchPtr same;
    WatchPtr sameId;
    WatchPtr beingMade;
    for (const WatchPtr& watch : m_watches) {
        if (!watch->subscription)
            beingMade = watch;
        else if (watch->subscription.Is(subscription))
            same = watch;
        else if (watch->subscription.Id() == id)
            sameId = watch;
    }
    return same ? same : sameId ? sameId : beingMade;
}

HRESULT CRBACUsageTracker::OnTriggered(IKelModifySubscription* subscription, std::int32_t,
                                       IKelNodeModifyEnum* modifiedNodes)
{
    const ComponentPtr<IModifySubscriptionSink> self(this); // may be the last reference when the call ends
    return Operation(L"CRBACUsageTracker::OnTriggered", [&] {
        CheckPointer(subscription);
        CheckPointer(modifiedNodes);
        GUID id{};
        CheckHResult(subscription->GetId(&id));
        const WatchPtr watch = FindWatch(subscription, id);
        if (!watch)
            return;
        LOG_DBG(L"Subscription triggered for: " << watch->statusNodePath);
        bool changed = false;
        ForEachModifiedNode(modifiedNodes, [&](const ModifiedNode& record) {
            LOG_DBG(L"ModifyMask: " << record.changesMask);
            changed |= ProcessRbacStatus(*watch, record.node);
        });
        if (changed)
            AskForUpdate(*watch);
    });
}

void CRBACUsageTracker::AskForUpdate(const Watch& watch)
{
    CheckHResult(GetNamedInstance<IAccessInfoUpdater>(watch.updaterName)->UpdateAccessInfo(this, FALSE));
}

// Returns whether the contributed info has changed. The first status of all is stored without asking for an update: the
// updater's own schedule picks it up. What comes before the watch is in force counts when it is put in force.
bool CRBACUsageTracker::ProcessRbacStatus(Watch& watch, const KelNodePtr& statusNode)
{
    LOG_DBG(L"Processing rbac status: " << statusNode);
    // Without a status, also when the node was removed, nobody gets everything.
    bool inUse = true;
    if (statusNode)
        statusNode.TryGetBool(watch.inUseAttribute.c_str(), inUse);
    const KelNodePtr accessInfo = AccessRights::MakeList();
    if (!inUse)
        accessInfo.AddChild(MakeWildcardItem());

    const MutexLock lock(m_lock);
    const KelNodePtr known = watch.KnownInfo();
    // Before the first status of a configuration an update may have taken the item of the replaced one out of the
    // table.
    const bool mayBeMissing = !inUse && !watch.accessInfo;
    const bool changed = mayBeMissing || !known || !KelNodesEqual(accessInfo, known, KelIgnoreIdentity);
    if (watch.accessInfo && !changed)
        return false;
    LOG_DBG((watch.accessInfo ? L"Updating AccessInfo: " : L"Creating AccessInfo: ") << accessInfo);
    watch.accessInfo = accessInfo;
    return changed && known && m_watch.get() == &watch;
}

HRESULT CRBACUsageTracker::GetAllowedViewers(IKelNode** accessInfo)
{
    return Operation(L"CRBACUsageTracker::GetAllowedViewers", [&] {
        AccessRights::HandOut(accessInfo, [&](const KelNodePtr& list) {
            const MutexLock lock(m_lock);
            if (!m_watch || !m_watch->accessInfo)
                return;
            for (const KelNodePtr& item : m_watch->accessInfo.GetChildren()) {
                LOG_DBG(L"Adding access info: " << item);
                list.AddChild(item.Clone(KelnWholeTree));
            }
        });
    });
}
