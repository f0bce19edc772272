// An updater with everything around it faked.
#pragma once

#include "Subsystems/ManagementService/Kestrine/ReportAccessInfoUpdater.h"
#include "Tests/Support/ComponentTest.h"

// The addresses of report servers.
inline constexpr wchar_t Remote[] = L"http://198.51.100.20/ReportServer";
inline constexpr wchar_t OtherRemote[] = L"http://198.51.100.21/ReportServer";
inline constexpr wchar_t Local[] = L"http://localhost/ReportServer";

class UpdaterFixture : public ComponentTest<CReportAccessInfoUpdater>
{
protected:
    using Lists = std::vector<Texts>;

    UpdaterFixture() : ComponentTest(L"CReportAccessInfoUpdater::UpdateAction")
    {
        config.SetString(L"DatabaseConnectionManager", L"Test.Database");
        config.SetString(L"ReportingSettingsManager", L"Test.Settings");
        config.SetStringList(L"RegisterAccessInfoSources", {L"Test.SourceA", L"Test.SourceB"});
        config.SetStringList(L"RegisterAccessInfoConsumers", {L"Test.Consumer"});
        sourceA.list = MakeTestList({MakeTestItem(L"ann", {L"c1"}), MakeTestItem(L"bob")});
    }

    // With the sources and consumers that it has, and those consumers more.
    void ConfigureAgain(const Texts& newConsumers = {}, HRESULT expected = S_OK)
    {
        config.SetStringList(L"RegisterAccessInfoSources", {});
        config.SetStringList(L"RegisterAccessInfoConsumers", newConsumers);
        Forget();
        AwaitRuns([&] { EXPECT_EQ(Configure(), expected); });
    }

    ComponentPtr<IAccessInfoUpdater> Updater() const { return As<IAccessInfoUpdater>(); }
    HRESULT RunCycle() { return Updater()->UpdateAccessInfo(nullptr, TRUE); }

    // An enabled entry at the address.
    HRESULT Deliver(const wchar_t* url) { return settings.Deliver({MakeEntry(L"entry", true, url)}); }
    void DeliverAndRun(const wchar_t* url)
    {
        AwaitRuns([&] { EXPECT_EQ(Deliver(url), S_OK); });
    }

    // Configured, with a remote report server, and past the first cycle.
    void Start()
    {
        ASSERT_EQ(Configure(), S_OK);
        DeliverAndRun(Remote);
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
    Lists ListsOfNextCycle()
    {
        Forget();
        EXPECT_EQ(RunCycle(), S_OK);
        EXPECT_EQ(database.statements.empty(), consumer.lists.empty());
        return consumer.lists;
    }

    const Texts annAndBob{L"ann(c1)", L"bob"};
    const KelNodePtr localItem = MakeTestItem(L"local", {}, true);
    const Texts withLocal{L"ann(c1)", L"bob", L"local!"};
    Named<FakeSource> sourceA{L"Test.SourceA"};
    Named<FakeSource> sourceB{L"Test.SourceB"};
    Named<FakeConsumer> consumer{L"Test.Consumer"};
    Named<FakeConsumer> behind{L"Test.Behind"};
    Named<FakeDatabase> database{L"Test.Database"};
    Named<FakeDatabase> otherDatabase{L"Test.OtherDatabase"};
    Named<FakeSettingsManager> settings{L"Test.Settings"};
    Named<FakeSettingsManager> otherSettings{L"Test.OtherSettings"};
};
