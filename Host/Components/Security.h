// Who asks, and what they may see: the requests that the host's threads serve, tokens and permissions.
#pragma once

#include "Host/Components/Component.h"
#include "Host/Components/FaultPlan.h"
#include "Host/Components/NodeHandle.h"
#include "Interfaces/AuthTokens.h"
#include "Interfaces/PermissionsChecker.h"
#include "Interfaces/RequestContext.h"
#include "Platform/Accounts.h"

namespace Host
{

// "S-1-5-21-…", which is how sites, grants and tokens hold SIDs. Throws Failure when it is no SID.
std::wstring SidText(const Platform::Sid& sid);

// Whether the text is a SID just as SidText writes it.
bool IsSidText(const std::wstring& text);

// The calling thread serves a request while the scope lasts. One at a time.
class RequestScope
{
public:
    // `token`: the caller's, borrowed; empty for a request without one.
    explicit RequestScope(const NodeHandle& token) { t_token = &token; }
    ~RequestScope() { t_token = nullptr; }
    RequestScope(const RequestScope&) = delete;
    RequestScope& operator=(const RequestScope&) = delete;

    static const NodeHandle* Token() { return t_token; }

private:
    static thread_local const NodeHandle* t_token; // thread-local destructors end badly with mingw-w64
};

// Any thread. It is the context of every request, which thus belongs to the thread that serves the request.
class RequestContextMgr final : public Component<IRequestContextMgr, IRequestContext>
{
public:
    static constexpr wchar_t InstanceName[] = L"Core.RequestContextMgr";

    RequestContextMgr() = default;

    // HResultFromWin32(ERROR_NOT_FOUND) for another context than 0, the calling thread's.
    HRESULT GetContext(std::uint32_t contextId, IRequestContext** out) override;
    // HResultFromWin32(ERROR_NOT_FOUND) when the calling thread's request has ended.
    HRESULT GetAuthToken(IKelNode** token) override;
};

// A token is a node with `AuthTokenId`, `SubjectId` ("win:sid=" and the SID), `SubjectDisplayName` (DOMAIN\name, or the
// subject's identifier when the account has no known name or names are not wanted), `SubjectHost` and, when the account
// is in any, `Groups` (list of SIDs). Faults and expiry are by SID. Any thread.
class AuthTokenMgr final : public Component<IAuthTokenMgr>
{
public:
    static constexpr wchar_t InstanceName[] = L"Security.AuthTokenMgr";

    // Tokens expire after `lifetime`.
    AuthTokenMgr(std::chrono::duration<double> lifetime, bool displayNames);

    // E_INVALIDARG for another kind than 2, arguments that are not 0, and a null context.
    HRESULT MakeAuthToken(std::uint32_t kind, std::uintptr_t reserved1, std::uintptr_t reserved2,
                          void* authzClientContext, IKelNode** token) override;
    // E_INVALIDARG for a token that was not minted here.
    HRESULT IsAuthTokenExpired(IKelNode* token, BOOL* expired) override;

    // For the host program; Failure when the accounts cannot be read. The token of a request that the client `sid`
    // sends by way of these services: the last one's, on behalf of the one before it, and so on. No faults.
    NodeHandle MakeRequestToken(const std::wstring& sid, const std::vector<std::wstring>& services);
    // Tokens that the account has so far (empty: all tokens) count as expired.
    void Expire(const std::wstring& sid);

    FaultPlan& Faults() { return m_faults; }
    // Tokens that MakeAuthToken has made.
    std::uint64_t Minted() const { return m_minted; }

private:
    struct Record
    {
        std::wstring sid;
        std::chrono::steady_clock::time_point expiry;
    };

    NodeHandle Mint(void* context, const wchar_t* nodeName, bool withFaults);
    NodeHandle MintForSid(const std::wstring& sid, const wchar_t* nodeName);

    const std::chrono::duration<double> m_lifetime;
    const bool m_displayNames;
    std::wstring m_computerName;
    const std::wstring m_idPrefix;
    FaultPlan m_faults;
    std::atomic<std::uint64_t> m_minted{0};
    std::mutex m_lock;
    std::uint64_t m_last = 0;                 // m_lock; number of the last token, the end of its AuthTokenId
    std::map<std::uint64_t, Record> m_tokens; // m_lock; by number; those that are not here have expired
};

// A permission of a user or a group.
struct Grant
{
    std::wstring sid;
    std::wstring permission;
    std::vector<std::wstring> containers; // GUID texts; empty: all containers
};

// Answers for the originating client, which is at the end of a token's chain: what is granted to it and to the groups
// in its token. Names of permissions compare exactly. Faults are by SID. Any thread.
class PermissionsChecker final : public Component<IPermissionsChecker>
{
public:
    static constexpr wchar_t InstanceName[] = L"Security.PermissionsChecker";

    PermissionsChecker() = default;

    HRESULT GetAccessibleContainers(IKelNode* token, const wchar_t* permission, std::uint32_t* scope,
                                    IKelNode** containers) override;

    // Replaces what the same permission of the same account was granted for.
    void Add(const Grant& grant);
    // An empty permission: all of the account's.
    void Revoke(const std::wstring& sid, const std::wstring& permission);

    FaultPlan& Faults() { return m_faults; }
    std::uint64_t Queries() const { return m_queries; }

private:
    FaultPlan m_faults;
    std::atomic<std::uint64_t> m_queries{0};
    std::mutex m_lock;
    // m_lock; by SID and permission
    std::map<std::pair<std::wstring, std::wstring>, std::vector<std::wstring>> m_grants;
};

} // namespace Host
