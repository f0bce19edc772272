// The fixed columns of a log line.
#pragma once

#include "Common/Diagnostics/SourceLocation.h"
#include "Platform/Win32.h"

#include <string>
#include <string_view>

struct LogLine
{
    FILETIME time; // UTC
    std::uint32_t severity;
    DWORD processId;
    DWORD threadId;
    SourceLocation source;
    unsigned indentation;
    std::wstring_view message;
};

// date time | severity | process thread | file:line | message CR LF. Times are local, processes and threads shown by
// their low 16 bits, files by the first 26 characters of their name, indentation as two blanks a step, 30 steps at
// most.
std::wstring FormatLogLine(const LogLine& line);
