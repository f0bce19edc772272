#include "Benchmarks/Support.h"
#include "Common/Helpers/AsyncAction.h"

#include <benchmark/benchmark.h>

namespace
{

// From the trigger to the start of the run that it causes.
void TriggerToRun(benchmark::State& state)
{
    SetMaxSeverity(L"WARN");
    std::atomic<std::int64_t> runs{0};
    CAsyncAction action(std::chrono::seconds(0), std::chrono::seconds(0), [&](CAsyncAction&) {
        ++runs;
        runs.notify_all();
    });
    std::int64_t expected = 0;
    for (auto _ : state) {
        action.Trigger();
        while (runs <= expected)
            runs.wait(expected);
        expected = runs;
    }
}

} // namespace

BENCHMARK(TriggerToRun)->UseRealTime()->Unit(benchmark::kMicrosecond);
