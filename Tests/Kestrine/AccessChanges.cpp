// What the log tells of rights gained and lost and of cycles that fail, and sources that others' answers stand in for.
#include "Subsystems/ManagementService/Kestrine/AccessChanges.h"

#include "Tests/Kestrine/UpdaterFixture.h"

namespace
{

std::vector<KelNodePtr> ManyItems(int count, const wchar_t* prefix)
{
    std::vector<KelNodePtr> items;
    for (int i = 0; i < count; ++i)
        items.push_back(MakeTestItem((prefix + std::to_wstring(100 + i)).c_str()));
    return items;
}

} // namespace

TEST(AccessChanges, RowsCountByWhatTheListsGrantAndNotByItems)
{
    const auto ann = MakeTestItem(L"ann", {L"c1"});
    const auto bob = MakeTestItem(L"bob");
    const auto eve = MakeTestItem(L"eve", {L"c1"});
    const auto zoe = MakeTestItem(L"zoe");
    const struct
    {
        std::vector<KelNodePtr> before;
        std::vector<KelNodePtr> after;
        const wchar_t* expected;
    } cases[] = {
        {{zoe, ann, eve},
         {zoe, MakeTestItem(L"ann", {L"c1", L"c2", L"c3"}), bob},
         L"+3 -1 rows: +ann (2 objects), +bob (every object), -eve (1 object)"},
        {{ann, bob, zoe}, {zoe, ann, bob}, L"+0 -0 rows"},
        {{ann, bob, ann}, {ann, bob}, L"+0 -0 rows"},
        {{ann, bob}, {ann, bob, ann}, L"+0 -0 rows"},
        {{ann}, {MakeTestItem(L"ann")}, L"+1 -1 rows: +ann (every object), -ann (1 object)"},
        {{eve, zoe}, {}, L"+0 -2 rows: -eve (1 object), -zoe (every object)"},
        {{ann}, {ann, MakeTestItem(L"")}, L"+1 -0 rows: +(every account) (every object)"},
        {{ann}, {ann, MakeTestItem(L"bob", {L""})}, L"+0 -0 rows"},
    };
    for (const auto& each : cases)
        EXPECT_EQ(DescribeAccessChanges(MakeTestList(each.before), MakeTestList(each.after)), each.expected);

    std::vector<KelNodePtr> after = ManyItems(24, L"n");
    after.push_back(MakeTestItem(L"a"));
    const std::wstring text = DescribeAccessChanges(MakeTestList(ManyItems(2, L"b")), MakeTestList(after));
    EXPECT_TRUE(
        text.starts_with(L"+25 -2 rows: +a (every object), -b100 (every object), -b101 (every object), +n100 "));
    EXPECT_TRUE(text.ends_with(L", +n115 (every object), +n116 (every object) and 7 more")) << text;
}

TEST_F(UpdaterFixture, ChangesAndFailuresAreLoggedOnlyOnDemand)
{
    config.SetInt32(L"UpdateIntervalS", 100);
    config.SetInt32(L"RetryIntervalS", 0);
    config.SetBool(L"LogChanges", true);
    sourceA.list = MakeTestList({MakeTestItem(L"ann", {L"c1", L"c2"}), MakeTestItem(L"bob")});
    ASSERT_EQ(Configure(), S_OK);
    DeliverAndRun(Remote);
    EXPECT_EQ(log.Count(L"| INFO |", L" Access rights written: 3 rows\r\n"), 1U);

    sourceA.list = MakeTestList({MakeTestItem(L"ann", {L"c1"})});
    EXPECT_EQ(ListsOfNextCycle().size(), 1U);
    EXPECT_EQ(log.Count(L"| INFO |", L" Access rights changed: +0 -2 rows: -ann (1 object), -bob (every object)\r\n"),
              1U);
    EXPECT_TRUE(ListsOfNextCycle().empty());
    EXPECT_EQ(log.Count(L"Access rights changed"), 0U) << "nothing was written";

    sourceA.list = MakeTestList({MakeTestItem(L"zoe")});
    database.result = E_ABORT;
    Forget();
    for (const auto wait : {0s, 100s, 199s}) {
        clock.Advance(wait);
        EXPECT_EQ(RunCycle(), E_ABORT);
    }
    EXPECT_EQ(log.Count(L"| WARN |"), 0U);
    for (int i = 0; i < 2; ++i) {
        clock.Advance(1s);
        EXPECT_EQ(RunCycle(), E_ABORT);
    }
    EXPECT_EQ(log.Count(L"| WARN |", L" Access rights table is out of date: no cycle has succeeded since 2"), 1U);
    database.result = S_OK;
    clock.Advance(111s);
    EXPECT_EQ(RunCycle(), S_OK);
    EXPECT_EQ(log.Count(L"| INFO |", L" Access rights changed: +1 -1 rows: -ann (1 object), +zoe (every object)\r\n"),
              1U)
        << "told of the last list that was written";
    EXPECT_EQ(log.Count(L"| INFO |", L" Access rights table is up to date again after 5 failed cycles, 412 s\r\n"), 1U);
    EXPECT_EQ(ListsOfNextCycle().size() + log.Count(L"up to date again"), 0U);

    config.SetBool(L"LogChanges", false);
    ConfigureAgain();
    sourceA.list.Reset();
    database.result = E_ABORT;
    EXPECT_EQ(RunCycle(), E_ABORT);
    clock.Advance(300s);
    EXPECT_EQ(RunCycle(), E_ABORT);
    database.result = S_OK;
    EXPECT_EQ(RunCycle(), S_OK);
    EXPECT_EQ(log.Count(L" Access rights "), 0U) << "neither writes nor failures";
}

