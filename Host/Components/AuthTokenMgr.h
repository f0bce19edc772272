// The tokens of users and services.
#pragma once

#include "Host/Components/FaultPlan.h"
#include "Host/Components/NodeHandle.h"
#include "Interfaces/AuthTokens.h"
#include "Interfaces/Component.h"
#include "Platform/Accounts.h"
#include "Platform/Network.h"

#include <algorithm>
#include <cwchar>
#include <random>

namespace Host
{

// "S-1-5-21-…", which is how sites, grants and tokens hold SIDs. Throws Failure when it is no SID.
inline std::wstring SidText(const Platform::Sid& sid)
{
    std::wstring text;
    if (const HRESULT hr = Platform::FormatSid(sid, text); FAILED(hr))
        throw Failure{hr, L"an account's SID is not valid"};
    return text;
}

// A token is a node with `AuthTokenId`, `SubjectId` ("win:sid=" and the SID), `SubjectDisplayName` (DOMAIN\name, or the
// subject's identifier when the account has no known name or names are not wanted), `SubjectHost` and, when the account
// is in any, `Groups` (list of SIDs). Faults and expiry are by SID. Any thread.
class AuthTokenMgr final : public Component<IAuthTokenMgr>
{
public:
    static constexpr wchar_t InstanceName[] = L"Security.AuthTokenMgr";
    static constexpr wchar_t ForwardedName[] = L"OnBehalfOfClient"; // of a token in another one
    static constexpr std::wstring_view SidPrefix = L"win:sid=";

    // Tokens expire after `lifetime`.
    AuthTokenMgr(std::chrono::duration<double> lifetime, bool displayNames)
        : m_lifetime(std::chrono::duration_cast<Clock::duration>(lifetime)), m_displayNames(displayNames)
    {
        Platform::GetLocalComputerName(m_computerName);
    }

    // E_INVALIDARG for another kind than 2, arguments that are not 0, and a null context.
    HRESULT MakeAuthToken(std::uint32_t kind, std::uintptr_t reserved1, std::uintptr_t reserved2,
                          void* authzClientContext, IKelNode** token) override
    {
        return Boundary([=, this] {
            Refuse.IfNull(L"place for the token", token);
            if (kind != KindOfContext || reserved1 != 0 || reserved2 != 0 || !authzClientContext)
                Refuse(E_INVALIDARG, L"a token is made of kind 2, zeros and an authorization context");
            *token = Mint(authzClientContext, TokenName, true).Detach();
            ++m_minted;
        });
    }

    // E_INVALIDARG for a token that was not minted here.
    HRESULT IsAuthTokenExpired(IKelNode* token, BOOL* expired) override
    {
        return Boundary([=, this] {
            Refuse.IfNull(L"token, or place for the answer", token, expired);
            const std::wstring id = NodeHandle::Share(token).ReadText(L"AuthTokenId").value_or(L"");
            const bool isOwn = id.starts_with(m_idPrefix);
            const std::uint64_t number = isOwn ? std::wcstoull(&id[m_idPrefix.size()], nullptr, 10) : 0;
            const std::lock_guard guard(m_lock);
            if (number == 0 || number > m_last)
                Refuse(E_INVALIDARG, L"the token '" + id + L"' was not minted here");
            const auto known = m_tokens.find(number);
            *expired = known == m_tokens.end() || Clock::now() >= known->second.expiry;
        });
    }

    // For the host program; Failure when the accounts cannot be read. The token of a request that the client `sid`
    // sends by way of these services: the last one's, on behalf of the one before it, and so on. No faults.
    NodeHandle MakeRequestToken(const std::wstring& sid, const std::vector<std::wstring>& services)
    {
        NodeHandle token = MintForSid(sid, services.empty() ? TokenName : ForwardedName);
        for (const std::wstring& service : services) {
            NodeHandle forwarding = MintForSid(service, &service == &services.back() ? TokenName : ForwardedName);
            forwarding.AddChild(token);
            token = std::move(forwarding);
        }
        return token;
    }

