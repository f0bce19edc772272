#include "Common/Diagnostics/Log.h"
#include "Common/Diagnostics/LogLineFormatter.h"
#include "Common/Diagnostics/TraceScope.h"
#include "Platform/Testing/DebugOutput.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/ManualClock.h"
#include "Tests/Support/TestEnvironment.h"

#include <gtest/gtest.h>
#include <regex>
#include <thread>

namespace
{

const DataDirectory& NoDataDirectory()
{
    throw std::logic_error("no test here writes a file");
}

// Logs something itself and spoils the last error, as a log file that cannot be written may do.
struct SpoilingLogger : ILogger
{
    void Write(const wchar_t*, int) noexcept override { SetLastError(ERROR_ACCESS_DENIED); }
};

struct ThrowsWhenPrinted
{
    friend std::wostream& operator<<(std::wostream& stream, const ThrowsWhenPrinted&)
    {
        stream << L"half";
        throw std::runtime_error("cannot be printed");
    }
};

std::wstring Format(const SourceLocation& source, std::uint32_t severity = LogSeverity::Dbg, unsigned indentation = 0)
{
    LogLine line{};
    line.severity = severity;
    line.processId = 0x12345;
    line.threadId = 7;
    line.source = source;
    line.indentation = indentation;
    line.message = L"text";
    return FormatLogLine(line).substr(28);
}

std::size_t IndentationOf(const std::wstring& line)
{
    const std::size_t start = line.find(L"| ", 55) + 2;
    return line.find_first_not_of(L' ', start) - start;
}

} // namespace

TEST(LogLine, ColumnsAreFixed)
{
    EXPECT_EQ(Format({"C:\\src/Dir\\File.cpp", 12}),
              L"| DBG  | 9029     7 | File.cpp:12                    | text\r\n");
    EXPECT_EQ(Format({"DbgAliveObjectsTracker.cpp", 59}),
              L"| DBG  | 9029     7 | DbgAliveObjectsTracker.cpp:59  | text\r\n");
    EXPECT_EQ(Format({"/x/AVeryLongFileNameThatGoesOnAndOn.cpp", 1234}, LogSeverity::Err),
              L"| ERR  | 9029     7 | AVeryLongFileNameThatGoesO:1234| text\r\n");
    EXPECT_EQ(Format({"F.cpp", 12345}, 8), L"|      | 9029     7 | F.cpp:12345                    | text\r\n")
        << "an unknown severity is blank; file and line fill 31 columns";
    EXPECT_EQ(Format({"F.cpp", 1}, LogSeverity::Warn, 2),
              L"| WARN | 9029     7 | F.cpp:1                        |     text\r\n");
    EXPECT_EQ(IndentationOf(std::wstring(28, L' ') + Format({"F.cpp", 1}, LogSeverity::Info, 40)), 60U);
}