TEST_F(UpdaterFixture, ALastGoodAnswerStandsInForASourceThatFails)
{
    config.SetInt32(L"ForceUpdateIntervalS", 0);
    config.SetInt32(L"SourceGraceS", 100);
    sourceB.list = MakeTestList({MakeTestItem(L"zoe")});
    Start();
    const Lists none;
    const Lists everybody(1, {L"ann(c1)", L"bob", L"zoe"});
    const Lists withoutA(1, {L"zoe"});
    const auto standsIn = [this] {
        return log.Count(L"| WARN |", L"The answer of 2", L" stands in for access info source=0x");
    };
    sourceA.result = E_ABORT;
    clock.Advance(100s);
    EXPECT_EQ(ListsOfNextCycle(), none) << "as long as the grace";
    EXPECT_EQ(standsIn(), 1U);
    EXPECT_EQ(log.Count(L"Unable to query access info source="), 1U);
    clock.Advance(1ns);
    EXPECT_EQ(ListsOfNextCycle(), withoutA);
    EXPECT_EQ(standsIn(), 0U);
    sourceA.result = S_OK;
    EXPECT_EQ(ListsOfNextCycle(), everybody) << "a good answer counts from then on";
    sourceA.list.Reset();
    clock.Advance(60s);
    EXPECT_EQ(ListsOfNextCycle(), none) << "success without a list is a failure";
    sourceA.list = MakeTestList({MakeTestItem(L"eve")});
    EXPECT_EQ(ListsOfNextCycle(), Lists(1, {L"eve", L"zoe"}));

    sourceA.result = E_ABORT;
    EXPECT_EQ(Updater()->UnregisterAccessInfoSource(&sourceA), S_OK);
    EXPECT_EQ(Updater()->RegisterAccessInfoSource(&sourceA), S_OK);
    EXPECT_EQ(ListsOfNextCycle(), withoutA) << "a source that was unregistered";
    sourceA.result = S_OK;
    EXPECT_EQ(ListsOfNextCycle(), Lists(1, {L"zoe", L"eve"}));
    sourceA.result = E_ABORT;
    log.Hook(L"Unable to query access info source=", [&] { Updater()->UnregisterAccessInfoSource(&sourceA); });
    EXPECT_EQ(ListsOfNextCycle(), withoutA) << "a source that was unregistered while it was asked";
    log.Hook(L"", {});
    EXPECT_EQ(Updater()->RegisterAccessInfoSource(&sourceA), S_OK);
    sourceA.result = S_OK;
    EXPECT_EQ(ListsOfNextCycle(), Lists(1, {L"zoe", L"eve"}));
    sourceA.result = E_ABORT;
    ConfigureAgain();
    EXPECT_EQ(consumer.lists.back(), withoutA.front()) << "an answer from before a second Configure";
    EXPECT_EQ(standsIn(), 0U);
}
