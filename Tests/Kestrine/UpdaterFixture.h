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

    // With the sources and consumers that it has.
    HRESULT ConfigureAgain()
    {
        config.SetStringList(L"RegisterAccessInfoSources", {});
        config.SetStringList(L"RegisterAccessInfoConsumers", {});
        return Configure();
    }

    HRESULT RunCycle() { return updater->UpdateAccessInfo(nullptr, TRUE); }

    // An enabled entry at the address.
    HRESULT Deliver(const wchar_t* url = L"http://198.51.100.20/ReportServer")
    {
        return settings.Deliver({MakeEntry(L"entry", true, url)});
    }

    // Delivers settings whose enabled entry is a new one, and returns when the cycle that they trigger is over.
    void DeliverAndSettle(const std::vector<KelNodePtr>& entries)
    {
        const int asked = sourceB.asked;
        ASSERT_EQ(settings.Deliver(entries), S_OK);
        ASSERT_TRUE(Eventually([&] { return sourceB.asked > asked; }));
        ASSERT_EQ(RunCycle(), S_OK);
        clock.LetTheWaiterLook(); // the worker's run is over
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

    FakeSource sourceA;
    FakeSource sourceB;
    FakeConsumer consumer;
    FakeDatabase database;
    FakeSettingsManager settings;
    NamedInstance namedA{L"Test.SourceA", &sourceA};
    NamedInstance namedB{L"Test.SourceB", &sourceB};
    NamedInstance namedConsumer{L"Test.Consumer", &consumer};
    NamedInstance namedDatabase{L"Test.Database", static_cast<IDatabaseConnectionManager*>(&database)};
    NamedInstance namedSettings{L"Test.Settings", &settings};
    ComponentPtr<IAccessInfoUpdater> updater = As<IAccessInfoUpdater>();
};
