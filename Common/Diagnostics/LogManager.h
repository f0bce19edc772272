// The one door to the log: decides which lines are written, formats them and hands them to the registered loggers.
#pragma once

#include "Common/Diagnostics/LoggerSettings.h"
#include "Common/Diagnostics/SourceLocation.h"

#include <array>
#include <atomic>
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
    static LogManager& Instance();

    // Whether lines of this severity are written. Callers ask before they build a message.
    bool IsEnabled(std::uint32_t severity);

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
    using GetSystemTime = void(WINAPI*)(FILETIME*);

    std::array<std::atomic<ILogger*>, 4> m_loggers{};
    LoggerSettings m_settings;
    const bool m_threadIndentation;
    const GetSystemTime m_getSystemTime;
};

// How many steps the calling thread's lines are indented; moved by trace scopes.
unsigned& ThreadIndentation();
