// Configuration of the log: the settings section "Logger", read anew every five seconds.
#pragma once

#include "Common/Diagnostics/DataDirectory.h"
#include "Common/Diagnostics/SettingsSection.h"

#include <atomic>

// Thread-safe.
class LoggerSettings
{
public:
    // The data directory is asked for when a log directory is first needed.
    LoggerSettings(SettingsStore& store, const DataDirectory& (*dataDirectory)());

    // Re-reads the settings when they are older than five seconds.
    void RefreshIfStale();

    std::uint32_t MaxSeverity() const { return m_maxSeverity.load(std::memory_order_relaxed); }

    // Ends in a separator. Created, with its parents, when it has changed. Throws HRX when the path cannot be resolved.
    std::wstring LogDirectory();

    std::uint32_t FileSizeThresholdMB() { return m_section.GetUInt32(L"LogFileSizeThresholdMB", 1024); }
    std::uint32_t KeepOpenInterval() { return m_section.GetUInt32(L"KeepOpenInterval", 5000); }

private:
    bool IsStale() const;
    std::uint32_t ReadMaxSeverity();

    SettingsSection m_section;
    const DataDirectory& (*const m_dataDirectory)();
    std::atomic<std::uint32_t> m_maxSeverity;
    std::atomic<bool> m_read{false};
    std::atomic<DWORD> m_lastRefresh{0};

    Mutex m_lock; // held while the settings are refreshed and the directory is computed
    std::wstring m_directory GUARDED_BY(m_lock);
    std::atomic<bool> m_directoryStale{true};
};
