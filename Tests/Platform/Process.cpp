#include "Platform/Process.h"

#include "Platform/Network.h"
#include "Platform/Testing/ThreadIdentity.h"

#include <gtest/gtest.h>
#include <thread>

using namespace Platform;

namespace
{

[[gnu::noinline]] unsigned Capture(unsigned skip, void** frames, unsigned size, void*& caller)
{
    caller = __builtin_return_address(0);
    return CaptureCallStack(skip, frames, size);
}

bool HasToken()
{
    ThreadToken token;
    const HRESULT hr = token.Open();
    EXPECT_TRUE(hr == S_OK || hr == S_FALSE);
    return hr == S_OK;
}

} // namespace

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

TEST(Process, StackStartsWithTheCallerSkipsAndLimits)
{
    void* frames[8]{};
    void* caller = nullptr;
    EXPECT_GE(Capture(0, frames, 8, caller), 2U);
    EXPECT_EQ(frames[1], caller);
    EXPECT_EQ(Capture(1, frames, 1, caller), 1U);
    EXPECT_EQ(frames[0], caller);
    EXPECT_EQ(Capture(10000, frames, 8, caller), 0U);
}

TEST(Process, IdentitiesOfThreadsAreTakenOffAndPutBack)
{
    EXPECT_FALSE(HasToken());
    {
        const ThreadIdentity client;
        ThreadToken token;
        ASSERT_EQ(token.Open(), S_OK);
        std::thread([] { EXPECT_FALSE(HasToken()); }).join();
        EXPECT_EQ(token.TakeOff(), S_OK);
        EXPECT_FALSE(HasToken());
        EXPECT_EQ(token.PutBack(), S_OK);
        EXPECT_TRUE(HasToken());
    }
    EXPECT_FALSE(HasToken());
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
