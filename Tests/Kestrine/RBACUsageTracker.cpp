#include "Subsystems/ManagementService/Kestrine/RBACUsageTracker.h"

#include "Common/Nodes/KelNodePtr.h"
#include "Tests/Support/HostFakes.h"
#include "Tests/Support/LogCapture.h"

#include <gtest/gtest.h>

namespace
{

class RBACUsageTrackerTest : public testing::Test
{
protected:
    RBACUsageTrackerTest()
    {
        EXPECT_EQ(CComponentObject<CRBACUsageTracker>::Create(IConfigurableComponent::Iid, configurable.OutVoid()),
                  S_OK);
        EXPECT_EQ(configurable->QueryInterface(IAccessInfoSource::Iid, source.OutVoid()), S_OK);
        config.SetString(L"ReportAccessInfoUpdater", L"Test.Updater");
        config.SetString(L"RBACStatusNodePath", L"\\Site\\RBAC");
        config.SetString(L"RBACIsInUseAttribute", L"InUse");
    }

    HRESULT Configure() { return configurable->Configure(config.Get()); }

    // The server reports the status; nothing for a status node that is gone.
    HRESULT Report(std::optional<bool> inUse)
    {
        const KelNodePtr status = CreateKelNode(L"RBAC", nullptr);
        if (inUse)
            status.SetBool(L"InUse", *inUse);
        return server.Notify(server.subscriptions[0], status);
    }

    std::vector<std::wstring> Viewers()
    {
        KelNodePtr list;
        EXPECT_EQ(source->GetAllowedViewers(list.Out()), S_OK);
        return Describe(list);
    }

    const std::vector<std::wstring> everybody{L""};
    const std::vector<std::wstring> nobody;

    LogCapture log;
    FakeConfigServer server;
    FakeUpdater updater;
    NamedInstance namedServer{L"ConfigServer.Proxy", &server};
    NamedInstance namedUpdater{L"Test.Updater", &updater};
    KelNodePtr config = CreateKelNode(nullptr, nullptr);
    ComponentPtr<IAccessInfoSource> source;
    ComponentPtr<IConfigurableComponent> configurable;
};

} // namespace

TEST_F(RBACUsageTrackerTest, WatchesTheStatusNodeAlone)
{
    ASSERT_EQ(Configure(), S_OK);
    ASSERT_EQ(server.filters.size(), 1U);
    std::int64_t depth = -1;
    EXPECT_TRUE(server.filters[0].TryGetInt64(L"MaxDepth", depth));
    EXPECT_EQ(depth, 0);
    EXPECT_EQ(server.filters[0].GetString(L"NodePath"), L"\\Site\\RBAC");
    std::int32_t options = 0;
    EXPECT_TRUE(server.requests[0].TryGetInt32(L"SubscribeOptions", options));
    EXPECT_EQ(options, 3);
    EXPECT_EQ(server.subscriptions[0].activated, 1);
    EXPECT_EQ(Viewers(), nobody) << "no status yet";
}

TEST_F(RBACUsageTrackerTest, TellsTheUpdaterWhenTheStatusFlips)
{
    ASSERT_EQ(Configure(), S_OK);
    EXPECT_EQ(Report(false), S_OK);
    EXPECT_TRUE(updater.calls.empty()) << "the first status is stored without telling";
    EXPECT_EQ(Viewers(), everybody);
    EXPECT_EQ(Report(false), S_OK);
    EXPECT_TRUE(updater.calls.empty());
    EXPECT_EQ(Report(true), S_OK);
    EXPECT_EQ(updater.calls, (decltype(updater.calls){{source.Get(), false}}));
    EXPECT_EQ(Viewers(), nobody);
    EXPECT_EQ(Report(true), S_OK);
    EXPECT_EQ(updater.calls.size(), 1U);
    EXPECT_EQ(log.Count(L"DBG", L"Creating AccessInfo: "), 1U);
    EXPECT_EQ(log.Count(L"DBG", L"Updating AccessInfo: "), 1U);
    EXPECT_EQ(log.Count(L"DBG", L"ModifyMask: 2"), 4U);
}

TEST_F(RBACUsageTrackerTest, WithoutAStatusRBACCountsAsInUse)
{
    ASSERT_EQ(Configure(), S_OK);
    EXPECT_EQ(Report(false), S_OK);
    EXPECT_EQ(Report(std::nullopt), S_OK);
    EXPECT_EQ(Viewers(), nobody) << "the attribute is missing";
    EXPECT_EQ(Report(false), S_OK);
    EXPECT_EQ(server.Notify(server.subscriptions[0], {}), S_OK);
    EXPECT_EQ(Viewers(), nobody) << "the node is gone";
    EXPECT_EQ(updater.calls.size(), 3U);
}

