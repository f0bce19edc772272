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
    constexpr std::uint64_t day = 86400 * second;
    constexpr std::uint64_t from1601To1970 = 116444736000000000;
    // The zone's difference is at most a day: noon two days later is another day everywhere.
    const CivilTime here = ToLocalTime(from1601To1970 + 951782400 * second);
    const CivilTime later = ToLocalTime(from1601To1970 + 951782400 * second + day);
    EXPECT_TRUE(here.year == 2000 && (here.month == 2 ? here.day == 28 || here.day == 29 : here.day == 1));
    EXPECT_TRUE(later.year == 2000 && (here.day == 28 ? later.day == 29 : later.month == 3)) << "a leap year";
    EXPECT_EQ(ToLocalTime(from1601To1970 + 12345 * second + 1230000).millisecond, 123U);
    const std::uint64_t now = SystemTime();
    EXPECT_TRUE(now > from1601To1970 + 1'600'000'000 * second && ToLocalTime(now).year >= 2020);
}
