#include "Common/Diagnostics/TraceScope.h"

#include <algorithm>
#include <cwchar>
#include <exception>

namespace
{

std::int64_t TicksPer10Microseconds()
{
    static const std::int64_t ticks = [] {
        LARGE_INTEGER frequency{};
        QueryPerformanceFrequency(&frequency);
        return std::max<std::int64_t>(frequency.QuadPart / 100000, 1);
    }();
    return ticks;
}

} // namespace

std::wstring FormatMilliseconds(std::int64_t microseconds)
{
    wchar_t plain[32];
    std::swprintf(plain, std::size(plain), L"%lld.%03lld", static_cast<long long>(microseconds / 1000),
                  static_cast<long long>(microseconds % 1000));

    wchar_t point[] = L".";
    wchar_t blank[] = L" ";
    const NUMBERFMTW format{3, 1, 3, point, blank, 1};
    wchar_t grouped[64];
    if (GetNumberFormatW(LOCALE_INVARIANT, 0, plain, &format, grouped, static_cast<int>(std::size(grouped))) == 0)
        return plain;
    return grouped;
}

TraceScope::TraceScope(std::uint32_t severity, std::uint32_t exceptionSeverity, const wchar_t* literal,
                       const SourceLocation& source, ILogger* target)
    : m_severity(severity),
      m_exceptionSeverity(exceptionSeverity),
      m_literal(literal),
      m_source(source),
      m_target(target),
      m_uncaughtAtStart(std::uncaught_exceptions())
{
    Enter();
}

TraceScope::TraceScope(std::uint32_t severity, std::uint32_t exceptionSeverity, std::wstring text,
                       const SourceLocation& source, ILogger* target)
    : m_severity(severity),
      m_exceptionSeverity(exceptionSeverity),
      m_literal(nullptr),
      m_text(std::move(text)),
      m_source(source),
      m_target(target),
      m_uncaughtAtStart(std::uncaught_exceptions())
{
    Enter();
}

void TraceScope::Enter()
{
    LogManager& log = LogManager::Instance();
    if (log.IsEnabled(m_severity)) {
        Write(m_severity, L"Entering: ", {});
        m_indentationAdded = 1;
        if (log.ThreadIndentationAvailable())
            ThreadIndentation() += m_indentationAdded;
    }
    QueryPerformanceCounter(&m_start);
}

TraceScope::~TraceScope()
{
    LARGE_INTEGER now{};
    QueryPerformanceCounter(&now);
    const bool failed = std::uncaught_exceptions() != m_uncaughtAtStart;
    const std::uint32_t severity = failed ? m_exceptionSeverity : m_severity;

    LogManager& log = LogManager::Instance();
    if (log.ThreadIndentationAvailable())
        ThreadIndentation() -= m_indentationAdded;
    if (!log.IsEnabled(severity))
        return;
    try {
        const std::int64_t microseconds = (now.QuadPart - m_start.QuadPart) * 10 / TicksPer10Microseconds();
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
