// The hub of the module: gathers the sources' access info, writes the access rights table, tells the consumers.
#pragma once

#include "Common/Components/ComponentObject.h"
#include "Common/Foundation/Mutex.h"
#include "Common/Foundation/SteadyClock.h"
#include "Common/Helpers/AsyncAction.h"
#include "Common/Nodes/KelNodePtr.h"
#include "Interfaces/AccessInfo.h"
#include "Interfaces/ComponentPtr.h"
#include "Interfaces/ConfigurableComponent.h"
#include "Interfaces/ReportingDatabase.h"
#include "Interfaces/ReportingSettings.h"

#include <atomic>
#include <memory>

// One recursive lock serialises everything: a cycle holds it throughout, also while it calls sources and consumers, and
// leaves it only for the look-up whether the report server is this computer. `UpdateAccessInfo` without waiting takes
// the worker's lock only, so that a source may call it while it holds its own lock. Order: this lock, a source's or
// consumer's lock, the worker's.
class CReportAccessInfoUpdater : public CComponentRoot, public IConfigurableComponent, public IAccessInfoUpdater
{
public:
    using Interfaces = InterfaceList<IConfigurableComponent, IAccessInfoUpdater>;
    static constexpr char AliveTag[] = "CComponentObject<class CReportAccessInfoUpdater>::CComponentObject";

    void FinalRelease();

    HRESULT Configure(IKelNode* config) override;
    HRESULT RegisterAccessInfoSource(IAccessInfoSource* source) override;
    HRESULT UnregisterAccessInfoSource(IAccessInfoSource* source) override;
    HRESULT UpdateAccessInfo(IAccessInfoSource* source, BOOL wait) override;

private:
    // A subscription with the reporting settings manager; unsubscribes when it goes.
    class SettingsSubscription
    {
    public:
        SettingsSubscription() = default;
        SettingsSubscription(ComponentPtr<IReportingSettingsManager> manager, IReportingSettingsModifySink* sink);
        SettingsSubscription(SettingsSubscription&& other) noexcept { *this = std::move(other); }
        SettingsSubscription& operator=(SettingsSubscription&& other) noexcept
        {
            std::swap(m_manager, other.m_manager);
            std::swap(m_handle, other.m_handle);
            return *this;
        }
        ~SettingsSubscription();

    private:
        ComponentPtr<IReportingSettingsManager> m_manager;
        KelNodePtr m_handle;
    };

    // What the sink's callback holds instead of a reference: the updater, until its release.
    struct SinkLink
    {
        explicit SinkLink(CReportAccessInfoUpdater* owner) : updater(owner) {}

        Native::SharedMutex lock; // shared by notifications, exclusive for cutting the link
        CReportAccessInfoUpdater* updater;
    };

    HRESULT UpdateAction();
    void UploadAccessInfo(bool forceFullSync);
    void OnCommonDBSettingsUpdated(std::int32_t settingsType, const KelNodePtr& connectionSettings);

    ComponentPtr<IReportingSettingsModifySink> MakeSink();
    void RegisterConfiguredSources() REQUIRES(m_lock);
    void AddConfiguredConsumers() REQUIRES(m_lock);
    void UpdateLocality() REQUIRES(m_lock);
    KelNodePtr GatherAccessInfo() REQUIRES(m_lock);
    bool IsRewriteRequired(bool forceFullSync, const KelNodePtr& accessInfo) REQUIRES(m_lock);
    KelNodePtr Rewrite(const KelNodePtr& accessInfo) REQUIRES(m_lock);
    void TriggerWorker() EXCLUDES(m_workerLock);
    void SetWorkerPeriod(std::chrono::seconds period) EXCLUDES(m_workerLock);

    std::atomic<std::chrono::seconds> m_updateInterval{std::chrono::seconds(300)};
    std::atomic<std::chrono::seconds> m_retryInterval{std::chrono::seconds(120)};

    RecursiveMutex m_lock;
    KelNodePtr m_config GUARDED_BY(m_lock);
    std::chrono::seconds m_forceUpdateInterval GUARDED_BY(m_lock){3600}; // 0: never forced
    bool m_keepLocalAccounts GUARDED_BY(m_lock) = false;
    ComponentPtr<IReportingSettingsManager> m_settingsManager GUARDED_BY(m_lock);
    ComponentPtr<IDatabaseConnectionManager> m_connectionManager GUARDED_BY(m_lock);
    KelNodePtr m_connectionSettings GUARDED_BY(m_lock); // the enabled entry; none until the first notification
    bool m_reportServerIsLocal GUARDED_BY(m_lock) = false;
    bool m_localityKnown GUARDED_BY(m_lock) = false; // for the current connection settings
    std::vector<ComponentPtr<IAccessInfoSource>> m_sources GUARDED_BY(m_lock);
    std::vector<ComponentPtr<IAccessInfoConsumer>> m_consumers GUARDED_BY(m_lock);
    KelNodePtr m_previousAccessInfo GUARDED_BY(m_lock); // as stored at the end of the latest complete cycle
    SteadyTime m_lastTableWrite GUARDED_BY(m_lock){};

    // Of Configure, under m_lock, and of FinalRelease, when nobody else has a reference.
    SettingsSubscription m_settingsSubscription;
    const std::shared_ptr<SinkLink> m_sinkLink = std::make_shared<SinkLink>(this);

    Mutex m_workerLock;                                              // held for single calls of the worker only
    std::unique_ptr<CAsyncAction> m_worker GUARDED_BY(m_workerLock); // last member: its run ends before the rest goes
};
