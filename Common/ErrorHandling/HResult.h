// Failures inside the module: HRES records one, HRX is thrown. Knows neither log nor settings, which raise HRX
// themselves.
#pragma once

#include "Platform/ErrorInfo.h"

#include <array>

// The result of a call. For a failure it also holds the error information that the call left on the thread (which it
// takes from there, so it must be made on the thread that made the call) and the return addresses of whoever checked.
class HRES
{
public:
    // `framesToSkip`: wrapper levels between this constructor and the code that detected the failure.
    explicit HRES(HRESULT code, unsigned framesToSkip = 0);

    HRESULT Code() const { return m_code; }
    bool Failed() const { return m_code < 0; }
    const Platform::ErrorInfo& ErrorInfo() const { return m_errorInfo; }

    // Innermost first; slots that the capture did not fill are null.
    const std::array<void*, 2>& Frames() const { return m_frames; }

private:
    void CaptureFrames(unsigned framesToSkip);

    HRESULT m_code;
    Platform::ErrorInfo m_errorInfo;
    std::array<void*, 2> m_frames{};
};

// The one exception type of the module.
class HRX : public HRES
{
public:
    explicit HRX(const HRES& result) : HRES(result) {}
};

namespace HResultDetail
{
[[noreturn]] void ThrowFailure(HRESULT hr);
}

// Throws HRX when `hr` is a failure; success codes, S_FALSE among them, pass.
[[gnu::always_inline]] inline void CheckHResult(HRESULT hr)
{
    if (hr < 0) [[unlikely]]
        HResultDetail::ThrowFailure(hr);
}

// The same recording without throwing, for results that may be tolerated.
HRES RecordHResult(HRESULT hr);

// Forgets the error information that a tolerated failure may have left on the thread, at less than the cost of
// recording it, so that no later failure picks it up.
void DropErrorInfo();

// Keeps the thread's error information over a scope whose own calls may take or replace it.
class ErrorInfoKeeper
{
public:
    ErrorInfoKeeper() = default;
    ~ErrorInfoKeeper() { m_info.LeaveOnThread(); }
    ErrorInfoKeeper(const ErrorInfoKeeper&) = delete;
    ErrorInfoKeeper& operator=(const ErrorInfoKeeper&) = delete;

private:
    const Platform::ErrorInfo m_info = Platform::ErrorInfo::TakeFromThread();
};

// Always throws; a success code becomes E_FAIL.
[[noreturn]] void ThrowHResult(HRESULT hr);

// E_POINTER for a null argument.
[[gnu::always_inline]] inline void CheckPointer(const void* argument)
{
    CheckHResult(argument ? S_OK : E_POINTER);
}
