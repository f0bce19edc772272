#include "Subsystems/ManagementService/Kestrine/RBACUsageTracker.h"

#include "Tests/Support/ComponentTest.h"

namespace
{

class RBACUsageTrackerTest : public ComponentTest<CRBACUsageTracker>
{
protected:
    RBACUsageTrackerTest()
    {
        config.SetString(L"ReportAccessInfoUpdater", L"Test.Updater");
        config.SetString(L"RBACStatusNodePath", L"\\Site\\RBAC");
        config.SetString(L"RBACIsInUseAttribute", L"InUse");
    }

    static KelNodePtr Status(bool inUse)
    {
        KelNodePtr status = CreateKelNode(L"RBAC", nullptr);
        status.SetBool(L"InUse", inUse);
        return status;
    }

    HRESULT Report(const KelNodePtr& status, std::size_t subscription = 0)
    {
        return server.Notify(server.subscriptions[subscription], status);
    }
    HRESULT Report(bool inUse, std::size_t subscription = 0) { return Report(Status(inUse), subscription); }

    // Since the last question.
    std::size_t TakeCalls()
    {
        const auto calls = std::exchange(updater.calls, {});
        EXPECT_EQ(calls, decltype(calls)(calls.size(), {As<IAccessInfoSource>().Get(), false}));
        return calls.size();
    }

    const Texts everybody{L""};
    const Texts nobody;
    Named<FakeConfigServer> server{L"ConfigServer.Proxy"};
    Named<FakeUpdater> updater{L"Test.Updater"};
};

} // namespace

TEST_F(RBACUsageTrackerTest, WatchesTheStatusNodeAlone)
{
    ASSERT_EQ(Configure(), S_OK);
    EXPECT_EQ(Viewers(), nobody) << "no status yet";
    const auto show = [](const KelNodePtr& node) {
        std::wstring text = node.GetName() + L"/" + node.GetNodeType();
        for (const std::wstring& name : node.GetAttributeNames())
            text += L" " + name + L":" + std::to_wstring(node.GetAttributeType(name.c_str())) + L"=" +
                    node.GetString(name.c_str());
        return text;
    };
    EXPECT_EQ(show(server.filters[0]), L"/FilterByPath NodePath:2=\\Site\\RBAC IsParent:7=false MaxDepth:6=0");
    EXPECT_EQ(show(server.requests[0]), L"SubscribeConfig/ ChangesMask:3=7 SubscribeOptions:3=3");
    EXPECT_EQ(server.subscriptions[0].activated, 1);

    server.registered.reset();
    Named<FakeConfigServer> successor(L"ConfigServer.Proxy");
    ASSERT_EQ(Configure(), S_OK);
    EXPECT_TRUE(server.live.empty() && successor.unsubscribed.empty()) << "it ends where it was made";
    FakeModifiedNodes nodes;
    nodes.hook = [&] {
        configurable.Reset();
        EXPECT_EQ(successor.live.size(), 1U) << "the component outlives the notification in progress";
    };
    EXPECT_EQ(successor.sink->OnTriggered(&successor.subscriptions[0], 7, &nodes), S_OK);
    EXPECT_TRUE(successor.live.empty());
}

TEST_F(RBACUsageTrackerTest, TellsTheUpdaterWhenTheStatusFlips)
{
    ASSERT_EQ(Configure(), S_OK);
    const struct
    {
        KelNodePtr status;
        const Texts& viewers;
        std::size_t calls;
    } steps[] = {
        {Status(false), everybody, 0}, // the first status is stored without telling
        {Status(false), everybody, 0},
        {Status(true), nobody, 1},
        {Status(true), nobody, 0},
        {Status(false), everybody, 1},
        {CreateKelNode(L"RBAC", nullptr), nobody, 1}, // the attribute is missing
        {Status(false), everybody, 1},
        {{}, nobody, 1}, // the node is gone
    };
    for (const auto& step : steps) {
        EXPECT_EQ(Report(step.status), S_OK);
        EXPECT_EQ(Viewers(), step.viewers);
        EXPECT_EQ(TakeCalls(), step.calls);
    }
    EXPECT_EQ(log.Count(L"DBG", L"Creating AccessInfo: "), 1U);
    EXPECT_EQ(log.Count(L"DBG", L"Updating AccessInfo: "), 5U);
    EXPECT_EQ(log.Count(L"DBG", L"ModifyMask: 2\r\n"), 8U) << "the low 32 bits";

    updater.result = E_ABORT;
    EXPECT_EQ(Report(false), E_ABORT);
    const KelNodePtr list = MakeTestList({MakeTestItem(L"ann")});
    EXPECT_EQ(Viewers(list), (Texts{L"ann", L""})) << "kept, although the updater could not be told";
    EXPECT_EQ(list.GetChildByIndex(1, true).GetAttributeType(L"LogonName"), KelnEmpty);
}

