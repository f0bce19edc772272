#include "Tests/Kestrine/UpdaterFixture.h"

#include <limits>

TEST_F(UpdaterFixture, BeforeSettingsArriveCyclesDoNothing)
{
    config.SetInt32(L"UpdateIntervalS", 100);
    EXPECT_EQ(RunCycle(), HResultFromWin32(ERROR_INVALID_STATE)) << "not configured";
    EXPECT_EQ(Updater()->UpdateAccessInfo(nullptr, FALSE), S_OK) << "nothing to trigger yet";
    ASSERT_EQ(Configure(), S_OK);
    clock.LetTheWaiterLook();
    clock.Advance(100s - 1ms);
    clock.LetTheWaiterLook();
    EXPECT_EQ(log.Count(L"ForceFullSync="), 0U) << "the first cycle comes with the interval";
    AwaitRuns([&] { clock.Advance(1ms); });
    EXPECT_EQ(log.Count(L"ForceFullSync="), 1U);
    EXPECT_EQ(sourceA.asked, 0);
    EXPECT_TRUE(database.entries.empty());
}

TEST_F(UpdaterFixture, ACycleMergesSourcesTellsConsumersAndWritesTheTableEachInOrder)
{
    sourceB.list = MakeTestList({MakeTestItem(L"ann", {L"c1"}), localItem});
    config.SetStringList(L"RegisterAccessInfoConsumers", {L"Test.Consumer", L"Test.Behind"});
    consumer.hook = [&] { EXPECT_TRUE(behind.lists.empty()); };
    behind.hook = [&] { EXPECT_TRUE(consumer.lists.size() == 1 && database.entries.empty()); };
    ASSERT_EQ(Configure(), S_OK);
    const KelNodePtr enabled = MakeEntry(L"second", true, Remote);
    AwaitRuns([&] {
        EXPECT_EQ(settings.Deliver({MakeEntry(L"first", false, Local), enabled, MakeEntry(L"third", true, Local)}),
                  S_OK);
    });
    EXPECT_EQ(consumer.settings, std::vector<KelNodePtr>{enabled});
    EXPECT_EQ(consumer.lists, Lists(1, {L"ann(c1)", L"bob", L"ann(c1)"}))
        << "duplicates stay, the local-only item is gone";
    EXPECT_EQ(behind.lists, consumer.lists);
    EXPECT_EQ(database.entries, std::vector<KelNodePtr>{enabled});
    ASSERT_EQ(database.statements.size(), 3U);
    EXPECT_TRUE(database.statements[1].ends_with(L"N'ann',N'c1','A'), (N'bob',NULL,'A'), (N'ann',N'c1','A')"));
    EXPECT_EQ(log.Count(L"DBG", L"IsLocalSSRS=0"), 1U);
}

TEST_F(UpdaterFixture, AnUnchangedListIsNotWrittenUntilTheForceIntervalHasPassed)
{
    config.SetInt32(L"UpdateIntervalS", std::numeric_limits<std::int32_t>::max()); // the worker stays aside
    config.SetInt32(L"ForceUpdateIntervalS", 3600);
    Start();
    EXPECT_EQ(ListsOfNextCycle(), Lists());
    EXPECT_EQ(log.Count(L"Updating access rights table is not required"), 1U);
    clock.Advance(3600s);
    EXPECT_EQ(ListsOfNextCycle(), Lists()) << "exactly the interval is not more than it";
    clock.Advance(1ns);
    EXPECT_EQ(ListsOfNextCycle(), Lists{annAndBob});
    EXPECT_EQ(ListsOfNextCycle(), Lists()) << "counted from the last write";

    config.SetInt32(L"ForceUpdateIntervalS", 0);
    ConfigureAgain();
    clock.Advance(1000h);
    EXPECT_EQ(ListsOfNextCycle(), Lists()) << "never forced";
    sourceA.list.GetChildByIndex(0, true).SetStringList(L"ContainerId", {L"c1", L"c2"});
    EXPECT_EQ(ListsOfNextCycle(), Lists{Describe(sourceA.list)});
    EXPECT_EQ(log.Count(L"Updating access rights table required"), 1U);
}

