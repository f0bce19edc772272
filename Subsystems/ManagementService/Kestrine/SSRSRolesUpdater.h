// Access-info consumer: asks for the report server's Browser role for every account that may view reports.
#pragma once

#include "Common/Components/ComponentObject.h"
#include "Common/Foundation/Mutex.h"
#include "Common/Foundation/SteadyClock.h"
#include "Common/Helpers/AsyncAction.h"
#include "Common/Nodes/KelNodePtr.h"
#include "Interfaces/AccessInfo.h"
#include "Interfaces/ComponentPtr.h"
#include "Interfaces/ConfigurableComponent.h"
#include "Interfaces/RequestService.h"

#include <atomic>
#include <map>
#include <memory>

// Requests are sent by the worker, without the lock, in the order of the last attempts; an account that failed is due
// again after the retry interval. New settings make every account a new one.
class CSSRSRolesUpdater : public CComponentRoot, public IConfigurableComponent, public IAccessInfoConsumer
{
public:
    using Interfaces = InterfaceList<IConfigurableComponent, IAccessInfoConsumer>;
    static constexpr char AliveTag[] = "CComponentObject<class CSSRSRolesUpdater>::CComponentObject";

    HRESULT Configure(IKelNode* config) override;
    HRESULT OnReportingSettingsUpdated(IKelNode* settings) override;
    HRESULT OnAccessInfoUpdated(IKelNode* accessInfo) override;

private:
    // Shared, so that a run can go on with a record that the map has meanwhile dropped.
    struct AccountRecord
    {
        explicit AccountRecord(std::wstring logonName) : name(std::move(logonName)) {}

        const std::wstring name;
        // Written by the worker only.
        std::atomic<SteadyTime> lastAttempt{SteadyTime{}};
        std::atomic<bool> processed{false};
    };
    using AccountPtr = std::shared_ptr<AccountRecord>;

    void UpdateAction(CAsyncAction& action);
    void CheckCurrent(const CAsyncAction& action);
    std::vector<AccountPtr> CollectUnprocessed();
    void ProcessAccount(IRequestService& proxy, AccountRecord& record);
    KelNodePtr TemplateIfDue(const AccountRecord& record);
    bool UpdateRequestTemplate(const KelNodePtr& settings);

    RecursiveMutex m_lock; // not held while requests are sent
    std::chrono::seconds m_updateInterval GUARDED_BY(m_lock){300};
    std::chrono::seconds m_retryInterval GUARDED_BY(m_lock){600};
    KelNodePtr m_requestTemplate GUARDED_BY(m_lock); // none until usable settings arrive
    std::map<std::wstring, AccountPtr> m_accounts GUARDED_BY(m_lock);
    std::unique_ptr<CAsyncAction> m_worker GUARDED_BY(m_lock); // last member: its run ends before the rest is destroyed
};
