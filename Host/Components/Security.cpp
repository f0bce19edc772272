#include "Host/Components/Security.h"

#include "Platform/Network.h"

#include <cwchar>
#include <random>
#include <set>

namespace Host
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t KindOfContext = 2;
constexpr wchar_t TokenName[] = L"AuthToken";
constexpr wchar_t ForwardedName[] = L"OnBehalfOfClient";
constexpr std::wstring_view SidPrefix = L"win:sid=";

constexpr Refusal RefuseContext{L"Request contexts"};
constexpr Refusal RefuseToken{L"Token manager"};
constexpr Refusal RefuseQuery{L"Permissions checker"};

void CheckPlatform(HRESULT result, const std::wstring& what)
{
    if (FAILED(result))
        RefuseToken(result, what + L" (error " + std::to_wstring(result & 0xFFFF) + L")");
}

std::wstring RandomPrefix()
{
    std::random_device random;
    wchar_t text[20];
    std::swprintf(text, std::size(text), L"%08X%08X-", random(), random());
    return text;
}

// DOMAIN\name; empty when this computer does not know the account.
std::wstring LookUpAccountName(const Platform::Sid& sid)
{
    Platform::AccountInfo account;
    if (FAILED(Platform::LookUpAccountBySid({}, sid, account)))
        return {};
    return account.domain.empty() ? account.name : account.domain + L'\\' + account.name;
}

NodeHandle OriginatingClient(IKelNode* token)
{
    NodeHandle client = NodeHandle::Share(token);
    while (NodeHandle next = client.FindChild(ForwardedName))
        client = std::move(next);
    return client;
}

NodeHandle MakeContainerList(const std::set<std::wstring>& containers)
{
    NodeHandle list = NodeHandle::Create(L"Containers", nullptr);
    for (const std::wstring& container : containers)
        list.AddChild(NodeHandle::Build({{}, {}, {{L"Container", container}}, {}}));
    return list;
}

} // namespace

std::wstring SidText(const Platform::Sid& sid)
{
    std::wstring text;
    if (const HRESULT hr = Platform::FormatSid(sid, text); FAILED(hr))
        throw Failure{hr, L"an account's SID is not valid"};
    return text;
}

bool IsSidText(const std::wstring& text)
{
    Platform::Sid sid;
    return Platform::ParseSid(text, sid) && SidText(sid) == text;
}

thread_local const NodeHandle* RequestScope::t_token = nullptr;

HRESULT RequestContextMgr::GetContext(std::uint32_t contextId, IRequestContext** out)
{
    return Boundary([=, this] {
        RefuseContext.IfNull(L"place for the context", out);
        if (contextId != 0)
            RefuseContext(HResultFromWin32(ERROR_NOT_FOUND), L"there is no context " + std::to_wstring(contextId));
        *out = ComponentPtr<IRequestContext>(RequestScope::Token() ? this : nullptr).Detach();
    });
}

HRESULT RequestContextMgr::GetAuthToken(IKelNode** token)
{
    return Boundary([=] {
        RefuseContext.IfNull(L"place for the token", token);
        const NodeHandle* const own = RequestScope::Token();
        if (!own)
            RefuseContext(HResultFromWin32(ERROR_NOT_FOUND), L"the calling thread serves no request");
        *token = *own ? own->Share().Detach() : nullptr;
    });
}

AuthTokenMgr::AuthTokenMgr(std::chrono::duration<double> lifetime, bool displayNames)
    : m_lifetime(lifetime), m_displayNames(displayNames), m_idPrefix(RandomPrefix())
{
    Platform::GetLocalComputerName(m_computerName);
}

HRESULT AuthTokenMgr::MakeAuthToken(std::uint32_t kind, std::uintptr_t reserved1, std::uintptr_t reserved2,
                                    void* authzClientContext, IKelNode** token)
{
    return Boundary([=, this] {
        RefuseToken.IfNull(L"place for the token", token);
        if (kind != KindOfContext || reserved1 != 0 || reserved2 != 0 || !authzClientContext)
            RefuseToken(E_INVALIDARG, L"a token is made of kind 2, zeros and an authorization context");
        *token = Mint(authzClientContext, TokenName, true).Detach();
        ++m_minted;
    });
}

HRESULT AuthTokenMgr::IsAuthTokenExpired(IKelNode* token, BOOL* expired)
{
    return Boundary([=, this] {
        RefuseToken.IfNull(L"token, or place for the answer", token, expired);
        const std::wstring id = NodeHandle::Share(token).ReadText(L"AuthTokenId").value_or(L"");
        const bool isOwn = id.starts_with(m_idPrefix);
        const std::uint64_t number = isOwn ? std::wcstoull(&id[m_idPrefix.size()], nullptr, 10) : 0;
        const std::lock_guard guard(m_lock);
        if (number == 0 || number > m_last)
            RefuseToken(E_INVALIDARG, L"the token '" + id + L"' was not minted here");
        const auto known = m_tokens.find(number);
        *expired = known == m_tokens.end() || Clock::now() >= known->second.expiry;
    });
}

