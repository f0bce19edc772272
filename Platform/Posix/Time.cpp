#include "Platform/Posix/Failure.h"
#include "Platform/Posix/FileTime.h"
#include "Platform/Posix/Win32Time.h"

#include <chrono>

namespace
{

timespec Now(clockid_t clock)
{
    timespec now;
    clock_gettime(clock, &now);
    return now;
}

} // namespace

DWORD GetTickCount()
{
    // The coarse clock costs a few nanoseconds; its steps are finer than those of the original.
    const timespec now = Now(CLOCK_MONOTONIC_COARSE);
    return static_cast<DWORD>(static_cast<std::uint64_t>(now.tv_sec) * 1000 +
                              static_cast<std::uint64_t>(now.tv_nsec) / 1000000);
}

BOOL QueryPerformanceCounter(LARGE_INTEGER* counter)
{
    if (!counter)
        return Fail(ERROR_INVALID_PARAMETER);
    const timespec now = Now(CLOCK_MONOTONIC);
    counter->QuadPart = now.tv_sec * 10000000 + now.tv_nsec / 100;
    return TRUE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency)
{
    if (!frequency)
        return Fail(ERROR_INVALID_PARAMETER);
    frequency->QuadPart = 10000000;
    return TRUE;
}

void GetSystemTimeAsFileTime(FILETIME* time)
{
    *time = ToFileTime(Now(CLOCK_REALTIME_COARSE));
}

void GetSystemTimePreciseAsFileTime(FILETIME* time)
{
    *time = ToFileTime(Now(CLOCK_REALTIME));
}

BOOL FileTimeToLocalFileTime(const FILETIME* utc, FILETIME* local)
{
    if (!utc || !local)
        return Fail(ERROR_INVALID_PARAMETER);
    // The zone's difference of today applies, whatever day `utc` is.
    const time_t now = time(nullptr);
    tm civil{};
    if (!localtime_r(&now, &civil))
        return Fail(ERROR_INVALID_PARAMETER);
    *local = ToFileTime(FromFileTime(*utc) + static_cast<std::uint64_t>(civil.tm_gmtoff * 10000000));
    return TRUE;
}

BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime)
{
    using namespace std::chrono;
    using Units = duration<std::int64_t, std::ratio<1, 10000000>>;
    const auto units = static_cast<std::int64_t>(fileTime ? FromFileTime(*fileTime) : 0);
    if (!fileTime || !systemTime || units < 0)
        return Fail(ERROR_INVALID_PARAMETER);
    const sys_time<Units> time = sys_days{year{1601} / 1 / 1} + Units{units};
    const sys_days day = floor<days>(time);
    const year_month_day date{day};
    const hh_mm_ss clock{floor<milliseconds>(time - day)};
    *systemTime = {
        static_cast<WORD>(static_cast<int>(date.year())), static_cast<WORD>(static_cast<unsigned>(date.month())),
        static_cast<WORD>(weekday{day}.c_encoding()),     static_cast<WORD>(static_cast<unsigned>(date.day())),
        static_cast<WORD>(clock.hours().count()),         static_cast<WORD>(clock.minutes().count()),
        static_cast<WORD>(clock.seconds().count()),       static_cast<WORD>(clock.subseconds().count())};
    return TRUE;
}
