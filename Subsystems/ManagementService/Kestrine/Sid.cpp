#include "Subsystems/ManagementService/Kestrine/Sid.h"

#include "Common/ErrorHandling/HResult.h"
#include "Common/Foundation/Handles.h"

CSid::CSid(PSID sid, const std::wstring& system) : m_system(system)
{
    if (!sid || !IsValidSid(sid) || GetLengthSid(sid) > m_bytes.size())
        ThrowHResult(E_INVALIDARG);
    if (!CopySid(static_cast<DWORD>(m_bytes.size()), m_bytes.data(), sid))
        ThrowLastError();
    m_valid = true;
}

CSid CSid::OfAccount(const std::wstring& name, const std::wstring& system)
{
    CSid sid;
    if (!sid.LookupByName(name.c_str(), system))
        ThrowLastError();
    return sid;
}

bool CSid::LookupByName(const wchar_t* name, const std::wstring& system)
{
    *this = {};
    if (!name) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    CSid found;
    std::wstring domain(128, L'\0');
    auto sidSize = static_cast<DWORD>(found.m_bytes.size());
    auto domainSize = static_cast<DWORD>(domain.size());
    const auto lookUp = [&] {
        return LookupAccountNameW(system.empty() ? nullptr : system.c_str(), name, found.m_bytes.data(), &sidSize,
                                  domain.data(), &domainSize, &found.m_nameUse);
    };
    if (!lookUp()) {
        if (GetLastError() != ERROR_INSUFFICIENT_BUFFER)
            return false;
        if (sidSize > found.m_bytes.size())
            ThrowHResult(E_FAIL);
        if (domainSize > domain.size())
            domain.resize(domainSize);
        if (!lookUp())
            return false;
    }
    found.m_valid = true;
    found.m_domain = domain.c_str();
    found.m_accountName = name;
    found.m_system = system;
    *this = std::move(found);
    return true;
}

const std::wstring& CSid::StringForm() const
{
    if (m_valid && m_stringForm.empty()) {
        wchar_t* text = nullptr;
        if (!ConvertSidToStringSidW(Pointer(), &text))
            ThrowLastError();
        m_stringForm = UniqueLocalText(text).get();
    }
    return m_stringForm;
}
