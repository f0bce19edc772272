#include "Host/Components/ReportingSettingsManager.h"
#include "Host/Support/ErrorInfo.h"
#include "Tests/Host/NodwellFixture.h"
#include "Tests/Support/Waiting.h"

#include <functional>
#include <future>
#include <gmock/gmock.h>

using Host::ReportingSettingsManager;
using testing::ElementsAre;

namespace
{

class SettingsSink final : public Host::Component<IReportingSettingsModifySink>
{
public:
    explicit SettingsSink(std::function<HRESULT()> reaction = nullptr) : m_reaction(std::move(reaction)) {}
    ~SettingsSink() override { ++s_gone; }

    HRESULT OnModified(int32_t settingsType, int32_t, IKelNode* settings) override
    {
        seen.push_back(std::to_wstring(settingsType) + Host::NodeName(settings, KelnNameOnly));
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
    // Sinks may call the manager, and fail.
    const auto early = Host::MakeComponent<SettingsSink>([this] {
        EXPECT_GE(manager->LiveSubscriptions(), 1U);
        return Host::FailWithDescription(E_FAIL, L"no more");
    });
    const NodeHandle first = Subscribe(early.Get());
    manager->SetSettings(Create(L"One").Get());
    const auto late = Host::MakeComponent<SettingsSink>();
    const NodeHandle second = Subscribe(late.Get());
    manager->SetSettings(Create(L"Two").Get());
    manager->WaitUntilDelivered();
    EXPECT_EQ(manager->Unsubscribe(first.Get()), S_OK);
    EXPECT_EQ(manager->Unsubscribe(first.Get()), NotFound);
    EXPECT_EQ(manager->Unsubscribe(Create(L"Foreign").Get()), NotFound);
    manager->SetSettings(Create(L"Three").Get());
    manager->WaitUntilDelivered();
    EXPECT_THAT(early->seen, ElementsAre(L"1One", L"1Two"));
    EXPECT_THAT(late->seen, ElementsAre(L"1One", L"1Two", L"1Three"));
    EXPECT_EQ(manager->Failures().count, 2U);
    EXPECT_EQ(manager->Failures().lastText, L"0x80004005 no more");
    EXPECT_EQ(manager->Unsubscribe(second.Get()), S_OK);
    EXPECT_EQ(manager->LiveSubscriptions(), 0U);

    NodeHandle refused;
    EXPECT_EQ(manager->Subscribe(1, nullptr, refused.Out()), E_POINTER);
    EXPECT_EQ(manager->Subscribe(2, late.Get(), refused.Out()), E_INVALIDARG);
    EXPECT_EQ(TakeErrorText(),
              L"Reporting settings manager: unknown settings type 2, expected 1 (connection settings)");
}

TEST_F(ReportingSettings, UnsubscribingWaitsAndLetsTheSinkGo)
{
    Gate gate;
    auto sink = Host::MakeComponent<SettingsSink>([&] { return gate.Pass(), S_OK; });
    const NodeHandle subscription = Subscribe(sink.Get());
    manager->SetSettings(Create(L"One").Get());
    manager->SetSettings(Create(L"Two").Get());
    sink.Reset();
    ASSERT_TRUE(gate.WaitForArrivals(1));
    auto ended = std::async(std::launch::async, [&] { return manager->Unsubscribe(subscription.Get()); });
    EXPECT_EQ(ended.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    const int gone = SettingsSink::s_gone;
    gate.Open();
    EXPECT_EQ(ended.get(), S_OK);
    EXPECT_EQ(SettingsSink::s_gone, gone + 1);
}
