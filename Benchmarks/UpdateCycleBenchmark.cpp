#include "Benchmarks/Support.h"
#include "Subsystems/ManagementService/Kestrine/AccessChanges.h"
#include "Subsystems/ManagementService/Kestrine/AccessRightsTableWriter.h"
#include "Subsystems/ManagementService/Kestrine/ReportAccessInfoUpdater.h"
#include "Tests/Support/HostFakes.h"

#include <benchmark/benchmark.h>
#include <ctime>
#include <fstream>
#include <optional>

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

// The node library's part of an unchanged cycle: what the module and the source call of it, and nothing else. What
// UnchangedCycle takes longer is the module's share.
KelNodePtr BareUnchangedCycle(const KelNodePtr& sourceList, const KelNodePtr& previous)
{
    const auto compareText = [](IKelNode* a, IKelNode* b, auto read) {
        wchar_t text[128];
        std::uint8_t value[256];
        for (IKelNode* const node : {a, b})
            read(node, text, value);
    };
    const auto name = [](IKelNode* node, wchar_t* text, std::uint8_t*) {
        std::uint32_t size = 128;
        KelnGetNodeName(node, KelnNameOnly, text, &size);
    };
    const auto attributeNames = [](IKelNode* node, wchar_t* text, std::uint8_t*) {
        std::uint32_t size = 128;
        KelnGetAttributeNames(node, text, &size);
    };
    const auto attribute = [](const wchar_t* which) {
        return [which](IKelNode* node, wchar_t*, std::uint8_t* value) {
            std::uint32_t size = 256;
            std::uint16_t type = 0;
            KelnGetAttribute(node, which, nullptr, value, &size, &type);
        };
    };
    const auto childCount = [](IKelNode* node, wchar_t*, std::uint8_t*) {
        std::uint64_t count = 0;
        KelnGetChildCount(node, &count);
    };

    KelNodePtr answer = sourceList.Clone(KelnWholeTree);
    KelNodePtr gathered = CreateKelNode(nullptr, nullptr);
    const std::uint64_t count = answer.GetChildCount();
    for (std::uint64_t i = 0; i < count; ++i) {
        IKelNode* child = nullptr;
        IKelNode* clone = nullptr;
        KelnGetChildByIndex(answer.Get(), i, &child);
        KelnCloneNode(child, KelnWholeTree, 0, &clone);
        KelnAddChild(gathered.Get(), clone);
        KelnCloseNodeHandle(clone);
        KelnCloseNodeHandle(child);
    }
    answer.Reset();
    for (std::uint64_t i = 0; i < count; ++i) {
        IKelNode* a = nullptr;
        IKelNode* b = nullptr;
        KelnGetChildByIndex(gathered.Get(), i, &a);
        KelnGetChildByIndex(previous.Get(), i, &b);
        compareText(a, b, name);
        compareText(a, b, attributeNames);
        compareText(a, b, attribute(L"LogonName"));
        compareText(a, b, attribute(L"ContainerId"));
        compareText(a, b, childCount);
        KelnCloseNodeHandle(b);
        KelnCloseNodeHandle(a);
    }
    return gathered;
}

void LibraryInUnchangedCycle(benchmark::State& state)
{
    const KelNodePtr list = MakeAccessInfo(state.range(0));
    KelNodePtr previous = list.Clone(KelnWholeTree);
    for (auto _ : state)
        previous = BareUnchangedCycle(list, previous);
    state.SetComplexityN(state.range(0));
}

// The peak of the process's memory since `ResetPeak`, in MB.
void ResetPeak()
{
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << 5;
}

double Peak()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:"))
            return std::stod(line.substr(6)) / 1024;
    }
    return 0;
}

// One first, one unchanged and one changed cycle; the source's own lists count as memory in use before.
void LargeSite(benchmark::State& state)
{
    const auto milliseconds = [](auto run) { // of processor time
        const std::clock_t start = std::clock();
        run();
        return 1000.0 * static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    };
    for (auto _ : state) {
        std::optional<Site> site;
        site.emplace(0);
        const double empty = HeapBytes();
        const KelNodePtr list = MakeAccessInfo(state.range(0));
        const double before = HeapBytes();
        KelNodePtr clone = list.Clone(KelnWholeTree);
        const double listSize = (HeapBytes() - before) / 1'000'000;
        clone.Reset();
        site->source.list = list;
        state.counters["source's list, MB"] = (before - empty) / 1'000'000;
        state.counters["list, MB"] = listSize;
        const auto cycle = [&](const std::string& name) {
            ResetPeak();
            const double start = Peak();
            state.counters[name + ", ms"] = milliseconds([&] { site->Cycle(); });
            state.counters[name + ", peak MB"] = Peak() - start;
        };
        cycle("first");
        cycle("unchanged");
        list.GetChildByIndex(0, true).SetString(L"LogonName", L"DEPARTMENT\\changed");
        cycle("changed");
    }
}

// What the line about changed rights costs when the first and the last item have changed.
void DescribeChanges(benchmark::State& state)
{
    const KelNodePtr before = MakeAccessInfo(state.range(0));
    const KelNodePtr after = MakeAccessInfo(state.range(0));
    for (const std::int64_t i : {std::int64_t{0}, state.range(0) - 1})
        after.GetChildByIndex(static_cast<std::uint64_t>(i), true).SetString(L"LogonName", L"DEPARTMENT\\changed");
    for (auto _ : state)
        benchmark::DoNotOptimize(DescribeAccessChanges(before, after));
    state.SetComplexityN(state.range(0));
}

constexpr std::wstring_view Container = L"0C8E2B1A-5D3F-4E7A-9B61-2F4D8C7A1E05";

std::vector<std::wstring> MakeNames()
{
    std::vector<std::wstring> names;
    for (int i = 0; i < 10000; ++i)
        names.push_back(L"DEPARTMENT\\some.user." + std::to_wstring(i));
    return names;
}

// Rows of texts that are at hand, as the module renders them and as a loop that does nothing but append.
void RenderRows(benchmark::State& state)
{
    const std::vector<std::wstring> names = MakeNames();
    CountingConnection connection;
    AccessRightsTableWriter writer(ComponentPtr<IDatabaseConnection>(&connection),
                                   std::make_shared<AccessRightsQueryBuilder>(KelNodePtr()), false);
    for (auto _ : state) {
        for (const std::wstring& name : names)
            writer.AddRow(name, Container, false);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(connection.characters));
}

void AppendRows(benchmark::State& state)
{
    const std::vector<std::wstring> names = MakeNames();
    CountingConnection connection;
    std::wstring batch;
    for (auto _ : state) {
        for (const std::wstring& name : names) {
            batch += batch.empty() ? L"INSERT INTO #AccessRightsUpdate(LoginName, ManagedObjectUId, MergeType) VALUES ("
                                   : L", (";
            batch += L"N'";
            batch += name;
            batch += L"',N'";
            batch += Container;
            batch += L"','A')";
            if (batch.size() > 1024) {
                connection.Execute(batch.c_str(), 0, nullptr);
                batch.clear();
            }
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(connection.characters));
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
BENCHMARK(LibraryInUnchangedCycle)->Apply(Sizes);
BENCHMARK(RewritingCycle)->Apply(Sizes);
BENCHMARK(RenderSql)->Apply(Sizes);
BENCHMARK(DescribeChanges)->Apply(Sizes);
BENCHMARK(RenderRows);
BENCHMARK(AppendRows);
BENCHMARK(LargeSite)->Arg(1000000)->Unit(benchmark::kMillisecond)->Iterations(1);
