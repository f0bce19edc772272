#include "Common/Diagnostics/LogLineFormatter.h"

#include "Common/Diagnostics/LogSeverity.h"
#include "Platform/Text.h"

#include <algorithm>
#include <string>

namespace
{

constexpr std::size_t FileNameWidth = 26;
constexpr std::size_t LineNumberWidth = 4;
constexpr unsigned MaxIndentation = 30;

void AppendNumber(std::wstring& text, std::uint32_t number, std::size_t width, wchar_t fill)
{
    const std::wstring digits = std::to_wstring(number);
    text.append(width - std::min(width, digits.size()), fill);
    text += digits;
}

void AppendTime(std::wstring& text, const FILETIME& utc)
{
    FILETIME local{};
    SYSTEMTIME time{};
    if (!FileTimeToLocalFileTime(&utc, &local) || !FileTimeToSystemTime(&local, &time))
        time = {};
    const std::uint64_t units = (static_cast<std::uint64_t>(utc.dwHighDateTime) << 32) | utc.dwLowDateTime;
    const auto append = [&text](std::uint32_t number, std::size_t width, wchar_t end) {
        AppendNumber(text, number, width, L'0');
        text += end;
    };
    append(time.wYear, 4, L'-');
    append(time.wMonth, 2, L'-');
    append(time.wDay, 2, L' ');
    append(time.wHour, 2, L':');
    append(time.wMinute, 2, L':');
    append(time.wSecond, 2, L'.');
    AppendNumber(text, time.wMilliseconds, 3, L'0');
    AppendNumber(text, static_cast<std::uint32_t>(units % 10000), 4, L'0');
}

void AppendSeverity(std::wstring& text, std::uint32_t severity)
{
    const std::wstring_view name = severity < LogSeverity::Names.size() ? LogSeverity::Names[severity] : L"";
    text += name;
    text.append(4 - name.size(), L' ');
}

void AppendSource(std::wstring& text, const SourceLocation& source)
{
    std::string_view path = source.file;
    path.remove_prefix(path.find_last_of("\\/") + 1);
    std::wstring name = Text::FromUtf8(path);
    name.resize(std::min(name.size(), FileNameWidth));
    const std::wstring number = std::to_wstring(source.line);
    const std::size_t width = FileNameWidth - name.size() + LineNumberWidth;
    text += name;
    text += L':';
    text += number;
    text.append(width - std::min(width, number.size()), L' ');
}

} // namespace

std::wstring FormatLogLine(const LogLine& line)
{
    constexpr std::size_t columns = 160;
    std::wstring text;
    text.reserve(columns + line.message.size());
    AppendTime(text, line.time);
    text += L" | ";
    AppendSeverity(text, line.severity);
    text += L" |";
    AppendNumber(text, line.processId & 0xFFFF, 5, L' ');
    text += L' ';
    AppendNumber(text, line.threadId & 0xFFFF, 5, L' ');
    text += L" | ";
    AppendSource(text, line.source);
    text += L"| ";
    text.append(2 * std::min(line.indentation, MaxIndentation), L' ');
    text += line.message;
    text += L"\r\n";
    return text;
}
