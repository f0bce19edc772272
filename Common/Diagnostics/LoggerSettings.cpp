#include "Common/Diagnostics/LoggerSettings.h"

#include "Common/Diagnostics/LogSeverity.h"
#include "Common/Foundation/Handles.h"
#include "Common/Foundation/SteadyClock.h"
#include "Common/Foundation/Strings.h"

#include <algorithm>

namespace
{

constexpr DWORD RefreshIntervalMs = 5000;
constexpr std::uint32_t DefaultMaxSeverity = LogSeverity::Dbg;

// A level that exists, or that cannot be created, is passed over: opening the file will tell.
void CreateDirectories(const std::wstring& directory)
{
    for (std::size_t end = directory.find(L'\\', 1); end != std::wstring::npos; end = directory.find(L'\\', end + 1))
        CreateDirectoryW(directory.substr(0, end).c_str(), nullptr);
}

} // namespace

LoggerSettings::LoggerSettings(SettingsStore& store, const DataDirectory& (*dataDirectory)())
    : m_section(store, L"Logger"), m_dataDirectory(dataDirectory), m_maxSeverity(DefaultMaxSeverity)
{}

bool LoggerSettings::IsStale() const
{
    return SteadyClock::Ticks() - m_lastRefresh.load(std::memory_order_relaxed) > RefreshIntervalMs ||
           !m_read.load(std::memory_order_acquire);
}

void LoggerSettings::RefreshIfStale()
{
    if (!IsStale()) [[likely]]
        return;
    const LastErrorKeeper keepLastError;
    const MutexLock lock(m_lock);
    if (!IsStale())
        return;
    m_section.Reload();
    m_maxSeverity.store(ReadMaxSeverity());
    m_directoryStale.store(true);
    m_lastRefresh.store(SteadyClock::Ticks());
    m_read.store(true, std::memory_order_release);
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
        std::wstring path = L"Logs\\";
        m_section.GetString(L"Path", path);
        std::wstring directory = m_dataDirectory().ResolvePath(path);
        std::replace(directory.begin(), directory.end(), L'/', L'\\');
        if (directory.empty() || directory.back() != L'\\')
            directory += L'\\';
        if (directory != m_directory) {
            m_directory = std::move(directory);
            CreateDirectories(m_directory);
        }
        m_directoryStale.store(false);
    }
    return m_directory;
}
