#include "Subsystems/ManagementService/Kestrine/Sid.h"

#include "Common/ErrorHandling/HResult.h"

CSid::CSid(const Platform::Sid& sid, const std::wstring& system) : m_system(system)
{
    if (!Platform::IsValidSid(sid))
        ThrowHResult(E_INVALIDARG);
    m_bytes = sid;
}

CSid CSid::OfAccount(const std::wstring& name, const std::wstring& system)
{
    CSid sid;
    CheckHResult(sid.LookupByName(name.c_str(), system));
    return sid;
}

HRESULT CSid::LookupByName(const wchar_t* name, const std::wstring& system)
{
    *this = {};
    if (!name)
        return E_INVALIDARG;
    Platform::AccountInfo account;
    const HRESULT hr = Platform::LookUpAccountByName(system, name, account);
    if (hr == E_FAIL)
        ThrowHResult(hr);
    if (hr < 0)
        return hr;
    m_bytes = std::move(account.sid);
    m_nameUse = account.type;
    m_domain = std::move(account.domain);
    m_accountName = name;
    m_system = system;
    return hr;
}

const std::wstring& CSid::StringForm() const
{
    if (IsValid() && m_stringForm.empty())
        CheckHResult(Platform::FormatSid(m_bytes, m_stringForm));
    return m_stringForm;
}
