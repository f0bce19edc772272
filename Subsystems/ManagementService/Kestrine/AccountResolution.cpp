#include "Subsystems/ManagementService/Kestrine/AccountResolution.h"

#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/ErrorText.h"

#include <algorithm>

namespace
{

constexpr std::wstring_view SidPrefix = L"win:sid=";
constexpr std::wstring_view NamePrefix = L"win:name=";

struct LocalFreeSid
{
    void operator()(void* sid) const { LocalFree(sid); }
};

// "DOMAIN\name" as "name@DOMAIN"; empty for a name of another form.
std::wstring ToPrincipalName(const std::wstring& name)
{
    const std::size_t separator = name.find(L'\\');
    if (name.find(L'@') != std::wstring::npos || separator == std::wstring::npos)
        return {};
    const std::wstring domain = name.substr(0, separator);
    return domain.empty() || domain == L"." ? std::wstring() : name.substr(separator + 1) + L"@" + domain;
}

} // namespace

bool AuthIdHelpers::AuthIdToSid(const std::wstring& authId, CSid& sid)
{
    // Not every system refuses an empty SID text.
    if (!authId.starts_with(SidPrefix) || authId.size() == SidPrefix.size())
        return false;
    PSID converted = nullptr;
    if (!ConvertStringSidToSidW(authId.c_str() + SidPrefix.size(), &converted))
        return false;
    const std::unique_ptr<void, LocalFreeSid> owner(converted);
    sid = CSid(converted);
    return true;
}

bool ResolveAccountSid(const std::wstring& accountText, CSid& sid)
{
    try {
        if (AuthIdHelpers::AuthIdToSid(accountText, sid))
            return false;
        sid =
            LookupSidByName(accountText.starts_with(NamePrefix) ? accountText.substr(NamePrefix.size()) : accountText);
        LOG_DBG(L"Name '" << accountText << L"' resolved to sid='" << sid.StringForm() << L"' with sid_type='"
                          << sid.NameUse() << L"'");
        return true;
    } catch (const HRX& e) {
        LOG_WARN(L"Resolving '" << accountText << L"' to sid" << L" failed: " << e);
        return false;
    }
}

CSid LookupSidByName(const std::wstring& accountName)
{
    CSid found;
    if (!found.LookupByName(accountName.c_str(), {})) {
        const std::wstring principalName = ToPrincipalName(accountName);
        if (GetLastError() != ERROR_NONE_MAPPED || principalName.empty() ||
            !found.LookupByName(principalName.c_str(), {}))
            ThrowLastError();
    }
    return CSid(found.Pointer());
}

std::wstring LookupAccountBySid(const std::wstring& system, const CSid& sid, SID_NAME_USE* nameUse)
{
    constexpr DWORD bufferSize = 512;
    wchar_t name[bufferSize];
    wchar_t domain[bufferSize];
    DWORD nameSize = bufferSize;
    DWORD domainSize = bufferSize;
    SID_NAME_USE use = SidTypeInvalid;
    if (!LookupAccountSidW(system.empty() ? nullptr : system.c_str(), sid.Pointer(), name, &nameSize, domain,
                           &domainSize, &use))
        ThrowLastError();
    std::wstring account = domain;
    if (*name) {
        if (!account.empty())
            account += L'\\';
        account += name;
    }
    if (nameUse)
        *nameUse = use;
    return account;
}

bool IsWellKnownServiceSid(const CSid& sid)
{
    constexpr WELL_KNOWN_SID_TYPE types[]{WinLocalSystemSid, WinLocalServiceSid, WinNetworkServiceSid};
    return std::any_of(std::begin(types), std::end(types),
                       [&](WELL_KNOWN_SID_TYPE type) { return IsWellKnownSid(sid.Pointer(), type) != FALSE; });
}

bool AdjustSidType(const CSid& sid, SID_NAME_USE& nameUse)
{
    if (nameUse != SidTypeUser || !IsWellKnownServiceSid(sid))
        return false;
    nameUse = SidTypeWellKnownGroup;
    return true;
}
