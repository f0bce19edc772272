#include "Host/Components/Accounts.h"

#include "Host/Support/Boundary.h"

#include <algorithm>

namespace Host
{

UniqueSid ParseSid(const std::wstring& text)
{
    PSID sid = nullptr;
    return UniqueSid(ConvertStringSidToSidW(text.c_str(), &sid) ? sid : nullptr);
}

std::wstring SidText(PSID sid)
{
    LPWSTR text = nullptr;
    if (!ConvertSidToStringSidW(sid, &text))
        throw Failure{HResultFromWin32(GetLastError()), L"an account's SID is not valid"};
    const std::unique_ptr<wchar_t, LocalMemoryRelease> owner(text);
    return text;
}

bool IsSidText(const std::wstring& text)
{
    const UniqueSid sid = ParseSid(text);
    return sid && SidText(sid.get()) == text;
}

bool IsDomainSidText(const std::wstring& text)
{
    return text.starts_with(L"S-1-5-21-") && std::count(text.begin(), text.end(), L'-') == 6 && IsSidText(text);
}

std::optional<std::wstring> LookUpAccountName(PSID sid)
{
    wchar_t name[256];
    wchar_t domain[256];
    DWORD nameSize = std::size(name);
    DWORD domainSize = std::size(domain);
    SID_NAME_USE use{};
    if (!LookupAccountSidW(nullptr, sid, name, &nameSize, domain, &domainSize, &use))
        return std::nullopt;
    return *domain ? std::wstring(domain) + L'\\' + name : name;
}

std::wstring ComputerName()
{
    wchar_t name[64] = L"";
    DWORD size = std::size(name);
    GetComputerNameExW(ComputerNameNetBIOS, name, &size);
    return name;
}

} // namespace Host
