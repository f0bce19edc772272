#include "Subsystems/ManagementService/Kestrine/SSRSRolesUpdater.h"

#include "Common/ErrorHandling/ErrorText.h"
#include "Subsystems/ManagementService/Kestrine/SettingsGate.h"
#include "Tests/Support/ComponentTest.h"
#include "Tests/Support/SecurityFakes.h"

namespace
{

KelNodePtr MakeSettings(const wchar_t* url = L"http://reports/", const wchar_t* user = L"svc", char password = 's')
{
    const KelNodePtr settings = CreateKelNode(L"entry", nullptr);
    settings.SetString(L"ReportServerUrl", url);
    settings.SetString(L"ReportServerUserName", user);
    if (password)
        settings.SetRaw(L"ReportServerPassword", KelnBinary, {static_cast<std::uint8_t>(password)});
    return settings;
}

auto Answer(std::int32_t result, const wchar_t* serialized = nullptr)
{
    return [=](const std::wstring&, IKelNode** response) {
        KelNodePtr node = CreateKelNode(nullptr, nullptr);
        node.SetInt32(L"AdjustResult", result);
        if (serialized)
            node.SetString(L"ErrorSerialized", serialized);
        *response = node.Detach();
        return S_OK;
    };
}

class SSRSRolesUpdaterTest : public ComponentTest<CSSRSRolesUpdater>
{
protected:
    SSRSRolesUpdaterTest() : ComponentTest(L"CSSRSRolesUpdater::UpdateAction") {}

    void Start(int retryInterval = 500)
    {
        config.SetInt32(L"UpdateIntervalS", 250);
        config.SetInt32(L"RetryIntervalS", retryInterval);
        ASSERT_EQ(Configure(), S_OK);
        ASSERT_EQ(SetSettings(MakeSettings()), S_OK);
        clock.LetTheWaiterLook();
    }

    ComponentPtr<IAccessInfoConsumer> Consumer() const { return As<IAccessInfoConsumer>(); }
    HRESULT SetSettings(const KelNodePtr& entry) { return Consumer()->OnReportingSettingsUpdated(entry.Get()); }
    HRESULT Report(const Texts& names)
    {
        std::vector<KelNodePtr> list{CreateKelNode(nullptr, L"AccessRightsItem"), MakeTestItem(L"")}; // nobody
        for (const std::wstring& name : names)
            list.push_back(MakeTestItem(name.c_str()));
        return Consumer()->OnAccessInfoUpdated(MakeTestList(list).Get());
    }

    // What is asked for meanwhile.
    Texts ReportAndRun(const Texts& names, std::size_t runs = 1)
    {
        AwaitRuns([&] { EXPECT_EQ(Report(names), S_OK); }, runs);
        return TakeRequests();
    }
    Texts RunAgain()
    {
        AwaitRuns([&] { clock.Advance(250s + 1ms); });
        return TakeRequests();
    }
    Texts TakeRequests() { return std::exchange(gate.requests, {}); }

    Named<FakeSettingsGate> gate{L"Core.ServiceClient"};
};

} // namespace

TEST_F(SSRSRolesUpdaterTest, EveryNewAccountIsSentOnce)
{
    Start();
    EXPECT_EQ(ReportAndRun({L"CORP\\ann", L"CORP\\bob", L"CORP\\ann"}), (Texts{L"CORP\\ann", L"CORP\\bob"}));
    EXPECT_EQ(gate.proxies, 1) << "one proxy a run";
    EXPECT_EQ(gate.lastRequest.GetName(), L"SSRSSettingsAdjustRequest");
    EXPECT_EQ(gate.lastRequest.GetNodeType(), gate.lastRequest.GetName());
    EXPECT_EQ(gate.lastRequest.GetAttributeNames(),
              (Texts{L"ReportServerUrl", L"ReportServerUserName", L"ReportServerPassword", L"DestUserName"}));
    EXPECT_EQ(gate.lastRequest.GetAttributeType(L"ReportServerPassword"), KelnBinary) << "as it is stored";
    EXPECT_EQ(Report({L"CORP\\bob"}), S_OK);
    EXPECT_EQ(RunAgain(), Texts());
    EXPECT_EQ(gate.proxies, 1) << "nothing to send, no proxy";
    EXPECT_EQ(log.Count(L"Adding item to process: "), 2U);
    EXPECT_EQ(Consumer()->OnAccessInfoUpdated(nullptr), S_OK);
}

