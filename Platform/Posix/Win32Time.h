// Clocks, civil time and number formats.
#pragma once

#include "Platform/Posix/Win32Types.h"

inline constexpr LCID LOCALE_INVARIANT = 0x007F;

struct NUMBERFMTW
{
    UINT NumDigits;
    UINT LeadingZero;
    UINT Grouping;
    LPWSTR lpDecimalSep;
    LPWSTR lpThousandSep;
    UINT NegativeOrder;
};

extern "C"
{
    DWORD GetTickCount(); // steady, milliseconds, wraps after 49.7 days
    BOOL QueryPerformanceCounter(LARGE_INTEGER* counter);
    BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency);
    void GetSystemTimeAsFileTime(FILETIME* time);
    void GetSystemTimePreciseAsFileTime(FILETIME* time);
    BOOL FileTimeToLocalFileTime(const FILETIME* utc, FILETIME* local); // by the zone's difference of now
    BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime);
    // The invariant locale with an explicit format. `size` 0 asks for the size needed.
    int GetNumberFormatW(LCID locale, DWORD flags, LPCWSTR value, const NUMBERFMTW* format, LPWSTR buffer, int size);
}
