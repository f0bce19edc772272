#include "Platform/Process.h"

#include "Platform/Network.h"

#include <gtest/gtest.h>
#include <thread>

using namespace Platform;

TEST(Process, IsNamedByItsCommandLineAndThreadsByTheirNumbers)
{
    const std::uint32_t thread = ThreadId();
    std::thread([thread] { EXPECT_NE(ThreadId(), thread); }).join();
    EXPECT_EQ(ThreadId(), thread);
    EXPECT_NE(CommandLine().find(L"PlatformTests"), std::wstring::npos);
}

TEST(Process, ComputerHasANetBiosName)
{
    std::wstring name;
    EXPECT_EQ(GetLocalComputerName(name), S_OK);
    EXPECT_TRUE(!name.empty() && name.size() <= 15);
    EXPECT_EQ(name.find_first_of(L"abcdefghijklmnopqrstuvwxyz."), std::wstring::npos);
}

TEST(CivilTime, IsGregorianAndLocal)
{
    constexpr std::uint64_t second = 10000000;
    constexpr std::uint64_t leapDay = 13227453296 * second; // 2020-02-29 12:34:56 UTC
    const CivilTime time = ToLocalTime(leapDay + 1234567);
    EXPECT_TRUE(time.year == 2020 && (time.month == 2 ? time.day >= 28 : time.day == 1));
    EXPECT_TRUE(time.second == 56 && time.millisecond == 123);
    EXPECT_EQ(ToLocalTime(leapDay + 2 * 86400 * second).month, 3U);
    EXPECT_GE(ToLocalTime(SystemTime()).year, 2020U);
}
