// The accounts that every computer has. Internal to the platform; free of the system, because the stand-ins for tests
// under Wine use it as well.
#pragma once

#include "Platform/Accounts.h"

struct WellKnownAccount
{
    const wchar_t* sid;
    const wchar_t* shortSid; // in security descriptors
    const wchar_t* domain;
    const wchar_t* name;
    Platform::AccountType type;
};

inline constexpr WellKnownAccount wellKnownAccounts[] = {
    {L"S-1-1-0", L"WD", L"", L"Everyone", Platform::AccountType::WellKnownGroup},
    {L"S-1-5-2", L"NU", L"NT AUTHORITY", L"NETWORK", Platform::AccountType::WellKnownGroup},
    {L"S-1-5-4", L"IU", L"NT AUTHORITY", L"INTERACTIVE", Platform::AccountType::WellKnownGroup},
    {L"S-1-5-6", L"SU", L"NT AUTHORITY", L"SERVICE", Platform::AccountType::WellKnownGroup},
    {L"S-1-5-7", L"AN", L"NT AUTHORITY", L"ANONYMOUS LOGON", Platform::AccountType::WellKnownGroup},
    {L"S-1-5-11", L"AU", L"NT AUTHORITY", L"Authenticated Users", Platform::AccountType::WellKnownGroup},
    {L"S-1-5-18", L"SY", L"NT AUTHORITY", L"SYSTEM", Platform::AccountType::WellKnownGroup},
    {L"S-1-5-19", L"LS", L"NT AUTHORITY", L"LOCAL SERVICE", Platform::AccountType::WellKnownGroup},
    {L"S-1-5-20", L"NS", L"NT AUTHORITY", L"NETWORK SERVICE", Platform::AccountType::WellKnownGroup},
    {L"S-1-5-32-544", L"BA", L"BUILTIN", L"Administrators", Platform::AccountType::Alias},
    {L"S-1-5-32-545", L"BU", L"BUILTIN", L"Users", Platform::AccountType::Alias},
    {L"S-1-5-32-546", L"BG", L"BUILTIN", L"Guests", Platform::AccountType::Alias},
};
