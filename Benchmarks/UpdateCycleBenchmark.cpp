#include "Benchmarks/Support.h"
#include "Subsystems/ManagementService/Kestrine/AccessRightsTableWriter.h"
#include "Subsystems/ManagementService/Kestrine/ReportAccessInfoUpdater.h"
#include "Tests/Support/HostFakes.h"

#include <benchmark/benchmark.h>

namespace
{

// Takes the statements and forgets them.
struct CountingConnection : FakeComponent<IDatabaseConnection>
{
    HRESULT Execute(const wchar_t* sql, std::int32_t, IKelNode**) override
    {
        characters += std::wcslen(sql);
        ++statements;
        return S_OK;
    }
    std::size_t characters = 0;
    std::size_t statements = 0;
};

struct CountingConnectionManager : FakeComponent<IDatabaseConnectionManager>
{
    HRESULT OpenConnection(IKelNode*, std::int32_t, IDatabaseConnection** out) override
    {
        connection.AddRef();
        *out = &connection;
        return S_OK;
    }
    CountingConnection connection;
};

// A configured updater with one source that answers with deep copies, as the module's own sources do.
struct Site
{
    explicit Site(std::int64_t items)
    {
        SetMaxSeverity(L"WARN");
        source.list = MakeAccessInfo(items);
        const KelNodePtr config = CreateKelNode(nullptr, nullptr);
        config.SetString(L"DatabaseConnectionManager", L"Benchmark.Database");
        config.SetString(L"ReportingSettingsManager", L"Benchmark.Settings");
        config.SetStringList(L"RegisterAccessInfoSources", {L"Benchmark.Source"});
        config.SetInt32(L"ForceUpdateIntervalS", 0);
        CComponentObject<CReportAccessInfoUpdater>::Create(IAccessInfoUpdater::Iid, updater.OutVoid());
        ComponentPtr<IConfigurableComponent> configurable;
        updater->QueryInterface(IConfigurableComponent::Iid, configurable.OutVoid());
        configurable->Configure(config.Get());
        settings.Deliver({MakeEntry(L"entry", true, L"http://localhost/")});
        Cycle();
    }

    HRESULT Cycle() { return updater->UpdateAccessInfo(nullptr, TRUE); }

    FakeSource source;
    FakeSettingsManager settings;
    CountingConnectionManager database;
    RegisteredInstance namedSource{L"Benchmark.Source", &source};
    RegisteredInstance namedSettings{L"Benchmark.Settings", &settings};
    RegisteredInstance namedDatabase{L"Benchmark.Database", &database};
    ComponentPtr<IAccessInfoUpdater> updater;
};

void Sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->Complexity(benchmark::oN);
}

void UnchangedCycle(benchmark::State& state)
{
    Site site(state.range(0));
    const std::size_t statements = site.database.connection.statements;
    for (auto _ : state) {
        if (site.Cycle() != S_OK)
            state.SkipWithError("the cycle failed");
    }
    if (site.database.connection.statements != statements)
        state.SkipWithError("the table was written");
    state.SetComplexityN(state.range(0));
}

void RewritingCycle(benchmark::State& state)
{
    Site site(state.range(0));
    const KelNodePtr last = site.source.list.GetChildByIndex(static_cast<std::uint64_t>(state.range(0)) - 1, true);
    int round = 0;
    for (auto _ : state) {
        last.SetString(L"LogonName", L"DEPARTMENT\\changed." + std::to_wstring(++round));
        if (site.Cycle() != S_OK)
            state.SkipWithError("the cycle failed");
    }
    state.counters["statements"] = static_cast<double>(site.database.connection.statements) / (round + 1);
    state.SetComplexityN(state.range(0));
}

void RenderSql(benchmark::State& state)
{
    const KelNodePtr list = MakeAccessInfo(state.range(0));
    CountingConnection connection;
    const ComponentPtr<IDatabaseConnection> pointer(&connection);
    for (auto _ : state)
        WriteAccessRights(pointer, KelNodePtr(), list);
    state.SetBytesProcessed(static_cast<std::int64_t>(connection.characters));
    state.SetComplexityN(state.range(0));
}

} // namespace

BENCHMARK(UnchangedCycle)->Apply(Sizes);
BENCHMARK(RewritingCycle)->Apply(Sizes);
BENCHMARK(RenderSql)->Apply(Sizes);
