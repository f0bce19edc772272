#include "Common/Diagnostics/FileLogger.h"

#include "Common/Diagnostics/ImpersonationRevertGuard.h"
#include "Platform/Testing/DebugOutput.h"
#include "Platform/Testing/Process.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Platform/Text.h"
#include "Tests/Support/ManualClock.h"
#include "Tests/Support/TestEnvironment.h"

#include <fstream>
#include <gtest/gtest.h>

namespace
{

bool HasToken()
{
    Platform::ThreadToken token;
    return token.Open() == S_OK;
}

class FileLoggerTest : public testing::Test
{
protected:
    FileLoggerTest() { s_dataDirectory = &m_dataDirectory; }

    // Asked for while the file is being opened.
    static const DataDirectory& FindDataDirectory()
    {
        s_openedImpersonating = HasToken();
        return *s_dataDirectory;
    }

    static std::string Bytes(const std::filesystem::path& file)
    {
        std::ifstream stream(file, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(stream), {});
    }
    static std::wstring Content(const std::filesystem::path& file) { return Text::FromUtf16Le(Bytes(file)); }
    std::wstring Content() const { return Content(m_file); }
    void MakeFolder() const { std::filesystem::create_directories(m_file.parent_path()); }

    // What is reported while a line is written.
    std::wstring TroubleOf(FileLogger& logger, const wchar_t* line = L"lost\n") const
    {
        return DebugOutputOf([&] { logger.Write(line, -1); });
    }

    static inline const DataDirectory* s_dataDirectory = nullptr;
    static inline bool s_openedImpersonating = false;

    const TemporaryFolder m_folder;
    const std::filesystem::path m_file = m_folder.Path() / "Logs" / "Test.log";
    const std::filesystem::path m_old = m_folder.Path() / "old.log";
    TestSettings m_settings;
    DataDirectory m_dataDirectory{m_settings.store, m_folder.Path().wstring() + L"\\"};
    ManualClock m_clock;
    LoggerSettings m_loggerSettings{m_settings.store, &FindDataDirectory};
};

constexpr std::chrono::milliseconds KeepOpen{5000};

} // namespace

TEST_F(FileLoggerTest, WritesUtf16WithoutMarkBelowTheDataDirectory)
{
    m_settings[L"Logger/Path"] = L"Deep/er\\Logs";
    FileLogger logger(m_loggerSettings, L"Test.log", L"");
    logger.Write(L"\x00E4\x20AC-rest", 3);
    logger.Write(L"to the zero\0hidden", -1);
    const std::string bytes = Bytes(m_folder.Path() / "Deep" / "er" / "Logs" / "Test.log");
    EXPECT_EQ(bytes.substr(0, 6), std::string("\xE4\0\xAC\x20-\0", 6));
    EXPECT_EQ(Text::FromUtf16Le(bytes), L"\x00E4\x20AC-to the zero");
}

TEST_F(FileLoggerTest, BannerHeadsEveryFileOnceHoweverOftenItIsOpened)
{
    {
        FileLogger first(m_loggerSettings, L"Test.log", L"banner1\n");
        first.Write(L"a\n", -1);
        m_clock.Advance(KeepOpen);
        first.Write(L"b\n", -1);
    }
    FileLogger second(m_loggerSettings, L"Test.log", L"banner2\n");
    second.Write(L"c\n", -1);
    // Replaced by another file: noticed when the handle is opened anew.
    std::filesystem::rename(m_file, m_old);
    second.Write(L"d\n", -1);
    m_clock.Advance(KeepOpen);
    second.Write(L"e\n", -1);
    EXPECT_EQ(Content(m_old), L"banner1\na\nb\nbanner2\nc\nd\n");
    EXPECT_EQ(Content(), L"banner2\ne\n");
    m_settings[L"Logger/KeepOpenInterval"] = L"0";
    m_clock.Advance(std::chrono::milliseconds(5001));
    second.Write(L"f\n", -1);
    std::filesystem::rename(m_file, m_folder.Path() / "older.log");
    second.Write(L"g\n", -1);
    EXPECT_EQ(Content(), L"banner2\ng\n") << "every line opens the file";
}

