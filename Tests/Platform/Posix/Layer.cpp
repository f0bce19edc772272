#include "Platform/Files.h"
#include "Platform/Process.h"
#include "Platform/Settings.h"
#include "Platform/Testing/DebugOutput.h"
#include "Platform/Testing/TemporaryFolder.h"

#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace
{

Platform::AppendFile OpenLog(const std::filesystem::path& path)
{
    Platform::AppendFile file;
    EXPECT_EQ(Platform::AppendFile::Open(path.wstring(), file), S_OK);
    return file;
}

bool IsPending(int signal)
{
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, signal) == 1;
}

bool IsBlocked(int signal)
{
    sigset_t blocked;
    return pthread_sigmask(SIG_BLOCK, nullptr, &blocked) == 0 && sigismember(&blocked, signal) == 1;
}

} // namespace

TEST(Posix, MalformedRegistryFilesAreReportedAndEmpty)
{
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.Path() / "file";
    Platform::SetVariable(L"KESTRINE_REGISTRY_FILE", file.wstring().c_str());
    const auto read = [&](const char* lastLine) {
        std::ofstream(file, std::ios::binary) << "# comment\r\n\r\n[hklm\\software\\x]\r\nv=REG_SZ: a=b:c \n"
                                              << lastLine;
        return Platform::RegistryTexts(Platform::RegistryRoot::LocalMachine, L"Software\\X");
    };
    EXPECT_EQ(read("").at(L"v"), L" a=b:c ");
    for (const char* line : {"[HKLM\\Software", "v = text", "= REG_SZ:x"}) {
        const DebugOutputCapture output;
        EXPECT_TRUE(read(line).empty()) << line;
        EXPECT_NE(output.Text().find(L"(5)"), std::wstring::npos) << line;
    }
    Platform::SetVariable(L"KESTRINE_REGISTRY_FILE", nullptr);
}

TEST(Posix, FullDiskIsReported)
{
    EXPECT_EQ(OpenLog("/dev/full").Write("x"), HResultFromWin32(ERROR_DISK_FULL));
}

TEST(Posix, ABrokenPipeIsAFailureAndNoSignal)
{
    const TemporaryFolder folder;
    const std::filesystem::path pipe = folder.Path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const Platform::AppendFile file = OpenLog(pipe);
    close(reader);
    EXPECT_EQ(file.Write("line"), HResultFromWin32(ERROR_NO_DATA));
    EXPECT_FALSE(IsPending(SIGPIPE) || IsBlocked(SIGPIPE));
}

TEST(Posix, ALineThatDoesNotFitIsTakenBackAndEndsNobody)
{
    const TemporaryFolder folder;
    const std::filesystem::path path = folder.Path() / "log";
    const Platform::AppendFile file = OpenLog(path);
    ASSERT_EQ(file.Write("abcd"), S_OK);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit limit{7, before.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    EXPECT_EQ(file.Write("efgh"), HResultFromWin32(ERROR_FILE_TOO_LARGE)) << "three bytes fit";
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(std::filesystem::file_size(path), 4U);
    EXPECT_FALSE(IsPending(SIGXFSZ) || IsBlocked(SIGXFSZ));
    ASSERT_EQ(file.Write("ij"), S_OK);
    std::ifstream content(path);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(content), {}), "abcdij");
}

TEST(Posix, LocalTimeFollowsTheZoneOfTheEnvironment)
{
    Platform::SetVariable(L"TZ", L"XST-5:30");
    tzset();
    const Platform::CivilTime local = Platform::ToLocalTime(10);
    Platform::SetVariable(L"TZ", nullptr);
    tzset();
    EXPECT_EQ(local.year, 1601U);
    EXPECT_EQ(local.hour * 60 + local.minute, 330U);
}
