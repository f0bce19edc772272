// Logs for tests, in the form in which the module writes them.
#pragma once

#include "Platform/Text.h"
#include "Tools/Log/LineReader.h"

#include <cstdio>
#include <vector>

inline std::string Utf16(std::string_view text)
{
    std::string bytes;
    Text::AppendUtf16Le(Text::FromUtf8(text), bytes);
    return bytes;
}

// A line of thread `thread` at 14:00:`second`, as UTF-8.
inline std::string Entry(unsigned second, const char* severity, unsigned thread, const std::string& message)
{
    char columns[100];
    std::snprintf(columns, sizeof columns, "2026-11-22 14:00:%02u.0000001 | %-4s | 4711 %5u | Source.cpp:%-20u| ",
                  second, severity, thread, second);
    return columns + message + "\r\n";
}

// DBG entries of one second.
inline std::string Entries(unsigned second, unsigned thread, const std::vector<std::string>& messages)
{
    std::string entries;
    for (const std::string& message : messages)
        entries += Entry(second, "DBG", thread, message);
    return entries;
}

inline std::string Banner()
{
    const std::string frame = std::string(100, '*') + "\r\n";
    return frame + "*** Module: C:\\Kestrine.dll (Base: 0x0000000180000000)\r\n" + frame;
}

// The lines that a reader makes of a log that arrives `step` bytes at a time.
inline std::vector<LogTool::Line> ReadLines(std::string_view bytes, std::size_t step = 64)
{
    std::vector<LogTool::Line> lines;
    LogTool::LineReader reader([&lines](const LogTool::Line& line) { lines.push_back(line); });
    for (std::size_t at = 0; at < bytes.size(); at += step)
        reader.Add(bytes.substr(at, step));
    reader.Finish();
    return lines;
}
