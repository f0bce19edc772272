#include "Benchmarks/Support.h"
#include "Common/Diagnostics/FileLogger.h"
#include "Common/Diagnostics/Log.h"
#include "Common/Diagnostics/TraceScope.h"
#include "Platform/Testing/TemporaryFolder.h"

#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

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

// What a statement that is off cannot do without.
void CoarseClock(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(Platform::Ticks());
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

// By another library, in UTF-8 and through a handle that stays open; with the same columns, or in that library's own
// form.
void LogLineWrittenBySpdlog(benchmark::State& state)
{
    const TemporaryFolder folder;
    spdlog::logger logger("benchmark",
                          std::make_shared<spdlog::sinks::basic_file_sink_mt>((folder.Path() / "spdlog.log").string()));
    logger.set_level(spdlog::level::debug);
    logger.flush_on(spdlog::level::debug);
    if (state.range(0) != 0)
        logger.set_pattern("%Y-%m-%d %H:%M:%S.%F | %-4l | %5P %5t | %-26s:%-4# | %v");
    const std::string name = "DEPARTMENT\\some.user";
    for (auto _ : state)
        SPDLOG_LOGGER_CALL(&logger, spdlog::level::debug, "Adding item to process: '{}'", name);
}

} // namespace

BENCHMARK(LogStatementOff);
BENCHMARK(CoarseClock);
BENCHMARK(TraceScopeOff);
BENCHMARK(LogLineWritten);
BENCHMARK(LogLineWrittenBySpdlog)->ArgName("columns")->Arg(1)->Arg(0);
