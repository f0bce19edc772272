#include "Benchmarks/Support.h"
#include "Common/Diagnostics/FileLogger.h"
#include "Common/Diagnostics/Log.h"
#include "Common/Diagnostics/TraceScope.h"
#include "Platform/Testing/TemporaryFolder.h"

#include <benchmark/benchmark.h>

namespace
{

const DataDirectory* g_dataDirectory = nullptr;

void LogStatementOff(benchmark::State& state)
{
    SetMaxSeverity(L"WARN");
    std::wstring name = L"DEPARTMENT\\some.user";
    for (auto _ : state) {
        LOG_DBG(L"Adding item to process: '" << name << L"'");
        benchmark::DoNotOptimize(name);
    }
}

void TraceScopeOff(benchmark::State& state)
{
    SetMaxSeverity(L"WARN");
    for (auto _ : state)
        TRACE_SCOPE(L"CReportAccessInfoUpdater::UploadAccessInfo");
}

void LogLineWritten(benchmark::State& state)
{
    SetMaxSeverity(L"DBG");
    const TemporaryFolder folder;
    TestSettings settings;
    settings[L"Logger/LogFileSizeThresholdMB"] = L"0";
    const DataDirectory dataDirectory(settings.store, folder.Path().wstring() + L"\\");
    g_dataDirectory = &dataDirectory;
    LoggerSettings loggerSettings(settings.store, []() -> const DataDirectory& { return *g_dataDirectory; });
    FileLogger logger(loggerSettings, L"Benchmark.log", L"");
    LogManager::Instance().AddLogger(logger);
    const std::wstring name = L"DEPARTMENT\\some.user";
    for (auto _ : state)
        LOG_DBG(L"Adding item to process: '" << name << L"'");
    LogManager::Instance().RemoveLogger(logger);
}

} // namespace

BENCHMARK(LogStatementOff);
BENCHMARK(TraceScopeOff);
BENCHMARK(LogLineWritten);
