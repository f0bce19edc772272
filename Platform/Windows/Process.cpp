#include "Platform/Process.h"

#include "Platform/Windows/LastError.h"

namespace Platform
{

namespace
{

// Looked up by name: systems before Windows 8 lack the finer function.
auto FindSystemTimeFunction()
{
    using Function = void(WINAPI*)(FILETIME*);
    const HMODULE kernel = GetModuleHandleW(L"Kernel32.dll");
    const FARPROC precise = kernel ? GetProcAddress(kernel, "GetSystemTimePreciseAsFileTime") : nullptr;
    return precise ? reinterpret_cast<Function>(reinterpret_cast<void*>(precise)) : &GetSystemTimeAsFileTime;
}

} // namespace

std::uint32_t ProcessId()
{
    return GetCurrentProcessId();
}

std::uint32_t ThreadId()
{
    return GetCurrentThreadId();
}

std::wstring CommandLine()
{
    return GetCommandLineW();
}

std::uint64_t SystemTime()
{
    static const auto getSystemTime = FindSystemTimeFunction();
    FILETIME time{};
    getSystemTime(&time);
    return (static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

CivilTime ToLocalTime(std::uint64_t systemTime)
{
    const FILETIME utc{static_cast<DWORD>(systemTime & 0xFFFFFFFF), static_cast<DWORD>(systemTime >> 32)};
    FILETIME local{};
    SYSTEMTIME time{};
    if (!FileTimeToLocalFileTime(&utc, &local) || !FileTimeToSystemTime(&local, &time))
        return {};
    return {time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond, time.wMilliseconds};
}

// Frame 0 of the system's capture is this function's own.
[[gnu::noinline]] unsigned CaptureCallStack(unsigned framesToSkip, void** frames, unsigned count)
{
    return CaptureStackBackTrace(framesToSkip + 1, count, frames, nullptr);
}

void WriteDebugOutput(const wchar_t* text) noexcept
{
    OutputDebugStringW(text);
}

LastErrorKeeper::LastErrorKeeper() : m_error(GetLastError()) {}

LastErrorKeeper::~LastErrorKeeper()
{
    SetLastError(m_error);
}

ThreadToken::~ThreadToken()
{
    if (m_token)
        CloseHandle(m_token);
}

HRESULT ThreadToken::Open()
{
    if (OpenThreadToken(GetCurrentThread(), TOKEN_IMPERSONATE, TRUE, &m_token))
        return S_OK;
    return GetLastError() == ERROR_NO_TOKEN ? S_FALSE : LastErrorResult();
}

HRESULT ThreadToken::TakeOff() const
{
    return ResultOf(SetThreadToken(nullptr, nullptr));
}

HRESULT ThreadToken::PutBack() const
{
    return ResultOf(SetThreadToken(nullptr, m_token));
}

} // namespace Platform
