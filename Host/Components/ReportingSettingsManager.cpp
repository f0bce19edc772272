#include "Host/Components/ReportingSettingsManager.h"

#include "Host/Support/Failure.h"

#include <algorithm>

namespace Host
{

namespace
{

constexpr std::int32_t ConnectionSettings = 1;

constexpr Refusal Refuse{L"Reporting settings manager"};

} // namespace

HRESULT ReportingSettingsManager::Subscribe(std::int32_t settingsType, IReportingSettingsModifySink* sink,
                                            IKelNode** subscription)
{
    return Boundary([=, this] {
        if (!sink || !subscription)
            Refuse(E_POINTER, L"Subscribe needs a sink and a place for the subscription");
        if (settingsType != ConnectionSettings)
            Refuse(E_INVALIDARG,
                   L"unknown settings type " + std::to_wstring(settingsType) + L", expected 1 (connection settings)");
        NodeHandle handle = CreateNode(L"ReportingSettingsSubscription", nullptr);
        NodeHandle handedOut = ShareNode(handle.Get());
        const std::lock_guard guard(m_lock);
        m_subscribers.push_back({std::move(handle), ComponentPtr<IReportingSettingsModifySink>(sink)});
        if (m_settings)
            Post(m_subscribers.back());
        *subscription = handedOut.Detach();
        return S_OK;
    });
}

HRESULT ReportingSettingsManager::Unsubscribe(IKelNode* subscription)
{
    return Boundary([=, this] {
        Subscriber ended; // released when the lock has been left
        {
            const std::lock_guard guard(m_lock);
            const auto found = std::find_if(m_subscribers.begin(), m_subscribers.end(),
                                            [=](const Subscriber& each) { return each.handle.Get() == subscription; });
            if (found == m_subscribers.end())
                Refuse(HResultFromWin32(ERROR_NOT_FOUND), L"there is no such subscription");
            ended = std::move(*found);
            m_subscribers.erase(found);
        }
        m_deliveries.Cancel(subscription);
        return S_OK;
    });
}

void ReportingSettingsManager::SetSettings(IKelNode* settings)
{
    NodeHandle copy = CloneNode(settings, KelnWholeTree);
    const std::lock_guard guard(m_lock);
    m_settings = std::move(copy);
    for (const Subscriber& subscriber : m_subscribers)
        Post(subscriber);
}

std::size_t ReportingSettingsManager::LiveSubscriptions() const
{
    const std::lock_guard guard(m_lock);
    return m_subscribers.size();
}

void ReportingSettingsManager::Post(const Subscriber& subscriber)
{
    const auto settings = std::make_shared<const NodeHandle>(CloneNode(m_settings.Get(), KelnWholeTree));
    m_deliveries.Post(subscriber.handle.Get(), [sink = subscriber.sink, settings] {
        return sink->OnModified(ConnectionSettings, 0, settings->Get());
    });
}

} // namespace Host
