#include "Platform/Accounts.h"

#include "Platform/Posix/CurrentAccounts.h"
#include "Platform/Posix/TextFile.h"
#include "Platform/Posix/WellKnownAccounts.h"

#include <algorithm>
#include <iterator>
#include <mutex>
#include <set>

namespace Platform
{

namespace
{

struct Context
{
    Sid user;
    std::vector<Sid> groups;
};

std::mutex contextLock;
std::set<const void*> contexts; // guarded by contextLock

bool IsContext(const void* context)
{
    const std::lock_guard guard(contextLock);
    return contexts.contains(context);
}

HRESULT FindAccount(const std::wstring& system, const Account* found, AccountInfo& account)
{
    if (!system.empty())
        return HResultFromWin32(RPC_S_SERVER_UNAVAILABLE);
    if (!found)
        return HResultFromWin32(ERROR_NONE_MAPPED);
    account = {found->sid, found->domain, found->name, found->type};
    return S_OK;
}

} // namespace

bool IsValidSid(const Sid& sid)
{
    constexpr std::size_t head = 8;
    return sid.size() >= head && sid[0] == 1 && sid[1] <= MaxSubAuthorities && sid.size() == head + 4U * sid[1];
}

// Blanks in front do not count.
bool ParseSid(const std::wstring& text, Sid& sid)
{
    const std::wstring_view name = std::wstring_view(text).substr(std::min(text.find_first_not_of(L' '), text.size()));
    const auto* const alias =
        std::find_if(std::begin(wellKnownAccounts), std::end(wellKnownAccounts),
                     [name](const WellKnownAccount& account) { return EqualIgnoringCase(account.shortSid, name); });
    return ReadSidText(alias == std::end(wellKnownAccounts) ? name : alias->sid, sid);
}

HRESULT FormatSid(const Sid& sid, std::wstring& text)
{
    if (!IsValidSid(sid))
        return HResultFromWin32(ERROR_INVALID_SID);
    text = SidText(sid);
    return S_OK;
}

bool IsWellKnownSid(const Sid& sid, WellKnownSid which)
{
    const wchar_t* const text = which == WellKnownSid::LocalSystem    ? L"S-1-5-18"
                                : which == WellKnownSid::LocalService ? L"S-1-5-19"
                                                                      : L"S-1-5-20";
    return IsValidSid(sid) && SidText(sid) == text;
}

HRESULT AreOfSameDomain(const Sid& a, const Sid& b, bool& same)
{
    if (!IsValidSid(a) || !IsValidSid(b))
        return HResultFromWin32(ERROR_INVALID_SID);
    return CompareDomains(a, b, same) ? S_OK : HResultFromWin32(ERROR_NON_DOMAIN_SID);
}

HRESULT LookUpAccountByName(const std::wstring& system, const std::wstring& name, AccountInfo& account)
{
    const std::shared_ptr<const AccountDirectory> accounts = CurrentAccounts();
    const HRESULT hr = FindAccount(system, accounts->FindByName(name), account);
    if (hr >= 0)
        account.name = name;
    return hr;
}

HRESULT LookUpAccountBySid(const std::wstring& system, const Sid& sid, AccountInfo& account)
{
    constexpr std::size_t longest = 511;
    if (!IsValidSid(sid))
        return HResultFromWin32(ERROR_INVALID_SID);
    const std::shared_ptr<const AccountDirectory> accounts = CurrentAccounts();
    const HRESULT hr = FindAccount(system, accounts->FindBySid(sid), account);
    const bool tooLong = hr >= 0 && std::max(account.name.size(), account.domain.size()) > longest;
    return tooLong ? HResultFromWin32(ERROR_INSUFFICIENT_BUFFER) : hr;
}

HRESULT ClientContext::Make(const Sid& sid, bool resolveGroups, ClientContext& context)
{
    if (!IsValidSid(sid))
        return HResultFromWin32(ERROR_INVALID_SID);
    auto made = std::make_unique<Context>(Context{sid, {}});
    if (resolveGroups) {
        const std::shared_ptr<const AccountDirectory> accounts = CurrentAccounts();
        const Account* const account = accounts->FindBySid(sid);
        if (!account)
            return HResultFromWin32(ERROR_NONE_MAPPED);
        made->groups = accounts->GroupsOf(*account);
    }
    {
        const std::lock_guard guard(contextLock);
        contexts.insert(made.get());
    }
    context.m_context.reset(made.release());
    return S_OK;
}

void ClientContext::FreeManager::operator()(void*) const {}

void ClientContext::FreeContext::operator()(void* context) const
{
    const std::unique_ptr<Context> owner(static_cast<Context*>(context));
    const std::lock_guard guard(contextLock);
    contexts.erase(context);
}

HRESULT ReadClientContext(void* context, Sid& user, std::vector<Sid>& groups)
{
    if (!IsContext(context))
        return E_INVALIDARG;
    const Context& read = *static_cast<const Context*>(context);
    user = read.user;
    groups = read.groups;
    return S_OK;
}

} // namespace Platform

unsigned LiveClientContexts()
{
    const std::lock_guard guard(Platform::contextLock);
    return static_cast<unsigned>(Platform::contexts.size());
}
