// Gathers the sources' access info, writes the access rights table, tells the consumers.
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
#include "Platform/Process.h"
#include "Subsystems/ManagementService/Common/ReportingSettingsSubscription.h"

#include <atomic>
#include <memory>
#include <optional>

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
    using Subscription = ManagementService::ReportingSettingsSubscription;

    // What the settings manager has delivered.
    struct Connection
    {
        KelNodePtr entry; // the enabled one; none until the first notification
        KelNodePtr root;  // of the entry's tree, without which the entry would lose its path
        // Whether the entry's report server is this computer; nothing until it has been found out.
        std::optional<bool> isLocal;
    };

    struct Consumer
    {
        ComponentPtr<IAccessInfoConsumer> consumer;
        // The entry that it accepted last, none at first; nothing when it refused the last one.
        std::optional<KelNodePtr> told{KelNodePtr()};
    };

    // By both clocks.
    struct Moment
    {
        static Moment Now() { return {SteadyClock::now(), Platform::SystemTime()}; }

        SteadyTime steady{};
        std::uint64_t wallClock = 0; // 0: never
    };

    struct Source
    {
        ComponentPtr<IAccessInfoSource> component;
        KelNodePtr lastAnswer; // the last good one; none without a grace, and when it has run out
        Moment answered;
    };

    // How the cycles have gone.
    struct Health
    {
        unsigned failedCycles = 0; // since the last good one
        SteadyTime firstFailure{};
        Moment lastGood{SteadyClock::now(), 0}; // counted from here when there is none
        bool outOfDateTold = false;
    };

    HRESULT UpdateAction();
    void UploadAccessInfo(bool forceFullSync);
    void OnCommonDBSettingsUpdated(const Subscription& from, std::int32_t settingsType,
                                   const KelNodePtr& connectionSettings);

    void ReadSettings() REQUIRES(m_lock);
    void RegisterConfiguredSources() REQUIRES(m_lock);
    void AddConfiguredConsumers() REQUIRES(m_lock);
    void Subscribe(const ComponentPtr<IReportingSettingsManager>& manager, std::unique_ptr<Subscription>& replaced)
        REQUIRES(m_lock);
    HRESULT TellSettings(std::size_t consumer) REQUIRES(m_lock);
    void TellSettingsWhereDue() REQUIRES(m_lock);
    void UpdateLocality() REQUIRES(m_lock);
    KelNodePtr GatherAccessInfo() REQUIRES(m_lock);
    KelNodePtr AskSource(Source& source) REQUIRES(m_lock);
    KelNodePtr StandInFor(Source& source) REQUIRES(m_lock);
    bool IsRewriteRequired(bool forceFullSync, const KelNodePtr& accessInfo) REQUIRES(m_lock);
    KelNodePtr Rewrite(const KelNodePtr& accessInfo) REQUIRES(m_lock);
    void LogRewrite(const KelNodePtr& written, std::size_t rows) REQUIRES(m_lock);
    void NoteGoodCycle() REQUIRES(m_lock);
    void NoteFailedCycle();
    void TriggerWorker() EXCLUDES(m_workerLock);
    void SetWorkerPeriod(std::chrono::seconds period) EXCLUDES(m_workerLock);

    std::atomic<std::chrono::seconds> m_updateInterval{std::chrono::seconds(300)};
    std::atomic<std::chrono::seconds> m_retryInterval{std::chrono::seconds(120)};

    RecursiveMutex m_lock;
    KelNodePtr m_config GUARDED_BY(m_lock);
    std::chrono::seconds m_forceUpdateInterval GUARDED_BY(m_lock){3600}; // 0: never forced
    std::chrono::seconds m_sourceGrace GUARDED_BY(m_lock){0};
    bool m_keepLocalAccounts GUARDED_BY(m_lock) = false;
    bool m_logChanges GUARDED_BY(m_lock) = false;
    ComponentPtr<IDatabaseConnectionManager> m_connectionManager GUARDED_BY(m_lock);
    Connection m_connection GUARDED_BY(m_lock);
    std::vector<std::shared_ptr<Source>> m_sources GUARDED_BY(m_lock);
    std::vector<Consumer> m_consumers GUARDED_BY(m_lock); // only appended to
    // As stored at the end of the latest complete cycle; none makes the next cycle write.
    KelNodePtr m_previousAccessInfo GUARDED_BY(m_lock);
    SteadyTime m_lastTableWrite GUARDED_BY(m_lock){};
    Health m_health GUARDED_BY(m_lock);

    // The one in force: notifications of others are ignored. Changed by Configure, under m_lock; FinalRelease ends it
    // without the lock, when nobody else has a reference.
    std::unique_ptr<Subscription> m_subscription;

    Mutex m_workerLock; // held for single calls of the worker only
    std::unique_ptr<CAsyncAction>
        m_worker GUARDED_BY(m_workerLock); // last member: its run ends before the rest is destroyed
};