TEST(LogLine, TimeIsLocalWithSevenDecimals)
{
    // 2020-02-29 12:34:56.7890123 UTC; the zone of the machine moves hours and minutes only.
    const std::uint64_t units = (13227453296ULL * 1000 + 789) * 10000 + 123;
    LogLine line{};
    line.time = {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
    line.source = {"F.cpp", 1};
    const std::wstring text = FormatLogLine(line);
    EXPECT_TRUE(std::regex_search(text, std::wregex(L"^2020-0[23]-\\d\\d \\d\\d:\\d\\d:56\\.7890123 \\| ")))
        << testing::PrintToString(text);
}

TEST(LogManager, SeverityFollowsTheSettings)
{
    ManualClock clock;
    TestSettings settings;
    LogManager log(settings.store, &NoDataDirectory);
    const auto highest = [&](const wchar_t* value) {
        settings[L"Logger/MaxSeverity"] = value;
        clock.Advance(std::chrono::milliseconds(5001));
        std::uint32_t result = 0;
        while (result < 7 && log.IsEnabled(result + 1))
            ++result;
        EXPECT_FALSE(log.IsEnabled(LogSeverity::None));
        EXPECT_FALSE(log.IsEnabled(8));
        return result;
    };
    EXPECT_EQ(highest(L"wArN"), 3U);
    EXPECT_EQ(highest(L"NONE"), 0U);
    EXPECT_EQ(highest(L"DBG3"), 7U);
    EXPECT_EQ(highest(L"3"), 5U) << "numbers keep the default";
    EXPECT_EQ(highest(L"CRIT"), 1U);

    settings[L"Logger/MaxSeverity"] = L"ERR";
    clock.Advance(std::chrono::milliseconds(5000));
    EXPECT_FALSE(log.IsEnabled(LogSeverity::Err)) << "not yet stale";
    clock.Advance(std::chrono::milliseconds(1));
    EXPECT_TRUE(log.IsEnabled(LogSeverity::Err));
}

TEST(LogManager, FourLoggersAtMost)
{
    TestSettings settings;
    LogManager log(settings.store, &NoDataDirectory);
    SpoilingLogger loggers[5];
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(log.AddLogger(loggers[i]));
    EXPECT_TRUE(log.AddLogger(loggers[2])) << "takes no second slot";
    const DebugOutputCapture reports;
    EXPECT_FALSE(log.AddLogger(loggers[4]));
    EXPECT_EQ(reports.Texts(), std::vector<std::wstring>{L"LogManager: Too many loggers\n"});
    log.RemoveLogger(loggers[0]);
    EXPECT_TRUE(log.AddLogger(loggers[4]));
}

TEST(LogStatement, AnExceptionInTheMessageIsMarkedAndLeavesNothingElse)
{
    const LogCapture log;
    LOG_DBG(L"before " << ThrowsWhenPrinted() << L" after");
    LOG_DBG(L"next");
    EXPECT_EQ(log.From(L"before"), L"before half... (***EXCEPTION***)");
    EXPECT_EQ(log.Count(L"next"), 1U);
}

TEST(LogStatement, KeepsTheLastErrorAlsoWhenTheSettingsAreRefreshed)
{
    ManualClock clock;
    SpoilingLogger spoiler;
    LogManager::Instance().AddLogger(spoiler);
    for (const auto step : {std::chrono::milliseconds(0), std::chrono::milliseconds(6000)}) {
        clock.Advance(step);
        SetLastError(1234);
        LOG_ERR(L"some error");
        EXPECT_EQ(GetLastError(), 1234U);
        clock.Advance(step);
        LOG_AT(8, L"an off statement");
        EXPECT_EQ(GetLastError(), 1234U);
    }
    LogManager::Instance().RemoveLogger(spoiler);
}

TEST(TraceScope, LinesBetweenEntryAndExitAreIndentedPerThread)
{
    const LogCapture log;
    const auto inner = [] {
        TRACE_SCOPE(L"inner");
        LOG_DBG(L"in inner");
        std::thread([] { LOG_DBG(L"other thread"); }).join();
    };
    const auto outer = [&] {
        TRACE_SCOPE(L"outer");
        LOG_DBG(L"in outer");
        inner();
        LOG_DBG(L"again outer");
    };
    outer();
    std::vector<std::pair<std::wstring, std::size_t>> seen;
    for (const std::wstring& line : log.Lines()) {
        const std::size_t start = line.find(L"| ", 55) + 2 + IndentationOf(line);
        const std::wstring text = line.substr(start, line.find_first_of(L"[\r", start) - start);
        seen.emplace_back(text, IndentationOf(line));
    }
    const std::vector<std::pair<std::wstring, std::size_t>> expected{
        {L"Entering: outer", 0}, {L"in outer", 2},        {L"Entering: inner", 2}, {L"in inner", 4},
        {L"other thread", 0},    {L"Exiting: inner ", 2}, {L"again outer", 2},     {L"Exiting: outer ", 0}};
    EXPECT_EQ(seen, expected);
}

TEST(TraceScope, AnExceptionPassingThroughIsToldFromANormalExit)
{
    const LogCapture log;
    try {
        const TraceScope scope(LogSeverity::Dbg3, LogSeverity::Err, std::wstring(L"failing"),
                               SourceLocation::Current());
        {
            TRACE_SCOPE(L"fine");
        }
        throw std::runtime_error("passes through");
    } catch (const std::runtime_error&) {
        TRACE_SCOPE(L"in handler");
    }
    EXPECT_EQ(log.Count(L"failing"), 1U) << "the entry line's severity is off";
    EXPECT_TRUE(std::regex_match(log.From(L"EXCEPTION at: failing"),
                                 std::wregex(L"EXCEPTION at: failing \\[\\d+\\.\\d{3} ms\\]")));
    EXPECT_EQ(log.Count(L"ERR", L"EXCEPTION at: failing"), 1U);
    EXPECT_EQ(log.Count(L"Exiting: fine"), 1U);
    EXPECT_EQ(log.Count(L"Exiting: in handler"), 1U) << "a scope opened while handling an exception ends normally";
    EXPECT_EQ(ThreadIndentation(), 0U);
}

TEST(TraceScope, FormatsMilliseconds)
{
    EXPECT_EQ(FormatMilliseconds(0), L"0.000");
    EXPECT_EQ(FormatMilliseconds(7), L"0.007");
    EXPECT_EQ(FormatMilliseconds(1234567), L"1 234.567");
    EXPECT_EQ(FormatMilliseconds(9876543210123), L"9 876 543 210.123");
}
