#include "Host/Components/ReportingSettingsManager.h"
#include "Host/Support/Failure.h"
#include "Tests/Host/NodwellFixture.h"

#include <functional>
#include <gmock/gmock.h>

namespace
{

struct SettingsSink final : Host::Component<IReportingSettingsModifySink>
{
    explicit SettingsSink(std::function<HRESULT()> react = nullptr) : reaction(std::move(react)) {}

    HRESULT OnModified(int32_t settingsType, int32_t, IKelNode* settings) override
    {
        seen.push_back(std::to_wstring(settingsType) + Host::NodeName(settings, KelnNameOnly));
        return reaction ? reaction() : S_OK;
    }

    const std::function<HRESULT()> reaction;
    std::vector<std::wstring> seen; // to be read when everything has been delivered
};

NodeHandle Subscribe(const ComponentPtr<Host::ReportingSettingsManager>& manager, SettingsSink* sink)
{
    NodeHandle subscription;
    EXPECT_EQ(manager->Subscribe(1, sink, subscription.Out()), S_OK);
    return subscription;
}

using ReportingSettings = NodwellTest;

} // namespace

TEST_F(ReportingSettings, SubscribersGetTheCurrentSettingsAndThenEveryChange)
{
    const auto manager = Host::MakeComponent<Host::ReportingSettingsManager>();
    // Sinks may call the manager, and fail.
    const auto early = Host::MakeComponent<SettingsSink>([&] {
        manager->Failures();
        return Host::FailWithDescription(E_FAIL, L"no more");
    });
    const NodeHandle first = Subscribe(manager, early.Get());
    manager->SetSettings(Create(L"One").Get());
    const auto late = Host::MakeComponent<SettingsSink>();
    const NodeHandle second = Subscribe(manager, late.Get());
    manager->SetSettings(Create(L"Two").Get());
    manager->WaitUntilDelivered();
    EXPECT_EQ(manager->Unsubscribe(first.Get()), S_OK);
    EXPECT_EQ(manager->Unsubscribe(first.Get()), NotFound);
    manager->SetSettings(Create(L"Three").Get());
    manager->WaitUntilDelivered();
    EXPECT_THAT(early->seen, testing::ElementsAre(L"1One", L"1Two"));
    EXPECT_THAT(late->seen, testing::ElementsAre(L"1One", L"1Two", L"1Three"));
    EXPECT_EQ(manager->Failures().lastText, L"0x80004005 no more");
    EXPECT_EQ(manager->Unsubscribe(second.Get()), S_OK);
    NodeHandle refused;
    EXPECT_EQ(manager->Subscribe(2, late.Get(), refused.Out()), E_INVALIDARG);
    EXPECT_EQ(TakeErrorText(),
              L"Reporting settings manager: unknown settings type 2, expected 1 (connection settings)");
}
