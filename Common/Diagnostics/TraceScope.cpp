#include "Common/Diagnostics/TraceScope.h"

#include "Platform/Threads.h"

#include <exception>

std::wstring FormatMilliseconds(std::int64_t microseconds)
{
    std::wstring text = std::to_wstring(microseconds / 1000);
    for (std::size_t place = text.size(); place > 3;)
        text.insert(place -= 3, 1, L' ');
    const std::wstring fraction = std::to_wstring(microseconds % 1000);
    return text + L'.' + std::wstring(3 - fraction.size(), L'0') + fraction;
}

TraceScope::TraceScope(std::uint32_t severity, std::uint32_t exceptionSeverity, const wchar_t* literal,
                       const SourceLocation& source, ILogger* target) noexcept
    : m_severity(severity),
      m_exceptionSeverity(exceptionSeverity),
      m_literal(literal),
      m_source(source),
      m_target(target),
      m_uncaughtAtStart(std::uncaught_exceptions())
{
    Enter();
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

void TraceScope::Enter() noexcept
{
    if (IsLogEnabled(m_severity)) {
        Write(m_severity, L"Entering: ", {});
        m_indentationAdded = 1;
        if (LogManager::Instance().ThreadIndentationAvailable())
            ThreadIndentation() += m_indentationAdded;
    }
    m_start = Platform::SteadyNow();
}

TraceScope::~TraceScope()
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
