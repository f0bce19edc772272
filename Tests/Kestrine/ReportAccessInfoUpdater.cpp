#include "Host/Nodwell/TestControls.h"
#include "Tests/Kestrine/UpdaterFixture.h"

TEST_F(UpdaterFixture, BeforeSettingsArriveCyclesDoNothing)
{
    EXPECT_EQ(RunCycle(), HResultFromWin32(ERROR_INVALID_STATE)) << "not configured";
    EXPECT_EQ(updater->UpdateAccessInfo(nullptr, FALSE), S_OK) << "nothing to trigger yet";
    ASSERT_EQ(Configure(), S_OK);
    clock.LetTheWaiterLook();
    EXPECT_EQ(log.Count(L"ForceFullSync="), 0U) << "the first cycle comes with the interval";
    EXPECT_EQ(RunCycle(), S_OK);
    EXPECT_EQ(sourceA.asked, 0);
    EXPECT_TRUE(database.entries.empty());
}

TEST_F(UpdaterFixture, ACycleMergesSourcesInOrderTellsConsumersAndWritesTheTable)
{
    sourceB.list = MakeTestList({MakeTestItem(L"ann", {L"c1"}), MakeTestItem(L"local", {}, true)});
    ASSERT_EQ(Configure(), S_OK);
    const KelNodePtr disabled = MakeEntry(L"first", false, L"http://localhost/");
    const KelNodePtr enabled = MakeEntry(L"second", true, L"http://198.51.100.20/");
    DeliverAndSettle({disabled, enabled, MakeEntry(L"third", true, L"http://localhost/")});
    EXPECT_EQ(consumer.settings, std::vector<KelNodePtr>{enabled});
    EXPECT_EQ(consumer.lists[0], (Texts{L"ann(c1)", L"bob", L"ann(c1)"}))
        << "duplicates stay, the local-only item is gone";
    EXPECT_EQ(database.entries[0], enabled);
    ASSERT_GE(database.statements.size(), 3U);
    EXPECT_NE(database.statements[1].find(L"N'ann',N'c1','A'), (N'bob',NULL,'A'), (N'ann',N'c1','A')"),
              std::wstring::npos);
    EXPECT_EQ(log.Count(L"DBG", L"IsLocalSSRS=0"), 1U);
}

TEST_F(UpdaterFixture, AnUnchangedListIsNotWrittenUntilTheForceIntervalHasPassed)
{
    config.SetInt32(L"ForceUpdateIntervalS", 3600);
    Start();
    EXPECT_EQ(ListsOfNextCycle(), Lists());
    EXPECT_EQ(log.Count(L"Updating access rights table is not required"), 1U);
    clock.Advance(3600s);
    EXPECT_EQ(ListsOfNextCycle(), Lists()) << "exactly the interval is not more than it";
    clock.Advance(1ns);
    EXPECT_EQ(ListsOfNextCycle(), Lists(1, {L"ann(c1)", L"bob"}));
    EXPECT_EQ(ListsOfNextCycle(), Lists()) << "counted from the last write";

    config.SetInt32(L"ForceUpdateIntervalS", 0);
    ConfigureAgainAndSettle();
    clock.Advance(1000h);
    EXPECT_EQ(ListsOfNextCycle(), Lists()) << "never forced";
    sourceA.list.GetChildByIndex(0, true).SetStringList(L"ContainerId", {L"c1", L"c2"});
    EXPECT_EQ(ListsOfNextCycle(), Lists(1, Describe(sourceA.list)));
    EXPECT_EQ(log.Count(L"Updating access rights table required"), 1U);
}

TEST_F(UpdaterFixture, LocalOnlyItemsStayForALocalReportServerOrOnDemand)
{
    Start();
    sourceB.list = MakeTestList({MakeTestItem(L"local", {}, true)});
    EXPECT_EQ(ListsOfNextCycle(), Lists(1, {L"ann(c1)", L"bob"})) << "remote";
    const Texts withLocal{L"ann(c1)", L"bob", L"local!"};
    DeliverAndSettle({MakeEntry(L"entry", true, L"http://localhost/ReportServer")});
    EXPECT_EQ(consumer.lists.back(), withLocal);

    config.SetBool(L"DontFilterOutLocalAccounts", true);
    ConfigureAgainAndSettle();
    Forget();
    DeliverAndSettle({MakeEntry(L"entry", true, L"http://198.51.100.21/")});
    EXPECT_EQ(consumer.lists, Lists(1, withLocal));
    EXPECT_EQ(log.Count(L"Updating IsLocalSSRS status"), 0U) << "nobody needs to know";
}

