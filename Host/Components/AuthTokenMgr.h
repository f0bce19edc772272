// The token manager of the reference host.
#pragma once

#include "Host/Components/Component.h"
#include "Host/Components/FaultPlan.h"
#include "Host/Components/NodeAccess.h"
#include "Interfaces/AuthTokens.h"

#include <chrono>
#include <map>
#include <vector>

namespace Host
{

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
    struct Account
    {
        std::wstring sid;
        std::wstring name; // empty: not known
        std::vector<std::wstring> groups;
    };
    struct Record
    {
        std::wstring sid;
        std::chrono::steady_clock::time_point expiry;
    };

    Account ReadAccount(void* context) const;
    NodeHandle Mint(const Account& account, const wchar_t* nodeName);
    NodeHandle MintForSid(const std::wstring& sid, const wchar_t* nodeName);

    const std::chrono::steady_clock::duration m_lifetime;
    const bool m_displayNames;
    const std::wstring m_computerName;
    const std::wstring m_idPrefix;
    FaultPlan m_faults;
    std::atomic<std::uint64_t> m_minted{0};
    std::mutex m_lock;
    std::map<std::wstring, Record> m_tokens; // m_lock; by AuthTokenId
};

} // namespace Host
