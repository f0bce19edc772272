#include "Subsystems/ManagementService/Kestrine/ConfiguredAccountsTracker.h"

#include "Platform/Testing/TestAccounts.h"
#include "Tests/Support/ComponentTest.h"
#include "Tests/Support/SecurityFakes.h"

namespace
{

constexpr char Entries[] = "computer = S-1-5-21-10-20-30\n"
                           "domain CORP = S-1-5-21-1-2-3 corp.example\n"
                           "user CORP\\ann = 1105\n"
                           "user CORP\\bob = 1106\n"
                           "user CORP\\below = 1107\n"
                           "group CORP\\Readers = 1201\n"
                           "member CORP\\Readers = CORP\\bob\n"
                           "user .\\karen = 1001\n"
                           "type NT AUTHORITY\\SYSTEM = user\n";
constexpr wchar_t Ann[] = L"S-1-5-21-1-2-3-1105";
constexpr wchar_t Bob[] = L"S-1-5-21-1-2-3-1106";

class ConfiguredAccountsTrackerTest : public ComponentTest<CConfiguredAccountsTracker>
{
protected:
    ConfiguredAccountsTrackerTest() : ComponentTest(L"CConfiguredAccountsTracker::UpdateAccessInfo")
    {
        config.SetString(L"ReportAccessInfoUpdater", L"Test.Updater");
        config.SetInt32(L"UpdateIntervalS", 120);
        config.AddChild(items);
        AddItem(L"TrackingItem", false);
        tokens.names = {{Ann, L"CORP\\ann"}, {Bob, L"CORP\\bob"}};
        checker.grants = {{L"CORP\\ann", {}}, {L"CORP\\bob", {}}};
    }

    void AddItem(const wchar_t* type, bool recursively)
    {
        const KelNodePtr item = CreateKelNode(nullptr, type);
        item.SetString(L"NodePath", L"\\Site\\Viewers");
        item.SetString(L"Attribute", L"Accounts");
        item.SetBool(L"Recursively", recursively);
        items.AddChild(item);
    }

    // With the permission that the checker knows; otherwise every user account gets full access.
    void Start(bool withPermission = false)
    {
        if (withPermission)
            config.SetString(L"RequiredContainerPermission", checker.requiredPermission);
        ASSERT_EQ(Configure(), S_OK);
        clock.LetTheWaiterLook();
    }

    static KelNodePtr Node(const Texts& accountTexts)
    {
        KelNodePtr node = CreateKelNode(L"Viewers", L"Group");
        node.SetStringList(L"Accounts", accountTexts);
        const KelNodePtr child = CreateKelNode(L"Below", L"Viewer");
        child.SetString(L"Accounts", L"CORP\\below"); // read by recursive items only
        node.AddChild(child);
        return node;
    }
    HRESULT Notify(const Texts& accountTexts, std::size_t subscription = 0)
    {
        return server.Notify(server.subscriptions[subscription], Node(accountTexts));
    }

    // What the tracker answers after the action and the run that it makes the worker do.
    template <class Action>
    Texts Run(Action action)
    {
        AwaitRuns(action);
        return Viewers();
    }
    Texts NotifyAndRun(const Texts& accountTexts, std::size_t subscription = 0)
    {
        return Run([&] { EXPECT_EQ(Notify(accountTexts, subscription), S_OK); });
    }
    Texts RunAgain()
    {
        return Run([&] { clock.Advance(120s + 1ms); });
    }

    const Texts both{L"CORP\\ann", L"CORP\\bob"};
    TestAccounts accounts{Entries};
    Named<FakePermissionsChecker> checker{L"Security.PermissionsChecker"};
    Named<FakeTokenMgr> tokens{L"Security.AuthTokenMgr"};
    Named<FakeConfigServer> server{L"ConfigServer.Proxy"};
    Named<FakeUpdater> updater{L"Test.Updater"};
    KelNodePtr items = CreateKelNode(L"TrackingItems", nullptr);
};

} // namespace

TEST_F(ConfiguredAccountsTrackerTest, SubscribesForEachItemAndUndoesItOnFailure)
{
    AddItem(L"Comment", false);
    AddItem(L"TrackingItem", true);
    server.subscriptions[1].activateResult = E_ABORT;
    EXPECT_EQ(Configure(), E_ABORT);
    EXPECT_EQ(server.subscriptions[0].activated, 0) << "in identifier order";
    EXPECT_TRUE(server.live.empty());
    EXPECT_EQ(server.filters[0].GetString(L"MaxDepth"), L"0");
    EXPECT_EQ(server.filters[1].GetString(L"MaxDepth"), L"2147483647");
    EXPECT_EQ(server.requests[0].GetString(L"SubscribeOptions"), L"11");
    EXPECT_EQ(log.Count(L"New subscription: id={00000064-0000-0000-0000-000000000000} path='\\Site\\Viewers' "
                        L"attr='Accounts' type='' recursive=0"),
              1U);
    items.AddChild(CreateKelNode(nullptr, L"TrackingItem"));
    EXPECT_EQ(Configure(), NotFound);
    EXPECT_EQ(log.Count(L"| ERR  |", L"Configuration item 'TrackingItems[3]' cannot be used: 0x80070490 "), 1U);
    EXPECT_EQ(configurable->Configure(nullptr), E_POINTER);
}

