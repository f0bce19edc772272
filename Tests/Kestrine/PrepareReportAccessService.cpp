#include "Subsystems/ManagementService/Kestrine/PrepareReportAccessService.h"

#include "Platform/Testing/TestAccounts.h"
#include "Tests/Support/ComponentTest.h"
#include "Tests/Support/SecurityFakes.h"

namespace
{

class PrepareReportAccessServiceTest : public ComponentTest<CPrepareReportAccessService>
{
protected:
    PrepareReportAccessServiceTest()
    {
        config.SetString(L"ReportAccessInfoUpdater", L"Test.Updater");
        config.SetString(L"RequiredContainerPermission", L"ViewReports");
        EXPECT_EQ(Configure(), S_OK);
    }

    HRESULT Request(const KelNodePtr& token, bool wait = false)
    {
        const KelNodePtr request = CreateKelNode(L"request", nullptr);
        if (wait)
            request.SetBool(L"WaitForSync", true);
        FakeRequestContextMgr::t_token = &token;
        IKelNode* response = config.Get(); // whatever stands there
        const HRESULT hr = As<IRequestService>()->ProcessRequest(request.Get(), &response);
        EXPECT_EQ(response, nullptr);
        FakeRequestContextMgr::t_token = nullptr;
        return hr;
    }
    HRESULT Request(const wchar_t* name, bool wait = false) { return Request(MakeToken(name, name), wait); }

    const TestAccounts accounts{"computer = S-1-5-21-10-20-30\n"};
    Named<FakeRequestContextMgr> contexts{L"Core.RequestContextMgr"};
    Named<FakePermissionsChecker> checker{L"Security.PermissionsChecker"};
    Named<FakeUpdater> updater{L"Test.Updater"};
};

} // namespace

TEST_F(PrepareReportAccessServiceTest, TellsTheUpdaterOfChangesAndOfClientsThatWait)
{
    using Calls = decltype(updater.calls);
    const auto callsAfter = [&](const wchar_t* name, bool wait = false) {
        updater.calls.clear();
        EXPECT_EQ(Request(name, wait), S_OK);
        return updater.calls;
    };
    checker.hook = [&](const std::wstring&) { Viewers(); }; // for which the lock must be free
    const Calls told{{As<IAccessInfoSource>().Get(), false}};
    checker.grants[L"ann"] = {L"c1", L"c2"};
    EXPECT_EQ(callsAfter(L"ann"), told);
    EXPECT_EQ(callsAfter(L"ann"), Calls());
    EXPECT_EQ(callsAfter(L"ann", true), (Calls{{told[0].first, true}})) << "also without a change";
    EXPECT_EQ(callsAfter(L"nobody"), Calls()) << "a first request that may view nothing is no change";
    checker.grants[L"ann"] = {L"c1"};
    EXPECT_EQ(callsAfter(L"ann"), told);
    checker.grants.erase(L"ann");
    EXPECT_EQ(callsAfter(L"ann"), told);
    EXPECT_EQ(Viewers(), Texts());
    EXPECT_EQ(log.Count(L"Adding access info for 'ann':KelNode[<null>]"), 1U) << "the entry lives on";
}

TEST_F(PrepareReportAccessServiceTest, ClientsExpireTheNanosecondAfterTheirTimeout)
{
    config.SetInt32(L"ExpirationTimeoutS", 10);
    EXPECT_EQ(Configure(), S_OK);
    checker.grants = {{L"ann", {}}, {L"bob", {}}};
    EXPECT_EQ(Request(L"ann"), S_OK);
    clock.Advance(4s);
    EXPECT_EQ(Request(L"bob"), S_OK);
    clock.Advance(6s);
    EXPECT_EQ(Viewers(), (Texts{L"ann", L"bob"})) << "exactly the timeout";
    clock.Advance(1ns);
    EXPECT_EQ(Viewers(), Texts{L"bob"});
    EXPECT_EQ(Request(L"bob"), S_OK);
    clock.Advance(10s);
    EXPECT_EQ(Viewers(), Texts{L"bob"}) << "refreshed by the second request";
}

TEST_F(PrepareReportAccessServiceTest, FailuresLeaveWhatWasKnown)
{
    checker.grants[L"ann"] = {};
    EXPECT_EQ(Request(KelNodePtr()), S_OK) << "no token, no change";
    contexts.noContext = true;
    EXPECT_EQ(Request(L"ann"), S_OK);
    EXPECT_TRUE(updater.calls.empty());
    contexts.noContext = false;
    EXPECT_EQ(Request(L"ann"), S_OK);
    checker.failing = {L"ann"};
    EXPECT_EQ(Request(L"ann"), E_ACCESSDENIED);
    EXPECT_EQ(log.Count(L"| ERR  |", L"CPrepareReportAccessService::ProcessRequest failed: 0x80070005 "), 1U);
    EXPECT_EQ(Viewers(), Texts{L"ann"});
    checker.failing.clear();
    checker.grants.clear();
    updater.result = E_ABORT;
    EXPECT_EQ(Request(L"ann"), E_ABORT);
    EXPECT_EQ(Viewers(), Texts()) << "stored all the same";
    IKelNode* response = nullptr;
    EXPECT_EQ(As<IRequestService>()->ProcessRequest(nullptr, &response), E_POINTER);
    EXPECT_EQ(As<IRequestService>()->ProcessRequest(config.Get(), nullptr), E_POINTER);
    EXPECT_EQ(configurable->Configure(nullptr), E_POINTER);
}
