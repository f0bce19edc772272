#include "Platform/Accounts.h"

#include "Platform/Windows/LastError.h"

#include <algorithm>
#include <authz.h>
#include <iterator>
#include <sddl.h>

namespace Platform
{

namespace
{

PSID AsSid(const Sid& sid)
{
    return const_cast<std::uint8_t*>(sid.data()); // is only read
}

Sid CopyOf(PSID sid)
{
    const auto* const bytes = static_cast<const std::uint8_t*>(sid);
    return {bytes, bytes + GetLengthSid(sid)};
}

const wchar_t* SystemName(const std::wstring& system)
{
    return system.empty() ? nullptr : system.c_str();
}

AUTHZ_CLIENT_CONTEXT_HANDLE AsContext(void* context)
{
    return static_cast<AUTHZ_CLIENT_CONTEXT_HANDLE>(context);
}

HRESULT Query(void* context, AUTHZ_CONTEXT_INFORMATION_CLASS what, std::vector<std::uint64_t>& buffer)
{
    DWORD size = 0;
    AuthzGetInformationFromContext(AsContext(context), what, 0, &size, nullptr);
    buffer.resize(size / sizeof(std::uint64_t) + 1);
    return ResultOf(size != 0 && AuthzGetInformationFromContext(AsContext(context), what, size, &size, buffer.data()));
}

} // namespace

bool IsValidSid(const Sid& sid)
{
    constexpr std::size_t head = 8;
    return sid.size() >= head && ::IsValidSid(AsSid(sid)) && GetLengthSid(AsSid(sid)) == sid.size();
}

bool ParseSid(const std::wstring& text, Sid& sid)
{
    PSID parsed = nullptr;
    if (!ConvertStringSidToSidW(text.c_str(), &parsed))
        return false;
    const std::unique_ptr<void, decltype(&LocalFree)> owner(parsed, &LocalFree);
    sid = CopyOf(parsed);
    return true;
}

HRESULT FormatSid(const Sid& sid, std::wstring& text)
{
    wchar_t* formatted = nullptr;
    if (!ConvertSidToStringSidW(AsSid(sid), &formatted))
        return LastErrorResult();
    const std::unique_ptr<wchar_t, decltype(&LocalFree)> owner(formatted, &LocalFree);
    text = formatted;
    return S_OK;
}

bool IsServiceSid(const Sid& sid)
{
    constexpr WELL_KNOWN_SID_TYPE services[] = {WinLocalSystemSid, WinLocalServiceSid, WinNetworkServiceSid};
    return std::any_of(std::begin(services), std::end(services),
                       [&sid](WELL_KNOWN_SID_TYPE type) { return IsWellKnownSid(AsSid(sid), type) != FALSE; });
}

HRESULT AreOfSameDomain(const Sid& a, const Sid& b, bool& same)
{
    BOOL equal = FALSE;
    if (!EqualDomainSid(AsSid(a), AsSid(b), &equal))
        return LastErrorResult();
    same = equal != FALSE;
    return S_OK;
}

HRESULT LookUpAccountByName(const std::wstring& system, const std::wstring& name, AccountInfo& account)
{
    AccountInfo found{Sid(SECURITY_MAX_SID_SIZE), std::wstring(128, L'\0'), name};
    SID_NAME_USE type{};
    auto sidSize = static_cast<DWORD>(found.sid.size());
    auto domainSize = static_cast<DWORD>(found.domain.size());
    const auto lookUp = [&] {
        return LookupAccountNameW(SystemName(system), name.c_str(), found.sid.data(), &sidSize, found.domain.data(),
                                  &domainSize, &type);
    };
    if (!lookUp()) {
        if (GetLastError() != ERROR_INSUFFICIENT_BUFFER)
            return LastErrorResult();
        if (sidSize > SECURITY_MAX_SID_SIZE)
            return E_FAIL;
        found.domain.resize(domainSize);
        if (!lookUp())
            return LastErrorResult();
    }
    found.sid.resize(GetLengthSid(found.sid.data()));
    found.domain.resize(domainSize);
    found.type = static_cast<AccountType>(type);
    account = std::move(found);
    return S_OK;
}

HRESULT LookUpAccountBySid(const std::wstring& system, const Sid& sid, AccountInfo& account)
{
    constexpr DWORD bufferSize = 512;
    wchar_t name[bufferSize];
    wchar_t domain[bufferSize];
    DWORD nameSize = bufferSize;
    DWORD domainSize = bufferSize;
    SID_NAME_USE type{};
    if (!LookupAccountSidW(SystemName(system), AsSid(sid), name, &nameSize, domain, &domainSize, &type))
        return LastErrorResult();
    account = {sid, domain, name, static_cast<AccountType>(type)};
    return S_OK;
}

HRESULT MakeClientContext(const Sid& sid, bool resolveGroups, ClientContext& context)
{
    AUTHZ_RESOURCE_MANAGER_HANDLE manager = nullptr;
    if (!AuthzInitializeResourceManager(AUTHZ_RM_FLAG_NO_AUDIT | AUTHZ_RM_FLAG_NO_CENTRAL_ACCESS_POLICIES, nullptr,
                                        nullptr, nullptr, nullptr, &manager))
        return LastErrorResult();
    const std::shared_ptr<void> owner(manager, &AuthzFreeResourceManager);
    AUTHZ_CLIENT_CONTEXT_HANDLE made = nullptr;
    if (!AuthzInitializeContextFromSid(resolveGroups ? 0 : AUTHZ_SKIP_TOKEN_GROUPS, AsSid(sid), manager, nullptr,
                                       LUID{}, nullptr, &made))
        return LastErrorResult();
    // The manager outlives the context.
    context.reset(made, [owner](AUTHZ_CLIENT_CONTEXT_HANDLE handle) { AuthzFreeContext(handle); });
    return S_OK;
}

HRESULT ReadClientContext(void* context, Sid& user, std::vector<Sid>& groups)
{
    std::vector<std::uint64_t> buffer;
    if (const HRESULT hr = Query(context, AuthzContextInfoUserSid, buffer); hr < 0)
        return hr;
    user = CopyOf(reinterpret_cast<const TOKEN_USER*>(buffer.data())->User.Sid);
    if (const HRESULT hr = Query(context, AuthzContextInfoGroupsSids, buffer); hr < 0)
        return hr;
    const auto& list = *reinterpret_cast<const TOKEN_GROUPS*>(buffer.data());
    groups.clear();
    for (DWORD i = 0; i < list.GroupCount; ++i)
        groups.push_back(CopyOf(list.Groups[i].Sid));
    return S_OK;
}

} // namespace Platform