TEST_F(UpdaterFixture, OnlyAnotherEnabledEntryChangesAnything)
{
    Start();
    ASSERT_EQ(settings.Deliver(
                  {MakeEntry(L"other", false, L"x"), MakeEntry(L"entry", true, L"http://198.51.100.20/ReportServer")}),
              S_OK);
    EXPECT_TRUE(consumer.settings.empty());
    EXPECT_EQ(ListsOfNextCycle(), Lists());
    DeliverAndSettle({MakeEntry(L"entry", true, L"http://198.51.100.21/ReportServer")});
    EXPECT_EQ(consumer.settings.size(), 1U);
    EXPECT_EQ(consumer.lists.size(), 1U) << "the first cycle after a change writes";

    Forget();
    ASSERT_EQ(settings.Deliver({MakeEntry(L"entry", false, L"x")}), S_OK);
    ASSERT_EQ(settings.Deliver({}), S_OK);
    EXPECT_EQ(consumer.settings, std::vector<KelNodePtr>{KelNodePtr()}) << "none again is no change";
    const int asked = sourceA.asked;
    EXPECT_EQ(ListsOfNextCycle(), Lists()) << "without an enabled entry writing stops";
    EXPECT_EQ(sourceA.asked, asked);
    EXPECT_EQ(settings.sink->OnModified(1, 0, nullptr), E_POINTER);
}

TEST_F(UpdaterFixture, AnotherConfigurationIsWrittenAtOnceWhateverTheIntervals)
{
    sourceB.list = MakeTestList({MakeTestItem(L"local", {}, true)});
    config.SetInt32(L"ForceUpdateIntervalS", 0);
    config.SetBool(L"DontFilterOutLocalAccounts", true);
    Start();
    config.SetBool(L"DontFilterOutLocalAccounts", false);
    ConfigureAgainAndSettle();
    EXPECT_EQ(consumer.lists.front(), (Texts{L"ann(c1)", L"bob"})) << "local accounts lose their rights";
    EXPECT_TRUE(consumer.settings.empty()) << "they are the same";

    sourceB.list = MakeTestList({});
    EXPECT_EQ(ListsOfNextCycle(), Lists()) << "from here on the list stays the same";
    FakeDatabase otherDatabase;
    const RegisteredInstance named(L"Test.OtherDatabase", static_cast<IDatabaseConnectionManager*>(&otherDatabase));
    FakeConsumer added;
    const RegisteredInstance namedAdded(L"Test.Added", &added);
    config.SetString(L"DatabaseConnectionManager", L"Test.OtherDatabase");
    ConfigureAgainAndSettle({L"Test.Added"});
    EXPECT_TRUE(database.statements.empty());
    EXPECT_EQ(otherDatabase.entries.size(), 1U);
    EXPECT_EQ(added.settings, otherDatabase.entries) << "the entry in use";
    EXPECT_TRUE(consumer.settings.empty()) << "has it already";

    config.SetString(L"DatabaseConnectionManager", L"Test.Database");
    ConfigureAgainAndSettle({L"Test.Absent"}, NotFound);
    EXPECT_FALSE(database.statements.empty()) << "what a failed configuration has stored is in force";
    configurable.Reset();
    updater.Reset();
}