TEST_F(UpdaterFixture, LocalityIsLookedUpWithoutTheLockThreeTimesWhenSettingsChangeMeanwhile)
{
    sourceB.list = MakeTestList({localItem});
    Start();
    EXPECT_EQ(ListsOfNextCycle(), Lists{annAndBob}) << "a list is compared with the filtered one";
    for (const int changes : {0, 2, 3}) {
        DeliverAndRun(OtherRemote);
        Forget();
        int left = changes;
        const auto deliver = [&] {
            const KelNodePtr entry = MakeEntry(L"entry", true, Local);
            entry.SetInt32(L"Change", left);
            if (left > 0 || changes == 0) // makes the look-up fail, which is logged inside
                entry.SetRaw(L"ReportServerUrl", KelnBinary, {});
            EXPECT_EQ(settings.Deliver({entry}), S_OK);
        };
        log.Hook(L"IsLocalSSRS failed: ", [&] {
            if (left-- > 0)
                std::thread(deliver).join(); // for which the lock must be free
        });
        AwaitRuns(deliver, changes == 0 ? 1 : 2); // the deliveries inside ask for a second run
        const Lists failed{annAndBob};
        const Lists third{annAndBob, withLocal};
        EXPECT_EQ(consumer.lists, changes == 0 ? failed : changes == 3 ? third : Lists{withLocal});
    }
}

TEST_F(UpdaterFixture, OnlyAnotherEnabledEntryChangesAnything)
{
    Start();
    ASSERT_EQ(settings.Deliver({MakeEntry(L"other", false, L"x"), MakeEntry(L"entry", true, Remote)}), S_OK);
    EXPECT_TRUE(consumer.settings.empty());
    EXPECT_EQ(ListsOfNextCycle(), Lists());
    DeliverAndRun(OtherRemote);
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
    config.SetInt32(L"ForceUpdateIntervalS", 0);
    Start();
    config.SetString(L"DatabaseConnectionManager", L"Test.OtherDatabase");
    ConfigureAgain({L"Test.Behind"});
    EXPECT_TRUE(database.statements.empty());
    EXPECT_EQ(otherDatabase.entries.size(), 1U);
    EXPECT_EQ(behind.settings, otherDatabase.entries) << "the entry in use";
    EXPECT_TRUE(consumer.settings.empty()) << "has it already";

    config.SetString(L"DatabaseConnectionManager", L"Test.Database");
    ConfigureAgain({L"Test.Absent"}, NotFound);
    EXPECT_FALSE(database.statements.empty()) << "what a failed configuration has stored is in force";

    config.SetString(L"ReportingSettingsManager", L"Test.OtherSettings");
    ConfigureAgain();
    EXPECT_EQ(consumer.settings, std::vector<KelNodePtr>{KelNodePtr()}) << "none until the new manager delivers";
    EXPECT_EQ(settings.subscriptions, 0);
}

TEST_F(UpdaterFixture, AFailingSourceCostsItsOwnItemsOnly)
{
    sourceB.list = MakeTestList({MakeTestItem(L"zoe")});
    Start();
    for (const Lists& expected : {Lists(1, {L"zoe"}), Lists()}) {
        sourceA.result = expected.empty() ? S_OK : E_ABORT;
        EXPECT_EQ(ListsOfNextCycle(), expected) << "still missing is no change";
        EXPECT_EQ(log.Count(L"| WARN |", L"Unable to query access info source=", L" failed: 0x"), 1U);
        sourceA.list.Reset(); // success without a list counts as a failure
    }
}

