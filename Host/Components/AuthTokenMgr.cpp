#include "Host/Components/AuthTokenMgr.h"

#include "Host/Components/SidTexts.h"
#include "Host/Support/Failure.h"

#include <cwchar>
#include <random>

namespace Host
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t KindOfContext = 2;
constexpr wchar_t TokenName[] = L"AuthToken";
constexpr wchar_t ForwardedName[] = L"OnBehalfOfClient";

constexpr Refusal Refuse{L"Token manager"};

[[noreturn]] void RefuseBecauseOf(HRESULT failure, const std::wstring& text)
{
    Refuse(failure, text + L" (error " + std::to_wstring(failure & 0xFFFF) + L")");
}

std::wstring RandomPrefix()
{
    std::random_device random;
    wchar_t text[20];
    std::swprintf(text, std::size(text), L"%08X%08X-", random(), random());
    return text;
}

// With the account's groups where they can be resolved.
Platform::ClientContext MakeContext(const std::wstring& sidText)
{
    Platform::Sid sid;
    Platform::ParseSid(sidText, sid);
    Platform::ClientContext context;
    HRESULT hr = Platform::MakeClientContext(sid, true, context);
    if (FAILED(hr))
        hr = Platform::MakeClientContext(sid, false, context);
    if (FAILED(hr))
        RefuseBecauseOf(hr, L"no authorization context for '" + sidText + L"'");
    return context;
}

} // namespace

AuthTokenMgr::AuthTokenMgr(std::chrono::duration<double> lifetime, bool displayNames)
    : m_lifetime(std::chrono::duration_cast<Clock::duration>(lifetime)),
      m_displayNames(displayNames),
      m_computerName(ComputerName()),
      m_idPrefix(RandomPrefix())
{}

HRESULT AuthTokenMgr::MakeAuthToken(std::uint32_t kind, std::uintptr_t reserved1, std::uintptr_t reserved2,
                                    void* authzClientContext, IKelNode** token)
{
    return Boundary([=, this] {
        if (!token)
            Refuse(E_POINTER, L"no place for the token (a null pointer)");
        if (kind != KindOfContext || reserved1 != 0 || reserved2 != 0 || !authzClientContext)
            Refuse(E_INVALIDARG, L"a token is made of kind 2, zeros and an authorization context");
        const Account account = ReadAccount(authzClientContext);
        m_faults.Strike(account.sid, account.name.empty() ? account.sid : account.name);
        *token = Mint(account, TokenName).Detach();
        ++m_minted;
        return S_OK;
    });
}

HRESULT AuthTokenMgr::IsAuthTokenExpired(IKelNode* token, BOOL* expired)
{
    return Boundary([=, this] {
        if (!token || !expired)
            Refuse(E_POINTER, L"no token or no place for the answer (a null pointer)");
        const std::wstring id = ReadText(token, L"AuthTokenId").value_or(L"");
        const std::lock_guard guard(m_lock);
        const auto known = m_tokens.find(id);
        if (known == m_tokens.end())
            Refuse(E_INVALIDARG, L"the token '" + id + L"' was not minted here");
        *expired = Clock::now() >= known->second.expiry;
        return S_OK;
    });
}

NodeHandle AuthTokenMgr::MakeRequestToken(const std::wstring& sid, const std::vector<std::wstring>& services)
{
    NodeHandle token = MintForSid(sid, services.empty() ? TokenName : ForwardedName);
    for (std::size_t i = 0; i < services.size(); ++i) {
        NodeHandle forwarding = MintForSid(services[i], i + 1 == services.size() ? TokenName : ForwardedName);
        AddChild(forwarding.Get(), token.Get());
        token = std::move(forwarding);
    }
    return token;
}

void AuthTokenMgr::Expire(const std::wstring& sid)
{
    const std::lock_guard guard(m_lock);
    for (auto& [id, record] : m_tokens) {
        if (sid.empty() || record.sid == sid)
            record.expiry = Clock::now();
    }
}

AuthTokenMgr::Account AuthTokenMgr::ReadAccount(void* context) const
{
    Platform::Sid user;
    std::vector<Platform::Sid> groups;
    if (const HRESULT hr = Platform::ReadClientContext(context, user, groups); FAILED(hr))
        RefuseBecauseOf(hr, L"the authorization context cannot be read");
    Account account{SidText(user), LookUpAccountName(user).value_or(L""), {}};
    for (const Platform::Sid& group : groups)
        account.groups.push_back(SidText(group));
    return account;
}

NodeHandle AuthTokenMgr::Mint(const Account& account, const wchar_t* nodeName)
{
    const std::wstring subject = L"win:sid=" + account.sid;
    const bool named = m_displayNames && !account.name.empty();
    std::unique_lock guard(m_lock);
    const std::wstring id = m_idPrefix + std::to_wstring(m_tokens.size() + 1);
    m_tokens.emplace(id, Record{account.sid, Clock::now() + m_lifetime});
    guard.unlock();
    NodeDescription token{nodeName,
                          {},
                          {{L"AuthTokenId", id},
                           {L"SubjectId", subject},
                           {L"SubjectDisplayName", named ? account.name : subject},
                           {L"SubjectHost", m_computerName}},
                          {}};
    if (!account.groups.empty())
        token.attributes.push_back({L"Groups", account.groups});
    return BuildNode(token);
}

NodeHandle AuthTokenMgr::MintForSid(const std::wstring& sid, const wchar_t* nodeName)
{
    return Mint(ReadAccount(MakeContext(sid).get()), nodeName);
}

} // namespace Host
