#include "Common/Diagnostics/TraceScope.h"

#include "Common/Foundation/Strings.h"

std::wstring FormatMilliseconds(std::int64_t microseconds)
{
    const auto value = static_cast<std::uint64_t>(microseconds);
    std::wstring text;
    Strings::AppendNumber(text, value / 1000);
    for (std::size_t place = text.size(); place > 3;)
        text.insert(place -= 3, 1, L' ');
    text += L'.';
    Strings::AppendNumber(text, value % 1000, 3);
    return text;
}

TraceScope::TraceScope(std::uint32_t severity, std::uint32_t exceptionSeverity, std::wstring_view text,
                       const SourceLocation& source, ILogger* target) noexcept
    : m_severity(severity),
      m_exceptionSeverity(exceptionSeverity),
      m_literal(nullptr),
      m_source(source),
      m_target(target),
      m_uncaughtAtStart(std::uncaught_exceptions())
{
    try {
        m_text = text;
    } catch (...) {
        m_literal = L"... (***EXCEPTION***)";
    }
    Enter();
}

void TraceScope::WriteEntry() noexcept
{
    Write(m_severity, L"Entering: ", {});
    m_indentationAdded = 1;
    if (LogManager::Instance().ThreadIndentationAvailable())
        ThreadIndentation() += m_indentationAdded;
}

void TraceScope::Exit() noexcept
{
    const auto now = Platform::SteadyNow();
    const bool failed = std::uncaught_exceptions() != m_uncaughtAtStart;
    const std::uint32_t severity = failed ? m_exceptionSeverity : m_severity;

    // The log manager exists: without it no step was added.
    if (m_indentationAdded != 0 && LogManager::Instance().ThreadIndentationAvailable())
        ThreadIndentation() -= m_indentationAdded;
    if (!IsLogEnabled(severity))
        return;
    try {
        const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(now - m_start).count();
        Write(severity, failed ? L"EXCEPTION at: " : L"Exiting: ", L" [" + FormatMilliseconds(microseconds) + L" ms]");
    } catch (...) {
        // Out of memory: the exit line is lost.
    }
}

void TraceScope::Write(std::uint32_t severity, const wchar_t* prefix, const std::wstring& suffix) noexcept
{
    try {
        const std::wstring line = prefix + (m_literal ? std::wstring(m_literal) : m_text) + suffix;
        LogManager::Instance().Write(severity, line, m_source, m_target);
    } catch (...) {
        // Out of memory: the line is lost.
    }
}
