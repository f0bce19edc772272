#include "Subsystems/ManagementService/Kestrine/RBACUsageTracker.h"

#include "Tests/Kestrine/TrackerTest.h"

namespace
{

class RBACUsageTrackerTest : public TrackerTest<CRBACUsageTracker>
{
protected:
    RBACUsageTrackerTest()
    {
        config.SetString(L"ReportAccessInfoUpdater", L"Test.Updater");
        config.SetString(L"RBACStatusNodePath", L"\\Site\\RBAC");
        config.SetString(L"RBACIsInUseAttribute", L"InUse");
    }

    static KelNodePtr Status(std::optional<bool> inUse)
    {
        KelNodePtr status = CreateKelNode(L"RBAC", nullptr);
        if (inUse)
            status.SetBool(L"InUse", *inUse);
        return status;
    }

    HRESULT Report(const KelNodePtr& status, std::size_t subscription = 0)
    {
        return server.Notify(server.subscriptions[subscription], status);
    }

    const Texts everybody{L""};
    const Texts nobody;
};

} // namespace

TEST_F(RBACUsageTrackerTest, WatchesTheStatusNodeAloneUntilItsRelease)
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
    ASSERT_EQ(Configure(), S_OK);
    EXPECT_EQ(server.live, std::vector<IKelModifySubscription*>{&server.subscriptions[1]});
    configurable.Reset();
    EXPECT_TRUE(server.live.empty());
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
        {Status(false), everybody, 0},     {Status(true), nobody, 1},
        {Status(true), nobody, 1},         {Status(false), everybody, 2},
        {Status(std::nullopt), nobody, 3},                  // the attribute is missing
        {Status(false), everybody, 4},     {{}, nobody, 5}, // the node is gone
    };
    for (const auto& step : steps) {
        EXPECT_EQ(Report(step.status), S_OK);
        EXPECT_EQ(Viewers(), step.viewers);
        EXPECT_EQ(updater.calls, decltype(updater.calls)(step.calls, {As<IAccessInfoSource>().Get(), false}));
    }
    EXPECT_EQ(log.Count(L"DBG", L"Creating AccessInfo: "), 1U);
    EXPECT_EQ(log.Count(L"DBG", L"Updating AccessInfo: "), 5U);
    EXPECT_EQ(log.Count(L"DBG", L"ModifyMask: 2\r\n"), 8U) << "the low 32 bits";
}

TEST_F(RBACUsageTrackerTest, EveryRecordOfANotificationIsProcessedAndToldOnce)
{
    ASSERT_EQ(Configure(), S_OK);
    EXPECT_EQ(Report(Status(true)), S_OK);
    FakeModifiedNodes nodes;
    nodes.Add(L"\\Site\\RBAC", Status(false));
    nodes.Add(L"\\Site\\RBAC", Status(false));
    EXPECT_EQ(server.sink->OnTriggered(&server.subscriptions[0], 7, &nodes), S_OK);
    EXPECT_EQ(updater.calls.size(), 1U);

    // A malformed record ends the notification; what came before it stays stored.
    const KelNodePtr withoutMask = CreateKelNode(nullptr, nullptr);
    withoutMask.SetString(L"ModifiedNodePath", L"\\Site\\RBAC");
    for (const KelNodePtr& malformed : {CreateKelNode(nullptr, nullptr), withoutMask}) {
        EXPECT_EQ(Report(Status(false)), S_OK);
        nodes.entries.clear();
        nodes.Add(L"\\Site\\RBAC", Status(true));
        nodes.entries.push_back(malformed);
        nodes.Add(L"\\Site\\RBAC", Status(false));
        updater.calls.clear();
        EXPECT_EQ(server.sink->OnTriggered(&server.subscriptions[0], 7, &nodes), NotFound);
        EXPECT_TRUE(updater.calls.empty());
        EXPECT_EQ(Viewers(), nobody);
    }
    EXPECT_EQ(log.Count(L"| ERR  |", L"CRBACUsageTracker::OnTriggered failed: 0x80070490 "), 2U);
}

TEST_F(RBACUsageTrackerTest, TheUpdatersFailureIsReportedAndTheStatusKept)
{
    ASSERT_EQ(Configure(), S_OK);
    EXPECT_EQ(Report(Status(true)), S_OK);
    updater.result = E_ABORT;
    EXPECT_EQ(Report(Status(false)), E_ABORT);
    const KelNodePtr list = MakeTestList({MakeTestItem(L"ann")});
    EXPECT_EQ(Viewers(list), (Texts{L"ann", L""}));
    EXPECT_EQ(list.GetChildByIndex(1, true).GetAttributeType(L"LogonName"), KelnEmpty);
    FakeModifiedNodes nodes;
    EXPECT_EQ(server.sink->OnTriggered(nullptr, 0, &nodes), E_POINTER);
    EXPECT_EQ(server.sink->OnTriggered(&server.subscriptions[0], 0, nullptr), E_POINTER);
    server.subscriptions[0].idResult = E_FAIL;
    EXPECT_EQ(Report(Status(true)), E_FAIL);
}

