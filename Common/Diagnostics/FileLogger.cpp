#include "Common/Diagnostics/FileLogger.h"

#include "Common/Diagnostics/ImpersonationRevertGuard.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Foundation/ModuleFile.h"
#include "Common/Foundation/SteadyClock.h"
#include "Common/Foundation/Strings.h"
#include "Platform/Process.h"
#include "Platform/Text.h"
#include "Platform/Threads.h"

#include <cwchar>

using Platform::AppendFile;

namespace
{

constexpr bool RevertImpersonation = true;
constexpr int OpenAttempts = 4;
constexpr std::chrono::milliseconds PauseBetweenAttempts{10};

void ReportCannotOpen(const std::wstring& path, HRESULT code)
{
    InternalReport({L"FileLogger: cannot open log file '", path, L"'", ErrorSuffix(code)});
}

HRESULT OpenForAppending(const std::wstring& path, AppendFile& file)
{
    for (int attempt = 1;; ++attempt) {
        const HRESULT hr = AppendFile::Open(path, file);
        if (hr != HResultFromWin32(ERROR_SHARING_VIOLATION) || attempt == OpenAttempts)
            return hr;
        Platform::SleepFor(PauseBetweenAttempts);
    }
}

void WriteUtf16(const AppendFile& file, std::wstring_view text)
{
    std::string bytes;
    Text::AppendUtf16Le(text, bytes);
    if (const HRESULT hr = file.Write(bytes); hr < 0)
        InternalReport({L"FileLogger: cannot write", ErrorSuffix(hr)});
}

} // namespace

FileLogger::FileLogger(LoggerSettings& settings, std::wstring fileName, std::wstring banner)
    : m_settings(settings),
      m_fileName(fileName.empty() ? DefaultLogFileName() : std::move(fileName)),
      m_banner(std::move(banner)),
      m_nameHasDirectory(m_fileName.find_first_of(L"\\/") != std::wstring::npos)
{}

void FileLogger::Write(const wchar_t* text, int length) noexcept
try {
    const Platform::LastErrorKeeper keepLastError;
    if (const AppendFile file = GetHandle())
        WriteUtf16(file,
                   length < 0 ? std::wstring_view(text) : std::wstring_view(text, static_cast<std::size_t>(length)));
} catch (...) {
    InternalReport({L"FileLogger: cannot write"});
}

AppendFile FileLogger::GetHandle()
{
    const std::uint32_t keepOpenInterval = m_settings.KeepOpenInterval();
    const MutexLock lock(m_lock);
    if (keepOpenInterval == 0) {
        m_cached = AppendFile();
        return Open();
    }
    const std::uint32_t now = SteadyClock::Ticks();
    if (m_lastOpenTick == 0 || now - m_lastOpenTick >= keepOpenInterval) {
        // Set before the attempt: when it fails, the next one comes an interval later.
        m_lastOpenTick = now;
        m_cached = AppendFile();
        m_cached = Open();
    }
    return m_cached ? DuplicateCached() : AppendFile();
}

AppendFile FileLogger::DuplicateCached()
{
    AppendFile duplicate;
    if (const HRESULT hr = m_cached.Duplicate(duplicate); hr < 0)
        InternalReport({L"FileLogger: cannot duplicate handle", ErrorSuffix(hr)});
    return duplicate;
}

AppendFile FileLogger::Open()
{
    const ImpersonationRevertGuard revert(RevertImpersonation);
    std::wstring directory;
    try {
        if (!m_nameHasDirectory)
            directory = m_settings.LogDirectory();
    } catch (const HRX& e) {
        ReportCannotOpen(m_settings.ConfiguredLogDirectory() + m_fileName, e.Code());
        return {};
    }
    const std::wstring path = directory + m_fileName;
    AppendFile file;
    if (const HRESULT hr = OpenForAppending(path, file); hr < 0) {
        ReportCannotOpen(path, hr);
        return {};
    }
    if (IsTooBig(file, path))
        return {};
    if (!m_banner.empty())
        WriteBannerToNewFile(file);
    return file;
}

bool FileLogger::IsTooBig(const AppendFile& file, const std::wstring& path)
{
    const std::uint32_t threshold = m_settings.FileSizeThresholdMB();
    Platform::FileInfo info;
    if (threshold == 0 || file.GetInfo(info) < 0)
        return false;
    const std::uint64_t megabytes = info.size / 1048576;
    if (megabytes < threshold) {
        m_tooBigReported = false;
        return false;
    }
    if (!m_tooBigReported) {
        m_tooBigReported = true;
        wchar_t sizes[64];
        std::swprintf(sizes, std::size(sizes), L"' is too big (size=%lluMB threshold=%uMB)",
                      static_cast<unsigned long long>(megabytes), static_cast<unsigned>(threshold));
        InternalReport({L"FileLogger: log file '", path, sizes});
    }
    return true;
}

void FileLogger::WriteBannerToNewFile(const AppendFile& file)
{
    Platform::FileInfo info;
    if (const HRESULT hr = file.GetInfo(info); hr < 0) {
        InternalReport({L"FileLogger: cannot get file id", ErrorSuffix(hr)});
        info.identity.fill(0xFFFFFFFF);
    }
    if (info.identity == m_identity)
        return;
    m_identity = info.identity;
    WriteUtf16(file, m_banner);
}

std::wstring DefaultLogFileName()
{
    return std::wstring(ModuleFile::StemOf(ModuleFile::Path())) + L".log";
}

std::wstring BuildBanner(const std::array<int, 4>& version)
{
    const std::wstring frame = std::wstring(100, L'*') + L"\r\n";
    std::wstring banner = frame;
    banner += L"*** Module: " + ModuleFile::Path() + L" (Base: " + Strings::Hex(ModuleFile::Base()) + L")\r\n";
    banner += L"*** Version: " + std::to_wstring(version[0]) + L"." + std::to_wstring(version[1]) + L"." +
              std::to_wstring(version[2]) + L"." + std::to_wstring(version[3]) + L"\r\n";
    banner += L"*** Module description: Kestrine64\r\n";
    banner +=
        L"*** Process: " + ModuleFile::ProcessPath() + L" (Pid: " + std::to_wstring(Platform::ProcessId()) + L")\r\n";
    banner += L"*** Command line: " + Platform::CommandLine() + L"\r\n";
    banner += frame;
    return banner;
}
