// Access-info source: while role-based access control is not in use, every account may view every report.
#pragma once

#include "Common/Components/ComponentObject.h"
#include "Common/Foundation/Mutex.h"
#include "Common/Nodes/KelNodePtr.h"
#include "Common/Nodes/Subscriptions.h"
#include "Interfaces/AccessInfo.h"
#include "Interfaces/ConfigServer.h"
#include "Interfaces/ConfigurableComponent.h"

#include <memory>
#include <vector>

// Follows a boolean attribute of a status node in the host's configuration and asks the updater for an update when it
// flips. A configuration that replaces another starts to count when its subscription stands; until then the earlier one
// goes on.
class CRBACUsageTracker : public CComponentRoot,
                          public IConfigurableComponent,
                          public IAccessInfoSource,
                          public IModifySubscriptionSink
{
public:
    using Interfaces = InterfaceList<IConfigurableComponent, IAccessInfoSource, IModifySubscriptionSink>;
    static constexpr char AliveTag[] = "CComponentObject<class CRBACUsageTracker>::CComponentObject";

    void FinalRelease();

    HRESULT Configure(IKelNode* config) override;
    HRESULT GetAllowedViewers(IKelNode** accessInfo) override;
    HRESULT OnTriggered(IKelModifySubscription* subscription, std::int32_t modifyMask,
                        IKelNodeModifyEnum* modifiedNodes) override;

private:
    // What one configuration watches, and what its subscription has reported.
    struct Watch
    {
        std::wstring statusNodePath;
        std::wstring inUseAttribute;
        std::wstring updaterName;
        // The rest is guarded by the tracker's lock.
        Subscription subscription; // none while it is being made
        KelNodePtr accessInfo;     // none until the first status has been processed
        KelNodePtr replacedInfo;   // what was known when it replaced another watch; none for the first configuration

        const KelNodePtr& KnownInfo() const { return accessInfo ? accessInfo : replacedInfo; }
    };
    using WatchPtr = std::shared_ptr<Watch>;

    WatchPtr PutInForce(const WatchPtr& watch, bool& changed);
    void End(const WatchPtr& watch);
    WatchPtr FindWatch(const IKelModifySubscription* subscription, const GUID& id);
    bool ProcessRbacStatus(Watch& watch, const KelNodePtr& statusNode);
    void AskForUpdate(const Watch& watch);

    Mutex m_lock;                                       // not held while other components are called
    WatchPtr m_watch GUARDED_BY(m_lock);                // in force; none until configured
    std::vector<WatchPtr> m_watches GUARDED_BY(m_lock); // also those of configurations in progress; oldest first
};
