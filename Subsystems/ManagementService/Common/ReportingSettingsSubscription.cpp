#include "Subsystems/ManagementService/Common/ReportingSettingsSubscription.h"

#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/HResult.h"
#include "Platform/Threads.h"

#include <mutex>
#include <shared_mutex>

namespace ManagementService
{

// What the sink holds instead of the callback itself, so that it can be taken from it.
struct ReportingSettingsSubscription::Link
{
    Platform::SharedMutex lock; // shared by notifications, exclusive for changes
    Callback callback;          // empty outside the subscription
};

namespace
{

ComponentPtr<IReportingSettingsModifySink> MakeSink(CReportingSettingsModifySink::Callback callback)
{
    using Sink = CComponentObject<CReportingSettingsModifySink>;
    Sink* created = nullptr;
    CheckHResult(Sink::CreateInstance(&created, std::move(callback)));
    const auto object = ComponentPtr<Sink>::Attach(created);
    ComponentPtr<IReportingSettingsModifySink> sink;
    CheckHResult(object->QueryInterface(IReportingSettingsModifySink::Iid, sink.OutVoid()));
    return sink;
}

} // namespace

ReportingSettingsSubscription::ReportingSettingsSubscription(ComponentPtr<IReportingSettingsManager> manager)
    : m_manager(std::move(manager)), m_link(std::make_shared<Link>())
{}

void ReportingSettingsSubscription::Begin(std::int32_t settingsType, Callback callback)
{
    const auto sink = MakeSink([link = m_link](std::int32_t type, std::int32_t value, const KelNodePtr& settings) {
        const std::shared_lock lock(link->lock);
        if (link->callback)
            link->callback(type, value, settings);
    });
    m_link->callback = std::move(callback); // nobody else has the sink yet
    KelNodePtr handle;
    CheckHResult(m_manager->Subscribe(settingsType, sink.Get(), handle.Out()));
    CheckPointer(handle.Get());
    m_handle = std::move(handle);
}

void ReportingSettingsSubscription::End() noexcept
{
    if (const KelNodePtr handle = std::move(m_handle)) {
        try {
            m_manager->Unsubscribe(handle.Get());
        } catch (...) {
            LOG_ERR(L"Unsubscribing from the reporting settings manager failed: it threw an exception");
        }
    }
    const std::unique_lock cut(m_link->lock);
    m_link->callback = nullptr;
}

} // namespace ManagementService
