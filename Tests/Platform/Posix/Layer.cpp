#include "Platform/Files.h"
#include "Platform/Process.h"
#include "Platform/Settings.h"
#include "Platform/Testing/TemporaryFolder.h"

#include <ctime>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

TEST(Posix, FullDiskIsReported)
{
    Platform::AppendFile file;
    EXPECT_EQ(Platform::AppendFile::Open(L"/dev/full", file), S_OK);
    EXPECT_EQ(file.Write("x"), HResultFromWin32(ERROR_DISK_FULL));
}

TEST(Posix, ABrokenPipeIsAFailureAndEndsNobody)
{
    const TemporaryFolder folder;
    const std::filesystem::path pipe = folder.Path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    Platform::AppendFile file;
    EXPECT_EQ(Platform::AppendFile::Open(pipe.wstring(), file), S_OK);
    close(reader);
    EXPECT_EQ(file.Write("line"), HResultFromWin32(ERROR_NO_DATA));
}

TEST(Posix, ALineThatDoesNotFitIsTakenBackAndEndsNobody)
{
    const TemporaryFolder folder;
    Platform::AppendFile file;
    EXPECT_EQ(Platform::AppendFile::Open((folder.Path() / "log").wstring(), file), S_OK);
    EXPECT_EQ(file.Write("abcd"), S_OK);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit limit{7, before.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    EXPECT_EQ(file.Write("efgh"), HResultFromWin32(ERROR_FILE_TOO_LARGE)) << "three bytes fit";
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(std::filesystem::file_size(folder.Path() / "log"), 4U);
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