TEST_F(RBACUsageTrackerTest, EveryRecordOfANotificationIsProcessedAndToldOnce)
{
    ASSERT_EQ(Configure(), S_OK);
    EXPECT_EQ(Report(true), S_OK);
    FakeModifiedNodes nodes;
    const KelNodePtr off = CreateKelNode(L"RBAC", nullptr);
    off.SetBool(L"InUse", false);
    nodes.Add(L"\\Site\\RBAC", off);
    nodes.Add(L"\\Site\\RBAC", off);
    EXPECT_EQ(server.sink->OnTriggered(&server.subscriptions[0], 7, &nodes), S_OK);
    EXPECT_EQ(updater.calls.size(), 1U);

    // A malformed record ends the notification; what came before it stays stored.
    nodes.entries.clear();
    const KelNodePtr on = CreateKelNode(L"RBAC", nullptr);
    nodes.Add(L"\\Site\\RBAC", on);
    nodes.entries.push_back(CreateKelNode(nullptr, nullptr));
    EXPECT_EQ(server.sink->OnTriggered(&server.subscriptions[0], 7, &nodes), HResultFromWin32(ERROR_NOT_FOUND));
    EXPECT_EQ(updater.calls.size(), 1U);
    EXPECT_EQ(Viewers(), nobody);
    EXPECT_EQ(log.Count(L"| ERR  |", L"CRBACUsageTracker::OnTriggered failed: 0x80070490 "), 1U);
}

TEST_F(RBACUsageTrackerTest, TheUpdatersFailureIsReportedAndTheStatusKept)
{
    ASSERT_EQ(Configure(), S_OK);
    EXPECT_EQ(Report(true), S_OK);
    updater.result = E_ABORT;
    EXPECT_EQ(Report(false), E_ABORT);
    EXPECT_EQ(Viewers(), everybody);
    FakeModifiedNodes nodes;
    EXPECT_EQ(server.sink->OnTriggered(nullptr, 0, &nodes), E_POINTER);
    EXPECT_EQ(server.sink->OnTriggered(&server.subscriptions[0], 0, nullptr), E_POINTER);
    server.subscriptions[0].idResult = E_FAIL;
    EXPECT_EQ(Report(true), E_FAIL);
}

TEST_F(RBACUsageTrackerTest, AppendsToTheCallersList)
{
    ASSERT_EQ(Configure(), S_OK);
    EXPECT_EQ(Report(false), S_OK);
    const KelNodePtr list = MakeTestList({MakeTestItem(L"ann")});
    IKelNode* handle = list.Get();
    EXPECT_EQ(source->GetAllowedViewers(&handle), S_OK);
    EXPECT_EQ(handle, list.Get());
    EXPECT_EQ(Describe(list), (std::vector<std::wstring>{L"ann", L""}));
    EXPECT_EQ(list.GetChildByIndex(1, true).GetAttributeType(L"LogonName"), KelnEmpty);
    EXPECT_EQ(source->GetAllowedViewers(nullptr), E_POINTER);
}

TEST_F(RBACUsageTrackerTest, WhatCannotBeSubscribedIsUndone)
{
    EXPECT_EQ(configurable->Configure(nullptr), E_POINTER);
    server.subscriptions[0].activateResult = E_ABORT;
    EXPECT_EQ(Configure(), E_ABORT);
    EXPECT_TRUE(server.live.empty());
    EXPECT_EQ(server.unsubscribed.size(), 1U);
    server.failingSubscribe = 2;
    EXPECT_EQ(Configure(), E_ABORT);
    EXPECT_EQ(server.unsubscribed.size(), 1U) << "there was nothing to undo";
    for (const wchar_t* key : {L"ReportAccessInfoUpdater", L"RBACStatusNodePath", L"RBACIsInUseAttribute"}) {
        const KelNodePtr incomplete = CreateKelNode(nullptr, nullptr);
        for (const std::wstring& name : config.GetAttributeNames()) {
            if (name != key)
                incomplete.SetString(name.c_str(), L"x");
        }
        log.Clear();
        EXPECT_EQ(configurable->Configure(incomplete.Get()), HResultFromWin32(ERROR_NOT_FOUND));
        EXPECT_EQ(log.Count(L"ERR", std::wstring(L"Configuration key '") + key + L"'"), 1U);
    }
}

TEST_F(RBACUsageTrackerTest, ReconfiguringReplacesTheSubscriptionAndReleaseEndsIt)
{
    ASSERT_EQ(Configure(), S_OK);
    ASSERT_EQ(Configure(), S_OK);
    EXPECT_EQ(server.live, std::vector<IKelModifySubscription*>{&server.subscriptions[1]});
    source.Reset();
    configurable.Reset();
    EXPECT_TRUE(server.live.empty());
}
