#include "Benchmarks/Support.h"
#include "Common/Nodes/KelNodesEqual.h"
#include "Common/Nodes/NodeSerializer.h"
#include "Subsystems/ManagementService/Kestrine/AccessRightsItem.h"

#include <benchmark/benchmark.h>

namespace
{

void Sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->Complexity(benchmark::oN);
}

void CloneAccessInfo(benchmark::State& state)
{
    const KelNodePtr list = MakeAccessInfo(state.range(0));
    const double before = HeapBytes();
    const KelNodePtr held = list.Clone(KelnWholeTree);
    state.counters["bytes/item"] = (HeapBytes() - before) / static_cast<double>(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(list.Clone(KelnWholeTree));
    state.SetComplexityN(state.range(0));
}

void CompareEqualLists(benchmark::State& state)
{
    const KelNodePtr a = MakeAccessInfo(state.range(0));
    const KelNodePtr b = MakeAccessInfo(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(KelNodesEqual(a, b, KelIgnoreIdentity));
    state.SetComplexityN(state.range(0));
}

void SerializeList(benchmark::State& state)
{
    const KelNodePtr list = MakeAccessInfo(state.range(0));
    IKelNode* const handle = list.Get();
    for (auto _ : state)
        benchmark::DoNotOptimize(SerializeNodesToText(&handle, 1, 0x101, KelnWholeTree));
    state.SetComplexityN(state.range(0));
}

void RemoveLocalOnly(benchmark::State& state)
{
    const KelNodePtr list = MakeAccessInfo(state.range(0));
    std::int64_t i = 0;
    for (const KelNodePtr& item : list.GetChildren()) {
        if (i++ % 3 == 0)
            item.SetBool(AccessRights::IsLocalOnly, true);
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(RemoveLocalOnlyItems(list));
    state.SetComplexityN(state.range(0));
}

} // namespace

BENCHMARK(CloneAccessInfo)->Apply(Sizes);
BENCHMARK(CompareEqualLists)->Apply(Sizes);
BENCHMARK(SerializeList)->Apply(Sizes);
BENCHMARK(RemoveLocalOnly)->Apply(Sizes);