TEST_F(ConfiguredAccountsTrackerTest, UserAccountsGetFullAccessWithoutAPermission)
{
    log.Hook(L"resolved to sid=", [&] { Viewers(); }); // for which the lock must be free
    Start();
    NotifyAndRun({L"CORP\\Readers"});
    EXPECT_EQ(updater.calls, (decltype(updater.calls){{nullptr, false}})) << "a new account, also without an item";
    const Texts viewers = NotifyAndRun({L"CORP\\ann", L"", L"win:sid=S-1-5-21-1-2-3-1105", L"CORP\\Readers",
                                        L"CORP\\nobody", L".\\karen", L"win:sid=S-1-5-18", L"CORP\\ann"});
    ASSERT_EQ(viewers.size(), 2U) << "two texts, one account, one item";
    EXPECT_TRUE(viewers[0] == L"CORP\\ann" && viewers[1].ends_with(L"\\karen!")) << "local";
    EXPECT_TRUE(tokens.minted.empty());
    EXPECT_EQ(log.Count(L"Skipping: sid_type=2"), 2U) << "the group";
    EXPECT_EQ(log.Count(L"Skipping: sid_type=5"), 1U) << "LocalSystem, which this computer calls a user";
    EXPECT_EQ(log.Count(L"| WARN |"), 1U) << "an empty text names nobody";
    RunAgain();
    EXPECT_EQ(updater.calls.size(), 2U) << "nothing has changed";
    EXPECT_EQ(log.Count(L"| WARN |", L"Resolving 'CORP\\nobody' to sid failed: "), 2U) << "tried on every run";
}

TEST_F(ConfiguredAccountsTrackerTest, TextsEnterAndLeaveWithTheNotifications)
{
    AddItem(L"TrackingItem", true);
    items.GetChildByIndex(1, true).SetString(L"NodeType", L"Viewer");
    Start();
    EXPECT_EQ(NotifyAndRun(both), both);
    EXPECT_EQ(NotifyAndRun({L".\\karen"}, 1), (Texts{both[0], both[1], L"CORP\\below"})) << "of one type, below";
    EXPECT_EQ(Notify({L"CORP\\bob", L"CORP\\ann"}), S_OK);
    EXPECT_EQ(log.Count(L"Data updated"), 2U) << "the same set";
    EXPECT_EQ(Run([&] { server.Notify(server.subscriptions[1], {}); }), both) << "a removed node holds no accounts";
    FakeModifiedNodes nodes;
    nodes.Add(Node({L"CORP\\ann"}));
    nodes.Add(Node({L"CORP\\bob", L""}));
    AwaitRuns([&] { EXPECT_EQ(server.sink->OnTriggered(&server.subscriptions[0], 0, &nodes), S_OK); });
    EXPECT_EQ(Viewers(MakeTestList({MakeTestItem(L"first")})), (Texts{L"first", L"CORP\\bob"})) << "of the last record";
    EXPECT_EQ(server.sink->OnTriggered(nullptr, 0, &nodes), E_POINTER);
    EXPECT_EQ(server.sink->OnTriggered(&server.subscriptions[0], 0, nullptr), E_POINTER);
}

TEST_F(ConfiguredAccountsTrackerTest, TokensAndNamesAreKeptForTheRefreshInterval)
{
    config.SetInt32(L"ForceRefreshIntervalS", 1000);
    checker.grants = {{L"CORP\\ann", {L"c1"}}, {L"CORP\\renamed", {L"c1"}}};
    Start(true);
    EXPECT_EQ(NotifyAndRun({L"CORP\\ann"}), Texts{L"CORP\\ann(c1)"});
    RunAgain();
    EXPECT_EQ(std::pair(tokens.minted[Ann], tokens.expiryAsked), std::pair(1, 1));
    tokens.expired = true;
    RunAgain();
    EXPECT_EQ(tokens.minted[Ann], 2) << "the host says that it has expired";
    tokens.expired = false;
    accounts.Write("computer = S-1-5-21-10-20-30\ndomain CORP = S-1-5-21-1-2-3\nuser CORP\\renamed = 1105\n");
    tokens.names[Ann] = L"win:sid=S-1-5-21-1-2-3-1105"; // not resolved by the host
    checker.grants[L"win:sid=S-1-5-21-1-2-3-1105"] = {L"c2"};
    EXPECT_EQ(RunAgain(), Texts{L"CORP\\ann(c1)"}) << "neither name nor token is old";
    EXPECT_EQ(log.Count(L"Updating AccountName for sid="), 1U);
    const int asked = tokens.expiryAsked;
    AwaitRuns([&] { clock.Advance(1000s); });
    EXPECT_EQ(tokens.expiryAsked, asked) << "an old token is renewed without asking";
    EXPECT_EQ(Viewers(), Texts{L"CORP\\renamed(c2)"}) << "the name looked up stands in for the token's";
}

