// Access-info source: accounts that are named in attributes of the host's configuration.
#pragma once

#include "Common/Components/ComponentObject.h"
#include "Common/Foundation/Guid.h"
#include "Common/Foundation/Mutex.h"
#include "Common/Foundation/SteadyClock.h"
#include "Common/Helpers/AsyncAction.h"
#include "Common/Nodes/KelNodePtr.h"
#include "Common/Nodes/Subscriptions.h"
#include "Interfaces/AccessInfo.h"
#include "Interfaces/ConfigServer.h"
#include "Interfaces/ConfigurableComponent.h"
#include "Interfaces/TrackerControl.h"
#include "Subsystems/ManagementService/Kestrine/Sid.h"

#include <map>
#include <memory>
#include <set>
#include <vector>

// Notifications collect account texts; the worker resolves them to SIDs, keeps one record for each SID, looks up names,
// mints tokens and asks what they may see. These calls may be slow and run without the lock: on a copy of the table of
// names, which replaces the shared one, and on copies of single records, which are stored back. A configuration that
// replaces another starts to count when all of its subscriptions stand; until then the earlier one stays in force.
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
        Subscription subscription;
        TrackedAttribute attribute;
        std::set<std::wstring> accounts; // the texts collected last; guarded by the tracker's lock
    };

    // What one configuration brings. Once it is in force, only the collected texts change.
    struct Watch
    {
        Settings settings;
        std::map<GUID, TrackingItem, GuidLess> items; // by subscription identifier
    };
    using WatchPtr = std::shared_ptr<Watch>;
    using ResolvedNames = std::map<std::wstring, CSid>; // account text -> the last SID known for it

    struct AccountRecord
    {
        CSid sid;
        Platform::AccountType nameUse{}; // none until the first look-up
        std::wstring accountName;        // empty until looked up
        SteadyTime nameLookedUp{};
        KelNodePtr token; // none until minted
        SteadyTime tokenMinted{};
        KelNodePtr accessItem;
        SteadyTime accessQueried{};
        bool outdated = false; // accessItem was granted under settings that have been replaced
    };
    using AccountRecords = std::map<std::wstring, AccountRecord>; // by the SID's string form

    static void ReadSettings(const KelNodePtr& config, Settings& settings);
    void Subscribe(const ComponentPtr<IConfigServerProxy>& proxy, const KelNodePtr& config, Watch& watch);
    WatchPtr PutInForce(const WatchPtr& watch, std::unique_ptr<CAsyncAction>& replacedWorker);
    void End(const WatchPtr& watch);
    std::pair<WatchPtr, TrackingItem*> FindItem(const IKelModifySubscription* subscription, const GUID& id);
    bool OnDataUpdated(TrackingItem& item, const KelNodePtr& node);

    // The steps of a run of the worker.
    HRESULT UpdateAccessInfo(const CAsyncAction& run);
    void CheckCurrent(const CAsyncAction& run) REQUIRES(m_lock);
    void ResolveNames(const CAsyncAction& run);
    void RebuildAccountRecords(const CAsyncAction& run);
    void UpdateAccountRecords(const CAsyncAction& run, const Settings& settings);
    static bool UpdateAccountAccessItem(AccountRecord& record, const Settings& settings);
    static KelNodePtr QueryAccess(const AccountRecord& record, const std::wstring& permission);

    Mutex m_lock;
    WatchPtr m_watch GUARDED_BY(m_lock);                // in force; none until configured
    std::vector<WatchPtr> m_watches GUARDED_BY(m_lock); // also those of configurations in progress; oldest first
    ResolvedNames m_resolvedNames GUARDED_BY(m_lock);
    AccountRecords m_accountRecords GUARDED_BY(m_lock);
    bool m_changed GUARDED_BY(m_lock) = false; // since the updater was notified, also by a run that has given up
    std::unique_ptr<CAsyncAction> m_worker GUARDED_BY(m_lock); // last member: its run ends before the rest is destroyed
};
