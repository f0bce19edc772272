#include "Common/Diagnostics/LogManager.h"

#include "Common/Diagnostics/LogSeverity.h"
#include "Common/Foundation/Strings.h"
#include "Platform/Modules.h"
#include "Platform/Process.h"
#include "Platform/Text.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

namespace
{

const DataDirectory& ProcessDataDirectory()
{
    return DataDirectory::Instance();
}

using Strings::AppendNumber;

constexpr std::size_t FileNameWidth = 26;
constexpr std::size_t LineNumberWidth = 4;
constexpr unsigned MaxIndentation = 30;

void AppendTime(std::wstring& text, std::uint64_t systemTime)
{
    const Platform::CivilTime time = Platform::ToLocalTime(systemTime);
    const auto append = [&text](std::uint32_t number, std::size_t width, wchar_t end) {
        AppendNumber(text, number, width);
        text += end;
    };
    append(time.year, 4, L'-');
    append(time.month, 2, L'-');
    append(time.day, 2, L' ');
    append(time.hour, 2, L':');
    append(time.minute, 2, L':');
    append(time.second, 2, L'.');
    AppendNumber(text, time.millisecond, 3);
    AppendNumber(text, systemTime % 10000, 4);
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
    const std::size_t start = text.size();
    const std::size_t end = start + FileNameWidth + LineNumberWidth + 1;
    Text::AppendFromUtf8(path, text);
    text.resize(std::min(text.size(), start + FileNameWidth));
    text += L':';
    AppendNumber(text, source.line);
    text.append(end - std::min(end, text.size()), L' ');
}

} // namespace

unsigned& ThreadIndentation()
{
    thread_local unsigned indentation = 0;
    return indentation;
}

LogManager::LogManager() : LogManager(SettingsStore::Instance(), &ProcessDataDirectory) {}

LogManager::LogManager(SettingsStore& store, const DataDirectory& (*dataDirectory)())
    : m_settings(store, dataDirectory), m_threadIndentation(Platform::IsSystemVersionOrLater(6, 0))
{}

void LogManager::Write(std::uint32_t severity, std::wstring_view text, const SourceLocation& source, ILogger* target)
{
    const Platform::LastErrorKeeper keepLastError;
    LogLine line{};
    line.time = Platform::SystemTime();
    line.severity = severity;
    line.processId = Platform::ProcessId();
    line.threadId = Platform::ThreadId();
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
    InternalReport({L"LogManager: Too many loggers"});
    return false;
}

void LogManager::RemoveLogger(ILogger& logger)
{
    for (auto& slot : m_loggers) {
        ILogger* expected = &logger;
        slot.compare_exchange_strong(expected, nullptr);
    }
}

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

std::wstring LocalTimeText(std::uint64_t systemTime)
{
    std::wstring text;
    AppendTime(text, systemTime);
    text.resize(text.find(L'.'));
    return text;
}

void InternalReport(std::initializer_list<std::wstring_view> parts) noexcept
{
    const Platform::LastErrorKeeper keepLastError;
    wchar_t text[5000];
    wchar_t* end = text;
    wchar_t* const last = std::end(text) - 2;
    for (const std::wstring_view part : parts)
        end = std::copy_n(part.data(), std::min(part.size(), static_cast<std::size_t>(last - end)), end);
    *end++ = L'\n';
    *end = L'\0';
    Platform::WriteDebugOutput(text);
}

ErrorSuffix::ErrorSuffix(HRESULT code) noexcept
{
    std::swprintf(m_text, std::size(m_text), L" (error: 0x%08x)", static_cast<unsigned>(code));
}
