#include "Common/Diagnostics/FileLogger.h"

#include "Common/Diagnostics/ImpersonationRevertGuard.h"
#include "Common/Diagnostics/InternalReport.h"
#include "Common/Foundation/ModuleFile.h"
#include "Common/Foundation/SteadyClock.h"
#include "Platform/Text.h"

#include <cwchar>
#include <thread>

namespace
{

constexpr bool RevertImpersonation = true;
constexpr int OpenAttempts = 4;
constexpr std::chrono::milliseconds PauseBetweenAttempts{10};

HRESULT LastErrorCode()
{
    return HResultFromWin32(GetLastError());
}

std::wstring ErrorSuffix(HRESULT code)
{
    wchar_t suffix[32];
    std::swprintf(suffix, std::size(suffix), L" (error: 0x%08x)", static_cast<unsigned>(code));
    return suffix;
}

UniqueHandle OpenForAppending(const std::wstring& path)
{
    for (int attempt = 1;; ++attempt) {
        const HANDLE file =
            CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                        OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file != INVALID_HANDLE_VALUE)
            return UniqueHandle(file);
        if (GetLastError() != ERROR_SHARING_VIOLATION || attempt == OpenAttempts)
            return nullptr;
        std::this_thread::sleep_for(PauseBetweenAttempts);
    }
}

void WriteUtf16(HANDLE file, std::wstring_view text)
{
    std::string bytes;
    Text::AppendUtf16Le(text, bytes);
    DWORD written = 0;
    if (!WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr))
        InternalReport(L"FileLogger: cannot write" + ErrorSuffix(LastErrorCode()));
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
    const LastErrorKeeper keepLastError;
    if (const UniqueHandle file = GetHandle())
        WriteUtf16(file.get(),
                   length < 0 ? std::wstring_view(text) : std::wstring_view(text, static_cast<std::size_t>(length)));
} catch (...) {
    InternalReport(L"FileLogger: cannot write");
}

UniqueHandle FileLogger::GetHandle()
{
    const DWORD keepOpenInterval = m_settings.KeepOpenInterval();
    const MutexLock lock(m_lock);
    if (keepOpenInterval == 0) {
        m_cached.reset();
        return Open();
    }
    const DWORD now = SteadyClock::Ticks();
    if (m_lastOpenTick == 0 || now - m_lastOpenTick >= keepOpenInterval) {
        // Set before the attempt: when it fails, the next one comes an interval later.
        m_lastOpenTick = now;
        m_cached.reset();
        m_cached = Open();
    }
    return m_cached ? DuplicateCached() : nullptr;
}

UniqueHandle FileLogger::DuplicateCached()
{
    HANDLE duplicate = nullptr;
    if (!DuplicateHandle(GetCurrentProcess(), m_cached.get(), GetCurrentProcess(), &duplicate, 0, FALSE,
                         DUPLICATE_SAME_ACCESS)) {
        InternalReport(L"FileLogger: cannot duplicate handle" + ErrorSuffix(LastErrorCode()));
        return nullptr;
    }
    return UniqueHandle(duplicate);
}

UniqueHandle FileLogger::Open()
{
    const ImpersonationRevertGuard revert(RevertImpersonation);
    const std::wstring path = m_nameHasDirectory ? m_fileName : m_settings.LogDirectory() + m_fileName;
    UniqueHandle file = OpenForAppending(path);
    if (!file) {
        InternalReport(L"FileLogger: cannot open log file '" + path + L"'" + ErrorSuffix(LastErrorCode()));
        return nullptr;
    }
    if (IsTooBig(file.get(), path))
        return nullptr;
    if (!m_banner.empty())
        WriteBannerToNewFile(file.get());
    return file;
}

bool FileLogger::IsTooBig(HANDLE file, const std::wstring& path)
{
    const std::uint32_t threshold = m_settings.FileSizeThresholdMB();
    LARGE_INTEGER size{};
    if (threshold == 0 || !GetFileSizeEx(file, &size))
        return false;
    const std::int64_t megabytes = size.QuadPart / 1048576;
    if (megabytes < threshold) {
        m_tooBigReported = false;
        return false;
    }
    if (!m_tooBigReported) {
        m_tooBigReported = true;
        InternalReport(L"FileLogger: log file '" + path + L"' is too big (size=" + std::to_wstring(megabytes) +
                       L"MB threshold=" + std::to_wstring(threshold) + L"MB)");
    }
    return true;
}

void FileLogger::WriteBannerToNewFile(HANDLE file)
{
    FileIdentity identity;
    BY_HANDLE_FILE_INFORMATION information{};
    if (GetFileInformationByHandle(file, &information)) {
        identity = {information.dwVolumeSerialNumber, information.nFileIndexHigh, information.nFileIndexLow};
    } else {
        InternalReport(L"FileLogger: cannot get file id" + ErrorSuffix(LastErrorCode()));
        identity.fill(0xFFFFFFFF);
    }
    if (identity == m_identity)
        return;
    m_identity = identity;
    WriteUtf16(file, m_banner);
}

std::wstring DefaultLogFileName()
{
    return std::wstring(ModuleFile::StemOf(ModuleFile::Path(ModuleFile::Handle()))) + L".log";
}
