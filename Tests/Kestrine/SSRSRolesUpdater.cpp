#include "Subsystems/ManagementService/Kestrine/SSRSRolesUpdater.h"

#include "Common/ErrorHandling/ErrorText.h"
#include "Subsystems/ManagementService/Kestrine/SettingsGate.h"
#include "Tests/Support/ComponentTest.h"
#include "Tests/Support/SecurityFakes.h"

namespace
{

KelNodePtr MakeSettings(const wchar_t* url = L"http://reports/", const wchar_t* password = L"secret")
{
    const KelNodePtr settings = CreateKelNode(L"entry", nullptr);
    settings.SetString(L"ReportServerUrl", url);
    settings.SetString(L"ReportServerUserName", L"svc");
    if (password)
        settings.SetRaw(L"ReportServerPassword", KelnBinary, std::vector<std::uint8_t>(password, password + 3));
    return settings;
}

auto Answer(std::int32_t result, const wchar_t* serialized = nullptr)
{
    return [=](const std::wstring&, IKelNode** response) {
        const KelNodePtr node = CreateKelNode(nullptr, nullptr);
        node.SetInt32(L"AdjustResult", result);
        if (serialized)
            node.SetString(L"ErrorSerialized", serialized);
        *response = KelNodePtr(node).Detach();
        return S_OK;
    };
}

class SSRSRolesUpdaterTest : public ComponentTest<CSSRSRolesUpdater>
{
protected:
    SSRSRolesUpdaterTest() : ComponentTest(L"CSSRSRolesUpdater::UpdateAction") {}

    void TearDown() override
    {
        consumer.Reset();
        ComponentTest::TearDown();
    }

    void Start(int retryInterval = 600)
    {
        config.SetInt32(L"UpdateIntervalS", 300);
        config.SetInt32(L"RetryIntervalS", retryInterval);
        ASSERT_EQ(Configure(), S_OK);
        ASSERT_EQ(SetSettings(MakeSettings()), S_OK);
        clock.LetTheWaiterLook();
    }

    HRESULT SetSettings(const KelNodePtr& entry) { return consumer->OnReportingSettingsUpdated(entry.Get()); }
    HRESULT Report(const std::vector<const wchar_t*>& names)
    {
        std::vector<KelNodePtr> list;
        for (const wchar_t* name : names)
            list.push_back(MakeTestItem(name));
        list.push_back(CreateKelNode(nullptr, L"AccessRightsItem")); // without a name
        return consumer->OnAccessInfoUpdated(MakeTestList(list).Get());
    }

    void ReportAndRun(const std::vector<const wchar_t*>& names, std::size_t runs = 1)
    {
        AwaitRuns([&] { EXPECT_EQ(Report(names), S_OK); }, runs);
    }
    void RunAgain()
    {
        AwaitRuns([&] { clock.Advance(300s + 1ms); });
    }
    Texts TakeRequests() { return std::exchange(gate.requests, {}); }

    FakeSettingsGate gate;
    RegisteredInstance named{L"Core.ServiceClient", static_cast<IServiceClient*>(&gate)};
    ComponentPtr<IAccessInfoConsumer> consumer = As<IAccessInfoConsumer>();
};

} // namespace

TEST_F(SSRSRolesUpdaterTest, EveryNewAccountIsSentOnce)
{
    Start();
    ReportAndRun({L"CORP\\ann", L"", L"CORP\\bob", L"CORP\\ann"});
    EXPECT_EQ(TakeRequests(), (Texts{L"CORP\\ann", L"CORP\\bob"}));
    EXPECT_EQ(gate.proxies, 1) << "one proxy a run";
    EXPECT_EQ(gate.lastRequest.GetName(), L"SSRSSettingsAdjustRequest");
    EXPECT_EQ(gate.lastRequest.GetNodeType(), L"SSRSSettingsAdjustRequest");
    EXPECT_EQ(gate.lastRequest.GetAttributeNames(),
              (Texts{L"ReportServerUrl", L"ReportServerUserName", L"ReportServerPassword", L"DestUserName"}));
    EXPECT_EQ(gate.lastRequest.GetAttributeType(L"ReportServerPassword"), KelnBinary) << "as it is stored";
    EXPECT_EQ(Report({L"CORP\\bob"}), S_OK);
    RunAgain();
    EXPECT_TRUE(TakeRequests().empty());
    EXPECT_EQ(gate.proxies, 1) << "nothing to send, no proxy";
    EXPECT_EQ(log.Count(L"Adding item to process: "), 2U);
    EXPECT_EQ(consumer->OnAccessInfoUpdated(nullptr), S_OK);
}

