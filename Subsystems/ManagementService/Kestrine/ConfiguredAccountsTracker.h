// Access-info source: accounts that are named in attributes of the host's configuration.
#pragma once

#include "Common/Components/ComponentObject.h"
#include "Common/Foundation/Guid.h"
#include "Common/Foundation/Mutex.h"
#include "Common/Foundation/SteadyClock.h"
#include "Common/Helpers/AsyncAction.h"
#include "Common/Nodes/KelNodePtr.h"
#include "Interfaces/AccessInfo.h"
#include "Interfaces/ComponentPtr.h"
#include "Interfaces/ConfigServer.h"
#include "Interfaces/ConfigurableComponent.h"
#include "Interfaces/TrackerControl.h"
#include "Subsystems/ManagementService/Kestrine/Sid.h"

#include <map>
#include <memory>
#include <set>

// Notifications collect account texts; the worker resolves them to SIDs, keeps one record for each SID, looks up names,
// mints tokens and asks what they may see. These calls may be slow and run without the lock: on a copy of the table of
// names, which replaces the shared one, and on copies of single records, which are stored back.
class CConfiguredAccountsTracker : public CComponentRoot,
                                   public IConfigurableComponent,
                                   public IAccessInfoSource,
                                   public IModifySubscriptionSink,
                                   public ITrackerControl
{
public:
    using Interfaces =
        InterfaceList<IConfigurableComponent, IAccessInfoSource, IModifySubscriptionSink, ITrackerControl>;
    static constexpr char AliveTag[] = "CComponentObject<class CConfiguredAccountsTracker>::CComponentObject";

    void FinalRelease();

    HRESULT Configure(IKelNode* config) override;
    HRESULT GetAllowedViewers(IKelNode** accessInfo) override;
    HRESULT OnTriggered(IKelModifySubscription* subscription, std::int32_t modifyMask,
                        IKelNodeModifyEnum* modifiedNodes) override;
    HRESULT Stop() override;

private:
    struct Settings
    {
        std::wstring updaterName;
        std::chrono::seconds updateInterval{120};
        std::chrono::seconds forceRefreshInterval{1800}; // largest age of an account name and of a minted token
        std::wstring requiredPermission;                 // empty: full access for every user account
        bool resolveUserGroups = false;
    };

    // What is read of a configuration node.
    struct TrackedAttribute
    {
        std::wstring name;
        std::wstring nodeType; // empty: of any type
        bool recursively = false;
    };

    struct TrackingItem
    {
        ComponentPtr<IKelModifySubscription> subscription;
        TrackedAttribute attribute;
        std::set<std::wstring> accounts; // the texts collected last
    };
    using TrackingItems = std::map<GUID, TrackingItem, GuidLess>; // by subscription identifier
    using ResolvedNames = std::map<std::wstring, CSid>;           // account text -> the last SID known for it

    struct AccountRecord
    {
        CSid sid;
        SID_NAME_USE nameUse = SID_NAME_USE(0);
        std::wstring accountName; // empty until looked up
        SteadyTime nameLookedUp{};
        KelNodePtr token; // none until minted
        SteadyTime tokenMinted{};
        KelNodePtr accessItem;
        SteadyTime accessQueried{};
    };
    using AccountRecords = std::map<std::wstring, AccountRecord>; // by the SID's string form

    static Settings ReadSettings(const KelNodePtr& config, Settings settings);
    void Subscribe(IConfigServerProxy& proxy, const KelNodePtr& item, std::vector<GUID>& added);
    void Activate(const std::vector<GUID>& added);
    void Unsubscribe(IConfigServerProxy& proxy, const std::vector<GUID>& ids);
    std::vector<GUID> SubscriptionIds();
    bool OnDataUpdated(const GUID& id, const KelNodePtr& node);

    void TriggerWorker();
    // The steps of a run of the worker.
    HRESULT UpdateAccessInfo(const CAsyncAction& run);
    void CheckCurrent(const CAsyncAction& run) REQUIRES(m_lock);
    void ResolveNames(const CAsyncAction& run);
    bool RebuildAccountRecords(const CAsyncAction& run);
    bool UpdateAccountRecords(const CAsyncAction& run, const Settings& settings);
    static bool UpdateAccountAccessItem(AccountRecord& record, const Settings& settings);
    static KelNodePtr QueryAccess(const AccountRecord& record, const std::wstring& permission);

    Mutex m_lock;
    Settings m_settings GUARDED_BY(m_lock);
    TrackingItems m_trackingItems GUARDED_BY(m_lock);
    ResolvedNames m_resolvedNames GUARDED_BY(m_lock);
    AccountRecords m_accountRecords GUARDED_BY(m_lock);
    std::unique_ptr<CAsyncAction> m_worker GUARDED_BY(m_lock); // last member: its run ends before the rest goes
};
