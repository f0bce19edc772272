// A subscription with the reporting settings manager and the sink that stands behind it.
#pragma once

#include "Common/Nodes/KelNodePtr.h"
#include "Interfaces/ComponentPtr.h"
#include "Subsystems/ManagementService/Common/ReportingSettingsModifySink.h"

#include <memory>

namespace ManagementService
{

// Not synchronised. Must not be ended by its own callback.
class ReportingSettingsSubscription
{
public:
    using Callback = CReportingSettingsModifySink::Callback;

    explicit ReportingSettingsSubscription(ComponentPtr<IReportingSettingsManager> manager);
    ~ReportingSettingsSubscription() { End(); }
    ReportingSettingsSubscription(const ReportingSettingsSubscription&) = delete;
    ReportingSettingsSubscription& operator=(const ReportingSettingsSubscription&) = delete;

    // Subscribes a sink that forwards to the callback, which the manager may already call inside. Throws HRX with the
    // manager's result, E_POINTER when it gives no handle.
    void Begin(std::int32_t settingsType, Callback callback);

    // Unsubscribes. Waits for a notification in progress; the callback is not called any more, even when the manager
    // keeps the sink.
    void End() noexcept;

    const ComponentPtr<IReportingSettingsManager>& Manager() const { return m_manager; }

private:
    struct Link;

    const ComponentPtr<IReportingSettingsManager> m_manager;
    const std::shared_ptr<Link> m_link;
    KelNodePtr m_handle;
};

} // namespace ManagementService
