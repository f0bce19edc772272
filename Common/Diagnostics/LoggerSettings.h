// Configuration of the log: the settings section "Logger", read anew every five seconds.
#pragma once

#include "Common/Foundation/SteadyClock.h"
#include "Common/Settings/DataDirectory.h"
#include "Common/Settings/SettingsSection.h"

#include <atomic>

// Thread-safe.
class LoggerSettings
{
public:
    // The data directory is asked for when a log directory is first needed.
    LoggerSettings(SettingsStore& store, const DataDirectory& (*dataDirectory)());

    // Re-reads the settings, as the process, when they are older than five seconds. A refresh that fails keeps the old
    // values and counts all the same.
    void RefreshIfStale() noexcept
    {
        if (IsStale()) [[unlikely]]
            RefreshAgain();
    }

    std::uint32_t MaxSeverity() const { return m_maxSeverity.load(std::memory_order_relaxed); }

    // Ends in a separator. Created, with its parents, when it has changed. Throws HRX when the path cannot be resolved.
    std::wstring LogDirectory();

    // As the settings name it, before it is resolved; ends in a separator.
    std::wstring ConfiguredLogDirectory();

    std::uint32_t FileSizeThresholdMB() { return Fresh(m_fileSizeThresholdMB); }
    std::uint32_t KeepOpenInterval() { return Fresh(m_keepOpenInterval); }

private:
    static constexpr std::uint32_t RefreshIntervalMs = 5000;

    bool IsStale() const
    {
        return SteadyClock::Ticks() - m_lastRefresh.load(std::memory_order_relaxed) > RefreshIntervalMs ||
               !m_read.load(std::memory_order_acquire);
    }
    void RefreshAgain() noexcept;
    void Refresh();
    std::wstring ConfiguredPath();
    std::uint32_t Fresh(const std::atomic<std::uint32_t>& value);
    std::uint32_t ReadMaxSeverity();

    SettingsSection m_section;
    const DataDirectory& (*const m_dataDirectory)();
    std::atomic<std::uint32_t> m_maxSeverity;
    std::atomic<std::uint32_t> m_fileSizeThresholdMB;
    std::atomic<std::uint32_t> m_keepOpenInterval;
    std::atomic<bool> m_read{false};
    std::atomic<std::uint32_t> m_lastRefresh{0};

    Mutex m_lock; // held while the settings are refreshed and the directory is computed
    std::wstring m_directory GUARDED_BY(m_lock);
    std::atomic<bool> m_directoryStale{true};
};
