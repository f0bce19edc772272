#include "Common/Diagnostics/LogManager.h"

#include "Common/Diagnostics/InternalReport.h"
#include "Common/Diagnostics/LogLineFormatter.h"
#include "Common/Diagnostics/LogSeverity.h"
#include "Common/Foundation/Handles.h"
#include "Common/Foundation/Singleton.h"

namespace
{

bool IsVistaOrLater()
{
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    version.dwMajorVersion = 6;
    ULONGLONG mask = VerSetConditionMask(0, VER_MAJORVERSION, VER_GREATER_EQUAL);
    mask = VerSetConditionMask(mask, VER_MINORVERSION, VER_GREATER_EQUAL);
    mask = VerSetConditionMask(mask, VER_SERVICEPACKMAJOR, VER_GREATER_EQUAL);
    return VerifyVersionInfoW(&version, VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR, mask) != FALSE;
}

// 100-ns resolution where the platform has it.
auto FindSystemTimeFunction()
{
    using Function = void(WINAPI*)(FILETIME*);
    const HMODULE kernel = GetModuleHandleW(L"Kernel32.dll");
    const FARPROC precise = kernel ? GetProcAddress(kernel, "GetSystemTimePreciseAsFileTime") : nullptr;
    return precise ? reinterpret_cast<Function>(reinterpret_cast<void*>(precise)) : &GetSystemTimeAsFileTime;
}

const DataDirectory& ProcessDataDirectory()
{
    return DataDirectory::Instance();
}

} // namespace

unsigned& ThreadIndentation()
{
    thread_local unsigned indentation = 0;
    return indentation;
}

LogManager::LogManager() : LogManager(SettingsStore::Instance(), &ProcessDataDirectory) {}

LogManager::LogManager(SettingsStore& store, const DataDirectory& (*dataDirectory)())
    : m_settings(store, dataDirectory), m_threadIndentation(IsVistaOrLater()), m_getSystemTime(FindSystemTimeFunction())
{}

LogManager& LogManager::Instance()
{
    return Singleton<LogManager>::Instance();
}

bool LogManager::IsEnabled(std::uint32_t severity)
{
    m_settings.RefreshIfStale();
    return severity >= LogSeverity::Crit && severity <= m_settings.MaxSeverity();
}

void LogManager::Write(std::uint32_t severity, std::wstring_view text, const SourceLocation& source, ILogger* target)
{
    const LastErrorKeeper keepLastError;
    LogLine line{};
    m_getSystemTime(&line.time);
    line.severity = severity;
    line.processId = GetCurrentProcessId();
    line.threadId = GetCurrentThreadId();
    line.source = source;
    line.indentation = m_threadIndentation ? ThreadIndentation() : 0;
    line.message = text;
    const std::wstring formatted = FormatLogLine(line);
    const auto length = static_cast<int>(formatted.size());
    if (target) {
        target->Write(formatted.c_str(), length);
        return;
    }
    for (const auto& slot : m_loggers) {
        if (ILogger* const logger = slot.load(std::memory_order_acquire))
            logger->Write(formatted.c_str(), length);
    }
}

bool LogManager::AddLogger(ILogger& logger)
{
    RemoveLogger(logger);
    for (auto& slot : m_loggers) {
        ILogger* expected = nullptr;
        if (slot.compare_exchange_strong(expected, &logger))
            return true;
    }
    InternalReport(L"LogManager: Too many loggers");
    return false;
}

void LogManager::RemoveLogger(ILogger& logger)
{
    for (auto& slot : m_loggers) {
        ILogger* expected = &logger;
        slot.compare_exchange_strong(expected, nullptr);
    }
}