TEST_F(UpdaterFixture, AfterAFailureTheRetryIntervalAppliesAndTheNextGoodCycleWrites)
{
    config.SetInt32(L"UpdateIntervalS", 200);
    config.SetInt32(L"RetryIntervalS", 90);
    Start();
    for (HRESULT* result : {&consumer.listResult, &database.result}) {
        const Lists changed{{std::to_wstring(reinterpret_cast<std::uintptr_t>(result))}};
        sourceA.list = MakeTestList({MakeTestItem(changed[0][0].c_str())});
        *result = E_ABORT;
        EXPECT_EQ(RunCycle(), E_ABORT);
        EXPECT_EQ(log.Count(L"| ERR  |", L"CReportAccessInfoUpdater::UpdateAction failed: 0x80004004 "), 1U);
        EXPECT_EQ(consumer.lists, changed) << "consumers are told before the table is written";
        *result = S_OK;
        clock.LetTheWaiterLook();
        Forget();
        AwaitRuns([&] { clock.Advance(90s + 1ms); });
        EXPECT_EQ(consumer.lists, changed) << "the worker tries again";
        EXPECT_FALSE(database.statements.empty());
        const int asked = sourceB.asked;
        clock.Advance(200s - 1ms);
        clock.LetTheWaiterLook();
        EXPECT_EQ(sourceB.asked, asked) << "the update interval applies again";
        AwaitRuns([&] { clock.Advance(1ms); });
        Forget();
    }
    sourceA.list.Reset();
    database.result = S_FALSE;
    EXPECT_EQ(RunCycle(), E_POINTER) << "success without a connection";
}

TEST_F(UpdaterFixture, AFailingConsumerOfSettingsIsReportedAndToldAgain)
{
    config.SetBool(L"DontFilterOutLocalAccounts", true);
    config.SetStringList(L"RegisterAccessInfoConsumers", {L"Test.Consumer", L"Test.Behind"});
    Start();
    consumer.settingsResult = E_ABORT;
    EXPECT_EQ(Deliver(OtherRemote), E_ABORT);
    EXPECT_EQ(log.Count(L"| ERR  |", L"ManagementService::CReportingSettingsModifySink::OnModified failed: "), 1U);
    EXPECT_EQ(behind.settings.size(), 1U) << "of the start only";
    EXPECT_EQ(RunCycle(), S_OK);
    EXPECT_EQ(behind.settings.size(), 2U);
    EXPECT_EQ(log.Count(L"Updating IsLocalSSRS status"), 0U) << "nobody needs to know";
    EXPECT_EQ(database.entries.back().GetString(L"ReportServerUrl"), OtherRemote);
    EXPECT_EQ(log.Count(L"| WARN |", L"Unable to update reporting settings of access info consumer=0x",
                        L" failed: 0x80004004 "),
              1U);
    consumer.settingsResult = S_OK;
    EXPECT_EQ(ListsOfNextCycle(), Lists()) << "the list is the same";
    EXPECT_EQ(consumer.settings, std::vector{database.entries.back()});
    EXPECT_EQ(ListsOfNextCycle(), Lists());
    EXPECT_TRUE(consumer.settings.empty()) << "has accepted them";
}

TEST_F(UpdaterFixture, ConfigureSaysWhichKeyIsWrong)
{
    const auto refused = [&](HRESULT code, const std::wstring& line) {
        log.Clear();
        EXPECT_EQ(Configure(), code);
        EXPECT_EQ(log.Count(L"| ERR  |", L"CReportAccessInfoUpdater::Configure failed: 0x"), 1U);
        EXPECT_EQ(log.Count(L"| ERR  |", L"Configuration key " + line), 1U);
    };
    settings.result = S_FALSE;
    EXPECT_EQ(Configure(), E_POINTER) << "success without a subscription";
    config.SetInt64(L"RetryIntervalS", 0x100000000);
    refused(E_INVALIDARG, L"'RetryIntervalS' cannot be used: 4294967296 is out of range");
    config.SetEmpty(L"RetryIntervalS"); // without value: keeps the default
    settings.result = S_OK;
    EXPECT_EQ(Configure(), S_OK);
    config = CreateKelNode(nullptr, nullptr);
    refused(NotFound, L"'DatabaseConnectionManager' cannot be used: 0x80070490 ");
    EXPECT_EQ(configurable->Configure(nullptr), E_POINTER);
}