TEST_F(UpdaterFixture, AnotherSettingsManagerEndsWhatTheEarlierOneHasDelivered)
{
    Start();
    const auto entryInUse = database.entries.back();
    const ComponentPtr<IReportingSettingsModifySink> lateSink = settings.sink;
    FakeSettingsManager other;
    const RegisteredInstance named(L"Test.OtherSettings", &other);
    config.SetString(L"ReportingSettingsManager", L"Test.OtherSettings");
    const KelNodePtr delivered = CreateKelNode(L"DBSettings", nullptr);
    const KelNodePtr rejected = MakeEntry(L"other", true, L"http://198.51.100.30/");
    delivered.AddChild(rejected);
    other.deliveredInside = delivered;
    other.result = E_ABORT;
    ConfigureAgainAndSettle({}, E_ABORT);
    EXPECT_EQ(database.entries.back(), entryInUse) << "a failed subscription changes nothing";
    EXPECT_EQ(consumer.settings, (std::vector{rejected, entryInUse}));
    DeliverAndSettle({MakeEntry(L"entry", true, L"http://198.51.100.31/")});

    other.deliveredInside.Reset();
    other.result = S_OK;
    Forget();
    EXPECT_EQ(ConfigureAgain(), S_OK);
    EXPECT_EQ(RunCycle(), S_OK);
    EXPECT_EQ(consumer.settings, std::vector<KelNodePtr>{KelNodePtr()}) << "none until the new manager delivers";
    EXPECT_EQ(consumer.lists, Lists());
    EXPECT_EQ(settings.subscriptions, 0);
    EXPECT_EQ(lateSink->OnModified(1, 0, delivered.Get()), S_OK);
    EXPECT_EQ(consumer.settings.size(), 1U) << "a late notification of the earlier manager counts for nothing";
    Settle([&] { EXPECT_EQ(other.Deliver({MakeEntry(L"entry", true, L"http://198.51.100.32/")}), S_OK); });
    EXPECT_EQ(database.entries.back().GetString(L"ReportServerUrl"), L"http://198.51.100.32/");
    configurable.Reset();
    updater.Reset();
}

TEST_F(UpdaterFixture, SettingsDeliveredWhileSubscribingStartTheFirstCycle)
{
    settings.deliveredInside = CreateKelNode(L"DBSettings", nullptr);
    settings.deliveredInside.AddChild(MakeEntry(L"entry", true, L"http://198.51.100.20/"));
    Settle([&] { EXPECT_EQ(Configure(), S_OK); });
    EXPECT_EQ(consumer.lists.size(), 1U);
}

TEST_F(UpdaterFixture, AFailingSourceCostsItsOwnItemsOnly)
{
    sourceB.list = MakeTestList({MakeTestItem(L"zoe")});
    Start();
    sourceA.result = E_ABORT;
    EXPECT_EQ(ListsOfNextCycle(), Lists(1, {L"zoe"}));
    EXPECT_EQ(log.Count(L"| WARN |", L"Unable to query access info source=", L" failed: 0x80004004 "), 1U);
    EXPECT_EQ(ListsOfNextCycle(), Lists()) << "still missing is no change";
    sourceA.result = S_OK;
    EXPECT_EQ(ListsOfNextCycle(), Lists(1, {L"ann(c1)", L"bob", L"zoe"}));
    sourceA.list.Reset();
    EXPECT_EQ(ListsOfNextCycle(), Lists(1, {L"zoe"})) << "success without a list counts as a failure";
}

TEST_F(UpdaterFixture, AfterAFailureTheRetryIntervalAppliesAndTheNextGoodCycleWrites)
{
    config.SetInt32(L"UpdateIntervalS", 300);
    config.SetInt32(L"RetryIntervalS", 120);
    Start();
    for (HRESULT* result : {&consumer.listResult, &database.result}) {
        sourceA.list = MakeTestList({MakeTestItem(result == &database.result ? L"y" : L"x")});
        *result = E_ABORT;
        EXPECT_EQ(RunCycle(), E_ABORT);
        EXPECT_EQ(log.Count(L"| ERR  |", L"CReportAccessInfoUpdater::UpdateAction failed: 0x80004004 "), 1U);
        EXPECT_EQ(consumer.lists, Lists(1, Describe(sourceA.list))) << "consumers are told before the table is written";
        *result = S_OK;
        Forget();
        const int opened = database.opened;
        clock.LetTheWaiterLook();
        clock.Advance(120s + 1ms);
        EXPECT_TRUE(Eventually([&] { return database.opened > opened; })) << "the worker tries again";
        clock.LetTheWaiterLook(); // the run is over
        EXPECT_EQ(consumer.lists, Lists(1, Describe(sourceA.list)));
        const int asked = sourceB.asked;
        clock.Advance(300s - 1ms);
        clock.LetTheWaiterLook();
        EXPECT_EQ(sourceB.asked, asked) << "the update interval applies again";
        clock.Advance(1ms);
        EXPECT_TRUE(Eventually([&] { return sourceB.asked > asked; }));
        clock.LetTheWaiterLook();
        Forget();
    }
    sourceA.list = MakeTestList({MakeTestItem(L"z")});
    database.failingStatement = 2;
    EXPECT_EQ(RunCycle(), E_ABORT);
    EXPECT_EQ(database.statements.size(), 2U) << "no MERGE";
    database.failingStatement = 0;
    EXPECT_EQ(ListsOfNextCycle(), Lists(1, {L"z"}));
}

