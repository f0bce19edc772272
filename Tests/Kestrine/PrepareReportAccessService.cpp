#include "Subsystems/ManagementService/Kestrine/PrepareReportAccessService.h"

#include "Platform/Testing/AccountsFile.h"
#include "Tests/Support/HostFakes.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/ManualClock.h"
#include "Tests/Support/SecurityFakes.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace
{

using Texts = std::vector<std::wstring>;

class PrepareReportAccessServiceTest : public testing::Test
{
protected:
    PrepareReportAccessServiceTest()
    {
        CComponentObject<CPrepareReportAccessService>::Create(IRequestService::Iid, service.OutVoid());
        service->QueryInterface(IConfigurableComponent::Iid, configurable.OutVoid());
        service->QueryInterface(IAccessInfoSource::Iid, source.OutVoid());
        config.SetString(L"ReportAccessInfoUpdater", L"Test.Updater");
        config.SetString(L"RequiredContainerPermission", L"ViewReports");
        EXPECT_EQ(configurable->Configure(config.Get()), S_OK);
    }

    HRESULT Request(const KelNodePtr& token, bool wait = false)
    {
        const KelNodePtr request = CreateKelNode(L"request", nullptr);
        if (wait)
            request.SetBool(L"WaitForSync", true);
        FakeRequestContextMgr::t_token = &token;
        IKelNode* response = nullptr;
        const HRESULT hr = service->ProcessRequest(request.Get(), &response);
        EXPECT_EQ(response, nullptr);
        FakeRequestContextMgr::t_token = nullptr;
        return hr;
    }
    HRESULT Request(const wchar_t* name, bool wait = false) { return Request(MakeToken(name, name), wait); }

    Texts Viewers()
    {
        KelNodePtr list;
        EXPECT_EQ(source->GetAllowedViewers(list.Out()), S_OK);
        return Describe(list);
    }

    const AccountsFile accounts{"computer = S-1-5-21-10-20-30\n"};
    ManualClock clock;
    LogCapture log;
    FakeRequestContextMgr contexts;
    FakePermissionsChecker checker;
    FakeUpdater updater;
    NamedInstance namedContexts{L"Core.RequestContextMgr", static_cast<IRequestContextMgr*>(&contexts)};
    NamedInstance namedChecker{L"Security.PermissionsChecker", &checker};
    NamedInstance namedUpdater{L"Test.Updater", &updater};
    KelNodePtr config = CreateKelNode(nullptr, nullptr);
    ComponentPtr<IRequestService> service;
    ComponentPtr<IConfigurableComponent> configurable;
    ComponentPtr<IAccessInfoSource> source;
};

} // namespace

TEST_F(PrepareReportAccessServiceTest, TellsTheUpdaterOfChangesAndOfClientsThatWait)
{
    checker.grants[L"ann"] = {L"c1", L"c2"};
    const auto callsAfter = [&](const wchar_t* name, bool wait = false) {
        updater.calls.clear();
        EXPECT_EQ(Request(name, wait), S_OK);
        return updater.calls;
    };
    using Calls = decltype(updater.calls);
    EXPECT_EQ(callsAfter(L"ann"), (Calls{{source.Get(), false}}));
    EXPECT_EQ(callsAfter(L"ann"), Calls());
    EXPECT_EQ(callsAfter(L"ann", true), (Calls{{source.Get(), true}})) << "also without a change";
    EXPECT_EQ(callsAfter(L"nobody"), Calls()) << "a first request that may view nothing is no change";
    checker.grants[L"ann"] = {L"c1"};
    EXPECT_EQ(callsAfter(L"ann"), (Calls{{source.Get(), false}}));
    checker.grants.erase(L"ann");
    EXPECT_EQ(callsAfter(L"ann"), (Calls{{source.Get(), false}}));
    EXPECT_EQ(Viewers(), Texts());
    EXPECT_EQ(log.Count(L"Adding access info for 'ann':KelNode[<null>]"), 1U) << "the entry lives on";
}

