// Entry and exit lines of an operation, with the time it took, and the indentation of the lines in between.
#pragma once

#include "Common/Diagnostics/LogManager.h"
#include "Common/Diagnostics/LogSeverity.h"
#include "Platform/Threads.h"

#include <chrono>
#include <exception>
#include <string>

// Lives in one operation's frame, on one thread, in strict nesting. While its severity is off it costs one reading of
// the performance counter: the severity may be on when the scope ends.
class TraceScope
{
public:
    // `severity` is that of the entry line and of a normal exit line, `exceptionSeverity` that of the exit line when an
    // exception ends the scope. `literal` must outlive the scope, `text` is copied: what there is no memory for is
    // lost. `target`: the only logger that gets the lines, or null for all.
    TraceScope(std::uint32_t severity, std::uint32_t exceptionSeverity, const wchar_t* literal,
               const SourceLocation& source, ILogger* target = nullptr) noexcept
        : m_severity(severity),
          m_exceptionSeverity(exceptionSeverity),
          m_literal(literal),
          m_source(source),
          m_target(target),
          m_uncaughtAtStart(std::uncaught_exceptions())
    {
        Enter();
    }
    TraceScope(std::uint32_t severity, std::uint32_t exceptionSeverity, std::wstring_view text,
               const SourceLocation& source, ILogger* target = nullptr) noexcept;
    ~TraceScope()
    {
        if (m_indentationAdded != 0 || IsLogEnabled(m_severity) ||
            (m_exceptionSeverity != m_severity && IsLogEnabled(m_exceptionSeverity)))
            Exit();
    }
    TraceScope(const TraceScope&) = delete;
    TraceScope& operator=(const TraceScope&) = delete;

private:
    void Enter() noexcept
    {
        if (IsLogEnabled(m_severity))
            WriteEntry();
        m_start = Platform::SteadyNow();
    }
    void WriteEntry() noexcept;
    void Exit() noexcept;
    void Write(std::uint32_t severity, const wchar_t* prefix, const std::wstring& suffix) noexcept;

    const std::uint32_t m_severity;
    const std::uint32_t m_exceptionSeverity;
    const wchar_t* m_literal; // null when m_text holds the text
    std::wstring m_text;
    const SourceLocation m_source;
    ILogger* const m_target;
    std::chrono::nanoseconds m_start{};
    unsigned m_indentationAdded = 0;
    const int m_uncaughtAtStart;
};

// "1 234.567" for 1234567 microseconds: milliseconds with three decimals.
std::wstring FormatMilliseconds(std::int64_t microseconds);

#define TRACE_SCOPE(name)                                                                                              \
    const TraceScope traceScope(LogSeverity::Dbg, LogSeverity::Dbg, name, SourceLocation::Current())