TEST_F(UpdaterFixture, AFailingConsumerOfSettingsIsReportedToTheManager)
{
    FakeConsumer behind;
    const RegisteredInstance named(L"Test.Behind", &behind);
    config.SetStringList(L"RegisterAccessInfoConsumers", {L"Test.Consumer", L"Test.Behind"});
    Start();
    consumer.settingsResult = E_ABORT;
    EXPECT_EQ(Deliver(L"http://198.51.100.22/"), E_ABORT);
    EXPECT_EQ(log.Count(L"| ERR  |", L"ManagementService::CReportingSettingsModifySink::OnModified failed: "), 1U);
    EXPECT_EQ(behind.settings.size(), 1U) << "of the start only";
    sourceA.hook = [&] { EXPECT_EQ(behind.settings.size(), 2U) << "told before the list"; };
    EXPECT_EQ(RunCycle(), S_OK);
    EXPECT_EQ(database.entries.back().GetString(L"ReportServerUrl"), L"http://198.51.100.22/");
    EXPECT_EQ(consumer.settings, std::vector<KelNodePtr>(2, database.entries.back()));
    EXPECT_EQ(log.Count(L"| WARN |", L"Unable to update reporting settings of access info consumer=0x",
                        L" failed: 0x80004004 "),
              1U);
    consumer.settingsResult = S_OK;
    EXPECT_EQ(ListsOfNextCycle(), Lists()) << "the list is the same";
    EXPECT_EQ(consumer.settings.size(), 1U);
    EXPECT_EQ(ListsOfNextCycle(), Lists());
    EXPECT_TRUE(consumer.settings.empty()) << "has accepted them";

    consumer.settingsResult = E_ABORT;
    EXPECT_EQ(settings.Deliver({}), E_ABORT);
    EXPECT_EQ(RunCycle(), S_OK);
    EXPECT_EQ(consumer.settings, std::vector<KelNodePtr>(2)) << "told again that there are none";
    EXPECT_EQ(behind.settings.back(), KelNodePtr());
    configurable.Reset();
    updater.Reset();
}

TEST_F(UpdaterFixture, SuccessWithoutAnObjectIsAFailure)
{
    settings.handsOutNothing = true;
    EXPECT_EQ(Configure(), E_POINTER);
    EXPECT_EQ(Deliver(), S_OK);
    EXPECT_TRUE(consumer.settings.empty()) << "no subscription, no notification";
    settings.handsOutNothing = false;
    config.SetInt32(L"RetryIntervalS", 0);
    ASSERT_EQ(ConfigureAgain(), S_OK);
    database.handsOutNothing = true;
    EXPECT_EQ(Deliver(), S_OK);
    EXPECT_EQ(RunCycle(), E_POINTER);
}

TEST_F(UpdaterFixture, AManagerThatThrowsDoesNotKeepTheUpdaterFromGoing)
{
    Start();
    settings.throwsWhenUnsubscribing = true;
    configurable.Reset();
    updater.Reset();
    EXPECT_EQ(log.Count(L"| ERR  |", L"Unsubscribing from the reporting settings manager failed: "), 1U);
    EXPECT_EQ(Deliver(), S_OK) << "finds nobody";
    settings.sink.Reset();
}

