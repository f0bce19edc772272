// Severities of log lines.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace LogSeverity
{

// A line is written when its severity is at most the configured maximum. None is no severity of a line; as the maximum
// it turns logging off.
enum Value : std::uint32_t
{
    None = 0,
    Crit = 1,
    Err = 2,
    Warn = 3,
    Info = 4,
    Dbg = 5,
    Dbg2 = 6,
    Dbg3 = 7,
};

inline constexpr std::array<std::wstring_view, 8> Names{L"NONE", L"CRIT", L"ERR",  L"WARN",
                                                        L"INFO", L"DBG",  L"DBG2", L"DBG3"};

} // namespace LogSeverity
