#include "Common/Diagnostics/ImpersonationRevertGuard.h"

#include "Common/Diagnostics/LogManager.h"

#include <cstdlib>

namespace
{

void ReportTokenError(const wchar_t* what, HRESULT code)
{
    InternalReport({L"ImpersonationRevertGuard: ", what, ErrorSuffix(code)});
}

} // namespace

ImpersonationRevertGuard::ImpersonationRevertGuard(bool enabled)
{
    if (!enabled)
        return;
    if (const HRESULT hr = m_token.Open(); hr < 0)
        ReportTokenError(L"cannot get current thread token", hr);
    else if (hr == S_OK)
        Revert();
}

void ImpersonationRevertGuard::Revert()
{
    const HRESULT hr = m_token.TakeOff();
    m_reverted = hr >= 0;
    if (!m_reverted)
        ReportTokenError(L"cannot revert thread token", hr);
}

ImpersonationRevertGuard::~ImpersonationRevertGuard()
{
    if (!m_reverted)
        return;
    if (const HRESULT hr = m_token.PutBack(); hr < 0) {
        ReportTokenError(L"cannot restore token back", hr);
        std::abort();
    }
}
