#include "Subsystems/ManagementService/Kestrine/RBACUsageTracker.h"

#include "Common/Components/NamedInstance.h"
#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/Operation.h"
#include "Common/Foundation/ScopeGuard.h"
#include "Common/Nodes/Configuration.h"
#include "Common/Nodes/KelNodeLog.h"
#include "Common/Nodes/KelNodesEqual.h"
#include "Common/Nodes/Subscriptions.h"
#include "Subsystems/ManagementService/Kestrine/AccessRightsItem.h"

namespace
{

constexpr std::int32_t SubscribeOptions = 3;
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
    Boundary(L"CRBACUsageTracker::FinalRelease", [&] {
        ComponentPtr<IKelModifySubscription> subscription;
        {
            const MutexLock lock(m_lock);
            subscription = std::move(m_subscription);
        }
        if (!subscription)
            return;
        if (const auto proxy = TryGetNamedInstance<IConfigServerProxy>(ConfigServerProxyName))
            proxy->Unsubscribe(subscription.Get());
    });
}

HRESULT CRBACUsageTracker::Configure(IKelNode* config)
{
    return Operation(L"CRBACUsageTracker::Configure", [&] {
        CheckPointer(config);
        const KelNodePtr configNode = KelNodePtr::AddRef(config);
        LOG_DBG(L"Config: " << configNode);
        const std::wstring updaterName = Configuration::RequiredString(configNode, L"ReportAccessInfoUpdater");
        const std::wstring statusNodePath = Configuration::RequiredString(configNode, L"RBACStatusNodePath");
        const std::wstring inUseAttribute = Configuration::RequiredString(configNode, L"RBACIsInUseAttribute");

        const auto proxy = GetNamedInstance<IConfigServerProxy>(ConfigServerProxyName);
        // In place before the subscription: the first notification may come at once.
        Settings replacedSettings = ExchangeSettings({statusNodePath, inUseAttribute, updaterName});
        ScopeGuard restoreSettings([&] { ExchangeSettings(std::move(replacedSettings)); });
        ComponentPtr<IKelModifySubscription> subscription;
        const ScopeGuard unsubscribe([&] {
            if (subscription)
                proxy->Unsubscribe(subscription.Get());
        });
        CheckHResult(proxy->Subscribe(MakePathFilter(statusNodePath, false, StatusNodeOnly).Get(),
                                      MakeSubscribeRequest(SubscribeOptions).Get(), this, subscription.Out()));
        CheckHResult(subscription->Activate());
        restoreSettings.Disarm();
        // From here on the guard is for the subscription of an earlier configuration.
        const MutexLock lock(m_lock);
        std::swap(subscription, m_subscription);
    });
}

CRBACUsageTracker::Settings CRBACUsageTracker::ExchangeSettings(Settings settings)
{
    const MutexLock lock(m_lock);
    return std::exchange(m_settings, std::move(settings));
}

CRBACUsageTracker::Settings CRBACUsageTracker::CopySettings()
{
    const MutexLock lock(m_lock);
    return m_settings;
}

HRESULT CRBACUsageTracker::OnTriggered(IKelModifySubscription* subscription, std::int32_t,
                                       IKelNodeModifyEnum* modifiedNodes)
{
    return Operation(L"CRBACUsageTracker::OnTriggered", [&] {
        CheckPointer(subscription);
        CheckPointer(modifiedNodes);
        GUID id{};
        CheckHResult(subscription->GetId(&id));
        const Settings settings = CopySettings();
        LOG_DBG(L"Subscription triggered for: " << settings.statusNodePath);
        bool changed = false;
        ForEachModifiedNode(modifiedNodes, [&](const ModifiedNode& record) {
            LOG_DBG(L"ModifyMask: " << record.changesMask);
            changed |= ProcessRbacStatus(record.node, settings.inUseAttribute);
        });
        if (changed)
            CheckHResult(GetNamedInstance<IAccessInfoUpdater>(settings.updaterName)->UpdateAccessInfo(this, FALSE));
    });
}

// Returns whether the contributed info has changed. The first status is stored without telling: the updater's own
// schedule picks it up.
bool CRBACUsageTracker::ProcessRbacStatus(const KelNodePtr& statusNode, const std::wstring& inUseAttribute)
{
    LOG_DBG(L"Processing rbac status: " << statusNode);
    // Without a status, with the node gone too, nobody gets everything.
    bool inUse = true;
    if (statusNode)
        statusNode.TryGetBool(inUseAttribute.c_str(), inUse);
    const KelNodePtr accessInfo = AccessRights::MakeList();
    if (!inUse)
        accessInfo.AddChild(MakeWildcardItem());

    const MutexLock lock(m_lock);
    const bool first = !m_accessInfo;
    if (!first && KelNodesEqual(accessInfo, m_accessInfo, KelIgnoreIdentity))
        return false;
    LOG_DBG((first ? L"Creating AccessInfo: " : L"Updating AccessInfo: ") << accessInfo);
    m_accessInfo = accessInfo;
    return !first;
}

HRESULT CRBACUsageTracker::GetAllowedViewers(IKelNode** accessInfo)
{
    return Operation(L"CRBACUsageTracker::GetAllowedViewers", [&] {
        CheckPointer(accessInfo);
        KelNodePtr result = *accessInfo ? KelNodePtr::AddRef(*accessInfo) : AccessRights::MakeList();
        {
            const MutexLock lock(m_lock);
            if (m_accessInfo) {
                for (const KelNodePtr& item : m_accessInfo.GetChildren()) {
                    LOG_DBG(L"Adding access info: " << item);
                    result.AddChild(item.Clone(KelnWholeTree));
                }
            }
        }
        if (!*accessInfo)
            *accessInfo = result.Detach();
    });
}