TEST_F(UpdaterFixture, RegisteringKeepsOrderAndDuplicates)
{
    Start();
    EXPECT_EQ(updater->RegisterAccessInfoSource(nullptr), E_POINTER);
    EXPECT_EQ(updater->UnregisterAccessInfoSource(nullptr), E_POINTER);
    sourceA.list = MakeTestList({MakeTestItem(L"a")});
    sourceB.list = MakeTestList({MakeTestItem(L"b")});
    for (FakeSource* source : {&sourceA, &sourceB})
        EXPECT_EQ(updater->RegisterAccessInfoSource(source), S_OK);
    EXPECT_EQ(ListsOfNextCycle(), Lists(1, {L"a", L"b", L"a", L"b"}));
    EXPECT_EQ(updater->UnregisterAccessInfoSource(&sourceB), S_OK);
    EXPECT_EQ(ListsOfNextCycle(), Lists(1, {L"a", L"a"}));
    EXPECT_EQ(sourceB.References(), 2U) << "the test's and the name's";
}

TEST_F(UpdaterFixture, ConfigureSaysWhichKeyIsWrong)
{
    const KelNodePtr missing = CreateKelNode(nullptr, nullptr);
    missing.SetString(L"DatabaseConnectionManager", L"Test.Database");
    KelNodePtr changed[4];
    for (KelNodePtr& each : changed)
        each = config.Clone(KelnWholeTree);
    changed[0].SetInt32(L"RetryIntervalS", -1);
    changed[1].SetInt64(L"ForceUpdateIntervalS", 0x100000000);
    changed[2].SetString(L"UpdateIntervalS", L"often");
    changed[3].SetStringList(L"RegisterAccessInfoConsumers", {L"Test.Absent"});
    const struct
    {
        KelNodePtr config;
        const wchar_t* code;
        const wchar_t* line;
    } cases[] = {
        {{}, L"0x80004003 ", L""},
        {missing, L"0x80070490 ", L"Configuration key 'ReportingSettingsManager' cannot be used: 0x80070490 "},
        {changed[0], L"0x80070057 ", L"Configuration key 'RetryIntervalS' cannot be used: -1 is out of range"},
        {changed[1], L"0x80070057 ", L"Configuration key 'ForceUpdateIntervalS' cannot be used: 4294967296 is out"},
        {changed[2], L"0x", L"Configuration key 'UpdateIntervalS' cannot be used: 0x"},
        {changed[3], L"0x80070490 ", L""},
    };
    for (const auto& each : cases) {
        log.Clear();
        EXPECT_LT(configurable->Configure(each.config.Get()), 0);
        EXPECT_EQ(log.Count(std::wstring(L"| CReportAccessInfoUpdater::Configure failed: ") + each.code), 1U);
        EXPECT_EQ(log.Count(L"| ERR  |", L"Configuration key"), *each.line ? 1U : 0U);
        EXPECT_GE(log.Count(L"| ERR  |", each.line), 1U) << testing::PrintToString(each.line);
    }
    settings.result = E_ABORT;
    EXPECT_EQ(Configure(), E_ABORT);
    settings.result = S_OK;
    config.SetEmpty(L"UpdateIntervalS"); // without value: keeps the default
    EXPECT_EQ(Configure(), S_OK);
}

TEST_F(UpdaterFixture, ConfiguringAgainDuringARunDoesNotDeadlockAndLeavesOneSubscription)
{
    sourceA.hook = [&] { gate.Pass(); };
    ASSERT_EQ(Configure(), S_OK);
    ASSERT_EQ(Deliver(), S_OK);
    ASSERT_TRUE(gate.WaitForArrivals(1)) << "the worker is inside a cycle and holds the lock";
    std::thread configuring([&] { EXPECT_EQ(ConfigureAgain(), S_OK); });
    std::thread waiting([&] { EXPECT_EQ(RunCycle(), S_OK); });
    gate.Open();
    configuring.join();
    waiting.join();
    EXPECT_EQ(settings.subscriptions, 1);
    // The replaced worker's run waits for the lock that a configuration holds.
    ASSERT_EQ(RunCycle(), S_OK);
    clock.LetTheWaiterLook(); // no run is in progress: the next one is seen to begin
    const auto runs = [&] { return log.Count(L"Entering: CReportAccessInfoUpdater::UploadAccessInfo"); };
    settings.hook = [&, before = runs()] {
        EXPECT_EQ(updater->UpdateAccessInfo(nullptr, FALSE), S_OK);
        EXPECT_TRUE(Eventually([&] { return runs() > before; }));
    };
    EXPECT_EQ(ConfigureAgain(), S_OK);
    settings.hook = nullptr;
    settings.result = E_ABORT;
    EXPECT_EQ(ConfigureAgain(), E_ABORT);
    EXPECT_EQ(settings.subscriptions, 1) << "the one that stands stays";
}

