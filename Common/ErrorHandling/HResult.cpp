#include "Common/ErrorHandling/HResult.h"

// Three frames stand between a capture and the code that checks: CaptureFrames, the constructor, the checking function.
// None of them may be inlined away, or the frames would belong to the caller's caller.

[[gnu::noinline]] HRES::HRES(HRESULT code, unsigned framesToSkip) : m_code(code)
{
    if (!Failed())
        return;
    if (GetErrorInfo(0, m_errorInfo.Out()) != S_OK)
        m_errorInfo.Reset();
    CaptureFrames(framesToSkip);
}

[[gnu::noinline]] HRES::HRES(HRESULT code, ComponentPtr<IErrorInfo> errorInfo, unsigned framesToSkip)
    : m_code(code), m_errorInfo(std::move(errorInfo))
{
    CaptureFrames(framesToSkip);
}

[[gnu::noinline]] void HRES::CaptureFrames(unsigned framesToSkip)
{
    constexpr unsigned ownFrames = 3;
    CaptureStackBackTrace(framesToSkip + ownFrames, static_cast<DWORD>(m_frames.size()), m_frames.data(), nullptr);
}

namespace HResultDetail
{

[[gnu::noinline]] void ThrowFailure(HRESULT hr)
{
    throw HRX(HRES(hr));
}

} // namespace HResultDetail

[[gnu::noinline]] HRES RecordHResult(HRESULT hr)
{
    return HRES(hr);
}

void DropErrorInfo()
{
    ComponentPtr<IErrorInfo> dropped;
    GetErrorInfo(0, dropped.Out());
}

[[gnu::noinline]] void ThrowHResult(HRESULT hr)
{
    throw HRX(HRES(hr < 0 ? hr : E_FAIL));
}

[[gnu::noinline]] void ThrowLastError()
{
    throw HRX(HRES(HResultFromWin32(GetLastError()) < 0 ? HResultFromWin32(GetLastError()) : E_FAIL));
}
