#include "Platform/Win32.h"

#include <gtest/gtest.h>

namespace
{

constexpr ULONGLONG epoch1970 = 116444736000000000;
constexpr ULONGLONG second = 10000000;

std::string Civil(ULONGLONG units)
{
    const FILETIME time{static_cast<DWORD>(units & 0xFFFFFFFF), static_cast<DWORD>(units >> 32)};
    SYSTEMTIME civil{};
    if (!FileTimeToSystemTime(&time, &civil))
        return "error " + std::to_string(GetLastError());
    char text[64];
    std::snprintf(text, sizeof(text), "%d-%02d-%02d/%d %02d:%02d:%02d.%03d", civil.wYear, civil.wMonth, civil.wDay,
                  civil.wDayOfWeek, civil.wHour, civil.wMinute, civil.wSecond, civil.wMilliseconds);
    return text;
}

} // namespace

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
