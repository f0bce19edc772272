#include "Common/ErrorHandling/HResult.h"

#include "Platform/Process.h"

// Three frames stand between a capture and the code that checks: CaptureFrames, the constructor, the checking function.
// None of them may be inlined away, or the frames would belong to the caller's caller.

[[gnu::noinline]] HRES::HRES(HRESULT code, unsigned framesToSkip) : m_code(code)
{
    if (!Failed())
        return;
    m_errorInfo = Platform::ErrorInfo::TakeFromThread();
    CaptureFrames(framesToSkip);
}

[[gnu::noinline]] void HRES::CaptureFrames(unsigned framesToSkip)
{
    constexpr unsigned ownFrames = 3;
    Platform::CaptureCallStack(framesToSkip + ownFrames, m_frames.data(), static_cast<unsigned>(m_frames.size()));
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
    Platform::ErrorInfo::TakeFromThread();
}

[[gnu::noinline]] void ThrowHResult(HRESULT hr)
{
    throw HRX(HRES(hr < 0 ? hr : E_FAIL));
}
