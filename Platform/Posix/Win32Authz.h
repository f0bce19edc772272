// Authorization contexts of accounts, from the same directory as the accounts (Win32Accounts.h).
#pragma once

#include "Platform/Posix/Win32Accounts.h"

using AUTHZ_RESOURCE_MANAGER_HANDLE = struct AUTHZ_RESOURCE_MANAGER*;
using AUTHZ_CLIENT_CONTEXT_HANDLE = struct AUTHZ_CLIENT_CONTEXT*;
// The callbacks of a resource manager are not supported: null only.
using PFN_AUTHZ_DYNAMIC_ACCESS_CHECK = void (*)();
using PFN_AUTHZ_COMPUTE_DYNAMIC_GROUPS = void (*)();
using PFN_AUTHZ_FREE_DYNAMIC_GROUPS = void (*)();

inline constexpr DWORD AUTHZ_RM_FLAG_NO_AUDIT = 0x1;
inline constexpr DWORD AUTHZ_RM_FLAG_NO_CENTRAL_ACCESS_POLICIES = 0x4;
inline constexpr DWORD AUTHZ_SKIP_TOKEN_GROUPS = 0x2;
inline constexpr DWORD SE_GROUP_MANDATORY = 0x1;
inline constexpr DWORD SE_GROUP_ENABLED_BY_DEFAULT = 0x2;
inline constexpr DWORD SE_GROUP_ENABLED = 0x4;

struct LUID
{
    DWORD LowPart;
    LONG HighPart;
};

struct SID_AND_ATTRIBUTES
{
    PSID Sid;
    DWORD Attributes;
};

struct TOKEN_USER
{
    SID_AND_ATTRIBUTES User;
};

struct TOKEN_GROUPS
{
    DWORD GroupCount;
    SID_AND_ATTRIBUTES Groups[1];
};

enum AUTHZ_CONTEXT_INFORMATION_CLASS
{
    AuthzContextInfoUserSid = 1,
    AuthzContextInfoGroupsSids = 2,
};

extern "C"
{
    // Flags: AUTHZ_RM_FLAG_NO_AUDIT, with or without NO_CENTRAL_ACCESS_POLICIES. The name would be for audits.
    BOOL AuthzInitializeResourceManager(DWORD flags, PFN_AUTHZ_DYNAMIC_ACCESS_CHECK accessCheck,
                                        PFN_AUTHZ_COMPUTE_DYNAMIC_GROUPS computeGroups,
                                        PFN_AUTHZ_FREE_DYNAMIC_GROUPS freeGroups, LPCWSTR name,
                                        AUTHZ_RESOURCE_MANAGER_HANDLE* manager);
    BOOL AuthzFreeResourceManager(AUTHZ_RESOURCE_MANAGER_HANDLE manager);
    // Flags 0 resolves the account's groups; an account that the directory does not know: ERROR_NONE_MAPPED.
    // AUTHZ_SKIP_TOKEN_GROUPS takes any SID and resolves nothing. No expiration, no dynamic group arguments.
    BOOL AuthzInitializeContextFromSid(DWORD flags, PSID user, AUTHZ_RESOURCE_MANAGER_HANDLE manager,
                                       LARGE_INTEGER* expiration, LUID identifier, PVOID dynamicGroupArguments,
                                       AUTHZ_CLIENT_CONTEXT_HANDLE* context);
    BOOL AuthzFreeContext(AUTHZ_CLIENT_CONTEXT_HANDLE context);
    // The two classes above: a TOKEN_USER or TOKEN_GROUPS with the SIDs behind it. `size` in bytes; too small:
    // ERROR_INSUFFICIENT_BUFFER and the size needed.
    BOOL AuthzGetInformationFromContext(AUTHZ_CLIENT_CONTEXT_HANDLE context,
                                        AUTHZ_CONTEXT_INFORMATION_CLASS informationClass, DWORD size, DWORD* sizeNeeded,
                                        PVOID buffer);
}
