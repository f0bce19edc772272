#include "Common/Diagnostics/Log.h"
#include "Common/Diagnostics/LogManager.h"
#include "Common/Diagnostics/TraceScope.h"
#include "Common/Foundation/ScopeGuard.h"
#include "Platform/Testing/Process.h"
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

// Spoils the last error, as a log file that cannot be written may do.
struct SpoilingLogger : ILogger
{
    void Write(const wchar_t*, int) noexcept override { SetLastFailure(5); }
};

} // namespace

TEST(LogLine, ColumnsAreFixedAndTheTimeIsLocalWithSevenDecimals)
{
    const struct
    {
        SourceLocation source;
        std::uint32_t severity;
        unsigned indentation;
        std::wstring text;
    } cases[] = {
        {{"C:\\src/Dir\\File.cpp", 12}, 5, 0, L"| DBG  | 9029     7 | File.cpp:12                    | "},
        {{"AVeryLongFileNameWithManyWs.c", 1234}, 2, 0, L"| ERR  | 9029     7 | AVeryLongFileNameWithManyW:1234| "},
        {{"F.cpp", 12345}, 8, 2, L"|      | 9029     7 | F.cpp:12345                    |     "},
        {{"F.cpp", 1}, 3, 40, L"| WARN | 9029     7 | F.cpp:1                        | " + std::wstring(60, L' ')},
    };
    // 2020-02-29 12:34:56.7891234 UTC; the zone of the machine moves hours and minutes only.
    const std::uint64_t units = (13227453296ULL * 1000 + 789) * 10000 + 1234;
    for (const auto& each : cases) {
        const std::wstring line =
            FormatLogLine({units, each.severity, 0x12345, 0xABC0007, each.source, each.indentation, L"text"});
        EXPECT_EQ(line.substr(28), each.text + L"text\r\n");
        EXPECT_TRUE(std::regex_match(line.substr(0, 28), std::wregex(L"2020-0[23]-\\d\\d \\d\\d:\\d\\d:56\\.7891234 ")))
            << testing::PrintToString(line);
    }
}

TEST(LogStatement, ItsLineHasTheTimeProcessThreadAndPlaceOfTheCall)
{
    const LogCapture log;
    const std::uint64_t before = Platform::SystemTime();
    const auto here = SourceLocation::Current();
    LOG_ERR(L"text");
    const std::uint64_t after = Platform::SystemTime();
    const auto lineAt = [&](std::uint64_t time) {
        const SourceLocation next{here.file, here.line + 1};
        return FormatLogLine({time, LogSeverity::Err, Platform::ProcessId(), Platform::ThreadId(), next, 0, L"text"});
    };
    const std::wstring line = log.Lines().at(0);
    EXPECT_TRUE(lineAt(before) <= line && line <= lineAt(after)) << testing::PrintToString(line);
    EXPECT_EQ(line.substr(28), lineAt(before).substr(28)) << "behind the time";
}

TEST(LogManager, SeverityFollowsTheSettingsAndStaysWhenTheyCannotBeRead)
{
    ManualClock clock;
    TestSettings settings;
    LogManager log(settings.store, &NoDataDirectory);
    const auto highest = [&](const wchar_t* value, int milliseconds = 5001) {
        settings[L"Logger/MaxSeverity"] = value;
        clock.Advance(std::chrono::milliseconds(milliseconds));
        std::uint32_t result = 0;
        while (result < 8 && log.IsEnabled(result + 1))
            ++result;
        return log.IsEnabled(LogSeverity::None) ? 99 : result;
    };
    EXPECT_EQ(highest(L"wArN"), 3U);
    EXPECT_EQ(highest(L"NONE"), 0U);
    EXPECT_EQ(highest(L"3"), 5U) << "numbers keep the default";
    EXPECT_EQ(highest(L"DBG3"), 7U);
    EXPECT_EQ(highest(L"ERR", 5000), 7U) << "not yet stale";
    settings.source->hook = [] { throw std::bad_alloc(); };
    settings.source->questions = 0;
    EXPECT_EQ(highest(L"ERR", 1), 7U);
    EXPECT_EQ(settings.source->questions, 1) << "a refresh that fails counts";
    settings.source->hook = nullptr;
    EXPECT_EQ(highest(L"ERR"), 2U);
}

TEST(LogStatement, KeepsTheLastErrorAlsoWhenTheSettingsAreRefreshed)
{
    ManualClock clock;
    SpoilingLogger spoiler;
    LogManager::Instance().AddLogger(spoiler);
    for (const auto severity : std::initializer_list<std::uint32_t>{LogSeverity::Err, 8}) { // on and off
        clock.Advance(std::chrono::milliseconds(6000));
        SetLastFailure(1234);
        LOG_AT(severity, L"a statement");
        EXPECT_EQ(LastFailure(), 1234);
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
    {
        TRACE_SCOPE(L"outer");
        LOG_DBG(L"in outer");
        inner();
    }
    std::vector<std::wstring> seen;
    for (const std::wstring& line : log.Lines()) {
        const std::wstring text = line.substr(line.find(L"| ", 55) + 2);
        seen.push_back(text.substr(0, text.find_first_of(L"[\r")));
    }
    EXPECT_EQ(log.Count(L"| Logging.cpp:"), seen.size());
    EXPECT_EQ(seen, (std::vector<std::wstring>{L"Entering: outer", L"  in outer", L"  Entering: inner", L"    in inner",
                                               L"other thread", L"  Exiting: inner ", L"Exiting: outer "}));
}

TEST(TraceScope, AnExceptionPassingThroughIsToldFromANormalExit)
{
    const LogCapture log;
    try {
        const TraceScope scope(LogSeverity::Dbg3, LogSeverity::Err, std::wstring(L"failing"),
                               SourceLocation::Current());
        throw std::runtime_error("passes through");
    } catch (const std::runtime_error&) {
        TRACE_SCOPE(L"in handler");
    }
    const auto unwind = [] {
        const ScopeGuard guard([] { TRACE_SCOPE(L"while unwinding"); });
        throw 1;
    };
    EXPECT_THROW(unwind(), int);
    EXPECT_EQ(log.Count(L"failing"), 1U) << "the entry line's severity is off";
    EXPECT_EQ(log.Count(L"| ERR  |"), 1U);
    EXPECT_TRUE(std::regex_match(log.From(L"EXCEPTION at: failing"),
                                 std::wregex(L"EXCEPTION at: failing \\[\\d+\\.\\d{3} ms\\]")));
    EXPECT_EQ(log.Count(L"| Exiting: in handler"), 1U);
    EXPECT_EQ(log.Count(L"| Exiting: while unwinding"), 1U) << "opened in an exception's course, it ends normally";
}

TEST(TraceScope, FormatsMilliseconds)
{
    EXPECT_EQ(FormatMilliseconds(7), L"0.007");
    EXPECT_EQ(FormatMilliseconds(9876543210123), L"9 876 543 210.123");
}
