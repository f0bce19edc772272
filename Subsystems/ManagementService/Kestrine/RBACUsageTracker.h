// Access-info source: while role-based access control is not in use, every account may view every report.
#pragma once

#include "Common/Components/ComponentObject.h"
#include "Common/Foundation/Mutex.h"
#include "Common/Nodes/KelNodePtr.h"
#include "Interfaces/AccessInfo.h"
#include "Interfaces/ComponentPtr.h"
#include "Interfaces/ConfigServer.h"
#include "Interfaces/ConfigurableComponent.h"

// Follows a boolean attribute of a status node in the host's configuration and asks the updater for an update when it
// flips.
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
    struct Settings
    {
        std::wstring statusNodePath;
        std::wstring inUseAttribute;
        std::wstring updaterName;
    };

    Settings ExchangeSettings(Settings settings);
    Settings CopySettings();
    bool ProcessRbacStatus(const KelNodePtr& statusNode, const std::wstring& inUseAttribute);

    Mutex m_lock; // not held while other components are called
    Settings m_settings GUARDED_BY(m_lock);
    ComponentPtr<IKelModifySubscription> m_subscription GUARDED_BY(m_lock);
    KelNodePtr m_accessInfo GUARDED_BY(m_lock); // none until the first status has been processed
};
