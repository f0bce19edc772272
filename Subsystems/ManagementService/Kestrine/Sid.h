// A security identifier as a value, with the outcome of its last name look-up.
#pragma once

#include "Platform/Accounts.h"

#include <string>

// A plain value: each thread uses its own copies.
class CSid
{
public:
    // Invalid and empty.
    CSid() = default;

    // A copy of the SID; no name look-up. Throws HRX E_INVALIDARG for what is no SID of at most 68 bytes.
    explicit CSid(const Platform::Sid& sid, const std::wstring& system = {});

    // By account name. Throws HRX with the look-up's error. `system`: where it runs; empty: the local computer.
    static CSid OfAccount(const std::wstring& name, const std::wstring& system = {});

    // Becomes the SID of the account. A failure, which is returned, leaves the object cleared: E_INVALIDARG for a null
    // name. Throws HRX E_FAIL for a SID that is too large.
    HRESULT LookupByName(const wchar_t* name, const std::wstring& system);

    bool IsValid() const { return !m_bytes.empty(); }

    // Empty when it is not valid.
    const Platform::Sid& Bytes() const { return m_bytes; }

    // "S-1-5-18"; the empty text for an invalid SID.
    const std::wstring& StringForm() const;

    // What the last name look-up of this object reported; AccountType::Invalid when there was none.
    Platform::AccountType NameUse() const { return m_nameUse; }
    const std::wstring& AccountName() const { return m_accountName; }
    const std::wstring& Domain() const { return m_domain; }

private:
    Platform::Sid m_bytes;
    Platform::AccountType m_nameUse = Platform::AccountType::Invalid;
    std::wstring m_accountName;
    std::wstring m_domain;
    mutable std::wstring m_stringForm; // made when it is first asked for
    std::wstring m_system;
};
