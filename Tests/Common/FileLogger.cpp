#include "Common/Diagnostics/FileLogger.h"

#include "Common/Diagnostics/Banner.h"
#include "Common/Diagnostics/ImpersonationRevertGuard.h"
#include "Common/Diagnostics/Log.h"
#include "Platform/Testing/DebugOutput.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Platform/Text.h"
#include "Tests/Support/ManualClock.h"
#include "Tests/Support/TestEnvironment.h"

#include <fstream>
#include <gtest/gtest.h>
#include <thread>

namespace
{

class FileLoggerTest : public testing::Test
{
protected:
    FileLoggerTest() { s_dataDirectory = &m_dataDirectory; }

    static std::wstring Content(const std::filesystem::path& file)
    {
        std::ifstream stream(file, std::ios::binary);
        return Text::FromUtf16Le(std::string(std::istreambuf_iterator<char>(stream), {}));
    }

    std::filesystem::path LogFile() const { return m_folder.Path() / "Logs" / "Test.log"; }
    std::wstring Content() const { return Content(LogFile()); }
    void WriteLine(FileLogger& logger, const std::wstring& line) { logger.Write((line + L"\n").c_str(), -1); }

    static inline const DataDirectory* s_dataDirectory = nullptr;

    const TemporaryFolder m_folder;
    TestSettings m_settings;
    DataDirectory m_dataDirectory{m_settings.store, m_folder.Path().wstring() + L"\\"};
    ManualClock m_clock;
    LoggerSettings m_loggerSettings{m_settings.store, []() -> const DataDirectory& { return *s_dataDirectory; }};
};

constexpr std::chrono::milliseconds KeepOpen{5000};

} // namespace

TEST_F(FileLoggerTest, WritesUtf16WithoutMarkBelowTheDataDirectory)
{
    m_settings[L"Logger/Path"] = L"Deep/er\\Logs";
    FileLogger logger(m_loggerSettings, L"Test.log", L"");
    logger.Write(L"\x00E4\x20AC-rest", 3);
    logger.Write(L"to the zero\0hidden", -1);
    std::ifstream stream(m_folder.Path() / "Deep" / "er" / "Logs" / "Test.log", std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(stream), {});
    EXPECT_EQ(bytes.substr(0, 6), std::string("\xE4\0\xAC\x20-\0", 6));
    EXPECT_EQ(Text::FromUtf16Le(bytes), L"\x00E4\x20AC-to the zero");
}

TEST_F(FileLoggerTest, BannerHeadsNewAndContinuedFilesOnce)
{
    {
        FileLogger first(m_loggerSettings, L"Test.log", L"banner1\n");
        WriteLine(first, L"a");
        m_clock.Advance(KeepOpen);
        WriteLine(first, L"b");
    }
    EXPECT_EQ(Content(), L"banner1\na\nb\n");
    FileLogger second(m_loggerSettings, L"Test.log", L"banner2\n");
    WriteLine(second, L"c");
    EXPECT_EQ(Content(), L"banner1\na\nb\nbanner2\nc\n");

    // Replaced by another file: noticed when the handle is opened anew.
    std::filesystem::rename(LogFile(), LogFile().string() + ".old");
    WriteLine(second, L"d");
    m_clock.Advance(KeepOpen);
    WriteLine(second, L"e");
    EXPECT_EQ(Content(), L"banner2\ne\n");
    EXPECT_EQ(Content(LogFile().string() + ".old"), L"banner1\na\nb\nbanner2\nc\nd\n");
}

TEST_F(FileLoggerTest, WithoutKeepingOpenEveryLineOpensTheFile)
{
    m_settings[L"Logger/KeepOpenInterval"] = L"0";
    FileLogger logger(m_loggerSettings, L"Test.log", L"banner\n");
    WriteLine(logger, L"a");
    std::filesystem::rename(LogFile(), LogFile().string() + ".old");
    WriteLine(logger, L"b");
    EXPECT_EQ(Content(), L"banner\nb\n");
}

TEST_F(FileLoggerTest, AFileThatIsTooBigGetsNothingMoreAndOneReportAnEpisode)
{
    m_settings[L"Logger/LogFileSizeThresholdMB"] = L"1";
    std::filesystem::create_directories(LogFile().parent_path());
    std::ofstream(LogFile(), std::ios::binary) << std::string(1048576, 'x');
    FileLogger logger(m_loggerSettings, L"Test.log", L"banner\n");
    {
        const DebugOutputCapture reports;
        for (int i = 0; i < 3; ++i) {
            WriteLine(logger, L"lost");
            m_clock.Advance(KeepOpen);
        }
        ASSERT_EQ(reports.Texts().size(), 1U);
        const std::wstring report = reports.Texts()[0];
        EXPECT_TRUE(report.starts_with(L"FileLogger: log file '")) << testing::PrintToString(report);
        EXPECT_TRUE(report.ends_with(L"Test.log' is too big (size=1MB threshold=1MB)\n"))
            << testing::PrintToString(report);
    }
    EXPECT_EQ(std::filesystem::file_size(LogFile()), 1048576U);

    std::filesystem::resize_file(LogFile(), 1048574);
    WriteLine(logger, L"fits");
    EXPECT_GT(std::filesystem::file_size(LogFile()), 1048576U);
    const DebugOutputCapture reports;
    m_clock.Advance(KeepOpen);
    WriteLine(logger, L"lost");
    EXPECT_EQ(reports.Texts().size(), 1U) << "a new episode is reported anew";
}

