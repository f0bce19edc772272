#include "Platform/Win32.h"

#include <chrono>
#include <ctime>
#include <gtest/gtest.h>

namespace
{

constexpr ULONGLONG epoch1970 = 116444736000000000;
constexpr ULONGLONG second = 10000000;

ULONGLONG Units(const FILETIME& time)
{
    return (ULONGLONG{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}

FILETIME FromUnits(ULONGLONG units)
{
    return {static_cast<DWORD>(units & 0xFFFFFFFF), static_cast<DWORD>(units >> 32)};
}

std::string Civil(ULONGLONG units)
{
    const FILETIME time = FromUnits(units);
    SYSTEMTIME civil{};
    if (!FileTimeToSystemTime(&time, &civil))
        return "error " + std::to_string(GetLastError());
    char text[64];
    std::snprintf(text, sizeof(text), "%d-%02d-%02d/%d %02d:%02d:%02d.%03d", civil.wYear, civil.wMonth, civil.wDay,
                  civil.wDayOfWeek, civil.wHour, civil.wMinute, civil.wSecond, civil.wMilliseconds);
    return text;
}

} // namespace

TEST(Clocks, AgreeWithTheStandardOnes)
{
    FILETIME times[2];
    GetSystemTimeAsFileTime(&times[0]);
    GetSystemTimePreciseAsFileTime(&times[1]);
    const ULONGLONG now = epoch1970 + static_cast<ULONGLONG>(std::time(nullptr)) * second;
    for (const FILETIME& time : times)
        EXPECT_LT(now - Units(time) + 10 * second, 20 * second);
}

TEST(Clocks, AdvanceAtTheirFrequency)
{
    using Seconds = std::chrono::duration<double>;
    const auto now = [] { return std::chrono::steady_clock::now(); };
    LARGE_INTEGER frequency;
    LARGE_INTEGER begin;
    LARGE_INTEGER end;
    ASSERT_TRUE(QueryPerformanceFrequency(&frequency));
    const auto outerBegin = now();
    const DWORD beginTick = GetTickCount();
    ASSERT_TRUE(QueryPerformanceCounter(&begin));
    const auto innerBegin = now();
    Sleep(100);
    const Seconds inner = now() - innerBegin;
    ASSERT_TRUE(QueryPerformanceCounter(&end));
    const DWORD ticks = GetTickCount() - beginTick;
    const Seconds outer = now() - outerBegin;
    const double counted = static_cast<double>(end.QuadPart - begin.QuadPart) / static_cast<double>(frequency.QuadPart);
    EXPECT_GE(inner.count(), 0.08);
    EXPECT_TRUE(counted > inner.count() - 0.001 && counted < outer.count() + 0.001) << counted;
    EXPECT_TRUE(ticks > inner.count() * 1000 - 40 && ticks < outer.count() * 1000 + 40) << ticks;
}

TEST(CivilTime, IsGregorian)
{
    EXPECT_EQ(Civil(0), "1601-01-01/1 00:00:00.000");
    EXPECT_EQ(Civil(epoch1970 + 3 * 86400 * second), "1970-01-04/0 00:00:00.000");
    EXPECT_EQ(Civil(epoch1970 + 951782400 * second - 1), "2000-02-28/1 23:59:59.999");
    EXPECT_EQ(Civil(epoch1970 + 951782400 * second), "2000-02-29/2 00:00:00.000");
    EXPECT_EQ(Civil(epoch1970 + 4107542400 * second), "2100-03-01/1 00:00:00.000");
    EXPECT_EQ(Civil(0x7FFFFFFFFFFFFFFF), "30828-09-14/4 02:48:05.477");
    EXPECT_EQ(Civil(0x8000000000000000), "error 87");
}

TEST(CivilTime, LocalTimeFollowsTheZone)
{
    const std::time_t now = std::time(nullptr);
    const FILETIME utc = FromUnits(epoch1970 + static_cast<ULONGLONG>(now) * second + 1234567);
    FILETIME local;
    ASSERT_TRUE(FileTimeToLocalFileTime(&utc, &local));
    char expected[32];
    std::strftime(expected, sizeof(expected), "%Y-%m-%d/%w %H:%M:%S", std::localtime(&now));
    EXPECT_EQ(Civil(Units(local)), expected + std::string(".123"));
    EXPECT_EQ(Units(local) % 10000, 4567U);
}