TEST_F(SSRSRolesUpdaterTest, AFailedAccountIsTriedAgainAfterTheRetryInterval)
{
    Start();
    bool failing = true;
    gate.answer = [&](const std::wstring& account, IKelNode** response) {
        return failing && account == L"a" ? E_ACCESSDENIED : Answer(S_OK)(account, response);
    };
    ReportAndRun({L"a", L"b"});
    EXPECT_EQ(TakeRequests(), (Texts{L"a", L"b"})) << "one failure does not stop the run";
    EXPECT_EQ(log.Count(L"| WARN |", L"Adding 'Browser' role for account 'a' failed: 0x80070005 "), 1U);
    EXPECT_EQ(log.Count(L"EXCEPTION at: Processing account 'a'"), 1U);
    failing = false;
    RunAgain();
    EXPECT_TRUE(TakeRequests().empty());
    EXPECT_EQ(log.Count(L"skipping - time to retry (s): 299"), 1U);
    ReportAndRun({L"c"});
    EXPECT_EQ(TakeRequests(), Texts{L"c"});
    clock.Advance(300s - 1ms);
    ReportAndRun({L"d"});
    EXPECT_EQ(TakeRequests(), (Texts{L"d", L"a"})) << "due when exactly the interval has passed";
    RunAgain();
    EXPECT_TRUE(TakeRequests().empty());
}

TEST_F(SSRSRolesUpdaterTest, RetryIntervalZeroMakesEveryFailureDueAtOnceOldestFirst)
{
    Start(0);
    gate.answer = [](const std::wstring&, IKelNode**) { return E_FAIL; };
    gate.hook = [&](const std::wstring&) { clock.Advance(1s); };
    ReportAndRun({L"a"});
    ReportAndRun({L"b"});
    EXPECT_EQ(TakeRequests(), (Texts{L"a", L"b", L"a"})) << "never attempted ones come first";
    RunAgain();
    EXPECT_EQ(TakeRequests(), (Texts{L"b", L"a"}));
}

TEST_F(SSRSRolesUpdaterTest, NewSettingsMakeEveryAccountNewOnceItIsReportedAgain)
{
    Start();
    ReportAndRun({L"a"});
    EXPECT_EQ(SetSettings(MakeSettings()), S_OK);
    EXPECT_EQ(log.Count(L"Resetting processed data"), 1U) << "the same settings change nothing";
    EXPECT_EQ(SetSettings(MakeSettings(L"http://reports/", L"other")), S_OK);
    EXPECT_EQ(log.Count(L"Resetting processed data"), 2U);
    RunAgain();
    EXPECT_EQ(TakeRequests(), Texts{L"a"});
    ReportAndRun({L"a"});
    EXPECT_EQ(TakeRequests(), Texts{L"a"});
    EXPECT_EQ(SetSettings(MakeSettings(L"http://reports/", nullptr)), NotFound);
    EXPECT_EQ(log.Count(L"Resetting processed data"), 2U) << "the template stays";
    EXPECT_EQ(SetSettings(MakeSettings(L"")), S_OK);
    ReportAndRun({L"a"});
    EXPECT_TRUE(TakeRequests().empty());
    EXPECT_EQ(log.Count(L"skipping - no SSRS settings"), 1U);
    EXPECT_EQ(SetSettings({}), S_OK);
    EXPECT_EQ(log.Count(L"Resetting processed data"), 3U) << "none again is no change";
}

TEST_F(SSRSRolesUpdaterTest, SettingsThatChangeDuringARunMakeItsRestObsolete)
{
    Start();
    gate.hook = [&](const std::wstring& account) {
        if (account != L"a")
            return;
        EXPECT_EQ(SetSettings(MakeSettings(L"http://other/")), S_OK);
        EXPECT_EQ(Report({L"b"}), S_OK);
        gate.hook = nullptr;
    };
    ReportAndRun({L"a", L"b", L"c"}, 2);
    EXPECT_EQ(TakeRequests(), (Texts{L"a", L"c", L"b"})) << "c is not in the map any more and is sent all the same";
    EXPECT_EQ(log.Count(L"skipping - obsolete"), 1U);
    EXPECT_EQ(gate.lastRequest.GetString(L"ReportServerUrl"), L"http://other/");
}

