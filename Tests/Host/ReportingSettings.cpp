#include "Host/Components/ReportingSettingsManager.h"
#include "Host/Support/ErrorInfo.h"
#include "Tests/Host/NodwellFixture.h"

#include <future>
#include <gmock/gmock.h>

using Host::ReportingSettingsManager;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class SettingsSink final : public Host::Component<IReportingSettingsModifySink>
{
public:
    explicit SettingsSink(std::function<HRESULT()> reaction = nullptr) : m_reaction(std::move(reaction)) {}
    ~SettingsSink() override { ++s_gone; }

    HRESULT OnModified(int32_t settingsType, int32_t, IKelNode* settings) override
    {
        EXPECT_EQ(settingsType, 1);
        seen.push_back(Host::NodeName(settings, KelnNameOnly));
        return m_reaction ? m_reaction() : S_OK;
    }

    std::vector<std::wstring> seen; // to be read when everything has been delivered
    static inline std::atomic<int> s_gone = 0;

private:
    const std::function<HRESULT()> m_reaction;
};

class ReportingSettings : public NodwellTest
{
protected:
    NodeHandle Subscribe(IReportingSettingsModifySink* sink)
    {
        NodeHandle subscription;
        EXPECT_EQ(manager->Subscribe(1, sink, subscription.Out()), S_OK);
        return subscription;
    }

    const ComponentPtr<ReportingSettingsManager> manager = Host::MakeComponent<ReportingSettingsManager>();
};

} // namespace

TEST_F(ReportingSettings, SubscribersGetTheCurrentSettingsAndThenEveryChange)
{
    const auto early = Host::MakeComponent<SettingsSink>();
    const NodeHandle first = Subscribe(early.Get());
    manager->WaitUntilDelivered();
    EXPECT_THAT(early->seen, IsEmpty());
    manager->SetSettings(Create(L"One").Get());
    const auto late = Host::MakeComponent<SettingsSink>();
    const NodeHandle second = Subscribe(late.Get());
    manager->SetSettings(Create(L"Two").Get());
    manager->WaitUntilDelivered();
    EXPECT_THAT(early->seen, ElementsAre(L"One", L"Two"));
    EXPECT_THAT(late->seen, ElementsAre(L"One", L"Two"));
    EXPECT_EQ(manager->Unsubscribe(first.Get()), S_OK);
    EXPECT_EQ(manager->Unsubscribe(first.Get()), NotFound);
    EXPECT_EQ(manager->Unsubscribe(Create(L"Foreign").Get()), NotFound);
    manager->SetSettings(Create(L"Three").Get());
    manager->WaitUntilDelivered();
    EXPECT_EQ(early->seen.size(), 2U);
    EXPECT_EQ(late->seen.size(), 3U);
    EXPECT_EQ(manager->Unsubscribe(second.Get()), S_OK);
    EXPECT_EQ(manager->LiveSubscriptions(), 0U);
}

TEST_F(ReportingSettings, OtherSettingsAndUnusedSlotsAreRefused)
{
    const auto sink = Host::MakeComponent<SettingsSink>();
    NodeHandle subscription;
    EXPECT_EQ(manager->Subscribe(2, sink.Get(), subscription.Out()), E_INVALIDARG);
    EXPECT_EQ(TakeErrorText(),
              L"Reporting settings manager: unknown settings type 2, expected 1 (connection settings)");
    EXPECT_EQ(manager->Subscribe(1, nullptr, subscription.Out()), E_POINTER);
    EXPECT_FALSE(subscription);
    EXPECT_EQ(manager->UnusedSlot3(), E_NOTIMPL);
    EXPECT_EQ(manager->UnusedSlot4(), E_NOTIMPL);
    EXPECT_EQ(manager->UnusedSlot5(), E_NOTIMPL);
}

TEST_F(ReportingSettings, UnsubscribingWaitsAndLetsTheSinkGo)
{
    std::promise<void> entered, finish;
    auto sink = Host::MakeComponent<SettingsSink>([&] {
        entered.set_value();
        finish.get_future().wait();
        return S_OK;
    });
    manager->SetSettings(Create(L"One").Get());
    manager->SetSettings(Create(L"Two").Get());
    const NodeHandle subscription = Subscribe(sink.Get());
    manager->SetSettings(Create(L"Three").Get());
    sink.Reset();
    entered.get_future().wait();
    const int gone = SettingsSink::s_gone;
    std::future<void> ended =
        std::async(std::launch::async, [&] { EXPECT_EQ(manager->Unsubscribe(subscription.Get()), S_OK); });
    EXPECT_EQ(ended.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    EXPECT_EQ(SettingsSink::s_gone, gone);
    finish.set_value();
    ended.wait();
    EXPECT_EQ(SettingsSink::s_gone, gone + 1);
}

TEST_F(ReportingSettings, ASinkMayUnsubscribeItself)
{
    NodeHandle subscription;
    const auto sink = Host::MakeComponent<SettingsSink>([&] {
        EXPECT_EQ(manager->Unsubscribe(subscription.Get()), S_OK);
        manager->SetSettings(Create(L"Two").Get());
        return Host::FailWithDescription(E_FAIL, L"no more");
    });
    subscription = Subscribe(sink.Get());
    manager->SetSettings(Create(L"One").Get());
    manager->WaitUntilDelivered();
    EXPECT_THAT(sink->seen, ElementsAre(L"One"));
    EXPECT_EQ(manager->Failures().count, 1U);
    EXPECT_EQ(manager->Failures().lastText, L"0x80004005 no more");
}
