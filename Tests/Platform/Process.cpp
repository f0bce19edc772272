#include "Platform/Process.h"

#include "Platform/Network.h"

#include <gtest/gtest.h>
#include <thread>

using namespace Platform;

TEST(Process, ThreadsAndComputerHaveTheirNames)
{
    const std::uint32_t thread = ThreadId();
    std::thread([thread] { EXPECT_NE(ThreadId(), thread); }).join();
    EXPECT_EQ(ThreadId(), thread);
    EXPECT_NE(CommandLine().find(L"PlatformTests"), std::wstring::npos);
    EXPECT_GE(ToLocalTime(SystemTime()).year, 2020U);
    std::wstring name; // of NetBIOS
    EXPECT_EQ(GetLocalComputerName(name), S_OK);
    EXPECT_TRUE(!name.empty() && name.size() <= 15);
    EXPECT_EQ(name.find_first_of(L"abcdefghijklmnopqrstuvwxyz."), std::wstring::npos);
}
