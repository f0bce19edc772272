// The reporting settings manager of the reference host.
#pragma once

#include "Host/Components/Component.h"
#include "Host/Components/DeliveryThread.h"
#include "Host/Components/NodeAccess.h"
#include "Interfaces/ReportingSettings.h"

#include <memory>
#include <mutex>
#include <vector>

namespace Host
{

// Knows settings of type 1, the database connection settings. Sinks are called one at a time, in order, on one thread
// of the manager's own, with no lock held; they get a node of their own. A new subscription is notified of the current
// settings first, when there are any.
class ReportingSettingsManager final : public Component<IReportingSettingsManager>
{
public:
    ReportingSettingsManager() = default;

    HRESULT UnusedSlot3() override { return E_NOTIMPL; }
    HRESULT UnusedSlot4() override { return E_NOTIMPL; }
    HRESULT UnusedSlot5() override { return E_NOTIMPL; }

    // E_INVALIDARG for a type other than 1.
    HRESULT Subscribe(std::int32_t settingsType, IReportingSettingsModifySink* sink, IKelNode** subscription) override;

    // Waits for a notification in progress, except on the notifying thread, and releases the sink.
    // HResultFromWin32(ERROR_NOT_FOUND) for what is no live subscription.
    HRESULT Unsubscribe(IKelNode* subscription) override;

    // For the host program; any thread. `settings` is copied: its children are the connection-settings entries.
    void SetSettings(IKelNode* settings);
    void WaitUntilDelivered() { m_deliveries.WaitUntilDelivered(); }
    std::size_t LiveSubscriptions() const;
    FailureCount Failures() const { return m_deliveries.Failures(); }

private:
    struct Subscriber
    {
        NodeHandle handle;
        ComponentPtr<IReportingSettingsModifySink> sink;
    };

    void Post(const Subscriber& subscriber);

    mutable std::mutex m_lock;
    NodeHandle m_settings;                 // m_lock
    std::vector<Subscriber> m_subscribers; // m_lock
    DeliveryThread m_deliveries;
};

} // namespace Host
