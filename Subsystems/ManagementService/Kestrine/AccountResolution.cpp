#include "Subsystems/ManagementService/Kestrine/AccountResolution.h"

#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/ErrorText.h"

namespace
{

constexpr std::wstring_view SidPrefix = L"win:sid=";
constexpr std::wstring_view NamePrefix = L"win:name=";

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
    Platform::Sid converted;
    if (!Platform::ParseSid(authId.substr(SidPrefix.size()), converted))
        return false;
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
                          << static_cast<int>(sid.NameUse()) << L"'");
        return true;
    } catch (const HRX& e) {
        LOG_WARN(L"Resolving '" << accountText << L"' to sid" << L" failed: " << e);
        return false;
    }
}

CSid LookupSidByName(const std::wstring& accountName)
{
    CSid found;
    HRESULT hr = found.LookupByName(accountName.c_str(), {});
    const std::wstring principalName = ToPrincipalName(accountName);
    if (hr == HResultFromWin32(ERROR_NONE_MAPPED) && !principalName.empty())
        hr = found.LookupByName(principalName.c_str(), {});
    CheckHResult(hr);
    return CSid(found.Bytes());
}

std::wstring LookupAccountBySid(const std::wstring& system, const CSid& sid, Platform::AccountType* nameUse)
{
    Platform::AccountInfo account;
    CheckHResult(Platform::LookUpAccountBySid(system, sid.Bytes(), account));
    if (nameUse)
        *nameUse = account.type;
    const bool both = !account.domain.empty() && !account.name.empty();
    return account.domain + (both ? L"\\" : L"") + account.name;
}

bool IsWellKnownServiceSid(const CSid& sid)
{
    return Platform::IsServiceSid(sid.Bytes());
}

bool AdjustSidType(const CSid& sid, Platform::AccountType& nameUse)
{
    if (nameUse != Platform::AccountType::User || !IsWellKnownServiceSid(sid))
        return false;
    nameUse = Platform::AccountType::WellKnownGroup;
    return true;
}
