#include "Subsystems/ManagementService/Kestrine/AuthToken.h"

#include "Common/Components/NamedInstance.h"
#include "Common/Diagnostics/Log.h"
#include "Interfaces/AuthTokens.h"
#include "Interfaces/RequestContext.h"

#include <memory>
#include <type_traits>

namespace
{

constexpr std::uint32_t ContextOfThisThread = 0;
constexpr std::uint32_t TokenKind = 2;
constexpr int LongestChain = 100;

struct FreeResourceManager
{
    void operator()(AUTHZ_RESOURCE_MANAGER_HANDLE manager) const { AuthzFreeResourceManager(manager); }
};
struct FreeContext
{
    void operator()(AUTHZ_CLIENT_CONTEXT_HANDLE context) const { AuthzFreeContext(context); }
};
using UniqueResourceManager =
    std::unique_ptr<std::remove_pointer_t<AUTHZ_RESOURCE_MANAGER_HANDLE>, FreeResourceManager>;
using UniqueClientContext = std::unique_ptr<std::remove_pointer_t<AUTHZ_CLIENT_CONTEXT_HANDLE>, FreeContext>;

UniqueResourceManager MakeResourceManager()
{
    AUTHZ_RESOURCE_MANAGER_HANDLE manager = nullptr;
    if (!AuthzInitializeResourceManager(AUTHZ_RM_FLAG_NO_AUDIT | AUTHZ_RM_FLAG_NO_CENTRAL_ACCESS_POLICIES, nullptr,
                                        nullptr, nullptr, nullptr, &manager))
        ThrowLastError();
    return UniqueResourceManager(manager);
}

UniqueClientContext MakeClientContext(const CSid& sid, bool resolveGroups, const UniqueResourceManager& manager)
{
    AUTHZ_CLIENT_CONTEXT_HANDLE context = nullptr;
    if (!AuthzInitializeContextFromSid(resolveGroups ? 0 : AUTHZ_SKIP_TOKEN_GROUPS, sid.Pointer(), manager.get(),
                                       nullptr, LUID{}, nullptr, &context))
        ThrowLastError();
    return UniqueClientContext(context);
}

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
    const UniqueResourceManager resourceManager = MakeResourceManager();
    const UniqueClientContext context = MakeClientContext(sid, resolveGroups, resourceManager);
    const auto tokenManager = GetNamedInstance<IAuthTokenMgr>(L"Security.AuthTokenMgr");
    KelNodePtr token;
    CheckHResult(tokenManager->MakeAuthToken(TokenKind, 0, 0, context.get(), token.Out()));
    return token;
}

bool IsAuthTokenExpired(const KelNodePtr& token)
{
    BOOL expired = FALSE;
    CheckHResult(GetNamedInstance<IAuthTokenMgr>(L"Security.AuthTokenMgr")->IsAuthTokenExpired(token.Get(), &expired));
    return expired != FALSE;
}