TEST_F(SSRSRolesUpdaterTest, AFailedAccountIsTriedAgainAfterTheRetryInterval)
{
    Start();
    bool failing = true;
    gate.answer = [&](const std::wstring& account, IKelNode** response) {
        return failing && account == L"a" ? E_ACCESSDENIED : Answer(S_OK)(account, response);
    };
    EXPECT_EQ(ReportAndRun({L"a", L"b"}), (Texts{L"a", L"b"})) << "one failure does not stop the run";
    EXPECT_EQ(log.Count(L"| WARN |", L"Adding 'Browser' role for account 'a' failed: 0x80070005 "), 1U);
    EXPECT_EQ(log.Count(L"EXCEPTION at: Processing account 'a'"), 1U);
    failing = false;
    EXPECT_EQ(RunAgain(), Texts());
    EXPECT_EQ(log.Count(L"skipping - time to retry (s): 249"), 1U);
    EXPECT_EQ(ReportAndRun({L"c"}), Texts{L"c"});
    clock.Advance(250s - 1ms);
    EXPECT_EQ(ReportAndRun({L"d"}), (Texts{L"d", L"a"})) << "due when exactly the interval has passed";
    EXPECT_EQ(RunAgain(), Texts());
}

TEST_F(SSRSRolesUpdaterTest, RetryIntervalZeroMakesEveryFailureDueWithTheNextRunOldestFirst)
{
    Start(0);
    gate.answer = [](const std::wstring&, IKelNode**) { return E_FAIL; };
    gate.hook = [&](const std::wstring&) { clock.Advance(1s); };
    EXPECT_EQ(ReportAndRun({L"a"}), Texts{L"a"});
    EXPECT_EQ(Report({L"a"}), S_OK);
    clock.LetTheWaiterLook();
    EXPECT_EQ(TakeRequests(), Texts()) << "known names wake nobody";
    EXPECT_EQ(ReportAndRun({L"b"}), (Texts{L"b", L"a"})) << "never attempted ones come first";
    EXPECT_EQ(RunAgain(), (Texts{L"b", L"a"}));

    config.SetInt32(L"RetryIntervalS", 24 * 3600 + 1000);
    AwaitRuns([&] { EXPECT_EQ(Configure(), S_OK); });
    EXPECT_EQ(ReportAndRun({L"c"}), Texts()) << "one without attempt waits from the zero of the clock";
}

TEST_F(SSRSRolesUpdaterTest, NewSettingsMakeEveryAccountNewOnceItIsReportedAgain)
{
    Start();
    EXPECT_EQ(ReportAndRun({L"a"}), Texts{L"a"});
    const auto resets = [&] { return log.Count(L"Resetting processed data"); };
    EXPECT_EQ(SetSettings(MakeSettings()), S_OK);
    EXPECT_EQ(resets(), 1U) << "the same settings change nothing";
    EXPECT_EQ(SetSettings(MakeSettings(L"http://reports/", L"svc", 'o')), S_OK);
    EXPECT_EQ(RunAgain(), Texts());
    EXPECT_EQ(ReportAndRun({L"a"}), Texts{L"a"});
    EXPECT_EQ(SetSettings(MakeSettings(L"http://reports/", L"svc", '\0')), NotFound);
    EXPECT_EQ(resets(), 2U) << "the template stays";
    EXPECT_EQ(SetSettings(MakeSettings(L"")), S_OK);
    EXPECT_EQ(ReportAndRun({L"a"}), Texts());
    EXPECT_EQ(log.Count(L"skipping - no SSRS settings"), 1U);
    EXPECT_EQ(SetSettings({}), S_OK);
    EXPECT_EQ(resets(), 3U) << "none again is no change";
}

