// Log statements.
//
//     LOG_DBG(L"Adding item to process: '" << name << L"'");
//
// A statement whose severity is off costs one comparison. One that is on never lets an exception out: when the message
// cannot be built, what was built so far is written with "... (***EXCEPTION***)" behind it. The caller's last error
// stays as it was.
#pragma once

#include "Common/Diagnostics/LogManager.h"
#include "Common/Diagnostics/LogSeverity.h"
#include "Common/Diagnostics/LogText.h"
#include "Platform/Process.h"

#define LOG_AT_SOURCE(severity, source, message)                                                                       \
    do {                                                                                                               \
        if (IsLogEnabled(severity))                                                                                    \
            WriteLogStatement(severity, source, [&](LogText& logText) { logText << message; });                        \
    } while (false)
#define LOG_AT(severity, message) LOG_AT_SOURCE(severity, SourceLocation::Current(), message)

#define LOG_ERR(message) LOG_AT(LogSeverity::Err, message)
#define LOG_WARN(message) LOG_AT(LogSeverity::Warn, message)
#define LOG_INFO(message) LOG_AT(LogSeverity::Info, message)
#define LOG_DBG(message) LOG_AT(LogSeverity::Dbg, message)
#define LOG_DBG2(message) LOG_AT(LogSeverity::Dbg2, message)

// What `build` writes, with the mark of an exception behind it when it threw.
template <class Build>
std::wstring BuildLogText(Build build)
{
    LogText text;
    try {
        build(text);
    } catch (...) {
        text << L"... (***EXCEPTION***)";
    }
    return text.Take();
}

template <class Build>
void WriteLogStatement(std::uint32_t severity, const SourceLocation& source, Build build) noexcept
{
    const Platform::LastErrorKeeper keepLastError;
    try {
        LogManager::Instance().Write(severity, BuildLogText(build), source, nullptr);
    } catch (...) {
        // Out of memory: the line is lost, the caller continues.
    }
}
