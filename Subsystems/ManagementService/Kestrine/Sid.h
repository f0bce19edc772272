// A security identifier as a value, with the outcome of its last name look-up.
#pragma once

#include "Platform/Win32.h"

#include <array>
#include <string>

// A plain value: each thread uses its own copies.
class CSid
{
public:
    // Invalid and empty.
    CSid() = default;

    // A copy of the SID; no name look-up. Throws HRX E_INVALIDARG for what is no SID of at most 68 bytes.
    explicit CSid(PSID sid, const std::wstring& system = {});

    // By account name. Throws HRX with the look-up's error. `system`: where it runs; empty: the local computer.
    static CSid OfAccount(const std::wstring& name, const std::wstring& system = {});

    // Becomes the SID of the account. False, the object cleared and the last error set, when there is none; throws HRX
    // E_FAIL for a SID that is too large.
    bool LookupByName(const wchar_t* name, const std::wstring& system);

    bool IsValid() const { return m_valid; }

    // For calls into the platform, which do not change it.
    PSID Pointer() const { return const_cast<BYTE*>(m_bytes.data()); }

    // "S-1-5-18"; the empty text for an invalid SID.
    const std::wstring& StringForm() const;

    // What the last name look-up of this object reported; SidTypeInvalid when there was none.
    SID_NAME_USE NameUse() const { return m_nameUse; }
    const std::wstring& AccountName() const { return m_accountName; }
    const std::wstring& Domain() const { return m_domain; }

private:
    alignas(DWORD) std::array<BYTE, SECURITY_MAX_SID_SIZE> m_bytes{};
    bool m_valid = false;
    SID_NAME_USE m_nameUse = SidTypeInvalid;
    std::wstring m_accountName;
    std::wstring m_domain;
    mutable std::wstring m_stringForm; // made when it is first asked for
    std::wstring m_system;
};