    // Tokens that the account has so far (empty: all tokens) count as expired.
    void Expire(const std::wstring& sid)
    {
        const std::lock_guard guard(m_lock);
        std::erase_if(m_tokens, [&sid](const auto& token) { return sid.empty() || token.second.sid == sid; });
    }

    FaultPlan& Faults() { return m_faults; }
    // Tokens that MakeAuthToken has made.
    std::uint64_t Minted() const { return m_minted; }

private:
    using Clock = std::chrono::steady_clock;

    struct Record
    {
        std::wstring sid;
        Clock::time_point expiry;
    };

    static constexpr Refusal Refuse{L"Token manager"};
    static constexpr std::uint32_t KindOfContext = 2;
    static constexpr wchar_t TokenName[] = L"AuthToken";

    static void CheckPlatform(HRESULT result, const std::wstring& what)
    {
        if (FAILED(result))
            Refuse(result, what + L" (error " + std::to_wstring(result & 0xFFFF) + L")");
    }

    static std::wstring RandomPrefix()
    {
        std::random_device random;
        wchar_t text[20];
        std::swprintf(text, std::size(text), L"%08X%08X-", random(), random());
        return text;
    }

    // DOMAIN\name; empty when this computer does not know the account.
    static std::wstring LookUpAccountName(const Platform::Sid& sid)
    {
        Platform::AccountInfo account;
        if (FAILED(Platform::LookUpAccountBySid({}, sid, account)))
            return {};
        return account.domain.empty() ? account.name : account.domain + L'\\' + account.name;
    }

    NodeHandle Mint(void* context, const wchar_t* nodeName, bool withFaults)
    {
        Platform::Sid user;
        std::vector<Platform::Sid> groups;
        CheckPlatform(Platform::ReadClientContext(context, user, groups), L"the authorization context cannot be read");
        const std::wstring sid = SidText(user);
        const std::wstring name = LookUpAccountName(user);
        if (withFaults)
            m_faults.Strike(sid, name.empty() ? sid : name);
        const std::wstring subject = std::wstring(SidPrefix) + sid;
        NodeHandle token = NodeHandle::Create(nodeName, nullptr);
        token.Set(L"AuthTokenId", NewId(sid));
        token.Set(L"SubjectId", subject);
        token.Set(L"SubjectDisplayName", m_displayNames && !name.empty() ? name : subject);
        token.Set(L"SubjectHost", m_computerName);
        std::vector<std::wstring> groupTexts;
        std::transform(groups.begin(), groups.end(), std::back_inserter(groupTexts), &SidText);
        if (!groupTexts.empty())
            token.Set(L"Groups", groupTexts);
        return token;
    }

    // Of a token that is known from now on.
    std::wstring NewId(const std::wstring& sid)
    {
        const std::lock_guard guard(m_lock);
        const Clock::time_point now = Clock::now();
        while (!m_tokens.empty() && m_tokens.begin()->second.expiry <= now)
            m_tokens.erase(m_tokens.begin());
        m_tokens.emplace(++m_last, Record{sid, now + m_lifetime});
        return m_idPrefix + std::to_wstring(m_last);
    }

    // With the account's groups where they can be resolved.
    NodeHandle MintForSid(const std::wstring& sid, const wchar_t* nodeName)
    {
        Platform::Sid parsed;
        Platform::ParseSid(sid, parsed);
        Platform::ClientContext context;
        HRESULT made = Platform::MakeClientContext(parsed, true, context);
        if (FAILED(made))
            made = Platform::MakeClientContext(parsed, false, context);
        CheckPlatform(made, L"no authorization context for '" + sid + L"'");
        return Mint(context.get(), nodeName, false);
    }

    const Clock::duration m_lifetime;
    const bool m_displayNames;
    std::wstring m_computerName;
    const std::wstring m_idPrefix = RandomPrefix();
    FaultPlan m_faults;
    std::atomic<std::uint64_t> m_minted{0};
    std::mutex m_lock;
    std::uint64_t m_last = 0;                 // m_lock; number of the last token, the end of its AuthTokenId
    std::map<std::uint64_t, Record> m_tokens; // m_lock; by number; those that are not here have expired
};

} // namespace Host