NodeHandle AuthTokenMgr::MakeRequestToken(const std::wstring& sid, const std::vector<std::wstring>& services)
{
    NodeHandle token = MintForSid(sid, services.empty() ? TokenName : ForwardedName);
    for (std::size_t i = 0; i < services.size(); ++i) {
        NodeHandle forwarding = MintForSid(services[i], i + 1 == services.size() ? TokenName : ForwardedName);
        forwarding.AddChild(token);
        token = std::move(forwarding);
    }
    return token;
}

void AuthTokenMgr::Expire(const std::wstring& sid)
{
    const std::lock_guard guard(m_lock);
    std::erase_if(m_tokens, [&sid](const auto& token) { return sid.empty() || token.second.sid == sid; });
}

NodeHandle AuthTokenMgr::Mint(void* context, const wchar_t* nodeName, bool withFaults)
{
    Platform::Sid user;
    std::vector<Platform::Sid> groups;
    CheckPlatform(Platform::ReadClientContext(context, user, groups), L"the authorization context cannot be read");
    const std::wstring sid = SidText(user);
    const std::wstring name = LookUpAccountName(user);
    if (withFaults)
        m_faults.Strike(sid, name.empty() ? sid : name);
    const std::wstring subject = std::wstring(SidPrefix) + sid;
    std::unique_lock guard(m_lock);
    const Clock::time_point now = Clock::now();
    while (!m_tokens.empty() && m_tokens.begin()->second.expiry <= now)
        m_tokens.erase(m_tokens.begin());
    const std::wstring id = m_idPrefix + std::to_wstring(++m_last);
    m_tokens.emplace(m_last, Record{sid, now + std::chrono::duration_cast<Clock::duration>(m_lifetime)});
    guard.unlock();
    NodeDescription token{nodeName,
                          {},
                          {{L"AuthTokenId", id},
                           {L"SubjectId", subject},
                           {L"SubjectDisplayName", m_displayNames && !name.empty() ? name : subject},
                           {L"SubjectHost", m_computerName}},
                          {}};
    std::vector<std::wstring> groupTexts;
    groupTexts.reserve(groups.size());
    for (const Platform::Sid& group : groups)
        groupTexts.push_back(SidText(group));
    if (!groupTexts.empty())
        token.attributes.push_back({L"Groups", groupTexts});
    return NodeHandle::Build(token);
}

// With the account's groups where they can be resolved.
NodeHandle AuthTokenMgr::MintForSid(const std::wstring& sid, const wchar_t* nodeName)
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

HRESULT PermissionsChecker::GetAccessibleContainers(IKelNode* token, const wchar_t* permission, std::uint32_t* scope,
                                                    IKelNode** containers)
{
    return Boundary([=, this] {
        RefuseQuery.IfNull(L"token, permission, or place for the answer", token, permission, scope, containers);
        ++m_queries;
        const NodeHandle client = OriginatingClient(token);
        std::wstring subject = client.ReadText(L"SubjectId").value_or(L"");
        if (subject.starts_with(SidPrefix))
            subject.erase(0, SidPrefix.size());
        m_faults.Strike(subject, client.ReadText(L"SubjectDisplayName").value_or(subject));

        std::vector<std::wstring> holders = client.ReadTextList(L"Groups");
        holders.push_back(subject);
        std::set<std::wstring> listed;
        *scope = ContainerScopeNone;
        const std::lock_guard guard(m_lock);
        for (const std::wstring& holder : holders) {
            const auto found = m_grants.find({holder, permission});
            if (found == m_grants.end())
                continue;
            if (found->second.empty()) {
                *scope = ContainerScopeAll;
                return;
            }
            listed.insert(found->second.begin(), found->second.end());
        }
        if (listed.empty())
            return;
        *containers = MakeContainerList(listed).Detach();
        *scope = ContainerScopeListed;
    });
}

void PermissionsChecker::Add(const Grant& grant)
{
    const std::lock_guard guard(m_lock);
    m_grants.insert_or_assign({grant.sid, grant.permission}, grant.containers);
}

void PermissionsChecker::Revoke(const std::wstring& sid, const std::wstring& permission)
{
    const std::lock_guard guard(m_lock);
    std::erase_if(m_grants, [&](const auto& grant) {
        return grant.first.first == sid && (permission.empty() || grant.first.second == permission);
    });
}

} // namespace Host