TEST_F(RBACUsageTrackerTest, EveryRecordOfANotificationIsProcessedAndToldOnce)
{
    ASSERT_EQ(Configure(), S_OK);
    EXPECT_EQ(Report(true), S_OK);
    FakeModifiedNodes nodes;
    const auto trigger = [&] { return server.sink->OnTriggered(&server.subscriptions[0], 7, &nodes); };
    nodes.Add(Status(false));
    nodes.Add(Status(true));
    EXPECT_EQ(trigger(), S_OK);
    EXPECT_EQ(Viewers(), nobody) << "what the last one says";
    EXPECT_EQ(TakeCalls(), 1U);

    nodes.Add(Status(true));
    nodes.entries[1] = CreateKelNode(nullptr, nullptr);
    EXPECT_EQ(trigger(), NotFound);
    EXPECT_EQ(Viewers(), everybody) << "what came before the malformed record stays stored";
    EXPECT_EQ(TakeCalls(), 0U);
    EXPECT_EQ(log.Count(L"| ERR  |", L"CRBACUsageTracker::OnTriggered failed: 0x80070490 "), 1U);
    nodes.withoutEnumerator = true;
    EXPECT_EQ(trigger(), E_POINTER);
    EXPECT_EQ(server.sink->OnTriggered(nullptr, 0, &nodes), E_POINTER);
    EXPECT_EQ(server.sink->OnTriggered(&server.subscriptions[0], 0, nullptr), E_POINTER);
}

TEST_F(RBACUsageTrackerTest, AFailedConfigurationIsUndone)
{
    ASSERT_EQ(Configure(), S_OK);
    EXPECT_EQ(Report(true), S_OK);
    server.subscriptions[1].id = server.subscriptions[0].id; // of a server that was restarted
    server.subscriptions[1].activateResult = E_ABORT;
    server.subscriptions[1].hook = [&] {
        EXPECT_EQ(Report(false, 0), S_OK);
        EXPECT_EQ(Report(true, 1), S_OK);
    };
    EXPECT_EQ(Configure(), E_ABORT);
    EXPECT_EQ(server.unsubscribed, std::vector<IKelModifySubscription*>{&server.subscriptions[1]});
    EXPECT_EQ(Viewers(), everybody) << "of the earlier one, which is still in force";
    EXPECT_EQ(TakeCalls(), 1U);
    FakeSubscription another; // object for the same subscription
    another.id = server.subscriptions[0].id;
    EXPECT_EQ(server.Notify(another, Status(true)), S_OK);
    EXPECT_EQ(Viewers(), nobody);

    updater.result = E_ABORT;
    server.subscriptions[2].hook = [&] { EXPECT_EQ(Report(false, 2), S_OK); };
    EXPECT_EQ(Configure(), S_OK) << "the configuration stands, although the updater could not be asked";
    EXPECT_EQ(Viewers(), everybody);
    EXPECT_EQ(log.Count(L"| WARN |", L"UpdateAccessInfo failed: 0x80004004 "), 1U);
    server.result = S_FALSE;
    EXPECT_EQ(Configure(), E_POINTER) << "success without a subscription";
    EXPECT_EQ(configurable->Configure(nullptr), E_POINTER);
    EXPECT_EQ(configurable->Configure(CreateKelNode(nullptr, nullptr).Get()), NotFound);
    EXPECT_EQ(log.Count(L"ERR", L"Configuration key 'ReportAccessInfoUpdater'"), 1U);
}
