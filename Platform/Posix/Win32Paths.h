// Path joining by the platform's rules.
#pragma once

#include "Platform/Posix/Win32Types.h"

inline constexpr std::size_t MAX_PATH = 260;

extern "C"
{
    // Joins and canonicalizes into `destination` (MAX_PATH characters); null, and an empty `destination`, on failure.
    LPWSTR PathCombineW(LPWSTR destination, LPCWSTR directory, LPCWSTR file);
}