TEST_F(UpdaterFixture, ReleaseWaitsForTheRunAndANotificationInProgressAndUnsubscribes)
{
    sourceA.hook = [&] { gate.Pass(); };
    ASSERT_EQ(Configure(), S_OK);
    ASSERT_EQ(Deliver(), S_OK);
    ASSERT_TRUE(gate.WaitForArrivals(1));
    const ComponentPtr<IReportingSettingsModifySink> sink = settings.sink;
    const KelNodePtr later = CreateKelNode(nullptr, nullptr);
    std::thread notifying([&] { EXPECT_EQ(sink->OnModified(1, 0, later.Get()), S_OK); });
    std::thread releasing([&] {
        updater.Reset();
        configurable.Reset();
    });
    ASSERT_TRUE(Eventually([&] { return settings.subscriptions == 0; }));
    gate.Open();
    releasing.join();
    notifying.join();
    EXPECT_EQ(sink->OnModified(1, 0, later.Get()), S_OK) << "a late notification finds nobody and harms nobody";
}

TEST_F(UpdaterFixture, ASourceMayAskForAnUpdateAndChangeTheListWhileItIsAsked)
{
    Start();
    const int asked = sourceA.asked;
    sourceA.hook = [this, asked] {
        if (sourceA.asked == asked + 1) {
            EXPECT_EQ(updater->UnregisterAccessInfoSource(&sourceB), S_OK);
            EXPECT_EQ(updater->UpdateAccessInfo(&sourceA, FALSE), S_OK);
        }
    };
    EXPECT_EQ(RunCycle(), S_OK);
    EXPECT_TRUE(Eventually([&] { return sourceA.asked == asked + 2; })) << "triggered from inside the cycle";
    const int askedB = sourceB.asked;
    EXPECT_EQ(RunCycle(), S_OK);
    EXPECT_EQ(sourceB.asked, askedB);
}

// Fails the n-th call of the node library, for every n, and looks whether each time nothing is lost.
TEST_F(UpdaterFixture, AnyFailingNodeCallCostsOneCycleAtMost)
{
    sourceB.list = MakeTestList({MakeTestItem(L"local", {}, true), MakeTestItem(L"zoe", {L"c1", L"c2"})});
    Start();
    bool fired = true;
    for (std::uint64_t call = 1; fired; ++call) {
        // The list changes with every round.
        sourceA.list = MakeTestList({MakeTestItem(std::to_wstring(call).c_str())});
        Forget();
        NodwellFailCall(call, E_OUTOFMEMORY, 0);
        const HRESULT hr = RunCycle();
        fired = NodwellFaultsFired() > 0;
        NodwellFailCall(0, S_OK, 0);
        EXPECT_TRUE(hr == S_OK || hr == E_OUTOFMEMORY) << hr;
        Forget();
        ASSERT_EQ(RunCycle(), S_OK);
        sourceA.list = MakeTestList({MakeTestItem(L"probe")});
        ASSERT_EQ(RunCycle(), S_OK);
        ASSERT_EQ(consumer.lists.back(), (Texts{L"probe", L"zoe(c1,c2)"})) << "after a fault in call " << call;
        ASSERT_LT(call, 1000U);
    }
}

TEST_F(UpdaterFixture, AReportServerThatCannotBeLookedUpIsRemote)
{
    Start();
    sourceB.list = MakeTestList({MakeTestItem(L"local", {}, true)});
    const KelNodePtr entry = MakeEntry(L"entry", true, L"");
    entry.SetRaw(L"ReportServerUrl", KelnBinary, {}); // is no text
    EXPECT_EQ(settings.Deliver({entry}), S_OK);
    EXPECT_EQ(RunCycle(), S_OK);
    clock.LetTheWaiterLook(); // no run is in progress
    EXPECT_EQ(consumer.lists.back(), (Texts{L"ann(c1)", L"bob"}));
    EXPECT_GE(log.Count(L"| ERR  |", L"IsLocalSSRS failed: "), 1U);
}
