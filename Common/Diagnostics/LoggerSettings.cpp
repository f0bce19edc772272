#include "Common/Diagnostics/LoggerSettings.h"

#include "Common/Diagnostics/ImpersonationRevertGuard.h"
#include "Common/Diagnostics/LogSeverity.h"
#include "Common/Foundation/Strings.h"
#include "Platform/Files.h"

#include <algorithm>

namespace
{

constexpr std::uint32_t DefaultMaxSeverity = LogSeverity::Dbg;
constexpr std::uint32_t DefaultFileSizeThresholdMB = 1024;
constexpr std::uint32_t DefaultKeepOpenInterval = 5000;

// A level that exists, or that cannot be created, is passed over: opening the file then fails.
void CreateDirectories(const std::wstring& directory)
{
    for (std::size_t end = directory.find(L'\\', 1); end != std::wstring::npos; end = directory.find(L'\\', end + 1))
        Platform::CreateFolder(directory.substr(0, end));
}

std::wstring EndInBackslash(std::wstring path)
{
    std::replace(path.begin(), path.end(), L'/', L'\\');
    if (path.empty() || path.back() != L'\\')
        path += L'\\';
    return path;
}

} // namespace

LoggerSettings::LoggerSettings(SettingsStore& store, const DataDirectory& (*dataDirectory)())
    : m_section(store, L"Logger"),
      m_dataDirectory(dataDirectory),
      m_maxSeverity(DefaultMaxSeverity),
      m_fileSizeThresholdMB(DefaultFileSizeThresholdMB),
      m_keepOpenInterval(DefaultKeepOpenInterval)
{}

void LoggerSettings::RefreshAgain() noexcept
{
    const Platform::LastErrorKeeper keepLastError;
    const MutexLock lock(m_lock);
    if (!IsStale())
        return;
    try {
        Refresh();
    } catch (...) {
        // No memory: the next refresh may have more.
    }
    m_lastRefresh.store(SteadyClock::Ticks());
    m_read.store(true, std::memory_order_release);
}

void LoggerSettings::Refresh()
{
    constexpr bool revertImpersonation = true;
    const ImpersonationRevertGuard asProcess(revertImpersonation);
    m_section.Reload();
    const std::uint32_t maxSeverity = ReadMaxSeverity();
    const std::uint32_t threshold = m_section.GetUInt32(L"LogFileSizeThresholdMB", DefaultFileSizeThresholdMB);
    m_keepOpenInterval.store(m_section.GetUInt32(L"KeepOpenInterval", DefaultKeepOpenInterval));
    m_fileSizeThresholdMB.store(threshold);
    m_maxSeverity.store(maxSeverity);
    m_directoryStale.store(true);
}

std::uint32_t LoggerSettings::Fresh(const std::atomic<std::uint32_t>& value)
{
    RefreshIfStale();
    return value.load(std::memory_order_relaxed);
}

std::uint32_t LoggerSettings::ReadMaxSeverity()
{
    std::wstring value;
    if (m_section.GetString(L"MaxSeverity", value) != S_OK)
        return DefaultMaxSeverity;
    const auto name = std::find_if(LogSeverity::Names.begin(), LogSeverity::Names.end(),
                                   [&](std::wstring_view each) { return Strings::EqualNoCase(each, value); });
    return name == LogSeverity::Names.end() ? DefaultMaxSeverity
                                            : static_cast<std::uint32_t>(name - LogSeverity::Names.begin());
}

std::wstring LoggerSettings::LogDirectory()
{
    RefreshIfStale();
    const MutexLock lock(m_lock);
    if (m_directoryStale.load()) {
        const std::wstring directory = EndInBackslash(m_dataDirectory().ResolvePath(ConfiguredPath()));
        if (directory != m_directory) {
            CreateDirectories(directory);
            m_directory = directory;
        }
        m_directoryStale.store(false);
    }
    return m_directory;
}

std::wstring LoggerSettings::ConfiguredPath()
{
    std::wstring path = L"Logs\\";
    m_section.GetString(L"Path", path);
    return path;
}

std::wstring LoggerSettings::ConfiguredLogDirectory()
{
    return EndInBackslash(ConfiguredPath());
}