TEST_F(FileLoggerTest, AfterAFailedOpenTheNextAttemptComesAnIntervalLater)
{
    const std::filesystem::path blocked = m_folder.Path() / "Logs";
    std::ofstream(blocked) << "a file where the folder should be";
    FileLogger logger(m_loggerSettings, L"Test.log", L"");
    {
        const DebugOutputCapture reports;
        WriteLine(logger, L"lost");
        WriteLine(logger, L"lost");
        ASSERT_EQ(reports.Texts().size(), 1U);
        EXPECT_TRUE(reports.Texts()[0].starts_with(L"FileLogger: cannot open log file '"));
        EXPECT_TRUE(reports.Texts()[0].ends_with(L"Test.log' (error: 0x80070003)\n"))
            << testing::PrintToString(reports.Texts());
    }
    std::filesystem::remove(blocked);
    std::filesystem::create_directories(blocked);
    WriteLine(logger, L"lost too");
    m_clock.Advance(KeepOpen);
    WriteLine(logger, L"written");
    EXPECT_EQ(Content(), L"written\n");
}

TEST_F(FileLoggerTest, ASharingViolationIsTriedAgain)
{
    std::filesystem::create_directories(LogFile().parent_path());
    const std::wstring path = LogFile().wstring();
    const auto holdFile = [&] {
        return UniqueHandle(
            CreateFileW(path.c_str(), FILE_APPEND_DATA, 0, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    };
    FileLogger logger(m_loggerSettings, L"Test.log", L"");
    {
        const UniqueHandle held = holdFile();
        const DebugOutputCapture reports;
        WriteLine(logger, L"lost");
        ASSERT_EQ(reports.Texts().size(), 1U) << "four attempts, one report";
        EXPECT_TRUE(reports.Texts()[0].ends_with(L"(error: 0x80070020)\n"));
    }
    m_clock.Advance(KeepOpen);
    WriteLine(logger, L"free again");
    EXPECT_EQ(Content(), L"free again\n");
}

TEST_F(FileLoggerTest, LinesOfSeveralThreadsDoNotMix)
{
    FileLogger logger(m_loggerSettings, L"Test.log", L"");
    std::vector<std::thread> threads;
    for (wchar_t c = L'a'; c < L'e'; ++c) {
        threads.emplace_back([&logger, c] {
            for (int i = 0; i < 200; ++i)
                logger.Write((std::wstring(50, c) + L"\n").c_str(), 51);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::wistringstream lines(Content());
    std::size_t count = 0;
    for (std::wstring line; std::getline(lines, line); ++count)
        ASSERT_EQ(line, std::wstring(50, line[0]));
    EXPECT_EQ(count, 800U);
}

TEST_F(FileLoggerTest, AChangedPathIsFollowedWithTheNextRefresh)
{
    m_settings[L"Logger/KeepOpenInterval"] = L"0";
    FileLogger logger(m_loggerSettings, L"Test.log", L"");
    WriteLine(logger, L"a");
    m_settings[L"Logger/Path"] = L"Other";
    m_clock.Advance(std::chrono::milliseconds(5001));
    m_loggerSettings.RefreshIfStale();
    WriteLine(logger, L"b");
    EXPECT_EQ(Content(), L"a\n");
    EXPECT_EQ(Content(m_folder.Path() / "Other" / "Test.log"), L"b\n");
}

TEST(ImpersonationRevertGuard, LiftsTheThreadsTokenForTheScope)
{
    const auto hasToken = [] {
        HANDLE token = nullptr;
        const bool found = OpenThreadToken(GetCurrentThread(), TOKEN_IMPERSONATE, TRUE, &token);
        const UniqueHandle owner(token);
        return found;
    };
    {
        const ImpersonationRevertGuard nothingToLift(true);
        EXPECT_FALSE(hasToken());
    }
    ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
    ASSERT_TRUE(hasToken());
    {
        const ImpersonationRevertGuard off(false);
        EXPECT_TRUE(hasToken());
    }
    {
        const ImpersonationRevertGuard lifted(true);
        EXPECT_FALSE(hasToken());
    }
    EXPECT_TRUE(hasToken());
    RevertToSelf();
}

TEST(Banner, NamesModuleVersionAndProcess)
{
    const std::wstring banner = BuildBanner({1, 2, 3, 4});
    const std::wstring frame = std::wstring(100, L'*') + L"\r\n";
    EXPECT_TRUE(banner.starts_with(frame + L"*** Module: "));
    EXPECT_TRUE(banner.ends_with(L"\r\n" + frame));
    EXPECT_NE(banner.find(L"\r\n*** Version: 1.2.3.4\r\n*** Module description: Kestrine64\r\n*** Process: "),
              std::wstring::npos);
    EXPECT_NE(banner.find(L" (Pid: " + std::to_wstring(GetCurrentProcessId()) + L")\r\n*** Command line: "),
              std::wstring::npos);
}
