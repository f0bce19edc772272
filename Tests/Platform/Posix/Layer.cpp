#include "Platform/Files.h"
#include "Platform/Process.h"
#include "Platform/Settings.h"
#include "Platform/Testing/TemporaryFolder.h"

#include <ctime>
#include <gtest/gtest.h>
#include <sys/resource.h>

TEST(Posix, FullDiskIsReported)
{
    Platform::AppendFile file;
    EXPECT_EQ(Platform::AppendFile::Open(L"/dev/full", file), S_OK);
    EXPECT_EQ(file.Write("x"), HResultFromWin32(ERROR_DISK_FULL));
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
