#include "Common/Diagnostics/ImpersonationRevertGuard.h"

#include "Common/Diagnostics/InternalReport.h"

#include <cstdlib>
#include <cwchar>

namespace
{

void ReportTokenError(const wchar_t* what)
{
    wchar_t code[32];
    std::swprintf(code, std::size(code), L" (error: 0x%08x)", static_cast<unsigned>(HResultFromWin32(GetLastError())));
    InternalReport(std::wstring(L"ImpersonationRevertGuard: ") + what + code);
}

} // namespace

ImpersonationRevertGuard::ImpersonationRevertGuard(bool enabled)
{
    if (!enabled)
        return;
    HANDLE token = nullptr;
    if (!OpenThreadToken(GetCurrentThread(), TOKEN_IMPERSONATE, TRUE, &token)) {
        if (GetLastError() != ERROR_NO_TOKEN)
            ReportTokenError(L"cannot get current thread token");
        return;
    }
    m_token.reset(token);
    if (!SetThreadToken(nullptr, nullptr)) {
        ReportTokenError(L"cannot revert thread token");
        m_token.reset();
    }
}

ImpersonationRevertGuard::~ImpersonationRevertGuard()
{
    if (m_token && !SetThreadToken(nullptr, m_token.get())) {
        ReportTokenError(L"cannot restore token back");
        std::abort();
    }
}
