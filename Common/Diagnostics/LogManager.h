// The log: decides which lines are written, formats them and hands them to the registered loggers.
#pragma once

#include "Common/Diagnostics/LogSeverity.h"
#include "Common/Diagnostics/LoggerSettings.h"
#include "Common/Diagnostics/SourceLocation.h"
#include "Common/Foundation/Singleton.h"

#include <array>
#include <atomic>
#include <initializer_list>
#include <string>
#include <string_view>

// Where lines go.
class ILogger
{
public:
    virtual ~ILogger() = default;

    // `text` is one whole line, CR LF included; a negative length means that it ends at its first zero. Called on any
    // thread, on several at once; must not throw.
    virtual void Write(const wchar_t* text, int length) noexcept = 0;
};

// Thread-safe. Keeps the caller's last error.
class LogManager
{
public:
    LogManager();
    LogManager(SettingsStore& store, const DataDirectory& (*dataDirectory)());
    static LogManager& Instance() { return Singleton<LogManager>::Instance(); }

    // Whether lines of this severity are written. Callers ask before they build a message.
    bool IsEnabled(std::uint32_t severity) noexcept
    {
        m_settings.RefreshIfStale();
        return severity >= LogSeverity::Crit && severity <= m_settings.MaxSeverity();
    }

    // Formats one line and hands it to `target`, or to every registered logger in slot order without one. Writes
    // whatever the severity is.
    void Write(std::uint32_t severity, std::wstring_view text, const SourceLocation& source, ILogger* target);

    // Four loggers at most; a logger takes one slot however often it is added. False when no slot is free. A logger
    // must be removed before it is destroyed, and no thread may be logging at that moment.
    bool AddLogger(ILogger& logger);
    void RemoveLogger(ILogger& logger);

    // Whether lines show how deep their thread is in trace scopes.
    bool ThreadIndentationAvailable() const { return m_threadIndentation; }

    LoggerSettings& Settings() { return m_settings; }

private:
    std::array<std::atomic<ILogger*>, 4> m_loggers{};
    LoggerSettings m_settings;
    const bool m_threadIndentation;
};

// IsEnabled of the module's log; false when there is no memory to make it.
inline bool IsLogEnabled(std::uint32_t severity) noexcept
try {
    return LogManager::Instance().IsEnabled(severity);
} catch (...) {
    return false;
}

// How many steps the calling thread's lines are indented; moved by trace scopes.
unsigned& ThreadIndentation();

// The columns of a log line.
struct LogLine
{
    std::uint64_t time; // Platform::SystemTime
    std::uint32_t severity;
    std::uint32_t processId;
    std::uint32_t threadId;
    SourceLocation source;
    unsigned indentation;
    std::wstring_view message;
};

// date time | severity | process thread | file:line | message CR LF. Times are local, processes and threads shown by
// their low 16 bits, files by the first 26 characters of their name, indentation as two blanks a step, 30 steps at
// most.
std::wstring FormatLogLine(const LogLine& line);

// A Platform::SystemTime as the log shows it, to the second: "2026-11-22 14:03:07".
std::wstring LocalTimeText(std::uint64_t systemTime);

// Reports the logging machinery's own troubles on the debugger output. Joins the parts to one message; what is longer
// than any path is cut. Never logs, never throws, allocates nothing; keeps the thread's last error.
void InternalReport(std::initializer_list<std::wstring_view> parts) noexcept;

// " (error: 0x80070005)", to end a report with.
class ErrorSuffix
{
public:
    explicit ErrorSuffix(HRESULT code) noexcept;
    operator std::wstring_view() const { return m_text; }

private:
    wchar_t m_text[32];
};
