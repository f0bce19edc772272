// The accounts that every computer has. Internal to the layer; free of the system, because the stand-ins for tests
// under Wine have it, too.
#pragma once

#include "Platform/Posix/Win32Accounts.h"

struct WellKnownAccount
{
    const wchar_t* sid;
    const wchar_t* shortSid; // in security descriptors
    const wchar_t* domain;
    const wchar_t* name;
    SID_NAME_USE type;
    int wellKnownType; // WELL_KNOWN_SID_TYPE, where there is one
};

inline constexpr WellKnownAccount wellKnownAccounts[] = {
    {L"S-1-1-0", L"WD", L"", L"Everyone", SidTypeWellKnownGroup, WinWorldSid},
    {L"S-1-5-2", L"NU", L"NT AUTHORITY", L"NETWORK", SidTypeWellKnownGroup, 0},
    {L"S-1-5-4", L"IU", L"NT AUTHORITY", L"INTERACTIVE", SidTypeWellKnownGroup, 0},
    {L"S-1-5-6", L"SU", L"NT AUTHORITY", L"SERVICE", SidTypeWellKnownGroup, 0},
    {L"S-1-5-7", L"AN", L"NT AUTHORITY", L"ANONYMOUS LOGON", SidTypeWellKnownGroup, 0},
    {L"S-1-5-11", L"AU", L"NT AUTHORITY", L"Authenticated Users", SidTypeWellKnownGroup, 0},
    {L"S-1-5-18", L"SY", L"NT AUTHORITY", L"SYSTEM", SidTypeWellKnownGroup, WinLocalSystemSid},
    {L"S-1-5-19", L"LS", L"NT AUTHORITY", L"LOCAL SERVICE", SidTypeWellKnownGroup, WinLocalServiceSid},
    {L"S-1-5-20", L"NS", L"NT AUTHORITY", L"NETWORK SERVICE", SidTypeWellKnownGroup, WinNetworkServiceSid},
    {L"S-1-5-32-544", L"BA", L"BUILTIN", L"Administrators", SidTypeAlias, WinBuiltinAdministratorsSid},
    {L"S-1-5-32-545", L"BU", L"BUILTIN", L"Users", SidTypeAlias, WinBuiltinUsersSid},
    {L"S-1-5-32-546", L"BG", L"BUILTIN", L"Guests", SidTypeAlias, 0},
};
