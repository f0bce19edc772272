#include "Common/Diagnostics/LogManager.h"
#include "Tests/Fuzz/Fuzz.h"

#include <cstring>

// Columns as bytes, then the message as any UTF-16.
void Try(std::string_view input)
{
    struct
    {
        std::uint64_t time;
        std::uint32_t severity, process, thread, line, indentation;
    } columns{};
    if (input.size() < sizeof(columns))
        return;
    std::memcpy(&columns, input.data(), sizeof(columns));
    const std::string_view message = input.substr(sizeof(columns));
    const std::string file(message.substr(0, message.find('\0')));
    const std::wstring text = Text::FromUtf16Le(message);
    const std::wstring line = FormatLogLine({columns.time, columns.severity, columns.process, columns.thread,
                                             SourceLocation{file.c_str(), columns.line}, columns.indentation, text});
    Require(line.ends_with(text + L"\r\n"), "a line ends with its message");
    std::string bytes;
    Text::AppendUtf16Le(text, bytes);
    Require(message.size() % 2 != 0 || bytes == message, "UTF-16 passes unchanged");
    Require(Text::FromUtf16Le(bytes) == text, "text passes unchanged");
}