TEST_F(FileLoggerTest, AFileThatIsTooBigGetsNothingMoreAndOneReportAnEpisode)
{
    EXPECT_EQ(m_loggerSettings.FileSizeThresholdMB(), 1024U);
    m_settings[L"Logger/LogFileSizeThresholdMB"] = L"1";
    m_clock.Advance(std::chrono::milliseconds(5001));
    MakeFolder();
    std::ofstream(m_file, std::ios::binary) << std::string(1048576, 'x');
    FileLogger logger(m_loggerSettings, L"Test.log", L"banner\n");
    const std::wstring report = TroubleOf(logger);
    EXPECT_TRUE(report.starts_with(L"FileLogger: log file '")) << testing::PrintToString(report);
    EXPECT_TRUE(report.ends_with(L"Test.log' is too big (size=1MB threshold=1MB)\n")) << testing::PrintToString(report);
    m_clock.Advance(KeepOpen);
    EXPECT_EQ(TroubleOf(logger), L"") << "said before";
    EXPECT_EQ(std::filesystem::file_size(m_file), 1048576U);

    std::filesystem::resize_file(m_file, 1048574);
    m_clock.Advance(KeepOpen);
    EXPECT_EQ(TroubleOf(logger, L"fits"), L"");
    EXPECT_GT(std::filesystem::file_size(m_file), 1048576U);
    m_clock.Advance(KeepOpen);
    EXPECT_EQ(TroubleOf(logger), report) << "a new episode";
    m_settings[L"Logger/LogFileSizeThresholdMB"] = L"0";
    m_clock.Advance(std::chrono::milliseconds(5001));
    logger.Write(L"no limit", -1);
    EXPECT_TRUE(Content().ends_with(L"no limit"));
}

TEST_F(FileLoggerTest, AfterAFailedOpenTheNextAttemptComesAnIntervalLater)
{
    const std::filesystem::path folder = m_file.parent_path();
    std::ofstream(folder) << "a file where the folder should be";
    FileLogger logger(m_loggerSettings, L"Test.log", L"");
    const std::wstring report = TroubleOf(logger);
    EXPECT_TRUE(report.starts_with(L"FileLogger: cannot open log file '")) << testing::PrintToString(report);
    EXPECT_TRUE(report.ends_with(L"Test.log' (error: 0x80070003)\n")) << testing::PrintToString(report);
    EXPECT_EQ(TroubleOf(logger), L"") << "no attempt";
    std::filesystem::remove(folder);
    MakeFolder();
    logger.Write(L"lost too", -1);
    m_clock.Advance(KeepOpen);
    logger.Write(L"written", -1);
    EXPECT_EQ(Content(), L"written");

    const std::wstring path(300, L'p'); // cannot be joined: named as it is configured
    m_settings[L"Logger/Path"] = path;
    m_clock.Advance(std::chrono::milliseconds(5001));
    EXPECT_EQ(TroubleOf(logger), L"FileLogger: cannot open log file '" + path + L"\\Test.log' (error: 0x800700ce)\n");
}

TEST_F(FileLoggerTest, ASharingViolationIsTriedAgain)
{
    MakeFolder();
    std::shared_ptr<std::FILE> held = OpenForItself(m_file);
    ASSERT_TRUE(held);
    FileLogger logger(m_loggerSettings, L"Test.log", L"");
    for (int i = 0; i < 10; ++i) { // a busy machine prolongs some of them
        const auto start = std::chrono::steady_clock::now();
        EXPECT_TRUE(TroubleOf(logger).ends_with(L"(error: 0x80070020)\n"));
        const auto pauses = std::chrono::steady_clock::now() - start;
        EXPECT_GE(pauses, std::chrono::milliseconds(25)) << "three of 10 ms, in four attempts";
        m_clock.Advance(KeepOpen);
    }
    held.reset();
    logger.Write(L"free again", -1);
    EXPECT_EQ(Content(), L"free again");
}

TEST_F(FileLoggerTest, OpensTheFileAsTheProcessWhoeverTheThreadWorksFor)
{
    FileLogger logger(m_loggerSettings, L"Test.log", L"");
    bool askedImpersonating = false;
    m_settings.source->hook = [&] { askedImpersonating |= HasToken(); };
    ASSERT_TRUE(Impersonate());
    logger.Write(L"line", -1);
    EXPECT_EQ(Content(), L"line");
    EXPECT_FALSE(s_openedImpersonating || askedImpersonating);
    EXPECT_TRUE(HasToken()) << "put back";
    Platform::ThreadToken().TakeOff();
    logger.Write(L"line", -1);
    EXPECT_FALSE(HasToken()) << "there was nothing to put back";
}