TEST_F(PrepareReportAccessServiceTest, ClientsExpireTheNanosecondAfterTheirTimeout)
{
    config.SetInt32(L"ExpirationTimeoutS", 10);
    EXPECT_EQ(configurable->Configure(config.Get()), S_OK);
    checker.grants = {{L"ann", {}}, {L"bob", {}}};
    EXPECT_EQ(Request(L"ann"), S_OK);
    clock.Advance(4s);
    EXPECT_EQ(Request(L"bob"), S_OK);
    clock.Advance(6s);
    EXPECT_EQ(Viewers(), (Texts{L"ann", L"bob"})) << "exactly the timeout";
    clock.Advance(1ns);
    EXPECT_EQ(Viewers(), Texts{L"bob"});
    EXPECT_EQ(log.Count(L"Removing expired client info for: 'ann'"), 1U);
    EXPECT_EQ(Request(L"bob"), S_OK);
    clock.Advance(10s);
    EXPECT_EQ(Viewers(), Texts{L"bob"}) << "refreshed by the second request";
    updater.calls.clear();
    EXPECT_EQ(Request(L"ann"), S_OK);
    EXPECT_EQ(updater.calls.size(), 1U) << "gone and back again";
}

TEST_F(PrepareReportAccessServiceTest, ClientsAreTheOriginatingOnesWhoeverForwardsThem)
{
    checker.grants[L"ann"] = {};
    for (const wchar_t* forwarder : {L"Portal", L"Gateway"})
        EXPECT_EQ(Request(MakeToken(forwarder, forwarder, MakeToken(L"id", L"ann", {}, L"OnBehalfOfClient"))), S_OK);
    EXPECT_EQ(updater.calls.size(), 1U);
    EXPECT_EQ(Viewers(), Texts{L"ann"});
    const KelNodePtr list = MakeTestList({MakeTestItem(L"first")});
    IKelNode* handle = list.Get();
    EXPECT_EQ(source->GetAllowedViewers(&handle), S_OK);
    EXPECT_EQ(Describe(list), (Texts{L"first", L"ann"})) << "appended to the caller's list";
    EXPECT_EQ(source->GetAllowedViewers(nullptr), E_POINTER);
}

TEST_F(PrepareReportAccessServiceTest, FailuresLeaveWhatWasKnown)
{
    checker.grants[L"ann"] = {};
    EXPECT_EQ(Request(KelNodePtr()), S_OK) << "no token, no change";
    EXPECT_EQ(Request(L"ann"), S_OK);
    clock.Advance(600s);
    checker.failing = {L"ann"};
    EXPECT_EQ(Request(L"ann"), E_ACCESSDENIED);
    EXPECT_EQ(log.Count(L"| ERR  |", L"CPrepareReportAccessService::ProcessRequest failed: 0x80070005 "), 1U);
    EXPECT_EQ(Viewers(), Texts{L"ann"});
    clock.Advance(1ns);
    EXPECT_EQ(Viewers(), Texts()) << "the failed request has refreshed nothing";
    checker.failing.clear();
    updater.result = E_ABORT;
    EXPECT_EQ(Request(L"ann"), E_ABORT);
    EXPECT_EQ(Viewers(), Texts{L"ann"}) << "stored all the same";
    IKelNode* response = nullptr;
    EXPECT_EQ(service->ProcessRequest(nullptr, &response), E_POINTER);
    EXPECT_EQ(service->ProcessRequest(config.Get(), nullptr), E_POINTER);
    EXPECT_EQ(configurable->Configure(CreateKelNode(nullptr, nullptr).Get()), HResultFromWin32(ERROR_NOT_FOUND));
    EXPECT_EQ(configurable->Configure(nullptr), E_POINTER);
}

TEST_F(PrepareReportAccessServiceTest, TheCheckerIsAskedWithoutTheLock)
{
    checker.grants = {{L"ann", {}}, {L"bob", {}}};
    checker.hook = [&](const std::wstring& name) {
        if (name == L"ann") {
            EXPECT_EQ(Viewers(), Texts());
        }
    };
    EXPECT_EQ(Request(L"ann"), S_OK);
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 20; ++i)
                EXPECT_EQ(Request(L"bob"), S_OK);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(Viewers(), (Texts{L"ann", L"bob"}));
}