TEST_F(RBACUsageTrackerTest, AFailedConfigurationIsUndone)
{
    EXPECT_EQ(configurable->Configure(nullptr), E_POINTER);
    ASSERT_EQ(Configure(), S_OK);
    server.subscriptions[1].activateResult = E_ABORT;
    config.SetString(L"RBACStatusNodePath", L"\\Other");
    EXPECT_EQ(Configure(), E_ABORT);
    server.failingSubscribe = 3;
    EXPECT_EQ(Configure(), E_ABORT);
    EXPECT_EQ(server.unsubscribed, std::vector<IKelModifySubscription*>{&server.subscriptions[1]});
    EXPECT_EQ(Report(Status(false)), S_OK);
    EXPECT_EQ(log.Count(L"Subscription triggered for: \\Site\\RBAC"), 1U) << "the earlier one is still in force";
    for (const wchar_t* key : {L"ReportAccessInfoUpdater", L"RBACStatusNodePath", L"RBACIsInUseAttribute"}) {
        const KelNodePtr incomplete = CreateKelNode(nullptr, nullptr);
        for (const std::wstring& name : config.GetAttributeNames()) {
            if (name != key)
                incomplete.SetString(name.c_str(), L"x");
        }
        EXPECT_EQ(configurable->Configure(incomplete.Get()), NotFound);
        EXPECT_EQ(log.Count(L"ERR", std::wstring(L"Configuration key '") + key + L"'"), 1U);
    }
}

TEST_F(RBACUsageTrackerTest, WhatTheReplacedNodeReportedEndsWithItsConfiguration)
{
    ASSERT_EQ(Configure(), S_OK);
    EXPECT_EQ(Report(Status(false)), S_OK);
    ASSERT_EQ(Configure(), S_OK);
    EXPECT_EQ(Viewers(), nobody) << "the new node has not reported";
    EXPECT_EQ(Report(Status(false)), S_OK);
    EXPECT_EQ(Viewers(), nobody) << "late news of the replaced node";
    EXPECT_EQ(updater.calls.size(), 0U);
    ASSERT_EQ(Configure(), S_OK);
    EXPECT_EQ(Report(Status(true), 2), S_OK);
    EXPECT_EQ(updater.calls.size(), 1U) << "everybody was known before, two configurations ago";
    updater.calls.clear();
    EXPECT_EQ(Report(Status(false), 2), S_OK);
    ASSERT_EQ(Configure(), S_OK);
    EXPECT_EQ(Report(Status(false), 3), S_OK);
    EXPECT_EQ(updater.calls.size(), 2U) << "an update in between has taken everybody's row away";
    EXPECT_EQ(Report(Status(true), 3), S_OK);
    updater.calls.clear();

    // What it reports before the exchange is compared at the exchange.
    server.subscriptions[4].hook = [&] {
        EXPECT_EQ(Report(Status(false), 4), S_OK);
        EXPECT_EQ(Viewers(), nobody) << "the earlier one is in force";
    };
    updater.result = E_ABORT;
    ASSERT_EQ(Configure(), S_OK) << "the configuration stands, although the updater could not be asked";
    EXPECT_EQ(Viewers(), everybody);
    EXPECT_EQ(updater.calls.size(), 1U);
    EXPECT_EQ(log.Count(L"| WARN |", L"UpdateAccessInfo failed: 0x80004004 "), 1U);
    server.hook = [&](FakeSubscription& subscription) {
        EXPECT_EQ(server.Notify(subscription, Status(false)), S_OK);
        EXPECT_EQ(Report(Status(true), 4), E_ABORT);
        EXPECT_EQ(Viewers(), nobody) << "each to its own, also before the subscription is handed out";
    };
    ASSERT_EQ(Configure(), S_OK);
    EXPECT_EQ(Viewers(), everybody);
    EXPECT_EQ(updater.calls.size(), 3U);
}

TEST_F(RBACUsageTrackerTest, AFailedConfigurationChangesNothingThatWasReported)
{
    ASSERT_EQ(Configure(), S_OK);
    EXPECT_EQ(Report(Status(true)), S_OK);
    server.subscriptions[1].id = server.subscriptions[0].id; // of a server that was restarted
    server.subscriptions[1].activateResult = E_ABORT;
    server.subscriptions[1].hook = [&] {
        EXPECT_EQ(Report(Status(false), 0), S_OK);
        EXPECT_EQ(Report(Status(true), 1), S_OK);
    };
    EXPECT_EQ(Configure(), E_ABORT);
    EXPECT_EQ(Viewers(), everybody);
    EXPECT_EQ(updater.calls.size(), 1U);
    FakeSubscription another; // object for the same subscription
    another.id = server.subscriptions[0].id;
    EXPECT_EQ(server.Notify(another, Status(true)), S_OK);
    EXPECT_EQ(Viewers(), nobody);
}

TEST_F(RBACUsageTrackerTest, SubscriptionsEndWhereTheyWereMade)
{
    ExpectSubscriptionsToEndWhereTheyWereMade(1);
}

TEST_F(RBACUsageTrackerTest, SuccessWithoutAnObjectIsAFailure)
{
    server.withoutSubscription = true;
    EXPECT_EQ(Configure(), E_POINTER);
    server.withoutSubscription = false;
    ASSERT_EQ(Configure(), S_OK);
    FakeModifiedNodes nodes;
    nodes.withoutEnumerator = true;
    EXPECT_EQ(server.sink->OnTriggered(&server.subscriptions[0], 7, &nodes), E_POINTER);
}
