// An updater with everything around it faked.
#pragma once

#include "Subsystems/ManagementService/Kestrine/ReportAccessInfoUpdater.h"
#include "Tests/Support/ComponentTest.h"

class UpdaterFixture : public ComponentTest<CReportAccessInfoUpdater>
{
protected:
    UpdaterFixture()
    {
        config.SetString(L"DatabaseConnectionManager", L"Test.Database");
        config.SetString(L"ReportingSettingsManager", L"Test.Settings");
        config.SetStringList(L"RegisterAccessInfoSources", {L"Test.SourceA", L"Test.SourceB"});
        config.SetStringList(L"RegisterAccessInfoConsumers", {L"Test.Consumer"});
        sourceA.list = MakeTestList({MakeTestItem(L"ann", {L"c1"}), MakeTestItem(L"bob")});
    }

    void TearDown() override
    {
        updater.Reset();
        ComponentTest::TearDown();
    }

    // With the sources that it has, and those consumers more.
    HRESULT ConfigureAgain(const Texts& newConsumers = {})
    {
        config.SetStringList(L"RegisterAccessInfoSources", {});
        config.SetStringList(L"RegisterAccessInfoConsumers", newConsumers);
        return Configure();
    }

    HRESULT RunCycle() { return updater->UpdateAccessInfo(nullptr, TRUE); }

    // An enabled entry at the address.
    HRESULT Deliver(const wchar_t* url = L"http://198.51.100.20/ReportServer")
    {
        return settings.Deliver({MakeEntry(L"entry", true, url)});
    }

    // Does what triggers a cycle, and returns when that cycle is over.
    template <class Action>
    void Settle(Action action)
    {
        const int asked = sourceB.asked;
        action();
        ASSERT_TRUE(Eventually([&] { return sourceB.asked > asked; }));
        ASSERT_EQ(RunCycle(), S_OK);
        clock.LetTheWaiterLook(); // the worker's run is over
    }

    // The settings' enabled entry is a new one.
    void DeliverAndSettle(const std::vector<KelNodePtr>& entries)
    {
        Settle([&] { ASSERT_EQ(settings.Deliver(entries), S_OK); });
    }

    void ConfigureAgainAndSettle(const Texts& newConsumers = {}, HRESULT expected = S_OK)
    {
        Forget();
        Settle([&] { ASSERT_EQ(ConfigureAgain(newConsumers), expected); });
    }

    // Configured, with a remote report server, and past the first cycle.
    void Start()
    {
        ASSERT_EQ(Configure(), S_OK);
        DeliverAndSettle({MakeEntry(L"entry", true, L"http://198.51.100.20/ReportServer")});
        Forget();
    }

    void Forget()
    {
        consumer.lists.clear();
        consumer.settings.clear();
        database.statements.clear();
        log.Clear();
    }

    // What the next cycle tells the consumer and writes; empty when it does nothing.
    std::vector<Texts> ListsOfNextCycle()
    {
        Forget();
        EXPECT_EQ(RunCycle(), S_OK);
        EXPECT_EQ(database.statements.empty(), consumer.lists.empty());
        return consumer.lists;
    }

    using Lists = std::vector<Texts>;

    Gate gate; // for hooks: a worker may still call them when the test's own variables are gone
    FakeSource sourceA;
    FakeSource sourceB;
    FakeConsumer consumer;
    FakeDatabase database;
    FakeSettingsManager settings;
    RegisteredInstance namedA{L"Test.SourceA", &sourceA};
    RegisteredInstance namedB{L"Test.SourceB", &sourceB};
    RegisteredInstance namedConsumer{L"Test.Consumer", &consumer};
    RegisteredInstance namedDatabase{L"Test.Database", static_cast<IDatabaseConnectionManager*>(&database)};
    RegisteredInstance namedSettings{L"Test.Settings", &settings};
    ComponentPtr<IAccessInfoUpdater> updater = As<IAccessInfoUpdater>();
};
