// FILETIME counts 100-nanosecond units since 1601. Internal to the layer.
#pragma once

#include "Platform/Posix/Win32Types.h"

#include <ctime>

inline FILETIME ToFileTime(std::uint64_t units)
{
    return {static_cast<DWORD>(units & 0xFFFFFFFF), static_cast<DWORD>(units >> 32)};
}

inline FILETIME ToFileTime(const timespec& sinceEpoch)
{
    constexpr std::int64_t secondsFrom1601To1970 = 11644473600;
    return ToFileTime(
        static_cast<std::uint64_t>((sinceEpoch.tv_sec + secondsFrom1601To1970) * 10000000 + sinceEpoch.tv_nsec / 100));
}

inline std::uint64_t FromFileTime(const FILETIME& time)
{
    return (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}
