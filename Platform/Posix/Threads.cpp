#include "Platform/Posix/Failure.h"
#include "Platform/Posix/Handles.h"
#include "Platform/Posix/Win32Process.h"
#include "Platform/Posix/Win32Threads.h"

namespace
{

// An identity to act under. There is only the process's own here; what counts is which token a thread has.
struct Token
{};

class TokenHandle final : public HandleObject
{
public:
    explicit TokenHandle(std::shared_ptr<const Token> token) : m_token(std::move(token)) {}
    const std::shared_ptr<const Token>& Get() const { return m_token; }

private:
    std::shared_ptr<const Token> m_token;
};

thread_local std::shared_ptr<const Token> threadToken;

} // namespace

BOOL OpenThreadToken(HANDLE thread, DWORD access, BOOL /*openAsSelf*/, HANDLE* token)
try {
    if (thread != GetCurrentThread() || access != TOKEN_IMPERSONATE)
        return Fail(ERROR_NOT_SUPPORTED);
    if (!token)
        return Fail(ERROR_INVALID_PARAMETER);
    if (!threadToken)
        return Fail(ERROR_NO_TOKEN);
    *token = MakeHandle<TokenHandle>(threadToken);
    return TRUE;
} catch (...) {
    return Fail(ExceptionCode());
}

BOOL SetThreadToken(HANDLE* thread, HANDLE token)
{
    if (thread && *thread != GetCurrentThread())
        return Fail(ERROR_NOT_SUPPORTED);
    if (!token)
        return RevertToSelf();
    const TokenHandle* const handle = FromHandle<TokenHandle>(token);
    if (!handle)
        return Fail(ERROR_INVALID_HANDLE);
    threadToken = handle->Get();
    return TRUE;
}

BOOL ImpersonateSelf(SECURITY_IMPERSONATION_LEVEL level)
try {
    if (level != SecurityImpersonation)
        return Fail(ERROR_NOT_SUPPORTED);
    threadToken = std::make_shared<Token>();
    return TRUE;
} catch (...) {
    return Fail(ExceptionCode());
}

BOOL RevertToSelf()
{
    threadToken = nullptr;
    return TRUE;
}