TEST_F(SSRSRolesUpdaterTest, AMissingServiceEndsTheRun)
{
    Start();
    gate.serviceResult = E_ACCESSDENIED;
    ReportAndRun({L"a", L"b"});
    EXPECT_EQ(log.Count(L"| ERR  |", L"Executing AsyncAction failed: 0x80070005 "), 1U);
    EXPECT_EQ(gate.proxies, 1);
    gate.serviceResult = S_OK;
    gate.handsOutNothing = true;
    RunAgain();
    EXPECT_EQ(log.Count(L"| ERR  |", L"Executing AsyncAction failed: 0x80004003 "), 1U);
}

TEST_F(SSRSRolesUpdaterTest, RunsOfWorkersThatReplaceEachOtherTakeTurns)
{
    Start();
    Texts accounts;
    for (int i = 10; i < 40; ++i)
        accounts.push_back(std::to_wstring(i));
    std::vector<std::thread> configuring;
    std::atomic<int> inside{0};
    gate.hook = [&](const std::wstring& account) {
        EXPECT_EQ(++inside, 1);
        if (account != accounts.back()) {
            configuring.emplace_back([&] { EXPECT_EQ(Configure(), S_OK); });
            const std::size_t configured = configuring.size() + 1;
            EXPECT_TRUE(Eventually([&] { return log.Count(L"Exiting: CSSRSRolesUpdater::Configure") >= configured; }));
            EXPECT_EQ(Report({accounts[configuring.size()].c_str()}), S_OK);
        }
        --inside;
    };
    ASSERT_EQ(Report({accounts.front().c_str()}), S_OK);
    EXPECT_TRUE(Eventually([&] { return log.Count(L"Exiting: Processing account") >= accounts.size(); }));
    for (std::thread& each : configuring)
        each.join();
    EXPECT_EQ(TakeRequests(), accounts) << "each once";
}

TEST_F(SSRSRolesUpdaterTest, ReconfiguringAndReleasingDuringARunEndItWithoutDeadlock)
{
    Start();
    Gate passages[2];
    gate.hook = [&](const std::wstring& account) { passages[account == L"a" ? 0 : 1].Pass(); };
    ASSERT_EQ(Report({L"a", L"z"}), S_OK);
    ASSERT_TRUE(passages[0].WaitForArrivals(1));
    std::thread configuring([&] { EXPECT_EQ(Configure(), S_OK); });
    // The new worker is in place, and the old one told to stop, before the old run goes on.
    ASSERT_TRUE(Eventually([&] { return log.Count(L"Exiting: CSSRSRolesUpdater::Configure") == 2; }));
    passages[0].Open();
    configuring.join();
    ASSERT_TRUE(passages[1].WaitForArrivals(1)) << "the new worker takes up what the old one has left";
    EXPECT_EQ(log.Count(L"Executing AsyncAction failed: 0x80004004 "), 1U) << "given up before the next account";
    EXPECT_EQ(TakeRequests(), (Texts{L"a", L"z"}));
    EXPECT_EQ(configurable->Configure(nullptr), E_POINTER);
    std::thread releasing([&] {
        consumer.Reset();
        configurable.Reset();
    });
    passages[1].Open();
    releasing.join();
    EXPECT_EQ(log.Count(L"Exiting: AsyncAction thread"), 2U);
}

TEST_F(SSRSRolesUpdaterTest, TheServiceMayConfigureTheComponentDuringARequest)
{
    Start();
    int configured = 0;
    gate.hook = [&](const std::wstring&) {
        if (configured++ < 2) {
            EXPECT_EQ(Configure(), S_OK);
        }
    };
    EXPECT_EQ(Report({L"a", L"b", L"c"}), S_OK);
    ASSERT_TRUE(Eventually([&] { return log.Count(L"Exiting: CSSRSRolesUpdater::UpdateAction") == 1; }));
    EXPECT_EQ(log.Count(L"EXCEPTION at: CSSRSRolesUpdater::UpdateAction"), 2U)
        << "two runs were replaced by themselves";
    EXPECT_EQ(TakeRequests(), (Texts{L"a", L"b", L"c"}));
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
    EXPECT_EQ(failure(Answer(E_FAIL, L"plain words")), L"0x80004005 plain words");
    EXPECT_TRUE(failure(Answer(E_ABORT)).starts_with(L"0x80004004 "));
    RestoreErrorInfo(L"of an earlier call").LeaveOnThread();
    EXPECT_NE(failure(Answer(E_ABORT)), L"0x80004004 of an earlier call");
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
