// The reporting settings manager of the reference host.
#pragma once

#include "Host/Components/DeliveryThread.h"
#include "Host/Components/NodeHandle.h"
#include "Interfaces/Component.h"
#include "Interfaces/ReportingSettings.h"

#include <algorithm>

namespace Host
{

// Knows settings of type 1, the database connection settings. Sinks are called one at a time, in order, on one thread
// of the manager's own, with no lock held; they get a node of their own. A new subscription is notified of the current
// settings first, when there are any.
class ReportingSettingsManager final : public Component<IReportingSettingsManager>
{
public:
    ReportingSettingsManager() = default;

    // E_INVALIDARG for a type other than 1.
    HRESULT Subscribe(std::int32_t settingsType, IReportingSettingsModifySink* sink, IKelNode** subscription) override
    {
        return Boundary([=, this] {
            Refuse.IfNull(L"sink, or place for the subscription", sink, subscription);
            if (settingsType != ConnectionSettings)
                Refuse(E_INVALIDARG, L"unknown settings type " + std::to_wstring(settingsType) +
                                         L", expected 1 (connection settings)");
            NodeHandle handle = NodeHandle::Create(L"ReportingSettingsSubscription", nullptr);
            NodeHandle handedOut = handle.Share();
            const std::lock_guard guard(m_lock);
            m_subscribers.push_back({std::move(handle), ComponentPtr<IReportingSettingsModifySink>(sink)});
            if (m_settings)
                Post(m_subscribers.back());
            *subscription = handedOut.Detach();
        });
    }

    // Waits for a notification in progress, except on the notifying thread, and releases the sink.
    // HResultFromWin32(ERROR_NOT_FOUND) for what is no live subscription.
    HRESULT Unsubscribe(IKelNode* subscription) override
    {
        return Boundary([=, this] {
            Subscriber ended; // released when the lock has been left
            {
                const std::lock_guard guard(m_lock);
                const auto found =
                    std::find_if(m_subscribers.begin(), m_subscribers.end(),
                                 [=](const Subscriber& each) { return each.handle.Get() == subscription; });
                if (found == m_subscribers.end())
                    Refuse(HResultFromWin32(ERROR_NOT_FOUND), L"there is no such subscription");
                ended = std::move(*found);
                m_subscribers.erase(found);
            }
            m_deliveries.Cancel(subscription);
        });
    }

    // For the host program; any thread. `settings` is copied: its children are the connection-settings entries.
    void SetSettings(IKelNode* settings)
    {
        NodeHandle copy = NodeHandle::Share(settings).Clone(KelnWholeTree);
        const std::lock_guard guard(m_lock);
        m_settings = std::move(copy);
        for (const Subscriber& subscriber : m_subscribers)
            Post(subscriber);
    }

    void WaitUntilDelivered() { m_deliveries.WaitUntilDelivered(); }
    FailureCount Failures() const { return m_deliveries.Failures(); }

private:
    static constexpr std::int32_t ConnectionSettings = 1;
    static constexpr Refusal Refuse{L"Reporting settings manager"};

    struct Subscriber
    {
        NodeHandle handle;
        ComponentPtr<IReportingSettingsModifySink> sink;
    };

    void Post(const Subscriber& subscriber)
    {
        const auto settings = std::make_shared<const NodeHandle>(m_settings.Clone(KelnWholeTree));
        m_deliveries.Post(subscriber.handle.Get(), [sink = subscriber.sink, settings] {
            return sink->OnModified(ConnectionSettings, 0, settings->Get());
        });
    }

    std::mutex m_lock;
    NodeHandle m_settings;                 // m_lock
    std::vector<Subscriber> m_subscribers; // m_lock
    DeliveryThread m_deliveries;
};

} // namespace Host
