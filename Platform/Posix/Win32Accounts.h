// Security identifiers, and accounts by name and by SID. The accounts come from a text file named by the environment
// variable KESTRINE_ACCOUNTS_FILE (Platform/Posix/AccountDirectory.h describes its format); well-known accounts are
// built in. No file means a computer with nothing but those and its own, empty account domain.
#pragma once

#include "Platform/Posix/Win32Types.h"

using PSID = void*;

inline constexpr std::size_t SECURITY_MAX_SID_SIZE = 68;

enum SID_NAME_USE
{
    SidTypeUser = 1,
    SidTypeGroup = 2,
    SidTypeDomain = 3,
    SidTypeAlias = 4,
    SidTypeWellKnownGroup = 5,
    SidTypeDeletedAccount = 6,
    SidTypeInvalid = 7,
    SidTypeUnknown = 8,
    SidTypeComputer = 9,
};

enum WELL_KNOWN_SID_TYPE
{
    WinWorldSid = 1,
    WinLocalSystemSid = 22,
    WinLocalServiceSid = 23,
    WinNetworkServiceSid = 24,
    WinBuiltinAdministratorsSid = 26,
    WinBuiltinUsersSid = 27,
};

extern "C"
{
    BOOL IsValidSid(PSID sid);
    DWORD GetLengthSid(PSID sid);                            // of a valid SID
    BOOL CopySid(DWORD size, PSID destination, PSID source); // too small: ERROR_INSUFFICIENT_BUFFER
    BOOL ConvertSidToStringSidW(PSID sid, LPWSTR* text);     // the text is released with LocalFree
    // S-1-... or the two letters of a well-known account, such as SY. The SID is released with LocalFree.
    BOOL ConvertStringSidToSidW(LPCWSTR text, PSID* sid);
    BOOL IsWellKnownSid(PSID sid, WELL_KNOWN_SID_TYPE type); // the types above; others: ERROR_INVALID_PARAMETER
    // Whether two SIDs belong to the same account domain. ERROR_NON_DOMAIN_SID when that has no answer.
    BOOL EqualDomainSid(PSID a, PSID b, BOOL* equal);
    // The local system only (null or empty `system`); another: RPC_S_SERVER_UNAVAILABLE. Sizes in bytes and characters;
    // too small: ERROR_INSUFFICIENT_BUFFER and the sizes needed. ERROR_NONE_MAPPED for an unknown account.
    BOOL LookupAccountNameW(LPCWSTR system, LPCWSTR account, PSID sid, DWORD* sidSize, LPWSTR domain, DWORD* domainSize,
                            SID_NAME_USE* use);
    BOOL LookupAccountSidW(LPCWSTR system, PSID sid, LPWSTR name, DWORD* nameSize, LPWSTR domain, DWORD* domainSize,
                           SID_NAME_USE* use);
}
