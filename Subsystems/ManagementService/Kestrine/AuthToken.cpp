#include "Subsystems/ManagementService/Kestrine/AuthToken.h"

#include "Common/Components/NamedInstance.h"
#include "Common/Diagnostics/Log.h"
#include "Interfaces/AuthTokens.h"
#include "Interfaces/RequestContext.h"

namespace
{

constexpr std::uint32_t ContextOfThisThread = 0;
constexpr std::uint32_t TokenKind = 2;
constexpr int LongestChain = 100;

std::wstring ReadText(const KelNodePtr& token, const wchar_t* name)
{
    std::wstring text;
    if (token)
        token.TryGetString(name, text);
    return text;
}

} // namespace

KelNodePtr GetCurrentAuthToken(bool required)
{
    KelNodePtr token;
    ComponentPtr<IRequestContext> context;
    if (const auto manager = TryGetNamedInstance<IRequestContextMgr>(L"Core.RequestContextMgr"))
        CheckHResult(manager->GetContext(ContextOfThisThread, context.Out()));
    if (context)
        CheckHResult(context->GetAuthToken(token.Out()));
    if (required && !token)
        ThrowHResult(HResultFromWin32(ERROR_NOT_FOUND));
    return token;
}

std::wstring GetAuthTokenId(const KelNodePtr& token)
{
    return ReadText(token, L"AuthTokenId");
}

std::wstring GetSubjectId(const KelNodePtr& token)
{
    return ReadText(token, L"SubjectId");
}

std::wstring GetSubjectDisplayName(const KelNodePtr& token)
{
    return ReadText(token, L"SubjectDisplayName");
}

KelNodePtr GetOnBehalfOfClient(const KelNodePtr& token)
{
    return token ? token.GetChildByName(L"OnBehalfOfClient", false) : KelNodePtr();
}

KelNodePtr GetOriginatingClient(const KelNodePtr& token)
{
    KelNodePtr last = token;
    for (int length = 1; KelNodePtr client = GetOnBehalfOfClient(last); ++length) {
        if (length == LongestChain) {
            LOG_ERR(L"The chain of clients of a token does not end within " << LongestChain << L" tokens: "
                                                                            << AuthTokenToString(token));
            ThrowHResult(HResultFromWin32(ERROR_CIRCULAR_DEPENDENCY));
        }
        last = client;
    }
    return last;
}

std::wstring AuthTokenToString(const KelNodePtr& token)
{
    if (!token)
        return L"AuthToken[<null>]";
    std::wstring text;
    std::wstring closing;
    KelNodePtr current = token;
    for (int length = 1; current && length <= LongestChain; ++length) {
        text += text.empty() ? L"" : L";OnBehalfOf=";
        text += L"AuthToken[AuthTokenId='" + GetAuthTokenId(current) + L"';SubjectId='" + GetSubjectId(current) +
                L"';SubjectDisplayName='" + GetSubjectDisplayName(current) + L"'";
        closing += L']';
        current = GetOnBehalfOfClient(current);
    }
    return text + closing;
}

KelNodePtr MakeAuthTokenBySid(const CSid& sid, bool resolveGroups)
{
    Platform::ClientContext context;
    CheckHResult(Platform::MakeClientContext(sid.Bytes(), resolveGroups, context));
    const auto tokenManager = GetNamedInstance<IAuthTokenMgr>(L"Security.AuthTokenMgr");
    KelNodePtr token;
    CheckHResult(tokenManager->MakeAuthToken(TokenKind, 0, 0, context.get(), token.Out()));
    CheckPointer(token.Get());
    return token;
}

bool IsAuthTokenExpired(const KelNodePtr& token)
{
    BOOL expired = FALSE;
    CheckHResult(GetNamedInstance<IAuthTokenMgr>(L"Security.AuthTokenMgr")->IsAuthTokenExpired(token.Get(), &expired));
    return expired != FALSE;
}
