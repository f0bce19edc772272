#include "Host/Components/AuthTokenMgr.h"

#include "Host/Components/Accounts.h"
#include "Host/Support/Boundary.h"

#include <cstddef>
#include <cwchar>
#include <random>
#include <type_traits>

namespace Host
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t KindOfContext = 2;
constexpr wchar_t TokenName[] = L"AuthToken";
constexpr wchar_t ForwardedName[] = L"OnBehalfOfClient";

struct FreeManager
{
    void operator()(AUTHZ_RESOURCE_MANAGER_HANDLE manager) const { AuthzFreeResourceManager(manager); }
};
struct FreeContext
{
    void operator()(AUTHZ_CLIENT_CONTEXT_HANDLE context) const { AuthzFreeContext(context); }
};
using UniqueManager = std::unique_ptr<std::remove_pointer_t<AUTHZ_RESOURCE_MANAGER_HANDLE>, FreeManager>;
using UniqueContext = std::unique_ptr<std::remove_pointer_t<AUTHZ_CLIENT_CONTEXT_HANDLE>, FreeContext>;

[[noreturn]] void Refuse(HRESULT result, const std::wstring& text)
{
    throw Failure{result, L"Token manager: " + text};
}

[[noreturn]] void RefuseWithLastError(const std::wstring& text)
{
    const DWORD error = GetLastError();
    Refuse(HResultFromWin32(error), text + L" (error " + std::to_wstring(error) + L")");
}

std::wstring RandomPrefix()
{
    std::random_device random;
    wchar_t text[20];
    std::swprintf(text, std::size(text), L"%08X%08X-", random(), random());
    return text;
}

// A TOKEN_USER or TOKEN_GROUPS with what it points to.
std::vector<std::byte> QueryContext(AUTHZ_CLIENT_CONTEXT_HANDLE context, AUTHZ_CONTEXT_INFORMATION_CLASS what)
{
    DWORD size = 0;
    AuthzGetInformationFromContext(context, what, 0, &size, nullptr);
    std::vector<std::byte> buffer(size);
    if (size == 0 || !AuthzGetInformationFromContext(context, what, size, &size, buffer.data()))
        RefuseWithLastError(L"the authorization context cannot be read");
    return buffer;
}

UniqueManager MakeManager()
{
    AUTHZ_RESOURCE_MANAGER_HANDLE manager = nullptr;
    if (!AuthzInitializeResourceManager(AUTHZ_RM_FLAG_NO_AUDIT, nullptr, nullptr, nullptr, nullptr, &manager))
        RefuseWithLastError(L"authorization contexts cannot be made");
    return UniqueManager(manager);
}

// With the account's groups where they can be resolved.
UniqueContext MakeContext(const UniqueManager& manager, const std::wstring& sid)
{
    const UniqueSid user = ParseSid(sid);
    AUTHZ_CLIENT_CONTEXT_HANDLE context = nullptr;
    for (const DWORD flags : {DWORD{0}, DWORD{AUTHZ_SKIP_TOKEN_GROUPS}}) {
        if (AuthzInitializeContextFromSid(flags, user.get(), manager.get(), nullptr, LUID{}, nullptr, &context))
            return UniqueContext(context);
    }
    RefuseWithLastError(L"no authorization context for '" + sid + L"'");
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
        const Account account = ReadAccount(static_cast<AUTHZ_CLIENT_CONTEXT_HANDLE>(authzClientContext));
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

AuthTokenMgr::Account AuthTokenMgr::ReadAccount(AUTHZ_CLIENT_CONTEXT_HANDLE context) const
{
    const std::vector<std::byte> userBuffer = QueryContext(context, AuthzContextInfoUserSid);
    const PSID sid = reinterpret_cast<const TOKEN_USER*>(userBuffer.data())->User.Sid;
    const std::vector<std::byte> groupsBuffer = QueryContext(context, AuthzContextInfoGroupsSids);
    const auto& groups = *reinterpret_cast<const TOKEN_GROUPS*>(groupsBuffer.data());
    Account account{SidText(sid), LookUpAccountName(sid).value_or(L""), {}};
    for (DWORD i = 0; i < groups.GroupCount; ++i)
        account.groups.push_back(SidText(groups.Groups[i].Sid));
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
    const UniqueManager manager = MakeManager();
    const UniqueContext context = MakeContext(manager, sid);
    return Mint(ReadAccount(context.get()), nodeName);
}

} // namespace Host
