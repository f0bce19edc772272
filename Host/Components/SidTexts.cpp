#include "Host/Components/SidTexts.h"

#include "Host/Support/Failure.h"
#include "Platform/Network.h"

namespace Host
{

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

std::optional<std::wstring> LookUpAccountName(const Platform::Sid& sid)
{
    Platform::AccountInfo account;
    if (FAILED(Platform::LookUpAccountBySid({}, sid, account)))
        return std::nullopt;
    return account.domain.empty() ? account.name : account.domain + L'\\' + account.name;
}

std::wstring ComputerName()
{
    std::wstring name;
    Platform::GetLocalComputerName(name);
    return name;
}

} // namespace Host