TEST_F(SSRSRolesUpdaterTest, SettingsThatChangeDuringARunMakeItsRestObsolete)
{
    Start();
    gate.hook = [&](const std::wstring& account) {
        if (account != L"a")
            return;
        EXPECT_EQ(SetSettings(MakeSettings(L"http://other/")), S_OK);
        EXPECT_EQ(Report({L"b"}), S_OK);
    };
    EXPECT_EQ(ReportAndRun({L"a", L"b", L"c"}, 2), (Texts{L"a", L"c", L"b"}))
        << "c is not in the map any more and is sent all the same";
    EXPECT_EQ(log.Count(L"skipping - obsolete"), 1U);
    EXPECT_EQ(gate.lastRequest.GetString(L"ReportServerUrl"), L"http://other/");
}

TEST_F(SSRSRolesUpdaterTest, AMissingServiceEndsTheRun)
{
    Start();
    gate.serviceResult = E_ACCESSDENIED;
    EXPECT_EQ(ReportAndRun({L"a", L"b"}), Texts());
    EXPECT_EQ(log.Count(L"| ERR  |", L"Executing AsyncAction failed: 0x80070005 "), 1U);
    EXPECT_EQ(gate.proxies, 1);
    gate.serviceResult = S_FALSE;
    RunAgain();
    EXPECT_EQ(log.Count(L"| ERR  |", L"Executing AsyncAction failed: 0x80004003 "), 1U);
}

TEST_F(SSRSRolesUpdaterTest, AReplacedRunEndsBeforeItsNextAccount)
{
    EXPECT_EQ(configurable->Configure(nullptr), E_POINTER);
    Start();
    gate.hook = [&](const std::wstring& account) {
        EXPECT_TRUE(account == L"c" || Configure() == S_OK); // by the service, during its request
    };
    EXPECT_EQ(ReportAndRun({L"a", L"b", L"c"}, 3), (Texts{L"a", L"b", L"c"})) << "taken up by the next worker";
    EXPECT_EQ(log.Count(L"EXCEPTION at: CSSRSRolesUpdater::UpdateAction"), 2U);
}

TEST(SettingsGate, TellsWhyAnAdjustmentFailed)
{
    FakeSettingsGate gate;
    const KelNodePtr request = MakeRequestTemplate(MakeSettings());
    const auto failure = [&](auto answer) -> std::wstring {
        gate.answer = answer;
        try {
            RequestRole(gate, request, L"a");
        } catch (const HRX& e) {
            return ErrorText(e, WithoutLocation);
        }
        return L"<none>";
    };
    EXPECT_EQ(failure(Answer(S_FALSE, L"not read")), L"<none>");
    EXPECT_EQ(failure(Answer(E_FAIL, L"0x80004005 No such role [0x1,0x2]")), L"0x80004005 No such role");
    RestoreErrorInfo(L"of an earlier call").LeaveOnThread();
    const std::wstring withoutText = failure(Answer(E_ABORT));
    EXPECT_TRUE(withoutText.starts_with(L"0x80004004 ") && !withoutText.ends_with(L"call")) << "in the system's words";
    EXPECT_EQ(failure([](const std::wstring& account, IKelNode** response) {
                  RestoreErrorInfo(L"5 times in vain").LeaveOnThread();
                  return Answer(E_FAIL)(account, response);
              }),
              L"0x80004005 5 times in vain")
        << "what the service left on the thread";
    EXPECT_TRUE(failure([](const std::wstring&, IKelNode**) { return E_ACCESSDENIED; }).starts_with(L"0x80070005 "));
    EXPECT_TRUE(failure([](const std::wstring&, IKelNode**) { return S_OK; }).starts_with(L"0x80004003 "))
        << "no response is no confirmation";
    EXPECT_FALSE(request.HasAttribute(L"DestUserName")) << "the template is not changed";
}
