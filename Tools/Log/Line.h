// The lines of the module's log.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace LogTool
{

// As the log names them, the gravest first.
inline constexpr std::array<std::string_view, 7> Severities{"CRIT", "ERR", "WARN", "INFO", "DBG", "DBG2", "DBG3"};
inline constexpr std::size_t SeverityWarn = 2;
inline constexpr std::size_t SeverityDbg = 4;
inline constexpr std::size_t SeverityUnknown = Severities.size();

enum class LineKind
{
    Banner,
    Entry,
    Further, // a line of the entry before it
};

// The columns of further lines are those of their entry; without one before them they are empty.
struct Line
{
    LineKind kind = LineKind::Further;
    std::string text;                       // the whole line in UTF-8, without its end
    std::string time;                       // "2026-11-22 14:03:07.1184256"
    std::size_t severity = SeverityUnknown; // index into Severities
    unsigned process = 0;
    unsigned thread = 0;
    std::size_t indentation = 0; // blanks in front of the message
    std::string message;         // of an entry only
};

} // namespace LogTool
