// The log file: UTF-16LE text without byte-order mark, appended line by line.
#pragma once

#include "Common/Diagnostics/LogManager.h"
#include "Platform/Files.h"

// Thread-safe: each line is one write on a handle opened for appending, outside the lock. Troubles go to the debugger
// output, never to the caller.
class FileLogger : public ILogger
{
public:
    // `fileName`: taken as it is when it holds a separator, otherwise a file in the log directory; empty stands for
    // DefaultLogFileName(). `banner` heads every new file and every file that is continued; may be empty.
    FileLogger(LoggerSettings& settings, std::wstring fileName, std::wstring banner);

    void Write(const wchar_t* text, int length) noexcept override;

private:
    Platform::AppendFile GetHandle();
    Platform::AppendFile DuplicateCached() REQUIRES(m_lock);
    Platform::AppendFile Open() REQUIRES(m_lock);
    bool IsTooBig(const Platform::AppendFile& file, const std::wstring& path) REQUIRES(m_lock);
    void WriteBannerToNewFile(const Platform::AppendFile& file) REQUIRES(m_lock);

    LoggerSettings& m_settings;
    const std::wstring m_fileName;
    const std::wstring m_banner;
    const bool m_nameHasDirectory;

    Mutex m_lock;
    std::uint32_t m_lastOpenTick GUARDED_BY(m_lock) = 0; // 0: never
    Platform::AppendFile m_cached GUARDED_BY(m_lock);
    Platform::FileIdentity m_identity GUARDED_BY(m_lock){}; // of the file that received the banner last
    bool m_tooBigReported GUARDED_BY(m_lock) = false;
};

// The module's file name without directory and extension, with ".log".
std::wstring DefaultLogFileName();

// The lines that head a log file: the module, its version and description, and the process it runs in.
std::wstring BuildBanner(const std::array<int, 4>& version);