TEST_F(ConfiguredAccountsTrackerTest, OneAccountsFailureLeavesTheOthersAlone)
{
    checker.hook = [&](const std::wstring&) { Viewers(); }; // for which the lock must be free
    Start(true);
    NotifyAndRun(both);
    updater.calls.clear();
    const auto warned = [&] {
        return log.Count(L"| WARN |", std::wstring(L"UpdateAccountAccessItem for '") + Ann + L"' failed: 0x80070005 ");
    };
    checker.failing = {L"CORP\\ann"};
    EXPECT_EQ(RunAgain(), both) << "the item stays";
    EXPECT_EQ(warned(), 1U);
    checker.failing.clear();
    checker.grants[L"CORP\\bob"] = {L"c9"};
    tokens.failing = {Ann};
    tokens.expired = true;
    EXPECT_EQ(RunAgain(), (Texts{L"CORP\\ann", L"CORP\\bob(c9)"}));
    EXPECT_EQ(warned(), 2U);
    EXPECT_EQ(updater.calls.size(), 1U);
    updater.result = E_ABORT;
    checker.grants.erase(L"CORP\\bob");
    EXPECT_EQ(RunAgain(), Texts{L"CORP\\ann"}) << "kept, although the updater could not be told";
}

TEST_F(ConfiguredAccountsTrackerTest, StopEndsARunAtItsNextStepAndConfigureStartsAgain)
{
    const auto stop = [&] { EXPECT_EQ(As<ITrackerControl>()->Stop(), S_OK); };
    log.Hook(L"'CORP\\ann' resolved to sid=", stop);
    checker.hook = [&](const std::wstring&) { stop(); };
    const auto run = [&](const Texts& accountTexts, std::size_t subscription) {
        Start(true);
        ASSERT_EQ(Notify(accountTexts, subscription), S_OK);
        ASSERT_TRUE(Eventually([&] { return log.Count(L"UpdateAccessInfo failed: 0x80004004 ") == subscription + 1; }));
    };
    run(both, 0);
    EXPECT_EQ(log.Count(L"'CORP\\bob' resolved to sid=") + updater.calls.size(), 0U);
    run({L"CORP\\bob", L"win:name=CORP\\below"}, 1);
    EXPECT_EQ(checker.asked, 1);
    checker.hook = nullptr;
    Start(true);
    EXPECT_EQ(NotifyAndRun({L"CORP\\bob"}, 2), Texts{L"CORP\\bob"});
}

TEST_F(ConfiguredAccountsTrackerTest, ReplacedItemsAccountsLeaveSoon)
{
    Start();
    NotifyAndRun({L"CORP\\ann"});
    Start();
    clock.Advance(30s - 1ms);
    clock.LetTheWaiterLook();
    EXPECT_EQ(Viewers(), Texts{L"CORP\\ann"}) << "no gap for a server that reports a moment later";
    clock.Advance(1ms);
    EXPECT_TRUE(Eventually([&] { return Viewers().empty(); }));
}

TEST_F(ConfiguredAccountsTrackerTest, WhatOtherSettingsGrantedMustBeConfirmed)
{
    Start(true);
    NotifyAndRun(both);
    checker.failing = {L"CORP\\ann"};
    EXPECT_EQ(RunAgain(), both) << "a failure leaves what these settings granted";
    config.SetBool(L"ResolveUserGroups", true);
    Start(true);
    EXPECT_EQ(NotifyAndRun(both, 1), Texts{L"CORP\\bob"});
    EXPECT_FALSE(tokens.groups.empty());
    checker.requiredPermission = L"Other";
    checker.failing = {L"CORP\\bob"};
    Start(true);
    EXPECT_EQ(NotifyAndRun(both, 2), Texts{L"CORP\\ann"});
    EXPECT_EQ(tokens.minted[Bob], 2) << "the same groups, the same token";
}

TEST_F(ConfiguredAccountsTrackerTest, ARestartedServerMayUseIdentifiersAgain)
{
    for (FakeSubscription& subscription : server.subscriptions)
        subscription.id = server.subscriptions[0].id;
    Start();
    server.subscriptions[1].hook = [&] {
        EXPECT_EQ(Notify({L"CORP\\ann"}, 1), S_OK);
        EXPECT_EQ(Notify({L"CORP\\bob"}, 0), S_OK);
    };
    server.subscriptions[1].activateResult = E_ABORT;
    EXPECT_EQ(Run([&] { EXPECT_EQ(Configure(), E_ABORT); }), Texts{L"CORP\\bob"}) << "what was in force goes on";
    FakeSubscription another; // object for the same subscription
    another.id = server.subscriptions[0].id;
    EXPECT_EQ(Run([&] { EXPECT_EQ(server.Notify(another, {}), S_OK); }), Texts());
}
